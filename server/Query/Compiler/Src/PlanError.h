#pragma once

#include <string_view>
#include <vector>

#include "Utility/BaseStringUtil.h"
#include "Utility/ErrorMessage.h"
#include "Utility/SUXeDataTypeUtility.h"

namespace sqxer {

/// The errors that planning itself raises; the sentences are in the message catalogue.
enum PlanErrorCode {
  kStatementTooLong = 57184,
  kSyntaxError = 58001,
  kStatementNotUnderstood = 58002,
  kClauseNotUnderstood = 58003,
  kNoSuchFunction = 58004,
  kTooComplex = 58005,
  kAggregateNotAllowed = 58006,
  kNestedAggregate = 58007,
  kColumnNotGrouped = 58008,
  kPositionNotInSelectList = 58009,
  kTextDoesNotReadAs = 58010,
  kNumberOutOfRange = 58011,
  kNoDistinct = 58012,
  kArgumentCount = 58013,
  kSeveralResults = 58014,
  kAmbiguousName = 58015,
  kNoSuchTable = 58016,
  kLimitNotConstant = 58017,
  kNotACondition = 58018,
  kOrderNotSelected = 58019,
  kConstantKey = 58020,
  kStarWithoutTable = 58021,
  kNoColumnsWithoutTable = 58022,
  kNoSuchType = 58023,
  kTextLength = 58024,
  kNotALiteral = 58025,
  kNoSuchParameter = 58026,
  kNotAJsonColumn = 58030,
  kJsonPathNotLiteral = 58031,
  kLookupColumns = 58032,
  kUnknownWord = 58033,
  kArgumentNotConstant = 58035,
  kNoSuchWindow = 58036,
  kWindowNotExtended = 58037,
  kWindowNotAllowed = 58038,
  kNeedsOver = 58039,
  kNoWindowForm = 58042,
  kNoSuchFrame = 58043,
  kWindowOrder = 58044,
  kNumericPrecision = 58045,
  kNoFilter = 58046,
  kNoFraction = 58047,
  kFrameOffset = 58048,
  kFrameOrder = 58049,
  kNoSuchArgument = 58074,
  kNoSuchZone = 58075,
  kGroupingSets = 58060,
  kNotAGroupKey = 58061,
  kDistinctOn = 58062,
  kGroupByAll = 58063,
  kOrderNotTaken = 58070,
  kDistinctOrder = 58071,
  kNeedsDistinct = 58072,
  kTableNamedTwice = 58080,
  kColumnCount = 58081,
  kColumnsDoNotMeet = 58082,
  kSubqueryColumns = 58083,
  kSeries = 58084,
  kCopyOption = 58090,
  kNoSuchSwitch = 58091,
  kSeveralFractions = 58100,
  kUnknownColumn = 59015,
};

/// What the error of an unknown name ends with where no other name is near.
inline constexpr const wchar_t* kFunctionsAreListed = L" (--functions lists what there is)";

/// Raises an error at a byte offset of the statement.
[[noreturn]] inline void ThrowPlanError(int code, int position, std::vector<XeString> arguments) {
  ErrorMessage message(code, std::move(arguments));
  message.SetSourcePosition(position);
  SUGThrow(std::move(message));
}

}  // namespace sqxer
