#pragma once

#include <memory>
#include <string>
#include <vector>

#include "QueryParameters.h"
#include "Table.h"
#include "WorkRecord.h"

namespace sqxer {

/// The values of the parameters of queries, $1 first: a table of one row, and the record that holds
/// it.
class ParameterBlock {
 public:
  /// Each text is a value, or TYPE:VALUE with a type as columns are declared with, where texts may
  /// leave out their length. A value without a type takes the one that a CSV column of it would
  /// have. An empty one is NULL, except that an empty text of a text type is that text. Error 57019
  /// ($n, value, type) for a value that its type does not take.
  explicit ParameterBlock(const std::vector<std::string>& texts);

  QueryParameters Get() { return {&record_.GetLayout(), record_.GetData()}; }

 private:
  explicit ParameterBlock(Table values);

  Table values_;
  WorkRecord record_;
};

}  // namespace sqxer
