#pragma once

#include <algorithm>
#include <limits>
#include <optional>

#include "SQXERExpression.h"
#include "SQXEROpsArithmetic.h"
#include "SQXEROpsCompare.h"
#include "SQXEROpsConvert.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeDateTime.h"

/// The loops that the batch side of node templates is made of.

namespace sqxer {

/// The form of the values of a C++ type where it has one only, and the type that it is made of.
template <ColumnForm form, class StoredType>
struct OneBatchForm {
  static constexpr ColumnForm kForm = form;
  using Stored = StoredType;
};
template <class T>
struct BatchFormOf;
template <>
struct BatchFormOf<uint8> : OneBatchForm<ColumnForm::kUInt8, uint8> {};
template <>
struct BatchFormOf<int16> : OneBatchForm<ColumnForm::kInt16, int16> {};
template <>
struct BatchFormOf<int32> : OneBatchForm<ColumnForm::kInt32, int32> {};
template <>
struct BatchFormOf<uint32> : OneBatchForm<ColumnForm::kUInt32, uint32> {};
template <>
struct BatchFormOf<float32> : OneBatchForm<ColumnForm::kFloat32, float32> {};
template <>
struct BatchFormOf<float64> : OneBatchForm<ColumnForm::kFloat64, float64> {};
/// Days in their order are dates in theirs.
template <>
struct BatchFormOf<XeDate> : OneBatchForm<ColumnForm::kDay32, int32> {};
template <>
struct BatchFormOf<XeTime> : OneBatchForm<ColumnForm::kTime64, int64> {};
template <>
struct BatchFormOf<XeInterval> : OneBatchForm<ColumnForm::kInterval, XeInterval> {};

template <class T>
concept HasOneBatchForm = requires {
  BatchFormOf<T>::kForm;
};

/// Whether values of T have forms in a batch that are not texts.
template <class T>
inline constexpr bool HasBatchForm =
    HasOneBatchForm<T> || std::same_as<T, VelmarNumber> || std::same_as<T, XeDateTime>;

/// Digits behind the point that decimals of 64 bits have, at most.
inline constexpr int kMostScale64 = 18;

/// Whether decimals are integers of one scale.
constexpr bool IsScaled(ColumnForm form) {
  return form == ColumnForm::kDecimal64 || form == ColumnForm::kDecimal128;
}
/// Calls use(std::type_identity<T>) with the type of these.
template <class Use>
void WithScaledType(ColumnForm form, Use&& use) {
  if (form == ColumnForm::kDecimal64) {
    use(std::type_identity<int64>());
  } else {
    use(std::type_identity<int128>());
  }
}

/// Reads a value of a vector of T's forms as T.
template <class T>
T ReadBatchValue(const BatchVector& vector, uint32 row) {
  if (vector.isConstant) row = 0;
  if constexpr (std::same_as<T, VelmarNumber>) {
    switch (vector.form) {
      case ColumnForm::kDecimal64:
        return VelmarNumber::FromScaled(vector.As<int64>()[row], vector.scale);
      case ColumnForm::kDecimal128:
        return VelmarNumber::FromScaled(vector.As<int128>()[row], vector.scale);
      default:
        return vector.As<VelmarNumber>()[row];
    }
  } else if constexpr (std::same_as<T, XeDateTime>) {
    return vector.form == ColumnForm::kTimeStamp64 ? FromTimeStamp64(vector.As<int64>()[row])
                                                   : vector.As<XeDateTime>()[row];
  } else if constexpr (std::same_as<T, XeDate>) {
    return FromDay32(vector.As<int32>()[row]);
  } else if constexpr (std::same_as<T, XeTime>) {
    return FromTime64(vector.As<int64>()[row]);
  } else {
    return vector.As<T>()[row];
  }
}

/// The rows in which both operands have a value become those of `out`. `words` is room for them.
SQXEREXPR_API void IntersectValidity(const BatchVector& a, const BatchVector& b,
                                     const BatchRows& rows, uint64* words, BatchVector& out);
/// The bits of the rows in which all vectors have a value; `words` is room for them. What else
/// `out` says is whether all are constant.
inline void IntersectValidity(const BatchVector& a, const BatchVector& b, const BatchVector& c,
                              const BatchRows& rows, uint64* words, BatchVector& out) {
  BatchVector both;
  IntersectValidity(a, b, rows, words, both);
  IntersectValidity(both, c, rows, words, out);
}

/// Calls use(isConstantA, isConstantB) with compile-time truth values.
template <class Use>
void WithConstants(bool a, bool b, Use&& use) {
  if (a) {
    b ? use(std::true_type(), std::true_type()) : use(std::true_type(), std::false_type());
  } else {
    b ? use(std::false_type(), std::true_type()) : use(std::false_type(), std::false_type());
  }
}

/// out[row] = op(a[row], b[row]) over plain values; an operand that is constant stands at index 0.
template <class A, class B, class Out, class Op>
void MapPairs(const A* a, bool isConstantA, const B* b, bool isConstantB, Out* __restrict out,
              const BatchRows& rows, Op&& op) {
  WithConstants(isConstantA, isConstantB, [&](auto constantA, auto constantB) {
    const auto at = [](const auto* values, uint32 row, auto isConstant) {
      return values[isConstant ? 0 : row];
    };
    if (rows.IsDense()) {
      // Of its own, so that no byte written to the output can be one of them.
      const A* const left = a;
      const B* const right = b;
      Out* const __restrict result = out;
      const uint32 count = rows.count;
      for (uint32 row = 0; row < count; ++row) {
        result[row] = static_cast<Out>(op(at(left, row, constantA), at(right, row, constantB)));
      }
    } else {
      for (uint32 i = 0; i < rows.selectedCount; ++i) {
        const uint32 row = rows.selected[i];
        out[row] = static_cast<Out>(op(at(a, row, constantA), at(b, row, constantB)));
      }
    }
  });
}

/// out[row] = op(a[row]).
template <class A, class Out, class Op>
void MapValues(const A* a, Out* __restrict out, const BatchRows& rows, Op&& op) {
  if (rows.IsDense()) {
    const uint32 count = rows.count;
    for (uint32 row = 0; row < count; ++row) out[row] = static_cast<Out>(op(a[row]));
  } else {
    for (uint32 i = 0; i < rows.selectedCount; ++i) {
      const uint32 row = rows.selected[i];
      out[row] = static_cast<Out>(op(a[row]));
    }
  }
}

/// The rows of a batch of which every operand is constant: one.
inline BatchRows FirstRow(const BatchRows& rows) {
  BatchRows first = rows;
  first.count = rows.count == 0 ? 0 : 1;
  first.selected = nullptr;
  return first;
}

/// The least and greatest value of a vector of integers in the rows that count; zero twice when
/// there is none.
template <std::integral T>
ColumnBounds<int64> FindBounds(const BatchVector& vector, const BatchRows& rows) {
  const T* const values = vector.As<T>();
  if (vector.isConstant) return {values[0], values[0]};
  if (vector.block != nullptr && vector.block->hasBounds) return vector.block->whole;
  T least = std::numeric_limits<T>::max();
  T greatest = std::numeric_limits<T>::min();
  if (vector.validity == nullptr && rows.selected == nullptr) {
    for (uint32 row = 0; row < rows.count; ++row) {
      least = std::min(least, values[row]);
      greatest = std::max(greatest, values[row]);
    }
  } else {
    rows.ForEach([&](uint32 row) {
      if (vector.IsNull(row)) return;
      least = std::min(least, values[row]);
      greatest = std::max(greatest, values[row]);
    });
  }
  if (least > greatest) return {0, 0};
  return {least, greatest};
}

template <class T>
bool AreWithin(const WideBounds& bounds) {
  return bounds.least >= std::numeric_limits<T>::min() &&
         bounds.greatest <= std::numeric_limits<T>::max();
}

/// The lowest bits of 64 bytes, the first one lowest.
inline uint64 PackTruths(const uint8* truths) {
  // Moves bit 0 of byte i to bit 56 + i.
  constexpr uint64 kGather = 0x0102040810204080;
  constexpr uint64 kLowest = 0x0101010101010101;
  uint64 bits = 0;
  for (std::size_t i = 0; i < 8; ++i) {
    uint64 eight;
    std::memcpy(&eight, truths + i * 8, sizeof eight);
    bits |= ((eight & kLowest) * kGather >> 56) << (i * 8);
  }
  return bits;
}

/// Calls use(row) for the rows of a vector that is not constant which are NULL.
template <class Use>
void ForEachNull(const BatchVector& vector, uint32 count, Use&& use) {
  if (vector.validity == nullptr) return;
  for (uint32 first = 0; first < count; first += 64) {
    uint64 nulls = ~vector.validity[first / 64];
    if (count - first < 64) nulls &= (uint64{1} << (count - first)) - 1;
    for (; nulls != 0; nulls &= nulls - 1) {
      use(first + static_cast<uint32>(std::countr_zero(nulls)));
    }
  }
}

/// Calls use(row, characters, length) for the wanted rows of a vector of texts that are not NULL,
/// of which the constant ones have been handed over as one row.
template <class Character, class Use>
void ForEachTextOf(const BatchVector& vector, const BatchRows& rows, Use&& use) {
  const auto slices = [&](const auto* offsets, const uint8* values, auto place) {
    const auto* const characters = reinterpret_cast<const Character*>(values);
    rows.ForEach([&](uint32 row) {
      if (vector.IsNull(row)) return;
      const std::size_t at = place(row);
      use(row, characters + offsets[at], static_cast<uint32>(offsets[at + 1] - offsets[at]));
    });
  };
  const auto inRow = [](uint32 row) { return std::size_t{row}; };
  if (vector.offsets != nullptr && vector.offsetWidth == 4) {
    slices(reinterpret_cast<const uint32*>(vector.offsets), vector.values, inRow);
  } else if (vector.offsets != nullptr) {
    slices(reinterpret_cast<const uint64*>(vector.offsets), vector.values, inRow);
  } else {
    rows.ForEach([&](uint32 row) {
      if (vector.IsNull(row)) return;
      const BatchText text = vector.GetText(row);
      use(row, reinterpret_cast<const Character*>(text.characters), text.length);
    });
  }
}

/// Writes the wanted rows whose truth value is true to `passing`, which may be where the wanted
/// rows stand, and returns how many there are.
SQXEREXPR_API uint32 SelectTrue(const BatchVector& truth, const BatchRows& rows, uint16* passing);

/// The rows that a loop over a vector has to work on.
inline BatchRows RowsOf(const BatchVector& vector, const BatchRows& rows) {
  return vector.isConstant ? FirstRow(rows) : rows;
}

/// The same for what IntersectValidity has put together of several operands: none where one of them
/// is NULL for all rows, since the first row of the others, which would stand for all, may not have
/// been wanted.
inline BatchRows RowsOfAll(const BatchVector& vector, const BatchRows& rows) {
  BatchRows wanted = RowsOf(vector, rows);
  if (vector.isConstant && vector.IsNull(0)) wanted.count = 0;
  return wanted;
}

/// What a node costs that does little more than its operands, and cannot fail.
template <class... Operands>
BatchCost CostOfAll(Operands&... operands) {
  return (BatchCost::kFree | ... | operands.GetBatchCost());
}

/// The batch of a node of two operands that is NULL where one of them is: combine(left, right,
/// rows, out) puts form and values into `out`, and is false where it refuses some.
template <class Combine>
bool EvalPairBatch(RExpression& left, RExpression& right, const BatchRows& rows,
                   BatchBuffers& buffers, BatchVector& out, Combine&& combine) {
  BatchVector a;
  BatchVector b;
  if (!EvaluateBatch(left, rows, a) || !EvaluateBatch(right, rows, b)) return false;
  out = BatchVector();
  IntersectValidity(a, b, rows, buffers.Validity(), out);
  return combine(a, b, RowsOfAll(out, rows), out);
}

/// The same as FindBounds of a vector of integers of one scale.
SQXEREXPR_API WideBounds FindScaledBounds(const BatchVector& vector, const BatchRows& rows);
/// Brings bounds to so many digits more; false when they leave 128 bits.
SQXEREXPR_API bool ScaleBounds(int digits, WideBounds& bounds);
inline bool HaveDecimalDigits(const WideBounds& bounds) {
  return HasDecimalDigits(bounds.least) && HasDecimalDigits(bounds.greatest);
}

/// Two vectors of decimals as integers, int64 or int128, of one scale.
template <class Stored>
struct AlignedDecimals {
  const Stored* left = nullptr;
  const Stored* right = nullptr;
  int16 scale = 0;
  ColumnBounds<Stored> leftBounds{};
  ColumnBounds<Stored> rightBounds{};

