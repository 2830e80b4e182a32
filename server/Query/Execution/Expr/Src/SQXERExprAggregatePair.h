#pragma once

#include "SQXERAggregateVariant.h"

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

  Float64Input x_;
  XeDataType yType_ = XeUnknown;
  uint32 yOffset_ = 0;
  uint32 yNullOffset_ = 0;
  Float64Input y_;
  float64 xValue_ = 0;
  float64 yValue_ = 0;
  bool nullIndicator_ = true;
  uint32 count_ = 0;
};

}  // namespace sqxer
