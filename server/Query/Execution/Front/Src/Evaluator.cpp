#include "Evaluator.h"

#include <algorithm>

#include "ColumnTypes.h"
#include "Compiler.h"
#include "EngineError.h"
#include "OneTable.h"
#include "ResultImpl.h"
#include "SQXEROpsAggregate.h"
#include "Utility/NumberText.h"
#include "ValueText.h"
#include "VectorBuilder.h"

namespace sqxer::engine {
namespace {

constexpr std::string_view kSelect = "SELECT ";
constexpr std::string_view kFrom = "\nFROM input";

/// A value as a column of its type reads it.
std::string TextOf(const Value& value) {
  struct Visitor {
    std::string operator()(std::monostate) const { return {}; }
    std::string operator()(bool truth) const { return truth ? "true" : "false"; }
    std::string operator()(std::int64_t number) const { return std::to_string(number); }
    std::string operator()(double number) const { return std::string(RealText(number).Get()); }
    std::string operator()(const std::string& text) const { return text; }
  };
  return std::visit(Visitor(), value);
}

/// An error whose place is one of the statement around the expression, or behind it.
[[noreturn]] void ThrowOfExpression(const ErrorMessage& error, const std::string& expression) {
  const auto shift = static_cast<std::int64_t>(kSelect.size());
  const std::int64_t position = error.GetSourcePosition();
  throw Error(error.GetCode(), error.what(), expression,
              position < shift
                  ? Error::kUnknown
                  : std::min(position - shift, static_cast<std::int64_t>(expression.size())),
              error.GetRowNumber());
}

template <class Action>
void WithErrorsOf(const std::string& expression, Action&& action) {
  try {
    action();
  } catch (const ErrorMessage& error) {
    ThrowOfExpression(error, expression);
  }
}

/// Keeps the first value of the only row.
class OneValue final : public ResultSink {
 public:
  Value value;

  void Begin(const std::vector<ColumnInfo>&, const XeRecordMetaData& layout) override {
    field_ = layout.GetFieldDescriptor(0);
  }
  void Row(const uint8* record) override {
    if (IsNullField(*field_, record)) return;
    const uint8* const bytes = record + field_->GetDataOffset();
    switch (field_->GetDataType()) {
      case XeBoolean:
        value = *bytes != 0;
        break;
      case XeBitData:
      case XeUInt1Data:
        value = std::int64_t{*bytes};
        break;
      case XeInt1Data:
        value = std::int64_t{LoadValue<int8>(bytes)};
        break;
      case XeInt2Data:
        value = std::int64_t{LoadValue<int16>(bytes)};
        break;
      case XeUInt2Data:
        value = std::int64_t{LoadValue<uint16>(bytes)};
        break;
      case XeInt4Data:
        value = std::int64_t{LoadValue<int32>(bytes)};
        break;
      case XeUInt4Data:
        value = std::int64_t{LoadValue<uint32>(bytes)};
        break;
      case XeFloatData:
        value = double{LoadValue<float32>(bytes)};
        break;
      case XeDoubleData:
        value = LoadValue<float64>(bytes);
        break;
      default: {
        std::string text;
        AppendValueText(*field_, record, text);
        value = std::move(text);
      }
    }
  }
  void End() override {}