  /// False when they are of another form, or Stored does not hold them at one scale. The buffers
  /// hold what has to be made.
  bool Align(const BatchVector& a, const BatchVector& b, const BatchRows& rows,
             BatchBuffers& buffers);
};
template <>
SQXEREXPR_API bool AlignedDecimals<int64>::Align(const BatchVector& a, const BatchVector& b,
                                                 const BatchRows& rows, BatchBuffers& buffers);
template <>
SQXEREXPR_API bool AlignedDecimals<int128>::Align(const BatchVector& a, const BatchVector& b,
                                                  const BatchRows& rows, BatchBuffers& buffers);

/// A decimal of 64 bits as the nearest double, if a division of two exact doubles gives it.
struct ScaledToFloat64 {
  static constexpr int64 kMostExact = int64{1} << 53;
  static constexpr int kMostScale = 22;
  static bool IsExact(const ColumnBounds<int64>& bounds, int scale) {
    return bounds.least >= -kMostExact && bounds.greatest <= kMostExact && scale <= kMostScale;
  }
  static float64 Divisor(int scale) {
    float64 divisor = 1;
    for (int i = 0; i < scale; ++i) divisor *= 10;
    return divisor;
  }
};

/// Replaces the values of a vector by what a conversion makes of them; NULLs stay. The rows are
/// those that a loop has to work on. What the conversion throws goes on.
template <ConversionOp Op>
void ConvertVector(const BatchRows& rows, BatchBuffers& buffers, BatchVector& out) {
  using From = typename Op::From;
  using To = typename Op::To;
  const BatchVector from = out;
  const auto put = [&]<class Stored>(ColumnForm form, const Stored* values) {
    out.form = form;
    out.scale = 0;
    out.values = reinterpret_cast<const uint8*>(values);
    out.block = nullptr;
  };
  if constexpr (std::same_as<To, VelmarNumber> && std::integral<From>) {
    int64* const values = buffers.Values<int64>();
    MapValues(from.As<From>(), values, rows, [](From value) { return int64{value}; });
    put(ColumnForm::kDecimal64, values);
    // Both are integers of the same value.
    out.block = from.block;
  } else if constexpr (std::is_arithmetic_v<From> && std::is_arithmetic_v<To>) {
    To* const values = buffers.Values<To>();
    MapValues(from.As<From>(), values, rows, [](From value) { return Op::Apply(value); });
    put(BatchFormOf<To>::kForm, values);
  } else {
    if constexpr (std::same_as<From, VelmarNumber> && std::same_as<To, float64>) {
      if (from.form == ColumnForm::kDecimal64 &&
          ScaledToFloat64::IsExact(FindBounds<int64>(from, rows), from.scale)) {
        float64* const values = buffers.Values<float64>();
        const float64 divisor = ScaledToFloat64::Divisor(from.scale);
        MapValues(from.As<int64>(), values, rows,
                  [divisor](int64 value) { return static_cast<float64>(value) / divisor; });
        return put(ColumnForm::kFloat64, values);
      }
    }
    using Stored =
        std::conditional_t<std::same_as<To, VelmarNumber> || std::same_as<To, XeDateTime>, To,
                           float64>;
    Stored* const values = buffers.Values<Stored>();
    rows.ForEach([&](uint32 row) {
      if (!from.IsNull(row)) values[row] = Op::Apply(ReadBatchValue<From>(from, row));
    });
    put(std::same_as<To, VelmarNumber> ? ColumnForm::kNumber
        : std::same_as<To, XeDateTime> ? ColumnForm::kDateTime
                                       : ColumnForm::kFloat64,
        values);
  }
}

/// The least and greatest value of a column in the block of a batch; nothing where they are not
/// known.
template <class T>
std::optional<ColumnBounds<T>> KnownBounds(const BatchVector& vector) {
  if (vector.isConstant || vector.block == nullptr || !vector.block->hasBounds) return {};
  if constexpr (std::same_as<T, XeInterval>) {
    return {};
  } else if constexpr (std::floating_point<T>) {
    return ColumnBounds<T>{static_cast<T>(vector.block->real.least),
                           static_cast<T>(vector.block->real.greatest)};
  } else if constexpr (std::same_as<T, int128>) {
    return vector.block->wide;
  } else {
    const ColumnBounds<int64>& whole = vector.block->whole;
    if constexpr (std::integral<T>) {
      return ColumnBounds<T>{static_cast<T>(whole.least), static_cast<T>(whole.greatest)};
    } else {
      const int32 days[] = {static_cast<int32>(whole.least), static_cast<int32>(whole.greatest)};
      BatchVector ends = vector;
      ends.values = vector.form == ColumnForm::kDay32 ? reinterpret_cast<const uint8*>(days)
                    : vector.form == ColumnForm::kDecimal128
                        ? reinterpret_cast<const uint8*>(&vector.block->wide)
                        : reinterpret_cast<const uint8*>(&whole);
      return ColumnBounds<T>{ReadBatchValue<T>(ends, 0), ReadBatchValue<T>(ends, 1)};
    }
  }
}

/// A comparison with its operands in the other order.
template <class Op>
struct TurnedOp {
  static bool Apply(const auto& a, const auto& b) { return Op::Apply(b, a); }
};
/// Whether the outcomes for ascending values turn once at most.
template <class Op>
inline constexpr bool kTurnsOnce = !std::same_as<Op, EqualToOp> && !std::same_as<Op, NotEqualToOp>;
template <class Op>
inline constexpr bool kTurnsOnce<TurnedOp<Op>> = kTurnsOnce<Op>;

/// The outcome that a comparison with a constant has for every value within some bounds; nothing
/// where it has both.
template <class Op, class Value>
std::optional<bool> CompareBounds(const ColumnBounds<Value>& bounds, Value constant) {
  const bool outcome = Op::Apply(bounds.least, constant);
  const bool isAside = constant < bounds.least || bounds.greatest < constant;
  const bool isSame = kTurnsOnce<Op> ? outcome == Op::Apply(bounds.greatest, constant)
                                     : bounds.least == bounds.greatest;
  if (isAside || isSame) return outcome;
  return {};
}

/// out[row] = Op(a[row], b[row]) over plain values; at once where one is constant and the bounds of
/// the other decide.
template <class Op, class Stored>
void ComparePairs(const Stored* a, const std::optional<ColumnBounds<Stored>>& boundsA,
                  bool isConstantA, const Stored* b,
                  const std::optional<ColumnBounds<Stored>>& boundsB, bool isConstantB, uint8* out,
                  const BatchRows& rows) {
  std::optional<bool> outcome;
  if (isConstantB && boundsA) {
    outcome = CompareBounds<Op>(*boundsA, *b);
  } else if (isConstantA && boundsB) {
    outcome = CompareBounds<TurnedOp<Op>>(*boundsB, *a);
  }
  if (outcome) {
    std::fill_n(out, rows.count, static_cast<uint8>(*outcome));
  } else {
    MapPairs(a, isConstantA, b, isConstantB, out, rows,
             [](const Stored& x, const Stored& y) { return Op::Apply(x, y); });
  }
}

/// Compares two vectors of T's forms into bytes. The buffers are those of the node.
template <class Op, class T>
void CompareVectors(const BatchVector& a, const BatchVector& b, const BatchRows& rows,
                    BatchBuffers& buffers, uint8* out) {
  const auto plain = [&]<class Stored>(std::type_identity<Stored>) {
    ComparePairs<Op>(a.As<Stored>(), KnownBounds<Stored>(a), a.isConstant, b.As<Stored>(),
                     KnownBounds<Stored>(b), b.isConstant, out, rows);
  };
  if constexpr (HasOneBatchForm<T>) {
    plain(std::type_identity<typename BatchFormOf<T>::Stored>());
  } else {
    if constexpr (std::same_as<T, VelmarNumber>) {
      if (a.form == ColumnForm::kDecimal64 && b.form == a.form && a.scale == b.scale) {
        return plain(std::type_identity<int64>());
      }
      const auto compareAligned = [&]<class Stored>(AlignedDecimals<Stored> aligned) {
        if (!aligned.Align(a, b, rows, buffers)) return false;
        ComparePairs<Op, Stored>(aligned.left, aligned.leftBounds, a.isConstant, aligned.right,
                                 aligned.rightBounds, b.isConstant, out, rows);
        return true;
      };
      if (compareAligned(AlignedDecimals<int64>()) || compareAligned(AlignedDecimals<int128>())) {
        return;
      }
    } else if (a.form == ColumnForm::kTimeStamp64 && b.form == ColumnForm::kTimeStamp64) {
      return plain(std::type_identity<int64>());
    }
    // What stands at a NULL need not be a value.
    rows.ForEach([&](uint32 row) {
      if (!a.IsNull(row) && !b.IsNull(row)) {
        out[row] = Op::Apply(ReadBatchValue<T>(a, row), ReadBatchValue<T>(b, row));
      }
    });
  }
}

}  // namespace sqxer
