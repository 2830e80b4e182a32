#include "Engine/DistributedPlan.h"

#include <algorithm>
#include <limits>

#include "ArrowTable.h"
#include "Compiler.h"
#include "EngineError.h"
#include "OneTable.h"
#include "OrderText.h"
#include "ParameterBlock.h"
#include "PlanSplit.h"
#include "QueryRun.h"
#include "ResultImpl.h"
#include "SqlSessionStatement.h"
#include "StateRows.h"
#include "Utility/Cancellation.h"
#include "Utility/HashMix.h"
#include "Utility/SUXeDataTypeUtility.h"

namespace sqxer::engine {
namespace {

constexpr uint64 kRowsOfChunk = uint64{64} * kColumnBlockRows;
/// No text is longer.
constexpr uint32 kMostCharacters = uint32{1} << 28;

/// The table of a statement that may read no other.
class OnlyTable final : public OneTable {
 public:
  using OneTable::OneTable;
  LookupSourcePtr FindLookup(const XeString& table) override {
    ThrowEngineError(kNotDistributed, {L"it looks values up in a second table, " + table});
  }
};

SettingsRef MakeSettings(const DistributedPlan::Switches& switches) {
  SUSystemConfig config = Settings::Current()->GetSwitches();
  for (const auto& [name, value] : switches) config.Set(name, value);
  return std::make_shared<const Settings>(config);
}

bool IsText(const ColumnInfo& column) { return SUXeDataTypeUtility::IsXeTextType(column.type); }

uint64 MixText(uint64 hash, std::string_view text) {
  for (const char c : text) hash = MixHash(hash, static_cast<uint8>(c));
  return MixHash(hash, text.size());
}

/// Keeps the rows of a result with the texts by which they are sorted behind them.
class OrderedSink final : public ResultSink {
 public:
  OrderedSink(std::vector<PlanSortKey> order, std::size_t visible, std::string name)
      : order_(std::move(order)), visible_(visible), name_(std::move(name)) {}

  TableSchema schema;
  std::vector<TableChunk> chunks;

  void Begin(const std::vector<ColumnInfo>& columns, const XeRecordMetaData& layout) override {
    const auto end = columns.begin() + static_cast<std::ptrdiff_t>(visible_);
    schema.columns.assign(columns.begin(), end);
    schema.columns.push_back({Wide(name_), XeVarCharData, 1, 0, false});
    rows_.emplace(layout, visible_);
    text_.emplace(order_, layout);
    texts_ = VectorBuilder::Make(XeVarCharData, VectorBuilder::kAnyLength, {});
  }
  void Row(const uint8* record) override {
    rows_->Append(record);
    texts_->Append(text_->Make(record));
    if (rows_->GetRows() == kRowsOfChunk) TakeChunk();
  }
  void End() override {
    if (rows_->GetRows() != 0) TakeChunk();
  }

 private:
  void TakeChunk() {
    chunks.push_back(rows_->Take());
    chunks.back().columns.push_back(texts_->Take());
  }

