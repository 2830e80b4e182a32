// What Session does with the views and tables that statements have made.

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "Compiler.h"
#include "EngineError.h"
#include "PlanError.h"
#include "QueryRun.h"
#include "RelationFlow.h"
#include "RelationSource.h"
#include "Session.h"
#include "SqlQuery.h"
#include "TablePath.h"
#include "TableSink.h"
#include "Utility/Instead.h"

namespace sqxer {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

/// Each takes of the stack.
constexpr int kMostViewDepth = 64;

/// Ends a run when it knows its columns.
class ColumnSink final : public ResultSink {
 public:
  struct Known {};
  void Begin(const std::vector<ColumnInfo>& known, const XeRecordMetaData&) override {
    columns = known;
    throw Known();
  }
  void Row(const uint8*) override {}
  void End() override {}

  std::vector<ColumnInfo> columns;
};

/// What a view knows of the parameters of a statement.
QueryParameters WithoutValues(const QueryParameters& statement) {
  QueryParameters parameters;
  parameters.moment = statement.moment;
  return parameters;
}

/// The first columns by other names.
void Rename(TableSchema& schema, const std::vector<XeString>& names) {
  if (names.size() > schema.columns.size())
    ThrowEngineError(kViewColumns, {schema.name, std::to_wstring(names.size()),
                                    std::to_wstring(schema.columns.size())});
  for (std::size_t i = 0; i < names.size(); ++i) schema.columns[i].name = names[i];
}

void NameAs(const SessionObject& view, TableSchema& schema) {
  schema.name = view.name;
  Rename(schema, view.columns);
}

}  // namespace

bool Session::IsView(const XeString& name) const {
  const auto found = objects_.find(FoldedName(name));
  return found != objects_.end() && found->second.IsView();
}

bool Session::NeedsRun(const SqlQuery& query) const {
  // The rows of a view may flow.
  return RelationRun::IsNeeded(query) || IsView(query.select.table);
}

void Session::RunQuery(const std::string& sql, const SqlQuery& query, ResultSink& sink,
                       int repeat) {
  if (!NeedsRun(query)) return RunSelect(sql, query.select, nullptr, sink, repeat);
  RelationRun(*this, sql, statement_).Run(query, sink, repeat);
}

std::vector<ColumnInfo> Session::FindColumns(const std::string& sql, const SqlQuery& query) {
  const Instead noRows(areColumnsAlone_, true);
  if (NeedsRun(query)) {
    if (auto columns = RelationRun(*this, sql, statement_).FindColumns(query)) return *columns;
    const Instead rows(areColumnsAlone_, false);
    ColumnSink sink;
    try {
      RunQuery(sql, query, sink, 1);
    } catch (const ColumnSink::Known&) {
    }
    return std::move(sink.columns);
  }
  // No row will show that a type is another one.
  const Instead noRestart(canStartAgain_, false);
  QueryPlan plan = CompileSelect(sql, query.select, *this, statement_);
  const TablePtr table = plan.table.empty() ? nullptr : FindOrLoad(plan.table);
  return QueryRun(std::move(plan), table ? &table->Get() : nullptr).VisibleColumns();
}

template <class Action>
void Session::WithinView(SessionObject& view, Action&& action) {
  if (view.isBeingRead) ThrowEngineError(kViewReadsItself, {view.name});
  if (viewDepth_ == kMostViewDepth)
    ThrowEngineError(kViewsTooDeep, {view.name, std::to_wstring(kMostViewDepth)});
  const Instead reading(view.isBeingRead, true);
  const Instead deeper(viewDepth_, viewDepth_ + 1);
  // What it reads is no part of the statement: its parameters are not seen, and a table that both
  // read may be read by each of them.
  const Instead ownParameters(statement_, WithoutValues(statement_));
  const Instead ownTables(partialTables_, {});
  const Timing before = timing_;
  const Clock::time_point start = Clock::now();
  try {
    action();
  } catch (const ErrorMessage& error) {
    constexpr int kOfStatement[] = {kCancelled, kTimedOut, kViewReadsItself, kViewsTooDeep};
    if (std::ranges::find(kOfStatement, error.GetCode()) != std::end(kOfStatement)) {
      // The place is one of the view's own text.
      ThrowEngineError(error.GetCode(), error.GetArguments());
    }
    ErrorMessage told(kInView, {view.name, error.GetText()});
    if (error.GetRowNumber() != ErrorMessage::kNoRow) told.SetRowNumber(error.GetRowNumber());
    for (const auto& [column, value] : error.GetInputs()) told.AddInput(column, value);
    SUGThrow(std::move(told));
  }
  // To the statement it is the reading of a table.
  const uint64 spilled = timing_.spilledBytes;
  timing_ = before;
  timing_.load += Clock::now() - start;
  timing_.spilledBytes = spilled;
}

/// The rows of a view, made while they are used.
class Session::ViewFlow final : public ChunkSource {
 public:
  /// The session must outlive it.
  ViewFlow(Session& session, const SessionObject& view, int position)
      : session_(session),
        view_(view),
        position_(position),
        run_(session, view_.sql, WithoutValues(session.statement_)) {}

