#include "SortBuffer.h"

#include <algorithm>
#include <boost/sort/pdqsort/pdqsort.hpp>
#include <cstring>
#include <limits>

#include "CopyRecord.h"

namespace sqxer {

namespace {

constexpr std::size_t kFirstCapacity = 16;

}  // namespace

SortBuffer::SortBuffer(const RecordOrder& order, uint32 recordSize, bool removeDuplicates,
                       bool keepInputOrder)
    : order_(order),
      recordSize_(recordSize),
      stride_((std::size_t{recordSize} + 7) / 8 * 8),
      removeDuplicates_(removeDuplicates),
      keepInputOrder_(keepInputOrder) {}

void SortBuffer::Reset(std::size_t bytes) {
  count_ = 0;
  maxRecords_ = std::clamp<std::size_t>(bytes / (stride_ + sizeof(Entry)), 2,
                                        std::numeric_limits<uint32>::max());
  if (capacity_ > maxRecords_) Release();
}

void SortBuffer::Release() {
  records_.reset();
  entries_.reset();
  capacity_ = 0;
  count_ = 0;
}

void SortBuffer::Grow() {
  const std::size_t capacity = std::min(std::max(2 * capacity_, kFirstCapacity), maxRecords_);
  GatewayBlock records = AllocateBlock(capacity * stride_);
  GatewayBlock entries = AllocateBlock(capacity * sizeof(Entry));
  if (count_ > 0) {
    std::memcpy(records.get(), records_.get(), count_ * stride_);
    std::memcpy(entries.get(), entries_.get(), count_ * sizeof(Entry));
  }
  records_ = std::move(records);
  entries_ = std::move(entries);
  capacity_ = capacity;
}

void SortBuffer::Add(const uint8* record, uint64 prefix) {
  if (count_ == capacity_) Grow();
  CopyRecord(RecordAt(count_), record, recordSize_);
  Entries()[count_] = {prefix, static_cast<uint32>(count_), false};
  ++count_;
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
    for (Entry& entry : tied) entry.prefix = keys.Get(key + 1).SortPrefix(RecordAt(entry.index));
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
    std::ranges::min_element(equals, {}, &Entry::index)->dropped = false;
  } else if (keepInputOrder_) {
    boost::sort::pdqsort_branchless(
        equals.begin(), equals.end(),
        [](const Entry& a, const Entry& b) { return a.index < b.index; });
  }
}

int SortBuffer::CompareFrom(std::size_t firstKey, const Entry& a, const Entry& b) const {
  return order_.GetKeys().CompareFrom(firstKey, RecordAt(a.index), RecordAt(b.index));
}

void SortBuffer::Compact() {
  const std::span<Entry> kept(Entries(), count_);
  std::ranges::sort(kept, {}, &Entry::index);
  for (std::size_t i = 0; i < count_; ++i) {
    const uint8* const from = RecordAt(kept[i].index);
    if (kept[i].index != i) std::memcpy(RecordAt(i), from, recordSize_);
    kept[i] = {order_.Prefix(RecordAt(i)), static_cast<uint32>(i), false};
  }
}

}  // namespace sqxer
