#pragma once

#include <algorithm>

#include "SQXEROpFunction.h"
#include "SQXEROpsString.h"

namespace sqxer {

// How texts begin, end and are parted, by code points: letter case and blanks count.

/// The index of the first occurrence of a text in another one from an index on; -1 where there is
/// none. An empty text stands everywhere.
template <class Text>
int64 FindPart(const Text& text, const Text& wanted, uint32 from) {
  if (wanted.length_ == 0) return from;
  if constexpr (sizeof *text.buffer_ == 1) {
    const int32 index = FindBytes(PartOf(text, from, text.length_ - from), wanted);
    return index < 0 ? -1 : int64{index} + from;
  } else {
    const uint32 index = BaseStringUtil::PatternMatch(text, wanted, from, true);
    return index == text.length_ ? -1 : int64{index};
  }
}

struct StrPosOp {
  using Operands = std::tuple<TextOperand, TextOperand>;
  static constexpr const wchar_t* kName = L"StrPos";
  static constexpr bool kOnBytes = true;
  template <class Text>
  static int32 Apply(const Text& text, const Text& wanted) {
    return static_cast<int32>(FindPart(text, wanted, 0) + 1);
  }
};

struct ContainsOp {
  using Operands = std::tuple<TextOperand, TextOperand>;
  static constexpr const wchar_t* kName = L"Contains";
  static constexpr bool kOnBytes = true;
  template <class Text>
  static bool Apply(const Text& text, const Text& wanted) {
    return FindPart(text, wanted, 0) >= 0;
  }
};

struct StartsWithOp {
  using Operands = std::tuple<TextOperand, TextOperand>;
  static constexpr const wchar_t* kName = L"StartsWith";
  static constexpr bool kOnBytes = true;
  template <class Text>
  static bool Apply(const Text& text, const Text& start) {
    return start.length_ <= text.length_ &&
           std::equal(start.buffer_, start.buffer_ + start.length_, text.buffer_);
  }
};

struct EndsWithOp {
  using Operands = std::tuple<TextOperand, TextOperand>;
  static constexpr const wchar_t* kName = L"EndsWith";
  static constexpr bool kOnBytes = true;
  template <class Text>
  static bool Apply(const Text& text, const Text& end) {
    return end.length_ <= text.length_ && std::equal(end.buffer_, end.buffer_ + end.length_,
                                                     text.buffer_ + (text.length_ - end.length_));
  }
};

/// The part of a number between two delimiters: 1 is the first part, -1 the last. The empty text
/// where there is none; an empty delimiter parts nothing. Error 59035 for 0.
struct SplitPartOp {
  using Operands = std::tuple<TextOperand, TextOperand, CountOperand>;
  static constexpr const wchar_t* kName = L"SplitPart";
  static constexpr bool kOnBytes = true;
  template <class Text>
  static Text Apply(const Text& text, const Text& delimiter, int32 number) {
    if (number == 0) [[unlikely]]
      SUGThrow(ErrorMessage(59035, {kName, L"0"}));
    if (delimiter.length_ == 0) {
      return number == 1 || number == -1 ? text : PartOf(text, 0, 0);
    }
    // From the end they are counted first.
    int64 wanted = number;
    if (wanted < 0) wanted += CountParts(text, delimiter) + 1;
    uint32 start = 0;
    while (wanted > 0) {
      const int64 end = FindPart(text, delimiter, start);
      if (--wanted == 0) return PartOf(text, start, (end < 0 ? text.length_ : end) - start);
      if (end < 0) break;
      start = static_cast<uint32>(end) + delimiter.length_;
    }
    return PartOf(text, 0, 0);
  }

 private:
  template <class Text>
  static int64 CountParts(const Text& text, const Text& delimiter) {
    int64 parts = 1;
    for (int64 at = FindPart(text, delimiter, 0); at >= 0;
         at = FindPart(text, delimiter, static_cast<uint32>(at) + delimiter.length_)) {
      ++parts;
    }
    return parts;
  }
};

}  // namespace sqxer
