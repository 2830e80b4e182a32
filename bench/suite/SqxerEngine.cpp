#include <charconv>

#include "Session.h"
#include "SuiteEngine.h"
#include "Tables.h"
#include "ValueText.h"

namespace sqxer::bench {
namespace {

/// Takes every row, or every batch of rows, and keeps nothing.
class NullSink : public ResultSink {
 public:
  void Begin(const std::vector<ColumnInfo>&, const XeRecordMetaData&) override {}
  void Row(const uint8*) override {}
  bool TakesBatches() const override { return true; }
  void End() override {}
};

/// Takes every row and keeps its values as texts.
class SuiteSink : public ResultSink {
 public:
  void Begin(const std::vector<ColumnInfo>& columns, const XeRecordMetaData& layout) override {
    fields_.clear();
    for (int i = 0; i < static_cast<int>(columns.size()); ++i) {
      fields_.push_back(layout.GetFieldDescriptor(i));
    }
  }
  void End() override {}

 protected:
  /// The text of a value, nothing for NULL.
  std::optional<std::string> TextOf(std::size_t field, const uint8* record) const {
    if (IsNullField(*fields_[field], record)) return std::nullopt;
    std::string text;
    AppendValueText(*fields_[field], record, text);
    return text;
  }
  std::vector<XeFieldDescriptorRef> fields_;
};

class RowsSink : public SuiteSink {
 public:
  void Row(const uint8* record) override {
    rows_.emplace_back();
    for (std::size_t i = 0; i < fields_.size(); ++i) rows_.back().push_back(TextOf(i, record));
  }
  Rows TakeRows() { return std::move(rows_); }

 private:
  Rows rows_;
};

class DigestSink : public SuiteSink {
 public:
  void Row(const uint8* record) override {
    if (!digest_) digest_.emplace(fields_.size());
    std::vector<std::optional<double>> values(fields_.size());
    for (std::size_t i = 0; i < fields_.size(); ++i) {
      const std::optional<std::string> text = TextOf(i, record);
      if (!text) continue;
      values[i] = 0;
      std::from_chars(text->data(), text->data() + text->size(), *values[i]);
    }
    digest_->Add(values);
  }
  Rows TakeRows() const { return digest_ ? digest_->ToRows() : Rows(); }

 private:
  std::optional<Digest> digest_;
};

class SqxerEngine : public SuiteEngine {
 public:
  explicit SqxerEngine(const std::string& folder) {
    for (const TableSpec* table : kTables) Load(*table, folder);
  }

  std::string Version() const override { return SQXER_VERSION; }

  Report Run(const SuiteQuery& query) override {
    if (query.IsDigested()) {
      NullSink nobody;
      session_.Execute(query.sql, nobody);
      return [this, sql = query.sql] {
        DigestSink digest;
        session_.Execute(sql, digest);
        return digest.TakeRows();
      };
    }
    RowsSink rows;
    session_.Execute(query.sql, rows);
    return [rows = rows.TakeRows()] { return rows; };
  }

 private:
  void Load(const TableSpec& table, const std::string& folder) {
    std::string schema;
    for (const ColumnSpec& column : table.columns) {
      if (!schema.empty()) schema += ',';
      // A decimal here has no digits of its own declared.
      const bool isNumeric = column.kind == ColumnKind::kNumeric;
      schema.append(column.name).append(":").append(isNumeric ? "numeric" : column.type);
    }
    session_.AddTable(table.name, table.PathIn(folder));
    session_.SetSchema(table.name, schema);
    const std::string_view name = table.name;
    session_.FindTable(XeString(name.begin(), name.end()), {});
  }

  Session session_;
};

}  // namespace

std::unique_ptr<SuiteEngine> LoadSqxer(const std::string& folder) {
  return std::make_unique<SqxerEngine>(folder);
}

}  // namespace sqxer::bench
