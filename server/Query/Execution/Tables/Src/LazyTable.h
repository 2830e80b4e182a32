#pragma once

#include "Table.h"

namespace sqxer {

/// A table that comes into memory as far as statements read it.
class LazyTable {
 public:
  virtual ~LazyTable() = default;
  /// Sees to it that the columns that a statement asks for are there, and returns what is known of
  /// the table: columns that were not asked for so far have the type XeUnknown. What it refers to
  /// stays where it is, and columns do not change once they were read. An error leaves the table as
  /// it was.
  virtual const TableSchema& Require(const TableRequest& request, const LoadProgress& progress) = 0;
  virtual const Table& Get() const = 0;
  /// The rows behind those of Get(), where the last Require has left them to be read while they are
  /// used; once. Null when there are none. The table must outlive it.
  virtual std::unique_ptr<ChunkSource> TakeRest() { return nullptr; }
  /// The value that made a column text, as Catalog has it. Errors as Require.
  virtual XeString FindTextReason(std::size_t /*column*/) { return {}; }
  /// Not only the first rows, because no more were asked for.
  virtual bool HasAllRows() const { return true; }
  /// Whether rows that were not read can be read later, by a table opened anew.
  virtual bool IsRepeatable() const { return true; }
};

/// A table that is there.
class LoadedTable final : public LazyTable {
 public:
  explicit LoadedTable(std::shared_ptr<const Table> table) : table_(std::move(table)) {}
  const TableSchema& Require(const TableRequest&, const LoadProgress&) override {
    return table_->schema;
  }
  const Table& Get() const override { return *table_; }

 private:
  std::shared_ptr<const Table> table_;
};

}  // namespace sqxer
