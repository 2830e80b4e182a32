#pragma once

#include "SQXERAggregateVariant.h"
#include "SQXERBatchFold.h"
#include "SQXERBatchNumbers.h"

namespace sqxer {

/// What the aggregates over two numeric columns share: x and y, the first two of the aggregate
/// columns, read as doubles. Both take what Sum takes. The (first) result is a double.
///
/// SetSourceOffset moves x; y stays where it is.
class SQXEREXPR_API PairAggregate : public Aggregate {
 public:
  /// `aggregateColumns` has two entries at least.
  PairAggregate(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate);

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void SetTargetDescriptor(XeRecordMetaData& target, unsigned short fieldIndex) override;
  /// Part of every Initialize.
  void Initialize(bool restart) override;
  unsigned int GetTargetFixedLenSize() override { return targetFixedLenSize_; }
  bool AdmitsPair(const BatchVector& x, const BatchVector& y, const BatchRows& rows) override;

 protected:
  bool IsXNull(const unsigned char* record) const { return IsSourceNull(record); }
  bool IsYNull(const unsigned char* record) const {
    return yNullOffset_ != 0 && record[yNullOffset_] != 0;
  }
  /// Reads the row's values into xValue_ and yValue_.
  void ReadPair(const unsigned char* record) {
    xValue_ = x_.Read(record + sourceOffset_);
    yValue_ = y_.Read(record + yOffset_);
  }

  /// Folds the rows in which neither is NULL. `state` loads and stores, and takes a pair of values
  /// by Add(x, y).
  template <class State>
  void FoldPairs(const BatchFold& fold, State state) const;

  Float64Input x_;
  XeDataType yType_ = XeUnknown;
  uint32 yOffset_ = 0;
  uint32 yNullOffset_ = 0;
  Float64Input y_;
  float64 xValue_ = 0;
  float64 yValue_ = 0;
  bool nullIndicator_ = true;
  uint32 count_ = 0;
  /// Of the batch that was admitted; null for one of NULLs alone.
  const float64* xs_ = nullptr;
  const float64* ys_ = nullptr;
  /// Whether x and y stand for all its rows, and whether some row has a NULL on one side or both.
  bool isXConstant_ = false;
  bool isYConstant_ = false;
  bool hasNulls_ = false;

 private:
  template <class State>
  class PairState;

  Float64Column xColumn_;
  Float64Column yColumn_;
  /// Says in which rows both have a value.
  BatchVector both_;
  uint64 validity_[kMostBatchWords];
};

template <class State>
class PairAggregate::PairState {
 public:
  PairState(const PairAggregate& pair, State state)
      : xs_(pair.xs_),
        ys_(pair.ys_),
        isXConstant_(pair.isXConstant_),
        isYConstant_(pair.isYConstant_),
        state_(state) {}
  void Load(const uint8* state) { state_.Load(state); }
  void Add(uint32 row, bool isValue) {
    if (isValue) state_.Add(xs_[isXConstant_ ? 0 : row], ys_[isYConstant_ ? 0 : row]);
  }
  void Store(uint8* state) const { state_.Store(state); }

 private:
  const float64* xs_;
  const float64* ys_;
  bool isXConstant_;
  bool isYConstant_;
  State state_;
};

template <class State>
void PairAggregate::FoldPairs(const BatchFold& fold, State state) const {
  BatchFold pairs = fold;
  pairs.input = &both_;
  FoldRows(pairs, PairState<State>(*this, state));
}

}  // namespace sqxer
