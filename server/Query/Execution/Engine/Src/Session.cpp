#include "Session.h"

#include <algorithm>
#include <filesystem>

#include "Compiler.h"
#include "CsvDialect.h"
#include "EngineError.h"
#include "FunctionTable.h"
#include "GroupParts.h"
#include "JsonScan.h"
#include "NearNames.h"
#include "PlanLines.h"
#include "QueryRun.h"
#include "RelationRun.h"
#include "SessionStatements.h"
#include "SqlParser.h"
#include "SqliteTable.h"
#include "TablePath.h"
#include "TableStream.h"
#include "Utility/Instead.h"
#include "Utility/OperatorTimer.h"
#include "Utility/TextDecoder.h"
#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

/// How often progress is told while texts are looked through.
constexpr uint64 kRowsPerCall = 1024;

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

/// Says of errors of the rows where the statement names the table.
class PlacedSource final : public ChunkSource {
 public:
  /// Keeps `owner`, which may be null, as long as it lives.
  PlacedSource(std::unique_ptr<ChunkSource> rows, XeString table, int position,
               std::shared_ptr<LazyTable> owner)
      : owner_(std::move(owner)),
        rows_(std::move(rows)),
        table_(std::move(table)),
        position_(position) {}
  const TableChunk* Next() override {
    const RunProfile::Scope step(RunProfile::Current(), RunProfile::Step::kScan);
    const BudgetScope use(MemoryUse::kTable, table_.c_str());
    try {
      return rows_->Next();
    } catch (ErrorMessage& error) {
      error.SetSourcePosition(position_);
      throw;
    }
  }

 private:
  const std::shared_ptr<LazyTable> owner_;
  const std::unique_ptr<ChunkSource> rows_;
  const XeString table_;
  const int position_;
};

std::unique_ptr<ChunkSource> TakeRest(LazyTable& table, int position,
                                      std::shared_ptr<LazyTable> owner = nullptr) {
  std::unique_ptr<ChunkSource> rest = table.TakeRest();
  if (!rest) return nullptr;
  return std::make_unique<PlacedSource>(std::move(rest), table.Get().schema.name, position,
                                        std::move(owner));
}

/// Adds what the thread spills from construction to destruction.
class SpillMeter {
 public:
  explicit SpillMeter(uint64& sum) : sum_(sum), start_(OperatorTimer::GetSpilledBytesOfThread()) {}
  ~SpillMeter() { sum_ += OperatorTimer::GetSpilledBytesOfThread() - start_; }
  SpillMeter(const SpillMeter&) = delete;
  SpillMeter& operator=(const SpillMeter&) = delete;

 private:
  uint64& sum_;
  const uint64 start_;
};

/// Adds the time from construction to destruction.
class Stopwatch {
 public:
  explicit Stopwatch(std::chrono::nanoseconds& sum) : sum_(sum), start_(Clock::now()) {}
  ~Stopwatch() { sum_ += Clock::now() - start_; }
  Stopwatch(const Stopwatch&) = delete;
  Stopwatch& operator=(const Stopwatch&) = delete;

 private:
  std::chrono::nanoseconds& sum_;
  Clock::time_point start_;
};

}  // namespace

void Session::AddTable(const std::string& name, const std::string& path) {
  const bool isPath = TablePath::Parse(path).IsPath();
  // A pipe of the current folder; only in SQL a bare name is one of a table.
  const std::string here = "./" + path;
  if (!isPath && !TablePath::Parse(here).IsPath()) {
    RefuseForeignFile(path);
    ThrowEngineError(kPathKindUnknown, {Wide(path)});
  }
  CheckStandardInput(path);
  RemoveTable(name);
  paths_[FoldedName(Wide(name))] = isPath ? path : here;
}

void Session::AddTable(std::shared_ptr<const Table> table) {
  const XeString key = FoldedName(table->schema.name);
  tables_[key] = std::make_shared<LoadedTable>(std::move(table));
  addedTables_.insert(key);
  openedPaths_.erase(key);
  objects_.erase(key);
}

void Session::AddSource(const std::string& name, std::function<std::shared_ptr<LazyTable>()> open) {
  RemoveTable(name);
  sources_[FoldedName(Wide(name))] = std::move(open);
}

