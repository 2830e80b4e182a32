#include "TableSummary.h"

#include <algorithm>
#include <charconv>

#include "ColumnTypes.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "ValueText.h"

namespace sqxer {
namespace {

/// Of each column: values that are there, different ones, the least, the greatest, the mean and
/// three quantiles.
constexpr std::size_t kParts = 8;

/// Whether the mean and quantiles of a type exist.
bool HasMean(XeDataType type) {
  switch (type) {
    case XeDateData:
    case XeDateTimeData:
    case XeTimeStampData:
      return true;
    case XeBitData:
      return false;
    default:
      return IsNumberField(type);
  }
}

bool IsBinary(XeDataType type) { return SUXeDataTypeUtility::IsXeBinaryType(type); }

std::string Quoted(const XeString& name) {
  std::string quoted = "\"";
  for (const char c : BaseStringUtil::StringToUtf8(name)) quoted.append(c == '"' ? 2 : 1, c);
  return quoted += '"';
}

Listing::Value AsCount(const std::optional<std::string>& text) {
  if (!text) return {};
  uint64 count = 0;
  std::from_chars(text->data(), text->data() + text->size(), count);
  return Listing::Count(count);
}

Listing::Value AsText(const std::optional<std::string>& text) {
  if (!text) return {};
  return Listing::Text(*text);
}

}  // namespace

TableSummary::TableSummary(std::vector<ColumnInfo> columns, const std::vector<XeString>& names)
    : columns_(std::move(columns)), select_("SELECT COUNT(*)") {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const std::string name = Quoted(names[i]);
    const XeDataType type = columns_[i].type;
    const auto add = [&](bool exists, const char* function, const char* rest = "") {
      select_ += ", ";
      select_ += exists ? function + ("(" + name) + rest + ")" : "NULL";
    };
    const bool isCompared = !IsBinary(type);
    add(true, "COUNT");
    add(isCompared, "APPROX_COUNT_DISTINCT");
    add(isCompared, "MIN");
    add(isCompared, "MAX");
    add(HasMean(type), "AVG");
    add(HasMean(type), "APPROX_QUANTILE", ", 0.25");
    add(HasMean(type), "APPROX_QUANTILE", ", 0.5");
    add(HasMean(type), "APPROX_QUANTILE", ", 0.75");
  }
}

Listing TableSummary::MakeListing(const std::vector<std::optional<std::string>>& values) const {
  using enum Listing::Kind;
  Listing listing({{"column_name", kText},
                   {"type", kText},
                   {"rows", kCount},
                   {"nulls", kCount},
                   {"distinct", kCount},
                   {"min", kText},
                   {"max", kText},
                   {"mean", kText},
                   {"q25", kText},
                   {"median", kText},
                   {"q75", kText}});
  const Listing::Value rows = AsCount(values[0]);
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const auto part = [&](std::size_t number) { return values[1 + i * kParts + number]; };
    const ColumnInfo& column = columns_[i];
    const Listing::Value count = AsCount(part(0));
    Listing::Value distinct = AsCount(part(1));
    // An estimate may be above what there can be.
    distinct.number = std::min(distinct.number, count.number);
    std::vector<Listing::Value> row = {
        Listing::Text(BaseStringUtil::StringToUtf8(column.name)),
        Listing::Text(BaseStringUtil::StringToUtf8(DeclaredTypeName(AsDeclared(column)))), rows,
        Listing::Count(rows.number - count.number), distinct};
    for (std::size_t number = 2; number < kParts; ++number) row.push_back(AsText(part(number)));
    listing.Add(std::move(row));
  }
  return listing;
}

void RowTexts::Begin(const std::vector<ColumnInfo>& columns, const XeRecordMetaData& layout) {
  fields_.clear();
  for (std::size_t i = 0; i < columns.size(); ++i) {
    fields_.push_back(layout.GetFieldDescriptor(static_cast<int>(i)));
  }
}

void RowTexts::Row(const uint8* record) {
  texts_.assign(fields_.size(), std::nullopt);
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    if (!IsNullField(*fields_[i], record)) {
      AppendValueText(*fields_[i], record, texts_[i].emplace());
    }
  }
}

}  // namespace sqxer
