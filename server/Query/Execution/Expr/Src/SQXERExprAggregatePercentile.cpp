#include "SQXERExprAggregatePercentile.h"

#include "SQXERAggregateVariant.h"
#include "SQXEROpsRanking.h"

namespace sqxer {

void Percentile::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  BindRows(input, L"Percentile", ngtOffset_);
  resultDataType_ = XeDoubleData;
  DescribeResult(info, XeDoubleData, 0, true);
}

RExprReturn Percentile::Finalize() {
  if (!RankRows()) return kTrue;
  TieRun after(0);
  const uint8* previous = nullptr;
  for (std::size_t i = valueArray_.size(); i-- > 0;) {
    uint8* const row = valueArray_[i];
    if (IsRowNull(row)) {
      --count_;
      continue;
    }
    StoreValue(row + ngtOffset_, after.Next(previous != nullptr && IsTie(row, previous)));
    previous = row;
  }
  percentileMultiplier_ = PercentileMultiplier(count_);
  RestoreInputOrder();
  return kTrue;
}

void Percentile::Output(unsigned char* record) {
  const uint8* const row = NextOutputRow();
  if (row == nullptr || IsRowNull(row)) {
    OutputNull(record, true);
    return;
  }
  OutputNull(record, false);
  const float64 percentile =
      count_ < 2 ? 1.0 : LoadValue<uint32>(row + ngtOffset_) * percentileMultiplier_;
  StoreValue(record + targetOffset_, percentile);
}

}  // namespace sqxer
