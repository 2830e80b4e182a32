#pragma once

#include "SQXERExprAggregateFirst.h"
#include "SQXERMadeText.h"
#include "Utility/XeAListStream.h"

namespace sqxer {

/// What the aggregates share to which equal values come as neighbours: they count runs of them.
class SQXEREXPR_API RunsAggregate : public KeptValueAggregate {
 public:
  using KeptValueAggregate::KeptValueAggregate;

  using Aggregate::Bind;
  /// Error 59001 (operator, type) for a type without order.
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int) override {
    return ComputeTimes(record, 1);
  }
  /// Takes in so many rows that are alike.
  RExprReturn ComputeTimes(const unsigned char* record, uint32 times);
  RExprReturn Finalize() override;
  /// There is no state: a run goes on in the next row.
  uint32 TransferState(StateTransfer, uint8*) override { return 0; }
  bool TakesBatches() override { return false; }
  StateMerge GetStateMerge() override { return StateMerge::kNone; }

 protected:
  /// Takes a run of equal values, the first of which is `run_`.
  virtual void EndRun(uint64 count) = 0;
  /// Of the first row of a run.
  virtual void StartRun(const unsigned char* /*record*/) {}

  alignas(16) XeAutoBuffer<uint8, 32> run_;

 private:
  KeyDesc key_;
  uint64 count_ = 0;
};

/// MODE: the value that comes most often, of several the one that comes first; NULL when there is
/// no value.
class SQXEREXPR_API Mode final : public RunsAggregate {
 public:
  using RunsAggregate::RunsAggregate;

  void Initialize(bool restart) override;

 private:
  void EndRun(uint64 count) override;

  uint64 most_ = 0;
};

/// HISTOGRAM: how often each value comes, as a text such as {1=2, 2=1}; NULL when there is no
/// value. Error 59034 for a text of more than kMostLength characters.
class SQXEREXPR_API Histogram final : public RunsAggregate {
 public:
  static constexpr uint32 kMostLength = uint32{1} << 16;
  /// `text`, unbound, makes a LONG VARCHAR of the only field of the record that it reads, a value
  /// of the column's type. It is asked once for each different value. Error 59001 (operator, type)
  /// for a tree of another type.
  Histogram(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
            UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
            std::unique_ptr<RExpression> text);

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void Initialize(bool restart) override;
  RExprReturn Finalize() override;
  void Output(unsigned char* record) override;

 private:
  void StartRun(const unsigned char* record) override;
  void EndRun(uint64 count) override;

  std::unique_ptr<RExpression> text_;
  /// What that reads: the layout, the value, and where it stands there.
  XeRecordMetaData valueLayout_;
  XeAutoBuffer<uint8, 1> valueRecord_;
  std::unique_ptr<XeAListStream> valueStream_;
  uint32 valueOffset_ = 0;
  MadeText<wchar_t> list_;
};

}  // namespace sqxer
