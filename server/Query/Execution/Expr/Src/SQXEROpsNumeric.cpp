#include "SQXEROpsNumeric.h"

#include "Utility/BaseStringUtil.h"
#include "Utility/ErrorMessage.h"

namespace sqxer {

void RaiseMathError(MathOutcome outcome, const wchar_t* name, float64 argument) {
  switch (outcome) {
    case MathOutcome::kNegativeRoot:
      SUGThrow(ErrorMessage(59009, {BaseStringUtil::NumberToString(argument)}));
    case MathOutcome::kOverflow:
      SUGThrow(ErrorMessage(kOverflow, {name, kFloat64LimitText}));
    default:
      SUGThrow(ErrorMessage(59010, {name}));
  }
}

}  // namespace sqxer
