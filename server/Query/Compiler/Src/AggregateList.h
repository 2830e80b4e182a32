#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "QueryPlan.h"
#include "TypedExpression.h"

namespace sqxer {

/// The aggregates that read one record of inputs, and that record's fields: each stands once.
class AggregateList {
 public:
  /// The field of an aggregate's result, the first one of the list being 0.
  int Note(const TypedExpressionPtr& aggregate);
  /// The same of a noted one; -1 for another.
  int FieldOf(const TypedExpression& aggregate) const;
  /// The position of an expression in the record of inputs.
  uint16 InputOf(const TypedExpressionPtr& expression);

  const TypedArguments& GetInputs() const { return inputs_; }
  /// The fields of all results.
  int GetFieldCount() const { return fields_; }
  /// The statement's text gives the aggregates their names.
  std::vector<PlanAggregate> MakePlan(const std::string& sql) const;

 private:
  struct Noted {
    TypedExpressionPtr aggregate;
    UInt16Vector columns;
    UInt16Vector frameColumns;
    int firstField;
  };
  /// What an aggregate holds of each row beyond what those before it do.
  uint32 HeldBytesOf(const Noted& noted) const;

  /// By their hashes: where each stands.
  using Places = std::unordered_multimap<std::size_t, std::size_t>;

  TypedArguments inputs_;
  Places inputPlaces_;
  std::vector<Noted> aggregates_;
  Places aggregatePlaces_;
  int fields_ = 0;
};

}  // namespace sqxer
