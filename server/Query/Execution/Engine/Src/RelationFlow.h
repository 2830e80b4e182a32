#pragma once

#include <memory>
#include <vector>

#include "ColumnGather.h"
#include "JoinProbe.h"
#include "LazyTable.h"
#include "QuietProgress.h"
#include "RelationRun.h"
#include "RelationSource.h"
#include "Session.h"

namespace sqxer {

// Rows that are read once need not be kept. Where a SELECT reads the rows of its FROM once, these
// flow: it takes them chunk by chunk from a join, which takes its left rows chunk by chunk from the
// join below it, from a file that is too large to be kept, or from a subquery that does no more
// than choose and compute. The right sides of joins are tables in memory. What flows gives the rows
// that the same would give as a table, in their order.

/// Rows of which the first ones are a table, and the others made while they are used.
struct RelationRun::Flow {
  /// Those that are there; null where there are none at all.
  TableRef rows;
  /// Null where there are no others.
  std::unique_ptr<ChunkSource> rest;
};

/// Gives a statement the rows of a flow.
class FlowingTable final : public LazyTable {
 public:
  FlowingTable(TableRef rows, std::unique_ptr<ChunkSource> rest)
      : rows_(std::move(rows)), rest_(std::move(rest)) {}
  const TableSchema& Require(const TableRequest&, const LoadProgress&) override {
    return rows_->schema;
  }
  const Table& Get() const override { return *rows_; }
  std::unique_ptr<ChunkSource> TakeRest() override { return std::move(rest_); }
  bool HasAllRows() const override { return rest_ == nullptr; }

 private:
  const TableRef rows_;
  std::unique_ptr<ChunkSource> rest_;
};

/// What a join whose left rows flow is to do.
struct RelationRun::JoinSteps {
  JoinKind kind;
  TableRef right;
  JoinEqualities equalities;
  /// What else decides about pairs.
  Conditions others;
  /// Those that are gathered, first of the left, then of the right side, which have this schema.
  std::vector<std::size_t> leftColumns;
  std::vector<std::size_t> rightColumns;
  TableSchema gathered;
  /// Which of these are the columns of the result, whose schema it is.
  std::vector<std::size_t> places;
  TableSchema schema;
  /// For EXPLAIN.
  XeString name;
};

/// What is done beside a running statement for some of its rows: it tells no progress and takes no
/// time of its own, and errors of a row tell which of all rows it is.
template <class Action>
auto RelationRun::Beside(uint64 rowsBefore, Action&& action) {
  struct Restore {
    explicit Restore(RelationRun& of)
        : run(of), timing(of.session_.timing_), rowsBefore(of.rowsBefore_) {}
    ~Restore() {
      run.session_.timing_ = timing;
      run.rowsBefore_ = rowsBefore;
    }
    RelationRun& run;
    const Session::Timing timing;
    const uint64 rowsBefore;
  } const restore(*this);
  const QuietProgress quiet(session_.runProgress_);
  rowsBefore_ = rowsBefore;
  return action();
}

/// The rows of a join, made while they are used.
class RelationRun::JoinFlow final : public ChunkSource {
 public:
  /// The run must outlive it.
  JoinFlow(RelationRun& run, JoinSteps steps, Flow left);
  ~JoinFlow() override;

  /// Takes the first left rows. False, and it is of no more use but for TakeLeft, where the right
  /// rows are too many for the switch JoinMemory.
  bool Start();
  Flow TakeLeft() {
    isNoted_ = true;
    return std::move(left_);
  }
  const TableChunk* Next() override;

 private:
  bool NextLeft();
  /// Of the first ones: false where the right rows are too many.
  bool EnterLeft(TableRef rows, bool isFirst);
  void Note();

  RelationRun& run_;
  const JoinSteps steps_;
  Flow left_;
  /// Left rows that came before the current ones.
  uint64 leftBefore_ = 0;
  uint64 joined_ = 0;
  const std::vector<XeDataType> types_;
  KeyColumns rightKeys_;
  JoinProbe probe_;
  /// The left rows, and the columns by which they are joined.
  TableRef current_;
  KeyColumns leftKeys_;
  std::unique_ptr<ColumnGather> gatherLeft_;
  std::unique_ptr<ColumnGather> gatherRight_;
  JoinedRows rows_;
  TableChunk chunk_;
  ProgressMeter meter_;
  /// Where its line stands among those of EXPLAIN.
  const std::size_t note_;
  bool isNoted_ = false;
};

/// What is made of the rows of another flow, some at a time, while it is used.
class RelationRun::MapFlow final : public ChunkSource {
 public:
  /// The run must outlive it. `make` gives the rows that some of the input's become, in their
  /// order, whatever other rows there are.
  MapFlow(RelationRun& run, Flow input, MakeRowsOf make);

  const TableSchema& GetSchema() const { return schema_; }
  const TableChunk* Next() override;

 private:
  void Make(const TableRef& rows);

  RelationRun& run_;
  Flow input_;
  const MakeRowsOf make_;
  const TableSchema schema_;
  bool hasBegun_ = false;
  /// Rows that came before the current ones.
  uint64 before_ = 0;
  std::vector<TableChunk> found_;
  std::size_t next_ = 0;
};

}  // namespace sqxer
