#pragma once

#include "SQXERExprAggregateBase.h"
#include "SQXERMovingValues.h"

namespace sqxer {

/// COUNT: how many values are not NULL, as a 32-bit unsigned number that is never NULL. Takes every
/// type; DISTINCT counts every value once, and takes those types that have an order.
class SQXEREXPR_API Count : public SingleResultAggregate {
 public:
  /// `areColumnsSorted`: the rows of a group come in the order of the counted column, so DISTINCT
  /// compares neighbours and needs no sorter.
  Count(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
        UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, bool isDistinctHandled,
        bool areColumnsSorted);

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  /// Takes in so many rows with a value; not with DISTINCT.
  void AddRows(uint32 rows) { count_ += rows; }
  RExprReturn Finalize() override;
  void Output(unsigned char* record) override;
  void DistinctInitialize() override;
  void BindDistinctMetaData() override;
  Aggregate* GetSourceAggregator() override;
  /// The counts of the parts are added up: a Sum.
  Aggregate* GetPartialsAggregator(UInt16Vector* partialColumns) override;
  /// 0 for NULL, else 1.
  unsigned int InitializeResult(unsigned char* target, unsigned char* targetNull,
                                unsigned char* source, unsigned int size,
                                unsigned char* sourceNull) override;
  uint32 TransferState(StateTransfer transfer, uint8* state) override;
  bool HoldTogether(HeldMemory& memory) override;
  /// Of DISTINCT values, unless the columns are sorted.
  bool HoldMovingRows() override;
  void Remove(unsigned char* record, unsigned int size) override;
  bool TakesBatches() override;
  bool AdmitsInput(const BatchVector* input, const BatchRows& rows) override;
  void FoldBatch(const BatchFold& fold) override;
  bool OutputState(uint8* state, unsigned char* record) override;
  StateMerge GetStateMerge() override {
    return isDistinctHandled_ ? StateMerge::kHeld : StateMerge::kAlways;
  }
  void MergeState(uint8* state, const uint8* later) override;

 protected:
  uint32 count_ = 0;
  bool bComputeColumnsSorted_;
  XeAutoBuffer<uint8, 1> prevFieldBuffer_;
  /// Compares bare values: its field stands at offset 0.
  std::unique_ptr<KeySet> countKeySet_;
  bool bFirstRecord_ = true;

 private:
  void CountUnlessRepeated(const uint8* value);

  /// The values of a group from which some go again.
  std::unique_ptr<MovingDistinct> moving_;
};

/// COUNT(*): how many rows there are, NULL or not. Reads no column.
class SQXEREXPR_API CountStar : public SingleResultAggregate {
 public:
  CountStar(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
            UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate);

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  void Output(unsigned char* record) override;
  /// 1 in any case.
  unsigned int InitializeResult(unsigned char* target, unsigned char* targetNull,
                                unsigned char* source, unsigned int size,
                                unsigned char* sourceNull) override;
  uint32 TransferState(StateTransfer transfer, uint8* state) override;
  bool TakesBatches() override;
  bool AdmitsInput(const BatchVector* input, const BatchRows& rows) override;
  void FoldBatch(const BatchFold& fold) override;
  bool OutputState(uint8* state, unsigned char* record) override;
  StateMerge GetStateMerge() override { return StateMerge::kAlways; }
  void MergeState(uint8* state, const uint8* later) override;

 protected:
  uint32 count_ = 0;
};

}  // namespace sqxer