void Session::RemoveTable(const std::string& name) {
  const XeString key = FoldedName(Wide(name));
  paths_.erase(key);
  sources_.erase(key);
  tables_.erase(key);
  addedTables_.erase(key);
  partialTables_.erase(key);
  objects_.erase(key);
}

void Session::SetSchema(const std::string& name, const std::string& columns) {
  schemas_[FoldedName(Wide(name))] = ReadDeclaredTypes(columns);
}

void Session::SetFileOptions(const TextTableOptions& options) {
  const std::string& encoding = options.file.encoding;
  if (!encoding.empty() && !TextDecoder(encoding).IsKnown()) {
    ThrowTableError(kEncodingUnknown, {Wide(encoding)});
  }
  const std::optional<char> delimiter = options.file.delimiter;
  if (delimiter && !IsDelimiter(*delimiter)) ThrowTableError(kDelimiterUnknown, {});
  fileOptions_ = options;
}

const TableSchema* Session::FindTable(const XeString& name, const TableRequest& request) {
  return &FindOrLoad(name, &request)->Get().schema;
}

void Session::VisitTexts(const XeString& table, std::size_t column,
                         const std::function<void(std::wstring_view)>& visit) {
  const Instead ofRows(areColumnsAlone_, false);
  // The column is there: the statement names it.
  const TablePtr found = FindOrLoad(table);
  TextColumn texts(column);
  uint64 done = 0;
  for (const TableChunk& chunk : found->Get().chunks) {
    texts.Enter(chunk);
    for (uint64 row = 0; row < chunk.rows; ++row, ++done) {
      if (done % kRowsPerCall == 0 && loadProgress_ != nullptr) {
        loadProgress_(done, found->Get().rowCount, true);
      }
      if (texts.Read(row)) visit(texts.Get());
    }
  }
}

XeString Session::FindTextReason(const XeString& table, std::size_t column) {
  return FindOrLoad(table)->FindTextReason(column);
}

AddedFunctionPtr Session::FindFunction(std::string_view name) {
  return FindAdded(functions_, name);
}

void Session::AddFunction(const std::string& name, AddedFunctionPtr function) {
  const auto isPlain = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
  };
  const auto isCall = [&] {
    // A word of the grammar's own is none.
    try {
      const SqlSelect read = ParseSelect("SELECT " + name + "(1)");
      const SqlExpression& call = *read.items.front().expression;
      return call.kind == SqlExpression::Kind::kFunction && call.name == name;
    } catch (const ErrorMessage&) {
      return false;
    }
  };
  const bool isName = !name.empty() && (name.front() < '0' || name.front() > '9') &&
                      std::ranges::all_of(name, isPlain);
  if (!isName || !FindFunctions(name).empty() || !isCall())
    ThrowEngineError(kFunctionName, {Wide(name)});
  functions_[name] = std::move(function);
}

LookupSourcePtr Session::FindLookup(const XeString& table) {
  const TablePtr found = FindOrLoad(table);
  const std::vector<ColumnInfo>& columns = found->Get().schema.columns;
  if (columns.size() < 2) return nullptr;
  const TableRequest request{
      .all = false, .names = {columns[0].name, columns[1].name}, .mostRows = {}};
  FindOrLoad(table, &request);
  return std::make_shared<TableLookup>(std::shared_ptr<const Table>(found, &found->Get()));
}

Session::TablePtr Session::FindOrLoad(const XeString& name, const TableRequest* request) {
  if (TablePtr made = FindObject(name)) return made;
  XeString key = FoldedName(name);
  std::string path = BaseStringUtil::StringToUtf8(name);
  XeString tableName = name;
  const auto added = paths_.find(key);
  if (added != paths_.end()) {
    path = added->second;
  } else if (TablePath::Parse(path).IsPath()) {
    // Paths keep their letter case: two files may differ in nothing else.
    key = name;
    tableName = TablePath::Parse(path).Name();
  } else {
    path.clear();
  }
  const auto source = sources_.find(key);
  const auto known = tables_.find(key);
  const Stopwatch watch(timing_.load);
  const RunProfile::Scope step(RunProfile::Current(), RunProfile::Step::kScan);
  const BudgetScope use(MemoryUse::kTable, tableName.c_str());
  const auto partial = partialTables_.find(key);
  TablePtr table;
  if (known != tables_.end()) {
    table = known->second;
  } else if (partial != partialTables_.end()) {
    table = partial->second;
  } else if (source != sources_.end()) {
    table = source->second();
  } else {
    if (path.empty()) path = FindInDirectory(name);
    table = Open(tableName, path, added != paths_.end());
    openedPaths_[key] = path;
    // Also when an error uses it up: what is left of it must not be taken for a table.
    if (!table->IsRepeatable()) tables_[key] = table;
  }
  if (request != nullptr) {
    TableRequest wanted = *request;
    // Of a table that is kept all rows are wanted sooner or later.
    const bool isKept = known != tables_.end() && table->HasAllRows();
    if (isKept) wanted.mostRows.reset();
    wanted.onePass = wanted.onePass && isRunOnce_ && !isKept;
    wanted.canStartAgain = wanted.canStartAgain && canStartAgain_;
    table->Require(wanted, loadProgress_);
  }
  const bool isKept = table->HasAllRows() || !table->IsRepeatable();
  (isKept ? tables_ : partialTables_)[key] = table;
  return table;
}

