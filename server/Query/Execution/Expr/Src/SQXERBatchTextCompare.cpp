#include "SQXERBatchTextCompare.h"

#include <algorithm>

#include "SQXERBatchLoops.h"

namespace sqxer {
namespace {

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

/// The sign that all texts have; nothing where they have several, or the bounds do not tell.
std::optional<int> CompareBounds(const BatchVector& texts, const TrimmedText& constant,
                                 const BatchRows& rows) {
  const auto known = KnownTextRows(texts, rows);
  if (!known) return {};
  const auto compare = [&](uint32 row) {
    const BatchText text = texts.GetText(row);
    return TrimmedText::Of(text.characters, text.length).Compare(constant);
  };
  const int least = compare(known->least);
  const bool isSame = least > 0 || least == compare(known->greatest);
  return isSame ? std::optional(least) : std::nullopt;
}

/// Texts of a column against one text.
void CompareWithConstant(const BatchVector& texts, const TrimmedText& constant,
                         const BatchRows& rows, int sign, int8* signs) {
  if (const std::optional<int> all = CompareBounds(texts, constant, rows)) {
    std::fill_n(signs, rows.count, static_cast<int8>(sign * *all));
    return;
  }
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

std::optional<ColumnBounds<uint16>> KnownTextRows(const BatchVector& texts, const BatchRows& rows) {
  const ColumnBlock* const block = texts.isConstant ? nullptr : texts.block;
  // What stands at rows that are not wanted has no meaning.
  const bool isWhole = block != nullptr && block->rows == rows.count && rows.selected == nullptr;
  if (!isWhole || !block->hasBounds || texts.form != ColumnForm::kText8) return {};
  return block->texts;
}

int CompareByteTexts(const BatchText& a, const BatchText& b) {
  return TrimmedText::Of(a.characters, a.length).Compare(TrimmedText::Of(b.characters, b.length));
}

void CompareTextVectors(CharCompareFunc_t compare, const BatchVector& left,
                        const BatchVector& right, const BatchRows& rows, BatchBuffers& buffers,
                        int8* signs) {
  // A constant that is NULL has no text.
  if (rows.GetWanted() == 0) return;
  if (compare.IsByCodePoint() && TryCompareBytes(left, right, rows, buffers, signs)) return;
  rows.ForEach([&](uint32 row) {
    if (left.IsNull(row) || right.IsNull(row)) return;
    signs[row] = static_cast<int8>(
        compare(nullptr, buffers.Widen(left, row, 0), buffers.Widen(right, row, 1)));
  });
}

}  // namespace sqxer
