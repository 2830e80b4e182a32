#include "RelationRun.h"

#include <algorithm>

#include "Compiler.h"
#include "EngineError.h"
#include "JsonScan.h"
#include "LazyTable.h"
#include "PlanError.h"
#include "RelationFlow.h"
#include "RelationSource.h"
#include "Session.h"
#include "SqlNames.h"
#include "SqlParser.h"
#include "TableSink.h"
#include "TableStream.h"
#include "Utility/Instead.h"

namespace sqxer {
RelationRun::RelationRun(Session& session, const std::string& sql,
                         const QueryParameters& parameters)
    : session_(session), sql_(sql), parameters_(parameters) {}
RelationRun::~RelationRun() = default;

bool RelationRun::IsNeeded(const SqlQuery& query) {
  if (!query.IsSelect() || !query.with.empty()) return true;
  if (query.from && query.select.table.empty()) return true;
  return HasSubquery(query.select);
}

void RelationRun::Run(const SqlQuery& query, ResultSink& sink, int repeat) {
  RunQuery(query, sink, repeat);
}

std::optional<std::vector<ColumnInfo>> RelationRun::FindColumns(const SqlQuery& query) {
  const Instead dry(isDry_, true);
  try {
    const TableRef table = MakeTable(query);
    if (!hasMissedTexts_) return table->schema.columns;
  } catch (const ErrorMessage&) {
    if (!hasMissedTexts_) throw;
  }
  return std::nullopt;
}

std::vector<XeString> RelationRun::Describe(const SqlQuery& query) {
  struct Lines final : ResultSink {
    void Begin(const std::vector<ColumnInfo>&, const XeRecordMetaData&) override {}
    void Row(const uint8*) override {}
    void End() override {}
    bool Plan(const std::vector<XeString>& plan) override {
      lines = plan;
      return true;
    }
    std::vector<XeString> lines;
  } sink;
  if (query.IsSelect()) {
    const Scope outer = scope_;
    AddCommon(query);
    SqlSelect select = Settle(query, {.tables = true, .files = true});
    CheckUnused(query);
    select.explain = true;
    session_.RunSelect(sql_, select, this, sink, 1);
    DrainRests();
    scope_ = outer;
  } else {
    MakeTable(query);
  }
  std::vector<XeString> lines = std::exchange(notes_, {});
  std::erase(lines, XeString());
  lines.insert(lines.end(), sink.lines.begin(), sink.lines.end());
  return lines;
}

const TableSchema* RelationRun::FindTable(const XeString& name, const TableRequest& request) {
  if (const TableRef table = FindMade(name)) return &table->schema;
  // Another part of the statement may read the same rows again.
  TableRequest all = request;
  all.onePass = false;
  all.canStartAgain = false;
  all.mostRows.reset();
  all.conditions.clear();
  return session_.FindTable(name, all);
}

void RelationRun::VisitTexts(const XeString& table, std::size_t column,
                             const std::function<void(std::wstring_view)>& visit) {
  const TableRef made = FindMade(table);
  if (!made) return session_.VisitTexts(table, column, visit);
  hasMissedTexts_ = hasMissedTexts_ || isDry_;
  TextColumn texts(column);
  for (const TableChunk& chunk : made->chunks) {
    texts.Enter(chunk);
    for (uint64 row = 0; row < chunk.rows; ++row) {
      if (texts.Read(row)) visit(texts.Get());
    }
  }
}

XeString RelationRun::FindTextReason(const XeString& table, std::size_t column) {
  return table.empty() || FindMade(table) ? XeString() : session_.FindTextReason(table, column);
}

LookupSourcePtr RelationRun::FindLookup(const XeString& table) {
  if (const std::shared_ptr<Common> common = FindCommon(table)) {
    const TableRef rows = MakeCommon(*common);
    return rows->schema.columns.size() < 2 ? nullptr : std::make_shared<TableLookup>(rows);
  }
  return session_.FindLookup(table);
}

AddedFunctionPtr RelationRun::FindFunction(std::string_view name) {
  return session_.FindFunction(name);
}

TableRef RelationRun::FindMade(const XeString& name) const {
  const auto found = made_.find(name);
  return found == made_.end() ? nullptr : found->second;
}

XeString RelationRun::Register(TableRef table) {
  // No name that can be written.
  const XeString name = L"\x01" + std::to_wstring(++nextName_);
  made_[name] = std::move(table);
  return name;
}

void RelationRun::AddCommon(const SqlQuery& query) {
  const auto before = static_cast<std::ptrdiff_t>(scope_.size());
  for (const SqlCommonTable& written : query.with) {
    const bool isTwice = std::any_of(scope_.begin() + before, scope_.end(), [&](const auto& other) {
      return BaseStringUtil::IsCaseInsensitiveMatch(other->written->name, written.name);
    });
    if (isTwice) ThrowPlanError(kTableNamedTwice, written.position, {written.name});
    std::shared_ptr<Common>& common = common_[written.query.get()];
    if (common == nullptr) {
      common = std::make_shared<Common>();
      common->written = &written;
      common->visible = scope_;
      common->around = around_.size();
      common->reads = CountReads(query, written.name);
    }
    scope_.push_back(common);
  }
}

std::shared_ptr<RelationRun::Common> RelationRun::FindCommon(const XeString& name) const {
  const auto found = std::find_if(scope_.rbegin(), scope_.rend(), [&](const auto& common) {
    return BaseStringUtil::IsCaseInsensitiveMatch(common->written->name, name);
  });
  return found == scope_.rend() ? nullptr : *found;
}

template <class Action>
auto RelationRun::InScopeOf(const Common& common, Action&& action) {
  const Instead named(scope_, common.visible);
  const auto known = static_cast<std::ptrdiff_t>(std::min(around_.size(), common.around));
  const Instead around(around_, {around_.begin(), around_.begin() + known});
  try {
    return action();
  } catch (const ErrorMessage&) {
    readsAround_ = std::min(readsAround_.value_or(common.around), common.around);
    throw;
  }
}

RelationRun::Flow RelationRun::OpenCommon(Common& common, const TableRequest& wanted,
                                          const FlowRules& rules) {
  if (common.rows || common.reads != 1) return {MakeCommon(common), nullptr};
  const SqlCommonTable& written = *common.written;
  bool isChosen = false;
  Flow flow = InScopeOf(common, [&] {
    Flow chosen = OpenChosen(*written.query, WantedOf(wanted, written.columns), rules);
    isChosen = chosen.rows != nullptr;
    return isChosen ? std::move(chosen) : Open(*written.query, rules);
  });
  if (!flow.rows) return {MakeCommon(common), nullptr};
  flow.rows =
      WithNames(*flow.rows, written.name, {written.name}, written.columns, written.position);
  if (!flow.rest && !isChosen) common.rows = flow.rows;
  common.isOpened = true;
  return flow;
}

TableRef RelationRun::MakeCommon(Common& common) {
  if (common.rows && isDry_) return WithoutRows(common.rows->schema);
  TableRef& made = isDry_ ? common.shape : common.rows;
  if (made) return made;
  common.isOpened = true;
  TableRef rows = InScopeOf(common, [&] { return MakeTable(*common.written->query); });
  const SqlCommonTable& written = *common.written;
  rows = WithNames(*rows, written.name, {written.name}, written.columns, written.position);
  return made = rows;
}

void RelationRun::CheckUnused(const SqlQuery& query) {
  for (const SqlCommonTable& written : query.with) {
    Common& common = *common_.at(written.query.get());
    if (common.isOpened) continue;
    const Instead dry(isDry_, true);
    const Instead replaced(replaced_, {});
    const Instead leaves(leaves_, {});
    MakeCommon(common);
  }
}

void RelationRun::RunQuery(const SqlQuery& query, ResultSink& sink, int repeat) {
  const Scope outer = scope_;
  AddCommon(query);
  if (query.IsSelect()) {
    const SqlSelect select = Settle(query, {.tables = repeat == 1, .files = repeat == 1});
    CheckUnused(query);
    std::vector<XeString> nodes;
    session_.RunSelect(sql_, select, this, sink, repeat, &nodes);
    // Of a query whose rows become a table. The plan of the statement's own comes at the end.
    if (!nodes.empty()) notes_.push_back(L"query:");
    for (const XeString& line : nodes) notes_.push_back(L"  " + line);
  } else {
    const TableRef rows = query.values.empty() ? MakeOperation(query) : MakeValues(query);
    CheckUnused(query);
    SqlSelect select;
    auto star = std::make_shared<SqlExpression>();
    star->kind = SqlExpression::Kind::kStar;
    select.items.push_back({std::move(star), {}, query.position});
    select.orderBy = query.orderBy;
    select.limit = query.limit;
    select.offset = query.offset;
    MapExpressions(select, [this](const SqlExpressionPtr& part) { return Replace(part); });
    select.table = Register(rows);
    session_.RunSelect(sql_, select, this, sink, repeat);
  }
  scope_ = outer;
}

TableRef RelationRun::MakeTable(const SqlQuery& query) {
  TableSink sink;
  RunQuery(query, sink, 1);
  return std::make_shared<const Table>(std::move(sink.GetTable()));
}

TableRef RelationRun::SelectFrom(const std::string& sql, const TableRef& table, SqlSelect select) {
  select.table = Register(table);
  TableSink sink;
  session_.RunSelect(sql, select, this, sink, 1);
  made_.erase(select.table);
  return std::make_shared<const Table>(std::move(sink.GetTable()));
}

TableRef RelationRun::SelectText(const std::string& sql, const TableRef& table) {
  return SelectFrom(sql, table, ParseSelect(sql));
}

}  // namespace sqxer