 private:
  XeFieldDescriptorRef field_;
};

}  // namespace

Evaluator::Impl::Impl(std::string expression, TableSchema columns,
                      const std::vector<std::string>& parameters, AddedFunctions functions,
                      SettingsRef settings)
    : sql_(std::move(expression)),
      functions_(std::move(functions)),
      settings_(std::move(settings)),
      parameters_(parameters) {
  table_.schema = std::move(columns);
  table_.schema.name = L"input";
  for (ColumnInfo& column : table_.schema.columns) column.nullable = true;
  Bind();
}

void Evaluator::Impl::Bind() {
  const SettingsScope scope(settings_);
  OneTable catalog(table_.schema, &functions_);
  const std::string statement = std::string(kSelect) + sql_ + std::string(kFrom);
  try {
    QueryPlan plan = CompileStatement(statement, catalog, parameters_.Get());
    const bool isOne = plan.visibleOutputs == 1 && !plan.grouped && plan.windows.empty() &&
                       !plan.distinct && !plan.explain && plan.outputs.size() == 1;
    if (!isOne) ThrowEngineError(kNoExpression, {Wide(sql_)});
    Column column = DescribeColumn(plan.outputs.front().result);
    std::vector<uint16> used = plan.scanColumns;
    run_ = std::make_unique<QueryRun>(std::move(plan), &table_);
    column_ = std::move(column);
    used_ = std::move(used);
  } catch (const ErrorMessage& error) {
    ThrowOfExpression(error, sql_);
  }
}

TableRequest Evaluator::Impl::RequestOfUsed() const {
  TableRequest request{.all = false, .names = {}, .mostRows = {}};
  for (const uint16 column : used_) request.names.push_back(table_.schema.columns[column].name);
  return request;
}

std::vector<std::string> Evaluator::Impl::GetInputs() const {
  std::vector<std::string> inputs;
  for (const uint16 column : used_) {
    inputs.push_back(BaseStringUtil::StringToUtf8(table_.schema.columns[column].name));
  }
  return inputs;
}

void Evaluator::Impl::TakeRows(Table rows) {
  std::vector<ColumnInfo>& bound = table_.schema.columns;
  std::vector<ColumnInfo>& columns = rows.schema.columns;
  bool fits = columns.size() == bound.size();
  for (const uint16 column : used_) {
    fits = fits && columns[column].name == bound[column].name &&
           columns[column].type == bound[column].type;
  }
  if (!fits) ThrowEngineError(kOtherColumns, {rows.schema.name, ListColumns(rows.schema)});
  const std::vector<ColumnInfo> before = bound;
  bool isLonger = false;
  for (const uint16 column : used_) {
    if (columns[column].length <= bound[column].length) continue;
    // So that it need not be bound again for every text that is a little longer.
    bound[column].length = 2 * columns[column].length;
    isLonger = true;
  }
  if (isLonger) {
    try {
      Bind();
    } catch (...) {
      // The trees have room for no more than before.
      bound = before;
      throw;
    }
  }
  table_.chunks = std::move(rows.chunks);
  table_.rowCount = rows.rowCount;
}

void Evaluator::Impl::RunOver(Table rows, ResultSink& sink) {
  TakeRows(std::move(rows));
  // The rows are the caller's again, whatever happens.
  struct Cleared {
    ~Cleared() {
      table.chunks.clear();
      table.rowCount = 0;
    }
    Table& table;
  };
  const Cleared cleared{table_};
  run_->Run(sink);
}

Result Evaluator::Impl::Evaluate(ArrowArrayStream* rows, const ResultOptions& options) {
  const SettingsScope scope(settings_);
  cancellation_.Withdraw();
  const CancellationScope cancellation(&cancellation_);
  const SUSystemConfig& switches = settings_->GetSwitches();
  budget_->SetLimits(switches.GetMemoryLimit(), switches.GetTempLimit());
  const BudgetScope counted(budget_.get());
  KeepingSink sink;
  const auto read = [&] {
    const BudgetScope use(MemoryUse::kTable, L"input");
    return ReadArrowTable(rows, {.name = L"input"}, RequestOfUsed());
  };
  WithErrorsOf(sql_, [&] { RunOver(read(), sink); });
  return Result(
      std::make_unique<KeptResult>(sql_, std::move(sink.schema), std::move(sink.chunks), options));
}

Value Evaluator::Impl::EvaluateRow(const std::vector<Value>& row) {
  const SettingsScope scope(settings_);
  OneValue sink;
  WithErrorsOf(sql_, [&] {
    Table rows;
    rows.schema = table_.schema;
    rows.schema.columns.resize(row.size());
    rows.rowCount = 1;
    TableChunk& chunk = rows.chunks.emplace_back();
    chunk.rows = 1;
    chunk.columns.resize(row.size());
    for (const uint16 i : used_) {
      if (i >= row.size()) break;
      ColumnInfo& column = rows.schema.columns[i];
      const auto builder = VectorBuilder::Make(column.type, VectorBuilder::kAnyLength,
                                               {.isBigint = column.isBigint});
      const std::string text = TextOf(row[i]);
      if (std::holds_alternative<std::monostate>(row[i])) {
        builder->AppendNull();
      } else if (builder->Append(text) != VectorBuilder::Outcome::kTaken) {
        ThrowTableError(kValueUnreadable,
                        {L"input", L"row 1", column.name, DeclaredTypeName(column), Wide(text)});
      }
      column.length = std::max(builder->GetLongest(), uint32{1});
      chunk.columns[i] = builder->Take();
    }
    RunOver(std::move(rows), sink);
  });
  return std::move(sink.value);
}

Evaluator::Evaluator(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Evaluator::Evaluator(Evaluator&&) noexcept = default;
Evaluator& Evaluator::operator=(Evaluator&&) noexcept = default;
Evaluator::~Evaluator() = default;

const Column& Evaluator::GetColumn() const { return impl_->GetColumn(); }
std::vector<std::string> Evaluator::GetInputs() const { return impl_->GetInputs(); }
Result Evaluator::Evaluate(ArrowArrayStream* rows, const ResultOptions& options) {
  return impl_->Evaluate(rows, options);
}
void Evaluator::Cancel() noexcept { impl_->Cancel(); }
Value Evaluator::EvaluateRow(const std::vector<Value>& row) { return impl_->EvaluateRow(row); }

}  // namespace sqxer::engine
