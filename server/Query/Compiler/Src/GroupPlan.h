#pragma once

#include <string>
#include <vector>

#include "AggregateList.h"
#include "QueryPlan.h"
#include "TypedExpression.h"

namespace sqxer {

/// The group record of a grouped query: its keys, and the aggregates that its expressions ask for.
class GroupPlan {
 public:
  GroupPlan(const std::string& sql, TypedArguments keys);

  /// An expression over the table's columns as one over the group record. What equals a key, in
  /// whole or in part, reads the key; aggregates are noted and read. Error 58008 (name) for a
  /// column that is neither.
  TypedExpressionPtr OverGroups(const TypedExpressionPtr& expression);

  /// The keys, and the distinct arguments of the aggregates noted: both over the scan record.
  const TypedArguments& GetKeys() const { return keys_; }
  const TypedArguments& GetInputs() const { return aggregates_.GetInputs(); }
  /// What a key's field in the group record is called.
  XeString NameOfKey(std::size_t index) const;
  /// The aggregates noted, over the inputs by their positions.
  std::vector<PlanAggregate> MakeAggregates() const { return aggregates_.MakePlan(sql_); }

 private:
  const std::string& sql_;
  TypedArguments keys_;
  AggregateList aggregates_;
};

}  // namespace sqxer
