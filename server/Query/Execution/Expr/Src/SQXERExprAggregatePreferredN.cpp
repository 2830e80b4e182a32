#include "SQXERExprAggregatePreferredN.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "SQXERAggregateVariant.h"
#include "SQXEROpsRanking.h"
#include "SQXERPositiveExpression.h"
#include "Utility/XeAssert.h"

namespace sqxer {

namespace {

const XeString kPreferredN = L"PreferredN";

/// The buffer holds as many rows as fit these bytes, and at least so many times N.
constexpr uint32 kBufferBytes = 65535;
constexpr uint64 kRowsPerWanted = 10;

uint32 Saturate(uint64 rows) {
  return static_cast<uint32>(std::min<uint64>(rows, std::numeric_limits<uint32>::max()));
}

}  // namespace

PreferredRows::PreferredRows(std::unique_ptr<KeySet> keys, const KeySet& rowIdKeys,
                             const RecordPacker& packer, uint32 rowIdOffset, uint32 rankOffset)
    : rowIdOffset_(rowIdOffset),
      rankOffset_(rankOffset),
      arrayRowSet_(packer, kFirstWorkRows, kMaxWorkRowBlockBytes),
      aggrKeySet_(std::move(keys)),
      storedKeySet_(packer.PackKeys(*aggrKeySet_)),
      rowIdKeySet_(rowIdKeys) {
  lastWanted_.Reserve(packer.GetRecordSize());
}

void PreferredRows::Begin(uint32 n) {
  nValue_ = n;
  arrayOfRowPointers_ = {};
  hasLastWanted_ = false;
  rowPointersIndex_ = 0;
  inMemoryRecordCount_ = 0;
  maxRecordsInMemory_ =
      std::max(static_cast<uint32>(kBufferBytes / arrayRowSet_.GetPacker().GetLeastBytes()),
               Saturate(kRowsPerWanted * n));
  appendMode_ = true;
}

void PreferredRows::Add(const uint8* row) {
  // The rows before it are N or more, so its rank is beyond N.
  if (hasLastWanted_ && aggrKeySet_->Compare(row, lastWanted_.data()) > 0) return;
  if (!appendMode_) {
    arrayRowSet_.Update(inMemoryRecordCount_, row);
  } else if (inMemoryRecordCount_ == 0) {
    arrayRowSet_.AppendFirst(row);
  } else {
    arrayRowSet_.Append(row);
  }
  if (++inMemoryRecordCount_ == maxRecordsInMemory_) Compact();
}

void PreferredRows::Compact() {
  // A row can only fall in rank, so what is beyond N now stays there, under DISTINCT as well.
  RankRows();
  XE_ASSERT(arrayOfRowPointers_.size() == maxRecordsInMemory_);
  appendMode_ = inMemoryRecordCount_ == maxRecordsInMemory_;
  if (appendMode_) maxRecordsInMemory_ = Saturate(uint64{2} * maxRecordsInMemory_);
  hasLastWanted_ = true;
  arrayRowSet_.GetPacker().Unpack(arrayOfRowPointers_[inMemoryRecordCount_ - 1],
                                  lastWanted_.data());
}

void PreferredRows::RankRows() {
  arrayRowSet_.Sort(storedKeySet_, inMemoryRecordCount_);
  arrayOfRowPointers_ = arrayRowSet_.Finalize();
  TieRun run(1);
  for (uint32 i = 0; i < inMemoryRecordCount_; ++i) {
    uint8* const row = arrayOfRowPointers_[i];
    const bool tied = i > 0 && storedKeySet_.Compare(row, arrayOfRowPointers_[i - 1]) == 0;
    const uint32 rank = run.Next(tied);
    if (rank > nValue_) {
      inMemoryRecordCount_ = i;
      break;
    }
    StoreValue(row + rankOffset_, rank);
  }
}

void PreferredRows::Finalize() {
  if (inMemoryRecordCount_ == 0) return;
  RankRows();
  arrayRowSet_.Sort(rowIdKeySet_, inMemoryRecordCount_);
}

const uint8* PreferredRows::Find(uint32 rowId) {
  if (rowPointersIndex_ == inMemoryRecordCount_) return nullptr;
  const uint8* const row = arrayOfRowPointers_[rowPointersIndex_];
  if (LoadValue<uint32>(row + rowIdOffset_) != rowId) return nullptr;
  ++rowPointersIndex_;
  return row;
}

PreferredN::PreferredN(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                       UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
                       Preference preference, RExpression* n, std::vector<SortOrder_t> sortOrders)
    : PreferredN(aggregateColumns, controlBreakColumns, distinctBreakColumns, isCumulativeAggregate,
                 preference, std::unique_ptr<RExpression>(n), std::move(sortOrders)) {}

PreferredN::PreferredN(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                       UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
                       Preference preference, std::unique_ptr<RExpression> n,
                       std::vector<SortOrder_t> sortOrders)
    : WorkRowAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                       isCumulativeAggregate, std::move(sortOrders)),
      nValueExpr_(std::move(n)),
      preference_(preference) {
  const std::size_t keys = aggregateColumns_->size() + distinctBreakColumns_->size();
  if (sortOrderVector_.size() < keys) {
    sortOrderVector_.resize(keys, preference_ == BottomN ? kAscending : kDescending);
  }
}

void PreferredN::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  BindWorkRow(input, kPreferredN, rankOffset_);
  tempRow_.Reserve(tempRowSize_);
  const RecordPacker packer(tempRowSize_, tempRowMetaData_);
  const auto makeRows = [&](std::optional<PreferredRows>& rows, bool opposite) {
    rows.emplace(MakeKeys(placeKeySet_->GetCount(), opposite), *rowIdKeySet_, packer, rowIdOffset_,
                 rankOffset_);
  };
  makeRows(rows_, false);
  if (preference_ == TopAndBottomN) makeRows(otherRows_, true);
  BindPositiveExpression(nValueExpr_, kPreferredN, info);
  resultDataType_ = XeUInt4Data;
  DescribeResult(info, XeUInt4Data, 0, true);
}

void PreferredN::Initialize(bool restart) {
  count_ = 0;
  if (restart) outputRecordIndex_ = 0;
  VerifyPositiveExpression(*nValueExpr_, nValue_);
  rows_->Begin(nValue_);
  if (otherRows_) otherRows_->Begin(nValue_);
}

RExprReturn PreferredN::Compute(unsigned char* record, unsigned int) {
  const uint32 rowId = outputRecordIndex_ + count_++;
  // A NULL has no rank and takes none from others.
  if (IsSourceNull(record)) return kTrue;
  fieldDataBinder_.MoveInputDataToFieldDataBinder(record, rowId, tempRow_.data());
  rows_->Add(tempRow_.data());
  if (otherRows_) otherRows_->Add(tempRow_.data());
  return kTrue;
}

RExprReturn PreferredN::Finalize() {
  rows_->Finalize();
  if (otherRows_) otherRows_->Finalize();
  return kTrue;
}

void PreferredN::Output(unsigned char* record) {
  const uint32 rowId = outputRecordIndex_++;
  const uint8* row = rows_->Find(rowId);
  if (otherRows_) {
    const uint8* const other = otherRows_->Find(rowId);
    if (row == nullptr) row = other;
  }
  if (row == nullptr) {
    OutputNull(record, true);
    return;
  }
  OutputNull(record, false);
  StoreValue(record + targetOffset_, LoadValue<uint32>(row + rankOffset_));
}

}  // namespace sqxer
