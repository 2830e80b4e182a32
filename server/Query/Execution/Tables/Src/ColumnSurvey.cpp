#include "ColumnSurvey.h"

#include <algorithm>

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
    column.length = XeFieldDescriptor::GetObjectLength(inferred, std::max(longest, uint32{1}));
  }
  column.name = name;
  column.nullable = nullable;
  return column;
}

}  // namespace sqxer