  const std::vector<PlanSortKey> order_;
  const std::size_t visible_;
  const std::string name_;
  std::optional<ChunkBuilder> rows_;
  std::optional<OrderText> text_;
  std::unique_ptr<VectorBuilder> texts_;
};

}  // namespace

class DistributedPlan::Impl {
 public:
  Impl(std::string sql, const ArrowSchema& schema, const Switches& switches,
       const std::vector<std::string>& parameters)
      : sql_(std::move(sql)), settings_(MakeSettings(switches)), parameters_(parameters) {
    const SettingsScope scope(settings_);
    // Columns that cannot be read harm nobody who does not read them.
    const TableRequest nothing{.all = false, .names = {}, .mostRows = {}};
    source_ = ArrowTable(schema, {.name = L"input"}, nothing).GetSchema();
    for (ColumnInfo& column : source_.columns) column.nullable = true;
    if (ParseSessionStatement(sql_)) {
      ThrowEngineError(kNotDistributed, {L"it is one of a session, and no query"});
    }
    const QueryPlan plan = Compile(source_);
    if (plan.explain) ThrowEngineError(kNotDistributed, {L"EXPLAIN reads no rows"});
    if (plan.table.empty()) ThrowEngineError(kNotDistributed, {L"it reads no table"});
    if (plan.distinctKeys != 0) {
      ThrowEngineError(kNotDistributed,
                       {L"DISTINCT ON keeps the first rows of an order of all of them"});
    }
    if (!plan.documents.empty()) {
      ThrowEngineError(kNotDistributed,
                       {L"the types of its JSON values are known only when all rows are read"});
    }
    split_ = PlanSplit(plan);
    states_ = StateLayout(split_.GetFields(plan), FindCheck(switches, parameters));
    source_.name = plan.table;
    table_ = BaseStringUtil::StringToUtf8(plan.table);
    for (const uint16 column : plan.scanColumns) {
      inputs_.push_back(BaseStringUtil::StringToUtf8(source_.columns[column].name));
    }
    if (split_.HasExchange()) exchange_ = states_.GetExchangeName();
    if (!plan.order.empty()) order_.column = states_.GetOrderName();
    order_.offset = plan.offset;
    order_.limit = plan.limit;
  }

  Kind GetKind() const { return split_.GetKind(); }
  const std::string& GetSql() const { return sql_; }
  const std::string& GetTable() const { return table_; }
  const std::vector<std::string>& GetInputs() const { return inputs_; }
  const std::string& GetExchange() const { return exchange_; }
  const Order& GetOrder() const { return order_; }
  void Cancel() noexcept { cancellation_.Request(); }

  Result Partial(ArrowArrayStream* stream, const ResultOptions& options) {
    const SettingsScope scope(settings_);
    cancellation_.Withdraw();
    const CancellationScope cancellation(&cancellation_);
    const BudgetScope counted(BeginBudget());
    const Table rows = ReadRows(stream);
    QueryPlan plan = Compile(rows.schema);
    if (GetKind() == Kind::kRows) return RunToEnd(std::move(plan), rows, options);
    std::vector<std::size_t> exchange = split_.MakePartial(plan);
    return RunToStates(std::move(plan), rows, std::move(exchange));
  }

  Result Combine(ArrowArrayStream* stream) {
    const SettingsScope scope(settings_);
    cancellation_.Withdraw();
    const CancellationScope cancellation(&cancellation_);
    const BudgetScope counted(BeginBudget());
    RequireStates(stream, L"combine");
    if (GetKind() != Kind::kSplit && GetKind() != Kind::kDistinct) {
      Table states = states_.Pass(stream);
      return MakeResult(std::move(states.schema), std::move(states.chunks), {});
    }
    Table states = states_.Read(stream);
    QueryPlan plan = CompileFor(states.schema);
    std::vector<std::size_t> exchange = split_.MakeCombine(plan, states.schema);
    return RunToStates(std::move(plan), states, std::move(exchange));
  }

  Result Finish(ArrowArrayStream* stream, const ResultOptions& options) {
    const SettingsScope scope(settings_);
    cancellation_.Withdraw();
    const CancellationScope cancellation(&cancellation_);
    const BudgetScope counted(BeginBudget());
    RequireStates(stream, L"finish");
    Table states = states_.Read(stream);
    QueryPlan plan = CompileFor(states.schema);
    if (states.rowCount == 0 && PlanSplit::HasGroupOfNoRows(plan)) {
      // The group of no rows, of which there are no states.
      Table rows;
      rows.schema = source_;
      return RunToEnd(std::move(plan), rows, options);
    }
    split_.MakeFinish(plan, states.schema);
    return RunToEnd(std::move(plan), states, options);
  }

