#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ArrowReader.h"
#include "Engine/Engine.h"
#include "ParameterBlock.h"
#include "QueryRun.h"
#include "Utility/Cancellation.h"
#include "Utility/Settings.h"
#include "Utility/StatementBudget.h"

namespace sqxer::engine {

/// An expression over the rows of a table whose texts may grow: then it is bound again.
class Evaluator::Impl {
 public:
  /// `columns`: types, and names that the expression says.
  Impl(std::string expression, TableSchema columns, const std::vector<std::string>& parameters,
       AddedFunctions functions, SettingsRef settings);

  const Column& GetColumn() const { return column_; }
  std::vector<std::string> GetInputs() const;
  Result Evaluate(ArrowArrayStream* rows, const ResultOptions& options);
  Value EvaluateRow(const std::vector<Value>& row);
  void Cancel() noexcept { cancellation_.Request(); }
  /// The value of each row of a table of those columns. Errors are those of the row.
  void RunOver(Table rows, ResultSink& sink);

 private:
  void Bind();
  TableRequest RequestOfUsed() const;
  /// Makes rows those that are evaluated. Error 57112.
  void TakeRows(Table rows);

  const std::string sql_;
  const AddedFunctions functions_;
  const SettingsRef settings_;
  Cancellation cancellation_;
  /// Of rows, results that are not yet released included.
  StatementBudget::Owner budget_ = StatementBudget::Make();
  ParameterBlock parameters_;
  Table table_;
  /// The columns that it reads.
  std::vector<uint16> used_;
  Column column_;
  std::unique_ptr<QueryRun> run_;
};

}  // namespace sqxer::engine
