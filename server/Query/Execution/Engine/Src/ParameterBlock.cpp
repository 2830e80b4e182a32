#include "ParameterBlock.h"

#include <algorithm>
#include <numeric>
#include <optional>

#include "ColumnSurvey.h"
#include "ColumnTypes.h"
#include "EngineError.h"
#include "TableScan.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "VectorBuilder.h"

namespace sqxer {
namespace {

/// The type that a parameter declares; of a fixed text without a length, the length of the value.
std::optional<ColumnInfo> ReadType(const std::string& declared, std::string_view value) {
  if (!BaseStringUtil::IsCaseInsensitiveMatch(Wide(declared), L"char"))
    return ReadDeclaredType(declared);
  const uint32 length = std::max(BaseStringUtil::CountCharacters(value), uint32{1});
  return ReadDeclaredType("char(" + std::to_string(length) + ")");
}

/// A column of one row.
struct Parameter {
  ColumnInfo info;
  ColumnVector value;
};

Parameter ReadParameter(std::size_t number, const std::string& text) {
  std::string name(1, '$');
  name += std::to_string(number);
  if (!BaseStringUtil::IsValidUtf8(text))
    ThrowEngineError(kParameterUnreadable, {Wide(name), L"UTF-8", QuotedValue(text)});
  std::string value = text;
  std::optional<ColumnInfo> declared;
  if (const std::size_t colon = text.find(':'); colon != std::string::npos) {
    value = text.substr(colon + 1);
    declared = ReadType(text.substr(0, colon), value);
    if (!declared) value = text;
  }
  const bool isNull =
      value.empty() && !(declared && SUXeDataTypeUtility::IsXeTextType(declared->type));
  ColumnSurvey survey;
  // Only where a whole column holds nothing else are these letters truth values.
  const bool isLetter = value == "t" || value == "f";
  if (!isNull) survey.Add(isLetter ? 0 : ClassifyText(value));
  const auto builder =
      VectorBuilder::Make(declared ? declared->type : survey.GetType(), MostCharacters(declared),
                          {.isBigint = declared && declared->isBigint});
  if (isNull) {
    builder->AppendNull();
  } else if (builder->Append(value) != VectorBuilder::Outcome::kTaken) {
    ThrowEngineError(kParameterUnreadable,
                     {Wide(name), DeclaredTypeName(*declared), QuotedValue(value)});
  }
  ColumnInfo info =
      DescribeColumn(Wide(name), declared, survey.GetType(), builder->GetLongest(), isNull);
  // Bits count as integers in expressions, and are stored alike.
  if (info.type == XeBitData) info.type = XeInt1Data;
  return {std::move(info), builder->Take()};
}

Table ReadParameters(const std::vector<std::string>& texts) {
  Table values;
  values.rowCount = 1;
  values.chunks.emplace_back();
  values.chunks.back().rows = 1;
  for (const std::string& text : texts) {
    Parameter parameter = ReadParameter(values.schema.columns.size() + 1, text);
    values.schema.columns.push_back(std::move(parameter.info));
    values.chunks.back().columns.push_back(std::move(parameter.value));
  }
  return values;
}

}  // namespace

ParameterBlock::ParameterBlock(const std::vector<std::string>& texts)
    : ParameterBlock(ReadParameters(texts)) {}

ParameterBlock::ParameterBlock(Table values)
    : values_(std::move(values)), record_(values_.schema.columns) {
  std::vector<uint16> columns(values_.schema.columns.size());
  std::iota(columns.begin(), columns.end(), uint16{0});
  TableScan scan(values_.schema, columns, record_);
  scan.Enter(values_.chunks.front());
  scan.Fill(0);
}

}  // namespace sqxer
