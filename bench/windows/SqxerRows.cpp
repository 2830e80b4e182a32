#include <cstring>

#include "Session.h"
#include "ValueText.h"
#include "WindowRows.h"

namespace sqxer::bench {
namespace {

/// Reads both values of every row.
class ChecksumSink : public ResultSink {
 public:
  void Begin(const std::vector<ColumnInfo>&, const XeRecordMetaData& layout) override {
    first_ = layout.GetFieldDescriptor(0);
    second_ = layout.GetFieldDescriptor(1);
    readSecond_ = second_->GetDataType() == XeDoubleData ? &Read<double> : &Read<uint32>;
  }
  void Row(const uint8* record) override {
    ++sum_.rows;
    if (second_->IsNullable() && record[second_->GetNullOffset()] != 0) return;
    sum_.Add(Read<int32>(*first_, record), readSecond_(*second_, record));
  }
  void End() override {}
  const Checksum& GetSum() const { return sum_; }

 private:
  template <class Value>
  static double Read(const XeFieldDescriptor& field, const uint8* record) {
    Value value;
    std::memcpy(&value, record + field.GetDataOffset(), sizeof value);
    return value;
  }

  XeFieldDescriptorRef first_;
  XeFieldDescriptorRef second_;
  double (*readSecond_)(const XeFieldDescriptor&, const uint8*) = nullptr;
  Checksum sum_;
};

class SqxerRows : public WindowEngine {
 public:
  explicit SqxerRows(const std::vector<WindowRow>& rows) {
    auto table = std::make_shared<Table>();
    table->schema.name = L"t";
    table->rowCount = rows.size();
    Add(*table, L"id", XeInt4Data, rows, [](const WindowRow& row) { return row.id; });
    Add(*table, L"g", XeInt4Data, rows, [](const WindowRow& row) { return row.g; });
    Add(*table, L"d", XeInt4Data, rows, [](const WindowRow& row) { return row.d; });
    Add(*table, L"x", XeDoubleData, rows, [](const WindowRow& row) { return row.x.value_or(0); });
    Add(*table, L"y", XeDoubleData, rows, [](const WindowRow& row) { return row.y; });
    TableColumn& x = table->columns[3];
    for (const WindowRow& row : rows) x.nulls.push_back(row.x ? 0 : 1);
    x.info.nullable = table->schema.columns[3].nullable = true;
    session_.AddTable(table);
  }

  Checksum Run(const std::string& sql) override {
    ChecksumSink sink;
    session_.Execute(sql, sink);
    return sink.GetSum();
  }
  uint64_t GetSpilledBytes() const override { return session_.GetTiming().spilledBytes; }

 private:
  template <class Read>
  static void Add(Table& table, const wchar_t* name, XeDataType type,
                  const std::vector<WindowRow>& rows, Read read) {
    using Value = decltype(read(rows[0]));
    TableColumn column{{name, type, sizeof(Value), 0, false}, {}, {}, {}, {}};
    column.values.resize(rows.size() * sizeof(Value));
    uint8* next = column.values.data();
    for (const WindowRow& row : rows) {
      const Value value = read(row);
      std::memcpy(next, &value, sizeof value);
      next += sizeof value;
    }
    table.schema.columns.push_back(column.info);
    table.columns.push_back(std::move(column));
  }

  Session session_;
};

}  // namespace

std::unique_ptr<WindowEngine> LoadSqxerRows(const std::vector<WindowRow>& rows) {
  return std::make_unique<SqxerRows>(rows);
}

}  // namespace sqxer::bench
