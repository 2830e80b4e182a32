#include "SQXERBatchTexts.h"

#include <algorithm>
#include <bit>

#include "SQXERBatchLoops.h"

namespace sqxer {
namespace {

/// A text of one byte a character by code point: without the blanks that end it.
struct ByteText {
  const uint8* characters;
  uint32 length;
  uint64 prefix;

  /// Of a text behind whose every character eight bytes can be read.
  static ByteText Of(const uint8* characters, uint32 length) {
    while (length != 0 && characters[length - 1] == ' ') --length;
    return {characters, length, FindTextPrefix(characters, length)};
  }
  /// Eight characters at a time: most texts differ, or end, before a call would pay.
  int Compare(const ByteText& other) const {
    uint64 mine = prefix;
    uint64 its = other.prefix;
    for (uint32 at = kTextPrefixLength; mine == its; at += kTextPrefixLength) {
      if (at >= length || at >= other.length) {
        return (length > other.length) - (length < other.length);
      }
      mine = FindTextPrefix(characters + at, length - at);
      its = FindTextPrefix(other.characters + at, other.length - at);
    }
    return mine < its ? -1 : 1;
  }
};

/// Whether behind every character of the texts eight bytes can be read.
bool IsPadded(const BatchVector& vector) {
  return vector.offsets != nullptr || vector.dictionary != nullptr;
}

/// The text that stands for all rows, in bytes that `room` keeps. False when it has a character
/// that does not fit one.
bool ReadConstant(const BatchVector& vector, std::string& room, ByteText& text) {
  const BatchText value = vector.IsNull(0) ? BatchText() : vector.GetText(0);
  const auto copy = [&](const auto* characters) {
    const auto* const end = characters + value.length;
    if (std::any_of(characters, end, [](auto c) { return static_cast<uint32>(c) > 0xFF; })) {
      return false;
    }
    room.assign(value.length + kTextPrefixLength, '\0');
    std::transform(characters, end, room.begin(), [](auto c) { return static_cast<char>(c); });
    text = ByteText::Of(reinterpret_cast<const uint8*>(room.data()), value.length);
    return true;
  };
  return vector.form == ColumnForm::kText8
             ? copy(value.characters)
             : copy(reinterpret_cast<const wchar_t*>(value.characters));
}

/// Texts of a column against one text.
void CompareWithConstant(const BatchVector& texts, const ByteText& constant, const BatchRows& rows,
                         int sign, int8* signs) {
  ForEachTextOf<uint8>(texts, rows, [&](uint32 row, const uint8* characters, uint32 length) {
    signs[row] = static_cast<int8>(sign * ByteText::Of(characters, length).Compare(constant));
  });
}

/// Both texts of one byte a character, by code point. False when they are of another form.
bool TryCompareBytes(const BatchVector& left, const BatchVector& right, const BatchRows& rows,
                     BatchBuffers& buffers, int8* signs) {
  const auto areBytes = [](const BatchVector& texts) {
    return texts.form == ColumnForm::kText8 && IsPadded(texts);
  };
  ByteText constant{};
  if (right.isConstant) {
    if (!areBytes(left) || !ReadConstant(right, buffers.Bytes(), constant)) return false;
    CompareWithConstant(left, constant, rows, 1, signs);
    return true;
  }
  if (!areBytes(right)) return false;
  if (left.isConstant) {
    if (!ReadConstant(left, buffers.Bytes(), constant)) return false;
    CompareWithConstant(right, constant, rows, -1, signs);
    return true;
  }
  if (!areBytes(left)) return false;
  ForEachTextOf<uint8>(left, rows, [&](uint32 row, const uint8* characters, uint32 length) {
    if (right.IsNull(row)) return;
    const BatchText other = right.GetText(row);
    signs[row] = static_cast<int8>(
        ByteText::Of(characters, length).Compare(ByteText::Of(other.characters, other.length)));
  });
  return true;
}

}  // namespace

void CompareTextVectors(CharCompareFunc_t compare, const BatchVector& left,
                        const BatchVector& right, const BatchRows& rows, BatchBuffers& buffers,
                        int8* signs) {
  if (compare.IsByCodePoint() && TryCompareBytes(left, right, rows, buffers, signs)) return;
  rows.ForEach([&](uint32 row) {
    if (left.IsNull(row) || right.IsNull(row)) return;
    signs[row] = static_cast<int8>(
        compare(nullptr, buffers.Widen(left, row, 0), buffers.Widen(right, row, 1)));
  });
}

}  // namespace sqxer