Session::TablePtr Session::OpenToFlow(const XeString& name, TableRequest request, int position,
                                      std::unique_ptr<ChunkSource>& rest) {
  // What a program gives, or a pipe, is kept: of its first rows alone less is known.
  const bool mayFlow = !sources_.contains(FoldedName(name)) && FindOrLoad(name)->IsRepeatable();
  request.onePass = request.onePass && mayFlow;
  const TablePtr table = FindOrLoad(name, &request);
  if (!mayFlow) return table;
  rest = TakeRest(*table, position, table);
  if (rest) std::erase_if(partialTables_, [&](const auto& known) { return known.second == table; });
  return table;
}

void Session::CheckStandardInput(const std::string& path) const {
  if (path == "-" && isStandardInputTaken_) ThrowTableError(kStandardInputTaken, {});
}

std::vector<XeString> Session::ListNames() const {
  std::set<XeString> names;
  for (const auto& [name, object] : objects_) names.insert(object.name);
  for (const auto& [name, path] : paths_) names.insert(name);
  for (const auto& [name, source] : sources_) names.insert(name);
  for (const auto& [name, table] : tables_) names.insert(name);
  for (const std::string& file : ListTableFiles(directory_)) {
    names.insert(Wide(fs::path(file).stem().string()));
  }
  return {names.begin(), names.end()};
}

std::string Session::FindInDirectory(const XeString& name) const {
  const std::string file = BaseStringUtil::StringToUtf8(name) + ".csv";
  // A name is not a way into other folders; a path in quotation marks is.
  const bool isName = file.find('/') == std::string::npos;
  const std::string found = isName ? FindFileInFolder(directory_, file) : std::string();
  if (found.empty()) {
    RefuseForeignFile(BaseStringUtil::StringToUtf8(name));
    std::vector<XeString> arguments = {
        name, Wide((fs::path(directory_) / file).lexically_normal().string())};
    const XeString advice = AdviseNames(name, ListNames());
    if (!advice.empty()) arguments.push_back(advice);
    ThrowEngineError(kNoTableFile, std::move(arguments));
  }
  return found;
}

Session::TablePtr Session::Open(const XeString& name, const std::string& path, bool isGiven) {
  const auto schema = schemas_.find(FoldedName(name));
  const DeclaredTypes declared = schema == schemas_.end() ? DeclaredTypes() : schema->second;
  const TablePath parsed = TablePath::Parse(path);
  if (!isGiven) CheckReadable(parsed.file);
  if (parsed.kind == TablePath::Kind::kDatabase) {
    return std::make_shared<LoadedTable>(std::make_shared<const Table>(LoadSqliteTable(
        parsed.file, parsed.table, name, declared, isUntrusted_ && !isGiven, loadProgress_)));
  }
  CheckStandardInput(parsed.file);
  using Content = TextTable::Content;
  const Content content = parsed.kind == TablePath::Kind::kJsonLines ? Content::kJsonLines
                          : parsed.kind == TablePath::Kind::kStream  ? Content::kAny
                                                                     : Content::kCsv;
  const std::vector<std::string> files = FindFiles(parsed.file);
  for (const std::string& file : files) {
    if (!isGiven) CheckReadable(file);
  }
  auto table = std::make_shared<TextTable>(files, name, declared, fileOptions_, content);
  if (warnOfHeader_ != nullptr && table->LooksHeaderLikeData() && warnedOf_.insert(path).second) {
    warnOfHeader_(path);
  }
  return table;
}

