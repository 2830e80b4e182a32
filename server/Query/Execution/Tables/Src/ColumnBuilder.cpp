#include "ColumnBuilder.h"

#include <algorithm>
#include <concepts>
#include <cstring>
#include <utility>

#include "ColumnTypes.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "Utility/XeAssert.h"
#include "Utility/XeRecordMetaData.h"

namespace sqxer {
namespace {

XeDataType TypeOfKinds(unsigned kinds) {
  if (kinds & kBooleanKind) return XeBoolean;
  if (kinds & kInt4Kind) return XeInt4Data;
  if (kinds & kNumericKind) return XeNumericData;
  if (kinds & kDoubleKind) return XeDoubleData;
  if (kinds & kDateKind) return XeDateData;
  if (kinds & kTimeStampKind) return XeTimeStampData;
  if (kinds & kTimeKind) return XeTimeData;
  return XeVarCharData;
}

bool IsVarying(XeDataType type) { return type == XeVarCharData || type == XeLongVarCharData; }

uint32 WidthOf(const ColumnInfo& column) {
  if (IsVarying(column.type)) return 0;
  return XeRecordMetaData::GetByteLength(column.type, column.length, true);
}

}  // namespace

void ColumnSurvey::Add(std::string_view text) { Add(text, kinds_ == 0 ? 0 : ClassifyText(text)); }

void ColumnSurvey::Add(std::string_view text, unsigned kinds) {
  kinds_ &= kinds;
  ++values_;
  const uint32 count = BaseStringUtil::CountCharacters(text);
  characters_ += count;
  longest_ = std::max(longest_, count);
}

ColumnInfo ColumnSurvey::Describe(const XeString& name,
                                  const std::optional<ColumnInfo>& declared) const {
  ColumnInfo column;
  if (declared) {
    column = *declared;
  } else {
    column.type = values_ == 0 ? XeVarCharData : TypeOfKinds(kinds_);
    column.length = XeFieldDescriptor::GetObjectLength(column.type, std::max(longest_, uint32{1}));
  }
  column.name = name;
  column.nullable = nulls_ != 0;
  return column;
}

template <class Stored, class Read>
ColumnBuilder::Outcome ColumnBuilder::AppendFixed(ColumnBuilder& builder, std::string_view text) {
  Read value;
  if (!ReadValue(text, value)) return Outcome::kUnreadable;
  if constexpr (std::integral<Stored> && !std::same_as<Read, bool>) {
    if (!std::in_range<Stored>(value)) return Outcome::kUnreadable;
  }
  const Stored stored = static_cast<Stored>(value);
  const auto* const bytes = reinterpret_cast<const uint8*>(&stored);
  builder.column_.values.insert(builder.column_.values.end(), bytes, bytes + sizeof stored);
  return Outcome::kTaken;
}

ColumnBuilder::Outcome ColumnBuilder::AppendFixedText(ColumnBuilder& builder,
                                                      std::string_view text) {
  const uint32 count = BaseStringUtil::CountCharacters(text);
  const uint32 declared = builder.column_.info.length;
  if (count > declared) return Outcome::kTooLong;
  std::vector<uint8>& values = builder.column_.values;
  const std::size_t start = values.size();
  values.resize(start + builder.width_);
  wchar_t* const characters = reinterpret_cast<wchar_t*>(values.data() + start);
  BaseStringUtil::DecodeUtf8(text, characters);
  std::fill(characters + count, characters + declared, L' ');
  return Outcome::kTaken;
}

ColumnBuilder::Outcome ColumnBuilder::AppendVaryingText(ColumnBuilder& builder,
                                                        std::string_view text) {
  const uint32 count = BaseStringUtil::CountCharacters(text);
  if (count > builder.column_.info.length) return Outcome::kTooLong;
  std::vector<wchar_t>& characters = builder.column_.characters;
  const std::size_t start = characters.size();
  characters.resize(start + count);
  BaseStringUtil::DecodeUtf8(text, characters.data() + start);
  builder.column_.offsets.push_back(characters.size());
  return Outcome::kTaken;
}

ColumnBuilder::AppendFunction ColumnBuilder::ChooseAppend(XeDataType type) {
  switch (type) {
    case XeBitData:
    case XeBoolean:
      return &AppendFixed<uint8, bool>;
    case XeInt1Data:
      return &AppendFixed<int8, int64>;
    case XeUInt1Data:
      return &AppendFixed<uint8, int64>;
    case XeInt2Data:
      return &AppendFixed<int16, int64>;
    case XeUInt2Data:
      return &AppendFixed<uint16, int64>;
    case XeInt4Data:
      return &AppendFixed<int32, int64>;
    case XeUInt4Data:
      return &AppendFixed<uint32, int64>;
    case XeFloatData:
      return &AppendFixed<float32, float32>;
    case XeDoubleData:
      return &AppendFixed<float64, float64>;
    case XeNumericData:
      return &AppendFixed<VelmarNumber, VelmarNumber>;
    case XeDateData:
      return &AppendFixed<XeDate, XeDate>;
    case XeTimeData:
      return &AppendFixed<XeTime, XeTime>;
    case XeTimeStampData:
      return &AppendFixed<XeDateTime, XeDateTime>;
    case XeCharData:
      return &AppendFixedText;
    case XeVarCharData:
      return &AppendVaryingText;
    default:
      XeLogicError("a column type that no file has");
  }
}

ColumnBuilder::ColumnBuilder(ColumnInfo info, const ColumnSurvey& survey, uint64 rows)
    : append_(ChooseAppend(info.type)), width_(WidthOf(info)), expectedRows_(rows) {
  column_.info = std::move(info);
  if (IsVarying(column_.info.type)) {
    column_.offsets.reserve(rows + 1);
    column_.offsets.push_back(0);
    column_.characters.reserve(survey.GetCharacters());
  } else {
    column_.values.reserve(rows * width_);
  }
}

void ColumnBuilder::AppendNull() {
  if (column_.nulls.empty()) {
    column_.nulls.reserve(expectedRows_);
    column_.nulls.resize(rows_);
    // The file may have changed since the survey.
    column_.info.nullable = true;
  }
  column_.nulls.push_back(1);
  if (IsVarying(column_.info.type)) {
    column_.offsets.push_back(column_.characters.size());
  } else {
    column_.values.resize(column_.values.size() + width_);
  }
  ++rows_;
}

void ColumnBuilder::Refuse(Outcome outcome, std::string_view text, const std::string& file,
                           const RecordPlace& place) const {
  const bool tooLong = outcome == Outcome::kTooLong;
  ThrowTableError(tooLong ? kValueTooLong : kValueUnreadable,
                  {Wide(file), place.Text(), column_.info.name, DeclaredTypeName(column_.info),
                   QuotedValue(text)});
}

}  // namespace sqxer
