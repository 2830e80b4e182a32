#pragma once

#include <span>

#include "GatewayBlock.h"
#include "RecordOrder.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Records in memory and an index that is sorted in their place. Takes memory as records come, up
/// to a number of bytes that holds at least two records.
class SortBuffer {
 public:
  /// The order must outlive the buffer. See SqrtSorter for the two switches.
  SortBuffer(const RecordOrder& order, uint32 recordSize, bool removeDuplicates,
             bool keepInputOrder);

  /// Empties the buffer and lets it grow to `bytes`. Memory is kept unless it is more than that.
  void Reset(std::size_t bytes);
  /// Empties the buffer and returns its memory.
  void Release();

  bool IsFull() const { return count_ == maxRecords_; }
  std::size_t GetCount() const { return count_; }
  std::size_t GetMaxRecords() const { return maxRecords_; }
  /// Bytes from one record to the next, here and in runs: a multiple of 8.
  std::size_t GetStride() const { return stride_; }

  /// Copies a record into a buffer that is not full.
  void Add(const uint8* record, uint64 prefix);

  /// Puts the records in order. Drops duplicates (when told so) and all beyond the first `limit` (0
  /// keeps all); what stays is counted by GetCount. To add more records after it call Compact.
  void Sort(uint64 limit);
  /// The record at a place in the order, after Sort.
  const uint8* GetSorted(std::size_t place) const {
    // The records lie in input order: without this every read would wait for memory.
    if (place + 8 < count_) __builtin_prefetch(RecordAt(Entries()[place + 8].index));
    return RecordAt(Entries()[place].index);
  }
  /// Makes the room of dropped records free again, after Sort. The records that stay keep the order
  /// in which they went in.
  void Compact();

 private:
  struct Entry {
    uint64 prefix;
    uint32 index;
    bool dropped;
  };

  Entry* Entries() const { return reinterpret_cast<Entry*>(entries_.get()); }
  uint8* RecordAt(std::size_t index) const { return records_.get() + index * stride_; }
  void Grow();
  void SortByKey(std::span<Entry> range, std::size_t key);
  void ResolveTies(std::span<Entry> tied, std::size_t key);
  void SortByRecords(std::span<Entry> range, std::size_t firstKey);
  void SettleEquals(std::span<Entry> equals);
  int CompareFrom(std::size_t firstKey, const Entry& a, const Entry& b) const;

  const RecordOrder& order_;
  const std::size_t recordSize_;
  const std::size_t stride_;
  const bool removeDuplicates_;
  const bool keepInputOrder_;
  std::size_t maxRecords_ = 0;
  std::size_t capacity_ = 0;
  std::size_t count_ = 0;
  GatewayBlock records_;
  GatewayBlock entries_;
};

}  // namespace sqxer
