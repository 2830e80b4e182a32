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
  /// `sets`: which keys each grouping set has; none where all rows are grouped by all keys.
  GroupPlan(const std::string& sql, TypedArguments keys, std::vector<std::vector<bool>> sets);

  /// To be called for all expressions before any is put over groups: GROUPING gets a field of the
  /// record. Error 58061 for one of what is no key.
  void NoteGroupings(const TypedExpression& expression);

  /// An expression over the table's columns as one over the group record. What equals a key, in
  /// whole or in part, reads the key; aggregates are noted and read. Error 58008 (name) for a
  /// column that is neither.
  TypedExpressionPtr OverGroups(const TypedExpressionPtr& expression);

  /// The fields behind the keys that tell grouping sets apart, and their values in each: the set's
  /// number, then what was noted. None without sets.
  std::vector<ColumnInfo> GetGroupings() const;
  std::vector<PlanGroupingSet> MakeSets() const;

  /// The keys, and the distinct arguments of the aggregates noted: both over the scan record.
  const TypedArguments& GetKeys() const { return keys_; }
  const TypedArguments& GetInputs() const { return aggregates_.GetInputs(); }
  /// Whether no set leaves a key out.
  bool IsInAllSets(std::size_t key) const;
  /// What a key's field in the group record is called.
  XeString NameOfKey(std::size_t index) const;
  /// The aggregates noted, over the inputs by their positions.
  std::vector<PlanAggregate> MakeAggregates() const { return aggregates_.MakePlan(sql_); }

 private:
  /// The number of the key that an expression is, or of none.
  std::size_t FindKey(const TypedExpression& expression) const;
  std::size_t CountGroupings() const { return sets_.empty() ? 0 : 1 + groupings_.size(); }
  int32 ValueOf(const TypedExpression& grouping, const std::vector<bool>& set) const;
  static TypedExpressionPtr AsNullable(const TypedExpression& typed);

  const std::string& sql_;
  TypedArguments keys_;
  std::vector<std::vector<bool>> sets_;
  TypedArguments groupings_;
  AggregateList aggregates_;
};

}  // namespace sqxer
