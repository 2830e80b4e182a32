#pragma once

#include "SQXERBatchLoops.h"
#include "SQXEROpsArithmetic.h"

namespace sqxer {

/// An operation on integers that cannot be refused as long as its operands and its result, computed
/// on the bounds of the operands, stay in range.
template <class Op, class T>
concept BoundedOp = requires(T a, T b) {
  { Op::Unchecked(a, b) } -> std::same_as<T>;
  { Op::Bounds(ColumnBounds<int64>(), ColumnBounds<int64>()) } -> std::same_as<WideBounds>;
};

/// The block of a vector that was computed, of which the bounds are known.
inline void KnowBounds(const WideBounds& bounds, ColumnBlock& block, BatchVector& out) {
  block = ColumnBlock();
  block.hasBounds = true;
  block.whole = {static_cast<int64>(bounds.least), static_cast<int64>(bounds.greatest)};
  out.block = &block;
}

/// The operation row by row where both operands have a value; false when it refuses some.
template <class Op, class T>
bool ApplyToValidRows(const BatchVector& a, const BatchVector& b, const BatchRows& rows, T* out) {
  bool isDone = true;
  rows.ForEach([&](uint32 row) {
    if (a.IsNull(row) || b.IsNull(row)) return;
    isDone &= Op::Apply(ReadBatchValue<T>(a, row), ReadBatchValue<T>(b, row), out[row]);
  });
  return isDone;
}

/// An operation on two vectors of a machine type.
template <class Op, class T>
bool CombineVectors(const BatchVector& a, const BatchVector& b, const BatchRows& rows, T* out,
                    BatchBuffers& buffers, BatchVector& result) {
  if constexpr (BoundedOp<Op, T>) {
    const WideBounds bounds = Op::Bounds(FindBounds<T>(a, rows), FindBounds<T>(b, rows));
    if (AreWithin<T>(bounds)) {
      MapPairs(a.As<T>(), a.isConstant, b.As<T>(), b.isConstant, out, rows,
               [](T x, T y) { return Op::Unchecked(x, y); });
      KnowBounds(bounds, buffers.Block(), result);
      return true;
    }
    return ApplyToValidRows<Op>(a, b, rows, out);
  } else if constexpr (std::floating_point<T>) {
    // As wide as the values, for loops that work on several at once.
    using Mask = std::conditional_t<sizeof(T) == sizeof(int64), int64, int32>;
    Mask refused = 0;
    MapPairs(a.As<T>(), a.isConstant, b.As<T>(), b.isConstant, out, rows, [&refused](T x, T y) {
      T value{};
      refused |= Op::Apply(x, y, value) ? Mask{0} : Mask{1};
      return value;
    });
    // It may stand in a row that does not count.
    return refused == 0 || ApplyToValidRows<Op>(a, b, rows, out);
  } else {
    // The processor traps on what a row that does not count may hold.
    return ApplyToValidRows<Op>(a, b, rows, out);
  }
}

/// The same on decimals: in 64 bits where they hold every result, else in the general form.
template <class Op>
bool CombineDecimals(const BatchVector& a, const BatchVector& b, const BatchRows& rows,
                     BatchBuffers& buffers, BatchVector& out) {
  if constexpr (requires { Op::kAlignsScales; }) {
    constexpr int16 kMostScale = 18;
    const auto use = [&](const int64* left, const int64* right, const WideBounds& bounds,
                         int16 scale) {
      int64* const values = buffers.Values<int64>();
      MapPairs(left, a.isConstant, right, b.isConstant, values, rows,
               [](int64 x, int64 y) { return Op::Unchecked(x, y); });
      out.form = ColumnForm::kDecimal64;
      out.scale = scale;
      out.values = reinterpret_cast<const uint8*>(values);
      KnowBounds(bounds, buffers.Block(), out);
      return true;
    };
    if constexpr (Op::kAlignsScales) {
      if (AlignedDecimals aligned; aligned.Align(a, b, rows, buffers)) {
        const WideBounds bounds = Op::Bounds(aligned.leftBounds, aligned.rightBounds);
        if (AreWithin<int64>(bounds)) {
          return use(aligned.left, aligned.right, bounds, aligned.scale);
        }
      }
    } else if (a.form == ColumnForm::kDecimal64 && b.form == ColumnForm::kDecimal64 &&
               a.scale + b.scale <= kMostScale) {
      const WideBounds bounds = Op::Bounds(FindBounds<int64>(a, rows), FindBounds<int64>(b, rows));
      if (AreWithin<int64>(bounds)) {
        return use(a.As<int64>(), b.As<int64>(), bounds, static_cast<int16>(a.scale + b.scale));
      }
    }
  }
  VelmarNumber* const values = buffers.Values<VelmarNumber>();
  out.form = ColumnForm::kNumber;
  out.values = reinterpret_cast<const uint8*>(values);
  return ApplyToValidRows<Op>(a, b, rows, values);
}

}  // namespace sqxer
