// How ExpressionTyper reads the functions of the clock: a statement has one moment.

#include <algorithm>
#include <chrono>

#include "ExpressionTyper.h"
#include "PlanError.h"
#include "Utility/ColumnVector.h"
#include "Utility/DateTimeMetaData.h"
#include "Utility/Settings.h"

namespace sqxer {
namespace {

struct ClockFunction {
  std::string_view name;
  XeDataType type;
  bool takesDigits = false;
};
constexpr ClockFunction kClockFunctions[] = {
    {"current_date", XeDateData},
    {"current_timestamp", XeDateTimeData, true},
    {"localtimestamp", XeDateTimeData, true},
    {"localtime", XeTimeData, true},
    {"now", XeDateTimeData},
    {"statement_timestamp", XeDateTimeData},
    {"transaction_timestamp", XeDateTimeData},
};
constexpr int kMostDigits = 6;

}  // namespace

XeDateTime ReadClock() {
  const std::string& fixed = Settings::Current()->GetSwitches().now_;
  XeDateTime moment;
  // What the switch took reads.
  if (!fixed.empty() && DateTimeMetaData().TryConvert(Wide(fixed), moment)) return moment;
  using std::chrono::microseconds;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return FromTimeStamp64(std::chrono::duration_cast<microseconds>(now).count());
}

TypedExpressionPtr ExpressionTyper::TypeClock(const SqlExpression& expression) const {
  const auto* const function =
      std::ranges::find(kClockFunctions, expression.name, &ClockFunction::name);
  if (function == std::end(kClockFunctions)) return nullptr;
  const std::size_t count = expression.arguments.size();
  if (expression.star || count > (function->takesDigits ? 1 : 0))
    ThrowPlanError(kArgumentCount, expression.position,
                   {UpperName(expression.name), L"no arguments",
                    expression.star ? XeString(L"*") : std::to_wstring(count)});
  if (expression.over)
    ThrowPlanError(kNoWindowForm, expression.position, {UpperName(expression.name)});
  XeDateTime moment = *parameters_.moment;
  if (count == 1) {
    const std::optional<uint64> digits =
        ReadRowCount(*expression.arguments[0], L"the digits of a second");
    int64 unit = 1;
    for (uint64 i = std::min<uint64>(digits.value_or(0), kMostDigits); i < kMostDigits; ++i)
      unit *= 10;
    const int64 fraction = moment.GetNanosecond() / 1000;
    moment.AddMicroseconds((fraction + unit / 2) / unit * unit - fraction);
  }
  PlanConstant constant{function->type, moment};
  if (function->type == XeDateData) constant.value = moment.GetDate();
  if (function->type == XeTimeData) constant.value = moment.GetTime();
  return MakeTypedConstant(constant, expression.position);
}

}  // namespace sqxer
