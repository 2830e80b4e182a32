#include "ColumnSurvey.h"

#include <algorithm>
#include <string>

#include "ColumnTypes.h"
#include "Utility/XeRecordMetaData.h"

namespace sqxer {
namespace {

/// The kinds that every value of an inferred type has.
unsigned KindsOfType(XeDataType type) {
  switch (type) {
    case XeBoolean:
      return kBooleanKind;
    case XeInt4Data:
      return kInt4Kind | kNumericKind | kDoubleKind;
    case XeNumericData:
      return kNumericKind | kDoubleKind;
    case XeDoubleData:
      return kDoubleKind;
    case XeDateData:
      return kDateKind | kTimeStampKind;
    case XeTimeStampData:
      return kTimeStampKind;
    case XeTimeData:
      return kTimeKind;
    default:
      return 0;
  }
}

}  // namespace

void ColumnSurvey::AddValuesOf(XeDataType type, uint64 count) {
  if (count == 0) return;
  kinds_ &= KindsOfType(type);
  values_ += count;
}

void ColumnSurvey::AddTexts(const ColumnVector& texts) {
  uint64 nulls = 0;
  for (uint64 row = 0; texts.validity != nullptr && row < texts.rows; ++row) {
    nulls += texts.IsNull(row) ? 1 : 0;
  }
  values_ += texts.rows - nulls;
  const ColumnVector& entries = texts.dictionary ? *texts.dictionary : texts;
  std::string narrow;
  for (uint64 entry = 0; entry < entries.rows && kinds_ != 0; ++entry) {
    if (entries.IsNull(entry)) continue;
    const uint64 start = entries.GetOffset(entry);
    const uint64 count = entries.GetOffset(entry + 1) - start;
    const auto add = [&](const auto* characters) {
      // What is no text is ASCII.
      const bool isAscii = std::all_of(characters, characters + count,
                                       [](auto c) { return static_cast<uint32>(c) < 0x80; });
      narrow.assign(characters, characters + (isAscii ? count : 0));
      kinds_ &= isAscii ? ClassifyText(narrow) : 0;
    };
    if (entries.form == ColumnForm::kText8) {
      add(entries.values + start);
    } else {
      add(reinterpret_cast<const wchar_t*>(entries.values) + start);
    }
  }
}

XeDataType ColumnSurvey::GetType() const {
  constexpr XeDataType kTypes[] = {XeBoolean,  XeInt4Data,      XeNumericData, XeDoubleData,
                                   XeDateData, XeTimeStampData, XeTimeData};
  if (values_ == 0) return XeVarCharData;
  const auto* const found = std::ranges::find_if(kTypes, [this](XeDataType type) {
    const unsigned kinds = KindsOfType(type);
    return (kinds_ & kinds) == kinds;
  });
  return found == std::end(kTypes) ? XeVarCharData : *found;
}

XeString DescribeTextReason(std::string_view value, const RecordPlace& place,
                            const std::string& file) {
  const XeString reason = L"\"" + QuotedValue(value) + L"\" in " + place.Text();
  return file.empty() ? reason : reason + L" of \"" + Wide(file) + L"\"";
}

ColumnInfo DescribeColumn(const XeString& name, const std::optional<ColumnInfo>& declared,
                          XeDataType inferred, uint32 longest, bool nullable) {
  ColumnInfo column;
  if (declared) {
    column = *declared;
  } else {
    column.type = inferred;
  }
  if (!declared || IsOfAnyLength(*declared)) {
    column.length = XeFieldDescriptor::GetObjectLength(column.type, std::max(longest, uint32{1}));
  }
  column.name = name;
  column.nullable = nullable;
  return column;
}

}  // namespace sqxer
