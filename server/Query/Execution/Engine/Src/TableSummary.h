#pragma once

#include <string>
#include <vector>

#include "Catalog.h"
#include "Listing.h"
#include "ResultSink.h"

namespace sqxer {

/// What SUMMARIZE tells of the columns of a query: a SELECT of aggregates, whose one row becomes a
/// row for each column.
class TableSummary {
 public:
  /// `columns`: those that are summed up, and by what names the SELECT has them.
  TableSummary(std::vector<ColumnInfo> columns, const std::vector<XeString>& names);

  /// The select list, without FROM.
  const std::string& GetSelect() const { return select_; }
  /// Rows of what the SELECT has given: the texts of its one row, nothing for NULL.
  Listing MakeListing(const std::vector<std::optional<std::string>>& values) const;

 private:
  std::vector<ColumnInfo> columns_;
  std::string select_;
};

/// Keeps the texts of the last row of a result.
class RowTexts final : public ResultSink {
 public:
  void Begin(const std::vector<ColumnInfo>& columns, const XeRecordMetaData& layout) override;
  void Row(const uint8* record) override;
  void End() override {}

  const std::vector<std::optional<std::string>>& Get() const { return texts_; }

 private:
  std::vector<XeFieldDescriptorRef> fields_;
  std::vector<std::optional<std::string>> texts_;
};

}  // namespace sqxer
