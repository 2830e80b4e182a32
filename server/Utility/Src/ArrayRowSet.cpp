#include "Utility/ArrayRowSet.h"

#include <algorithm>
#include <boost/sort/pdqsort/pdqsort.hpp>
#include <cstring>
#include <utility>

#include "CopyRecord.h"
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
      firstBlockRecords_(std::clamp<std::size_t>(firstBlockRecords, 1, mostRecords_)) {}

void ArrayRowSet::AppendFirst(const uint8* record) {
  rows_.clear();
  count_ = listedBlocks_ = unlistedLeft_ = 0;
  if (!blocks_.empty()) {
    // The newest is the largest.
    std::swap(blocks_.front(), blocks_.back());
    blocks_.resize(1);
    next_ = blocks_.front().bytes.get();
    left_ = blocks_.front().records;
  }
  Append(record);
}

void ArrayRowSet::Append(const uint8* record) {
  if (left_ == 0) [[unlikely]]
    AddBlock();
  CopyRecord(next_, record, recordSize_);
  next_ += stride_;
  --left_;
  ++count_;
}

void ArrayRowSet::Update(uint32 index, const uint8* record) {
  XE_ASSERT(index < count_);
  std::memcpy(Finalize()[index], record, recordSize_);
}

std::span<uint8*> ArrayRowSet::Finalize() {
  std::size_t listed = rows_.size();
  rows_.resize(count_);
  for (; listed < count_; ++listed, unlisted_ += stride_, --unlistedLeft_) {
    if (unlistedLeft_ == 0) {
      const Block& block = blocks_[listedBlocks_++];
      unlisted_ = block.bytes.get();
      unlistedLeft_ = block.records;
    }
    rows_[listed] = unlisted_;
  }
  return rows_;
}

void ArrayRowSet::AddBlock() {
  const std::size_t records =
      blocks_.empty() ? firstBlockRecords_ : std::min(2 * blocks_.back().records, mostRecords_);
  std::unique_ptr<uint8[], FreeBlock> bytes(AllocateBlock(records * stride_).release());
  blocks_.push_back({std::move(bytes), records});
  next_ = blocks_.back().bytes.get();
  left_ = records;
}

void ArrayRowSet::Sort(const KeySet& keys, std::size_t count) {
  XE_ASSERT(keys.GetCount() > 0 && count <= count_);
  Finalize();
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
