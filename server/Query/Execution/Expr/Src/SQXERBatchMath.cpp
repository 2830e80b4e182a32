// Loops that the compiler vectorises. This file is compiled for that as if nobody asked for errno
// or for floating-point exceptions: nothing here may.

#include <cmath>

#include "SQXEROpsNumeric.h"
#include "SQXEROpsRounding.h"

namespace sqxer {
namespace {

template <class Compute>
void ComputeAll(const float64* x, float64* __restrict out, uint32 count, Compute&& compute) {
  for (uint32 i = 0; i < count; ++i) out[i] = compute(x[i]);
}

/// The same of an op; false where it refuses some.
template <class Op, class Compute>
bool ComputeUnlessRefused(const float64* x, float64* __restrict out, uint32 count,
                          Compute&& compute) {
  uint64 refused = 0;
  for (uint32 i = 0; i < count; ++i) {
    refused |= Op::Refuses(x[i]) ? uint64{1} : uint64{0};
    out[i] = compute(x[i]);
  }
  return refused == 0;
}

template <class Op>
void RoundAll(const float64* x, int32 n, float64* out, uint32 count) {
  const float64 power = PowerOfTen(std::abs(int64{n}));
  if (n < 0) {
    ComputeAll(x, out, count, [power](float64 value) { return Op::ToTens(value, power); });
  } else {
    ComputeAll(x, out, count, [power](float64 value) { return Op::ToPlaces(value, power); });
  }
}

}  // namespace

bool SqrtOp<float64>::ApplyToAll(const float64* x, float64* out, uint32 count) {
  return ComputeUnlessRefused<SqrtOp>(x, out, count,
                                      [](float64 value) { return std::sqrt(value); });
}

bool LogOp::ApplyToAll(const float64* x, float64* out, uint32 count) {
  return ComputeUnlessRefused<LogOp>(x, out, count,
                                     [](float64 value) { return NaturalLogarithm(value); });
}

void RoundOp::ApplyToAll(const float64* x, int32 n, float64* out, uint32 count) {
  RoundAll<RoundOp>(x, n, out, count);
}

void TruncateOp::ApplyToAll(const float64* x, int32 n, float64* out, uint32 count) {
  RoundAll<TruncateOp>(x, n, out, count);
}

}  // namespace sqxer
