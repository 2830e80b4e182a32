#include "WindowColumns.h"

#include <algorithm>

#include "TableBatch.h"
#include "Utility/CopyRecord.h"

namespace sqxer {
namespace {

/// Row records up to this size are copied until the batch is complete.
constexpr uint32 kMostCopiedBytes = 128;

}  // namespace

WindowColumns::WindowColumns(const std::vector<Field>& fields, const WorkRecord& row,
                             const WorkRecord& group, bool areGroupsAlike)
    : row_(row),
      group_(group),
      areGroupsAlike_(areGroupsAlike),
      isKept_(!row.GetPacker().IsPacking() && row.GetSize() <= kMostCopiedBytes) {
  for (const auto& [isOfGroup, field] : fields) {
    const WorkRecord& record = isOfGroup ? group : row;
    columns_.push_back({ColumnAppender::Make(record.GetField(field)), isOfGroup, {}});
  }
  if (isKept_) copies_.resize(std::size_t{kMostBatchRows} * row.GetSize());
  groups_.fill(group.GetData());
}

void WindowColumns::AddCurrent(uint32 row) {
  const uint8* record = row_.GetData();
  if (isKept_) {
    uint8* const copy = copies_.data() + std::size_t{row} * row_.GetSize();
    CopyRecord(copy, record, row_.GetSize());
    record = copy;
  }
  Add(row, record);
}

void WindowColumns::Add(uint32 row, const uint8* record) {
  // Rows that nobody wants have something that can be read.
  const uint32 rows = row + 1 - added_;
  const uint8** const records = records_.data() + added_;
  std::fill_n(records, rows, record);
  added_ = row + 1;
  for (const Column& column : columns_) {
    if (IsTakenLate(column)) continue;
    column.appender->AppendRecords(column.isOfGroup ? groups_.data() : records, rows);
  }
}

void WindowColumns::End(uint32 count, std::span<BatchVector> vectors) {
  if (added_ < count) Add(count - 1, records_[added_ - 1]);
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    auto& [appender, isOfGroup, values] = columns_[i];
    const bool isConstant = isOfGroup && areGroupsAlike_;
    if (isConstant) {
      appender->AppendRecords(groups_.data(), 1);
    } else if (!isOfGroup && isKept_) {
      appender->AppendRecords(records_.data(), count);
    }
    values = appender->Take();
    vectors[i] = ViewOf(values, 0);
    vectors[i].validity = values.validity;
    vectors[i].isConstant = isConstant;
  }
}

}  // namespace sqxer
