#include "Utility/ArrayRowSet.h"

#include <algorithm>
#include <boost/sort/pdqsort/pdqsort.hpp>
#include <cstring>
#include <utility>

#include "GatewayBlock.h"
#include "Utility/XeAssert.h"

namespace sqxer {

void ArrayRowSet::FreeBlock::operator()(uint8* block) const noexcept { GatewayFree()(block); }

ArrayRowSet::ArrayRowSet(const RecordPacker& packer, uint32 firstBlockRecords, uint32 maxBlockBytes)
    : packer_(packer) {
  const std::size_t bytes = packer.GetLeastBytes();
  mostBlockBytes_ = std::max<std::size_t>(maxBlockBytes / bytes, 1) * bytes;
  firstBlockBytes_ = std::clamp(std::size_t{firstBlockRecords} * bytes, bytes, mostBlockBytes_);
}

void ArrayRowSet::AppendFirst(const uint8* record) {
  rows_.clear();
  count_ = usedBytes_ = replacedBytes_ = listedBlock_ = 0;
  unlisted_ = nullptr;
  if (!blocks_.empty()) {
    // The newest is the largest.
    std::swap(blocks_.front(), blocks_.back());
    blocks_.resize(1);
    next_ = blocks_.front().bytes.get();
    left_ = blocks_.front().capacity;
  }
  Append(record);
}

void ArrayRowSet::Append(const uint8* record) {
  const std::size_t bytes = packer_.Measure(record);
  packer_.Pack(record, TakeRoom(bytes), bytes);
  ++count_;
}

uint8* ArrayRowSet::TakeRoom(std::size_t bytes) {
  if (left_ < bytes) [[unlikely]]
    AddBlock(bytes);
  uint8* const room = next_;
  next_ += bytes;
  left_ -= bytes;
  usedBytes_ += bytes;
  return room;
}

void ArrayRowSet::Update(uint32 index, const uint8* record) {
  XE_ASSERT(index < count_);
  uint8*& row = Finalize()[index];
  const std::size_t before = packer_.GetPackedBytes(row);
  const std::size_t bytes = packer_.Measure(record);
  if (row + before == next_) {
    // The newest record gives its room back.
    next_ = row;
    left_ += before;
    usedBytes_ -= before;
    row = TakeRoom(bytes);
  } else if (bytes > before) {
    replacedBytes_ += before;
    row = TakeRoom(bytes);
  }
  packer_.Pack(record, row, bytes);
  // It is in the array already.
  listedBlock_ = blocks_.size() - 1;
  unlisted_ = next_;
}

std::span<uint8*> ArrayRowSet::Finalize() {
  std::size_t listed = rows_.size();
  rows_.resize(count_);
  for (; listed < count_; ++listed) {
    if (unlisted_ == nullptr) unlisted_ = blocks_[listedBlock_].bytes.get();
    while (listedBlock_ + 1 < blocks_.size() && unlisted_ == blocks_[listedBlock_].end) {
      unlisted_ = blocks_[++listedBlock_].bytes.get();
    }
    rows_[listed] = unlisted_;
    unlisted_ += packer_.GetPackedBytes(unlisted_);
  }
  return rows_;
}

void ArrayRowSet::AddBlock(std::size_t bytes) {
  std::size_t capacity = firstBlockBytes_;
  if (!blocks_.empty()) {
    blocks_.back().end = next_;
    capacity = std::min(2 * blocks_.back().capacity, mostBlockBytes_);
  }
  capacity = std::max(capacity, bytes);
  std::unique_ptr<uint8[], FreeBlock> block(AllocateBlock(capacity).release());
  blocks_.push_back({std::move(block), capacity, nullptr});
  next_ = blocks_.back().bytes.get();
  left_ = capacity;
}

void ArrayRowSet::DropReplaced() {
  if (replacedBytes_ <= usedBytes_ / 2) return;
  const std::vector<Block> before = std::exchange(blocks_, {});
  left_ = usedBytes_ = replacedBytes_ = 0;
  for (uint8*& row : rows_) {
    const std::size_t bytes = packer_.GetPackedBytes(row);
    uint8* const room = TakeRoom(bytes);
    std::memcpy(room, row, bytes);
    row = room;
  }
  listedBlock_ = blocks_.size() - 1;
  unlisted_ = next_;
}

void ArrayRowSet::Sort(const KeySet& keys, std::size_t count) {
  XE_ASSERT(keys.GetCount() > 0 && count <= count_);
  Finalize();
  DropReplaced();
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
