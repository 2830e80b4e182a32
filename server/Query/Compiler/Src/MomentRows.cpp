#include "FunctionRows.h"
#include "SQXERExprFunctionMoments.h"

namespace sqxer {

void AppendMomentRows(std::vector<FunctionRow>& rows) {
  rows.push_back(ScalarRow("to_timestamp", 1, "TO_TIMESTAMP(seconds)", "TimestampOfEpoch",
                           "a number", "TIMESTAMP",
                           "The moment so many seconds after 1970 began, to the nearest "
                           "microsecond: what EXTRACT(EPOCH FROM ...) gives, back again.",
                           "SELECT TO_TIMESTAMP(1328000400.5)", "2012-01-31 09:00:00.5",
                           PrepareAs<'n'>, MakeFunction<TimestampOfEpoch>));
}

}  // namespace sqxer
