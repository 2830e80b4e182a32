#pragma once

#include <array>
#include <optional>

#include "SQXERExprAggregateBase.h"

namespace sqxer {

/// Some rows of a partition that follow one another, by their places in its order: from `from` on,
/// before `to`.
struct RowStretch {
  uint64 from = 0;
  uint64 to = 0;
  uint64 Count() const { return to - from; }
  bool operator==(const RowStretch&) const = default;
};

/// The rows of a frame: stretches in the order of the partition, of which any may be empty. More
/// than one is what EXCLUDE leaves.
using FrameRows = std::array<RowStretch, 3>;

/// Where a row stands in its partition.
struct WindowPlace {
  uint64 row = 0;
  /// All rows of the partition.
  uint64 rowCount = 0;
  /// The rows that are equal to it in the order of the partition, itself included, and how many
  /// groups of such rows come before them.
  RowStretch peers;
  uint64 peersBefore = 0;
  FrameRows frame;
};

/// The rows of a partition, as their owner keeps them.
class WindowRows {
 public:
  virtual ~WindowRows() = default;
  /// The record of a row, valid until the next call.
  virtual uint8* GetRow(uint64 row) = 0;
};

/// What gives each row of a partition a value that depends on its place there, or on other rows of
/// its frame. The owner keeps the rows: it binds the function as an aggregate, and then calls
/// OutputAt for one row after the other; Initialize, Compute and Output are broken invariants.
class SQXEREXPR_API WindowFunction : public SingleResultAggregate {
 public:
  WindowFunction(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                 UInt16Vector* distinctBreakColumns)
      : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns, false,
                              false) {}
  bool IsFunctionalAggr() override { return true; }
  /// Writes the result of the row at a place, or its NULL indicator alone.
  virtual void OutputAt(const WindowPlace& place, WindowRows& rows, unsigned char* record) = 0;
};

/// DENSE_RANK: one more than the groups of peers before the row, as an unsigned 32-bit integer.
class SQXEREXPR_API DenseRank final : public WindowFunction {
 public:
  using Aggregate::Bind;
  using WindowFunction::WindowFunction;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void OutputAt(const WindowPlace& place, WindowRows& rows, unsigned char* record) override;
};

/// PERCENT_RANK: which share of the other rows comes before the row's peers, as a double; 0 where
/// there is no other row.
class SQXEREXPR_API PercentRank final : public WindowFunction {
 public:
  using Aggregate::Bind;
  using WindowFunction::WindowFunction;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void OutputAt(const WindowPlace& place, WindowRows& rows, unsigned char* record) override;
};

/// CUME_DIST: which share of the rows comes before the row or is among its peers, as a double.
class SQXEREXPR_API CumeDist final : public WindowFunction {
 public:
  using Aggregate::Bind;
  using WindowFunction::WindowFunction;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void OutputAt(const WindowPlace& place, WindowRows& rows, unsigned char* record) override;
};

/// What gives the value of its first column in another row, NULL or not. It takes every type.
class SQXEREXPR_API WindowValue : public WindowFunction {
 public:
  using Aggregate::Bind;
  using WindowFunction::WindowFunction;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;

 protected:
  /// Error 59001 (operator, type) for a second column that is no integer.
  void BindInteger(const XeRecordMetaData& input, const XeString& operatorName);
  /// The value of the second column; nothing for NULL.
  std::optional<int64> ReadInteger(const uint8* row) const;
  void OutputValueOf(const uint8* row, unsigned char* record) const;

 private:
  XeDataType integerType_ = XeUnknown;
  uint32 integerOffset_ = 0;
  uint32 integerNullOffset_ = 0;
};

/// LAG and LEAD: the value in the row so many rows before or behind, 1 or what the second column
/// has in this row; NULL where that is NULL. Where there is no such row it is the value of the
/// third column in this one, which is of the first one's type (else error 59001), or NULL without.
class SQXEREXPR_API OffsetValue : public WindowValue {
 public:
  using Aggregate::Bind;
  using WindowValue::WindowValue;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;

 protected:
  /// `direction`: -1 for rows before this one, 1 for those behind it.
  void OutputValueAway(int direction, const WindowPlace& place, WindowRows& rows,
                       unsigned char* record) const;

 private:
  uint32 defaultOffset_ = 0;
  uint32 defaultNullOffset_ = 0;
};

class SQXEREXPR_API Lag final : public OffsetValue {
 public:
  using OffsetValue::OffsetValue;
  void OutputAt(const WindowPlace& place, WindowRows& rows, unsigned char* record) override {
    OutputValueAway(-1, place, rows, record);
  }
};

class SQXEREXPR_API Lead final : public OffsetValue {
 public:
  using OffsetValue::OffsetValue;
  void OutputAt(const WindowPlace& place, WindowRows& rows, unsigned char* record) override {
    OutputValueAway(1, place, rows, record);
  }
};

/// FIRST_VALUE: the value in the first row of the frame, NULL where the frame is empty.
class SQXEREXPR_API FirstValue final : public WindowValue {
 public:
  using WindowValue::WindowValue;
  void OutputAt(const WindowPlace& place, WindowRows& rows, unsigned char* record) override;
};

/// LAST_VALUE: the same of the last row.
class SQXEREXPR_API LastValue final : public WindowValue {
 public:
  using WindowValue::WindowValue;
  void OutputAt(const WindowPlace& place, WindowRows& rows, unsigned char* record) override;
};

/// NTH_VALUE: the same of the n-th row, which the second column of this row counts from 1. NULL
/// where there are not so many rows, or n is NULL; error 59028 for another n below 1.
class SQXEREXPR_API NthValue final : public WindowValue {
 public:
  using Aggregate::Bind;
  using WindowValue::WindowValue;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void OutputAt(const WindowPlace& place, WindowRows& rows, unsigned char* record) override;
};

}  // namespace sqxer
