#pragma once

#include <memory>
#include <vector>

#include "QueryPlan.h"
#include "SQXERExprAggregateBase.h"
#include "WorkRecord.h"

namespace sqxer::engine {

/// The fields that the states of an aggregate are kept in, one for each of their values; none where
/// its states cannot be merged. `inputs`: what it reads.
std::vector<ColumnInfo> StateFieldsOf(const PlanAggregate& planned,
                                      const std::vector<ColumnInfo>& inputs);

/// An aggregate whose result is the state that another one has come to: its fields, side by side.
std::unique_ptr<Aggregate> MakeStateSource(std::unique_ptr<Aggregate> whole);

/// An aggregate that merges states, whose fields are the input's columns from `firstColumn` on, and
/// gives the result of the other one; with `givesState` the state again. `rows` has the fields that
/// the other one was made to read. Error 57123 for a state with NULL in a field.
std::unique_ptr<Aggregate> MakeStateMerger(std::unique_ptr<Aggregate> whole,
                                           std::shared_ptr<WorkRecord> rows,
                                           std::size_t firstColumn, bool givesState);

}  // namespace sqxer::engine
