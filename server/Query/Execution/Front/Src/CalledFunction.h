#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AddedFunction.h"
#include "Catalog.h"
#include "Engine/Engine.h"
#include "Evaluator.h"
#include "SQXERExprFunctionBase.h"
#include "Table.h"
#include "Utility/XeRecordMetaData.h"

namespace sqxer::engine {

/// What a program has said of a function that it adds.
struct FunctionCall {
  XeString name;
  std::optional<std::vector<ColumnInfo>> arguments;
  ColumnInfo result;
  bool isVolatile = false;
  CallFunction call;
};
using FunctionCallPtr = std::shared_ptr<const FunctionCall>;

/// Reads the declaration. Errors 57117 (name) and 57118 (type).
FunctionCallPtr MakeFunctionCall(const FunctionSpec& spec, CallFunction call);
/// The function as the planner takes it.
AddedFunctionPtr MakeAddedFunction(FunctionCallPtr call);

/// Calls a function of the program's: once for the rows of a batch, or for the row of the record.
class CalledFunction final : public ValueFunction {
 public:
  CalledFunction(FunctionCallPtr call, RExpression* operand, const ExpressionVector& params)
      : ValueFunction(operand, params), call_(std::move(call)) {}

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  /// Errors 57114 to 57116, those of reading what was given, and what the function throws.
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool HasBatchLoop() override { return true; }
  bool IsVolatile() override { return call_->isVolatile; }
  bool GivesSameAs(RExpression& other) override {
    return static_cast<CalledFunction&>(other).call_ == call_;
  }

 private:
  /// Calls the function for the wanted rows, of which vectors_ has the arguments. Its results are
  /// those of the next calls of Take, in the order of the rows.
  void Call(const BatchRows& rows);
  /// The results in the declared type.
  std::vector<TableChunk> Convert(Table results);
  RExprReturn Take(void* out);
  [[noreturn]] void RaiseOtherRows();
  void ShowChunk();

  const FunctionCallPtr call_;
  SettingsRef settings_;
  /// The arguments, as tables name them and as records have them.
  TableSchema schema_;
  XeRecordMetaData layout_;
  std::vector<BatchVector> vectors_;
  /// Brings results that come in another type to the declared one.
  std::unique_ptr<Evaluator::Impl> cast_;
  ColumnInfo castFrom_;

  std::vector<TableChunk> results_;
  std::size_t chunk_ = 0;
  BatchVector shown_;
  uint32 row_ = 0;
  void (*store_)(const BatchVector& vector, uint32 row, void* out) = nullptr;
  XeString text_;
  /// Within EvalBatch.
  bool isCalled_ = false;
  /// How many values there were for how many rows, until that is raised.
  std::optional<std::pair<uint64, uint64>> otherRows_;
};

}  // namespace sqxer::engine
