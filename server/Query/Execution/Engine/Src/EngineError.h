#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Utility/BaseStringUtil.h"
#include "Utility/ErrorMessage.h"

namespace sqxer {

/// The errors of files (up to 57099) and of execution; the sentences are in the message catalogue.
enum EngineErrorCode {
  kNoTableFile = 57001,
  kFileNotReadable = 57002,
  kFileEmpty = 57003,
  kFieldCount = 57004,
  kOpenQuotation = 57005,
  kStrayQuotation = 57006,
  kNulByte = 57007,
  kInvalidUtf8 = 57008,
  kDuplicateColumn = 57009,
  kValueTooLong = 57010,
  kValueUnreadable = 57011,
  kFieldTooLarge = 57012,
  kSchemaColumnUnknown = 57013,
  kSchemaUnreadable = 57014,
  kPathKindUnknown = 57015,
  kNoTableInDatabase = 57016,
  kBlobValue = 57017,
  kTooManyColumns = 57018,
  kParameterUnreadable = 57019,
  kFileChanged = 57020,
  kLastFileError = 57099,

  kBadStatus = 57100,
  kUnexpectedNull = 57101,
  kResultTooLong = 57102,
  kResultType = 57103,
};

inline XeString Wide(std::string_view utf8) { return BaseStringUtil::Utf8ToString(utf8); }

/// Where in a file a bad record starts, as its message says it: "line 7", "row 7".
struct RecordPlace {
  const wchar_t* unit;
  uint64 number;
  XeString Text() const { return XeString(unit) + L" " + std::to_wstring(number); }
};

/// A value as messages quote it: long ones are cut.
inline XeString QuotedValue(std::string_view utf8) { return BaseStringUtil::QuotedValue(utf8); }

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
