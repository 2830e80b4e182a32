#include "SQXERBatchTextCompare.h"

#include <algorithm>
#include <bit>

#include "SQXERBatchLoops.h"

namespace sqxer {
namespace {

/// A text of one byte a character by code point: without the blanks that end it.
struct TrimmedText {
  const uint8* characters;
  uint32 length;
  uint64 prefix;

  static TrimmedText Of(const uint8* characters, uint32 length) {
    while (length != 0 && characters[length - 1] == ' ') --length;
    return {characters, length, FindTextPrefix(characters, length)};
  }
  /// Eight characters at a time: most texts differ, or end, before a call would pay.
  int Compare(const TrimmedText& other) const {
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

/// The text that stands for all rows, in bytes that `room` keeps. False when it has a character
/// that does not fit one.
bool ReadConstant(const BatchVector& vector, std::string& room, TrimmedText& text) {
  const BatchText value = vector.IsNull(0) ? BatchText() : vector.GetText(0);
  const auto copy = [&](const auto* characters) {
    const auto* const end = characters + value.length;
    if (std::any_of(characters, end, [](auto c) { return static_cast<uint32>(c) > 0xFF; })) {
      return false;
    }
    room.assign(value.length + kTextPrefixLength, '\0');
    std::transform(characters, end, room.begin(), [](auto c) { return static_cast<char>(c); });
    text = TrimmedText::Of(reinterpret_cast<const uint8*>(room.data()), value.length);
    return true;
  };
  return vector.form == ColumnForm::kText8
             ? copy(value.characters)
             : copy(reinterpret_cast<const wchar_t*>(value.characters));
}

/// Texts of a column against one text.
void CompareWithConstant(const BatchVector& texts, const TrimmedText& constant,
                         const BatchRows& rows, int sign, int8* signs) {
  ForEachTextOf<uint8>(texts, rows, [&](uint32 row, const uint8* characters, uint32 length) {
    signs[row] = static_cast<int8>(sign * TrimmedText::Of(characters, length).Compare(constant));
  });
}

/// Both texts of one byte a character, by code point. False when they are of another form.
bool TryCompareBytes(const BatchVector& left, const BatchVector& right, const BatchRows& rows,
                     BatchBuffers& buffers, int8* signs) {
  const auto areBytes = [](const BatchVector& texts) { return texts.form == ColumnForm::kText8; };
  if (left.isConstant && right.isConstant) return false;
  TrimmedText constant{};
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
    signs[row] = static_cast<int8>(CompareByteTexts({characters, length}, right.GetText(row)));
  });
  return true;
}

}  // namespace

int CompareByteTexts(const BatchText& a, const BatchText& b) {
  return TrimmedText::Of(a.characters, a.length).Compare(TrimmedText::Of(b.characters, b.length));
}

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
