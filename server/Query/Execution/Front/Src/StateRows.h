#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ColumnAppender.h"
#include "Engine/ArrowInterface.h"
#include "ResultSink.h"
#include "Table.h"
#include "Utility/ColumnBuffer.h"
#include "Utility/KeySet.h"
#include "VectorBuilder.h"

namespace sqxer::engine {

/// How states travel: a column of 64-bit numbers, equal where the states belong together, and
/// behind it one for each field. All are of types that every reader of Arrow data has, and hold
/// every value to its last digit:
///
///   texts, dates, booleans, floating point, signed integers    themselves
///   unsigned integers, bits                                    int64
///   decimals, times, timestamps                                their texts
///
/// Names are sqxerV_CHECK_x, sqxerV_CHECK_0, ...: version and plan, which other programs keep, as
/// they do not keep the metadata of schemas.
class StateLayout {
 public:
  StateLayout() = default;
  /// `check`: of the plan. Error 57120 for a type that does not travel.
  StateLayout(std::vector<ColumnInfo> fields, uint32 check);

  const std::vector<ColumnInfo>& GetFields() const { return fields_; }
  std::string GetExchangeName() const { return prefix_ + "x"; }
  /// Of the texts by which rows of the result are sorted.
  std::string GetOrderName() const { return prefix_ + "order"; }
  /// The columns that travel.
  TableSchema MakeSchema() const;

  /// Takes over a stream of states. The table has the fields as columns, which can be NULL, texts
  /// as long as the longest one. Errors 57121 to 57123, and those of Arrow data.
  Table Read(ArrowArrayStream* stream) const;
  /// The states as they are, after the same checks.
  Table Pass(ArrowArrayStream* stream) const;

 private:
  std::string NameOf(std::size_t field) const { return prefix_ + std::to_string(field); }
  /// The columns in the order of MakeSchema.
  Table ReadColumns(ArrowArrayStream* stream) const;
  [[noreturn]] void ThrowOtherColumns(const TableSchema& found) const;

  std::vector<ColumnInfo> fields_;
  std::string prefix_;
};

/// Takes the rows of a query, whose first fields are those of a layout, as states.
class StateSink final : public ResultSink {
 public:
  /// `exchange`: the fields of the rows whose values tell which states belong together. The layout
  /// must outlive the sink.
  StateSink(const StateLayout& states, std::vector<std::size_t> exchange);

  void Begin(const std::vector<ColumnInfo>& columns, const XeRecordMetaData& layout) override;
  void Row(const uint8* record) override;
  void End() override;
  std::vector<TableChunk> TakeChunks() { return std::move(chunks_); }

 private:
  /// Makes the column of a field: one of the two.
  struct Column {
    XeFieldDescriptorRef field;
    std::unique_ptr<ColumnAppender> same;
    std::unique_ptr<VectorBuilder> texts;
  };
  void TakeChunk();

  const StateLayout& states_;
  const std::vector<std::size_t> exchange_;
  KeySet keys_;
  std::vector<Column> columns_;
  ColumnBuffer hashes_;
  uint64 rows_ = 0;
  std::string text_;
  std::vector<TableChunk> chunks_;
};

}  // namespace sqxer::engine
