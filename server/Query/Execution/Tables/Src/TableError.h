#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Utility/BaseStringUtil.h"
#include "Utility/ErrorMessage.h"

namespace sqxer {

/// The errors of files, from 57001 to 57099; the sentences are in the message catalogue.
enum TableErrorCode {
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
  kFileChanged = 57020,
  kFileNotUnpacked = 57021,
  kInvalidEncoding = 57022,
  kEncodingUnknown = 57023,
  kHeadersDiffer = 57024,
  kRecordTooLarge = 57025,
  kFieldCountOfFirst = 57026,
  kReadAlready = 57027,
  kNoFileMatches = 57028,
  kNoJsonObject = 57029,
  kDuplicateKey = 57030,
  kForeignFile = 57031,
  kStandardInputTaken = 57032,
  kLineTooLarge = 57033,
  kNoKeys = 57034,
  kTypeOfFirstRows = 57035,
  kNewKey = 57036,
  kNulEscape = 57037,
  kTooManyLevels = 57038,
  kDelimiterUnknown = 57039,
  kPackedTooWell = 57040,
  kLastFileError = 57099,
  kTooManySteps = 57193,
};

/// Where in a file a bad record starts, as its message says it: "line 7", "row 7".
struct RecordPlace {
  const wchar_t* unit;
  uint64 number;
  XeString Text() const { return XeString(unit) + L" " + std::to_wstring(number); }
};

/// A value as messages quote it: long ones are cut.
inline XeString QuotedValue(std::string_view utf8) { return BaseStringUtil::QuotedValue(utf8); }

/// Raises an error that only has arguments.
[[noreturn]] inline void ThrowTableError(int code, std::vector<XeString> arguments) {
  SUGThrow(ErrorMessage(code, std::move(arguments)));
}

}  // namespace sqxer
