#pragma once

#include <string>
#include <vector>

#include "TableError.h"

namespace sqxer {

/// The errors of execution; the sentences are in the message catalogue.
enum EngineErrorCode {
  kParameterUnreadable = 57019,
  kBadStatus = 57100,
  kUnexpectedNull = 57101,
  kResultTooLong = 57102,
  kResultType = 57103,
  kFrameTooLarge = 57104,
  kCancelled = 57110,
  kNoExpression = 57111,
  kOtherColumns = 57112,
  kResultPassed = 57113,
  kFunctionRows = 57114,
  kFunctionValues = 57115,
  kFunctionText = 57116,
  kFunctionName = 57117,
  kFunctionType = 57118,
  kNoThread = 57119,
  kNotDistributed = 57120,
  kStatesOfOtherVersion = 57121,
  kStatesOfOtherPlan = 57122,
  kNoStates = 57123,
  kNoSuchStep = 57124,
  kJoinTooLarge = 57130,
  kSubqueryRows = 57131,
  kSubqueryValues = 57132,
  kInView = 57140,
  kViewReadsItself = 57141,
  kNameTaken = 57142,
  kNameIsPath = 57143,
  kNoSuchObject = 57144,
  kOtherObject = 57145,
  kNotInsertable = 57146,
  kNoSuchColumn = 57147,
  kColumnTwice = 57148,
  kInsertCount = 57149,
  kTextTooLong = 57150,
  kSameColumnNames = 57151,
  kCopyFailed = 57152,
  kCopyFormat = 57153,
  kCopyOfCsv = 57154,
  kViewColumns = 57155,
  kViewsTooDeep = 57156,
  kNothingToDraw = 57170,
  kTooManyPoints = 57171,
  kTimedOut = 57173,
  /// One for each MemoryUse.
  kFirstOfMemory = 57174,
  kLastOfMemory = 57182,
  kTempLimit = 57183,
  kOutsideFolder = 57190,
  kWritesNothing = 57191,
  kLimitRaised = 57192,
};

/// Raises an error that only has arguments.
[[noreturn]] inline void ThrowEngineError(int code, std::vector<XeString> arguments) {
  SUGThrow(ErrorMessage(code, std::move(arguments)));
}

/// Where the number of an input row belongs that has none: the rows of no table, or groups.
inline constexpr uint64 kNoRowNumber = 0;

/// Does what concerns one input row, and returns what that gives. An error on its way out carries
/// the row's number, if it has one.
template <class Action>
auto AtRow(uint64 row, Action&& action) {
  try {
    return action();
  } catch (ErrorMessage& error) {
    if (row != kNoRowNumber) error.SetRowNumber(static_cast<int64>(row));
    throw;
  }
}

}  // namespace sqxer
