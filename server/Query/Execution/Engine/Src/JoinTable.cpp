#include "JoinTable.h"

#include <algorithm>
#include <bit>

namespace sqxer {

JoinTable::JoinTable(const JoinKeys& keys, uint64 rows, uint64 memoryLimit) : rows_(rows) {
  const uint64 most = std::max(kFewPlaces, kPlacesPerRow * rows);
  isDirect_ = keys.AreExact() && keys.GetMostWord() < most;
  const uint64 places = isDirect_ ? keys.GetMostWord() + 1 : 0;
  const uint64 bytes =
      isDirect_ ? places * sizeof(uint32) : std::bit_ceil(2 * rows + 1) * sizeof(Slot);
  const uint64 limit = std::max(memoryLimit, kLeastBytes);
  parts_ = static_cast<uint32>(std::min(kMostParts, (bytes + limit - 1) / limit));
  places_ = (places + parts_ - 1) / parts_;
}

void JoinTable::StartPart(uint32 part) {
  part_ = part;
  if (isDirect_) {
    firstPlace_ = part * places_;
    firstRows_.assign(places_, kNoJoinRow);
  } else {
    slots_.assign(kFirstSlots, Slot());
    usedSlots_ = 0;
  }
}

void JoinTable::Add(const JoinBatch& batch) {
  if (isDirect_) {
    for (uint32 i = batch.count; i-- > 0;) {
      const uint64 place = batch.words[i] - firstPlace_;
      if (place < places_) Put(batch.rows[i], firstRows_[place]);
    }
    return;
  }
  uint64 hashes[kMostBatchRows];
  for (uint32 i = 0; i < batch.count; ++i) {
    hashes[i] = HashOf(batch.words[i]);
    Prefetch(&slots_[hashes[i] & (slots_.size() - 1)]);
  }
  for (uint32 i = batch.count; i-- > 0;) {
    if (!IsOfPart(hashes[i])) continue;
    Slot& slot = slots_[FindSlot(hashes[i], batch.words[i])];
    const bool isNew = slot.row == kNoJoinRow;
    slot.word = batch.words[i];
    Put(batch.rows[i], slot.row);
    if (isNew && ++usedSlots_ > slots_.size() / 2) Grow();
  }
}

void JoinTable::Grow() {
  decltype(slots_) old(slots_.size() * 2);
  old.swap(slots_);
  for (const Slot& slot : old) {
    if (slot.row != kNoJoinRow) slots_[FindSlot(HashOf(slot.word), slot.word)] = slot;
  }
}

void JoinTable::Find(const JoinBatch& batch, uint32* firstRows) const {
  const uint32 count = batch.count;
  if (isDirect_) {
    const uint32* const table = firstRows_.data();
    if (parts_ == 1) {
      for (uint32 i = 0; i < count; ++i) firstRows[i] = table[batch.words[i]];
      return;
    }
    for (uint32 i = 0; i < count; ++i) {
      const uint64 place = batch.words[i] - firstPlace_;
      firstRows[i] = place < places_ ? table[place] : kNoJoinRow;
    }
    return;
  }
  uint64 hashes[kMostBatchRows];
  for (uint32 i = 0; i < count; ++i) hashes[i] = HashOf(batch.words[i]);
  if (slots_.size() > kLeastPrefetched) {
    const std::size_t mask = slots_.size() - 1;
    for (uint32 i = 0; i < count; ++i) Prefetch(&slots_[hashes[i] & mask]);
  }
  for (uint32 i = 0; i < count; ++i) {
    firstRows[i] =
        IsOfPart(hashes[i]) ? slots_[FindSlot(hashes[i], batch.words[i])].row : kNoJoinRow;
  }
}

}  // namespace sqxer
