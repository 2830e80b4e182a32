#pragma once

#include <optional>

#include "RelationFlow.h"
#include "SpilledSide.h"

namespace sqxer {

/// The rows of a join by keys whose right side is too large for memory: both sides go to temporary
/// files, part by part of them is joined, and the joined rows are sorted by their left rows.
class RelationRun::SpilledJoin final : public ChunkSource {
 public:
  /// The run must outlive it. What steps say of the right side is its schema alone.
  SpilledJoin(RelationRun& run, JoinSteps steps, Flow left, Flow right);
  /// Whether the keys can be told apart so.
  static bool Takes(const JoinSteps& steps);

  const TableChunk* Next() override;

 private:
  void Join();
  void Spill(Flow& flow, const std::vector<std::size_t>& columns, const Conditions& keys,
             std::optional<SpilledSide>& side);
  void JoinPart(uint32 part);
  /// The right rows of a part that have no partner; `none`: no rows of the left side.
  void KeepUnpaired(const Table& none, const Table& right, const std::vector<uint8>& paired);
  void Keep(const Table& left, const Table& right, const JoinedRows& rows);

  RelationRun& run_;
  const JoinSteps steps_;
  Flow left_;
  Flow right_;
  const std::vector<XeDataType> types_;
  std::optional<SpilledSide> leftSide_;
  std::optional<SpilledSide> rightSide_;
  /// Of a joined row: its columns, and by what numbers they are put in order.
  Table results_;
  WorkRecord record_;
  OperatorTimer timer_;
  SqrtSorter sorter_;
  uint64 joined_ = 0;
  bool isJoined_ = false;
  TableChunk chunk_;
  const std::size_t note_;
};

}  // namespace sqxer
