#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ResultSink.h"
#include "ValueText.h"

namespace sqxer::test {

/// Keeps a whole result as texts; nullopt is NULL.
class CapturingSink : public ResultSink {
 public:
  using Row_t = std::vector<std::optional<std::string>>;

  void Begin(const std::vector<ColumnInfo>& columns, const XeRecordMetaData& layout) override {
    rows.clear();
    ended = false;
    this->columns = columns;
    fields_.clear();
    for (int i = 0; i < static_cast<int>(columns.size()); ++i) {
      fields_.push_back(layout.GetFieldDescriptor(i));
    }
  }
  void Row(const uint8* record) override {
    Row_t row;
    for (const XeFieldDescriptorRef& field : fields_) {
      if (IsNullField(*field, record)) {
        row.push_back(std::nullopt);
      } else {
        AppendValueText(*field, record, row.emplace_back(std::string()).value());
      }
    }
    rows.push_back(std::move(row));
  }
  bool TakesBatches() const override { return true; }
  void Batch(std::span<const BatchVector> vectors, const BatchRows& batch) override {
    batch.ForEach([&](uint32 at) {
      Row_t& row = rows.emplace_back();
      for (std::size_t i = 0; i < fields_.size(); ++i) {
        row.emplace_back();
        if (vectors[i].IsNull(at)) continue;
        AppendValueText(*fields_[i], vectors[i], at, row.back().emplace());
      }
    });
  }
  void End() override { ended = true; }
  void Done(const std::string& done, uint64) override {
    tag = done;
    ended = true;
  }

  std::vector<ColumnInfo> columns;
  std::vector<Row_t> rows;
  bool ended = false;
  /// Of a statement without rows.
  std::string tag;

 private:
  std::vector<XeFieldDescriptorRef> fields_;
};

/// A row as a line of CSV, with NULL written out.
inline std::string RowText(const CapturingSink::Row_t& row) {
  std::string text;
  for (const auto& value : row) {
    if (!text.empty() || &value != row.data()) text += ',';
    if (!value) {
      text += "NULL";
    } else if (value->find_first_of(",\"\n") != std::string::npos || value->empty()) {
      text += '"';
      for (char c : *value) text.append(c == '"' ? 2 : 1, c);
      text += '"';
    } else {
      text += *value;
    }
  }
  return text;
}

}  // namespace sqxer::test
