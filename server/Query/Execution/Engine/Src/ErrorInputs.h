#pragma once

#include <vector>

#include "EngineError.h"
#include "FieldWriter.h"
#include "WorkRecord.h"

namespace sqxer {

/// Tells with an error of evaluation the values of the columns that what failed reads, from the
/// record that the tree is bound to. Nothing where the error's place is not in the tree.
void TellInputs(ErrorMessage& error, RExpression& tree, const WorkRecord& record);

/// As AtRow, of trees that are bound to `record`: `forEachTree(use)` calls `use` with each of them.
template <class Trees, class Action>
auto AtRow(uint64 row, const WorkRecord& record, Trees&& forEachTree, Action&& action) {
  try {
    return AtRow(row, action);
  } catch (ErrorMessage& error) {
    forEachTree([&](RExpression& tree) { TellInputs(error, tree, record); });
    throw;
  }
}

/// The trees of writers, for AtRow.
inline auto TreesOf(std::vector<FieldWriter>& writers) {
  return [&writers](auto&& use) {
    for (FieldWriter& writer : writers) use(writer.GetTree());
  };
}

}  // namespace sqxer
