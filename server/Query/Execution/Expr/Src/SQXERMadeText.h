#pragma once

#include <algorithm>
#include <cstring>
#include <string_view>

#include "SQXERExpression.h"
#include "Utility/XeAutoBuffer.h"

namespace sqxer {

/// The most characters of a text that a function makes without knowing when it is bound how many
/// that will be: records have room for as many.
inline constexpr uint32 kMostMadeCharacters = uint32{1} << 16;
/// The most that one is ever made of: 64 MiB of them.
inline constexpr uint64 kMostCharacters = uint64{1} << 24;
/// What a batch may hold of the texts that it makes: where there is more, it is given up for rows.
inline constexpr std::size_t kMostKeptBytes = std::size_t{64} << 20;
/// What there is room for of a text that could have so many characters in the worst case, made of
/// one of so many.
inline uint64 LikelyLongest(uint64 worst, uint64 source) {
  return std::min(worst, std::max<uint64>(kMostMadeCharacters, source));
}

/// Raises error 59034 (the limit) for a text that a function would make longer than its results may
/// be.
[[noreturn]] SQXEREXPR_API void RaiseTextTooLong(uint64 limit);

/// A text while an op makes it, of characters of one byte or of wchar_t. Its room only grows.
template <class Character>
class MadeText {
 public:
  /// No text may be longer from now on.
  void SetLimit(uint64 characters) { limit_ = characters; }
  void Clear() { length_ = 0; }

  /// Makes the text longer by so many characters and gives their place. Error 59034 beyond the
  /// limit.
  Character* Extend(uint64 count) {
    if (count > limit_ - length_) [[unlikely]]
      RaiseTextTooLong(limit_);
    const std::size_t from = length_;
    length_ += static_cast<uint32>(count);
    room_.ReserveUnset(length_);
    return room_.data() + from;
  }
  void Append(wchar_t character) { *Extend(1) = static_cast<Character>(character); }
  /// A RefLongVarChar or a ByteText.
  template <class Text>
  requires requires(const Text& text) { text.buffer_; }
  void Append(const Text& text) { std::copy_n(text.buffer_, text.length_, Extend(text.length_)); }
  void Append(std::string_view ascii) {
    std::copy_n(ascii.data(), ascii.size(), Extend(ascii.size()));
  }
  /// Fills up the text from a length on with blanks, in front or behind, as far as it has fewer
  /// characters from there.
  void PadFrom(uint32 start, uint32 width, bool isLeft) {
    const uint32 used = length_ - start;
    if (used >= width) return;
    const uint32 missing = width - used;
    Extend(missing);
    Character* const part = room_.data() + start;
    if (!isLeft) std::copy_backward(part, part + used, part + width);
    std::fill_n(isLeft ? part + used : part, missing, static_cast<Character>(L' '));
  }

  uint32 GetLength() const { return length_; }
  Character* GetCharacters() { return room_.data(); }

 private:
  XeAutoBuffer<Character, 64> room_;
  uint32 length_ = 0;
  uint64 limit_ = kMostMadeCharacters;
};

}  // namespace sqxer
