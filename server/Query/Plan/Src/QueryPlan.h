#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Catalog.h"
#include "SQXERExprAggregate.h"
#include "SQXERExpression.h"
#include "Utility/JSonValuesHolder.h"
#include "Utility/KeySet.h"
#include "WindowFrame.h"

namespace sqxer {

/// An unbound tree with the type that its bound form has, probed while planning.
struct PlanExpression {
  std::unique_ptr<RExpression> tree;
  ColumnInfo result;
  /// Byte offset in the statement's text.
  int position = 0;
};

/// One aggregate of a grouped query.
struct PlanAggregate {
  /// A new generic aggregate (Sum, Count, ...) that reads its input columns by their positions in
  /// the aggregate input record. The executor makes and binds one per live group, or one for many.
  std::function<std::unique_ptr<Aggregate>()> make;
  /// The fields that it writes, in order: one, or two (RANGE), or four (AVG_ALL).
  std::vector<ColumnInfo> results;
  /// As the user wrote it, for EXPLAIN.
  std::string text;
  /// It sorts its input to remove duplicates, so it may hold a sort buffer per live group.
  bool distinct = false;
  int position = 0;
  /// What it holds of each row of a group until the group ends.
  uint32 heldBytes = 0;
  /// It sorts its input for another reason.
  bool sorts = false;
  /// Its buffers are as wide as what they hold, and not as its results may be.
  bool growsByNeed = false;
  /// Of a window's function: it gives each row a result over these rows, whose fields are those of
  /// the window record. It is a WindowFunction, or an aggregate that is driven over each frame.
  std::optional<WindowFrame> frame;
};

/// Of several ways in which the same rows are grouped, one.
struct PlanGroupingSet {
  /// Which of the keys it groups by, ascending; the others are NULL in its groups.
  std::vector<std::size_t> keys;
  /// What the fields behind the keys are in its groups.
  std::vector<int32> groupings;
};

/// A sort key of the result: a column of the result record.
struct PlanSortKey {
  int column = 0;
  SortOrder_t order = kAscending;
  NullOrder_t nulls = kNullsLast;
};

/// Calls with OVER that share their partitions and the order of the rows within them.
struct PlanWindow {
  /// Trees over the record that the outputs read; the window record has these fields. The first
  /// `partitionKeys` of them are the keys whose change starts a new group, the others what the
  /// order and the aggregates read.
  std::vector<PlanExpression> inputs;
  int partitionKeys = 0;
  /// The order in which the rows of a partition are handed to the aggregates, over `inputs`; rows
  /// that are equal in it, and all when it is empty, keep the order in which they came.
  std::vector<PlanSortKey> order;
  /// They read the window record by position. A cumulative one gives the result of a row at once,
  /// another functional one and one with a frame after the group's last row, and one that has a
  /// result per group gives it to every row of the group.
  std::vector<PlanAggregate> functions;
};

/// A column of JSON documents: before a row is evaluated, the holder that the trees read is given
/// the row's document.
struct PlanDocuments {
  /// Index into the table's columns.
  uint16 column = 0;
  JSonValuesHolderRef holder;
};

/// What a SELECT computes, in the order in which the executor runs it. Trees read the fields of one
/// record each, by position:
///
///   scan record    the table columns `scanColumns`, in that order
///     filter, groupKeys, aggregateInputs read it
///   group record   the group keys, with grouping sets the fields that tell these apart, then every
///                  aggregate's results (grouped queries only)
///     having and outputs read it; without grouping outputs read the scan record
///   window records one per window: its `inputs`, read from the scan or group record. The results
///     of all windows' functions are the last fields of that scan or group record, in order
///     (`windowResults`): outputs read them like any other field
///   result record  the outputs: `visibleOutputs` of them the user's, the rest only sort keys
struct QueryPlan {
  /// Empty without FROM: one empty scan record.
  XeString table;
  /// Where the statement names it: a byte offset.
  int tablePosition = 0;
  /// Indexes into the table's columns.
  std::vector<uint16> scanColumns;
  /// The same columns described; the scan record has these fields in this order (and behind them
  /// the window results of a query without grouping).
  std::vector<ColumnInfo> scanRecord;
  /// What EXPLAIN says of the columns: why some are text.
  std::vector<XeString> scanNotes;
  /// Read where they stand in the table, not through the scan record.
  std::vector<PlanDocuments> documents;
  /// WHERE; null when there is none.
  std::unique_ptr<RExpression> filter;

  bool grouped = false;
  std::vector<PlanExpression> groupKeys;
  /// Each makes groups of its own; none where all rows are grouped by all keys. Groups come out set
  /// by set.
  std::vector<PlanGroupingSet> groupingSets;
  std::vector<ColumnInfo> groupings;
  /// Whether a set without keys has its group though there be no row.
  bool opensEmptySets = true;
  /// Distinct argument trees of all aggregates; the aggregate input record has these fields.
  std::vector<PlanExpression> aggregateInputs;
  std::vector<PlanAggregate> aggregates;
  std::unique_ptr<RExpression> having;

  std::vector<PlanWindow> windows;
  /// The fields that the windows' functions fill.
  std::vector<ColumnInfo> windowResults;

  std::vector<PlanExpression> outputs;
  int visibleOutputs = 0;
  /// Result rows are made unique over the visible outputs.
  bool distinct = false;
  std::vector<PlanSortKey> order;
  /// Of rows that agree in so many of the first sort keys only the first one counts; 0 for all
  /// rows.
  std::size_t distinctKeys = 0;
  std::optional<uint64> limit;
  uint64 offset = 0;

  /// EXPLAIN: bind and print, do not run.
  bool explain = false;
};

}  // namespace sqxer
