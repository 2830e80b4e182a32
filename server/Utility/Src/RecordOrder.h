#pragma once

#include "Utility/KeySet.h"

namespace sqxer {

/// The order of a sorter's records: a 64-bit prefix decides most pairs, the keys the rest.
class RecordOrder {
 public:
  RecordOrder() = default;
  explicit RecordOrder(const KeySet& keys)
      : keys_(keys), undecided_(keys.GetCount() > 0 && keys.Get(0).IsPrefixExact() ? 1 : 0) {}

  const KeySet& GetKeys() const { return keys_; }

  /// Ascending in the order of the records; 0 when there are no keys.
  uint64 Prefix(const uint8* record) const {
    return keys_.GetCount() == 0 ? 0 : keys_.Get(0).SortPrefix(record);
  }
  /// -1, 0 or 1 for two records with their prefixes.
  int Compare(uint64 prefixA, const uint8* a, uint64 prefixB, const uint8* b) const {
    if (prefixA != prefixB) return prefixA < prefixB ? -1 : 1;
    return keys_.CompareFrom(undecided_, a, b);
  }
  int Compare(const uint8* a, const uint8* b) const { return keys_.Compare(a, b); }

 private:
  KeySet keys_;
  /// The first key that equal prefixes leave open.
  std::size_t undecided_ = 0;
};

}  // namespace sqxer