void Session::Execute(const std::string& sql, ResultSink& sink, int repeat) {
  const SettingsScope scope(settings_);
  const CancellationScope cancellation(cancellation_);
  const BudgetScope counted(BeginBudget());
  timing_ = {};
  tag_.clear();
  isRunOnce_ = repeat == 1;
  for (canStartAgain_ = true;; canStartAgain_ = false) {
    try {
      return PlanAndRun(sql, sink, repeat);
    } catch (const TypeRefuted&) {
      XE_ASSERT(canStartAgain_);
    }
  }
}

uint32 Session::CountThreads(const QueryPlan& plan, const LazyTable& table) const {
  if ((!plan.grouped && !plan.filter) || !plan.documents.empty()) return 1;
  return table.HasAllRows() ? GroupParts::CountThreads(table.Get().rowCount, threads_) : threads_;
}

void Session::PlanAndRun(const std::string& sql, ResultSink& sink, int repeat) {
  partialTables_.clear();
  ForgetViewRows();
  statement_ = parameters_ ? parameters_->Get() : QueryParameters();
  // All plans of the statement, those of threads too, have the same moment.
  statement_.moment = ReadClock();
  if (const auto statement = ParseSessionStatement(sql)) {
    SessionStatements(*this, sql, sink).Run(*statement);
    return;
  }
  const SqlStatement statement = ParseQuery(sql);
  const SqlQuery& query = *statement.query;
  if (!statement.explain) return RunQuery(sql, query, sink, repeat);
  if (statement.analyze) return Analyze(sql, statement, sink);
  SendLines(Describe(sql, query), sink);
}

void Session::RunSelect(const std::string& sql, const SqlSelect& select, RelationRun* made,
                        ResultSink& sink, int repeat, std::vector<XeString>* nodes) {
  RunProfile* const profile = RunProfile::Current();
  const RunProfile::Scope step(profile, RunProfile::Step::kOther);
  const RunProfile::SelectScope nodesOf(profile);
  const Clock::time_point start = Clock::now();
  const std::chrono::nanoseconds loadBefore = timing_.load;
  Catalog& catalog = made != nullptr ? static_cast<Catalog&>(*made) : *this;
  const auto compile = [&] { return CompileSelect(sql, select, catalog, statement_); };
  QueryPlan plan = compile();
  const bool explain = plan.explain && profile == nullptr;
  const bool isAnalyzed = plan.explain && profile != nullptr;
  const int position = plan.tablePosition;
  TablePtr table;
  bool isMade = false;
  if (!plan.table.empty()) {
    table = made != nullptr ? made->TakeMade(plan.table, !explain) : nullptr;
    isMade = table != nullptr;
    if (!isMade) table = FindOrLoad(plan.table);
  }
  std::vector<QueryPlan> plans;
  if (table && !explain) {
    // Before the rows that are read once are on their way.
    const uint32 threads = profile != nullptr ? 1 : CountThreads(plan, *table);
    for (uint32 i = 0; threads > 1 && i < threads; ++i) plans.push_back(compile());
  }
  std::unique_ptr<ChunkSource> rest;
  if (table && !explain) rest = isMade ? table->TakeRest() : TakeRest(*table, position);
  QueryRun query(std::move(plan), table ? &table->Get() : nullptr, std::move(rest));
  if (isMade) query.SetRowsBefore(made->GetRowsBefore());
  // Times add up on one thread alone.
  query.UseThreads(profile != nullptr ? 1 : threads_, std::move(plans));
  timing_.bind += Clock::now() - start - (timing_.load - loadBefore);

  const Stopwatch watch(timing_.run);
  const SpillMeter meter(timing_.spilledBytes);
  if (explain) return SendLines(query.Describe(), sink);
  if (isAnalyzed) {
    DiscardingSink rows;
    query.Run(rows, runProgress_);
    return SendLines(query.Describe(profile->GetNodes()), sink);
  }
  NullSink nobody;
  for (int i = 1; i < repeat; ++i) query.Run(nobody, runProgress_);
  query.Run(sink, runProgress_);
  if (nodes != nullptr && profile != nullptr && profile->GetNodes() != nullptr)
    *nodes = query.Describe(profile->GetNodes());
}

}  // namespace sqxer
