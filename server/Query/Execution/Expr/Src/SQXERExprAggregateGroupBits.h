#pragma once

#include "SQXERAggregateVariant.h"
#include "SQXEROpsInteger.h"

namespace sqxer {

/// BIT_AND, BIT_OR and BIT_XOR: the bits of the non-null values, combined as the operators combine
/// those of two; NULL when there is no value. Integers of up to 32 bits have 32, decimals 64, their
/// fraction cut; error 59161 (class name, limit) beyond those. Unsigned 32-bit integers and doubles
/// are refused (59001). DISTINCT, which makes a difference to BIT_XOR alone, takes every value
/// once.
class SQXEREXPR_API GroupBits : public SingleResultAggregate {
 public:
  enum class Kind { kAnd, kOr, kXor };
  GroupBits(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
            UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, bool isDistinctHandled,
            Kind kind)
      : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                              isCumulativeAggregate, isDistinctHandled),
        kind_(kind) {}

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  Aggregate* GetSourceAggregator() override;
  Aggregate* GetPartialsAggregator(UInt16Vector* partialColumns) override;

 protected:
  const Kind kind_;
  bool nullIndicator_ = true;
  InputConverter converter_;
};

template <class Bits, AccumulatorValue T>
class SQXEREXPR_API GroupBitsOf : public NumericAggregate<GroupBits, T> {
 public:
  using NumericAggregate<GroupBits, T>::NumericAggregate;

  void Initialize(bool restart) final;
  RExprReturn Compute(unsigned char* record, unsigned int size) final;
  RExprReturn Finalize() final;
  void Output(unsigned char* record) final;
  uint32 TransferState(StateTransfer transfer, uint8* state) final;
  bool HoldTogether(HeldMemory& memory) final {
    return this->isDistinctHandled_ && this->HoldDistinctTogether(memory);
  }
  bool TakesBatches() final {
    return !this->isDistinctHandled_ || this->distinctValues_ != nullptr;
  }
  bool AdmitsInput(const BatchVector* input, const BatchRows& rows) final;
  void FoldBatch(const BatchFold& fold) final;
  Aggregate::StateMerge GetStateMerge() final {
    return this->isDistinctHandled_ ? Aggregate::StateMerge::kHeld : Aggregate::StateMerge::kAlways;
  }
  bool CanJoinStates() final { return !this->isDistinctHandled_; }
  void MergeState(uint8* state, const uint8* later) final;

 private:
  class State;
  /// What changes nothing.
  static constexpr int64 kNeutral = std::is_same_v<Bits, AndBits> ? -1 : 0;
  int64 BitsOf(const T& value) const;

  int64 bits_ = kNeutral;
};

class SQXEREXPR_API GroupBitAndInt32 final : public GroupBitsOf<AndBits, int32> {
 public:
  using GroupBitsOf::GroupBitsOf;
};
class SQXEREXPR_API GroupBitAndNumber final : public GroupBitsOf<AndBits, VelmarNumber> {
 public:
  using GroupBitsOf::GroupBitsOf;
};
class SQXEREXPR_API GroupBitOrInt32 final : public GroupBitsOf<OrBits, int32> {
 public:
  using GroupBitsOf::GroupBitsOf;
};
class SQXEREXPR_API GroupBitOrNumber final : public GroupBitsOf<OrBits, VelmarNumber> {
 public:
  using GroupBitsOf::GroupBitsOf;
};
class SQXEREXPR_API GroupBitXorInt32 final : public GroupBitsOf<XorBits, int32> {
 public:
  using GroupBitsOf::GroupBitsOf;
};
class SQXEREXPR_API GroupBitXorNumber final : public GroupBitsOf<XorBits, VelmarNumber> {
 public:
  using GroupBitsOf::GroupBitsOf;
};

}  // namespace sqxer