  /// The first rows; null where all are to be made at once. `isWhole`: these are all that there is
  /// of the view.
  TableRef Start(const TableRequest& wanted, const FlowRules& rules, bool& isWhole) {
    RelationRun::Flow flow = run_.OpenChosen(*view_.query, WantedOf(wanted, view_.columns), rules);
    const bool isChosen = flow.rows != nullptr;
    if (!isChosen) flow = run_.Open(*view_.query, rules);
    isWhole = !isChosen && !flow.rest;
    if (!flow.rows) return nullptr;
    Table named = *flow.rows;
    NameAs(view_, named.schema);
    rest_ = std::move(flow.rest);
    return std::make_shared<const Table>(std::move(named));
  }
  bool HasRest() const { return rest_ != nullptr; }
  const TableChunk* Next() override {
    const TableChunk* chunk = nullptr;
    try {
      session_.WithinView(view_, [&] { chunk = rest_->Next(); });
    } catch (ErrorMessage& error) {
      error.SetSourcePosition(position_);
      throw;
    }
    return chunk;
  }

 private:
  Session& session_;
  SessionObject view_;
  const int position_;
  RelationRun run_;
  std::unique_ptr<ChunkSource> rest_;
};

TableRef Session::OpenView(const XeString& name, const TableRequest& wanted, const FlowRules& rules,
                           int position, std::unique_ptr<ChunkSource>& rest) {
  if (!IsView(name)) return nullptr;
  SessionObject& view = objects_.at(FoldedName(name));
  if (view.rows) return nullptr;
  auto flow = std::make_unique<ViewFlow>(*this, view, position);
  TableRef rows;
  bool isWhole = false;
  WithinView(view, [&] { rows = flow->Start(wanted, rules, isWhole); });
  if (isWhole && rows) view.rows = std::make_shared<LoadedTable>(rows);
  if (flow->HasRest()) rest = std::move(flow);
  return rows;
}

Session::TablePtr Session::FindObject(const XeString& name) {
  const auto found = objects_.find(FoldedName(name));
  if (found == objects_.end()) return nullptr;
  SessionObject& object = found->second;
  if (object.rows) return object.rows;
  TablePtr& made = areColumnsAlone_ ? object.shape : object.rows;
  if (!made) made = ReadView(object);
  return made;
}

Session::TablePtr Session::ReadView(SessionObject& view) {
  TableSink sink;
  Table& rows = sink.GetTable();
  WithinView(view, [&] {
    const Instead noRestart(canStartAgain_, false);
    if (areColumnsAlone_) {
      rows.schema.columns = FindColumns(view.sql, *view.query);
    } else {
      RunQuery(view.sql, *view.query, sink, 1);
    }
    NameAs(view, rows.schema);
  });
  return std::make_shared<LoadedTable>(std::make_shared<const Table>(std::move(rows)));
}

void Session::CheckView(SessionObject view) {
  const XeString key = FoldedName(view.name);
  // Whoever reads the name, another view too, is to see that it is this one's.
  view.isBeingRead = true;
  const auto before = objects_.find(key);
  std::optional<SessionObject> replaced;
  if (before != objects_.end()) replaced = before->second;
  SessionObject shown = view;
  objects_[key] = std::move(shown);
  const auto restore = [&] {
    if (replaced) {
      objects_[key] = std::move(*replaced);
    } else {
      objects_.erase(key);
    }
  };
  TableSchema schema;
  try {
    const Instead ownParameters(statement_, WithoutValues(statement_));
    schema.columns = FindColumns(view.sql, *view.query);
  } catch (const ErrorMessage& error) {
    restore();
    if (error.GetCode() == kNoSuchParameter)
      ThrowPlanError(kClauseNotUnderstood, error.GetSourcePosition(), {L"a parameter in a view"});
    throw;
  } catch (...) {
    restore();
    throw;
  }
  restore();
  NameAs(view, schema);
  RefuseSameNames(schema);
}

void Session::RefuseSameNames(const TableSchema& schema) {
  std::set<XeString> names;
  for (const ColumnInfo& column : schema.columns) {
    if (!names.insert(FoldedName(column.name)).second)
      ThrowEngineError(kSameColumnNames, {schema.name, column.name});
  }
}

void Session::ForgetViewRows() {
  for (auto& [key, object] : objects_) {
    if (object.IsView()) object.rows = object.shape = nullptr;
  }
}

void Session::ForgetFile(const std::string& path) noexcept {
  const auto isOf = [&](const std::string& opened) {
    std::error_code ignored;
    try {
      for (const std::string& file : FindFiles(TablePath::Parse(opened).file)) {
        if (fs::equivalent(file, path, ignored)) return true;
      }
    } catch (const ErrorMessage&) {
      // A pattern that no file matches any more.
      return true;
    }
    return false;
  };
  std::erase_if(tables_, [&](const auto& table) {
    const auto opened = openedPaths_.find(table.first);
    if (opened == openedPaths_.end()) return false;
    try {
      return isOf(opened->second);
    } catch (const std::exception&) {
      // Whatever cannot be told is read again.
      return true;
    }
  });
  partialTables_.clear();
}

}  // namespace sqxer
