#pragma once

#include "SQXEROpFunction.h"
#include "SQXEROpsInteger.h"
#include "Utility/XeDateTime.h"

namespace sqxer {

/// The moment so many seconds after 1970 began, to the nearest microsecond. Error 59171 outside the
/// years that there are.
struct TimestampOfEpochOp {
  using Operands = std::tuple<VelmarNumber>;
  static constexpr const wchar_t* kName = L"TimestampOfEpoch";
  static constexpr bool kOnBytes = false;
  static XeDateTime Apply(const VelmarNumber& seconds) {
    constexpr int64 kSecond = 1'000'000;
    static const FitNumericOp round(kDecimalDigits, 0);
    int64 microseconds = 0;
    const VelmarNumber scaled = VelmarNumber::Multiply(seconds, VelmarNumber(kSecond));
    if (VelmarNumber::absolute(seconds) >
            VelmarNumber(std::numeric_limits<int64>::max() / kSecond) ||
        !round.Apply(scaled).TryScaled(0, microseconds)) [[unlikely]]
      SUGThrow(ErrorMessage(59171, {L"1970-01-01 00:00:00 + " + seconds.asString() + L" seconds"}));
    const int64 rest = (microseconds % kSecond + kSecond) % kSecond;
    XeDateTime moment(XeDate(1970, 1, 1));
    moment.AddSeconds((microseconds - rest) / kSecond);
    moment.SetNanosecond(static_cast<uint32>(rest * 1000));
    return moment;
  }
};

extern template class SQXEREXPR_API OpFunction<TimestampOfEpochOp>;

class SQXEREXPR_API TimestampOfEpoch final : public OpFunction<TimestampOfEpochOp> {
 public:
  using OpFunction::OpFunction;
};

}  // namespace sqxer
