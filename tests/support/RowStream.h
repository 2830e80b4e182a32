#pragma once

#include "support/TestRecord.h"

namespace sqxer::test {

/// The cells of a row: nothing for NULL, numbers in decimal. Those behind the fields do not count.
using Row = std::vector<std::optional<XeString>>;

/// A table in memory as a stream of records.
class RowStream final : private TestRecord, public XeAListStream {
 public:
  RowStream(const std::vector<TestField>& fields, std::vector<Row> rows)
      : TestRecord(fields), XeAListStream(&layout(), buffer()), rows_(std::move(rows)) {}

  void Prepare() override { readings_ = 0; }
  void BeginRead() override {
    ++readings_.value();
    next_ = 0;
  }
  bool ReadRecord() override {
    if (next_ == rows_.size()) return false;
    for (int i = 0; i < layout().GetFieldCount(); ++i) {
      const auto& cell = rows_[next_].at(static_cast<std::size_t>(i));
      const bool isText = SUXeDataTypeUtility::IsXeTextType(field(i).GetDataType());
      if (cell) isText ? SetText(i, *cell) : SetNumber(i, std::stod(*cell));
      if (!cell) SetNull(i);
    }
    return ++next_ != 0;
  }

  /// How often it was read, once it is prepared.
  std::optional<int> readings_;

 private:
  std::vector<Row> rows_;
  std::size_t next_ = 0;
};

}  // namespace sqxer::test
