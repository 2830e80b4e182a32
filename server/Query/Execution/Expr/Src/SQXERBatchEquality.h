#pragma once

#include "SQXERBatchLoops.h"
#include "SQXERBatchTextCompare.h"
#include "SQXERBranchTypes.h"
#include "SQXEROpsCompare.h"

namespace sqxer {

/// Writes whether the values of two vectors are equal, as EqualValues has it; what it writes for
/// rows where one of them is NULL has no meaning. Where both are constant `rows` has one row. Of
/// the buffers, those of the node, it leaves the selections alone: `rows` may stand there. It takes
/// the second list of truth values.
template <class T>
void EqualVectors(CharCompareFunc_t compare, const BatchVector& a, const BatchVector& b,
                  const BatchRows& rows, BatchBuffers& buffers, uint8* out) {
  const auto isNull = [](const BatchVector& vector) {
    return vector.isConstant && vector.IsNull(0);
  };
  // A constant NULL has no values that could be read.
  if (isNull(a) || isNull(b)) return;
  if constexpr (requires(const T& value) { AsText(value); }) {
    auto* const signs = reinterpret_cast<int8*>(buffers.Truths(1));
    CompareTextVectors(compare, a, b, rows, buffers, signs);
    MapValues(signs, out, rows, [](int8 sign) { return EqualToOp::Apply(int{sign}, 0); });
  } else if constexpr (HasBatchForm<T>) {
    CompareVectors<EqualToOp, T>(a, b, rows, buffers, out);
  } else {
    rows.ForEach([&](uint32 row) {
      out[row] = EqualToOp::Apply(ReadBatchValue<T>(a, row), ReadBatchValue<T>(b, row));
    });
  }
}

/// The same where NULL equals NULL, and no value does.
template <class T>
void MatchVectors(CharCompareFunc_t compare, const BatchVector& a, const BatchVector& b,
                  const BatchRows& rows, BatchBuffers& buffers, uint8* out) {
  EqualVectors<T>(compare, a, b, rows, buffers, out);
  if (a.validity == nullptr && b.validity == nullptr) return;
  // No branch asks for NULL, which nobody could guess.
  rows.ForEach([&](uint32 row) {
    const auto isNullA = static_cast<uint8>(a.IsNull(row));
    const auto isNullB = static_cast<uint8>(b.IsNull(row));
    out[row] = static_cast<uint8>((isNullA & isNullB) | (out[row] & ~(isNullA | isNullB) & 1));
  });
}

}  // namespace sqxer
