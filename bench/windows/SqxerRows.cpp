#include <cstring>
#include <optional>
#include <type_traits>

#include "Session.h"
#include "Utility/NumberText.h"
#include "ValueText.h"
#include "VectorBuilder.h"
#include "WindowRows.h"

namespace sqxer::bench {
namespace {

/// Reads both values of every row, the first of which is a column of the table.
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
  bool TakesBatches() const override { return true; }
  void Batch(std::span<const BatchVector> columns, const BatchRows& rows) override {
    sum_.rows += rows.GetWanted();
    const int32* const ids = columns[0].As<int32>();
    const BatchVector& second = columns[1];
    WithNumberType(second.form, [&]<class Value>(std::type_identity<Value>) {
      const Value* const values = second.As<Value>();
      rows.ForEach([&](uint32 row) {
        if (second.IsNull(row)) return;
        sum_.Add(ids[row], static_cast<double>(values[second.isConstant ? 0 : row]));
      });
    });
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
    table->chunks.push_back({rows.size(), {}});
    Add(*table, L"id", XeInt4Data, rows, [](const WindowRow& row) { return row.id; });
    Add(*table, L"g", XeInt4Data, rows, [](const WindowRow& row) { return row.g; });
    Add(*table, L"d", XeInt4Data, rows, [](const WindowRow& row) { return row.d; });
    Add(*table, L"x", XeDoubleData, rows, [](const WindowRow& row) { return row.x; });
    Add(*table, L"y", XeDoubleData, rows, [](const WindowRow& row) { return row.y; });
    session_.AddTable(table);
  }

  Checksum Run(const std::string& sql) override {
    ChecksumSink sink;
    session_.Execute(sql, sink);
    return sink.GetSum();
  }
  uint64_t GetSpilledBytes() const override { return session_.GetTiming().spilledBytes; }

 private:
  /// `read` gives the value of a row, or an optional one of a column with NULLs.
  template <class Read>
  static void Add(Table& table, const wchar_t* name, XeDataType type,
                  const std::vector<WindowRow>& rows, Read read) {
    const auto builder = VectorBuilder::Make(type, 0, VectorBuilder::Options());
    builder->Expect(rows.size());
    for (const WindowRow& row : rows) {
      const std::optional value = read(row);
      if (!value) {
        builder->AppendNull();
      } else if constexpr (std::is_floating_point_v<typename decltype(value)::value_type>) {
        builder->Append(RealText(*value).Get());
      } else {
        builder->Append(std::to_string(*value));
      }
    }
    const uint32 width = XeFieldDescriptor::GetObjectLength(type, 0);
    table.schema.columns.push_back({name, type, width, 0, builder->GetNulls() > 0});
    table.chunks.back().columns.push_back(builder->Take());
  }

  Session session_;
};

}  // namespace

std::unique_ptr<WindowEngine> LoadSqxerRows(const std::vector<WindowRow>& rows) {
  return std::make_unique<SqxerRows>(rows);
}

}  // namespace sqxer::bench
