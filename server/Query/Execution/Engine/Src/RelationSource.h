#pragma once

#include <memory>
#include <span>
#include <vector>

#include "RelationRun.h"

namespace sqxer {

/// A table whose columns have other names, the first ones those of `columns`, and come from tables
/// of these names. Error 58081 at the position for more names than columns.
TableRef WithNames(const Table& table, const XeString& name, std::vector<XeString> tables,
                   const std::vector<XeString>& columns, int position);

/// A table of these columns.
TableRef WithoutRows(const TableSchema& schema);

/// A table of one chunk.
TableRef TableOfChunk(const TableSchema& schema, const TableChunk& chunk);

/// Adds what is known of some columns.
void AddColumns(const Table& table, std::span<const std::size_t> columns, TableSchema& schema);

/// Some columns of all rows.
TableRef WithColumns(const Table& table, std::span<const std::size_t> columns);

/// Some columns of some rows.
TableRef TakeRows(const Table& table, std::span<const std::size_t> columns,
                  std::span<const uint32> rows);

/// Those that were read and are wanted.
std::vector<std::size_t> FindWanted(const TableSchema& schema, const TableRequest& wanted);

/// The same, and one column at least of a table that has any, so that its rows can be read.
std::vector<std::size_t> FindSome(const TableSchema& schema, const TableRequest& wanted);

/// Which columns a join has, and where each comes from.
struct JoinLayout {
  enum class Side : uint8 { kLeft, kRight, kEither };
  struct Column {
    Side side;
    /// Among the columns of that side, or among `shared`.
    std::size_t index;
    ColumnInfo info;
    ColumnOrigin origin;
  };
  struct Shared {
    std::size_t left;
    std::size_t right;
  };
  std::vector<Column> columns;
  /// What USING or NATURAL name, on either side.
  std::vector<Shared> shared;

  TableSchema GetSchema() const;
};
/// Of two sides. Errors 58080 for a table's name on both, 59015 and 58015 for a name in USING that
/// a side has not, or has several times.
JoinLayout ArrangeColumns(const SqlRelation& join, const TableSchema& left,
                          const TableSchema& right);

struct RelationRun::Source {
  const SqlRelation* relation = nullptr;
  /// Of what is no join; `rest` gives the rows behind those of the table, where there are more.
  TableRef table;
  std::unique_ptr<ChunkSource> rest;
  std::unique_ptr<Source> left;
  std::unique_ptr<Source> right;
  /// ON, part by part.
  Conditions conditions;
  TableSchema schema;
};

/// What EXPLAIN says of a join.
XeString DescribeJoin(const XeString& name, std::size_t keys, uint64 left, uint64 right,
                      uint64 joined);

/// Adds the names that joins read.
void AddJoinReads(const SqlRelation& relation, TableRequest& wanted);
/// With the names that conditions read, of the subqueries in them too.
TableRequest WithReads(TableRequest wanted, const std::vector<SqlExpressionPtr>& conditions);
/// What is wanted of a query of which the first columns are given other names.
TableRequest WantedOf(TableRequest wanted, const std::vector<XeString>& columns);
/// What is read of the rows for which WHERE is true: `wanted`, which is all that the query may
/// read, without the names that only conditions have. The schema is that of FROM; where an error is
/// to come of a name that it has not, nothing is left out.
TableRequest FindReadsOfKept(const SqlSelect& select, const TableSchema& schema,
                             const TableRequest& wanted);
/// What a query may read of its FROM: subqueries that read columns from outside included.
TableRequest FindReads(const SqlSelect& select, const SqlRelation* from);

}  // namespace sqxer
