// The batch side of the base class: nodes without a loop of their own, and what loops share.

#include "SQXERBatch.h"

#include <algorithm>
#include <bit>
#include <optional>

#include "SQXERBatchFewValues.h"
#include "SQXERBatchLoops.h"
#include "SQXERBatchOperands.h"
#include "SQXERExprExtract.h"
#include "SQXERExpression.h"
#include "SQXERNoColumns.h"

namespace sqxer {

BatchText BatchVector::GetText(uint32 row) const {
  if (isConstant) row = 0;
  if (texts != nullptr) return texts[row];
  const auto slice = [](const uint8* characters, const uint8* from, uint8 width, uint64 at,
                        ColumnForm textForm) {
    const auto offset = [&](uint64 index) {
      return width == 4 ? uint64{reinterpret_cast<const uint32*>(from)[index]}
                        : reinterpret_cast<const uint64*>(from)[index];
    };
    const uint64 start = offset(at);
    return BatchText{characters + start * WidthOfForm(textForm),
                     static_cast<uint32>(offset(at + 1) - start)};
  };
  if (dictionary == nullptr) return slice(values, offsets, offsetWidth, row, form);
  const ColumnVector& entries = **dictionary;
  return slice(entries.values, entries.offsets, entries.offsetWidth, GetCode(row), form);
}

uint8* BatchBuffers::Reserve(Room& room, std::size_t bytes) {
  constexpr std::size_t kAlignment = 64;
  if (room.bytes < bytes) {
    // What is read beyond the rows that were written is nothing, but it is something.
    room.block = std::make_unique<uint8[]>(bytes + kAlignment);
    room.bytes = bytes;
  }
  const auto address = reinterpret_cast<std::uintptr_t>(room.block.get());
  return room.block.get() + (kAlignment - address % kAlignment) % kAlignment;
}

RefLongVarChar BatchBuffers::Widen(const BatchVector& vector, uint32 row, int operand) {
  const BatchText text = vector.GetText(row);
  if (vector.form == ColumnForm::kText32) {
    // Nobody writes there: the type of texts has no other pointer.
    return {text.length, reinterpret_cast<wchar_t*>(const_cast<uint8*>(text.characters))};
  }
  XeString& wide = wide_[operand];
  wide.assign(text.characters, text.characters + text.length);
  return {text.length, wide.data()};
}

uint8* BatchBuffers::KeepBytes(std::size_t bytes) {
  constexpr std::size_t kBlock = std::size_t{64} << 10;
  constexpr std::size_t kReadBeyond = 64;
  // What follows can hold characters of four bytes.
  const std::size_t size = (bytes + kReadBeyond + sizeof(wchar_t) - 1) / sizeof(wchar_t);
  while (block_ < blocks_.size() && blocks_[block_].size - used_ < size) {
    ++block_;
    used_ = 0;
  }
  if (block_ == blocks_.size()) {
    const std::size_t all = std::max(kBlock / sizeof(wchar_t), size);
    blocks_.push_back({std::make_unique<wchar_t[]>(all), all});
    used_ = 0;
  }
  wchar_t* const room = blocks_[block_].characters.get() + used_;
  used_ += size - kReadBeyond / sizeof(wchar_t);
  return reinterpret_cast<uint8*>(room);
}

BatchText BatchBuffers::Keep(const wchar_t* text, uint32 length) {
  uint8* const copy = KeepBytes(length * sizeof(wchar_t));
  std::copy_n(text, length, reinterpret_cast<wchar_t*>(copy));
  return {copy, length};
}

uint32 SelectTrue(const BatchVector& truth, const BatchRows& rows, uint16* passing) {
  uint32 count = 0;
  if (truth.isConstant || rows.selected != nullptr) {
    rows.ForEach([&](uint32 row) {
      passing[count] = static_cast<uint16>(row);
      count += !truth.IsNull(row) && truth.values[truth.isConstant ? 0 : row] != 0;
    });
    return count;
  }
  for (uint32 word = 0; word * 64 < rows.count; ++word) {
    uint64 bits = PackTruths(truth.values + word * std::size_t{64});
    if (truth.validity != nullptr) bits &= truth.validity[word];
    const uint32 rowsOfWord = std::min(rows.count - word * 64, 64u);
    if (rowsOfWord < 64) bits &= (uint64{1} << rowsOfWord) - 1;
    for (; bits != 0; bits &= bits - 1) {
      passing[count++] =
          static_cast<uint16>(word * 64 + static_cast<uint32>(std::countr_zero(bits)));
    }
  }
  return count;
}

void IntersectValidity(const BatchVector& a, const BatchVector& b, const BatchRows& rows,
                       uint64* words, BatchVector& out) {
  static constexpr uint64 kNoValue = 0;
  const auto isNull = [](const BatchVector& vector) {
    return vector.isConstant && vector.IsNull(0);
  };
  out.isConstant = a.isConstant && b.isConstant;
  if (isNull(a) || isNull(b)) {
    out.isConstant = true;
    out.validity = &kNoValue;
    return;
  }
  const uint64* const left = a.isConstant ? nullptr : a.validity;
  const uint64* const right = b.isConstant ? nullptr : b.validity;
  if (left == nullptr || right == nullptr) {
    out.validity = left == nullptr ? right : left;
    return;
  }
  for (uint32 i = 0; i < (rows.count + 63) / 64; ++i) words[i] = left[i] & right[i];
  out.validity = words;
}

WideBounds FindScaledBounds(const BatchVector& vector, const BatchRows& rows) {
  if (vector.form == ColumnForm::kDecimal64) {
    const ColumnBounds<int64> bounds = FindBounds<int64>(vector, rows);
    return {bounds.least, bounds.greatest};
  }
  const int128* const values = vector.As<int128>();
  if (vector.isConstant) return {values[0], values[0]};
  if (vector.block != nullptr && vector.block->hasBounds) return vector.block->wide;
  WideBounds bounds = {PowerOfTen128(kDecimalDigits), -PowerOfTen128(kDecimalDigits)};
  rows.ForEach([&](uint32 row) {
    if (vector.IsNull(row)) return;
    bounds.least = std::min(bounds.least, values[row]);
    bounds.greatest = std::max(bounds.greatest, values[row]);
  });
  return bounds.least > bounds.greatest ? WideBounds{0, 0} : bounds;
}

bool ScaleBounds(int digits, WideBounds& bounds) {
  if (digits > kDecimalDigits) return false;
  const int128 factor = PowerOfTen128(digits);
  return !__builtin_mul_overflow(bounds.least, factor, &bounds.least) &&
         !__builtin_mul_overflow(bounds.greatest, factor, &bounds.greatest);
}

template <>
bool AlignedDecimals<int128>::Align(const BatchVector& a, const BatchVector& b,
                                    const BatchRows& rows, BatchBuffers& buffers) {
  if (!IsScaled(a.form) || !IsScaled(b.form)) return false;
  scale = std::max(a.scale, b.scale);
  const auto bring = [&](const BatchVector& vector, int operand, const int128*& values,
                         WideBounds& bounds) {
    bounds = FindScaledBounds(vector, rows);
    const int digits = scale - vector.scale;
    if (digits == 0 && vector.form == ColumnForm::kDecimal128) {
      values = vector.As<int128>();
      return true;
    }
    if (!ScaleBounds(digits, bounds)) return false;
    int128* const room = buffers.Rescaled<int128>(operand);
    const int128 factor = PowerOfTen128(digits);
    WithScaledType(vector.form, [&]<class T>(std::type_identity<T>) {
      const T* const from = vector.As<T>();
      const BatchRows scaled = vector.isConstant ? FirstRow(rows) : rows;
      const auto word = static_cast<int64>(factor);
      if (word == factor) {
        MapValues(from, room, scaled,
                  [word](T value) { return IntegerProduct::Wide(value, word); });
      } else {
        MapValues(from, room, scaled,
                  [factor](T value) { return IntegerProduct::Wide(value, factor); });
      }
    });
    values = room;
    return true;
  };
  return bring(a, 0, left, leftBounds) && bring(b, 1, right, rightBounds);
}

template <>
bool AlignedDecimals<int64>::Align(const BatchVector& a, const BatchVector& b,
                                   const BatchRows& rows, BatchBuffers& buffers) {
  if (a.form != ColumnForm::kDecimal64 || b.form != ColumnForm::kDecimal64) return false;
  scale = std::max(a.scale, b.scale);
  const auto bring = [&](const BatchVector& vector, int operand, const int64*& values,
                         ColumnBounds<int64>& bounds) {
    bounds = FindBounds<int64>(vector, rows);
    values = vector.As<int64>();
    if (vector.scale == scale) return true;
    int64 factor = 1;
    for (int i = vector.scale; i < scale; ++i) {
      if (__builtin_mul_overflow(factor, 10, &factor)) return false;
    }
    if (__builtin_mul_overflow(bounds.least, factor, &bounds.least) ||
        __builtin_mul_overflow(bounds.greatest, factor, &bounds.greatest)) {
      return false;
    }
    int64* const room = buffers.Rescaled<int64>(operand);
    const BatchRows scaled = vector.isConstant ? FirstRow(rows) : rows;
    MapValues(values, room, scaled,
              [factor](int64 value) { return IntegerProduct::Unchecked(value, factor); });
    values = room;
    return true;
  };
  return bring(a, 0, left, leftBounds) && bring(b, 1, right, rightBounds);
}

namespace {

/// Runs Eval row after row. `store(row, value)` is false for a value that has no form in a batch.
template <class Value, class Store>
bool EvalRows(RExpression& node, const BatchRows& rows, BatchBuffers& buffers, BatchVector& out,
              Store&& store) {
  uint64* const validity = buffers.Validity();
  std::fill_n(validity, kMostBatchWords, ~uint64{0});
  bool hasNulls = false;
  for (uint32 i = 0; i < rows.GetWanted(); ++i) {
    const uint32 row = rows.GetRow(i);
    rows.source->FillRow(row);
    Value value{};
    const RExprReturn status = node.Eval(&value);
    if (status == kTrue) {
      if (!store(row, value)) return false;
    } else if (status == kUnknown) {
      validity[row / 64] &= ~(uint64{1} << row % 64);
      hasNulls = true;
    } else {
      return false;
    }
  }
  out.validity = hasNulls ? validity : nullptr;
  return true;
}

template <class Value>
bool EvalPlainRows(RExpression& node, const BatchRows& rows, BatchBuffers& buffers, ColumnForm form,
                   BatchVector& out) {
  Value* const values = buffers.Values<Value>();
  out.form = form;
  out.values = reinterpret_cast<const uint8*>(values);
  return EvalRows<Value>(node, rows, buffers, out, [&](uint32 row, const Value& value) {
    values[row] = value;
    return true;
  });
}

template <class Value, class Stored, class Convert>
bool EvalConvertedRows(RExpression& node, const BatchRows& rows, BatchBuffers& buffers,
                       ColumnForm form, BatchVector& out, Convert&& convert) {
  Stored* const values = buffers.Values<Stored>();
  out.form = form;
  out.values = reinterpret_cast<const uint8*>(values);
  return EvalRows<Value>(node, rows, buffers, out, [&](uint32 row, const Value& value) {
    return convert(value, values[row]);
  });
}

template <class Value, class Length>
bool EvalTextRows(RExpression& node, const BatchRows& rows, BatchBuffers& buffers, BatchVector& out,
                  Length&& view) {
  buffers.ClearTexts();
  BatchText* const texts = buffers.Texts();
  out.form = ColumnForm::kText32;
  out.texts = texts;
  return EvalRows<Value>(node, rows, buffers, out, [&](uint32 row, const Value& value) {
    const RefLongVarChar text = view(value);
    texts[row] = buffers.Keep(text.buffer_, text.length_);
    return true;
  });
}

/// A day that the calendar does not have cannot be counted.
bool TryDay32(const XeDate& date, int32& day) {
  day = ToDay32(date);
  return FromDay32(day) == date;
}

}  // namespace

bool RExpression::EvalBatch(const BatchRows& rows, BatchVector& out) {
  if (!TakesOperandValues()) return EvalByRows(rows, out);
  return GetBatchBuffers().Operands(*this).Evaluate(rows, out);
}

BatchOperands& BatchBuffers::Operands(RExpression& node) {
  if (!operands_) operands_ = std::make_unique<BatchOperands>(node);
  return *operands_;
}

bool RExpression::EvalByRows(const BatchRows& rows, BatchVector& out) {
  BatchBuffers& buffers = GetBatchBuffers();
  out = BatchVector();
  switch (resultDataType_) {
    case XeBitData:
    case XeBoolean:
    case XeUInt1Data:
      return EvalPlainRows<uint8>(*this, rows, buffers, ColumnForm::kUInt8, out);
    case XeInt1Data:
      return EvalPlainRows<int8>(*this, rows, buffers, ColumnForm::kInt8, out);
    case XeInt2Data:
      return EvalPlainRows<int16>(*this, rows, buffers, ColumnForm::kInt16, out);
    case XeUInt2Data:
      return EvalPlainRows<uint16>(*this, rows, buffers, ColumnForm::kUInt16, out);
    case XeInt4Data:
      return EvalPlainRows<int32>(*this, rows, buffers, ColumnForm::kInt32, out);
    case XeUInt4Data:
      return EvalPlainRows<uint32>(*this, rows, buffers, ColumnForm::kUInt32, out);
    case XeFloatData:
      return EvalPlainRows<float32>(*this, rows, buffers, ColumnForm::kFloat32, out);
    case XeDoubleData:
      return EvalPlainRows<float64>(*this, rows, buffers, ColumnForm::kFloat64, out);
    case XeNumericData:
      return EvalPlainRows<VelmarNumber>(*this, rows, buffers, ColumnForm::kNumber, out);
    case XeDateTimeData:
    case XeTimeStampData:
      return EvalPlainRows<XeDateTime>(*this, rows, buffers, ColumnForm::kDateTime, out);
    case XeIntervalData:
      return EvalPlainRows<XeInterval>(*this, rows, buffers, ColumnForm::kInterval, out);
    case XeDateData:
      return EvalConvertedRows<XeDate, int32>(*this, rows, buffers, ColumnForm::kDay32, out,
                                              &TryDay32);
    case XeTimeData:
      return EvalConvertedRows<XeTime, int64>(*this, rows, buffers, ColumnForm::kTime64, out,
                                              [](const XeTime& time, int64& nanoseconds) {
                                                nanoseconds = ToTime64(time);
                                                return FromTime64(nanoseconds) == time;
                                              });
    case XeCharData:
      return EvalTextRows<wchar_t*>(*this, rows, buffers, out,
                                    [](wchar_t* text) { return AsText(text); });
    case XeVarCharData:
    case XeLongVarCharData:
      return EvalTextRows<RefLongVarChar>(*this, rows, buffers, out,
                                          [](const RefLongVarChar& text) { return text; });
    default:
      // Binary values have no columns.
      return false;
  }
}

namespace {

/// In the fast form of its type where it has one.
void Simplify(BatchVector& constant, BatchBuffers& buffers) {
  if (constant.IsNull(0)) return;
  const auto put = [&](ColumnForm form, auto simple, int scale) {
    auto* const value = buffers.Rescaled<decltype(simple)>(0);
    *value = simple;
    constant.form = form;
    constant.scale = static_cast<int16>(scale);
    constant.values = reinterpret_cast<const uint8*>(value);
  };
  if (constant.form == ColumnForm::kNumber) {
    const VelmarNumber& number = *constant.As<VelmarNumber>();
    const int scale = number.decimalPlaces();
    if (int64 word; scale <= kMostScale64 && number.TryScaled(scale, word)) {
      put(ColumnForm::kDecimal64, word, scale);
    } else if (int128 wide; scale <= kDecimalDigits && number.TryScaled(scale, wide)) {
      put(ColumnForm::kDecimal128, wide, scale);
    }
  } else if (constant.form == ColumnForm::kDateTime) {
    int64 microseconds;
    if (TryTimeStamp64(*constant.As<XeDateTime>(), microseconds)) {
      put(ColumnForm::kTimeStamp64, microseconds, 0);
    }
  }
}

}  // namespace

const BatchRows& RowOfRecord() {
  static NoColumns source;
  static const BatchRows row{.source = &source, .count = 1};
  return row;
}

bool RExpression::EvalOnce(const BatchRows&, BatchVector& out) {
  if (!EvalByRows(RowOfRecord(), out)) return false;
  out.isConstant = true;
  Simplify(out, GetBatchBuffers());
  return true;
}

namespace {

template <class Holds>
bool HoldsForAll(RExpression& tree, Holds&& holds) {
  if (!holds(tree)) return false;
  for (int i = 0; i < tree.CountOperands(); ++i) {
    RExpression* const operand = tree.GetIthOperand(i);
    if (operand != nullptr && !HoldsForAll(*operand, holds)) return false;
  }
  return true;
}

}  // namespace

bool HasBatchLoops(RExpression& tree) {
  if (IsSameInEveryRow(tree)) return true;
  if (!tree.HasBatchLoop()) return false;
  for (int i = 0; i < tree.CountOperands(); ++i) {
    RExpression* const operand = tree.GetIthOperand(i);
    if (operand != nullptr && !HasBatchLoops(*operand)) return false;
  }
  return true;
}

bool IsRepeatable(RExpression& tree) {
  return HoldsForAll(tree, [](RExpression& node) { return !node.IsVolatile(); });
}

}  // namespace sqxer
