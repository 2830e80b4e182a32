#pragma once

#include <span>
#include <vector>

#include "QueryPlan.h"
#include "Utility/KeySet.h"
#include "WorkRecord.h"

namespace sqxer {

/// Spreads a number over all bits; different numbers stay different.
inline uint64 Scatter(uint64 number) {
  number *= 0x9E3779B97F4A7C15u;
  number ^= number >> 32;
  number *= 0xD6E8FEB86659FD93u;
  return number ^ (number >> 32);
}

/// Keys over the first fields of a record, ascending.
inline KeySet KeysOfFirstFields(const WorkRecord& record, std::size_t count) {
  KeySet keys;
  for (std::size_t i = 0; i < count; ++i) {
    keys.Add(KeyDesc(record.GetField(i), kAscending, KeyDesc::GetCharComparisonType()));
  }
  return keys;
}

/// Adds planned sort keys, whose columns are fields of a record.
inline void AddSortKeys(std::span<const PlanSortKey> order, const WorkRecord& record,
                        KeySet& keys) {
  for (const PlanSortKey& key : order) {
    keys.Add(KeyDesc(record.GetField(static_cast<std::size_t>(key.column)), key.order,
                     KeyDesc::GetCharComparisonType(), key.nulls));
  }
}

}  // namespace sqxer
