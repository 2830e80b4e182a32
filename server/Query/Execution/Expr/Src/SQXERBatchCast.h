#pragma once

#include "SQXERBatchLoops.h"
#include "SQXERExprCastBase.h"

namespace sqxer {
namespace detail {

template <class Op>
inline constexpr bool kIsCastToItself = false;
template <class Value>
inline constexpr bool kIsCastToItself<CastToItself<Value>> = true;

template <class Op>
struct ConversionOfCast;
template <class Op>
struct ConversionOfCast<CastAlways<Op>> {
  using Type = Op;
};

/// A decimal cut off to an integer that lies well within a type; false where that is to be asked of
/// the decimal.
template <class Integer>
bool CutWithin(int64 value, int64 unit, Integer& out) {
  const int64 whole = value / unit;
  if (whole <= std::numeric_limits<Integer>::min() ||
      whole >= std::numeric_limits<Integer>::max()) {
    return false;
  }
  out = static_cast<Integer>(whole);
  return true;
}

}  // namespace detail

/// Replaces the values of a vector by what a cast makes of them. False when it refuses one; if it
/// is quiet that one is NULL.
template <CastOp Op>
bool CastVector(bool isQuiet, const BatchRows& rows, BatchBuffers& buffers, BatchVector& out) {
  using From = typename Op::From;
  using To = typename Op::To;
  if constexpr (detail::kIsCastToItself<Op>) {
    return true;
  } else if constexpr (requires { typename detail::ConversionOfCast<Op>::Type; }) {
    ConvertVector<typename detail::ConversionOfCast<Op>::Type>(RowsOf(out, rows), buffers, out);
    return true;
  } else {
    const BatchVector from = out;
    To* const values = buffers.Values<To>();
    uint64* const validity = buffers.Validity();
    const BatchRows wanted = RowsOf(from, rows);
    const auto cast = [&](auto&& apply) {
      bool isDone = true;
      wanted.ForEach([&](uint32 row) {
        if (from.IsNull(row) || apply(row)) return;
        isDone = false;
        if (isQuiet) validity[row / 64] &= ~(uint64{1} << row % 64);
      });
      return isDone || isQuiet;
    };
    if (isQuiet) {
      const uint32 words = (wanted.count + 63) / 64;
      for (uint32 word = 0; word < words; ++word) {
        validity[word] = from.validity == nullptr ? ~uint64{0} : from.validity[word];
      }
      out.validity = validity;
    }
    if constexpr (std::same_as<To, VelmarNumber>) {
      out.form = ColumnForm::kNumber;
    } else {
      out.form = BatchFormOf<To>::kForm;
    }
    out.scale = 0;
    out.values = reinterpret_cast<const uint8*>(values);
    out.block = nullptr;
    const auto read = [&](uint32 row) {
      return Op::Apply(ReadBatchValue<From>(from, row), values[row]);
    };
    if constexpr (std::same_as<From, VelmarNumber> && std::integral<To> && sizeof(To) > 1) {
      if (from.form == ColumnForm::kDecimal64) {
        int64 unit = 1;
        for (int i = 0; i < from.scale; ++i) unit *= 10;
        const int64* const decimals = from.As<int64>();
        return cast([&](uint32 row) {
          return detail::CutWithin(decimals[row], unit, values[row]) || read(row);
        });
      }
    }
    return cast(read);
  }
}

template <CastOp Op>
constexpr Cast::OperandForm Cast::FormOf(XeDataType type) {
  return {type, &Compute<Op>, [](Cast& cast, const BatchRows& rows, BatchVector& out) {
            return CastVector<Op>(cast.isQuiet_, rows, cast.GetBatchBuffers(), out);
          }};
}

}  // namespace sqxer
