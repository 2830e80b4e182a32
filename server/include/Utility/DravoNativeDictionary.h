#pragma once

#include <limits>
#include <memory>
#include <vector>

#include "Utility/Export.h"
#include "Utility/Heap.h"
#include "Utility/XeAListStream.h"
#include "Utility/XeRecordMetaData.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// A table of two columns in memory: 32-bit keys, and a text or NULL for each. Filled once, then
/// never changed, so threads may share it.
///
/// A value stands in its stored form, aligned to its characters and with a zero character behind
/// it: a fixed text as its declared number of characters, a varying one as its length (uint32) and
/// its characters, always four bytes each.
class XEUTILITY_API DravoNativeTable {
 public:
  /// Reads all records of a stream: field 0 is the key, an integer of up to 32 bits (a negative one
  /// is the unsigned number of the same bits), field 1 the text. Records whose key is NULL are left
  /// out. Errors: 46030 (position, field count) for fewer than two fields, 59001 ("DictLookup",
  /// type) for fields of other types.
  explicit DravoNativeTable(XeAListStream& source);

  uint64 GetRowCount() const { return keys_.size(); }
  uint32 GetKey(uint64 row) const { return keys_[row]; }
  /// Where a value starts among the values, or kNullValue.
  uint64 GetValueOffset(uint64 row) const { return offsets_[row]; }
  const uint8* GetValues() const { return values_.data(); }
  /// Field 0 describes the keys, field 1 the values, in the type and length that they came in.
  const XeRecordMetaData& GetRecordMetaData() const { return layout_; }

  static constexpr uint64 kNullValue = std::numeric_limits<uint64>::max();

 private:
  XeRecordMetaData layout_;
  std::vector<uint32> keys_;
  std::vector<uint64> offsets_;
  std::vector<uint8> values_;
};

using DravoNativeTableRef = std::shared_ptr<const DravoNativeTable>;

/// Where the value of a key stands: an open hash table of these, at most half full, its size a
/// power of two.
struct DictionarySlot {
  static constexpr uint64 kEmpty = DravoNativeTable::kNullValue - 1;

  uint32 key = 0;
  /// Among the values of the table, or kNullValue; kEmpty in a slot without a key.
  uint64 offset = kEmpty;
};

/// Reads a dictionary as if it were an array with an element for every key. Valid as long as the
/// dictionary, whose storage it reads in place.
class XEUTILITY_API DictionaryAsArrayReader {
 public:
  /// The stored value of a key, not copied, and whether it is NULL, as it is for a key that the
  /// dictionary does not have; null then.
  const uint8* Get(uint32 key, bool& isNull) const {
    const uint32 wanted = firstKey_ + key;
    uint64 at = FirstSlot(wanted, shift_);
    while (slots_[at].key != wanted && slots_[at].offset != DictionarySlot::kEmpty) {
      at = (at + 1) & mask_;
    }
    const uint64 offset = slots_[at].offset;
    isNull = offset >= DictionarySlot::kEmpty;
    return isNull ? nullptr : values_ + offset;
  }

  /// Where the search for a key starts, in a table of 2^(64 - shift) slots.
  static uint64 FirstSlot(uint32 key, int shift) {
    // The golden ratio spreads neighbouring keys over the whole table.
    return key * uint64{0x9E3779B97F4A7C15u} >> shift;
  }

 private:
  friend class DravoNativeDictionary;
  DictionaryAsArrayReader(const DictionarySlot* slots, uint64 mask, int shift, const uint8* values,
                          uint32 firstKey)
      : slots_(slots), mask_(mask), shift_(shift), values_(values), firstKey_(firstKey) {}

  const DictionarySlot* slots_;
  uint64 mask_;
  int shift_;
  const uint8* values_;
  uint32 firstKey_;
};

/// The texts of a table by their keys. Never changed, so threads may share it; each of them has a
/// reader of its own.
class XEUTILITY_API DravoNativeDictionary {
 public:
  enum ColumnType { kKey = 0, kValue = 1 };

  /// Keeps the table. The first of several rows with the same key counts.
  explicit DravoNativeDictionary(DravoNativeTableRef table);

  /// The values have a null indicator in any case: a key may be missing.
  const XeFieldDescriptorRef& GetFieldDescriptorByColumnType(ColumnType column) const {
    return table_->GetRecordMetaData().GetFieldDescriptor(column);
  }
  /// A reader whose element 0 is that of `firstKey`.
  Heap<DictionaryAsArrayReader> MakeArrayReader(uint32 firstKey) const;

 private:
  DravoNativeTableRef table_;
  int shift_;
  std::vector<DictionarySlot> slots_;
};

using DravoNativeDictionaryRef = std::shared_ptr<const DravoNativeDictionary>;

}  // namespace sqxer
