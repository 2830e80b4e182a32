#pragma once

#include <memory>
#include <vector>

#include "ArrowHandle.h"
#include "ArrowReader.h"
#include "Engine/Engine.h"
#include "LazyTable.h"

namespace sqxer::engine {

/// A table whose rows others hold, who show them as Arrow data whenever they are asked for. Where
/// rows are kept it is that of all statements, else it is made for one.
class ArrowSource final : public LazyTable {
 public:
  /// `schema`: the columns that there are.
  ArrowSource(TableSchema schema, OpenSource open, ArrowReadOptions options, bool areRowsKept);
  ~ArrowSource() override;

  const TableSchema& Require(const TableRequest& request, const LoadProgress& progress) override;
  const Table& Get() const override { return table_; }
  std::unique_ptr<ChunkSource> TakeRest() override;
  bool HasAllRows() const override { return areRowsKept_; }

 private:
  class Rows;

  /// Opens a stream of these columns, and of no others.
  ArrowHandle<ArrowArrayStream> Open(const TableRequest& columns) const;
  TableRequest RequestOf(const std::vector<bool>& columns) const;
  /// Makes what is known of columns that were read that of the table's.
  void TakeTypes(const TableSchema& read, const std::vector<std::size_t>& places,
                 const TableRequest& wanted);
  /// Reads columns, beside those that are there or in their place. False, and nothing done, where
  /// the rows are cut into chunks otherwise than those.
  bool AddColumns(const TableRequest& columns, bool besideOthers);

  const OpenSource open_;
  const ArrowReadOptions options_;
  const bool areRowsKept_;
  Table table_;
  /// Which columns were read.
  std::vector<bool> isThere_;
  /// Which of their rows are there: the first ones alone, all, or those of a stream to come.
  enum class State : uint8 { kNothing, kFirst, kStream, kAll };
  State state_ = State::kNothing;
  uint64 firstRows_ = 0;
  std::unique_ptr<Rows> rows_;
};

}  // namespace sqxer::engine
