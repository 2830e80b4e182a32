#include "WindowColumns.h"

#include <algorithm>

#include "TableBatch.h"
#include "Utility/FixedWidths.h"

namespace sqxer {
namespace {

/// Row records up to this size are copied until the batch is complete.
constexpr uint32 kMostCopiedBytes = 128;

/// What texts of rows that nobody wants are.
alignas(64) constexpr uint8 kNoCharacters[64] = {};

}  // namespace

WindowColumns::WindowColumns(const std::vector<Field>& fields, const WorkRecord& row,
                             const WorkRecord& group, bool areGroupsAlike)
    : row_(row),
      group_(group),
      areGroupsAlike_(areGroupsAlike),
      isKept_(!row.GetPacker().IsPacking() && row.GetSize() <= kMostCopiedBytes) {
  for (const auto& [isOfGroup, field] : fields) {
    Column& column = columns_.emplace_back();
    column.appender = ColumnAppender::Make((isOfGroup ? group : row).GetField(field));
    column.isOfGroup = isOfGroup;
    areTakenLate_ = areTakenLate_ && (isOfGroup ? areGroupsAlike : isKept_);
  }
  if (isKept_) copies_.resize(std::size_t{kMostBatchRows} * row.GetSize());
}

void WindowColumns::Append(const uint8* record) {
  const uint8* const group = group_.GetData();
  for (const Column& column : columns_) {
    if (column.isOfGroup && !areGroupsAlike_) column.appender->AppendRecords(&group, 1);
    if (!column.isOfGroup && !isKept_) column.appender->AppendRecords(&record, 1);
  }
}

void WindowColumns::End(const BatchRows& rows, std::span<BatchVector> vectors) {
  const uint8* const group = group_.GetData();
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    Column& column = columns_[i];
    const bool isConstant = IsConstant(column);
    if (isConstant) {
      column.appender->AppendRecords(&group, 1);
    } else if (!column.isOfGroup && isKept_) {
      column.appender->AppendRecords(records_.data(), added_);
    }
    column.values = column.appender->Take();
    vectors[i] = ViewOf(column.values, 0);
    vectors[i].isConstant = isConstant;
    if (!isConstant && rows.selected != nullptr) Spread(column, rows, vectors[i]);
  }
}

void WindowColumns::Spread(Column& column, const BatchRows& rows, BatchVector& vector) {
  const BatchVector added = vector;
  uint32 from = 0;
  if (IsTextForm(vector.form)) {
    column.texts.assign(rows.count, {kNoCharacters, 0});
    rows.ForEach([&](uint32 row) {
      if (!added.IsNull(from)) column.texts[row] = added.GetText(from);
      ++from;
    });
    vector.texts = column.texts.data();
    vector.offsets = nullptr;
  } else {
    const uint32 width = WidthOfForm(vector.form);
    column.spread.resize(std::size_t{kMostBatchRows} * width / sizeof(uint64));
    auto* const to = reinterpret_cast<uint8*>(column.spread.data());
    WithFixedWidth(width, [&](auto bytes) {
      rows.ForEach([&](uint32 row) {
        std::memcpy(to + row * bytes, added.values + from * bytes, bytes);
        ++from;
      });
    });
    vector.values = to;
  }
  if (added.validity == nullptr) return;
  std::ranges::fill(column.validity, ~uint64{0});
  from = 0;
  rows.ForEach([&](uint32 row) {
    if (added.IsNull(from++)) column.validity[row / 64] &= ~(uint64{1} << row % 64);
  });
  vector.validity = column.validity;
}

}  // namespace sqxer