 private:
  /// What a step holds counts like what a session does.
  StatementBudget* BeginBudget() {
    const SUSystemConfig& switches = settings_->GetSwitches();
    budget_->SetLimits(switches.GetMemoryLimit(), switches.GetTempLimit());
    return budget_.get();
  }
  QueryPlan Compile(const TableSchema& schema) {
    OnlyTable catalog(schema);
    return CompileStatement(sql_, catalog, parameters_.Get());
  }

  /// The plan over rows whose texts are so long that those of the states have room; their columns
  /// get the lengths that the plan has.
  QueryPlan CompileFor(TableSchema& states) {
    uint32 longest = 1;
    for (const ColumnInfo& column : states.columns) {
      if (IsText(column)) longest = std::max(longest, column.length);
    }
    for (; longest <= kMostCharacters; longest *= 2) {
      TableSchema schema = source_;
      for (ColumnInfo& column : schema.columns) {
        if (IsText(column)) column.length = longest;
      }
      QueryPlan plan = Compile(schema);
      const std::vector<ColumnInfo> fields = split_.GetFields(plan);
      const bool hasRoom = std::ranges::equal(
          fields, states.columns, [](const ColumnInfo& field, const ColumnInfo& column) {
            return !IsText(field) || field.length >= column.length;
          });
      if (!hasRoom) continue;
      for (std::size_t i = 0; i < fields.size(); ++i) {
        if (IsText(fields[i])) states.columns[i].length = fields[i].length;
      }
      return plan;
    }
    ThrowEngineError(kNoStates, {L"a text is too long"});
  }

  uint32 FindCheck(const Switches& switches, const std::vector<std::string>& parameters) const {
    uint64 hash = MixText(kHashSeed, sql_);
    for (const ColumnInfo& column : source_.columns) {
      hash = MixText(hash, BaseStringUtil::StringToUtf8(column.name));
      hash = MixHash(hash, static_cast<uint64>(column.type));
    }
    for (const auto& [name, value] : switches) hash = MixText(MixText(hash, name), value);
    for (const std::string& parameter : parameters) hash = MixText(hash, parameter);
    return static_cast<uint32>(hash >> 32);
  }

  /// The rows of a part, as the table that the statement names.
  Table ReadRows(ArrowArrayStream* stream) const {
    TableRequest request{.all = false, .names = {}, .mostRows = {}};
    for (const std::string& name : inputs_) request.names.push_back(Wide(name));
    const Table read = ReadArrowTable(stream, {.name = source_.name}, request);
    Table rows;
    rows.schema = source_;
    rows.rowCount = read.rowCount;
    std::vector<std::pair<std::size_t, std::size_t>> places;
    for (const XeString& name : request.names) {
      ColumnInfo& wanted = *std::ranges::find(rows.schema.columns, name, &ColumnInfo::name);
      const auto found = std::ranges::find(read.schema.columns, name, &ColumnInfo::name);
      if (found == read.schema.columns.end() || found->type != wanted.type) {
        ThrowOtherColumns(read.schema);
      }
      wanted.length = std::max(wanted.length, found->length);
      places.emplace_back(&wanted - rows.schema.columns.data(),
                          found - read.schema.columns.begin());
    }
    for (const TableChunk& chunk : read.chunks) {
      TableChunk& target = rows.chunks.emplace_back();
      target.rows = chunk.rows;
      target.columns.resize(rows.schema.columns.size());
      for (const auto& [to, from] : places) target.columns[to] = chunk.columns[from];
    }
    return rows;
  }

  [[noreturn]] void ThrowOtherColumns(const TableSchema& found) const {
    ThrowEngineError(kOtherColumns, {source_.name, ListColumns(found)});
  }

  /// Takes the stream over if there is nothing to do with it.
  void RequireStates(ArrowArrayStream* stream, const wchar_t* step) const {
    if (GetKind() != Kind::kRows) return;
    const ArrowHandle<ArrowArrayStream> owner(stream);
    ThrowEngineError(kNoSuchStep, {step});
  }

