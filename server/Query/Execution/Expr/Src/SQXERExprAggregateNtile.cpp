#include "SQXERExprAggregateNtile.h"

#include <utility>

#include "SQXEROpsRanking.h"
#include "SQXERPositiveExpression.h"

namespace sqxer {

namespace {

const XeString kNtile = L"Ntile";

}  // namespace

Ntile::Ntile(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
             UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
             RExpression* nValueExpr, std::vector<SortOrder_t> sortOrders)
    : Ntile(aggregateColumns, controlBreakColumns, distinctBreakColumns, isCumulativeAggregate,
            std::unique_ptr<RExpression>(nValueExpr), std::move(sortOrders)) {}

Ntile::Ntile(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
             UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
             std::unique_ptr<RExpression> nValueExpr, std::vector<SortOrder_t> sortOrders)
    : BufferedRowsAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                            isCumulativeAggregate, std::move(sortOrders)),
      nValueExpr_(std::move(nValueExpr)) {}

void Ntile::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  input_.Bind(GetSourceField(input), kNtile);
  BindRows(input, kNtile, ntileOffset_);
  BindPositiveExpression(nValueExpr_, kNtile, info);
  resultDataType_ = XeUInt4Data;
  DescribeResult(info, XeUInt4Data, 0, true);
}

void Ntile::Initialize(bool restart) {
  BufferedRowsAggregate::Initialize(restart);
  VerifyPositiveExpression(*nValueExpr_, numTiles_);
}

RExprReturn Ntile::Finalize() {
  if (numTiles_ == 0) XeLogicError("an NTILE is driven before Initialize");
  if (!RankRows()) return kTrue;
  // NULLs are the last, whatever the order.
  while (count_ > 0 && IsRowNull(valueArray_[count_ - 1])) --count_;
  if (count_ > 0) {
    TileWalk walk([this](uint64 i) { return ReadValue(valueArray_[i]); }, count_, numTiles_,
                  GetSortOrder(0));
    for (uint32 i = count_; i-- > 0;) {
      StoreValue(valueArray_[i] + ntileOffset_, walk.TileOf(ReadValue(valueArray_[i])));
    }
  }
  RestoreInputOrder();
  return kTrue;
}

void Ntile::Output(unsigned char* record) {
  const uint8* const row = NextOutputRow();
  if (row == nullptr || IsRowNull(row)) {
    OutputNull(record, true);
    return;
  }
  OutputNull(record, false);
  StoreValue(record + targetOffset_, LoadValue<uint32>(row + ntileOffset_));
}

}  // namespace sqxer
