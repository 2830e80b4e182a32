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

/// The same of integers of 128 bits.
inline void KnowWideBounds(const WideBounds& bounds, ColumnBlock& block, BatchVector& out) {
  block = ColumnBlock();
  block.hasBounds = true;
  block.wide = bounds;
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

/// The bounds of results in 128 bits; nothing where some result leaves them.
template <class Op>
std::optional<WideBounds> FindWideBounds(const WideBounds& a, const WideBounds& b) {
  std::optional<WideBounds> bounds;
  for (const int128 x : {a.least, a.greatest}) {
    for (const int128 y : {b.least, b.greatest}) {
      int128 result;
      if (!Op::TryWide(x, y, result)) return {};
      bounds = bounds
                   ? WideBounds{std::min(bounds->least, result), std::max(bounds->greatest, result)}
                   : WideBounds{result, result};
    }
  }
  return bounds;
}

/// An operation on integers of one scale, of 64 or 128 bits, into such of 128 bits; false where
/// some result may have more digits than a decimal.
template <class Op>
bool CombineWide(const BatchVector& a, const BatchVector& b, const BatchRows& rows,
                 BatchBuffers& buffers, BatchVector& out) {
  if (!IsScaled(a.form) || !IsScaled(b.form)) return false;
  int128* const values = buffers.Values<int128>();
  const auto combine = [&](const auto* left, const WideBounds& leftBounds, const auto* right,
                           const WideBounds& rightBounds, int scale) {
    const std::optional<WideBounds> bounds = FindWideBounds<Op>(leftBounds, rightBounds);
    if (!bounds || !HaveDecimalDigits(*bounds) || scale > kDecimalDigits) return false;
    MapPairs(left, a.isConstant, right, b.isConstant, values, rows,
             [](auto x, auto y) { return Op::Wide(x, y); });
    out.form = ColumnForm::kDecimal128;
    out.scale = static_cast<int16>(scale);
    out.values = reinterpret_cast<const uint8*>(values);
    KnowWideBounds(*bounds, buffers.Block(), out);
    return true;
  };
  if constexpr (Op::kAlignsScales) {
    AlignedDecimals<int128> aligned;
    return aligned.Align(a, b, rows, buffers) &&
           combine(aligned.left, aligned.leftBounds, aligned.right, aligned.rightBounds,
                   aligned.scale);
  } else {
    bool isDone = false;
    WithScaledType(a.form, [&]<class A>(std::type_identity<A>) {
      WithScaledType(b.form, [&]<class B>(std::type_identity<B>) {
        isDone = combine(a.As<A>(), FindScaledBounds(a, rows), b.As<B>(), FindScaledBounds(b, rows),
                         a.scale + b.scale);
      });
    });
    return isDone;
  }
}

/// An operation on decimals: in 64 or 128 bits where they hold every result, else in the general
/// form.
template <class Op>
bool CombineDecimals(const BatchVector& a, const BatchVector& b, const BatchRows& rows,
                     BatchBuffers& buffers, BatchVector& out) {
  if constexpr (requires { Op::kAlignsScales; }) {
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
      if (AlignedDecimals<int64> aligned; aligned.Align(a, b, rows, buffers)) {
        const WideBounds bounds = Op::Bounds(aligned.leftBounds, aligned.rightBounds);
        if (AreWithin<int64>(bounds)) {
          return use(aligned.left, aligned.right, bounds, aligned.scale);
        }
      }
    } else if (a.form == ColumnForm::kDecimal64 && b.form == ColumnForm::kDecimal64 &&
               a.scale + b.scale <= kMostScale64) {
      const WideBounds bounds = Op::Bounds(FindBounds<int64>(a, rows), FindBounds<int64>(b, rows));
      if (AreWithin<int64>(bounds)) {
        return use(a.As<int64>(), b.As<int64>(), bounds, static_cast<int16>(a.scale + b.scale));
      }
    }
    if (CombineWide<Op>(a, b, rows, buffers, out)) return true;
  }
  VelmarNumber* const values = buffers.Values<VelmarNumber>();
  out.form = ColumnForm::kNumber;
  out.values = reinterpret_cast<const uint8*>(values);
  return ApplyToValidRows<Op>(a, b, rows, values);
}

/// An operation on one decimal that keeps its digits, in the form of the operand; `Op::Scaled` is
/// that on integers of one scale. Replaces the values of a vector, in the rows that a loop has to
/// work on; NULLs stay.
template <class Op>
void MapDecimals(const BatchRows& rows, BatchBuffers& buffers, BatchVector& out) {
  const auto putGeneral = [&] {
    VelmarNumber* const values = buffers.Values<VelmarNumber>();
    rows.ForEach([&](uint32 row) {
      if (!out.IsNull(row)) values[row] = Op::Apply(ReadBatchValue<VelmarNumber>(out, row));
    });
    out.form = ColumnForm::kNumber;
    out.scale = 0;
    out.block = nullptr;
    out.values = reinterpret_cast<const uint8*>(values);
  };
  if (!IsScaled(out.form)) return putGeneral();
  const WideBounds from = FindScaledBounds(out, rows);
  // It has no number with the other sign.
  if (from.least == std::numeric_limits<int64>::min()) return putGeneral();
  const int128 ends[] = {Op::Scaled(from.least), Op::Scaled(from.greatest),
                         from.least < 0 && from.greatest > 0 ? 0 : Op::Scaled(from.least)};
  const WideBounds bounds = {std::ranges::min(ends), std::ranges::max(ends)};
  WithScaledType(out.form, [&]<class T>(std::type_identity<T>) {
    T* const values = buffers.Values<T>();
    MapValues(out.As<T>(), values, rows, [](T value) { return Op::Scaled(value); });
    out.values = reinterpret_cast<const uint8*>(values);
    if constexpr (std::same_as<T, int64>) {
      KnowBounds(bounds, buffers.Block(), out);
    } else {
      KnowWideBounds(bounds, buffers.Block(), out);
    }
  });
}

}  // namespace sqxer
