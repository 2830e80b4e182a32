#pragma once

#include <memory>
#include <vector>

#include "SQXERAggregateVariant.h"
#include "SQXERBatchNumbers.h"
#include "SQXERHeldMemory.h"
#include "SQXEROpsDistinctSketch.h"
#include "SQXEROpsQuantileSketch.h"

namespace sqxer {

/// What the aggregates share that keep a sketch of their group, or one of each group side by side.
template <class Sketch>
class SketchAggregate : public SingleResultAggregate {
 public:
  SketchAggregate(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                  UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate)
      : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                              isCumulativeAggregate, false) {}

  void Initialize(bool) override {
    if (memory_ != nullptr) {
      group_ = static_cast<uint32>(sketches_.size());
      sketches_.emplace_back();
      memory_->Take(sizeof(Sketch));
    } else {
      sketches_.clear();
      sketches_.emplace_back();
    }
  }
  bool HoldTogether(HeldMemory& memory) override {
    memory_ = &memory;
    return true;
  }
  uint32 TransferState(StateTransfer transfer, uint8* state) override {
    return memory_ == nullptr ? 0 : TransferFields(transfer, state, group_);
  }
  bool GoesOnAfterOutput() override { return true; }
  bool TakesBatches() override { return memory_ != nullptr; }
  uint32 CountSketchBytes() const override { return Sketch::kMostBytes; }
  void SaveSketch(std::vector<uint8>& bytes) const override { sketches_[group_].Save(bytes); }
  bool MergeSketch(std::span<const uint8> bytes) override {
    Sketch other;
    if (!other.Load(bytes)) return false;
    Change(group_, [&](Sketch& sketch) { sketch.Merge(other); });
    return true;
  }
  uint64 CountHeld() const override { return sketches_.size(); }
  bool AdmitsHeld(const Aggregate&) const override { return true; }
  void MergeHeld(std::span<const StatePair> states, Aggregate& later) override {
    const auto& others = static_cast<const SketchAggregate&>(later).sketches_;
    for (const StatePair& pair : states) {
      Change(LoadValue<uint32>(pair.state),
             [&](Sketch& sketch) { sketch.Merge(others[LoadValue<uint32>(pair.later)]); });
    }
  }

 protected:
  const Sketch& GetSketch() const { return sketches_[group_]; }
  /// Has action(sketch) change the sketch of a group; what it takes counts.
  template <class Action>
  void Change(uint32 group, Action&& action) {
    Sketch& sketch = sketches_[group];
    const std::size_t before = sketch.CountBytes();
    action(sketch);
    if (memory_ != nullptr) memory_->Take(sketch.CountBytes() - before);
  }
  /// Calls action(sketch, index, row) for the rows that have a value.
  template <class Action>
  void FoldValues(const BatchFold& fold, Action&& action);

  uint32 group_ = 0;

 private:
  /// Null unless the sketches of all groups stand side by side.
  HeldMemory* memory_ = nullptr;
  std::vector<Sketch> sketches_;
};

/// APPROX_COUNT_DISTINCT: about how many different values there are, as a 32-bit unsigned number
/// that is never NULL; see DistinctSketch. NULL does not count. Takes types that have an order
/// (59001), and finds equal what their order does.
class SQXEREXPR_API ApproxCountDistinct final : public SketchAggregate<DistinctSketch> {
 public:
  using SketchAggregate::SketchAggregate;

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  void Output(unsigned char* record) override;
  bool TakesBatches() override;
  bool AdmitsInput(const BatchVector*, const BatchRows&) override { return true; }
  void FoldBatch(const BatchFold& fold) override;
  StateMerge GetStateMerge() override { return StateMerge::kHeld; }

 private:
  /// The hashes of the values of a batch, and the indexes of their rows.
  struct Hashes {
    uint32 count = 0;
    uint64 hashes[kMostBatchRows];
    uint16 indexes[kMostBatchRows];
  };

  uint64 HashOf(const uint8* value) const;
  void FoldConstant(const BatchFold& fold);
  void FoldCodes(const BatchFold& fold);
  /// Of the rows that have a value, but for those that came lately to the only group.
  template <class T>
  void HashNumbers(const BatchFold& fold, Hashes& out);
  /// By code point.
  template <class Character>
  void HashTexts(const BatchFold& fold, Hashes& out) const;
  void HashOneByOne(const BatchFold& fold, Hashes& out);
  /// Of a row that has a value.
  uint64 HashOfRow(const BatchVector& input, uint32 row);

  /// Of a value that stands by itself.
  KeyDesc key_;
  bool isByCodePoint_ = false;
  /// A value of a batch, and those that are hashed together.
  alignas(16) XeAutoBuffer<uint8, 32> value_;
  std::vector<uint8> values_;
  /// Of the entries of a dictionary, 0 for those that have not come.
  std::shared_ptr<const ColumnVector> dictionary_;
  std::vector<uint64> hashes_;
  /// Numbers of batches that came lately to a group, or all of its entries: to take one in again
  /// changes nothing.
  RecentValues recent_;
  std::vector<uint8> seen_;
  uint32 recentGroup_ = 0;
  int16 recentScale_ = 0;
};

/// APPROX_QUANTILE: about the value that Quantile gives in its discrete form, as a double; see
/// QuantileSketch. NULL of no value. Takes what Sum takes.
class SQXEREXPR_API ApproxQuantile final : public SketchAggregate<QuantileSketch> {
 public:
  /// `fraction` is from 0 to 1; NaN makes the result NULL.
  ApproxQuantile(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                 UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, float64 fraction)
      : SketchAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                        isCumulativeAggregate),
        fraction_(fraction) {}

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  void Output(unsigned char* record) override;
  bool AdmitsInput(const BatchVector* input, const BatchRows& rows) override;
  void FoldBatch(const BatchFold& fold) override;
  /// Sketches can be merged, but give other answers than one of all rows.
  StateMerge GetStateMerge() override { return StateMerge::kNone; }
  bool CanJoinStates() override { return false; }

 private:
  const float64 fraction_;
  Float64Input input_;
  Float64Column column_;
  /// The batch that was admitted.
  const BatchVector* numbers_ = nullptr;
};

}  // namespace sqxer
