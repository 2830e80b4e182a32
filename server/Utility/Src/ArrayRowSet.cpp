#include "Utility/ArrayRowSet.h"

#include <algorithm>
#include <boost/sort/pdqsort/pdqsort.hpp>
#include <cstring>
#include <utility>

#include "GatewayBlock.h"
#include "Utility/XeAssert.h"

namespace sqxer {

namespace {

constexpr std::size_t kRecordAlignment = 8;

}  // namespace

void ArrayRowSet::FreeBlock::operator()(uint8* block) const noexcept { GatewayFree()(block); }

ArrayRowSet::ArrayRowSet(uint32 recordSize, uint32 firstBlockRecords, uint32 maxBlockBytes)
    : recordSize_(recordSize),
      stride_((std::size_t{recordSize} + kRecordAlignment - 1) / kRecordAlignment *
              kRecordAlignment),
      mostRecords_(std::max<std::size_t>(maxBlockBytes / stride_, 1)),
      blockRecords_(std::clamp<std::size_t>(firstBlockRecords, 1, mostRecords_)) {}

void ArrayRowSet::AppendFirst(const uint8* record) {
  rows_.clear();
  if (!blocks_.empty()) {
    // The newest is the largest.
    std::swap(blocks_.front(), blocks_.back());
    blocks_.resize(1);
    next_ = blocks_.front().get();
    left_ = blockRecords_;
  }
  Append(record);
}

void ArrayRowSet::Append(const uint8* record) {
  if (left_ == 0) [[unlikely]]
    AddBlock();
  std::memcpy(next_, record, recordSize_);
  rows_.push_back(next_);
  next_ += stride_;
  --left_;
}

void ArrayRowSet::Update(uint32 index, const uint8* record) {
  XE_ASSERT(index < rows_.size());
  std::memcpy(rows_[index], record, recordSize_);
}

void ArrayRowSet::AddBlock() {
  const std::size_t records =
      blocks_.empty() ? blockRecords_ : std::min(2 * blockRecords_, mostRecords_);
  blocks_.emplace_back(AllocateBlock(records * stride_).release());
  next_ = blocks_.back().get();
  left_ = blockRecords_ = records;
}

void ArrayRowSet::Sort(const KeySet& keys, std::size_t count) {
  XE_ASSERT(keys.GetCount() > 0 && count <= rows_.size());
  const KeyDesc& first = keys.Get(0);
  sortEntries_.clear();
  sortEntries_.reserve(count);
  for (uint8* const row : std::span(rows_).first(count))
    sortEntries_.push_back({first.SortPrefix(row), row});
  boost::sort::pdqsort_branchless(
      sortEntries_.begin(), sortEntries_.end(),
      [](const SortEntry& a, const SortEntry& b) { return a.prefix < b.prefix; });
  if (keys.GetCount() > 1 || !first.IsPrefixExact()) ResolveTies(FixedLengthKeySetPred(keys));
  std::ranges::transform(sortEntries_, rows_.begin(), &SortEntry::record);
}

void ArrayRowSet::ResolveTies(const FixedLengthKeySetPred& order) {
  for (auto from = sortEntries_.begin(); from != sortEntries_.end();) {
    const auto to = std::find_if(from + 1, sortEntries_.end(), [&](const SortEntry& entry) {
      return entry.prefix != from->prefix;
    });
    if (to - from > 1) {
      boost::sort::pdqsort(from, to, [&](const SortEntry& a, const SortEntry& b) {
        return order(a.record, b.record);
      });
    }
    from = to;
  }
}

}  // namespace sqxer
