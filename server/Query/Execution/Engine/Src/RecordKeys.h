#pragma once

#include <vector>

#include "QueryPlan.h"
#include "Utility/KeySet.h"
#include "WorkRecord.h"

namespace sqxer {

/// Keys over the first fields of a record, ascending.
inline KeySet KeysOfFirstFields(const WorkRecord& record, std::size_t count) {
  KeySet keys;
  for (std::size_t i = 0; i < count; ++i) {
    keys.Add(KeyDesc(record.GetField(i), kAscending, KeyDesc::GetCharComparisonType()));
  }
  return keys;
}

/// Adds planned sort keys, whose columns are fields of a record.
inline void AddSortKeys(const std::vector<PlanSortKey>& order, const WorkRecord& record,
                        KeySet& keys) {
  for (const PlanSortKey& key : order) {
    keys.Add(KeyDesc(record.GetField(static_cast<std::size_t>(key.column)), key.order,
                     KeyDesc::GetCharComparisonType(), key.nulls));
  }
}

}  // namespace sqxer
