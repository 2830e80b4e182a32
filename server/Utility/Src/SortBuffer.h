#pragma once

#include <algorithm>
#include <span>

#include "GatewayBlock.h"
#include "RecordOrder.h"
#include "Utility/HugePages.h"
#include "Utility/RecordPacker.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Packed records in memory and an index that is sorted in their place. Takes memory as records
/// come, up to a number of bytes (an eighth more where their sizes differ) and for two records in
/// any case.
class SortBuffer {
 public:
  /// The order (that of packed records) and the packer must outlive the buffer, and change only
  /// before a Reset. See SqrtSorter for the two switches.
  SortBuffer(const RecordOrder& order, const RecordPacker& packer, bool removeDuplicates,
             bool keepInputOrder);

  /// Empties the buffer and lets it grow to `bytes`. Memory is kept unless it is more than that.
  void Reset(std::size_t bytes);
  /// Empties the buffer and returns its memory.
  void Release();

  bool HasRoom(std::size_t recordBytes) const {
    return recordBytes + sizeof(Entry) <= left_ || count_ < kLeastRecords;
  }
  std::size_t GetCount() const { return count_; }
  /// After Sort: no more than half of the room is used.
  bool IsHalfEmpty() const;

  /// The place for a packed record of so many bytes, a multiple of 8, in a buffer that has room for
  /// it.
  uint8* Add(std::size_t recordBytes, uint64 prefix) {
    if (recordBytes > recordsCapacity_ - used_ || count_ == entriesCapacity_) [[unlikely]]
      Grow(recordBytes);
    const std::size_t at = used_;
    Entries()[count_++] = {prefix, static_cast<uint32>(at / kPlaceBytes), false};
    used_ += recordBytes;
    const std::size_t taken = recordBytes + sizeof(Entry);
    left_ -= std::min(left_, taken);
    return records_.get() + at;
  }

  /// Puts the records in order. Drops duplicates (when told so) and all beyond the first `limit` (0
  /// keeps all); what stays is counted by GetCount. To add more records after it call Compact.
  void Sort(uint64 limit);
  /// The record at a place in the order, after Sort.
  const uint8* GetSorted(std::size_t place) const {
    // The records lie in input order: without this every read would wait for memory.
    if (place + 8 < count_) Prefetch(RecordAt(Entries()[place + 8].place));
    return RecordAt(Entries()[place].place);
  }
  /// Makes the room of dropped records free again, after Sort. The records that stay keep the order
  /// in which they went in.
  void Compact();

 private:
  static constexpr std::size_t kPlaceBytes = 8;
  static constexpr std::size_t kLeastRecords = 2;

  struct Entry {
    uint64 prefix;
    /// Where the record starts, in units of 8 bytes: earlier records have smaller ones.
    uint32 place;
    bool dropped;
  };

  Entry* Entries() const { return reinterpret_cast<Entry*>(entries_.get()); }
  uint8* RecordAt(uint32 place) const { return records_.get() + place * kPlaceBytes; }
  std::size_t CountKeptBytes() const;
  void Grow(std::size_t recordBytes);
  void GrowRecords(std::size_t recordBytes);
  void GrowEntries();
  void SortByKey(std::span<Entry> range, std::size_t key);
  void ResolveTies(std::span<Entry> tied, std::size_t key);
  void SortByRecords(std::span<Entry> range, std::size_t firstKey);
  void SettleEquals(std::span<Entry> equals);
  int CompareFrom(std::size_t firstKey, const Entry& a, const Entry& b) const;

  const RecordOrder& order_;
  const RecordPacker& packer_;
  const bool removeDuplicates_;
  const bool keepInputOrder_;
  std::size_t maxBytes_ = 0;
  /// Of these.
  std::size_t left_ = 0;
  std::size_t count_ = 0;
  /// Bytes of the records in the block.
  std::size_t used_ = 0;
  GatewayBlock records_;
  std::size_t recordsCapacity_ = 0;
  GatewayBlock entries_;
  std::size_t entriesCapacity_ = 0;
};

}  // namespace sqxer
