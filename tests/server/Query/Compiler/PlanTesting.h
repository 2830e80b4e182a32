#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Compiler.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/XeAListStream.h"

namespace sqxer::testing {

/// One table `t` with a nullable column of every type a table can have, and names that take care:
/// "Cost Repair" with a blank, "Dup" and "DUP" that differ in case only, "Only" with a capital.
class EveryTypeCatalog : public Catalog {
 public:
  EveryTypeCatalog() {
    table_.name = L"t";
    auto add = [&](const wchar_t* name, XeDataType type, uint32 length) {
      table_.columns.push_back({name, type, length, 0, true});
    };
    add(L"i", XeInt4Data, 4);
    add(L"j", XeInt4Data, 4);
    add(L"u", XeUInt4Data, 4);
    add(L"d", XeDoubleData, 8);
    add(L"n", XeNumericData, XeFieldDescriptor::GetObjectLength(XeNumericData, 0));
    add(L"b", XeBoolean, 1);
    add(L"bit", XeBitData, 1);
    add(L"i1", XeInt1Data, 1);
    add(L"u1", XeUInt1Data, 1);
    add(L"i2", XeInt2Data, 2);
    add(L"u2", XeUInt2Data, 2);
    add(L"f", XeFloatData, 4);
    add(L"c", XeCharData, 5);
    add(L"s", XeVarCharData, 20);
    add(L"dt", XeDateData, 6);
    add(L"tm", XeTimeData, 12);
    add(L"ts", XeTimeStampData, 16);
    add(L"Cost Repair", XeInt4Data, 4);
    add(L"Dup", XeInt4Data, 4);
    add(L"DUP", XeInt4Data, 4);
    add(L"Only", XeInt4Data, 4);
  }

  const TableSchema* FindTable(const XeString& name) override {
    if (BaseStringUtil::IsCaseInsensitiveMatch(name, L"t") || name == L"data/t.csv") return &table_;
    SUGThrow(ErrorMessage(57001, {name}));
  }
  const TableSchema& GetTable() const { return table_; }

 private:
  TableSchema table_;
};

/// A record with the fields of a plan's step, to bind trees to.
class StepRecord {
 public:
  void Add(const ColumnInfo& column) {
    layout_.AddField(column.type, column.length, column.nullable, column.name, column.scale);
  }
  XeAListStream* Open() {
    layout_.GenerateAlignedFieldOffset();
    bytes_.resize(layout_.GetBinaryRecordSize() / sizeof(Block) + 1);
    stream_ = std::make_unique<XeAListStream>(&layout_, bytes_[0].bytes);
    return stream_.get();
  }
  XeRecordMetaData& GetLayout() { return layout_; }

 private:
  struct alignas(16) Block {
    uint8 bytes[16] = {};
  };
  XeRecordMetaData layout_;
  std::vector<Block> bytes_;
  std::unique_ptr<XeAListStream> stream_;
};

/// Binds every tree of a plan as the executor does and prints the plan: one "step: trees" a line, a
/// tree as its class names with their operands in parentheses, its result type behind it.
std::string PrintPlan(QueryPlan plan);
/// The steps of a statement over EveryTypeCatalog.
std::string Explain(const std::string& sql);
/// Only the outputs of SELECT `expression` FROM t.
std::string Output(const std::string& expression);

/// "code @position: sentence", or "planned" when there is no error.
std::string ErrorOf(const std::string& sql);

}  // namespace sqxer::testing
