#include "SQXERExprAggregateBin.h"

#include <atomic>

#include "SQXERPositiveExpression.h"
#include "Utility/SystemUtility.h"

namespace sqxer {

namespace {

const XeString kBin = L"Bin";

std::atomic<std::size_t> bufferBytes{
    SystemUtility::ReadEnvironmentNumber("ZEPH_BIN_BUFFER_SIZE", 4194304)};

}  // namespace

Bin::Bin(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
         UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, RExpression* binCount,
         BinKind kind, std::optional<BinBounds> bounds)
    : Bin(aggregateColumns, controlBreakColumns, distinctBreakColumns, isCumulativeAggregate,
          std::unique_ptr<RExpression>(binCount), kind, bounds) {}

Bin::Bin(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
         UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
         std::unique_ptr<RExpression> binCount, BinKind kind, std::optional<BinBounds> bounds)
    : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                            isCumulativeAggregate, false),
      kind_(kind),
      binCountExpr_(std::move(binCount)),
      bounds_(bounds) {
  XE_ASSERT(!bounds || kind == BinKind::kRegular);
}

void Bin::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  BindSource(input);
  switch (kind_) {
    case BinKind::kRegular:
      calculator_ = std::make_unique<RegularBinCalculator>(sourceDataType_, bounds_,
                                                           GetBufferBytes(), opTimer_);
      break;
    case BinKind::kEqualDepth:
      RequireOrder(kBin);
      calculator_ = std::make_unique<EqualDepthBinCalculator>(GetSourceField(input),
                                                              GetBufferBytes(), opTimer_);
      break;
    case BinKind::kDateTime:
      calculator_ =
          std::make_unique<DateTimeBinCalculator>(sourceDataType_, GetBufferBytes(), opTimer_);
      break;
  }
  BindPositiveExpression(binCountExpr_, kBin, info);
  resultDataType_ = XeUInt4Data;
  DescribeResult(info, XeUInt4Data, 0, true);
}

void Bin::Initialize(bool) {
  VerifyPositiveExpression(*binCountExpr_, binCount_);
  calculator_->BeginGroup();
}

RExprReturn Bin::Compute(unsigned char* record, unsigned int) {
  const uint8* const value = IsSourceNull(record) ? nullptr : record + sourceOffset_;
  AtSourcePosition([&] { calculator_->Add(value, currentRecordDataSize_); });
  return kTrue;
}

RExprReturn Bin::Finalize() {
  calculator_->EndGroup(binCount_);
  return kTrue;
}

void Bin::Output(unsigned char* record) {
  const uint32 bin = calculator_->NextBin();
  if (OutputNull(record, bin == 0)) return;
  StoreValue(record + targetOffset_, bin);
}

std::size_t Bin::GetBufferBytes() { return bufferBytes.load(std::memory_order_relaxed); }

void Bin::SetBufferBytes(std::size_t bytes) { bufferBytes.store(bytes, std::memory_order_relaxed); }

}  // namespace sqxer
