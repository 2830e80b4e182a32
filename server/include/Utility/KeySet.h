#pragma once

#include <cstring>
#include <memory>
#include <vector>

#include "Utility/ExecutionUtility.h"
#include "Utility/Export.h"
#include "Utility/XeRecordMetaData.h"
#include "Utility/XeTypes.h"

namespace sqxer {

enum SortOrder_t { kAscending = 0, kDescending = 1 };
enum NullOrder_t { kNullsLast = 0, kNullsFirst = 1 };

/// One key of a sort: a field of a record layout, a direction, and how its text compares.
///
/// NULL comes last in both directions unless kNullsFirst. Numbers compare by value; a NaN equals a
/// NaN and follows every number; -0.0 equals 0.0. Text compares by the given comparison type; a
/// fixed text ends at its first zero character. Binaries compare byte by byte.
class XEUTILITY_API KeyDesc {
 public:
  KeyDesc() = default;
  /// Of kCompareLocale it keeps the collation of the thread's current settings. Error 59001
  /// ("Sort", the type) for intervals, objects, unknown types and text of one byte a
  /// character.
  KeyDesc(const XeFieldDescriptor& field, SortOrder_t order, CharComparisonType_t comparison,
          NullOrder_t nulls = kNullsLast);

  /// The same key of records that have it and its NULL indicator at other places. `isReference`:
  /// what stands at the place is the distance (32 bits) from there to the value.
  KeyDesc MovedTo(uint32 dataOffset, uint32 nullOffset, bool isReference) const;

  /// The comparison type that the thread's current settings ask for.
  static CharComparisonType_t GetCharComparisonType();

  /// -1, 0 or 1 for two stored values of the field's type (addresses of the values themselves, no
  /// NULL, ascending).
  int CompareValues(const uint8* a, const uint8* b) const { return compare_(*this, a, b); }
  /// -1, 0 or 1 for two records, NULL and direction included.
  int Compare(const uint8* recordA, const uint8* recordB) const;
  /// The leading 8 bytes of the key as an unsigned number: a smaller number sorts first. Equal
  /// numbers need Compare unless IsPrefixExact.
  uint64 SortPrefix(const uint8* record) const {
    if (nullOffset_ != 0 && record[nullOffset_] != 0) {
      return nulls_ == kNullsFirst ? kNullPrefixFirst : kNullPrefixLast;
    }
    const uint64 prefix = prefix_(*this, ValueIn(record));
    return order_ == kAscending ? prefix : ~prefix;
  }
  bool IsPrefixExact() const { return prefixExact_; }
  /// Equal for records whose keys compare equal.
  uint64 Hash(const uint8* record) const;

  XeDataType GetDataType() const { return type_; }
  uint32 GetLength() const { return length_; }
  uint32 GetDataOffset() const { return dataOffset_; }
  uint32 GetNullOffset() const { return nullOffset_; }
  SortOrder_t GetOrder() const { return order_; }

 private:
  using CompareFunction = int (*)(const KeyDesc&, const uint8*, const uint8*);
  using PrefixFunction = uint64 (*)(const KeyDesc&, const uint8*);
  using HashFunction = uint64 (*)(const KeyDesc&, const uint8*);
  static constexpr uint64 kNullPrefixFirst = 0;
  static constexpr uint64 kNullPrefixLast = ~uint64{0};

  const uint8* ValueIn(const uint8* record) const {
    const uint8* const place = record + dataOffset_;
    if (!isReference_) [[likely]]
      return place;
    uint32 distance;
    std::memcpy(&distance, place, sizeof distance);
    return place + distance;
  }

  CompareFunction compare_ = nullptr;
  PrefixFunction prefix_ = nullptr;
  HashFunction hash_ = nullptr;
  XeDataType type_ = XeUnknown;
  uint32 length_ = 0;
  uint32 dataOffset_ = 0;
  uint32 nullOffset_ = 0;
  SortOrder_t order_ = kAscending;
  NullOrder_t nulls_ = kNullsLast;
  CharComparisonType_t comparison_ = kCompareCodePoints;
  /// Of kCompareLocale alone.
  const UCollator* collator_ = nullptr;
  bool prefixExact_ = false;
  bool isReference_ = false;
  friend struct KeyCompareFunctions;
};

/// Several keys, the first the most significant.
class XEUTILITY_API KeySet {
 public:
  void Add(KeyDesc key) { keys_.push_back(key); }
  std::size_t GetCount() const { return keys_.size(); }
  const KeyDesc& Get(std::size_t index) const { return keys_[index]; }

  /// -1, 0 or 1; `differing` (when given) receives the index of the first key that differs and is
  /// left alone when none does.
  int Compare(const uint8* recordA, const uint8* recordB, std::size_t* differing = nullptr) const;
  /// -1, 0 or 1 by the keys from `first` on alone.
  int CompareFrom(std::size_t first, const uint8* recordA, const uint8* recordB) const;
  /// Equal for records that compare equal.
  uint64 Hash(const uint8* record) const;

 private:
  std::vector<KeyDesc> keys_;
};

}  // namespace sqxer
