#pragma once

#include <algorithm>
#include <cwchar>

#include "Utility/BaseStringUtil.h"
#include "Utility/SystemUtility.h"
#include "Utility/XeTypes.h"

namespace sqxer {

// Functions of texts, whose positions count characters from 1. They give a part of their text, or
// write at `out` and return how many characters they wrote. A text is a RefLongVarChar or a
// ByteText.

/// The part of `count` characters from index `start`, both within the text.
template <class Text = RefLongVarChar>
Text PartOf(const Text& text, int64 start, int64 count) {
  return {static_cast<uint32>(count), text.buffer_ + start};
}

/// Writes a text and returns where it ends.
template <class Text, class Character>
Character* CopyText(const Text& text, Character* out) {
  return std::copy_n(text.buffer_, text.length_, out);
}

/// The first characters.
struct LeftOp {
  static constexpr const wchar_t* kName = L"Left";
  template <class Text = RefLongVarChar>
  static Text Apply(const Text& text, int32 count) {
    return PartOf(text, 0, std::min<int64>(count, text.length_));
  }
};

/// The last characters.
struct RightOp {
  static constexpr const wchar_t* kName = L"Right";
  template <class Text = RefLongVarChar>
  static Text Apply(const Text& text, int32 count) {
    const int64 taken = std::min<int64>(count, text.length_);
    return PartOf(text, text.length_ - taken, taken);
  }
};

/// The characters at `count` positions from `from` on, as far as the text has them: positions
/// before the first character use up the count.
struct SubStringOp {
  template <class Text = RefLongVarChar>
  static Text Apply(const Text& text, int32 from, int32 count) {
    const int64 start = std::max<int64>(from, 1) - 1;
    const int64 end = std::min<int64>(int64{from} + count - 1, text.length_);
    return start < end ? PartOf(text, start, end - start) : PartOf(text, 0, 0);
  }
};

/// The same as older callers count: 0 is the first character too, a negative position counts from
/// the end (-1 is the last character), and what is outside the text gives the empty one.
struct CompliantSubStringOp {
  template <class Text = RefLongVarChar>
  static Text Apply(const Text& text, int32 from, int32 count) {
    const int64 length = text.length_;
    const int64 start = from > 0 ? from - 1 : from < 0 ? length + from : 0;
    if (start < 0 || start >= length) return PartOf(text, 0, 0);
    return PartOf(text, start, std::min<int64>(count, length - start));
  }
};

/// The first tokens of a text, which the delimiter's first character parts: what stands before the
/// delimiter behind them, or all of the text when it has none there.
struct LeadingTokensOp {
  static RefLongVarChar Apply(const RefLongVarChar& text, int32 tokens,
                              const RefLongVarChar& delimiter) {
    if (tokens == 0) return PartOf(text, 0, 0);
    if (delimiter.length_ == 0) return text;
    for (uint32 i = 0; i < text.length_; ++i) {
      if (text.buffer_[i] == delimiter.buffer_[0] && --tokens == 0) return PartOf(text, 0, i);
    }
    return text;
  }
};

/// A text without a character at its ends: style 0 is both, 1 the start, 2 the end, and any other
/// none.
struct TrimOp {
  static constexpr int32 kBoth = 0, kStart = 1, kEnd = 2;
  template <class Text = RefLongVarChar>
  static Text Apply(const Text& text, wchar_t trimmed, int32 style) {
    uint32 start = 0, end = text.length_;
    if (style == kBoth || style == kStart) {
      while (start < end && text.buffer_[start] == trimmed) ++start;
    }
    if (style == kBoth || style == kEnd) {
      while (start < end && text.buffer_[end - 1] == trimmed) --end;
    }
    return PartOf(text, start, end - start);
  }
};

/// Each character in upper or lower case; as many characters as the text has.
struct UpperOp {
  static constexpr const wchar_t* kName = L"Upper";
  static void Apply(const RefLongVarChar& text, wchar_t* out) {
    BaseStringUtil::UpperCase(text, out);
  }
};
struct LowerOp {
  static constexpr const wchar_t* kName = L"Lower";
  static void Apply(const RefLongVarChar& text, wchar_t* out) {
    BaseStringUtil::LowerCase(text, out);
  }
};

/// The text with every occurrence of `from` replaced by `to`, from left to right without overlap.
/// `find` gives the index of the first occurrence in a text, or less than 0. A replacement that
/// would make the result longer than `room` is the end of replacing: the rest stays as it is, as
/// far as there is room.
struct ReplaceOp {
  template <class Text, class Find, class Character>
  static uint32 Apply(const Text& text, const Text& from, const Text& to, Find find, Character* out,
                      uint32 room) {
    Character* end = out;
    Text rest = text;
    int64 length = text.length_;
    for (int32 index = find(rest, from); index >= 0; index = find(rest, from)) {
      length += int64{to.length_} - from.length_;
      if (length > room) break;
      end = CopyText(to, CopyText(PartOf(rest, 0, index), end));
      const uint32 done = static_cast<uint32>(index) + from.length_;
      rest = PartOf(rest, done, rest.length_ - done);
    }
    const int64 left = room - (end - out);
    end = CopyText(PartOf(rest, 0, std::min<int64>(rest.length_, left)), end);
    return static_cast<uint32>(end - out);
  }
  /// The length of the longest result for texts of up to these lengths; `from` is the least length
  /// of what is replaced, 0 when that is always empty and so never found.
  static uint64 LongestResult(uint32 text, uint32 from, uint32 to) {
    const uint64 growth = to > from && from != 0 ? uint64{text / from} * (to - from) : 0;
    return text + growth;
  }
};

/// The text with `removed` characters from a position on, as far as it has them, replaced by
/// another one; a text that has no such position stays as it is. A negative number removes none.
struct InsertOp {
  static uint32 Apply(const RefLongVarChar& text, int32 start, int32 removed,
                      const RefLongVarChar& inserted, wchar_t* out) {
    const int64 length = text.length_;
    if (start < 1 || start > length) return static_cast<uint32>(CopyText(text, out) - out);
    const int64 before = start - 1;
    const int64 behind = before + std::clamp<int64>(removed, 0, length - before);
    wchar_t* const end = CopyText(inserted, CopyText(PartOf(text, 0, before), out));
    return static_cast<uint32>(CopyText(PartOf(text, behind, length - behind), end) - out);
  }
};

/// How many blanks make a text of `count` of them.
struct SpaceOp {
  // Callers keep the result in fields of this length.
  static constexpr uint32 kMost = 255;
  static uint32 Apply(int32 count) {
    return static_cast<uint32>(std::clamp(count, 0, int32{kMost}));
  }
};

/// The text over and over again, cut where the room ends: callers rely on a result that fills it.
struct RepeatOp {
  /// The characters of the result.
  static uint32 CountCharacters(uint32 textLength, int32 count, uint32 room) {
    const uint64 whole = uint64{textLength} * static_cast<uint32>(std::max(count, 0));
    return static_cast<uint32>(std::min<uint64>(whole, room));
  }
  static void Apply(const RefLongVarChar& text, uint32 length, wchar_t* out) {
    if (length == 0) return;
    uint32 done = std::min(text.length_, length);
    std::wmemcpy(out, text.buffer_, done);
    // What is done consists of whole copies, so it can be doubled.
    for (uint32 step = 0; done < length; done += step) {
      step = std::min(done, length - done);
      std::wmemcpy(out + done, out, step);
    }
  }
  /// The room for the repetitions of a text of up to a length.
  static uint64 LongestResult(uint32 text) { return std::max<uint64>(uint64{text} * 4, 255); }
};

/// The character of a code in the server's code page; of a code beyond one byte the low byte
/// counts, as callers rely on.
struct CharOp {
  static wchar_t Apply(int32 code) {
    const char byte = static_cast<char>(static_cast<uint8>(code));
    wchar_t character = 0;
    SystemUtility::MultiByteToWideChar(SystemUtility::GetMultiByteCodePage(), &byte, 1, &character,
                                       1);
    return character;
  }
};

}  // namespace sqxer