  Result MakeResult(TableSchema schema, std::vector<TableChunk> chunks,
                    const ResultOptions& options) const {
    return Result(
        std::make_unique<KeptResult>(sql_, std::move(schema), std::move(chunks), options));
  }

  Result RunToStates(QueryPlan plan, const Table& table, std::vector<std::size_t> exchange) const {
    StateSink sink(states_, std::move(exchange));
    QueryRun(std::move(plan), &table).Run(sink);
    return MakeResult(states_.MakeSchema(), sink.TakeChunks(), {});
  }

  /// Runs a plan whose rows are of the result, but for those that other steps must sort and count.
  Result RunToEnd(QueryPlan plan, const Table& table, const ResultOptions& options) const {
    if (plan.limit) {
      const uint64 most = std::numeric_limits<uint64>::max();
      plan.limit = *plan.limit > most - plan.offset ? most : *plan.limit + plan.offset;
    }
    plan.offset = 0;
    if (plan.order.empty()) {
      KeepingSink sink;
      QueryRun(std::move(plan), &table).Run(sink);
      return MakeResult(std::move(sink.schema), std::move(sink.chunks), options);
    }
    OrderedSink sink(plan.order, static_cast<std::size_t>(plan.visibleOutputs), order_.column);
    // Sort keys that are no columns of the result are read as well.
    plan.visibleOutputs = static_cast<int>(plan.outputs.size());
    if (!plan.limit) plan.order.clear();
    QueryRun(std::move(plan), &table).Run(sink);
    return MakeResult(std::move(sink.schema), std::move(sink.chunks), options);
  }

  const std::string sql_;
  const SettingsRef settings_;
  Cancellation cancellation_;
  ParameterBlock parameters_;
  TableSchema source_;
  PlanSplit split_;
  StateLayout states_;
  std::string table_;
  StatementBudget::Owner budget_ = StatementBudget::Make();
  std::vector<std::string> inputs_;
  std::string exchange_;
  Order order_;
};

namespace {

/// A step over states: what its errors say of rows is not of the table's.
template <class Action>
Result WithoutRows(const std::string& sql, Action&& action) {
  try {
    return action();
  } catch (const ErrorMessage& error) {
    throw Error(error.GetCode(), error.what(), sql, error.GetSourcePosition(), Error::kUnknown);
  }
}

}  // namespace

DistributedPlan::DistributedPlan(std::string sql, const ArrowSchema& schema,
                                 const Switches& switches,
                                 const std::vector<std::string>& parameters)
    : impl_(WithErrors(
          sql, [&] { return std::make_unique<Impl>(sql, schema, switches, parameters); })) {}
DistributedPlan::DistributedPlan(DistributedPlan&&) noexcept = default;
DistributedPlan& DistributedPlan::operator=(DistributedPlan&&) noexcept = default;
DistributedPlan::~DistributedPlan() = default;

DistributedPlan::Kind DistributedPlan::GetKind() const { return impl_->GetKind(); }
const std::string& DistributedPlan::GetTable() const { return impl_->GetTable(); }
const std::vector<std::string>& DistributedPlan::GetInputs() const { return impl_->GetInputs(); }
const std::string& DistributedPlan::GetExchange() const { return impl_->GetExchange(); }
const DistributedPlan::Order& DistributedPlan::GetOrder() const { return impl_->GetOrder(); }

Result DistributedPlan::Partial(ArrowArrayStream* rows, const ResultOptions& options) {
  return WithErrors(impl_->GetSql(), [&] { return impl_->Partial(rows, options); });
}

Result DistributedPlan::Combine(ArrowArrayStream* states) {
  return WithoutRows(impl_->GetSql(), [&] { return impl_->Combine(states); });
}

Result DistributedPlan::Finish(ArrowArrayStream* states, const ResultOptions& options) {
  return WithoutRows(impl_->GetSql(), [&] { return impl_->Finish(states, options); });
}

void DistributedPlan::Cancel() noexcept { impl_->Cancel(); }

}  // namespace sqxer::engine
