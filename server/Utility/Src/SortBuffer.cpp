#include "SortBuffer.h"

#include <algorithm>
#include <boost/sort/pdqsort/pdqsort.hpp>
#include <cstring>
#include <limits>

namespace sqxer {

namespace {

constexpr std::size_t kFirstCapacity = 16;

/// Moves a block's leading bytes to a larger one.
void Enlarge(GatewayBlock& block, std::size_t used, std::size_t bytes) {
  GatewayBlock larger = AllocateBlock(bytes);
  if (used > 0) std::memcpy(larger.get(), block.get(), used);
  block = std::move(larger);
}

/// Twice as much as before within a limit; where that is too little an eighth more than is needed.
std::size_t ChooseCapacity(std::size_t before, std::size_t needed, std::size_t most) {
  const std::size_t capacity = std::min(2 * before, most);
  return capacity >= needed ? capacity : needed + needed / 8;
}

}  // namespace

SortBuffer::SortBuffer(const RecordOrder& order, const RecordPacker& packer, bool removeDuplicates,
                       bool keepInputOrder)
    : order_(order),
      packer_(packer),
      removeDuplicates_(removeDuplicates),
      keepInputOrder_(keepInputOrder) {}

void SortBuffer::Reset(std::size_t bytes) {
  constexpr std::size_t kMostBytes = std::numeric_limits<uint32>::max() * kPlaceBytes;
  count_ = used_ = 0;
  const std::size_t least = kLeastRecords * (packer_.GetLeastBytes() + sizeof(Entry));
  left_ = maxBytes_ = std::clamp(bytes, least, kMostBytes);
  if (recordsCapacity_ + entriesCapacity_ * sizeof(Entry) > maxBytes_ + maxBytes_ / 4) Release();
}

void SortBuffer::Release() {
  records_.reset();
  entries_.reset();
  recordsCapacity_ = entriesCapacity_ = 0;
  count_ = used_ = 0;
}

void SortBuffer::Grow(std::size_t recordBytes) {
  if (recordBytes > recordsCapacity_ - used_) GrowRecords(recordBytes);
  if (count_ == entriesCapacity_) GrowEntries();
}

void SortBuffer::GrowRecords(std::size_t recordBytes) {
  // Records of one size leave to the entries what these will need; others what they have.
  const std::size_t least = packer_.GetLeastBytes();
  const std::size_t most = packer_.IsPacking()
                               ? maxBytes_ - std::min(maxBytes_, entriesCapacity_ * sizeof(Entry))
                               : maxBytes_ / (least + sizeof(Entry)) * least;
  recordsCapacity_ = ChooseCapacity(std::max(recordsCapacity_, kFirstCapacity / 2 * least),
                                    used_ + recordBytes, most);
  Enlarge(records_, used_, recordsCapacity_);
}

void SortBuffer::GrowEntries() {
  const std::size_t most = packer_.IsPacking()
                               ? (maxBytes_ - std::min(maxBytes_, recordsCapacity_)) / sizeof(Entry)
                               : maxBytes_ / (packer_.GetLeastBytes() + sizeof(Entry));
  entriesCapacity_ =
      ChooseCapacity(std::max(entriesCapacity_, kFirstCapacity / 2), count_ + 1, most);
  Enlarge(entries_, count_ * sizeof(Entry), entriesCapacity_ * sizeof(Entry));
}

void SortBuffer::Sort(uint64 limit) {
  const std::span<Entry> all(Entries(), count_);
  if (order_.GetKeys().GetCount() == 0) {
    SettleEquals(all);
  } else {
    SortByKey(all, 0);
  }
  if (removeDuplicates_) {
    const auto dropped = std::ranges::remove_if(all, &Entry::dropped);
    count_ = static_cast<std::size_t>(dropped.begin() - all.begin());
  }
  if (limit != 0) count_ = static_cast<std::size_t>(std::min<uint64>(count_, limit));
}

void SortBuffer::SortByKey(std::span<Entry> range, std::size_t key) {
  boost::sort::pdqsort_branchless(range.begin(), range.end(), [](const Entry& a, const Entry& b) {
    return a.prefix < b.prefix;
  });
  for (std::size_t from = 0; from + 1 < range.size();) {
    std::size_t to = from + 1;
    while (to < range.size() && range[to].prefix == range[from].prefix) ++to;
    if (to - from > 1) ResolveTies(range.subspan(from, to - from), key);
    from = to;
  }
}

void SortBuffer::ResolveTies(std::span<Entry> tied, std::size_t key) {
  const KeySet& keys = order_.GetKeys();
  if (!keys.Get(key).IsPrefixExact()) {
    SortByRecords(tied, key);
  } else if (key + 1 == keys.GetCount()) {
    SettleEquals(tied);
  } else {
    for (Entry& entry : tied) entry.prefix = keys.Get(key + 1).SortPrefix(RecordAt(entry.place));
    SortByKey(tied, key + 1);
  }
}

void SortBuffer::SortByRecords(std::span<Entry> range, std::size_t firstKey) {
  // Equals are settled afterwards: the sort is linear in many equal records, as long as nothing
  // tells them apart.
  boost::sort::pdqsort(range.begin(), range.end(), [&](const Entry& a, const Entry& b) {
    return CompareFrom(firstKey, a, b) < 0;
  });
  if (!removeDuplicates_ && !keepInputOrder_) return;
  for (std::size_t from = 0; from < range.size();) {
    std::size_t to = from + 1;
    while (to < range.size() && CompareFrom(firstKey, range[from], range[to]) == 0) ++to;
    SettleEquals(range.subspan(from, to - from));
    from = to;
  }
}

void SortBuffer::SettleEquals(std::span<Entry> equals) {
  if (equals.size() < 2) return;
  if (removeDuplicates_) {
    for (Entry& entry : equals) entry.dropped = true;
    std::ranges::min_element(equals, {}, &Entry::place)->dropped = false;
  } else if (keepInputOrder_) {
    boost::sort::pdqsort_branchless(
        equals.begin(), equals.end(),
        [](const Entry& a, const Entry& b) { return a.place < b.place; });
  }
}

int SortBuffer::CompareFrom(std::size_t firstKey, const Entry& a, const Entry& b) const {
  return order_.GetKeys().CompareFrom(firstKey, RecordAt(a.place), RecordAt(b.place));
}

std::size_t SortBuffer::CountKeptBytes() const {
  std::size_t bytes = count_ * sizeof(Entry);
  if (!packer_.IsPacking()) return bytes + count_ * packer_.GetLeastBytes();
  for (const Entry& entry : std::span(Entries(), count_)) {
    bytes += packer_.GetPackedBytes(RecordAt(entry.place));
  }
  return bytes;
}

bool SortBuffer::IsHalfEmpty() const { return CountKeptBytes() <= maxBytes_ / 2; }

void SortBuffer::Compact() {
  const std::span<Entry> kept(Entries(), count_);
  std::ranges::sort(kept, {}, &Entry::place);
  used_ = 0;
  for (Entry& entry : kept) {
    const uint8* const from = RecordAt(entry.place);
    uint8* const to = records_.get() + used_;
    const std::size_t bytes = packer_.GetPackedBytes(from);
    if (to != from) std::memmove(to, from, bytes);
    entry = {order_.Prefix(to), static_cast<uint32>(used_ / kPlaceBytes), false};
    used_ += bytes;
  }
  left_ = maxBytes_ - used_ - count_ * sizeof(Entry);
}

}  // namespace sqxer
