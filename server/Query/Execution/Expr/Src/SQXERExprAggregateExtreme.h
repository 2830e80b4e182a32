#pragma once

#include "SQXERExprAggregateBase.h"

namespace sqxer {

/// What MAX, MIN and NULL_IF_NOT_UNIQUE share: one input value kept as it is stored, and compared
/// with those that come. They take every type that has an order. Of equal values the first seen is
/// kept. A target field shorter than the value receives what fits.
class SQXEREXPR_API ExtremeAggregate : public SingleResultAggregate {
 public:
  ExtremeAggregate(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                   UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate);

  void Initialize(bool restart) override;
  void Output(unsigned char* record) override;
  uint32 TransferState(StateTransfer transfer, uint8* state) override;
  bool TakesBatches() override;
  bool AdmitsInput(const BatchVector* input, const BatchRows& rows) override;
  bool AdmitsStates(const BatchFold& fold) override;
  bool OutputState(uint8* state, unsigned char* record) override;
  StateMerge GetStateMerge() override { return StateMerge::kAlways; }

 protected:
  using Aggregate::Bind;
  /// Binds in place, under the operator's name of error texts.
  void BindExtreme(const XeRecordMetaData& input, const XeString& operatorName,
                   RExpression*& result, MetaDataInfo& info);
  /// Keeps the value when none is kept, or when it compares as `wanted` (-1 or 1) with the one
  /// kept.
  RExprReturn ComputeExtreme(const unsigned char* record, int wanted, const char* operatorName);
  /// Stops, after a line on standard error, when the value cannot fit the buffer.
  void CheckFits(const char* operatorName) const {
    if (currentRecordDataSize_ > bufferSize_) [[unlikely]]
      StopBeforeOverrun(operatorName);
  }
  void Keep(const uint8* value);
  /// FoldBatch of the extreme that compares as `wanted`.
  void FoldExtreme(const BatchFold& fold, int wanted);
  /// MergeState of it.
  void MergeExtreme(uint8* state, const uint8* later, int wanted);

  KeyDesc keyDesc_;
  CharComparisonType_t comparison_ = kCompareCodePoints;
  /// The value kept. Values of fixed width stay off the heap.
  alignas(16) XeAutoBuffer<uint8, 32> tempRow_;
  /// The value of another state, where states are merged.
  alignas(16) XeAutoBuffer<uint8, 32> laterRow_;
  /// Nothing is kept.
  bool nullIndicator_ = true;
  uint32 bufferSize_ = 0;
  /// Where a state has the value.
  std::size_t valueOfState_;
  /// Of batches: the text kept, and the one that is compared with it.
  XeString keptText_;
  XeString otherText_;

 private:
  void FoldTexts(const BatchFold& fold, int wanted);
  [[noreturn, gnu::cold]] void StopBeforeOverrun(const char* operatorName) const;
};

/// MAX: the greatest of the non-null values, NULL when there is none.
class SQXEREXPR_API Max : public ExtremeAggregate {
 public:
  using ExtremeAggregate::ExtremeAggregate;

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  void FoldBatch(const BatchFold& fold) override;
  void MergeState(uint8* state, const uint8* later) override;
  Aggregate* GetSourceAggregator() override;
  Aggregate* GetPartialsAggregator(UInt16Vector* partialColumns) override;
};

/// MIN: the smallest of the non-null values, NULL when there is none.
class SQXEREXPR_API Min : public ExtremeAggregate {
 public:
  using ExtremeAggregate::ExtremeAggregate;

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  void FoldBatch(const BatchFold& fold) override;
  void MergeState(uint8* state, const uint8* later) override;
  Aggregate* GetSourceAggregator() override;
  Aggregate* GetPartialsAggregator(UInt16Vector* partialColumns) override;
};

/// NULL_IF_NOT_UNIQUE: the value of a group whose values are all equal and none of them NULL, else
/// NULL. A group without rows is not NULL unless that is asked for: it gives the buffer as the last
/// group left it (zeros at first), because callers tell an empty group by its count.
class SQXEREXPR_API NullIfNotUnique : public Max {
 public:
  NullIfNotUnique(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                  UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
                  bool isNullOverNoRows = false);

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  uint32 TransferState(StateTransfer transfer, uint8* state) override;
  bool TakesBatches() override;
  void FoldBatch(const BatchFold& fold) override;
  bool OutputState(uint8* state, unsigned char* record) override;
  StateMerge GetStateMerge() override { return StateMerge::kNone; }
  Aggregate* GetSourceAggregator() override;
  Aggregate* GetPartialsAggregator(UInt16Vector* partialColumns) override;

 protected:
  bool isFirstValue_ = true;
  bool isNullOverNoRows_;
};

}  // namespace sqxer
