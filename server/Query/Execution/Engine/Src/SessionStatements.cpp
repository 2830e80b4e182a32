#include "SessionStatements.h"

#include "Compiler.h"
#include "EngineError.h"
#include "Listing.h"
#include "OneTable.h"
#include "PlanError.h"
#include "QueryRun.h"
#include "SessionNames.h"
#include "SqlNames.h"
#include "TablePath.h"
#include "TableSink.h"
#include "UntrustedRules.h"

namespace sqxer {
namespace {

/// Does something whose errors are those of a name, where they have no place of their own.
template <class Action>
auto AtName(const SqlPlacedName& name, Action&& action) {
  try {
    return action();
  } catch (ErrorMessage& error) {
    error.SetSourcePosition(name.position);
    throw;
  }
}

/// What values are cast to that go into a column which a query has made.
SqlTypeName TypeOf(const ColumnInfo& column) {
  SqlTypeName type{column.type};
  if (IsText(column.type)) type.type = XeLongVarCharData;
  if (column.type == XeTimeStampData) type.type = XeDateTimeData;
  if (column.type == XeCharData) type.precision = static_cast<int>(column.length);
  if (column.type == XeMoneyData || column.type == XeDecimalData) type.type = XeNumericData;
  return type;
}

XeString KnownSwitch(const SqlPlacedName& name) {
  std::vector<XeString> names;
  for (const SUSystemConfig::Switch& one : SUSystemConfig::Switches()) {
    names.push_back(Wide(one.name));
    if (BaseStringUtil::IsCaseInsensitiveMatch(names.back(), name.name)) return names.back();
  }
  const XeString advice = Advice(name.name, names);
  ThrowPlanError(kNoSuchSwitch, name.position,
                 {name.name, advice.empty() ? XeString(L" (SHOW ALL lists them)") : advice});
}

}  // namespace

void SessionStatements::Run(const SqlSessionStatement& statement) {
  std::visit([this](const auto& one) { Do(one); }, statement);
}

void SessionStatements::Finish(const std::string& tag, uint64 rows) {
  session_.tag_ = tag;
  sink_.Done(tag, rows);
}

const wchar_t* SessionStatements::FindKind(const XeString& name) const {
  const XeString key = FoldedName(name);
  const auto object = session_.objects_.find(key);
  if (object != session_.objects_.end()) return object->second.IsView() ? L"a view" : L"a table";
  const bool isGiven = session_.paths_.contains(key) || session_.sources_.contains(key) ||
                       session_.addedTables_.contains(key);
  return isGiven ? L"a table that the session was given" : nullptr;
}

void SessionStatements::CheckNew(const SqlPlacedName& name, bool replaces) const {
  if (TablePath::Parse(BaseStringUtil::StringToUtf8(name.name)).IsPath())
    ThrowPlanError(kNameIsPath, name.position, {name.name});
  const wchar_t* const kind = FindKind(name.name);
  if (kind != nullptr && !replaces) ThrowPlanError(kNameTaken, name.position, {name.name, kind});
}

void SessionStatements::Do(const SqlCreateView& create) {
  CheckNew(create.name, create.replaces);
  SessionObject view;
  view.name = create.name.name;
  view.sql = sql_;
  view.query = create.query;
  view.columns = create.columns;
  AtName(create.name, [&] { session_.CheckView(view); });
  session_.objects_[FoldedName(view.name)] = std::move(view);
  Finish("CREATE VIEW");
}

Table SessionStatements::MakeTable(const SqlQuery& query) {
  TableSink sink;
  session_.RunQuery(sql_, query, sink, 1);
  return std::move(sink.GetTable());
}

void SessionStatements::RunOver(const Table& table, const SqlSelect& select, ResultSink& sink) {
  OneTable catalog(table.schema, &session_.functions_);
  SqlSelect named = select;
  named.table = table.schema.name;
  QueryRun(CompileSelect(sql_, named, catalog, session_.statement_), &table)
      .Run(sink, session_.runProgress_);
}

void SessionStatements::Do(const SqlCreateTable& create) {
  if (create.ifNotExists && FindKind(create.name.name) != nullptr) return Finish("CREATE TABLE");
  CheckNew(create.name, create.replaces);
  SessionObject object;
  object.name = create.name.name;
  Table table;
  if (create.query) {
    table = MakeTable(*create.query);
    if (!create.withData) {
      table.chunks.clear();
      table.rowCount = 0;
    }
    std::vector<ColumnInfo>& columns = table.schema.columns;
    if (create.columns.size() > columns.size())
      ThrowPlanError(
          kViewColumns, create.name.position,
          {object.name, std::to_wstring(create.columns.size()), std::to_wstring(columns.size())});
    for (std::size_t i = 0; i < create.columns.size(); ++i) columns[i].name = create.columns[i];
    for (const ColumnInfo& column : columns) object.types.push_back(TypeOf(column));
  } else {
    SqlSelect none;
    for (const SqlCreateTable::Column& column : create.definitions) {
      if (column.type.fields || column.type.digits)
        ThrowPlanError(kClauseNotUnderstood, column.name.position,
                       {L"fields or digits of an INTERVAL that is no literal"});
      none.items.push_back({MakeSqlCast(MakeSqlNull(column.name.position), column.type),
                            column.name.name, column.name.position});
      object.types.push_back(column.type);
    }
    none.where = MakeSqlFalse();
    TableSink sink;
    session_.RunSelect(sql_, none, nullptr, sink, 1);
    table = std::move(sink.GetTable());
  }
  table.schema.name = object.name;
  table.schema.origins.clear();
  AtName(create.name, [&] { Session::RefuseSameNames(table.schema); });
  const uint64 rows = table.rowCount;
  object.rows = std::make_shared<LoadedTable>(std::make_shared<const Table>(std::move(table)));
  session_.objects_[FoldedName(object.name)] = std::move(object);
  Finish(create.query && create.withData ? "SELECT " + std::to_string(rows) : "CREATE TABLE", rows);
}

void SessionStatements::Do(const SqlDrop& drop) {
  const wchar_t* const kind = drop.isView ? L"a view" : L"a table";
  std::vector<XeString> keys;
  for (const SqlPlacedName& name : drop.names) {
    const auto found = session_.objects_.find(FoldedName(name.name));
    if (found == session_.objects_.end()) {
      if (drop.ifExists) continue;
      std::vector<XeString> names;
      for (const auto& [key, object] : session_.objects_) names.push_back(object.name);
      ThrowPlanError(kNoSuchObject, name.position, {kind, name.name, Advice(name.name, names)});
    }
    if (found->second.IsView() != drop.isView)
      ThrowPlanError(
          kOtherObject, name.position,
          {name.name, drop.isView ? L"a table" : L"a view", drop.isView ? L"TABLE" : L"VIEW"});
    keys.push_back(found->first);
  }
  for (const XeString& key : keys) session_.objects_.erase(key);
  Finish(drop.isView ? "DROP VIEW" : "DROP TABLE");
}

void SessionStatements::Do(const SqlCopy& copy) {
  if (!session_.openCopyTarget_)
    ThrowPlanError(kCopyFailed, copy.filePosition,
                   {Wide(copy.file), L"this session writes no files"});
  if (session_.IsUntrusted()) ThrowPlanError(kWritesNothing, copy.filePosition, {Wide(copy.file)});
  const SqlPlacedName file{Wide(copy.file), copy.filePosition};
  const std::unique_ptr<CopyTarget> target =
      AtName(file, [&] { return session_.openCopyTarget_(copy); });
  session_.RunQuery(sql_, *copy.query, target->GetSink(), 1);
  const uint64 rows = AtName(file, [&] { return target->Complete(); });
  session_.ForgetFile(copy.file);
  Finish("COPY " + std::to_string(rows), rows);
}

void SessionStatements::Set(const std::string& name, const std::string& value) {
  SUSystemConfig switches = session_.settings_->GetSwitches();
  switches.Set(name, value);
  if (session_.IsUntrusted())
    untrusted::CheckSwitches(switches, session_.firstSettings_->GetSwitches());
  session_.settings_ = std::make_shared<const Settings>(switches);
}

void SessionStatements::Do(const SqlSet& set) {
  const std::string name = BaseStringUtil::StringToUtf8(KnownSwitch(set.name));
  AtName({{}, set.valuePosition}, [&] { Set(name, set.value); });
  Finish("SET");
}

void SessionStatements::Do(const SqlReset& reset) {
  if (!reset.name) {
    session_.settings_ = session_.firstSettings_;
    return Finish("RESET");
  }
  const std::string name = BaseStringUtil::StringToUtf8(KnownSwitch(*reset.name));
  Set(name, session_.firstSettings_->GetSwitches().Get(name));
  Finish("RESET");
}

void SessionStatements::Do(const SqlShow& show) {
  const SUSystemConfig& switches = session_.settings_->GetSwitches();
  if (show.name) {
    const XeString name = KnownSwitch(*show.name);
    const std::string utf8 = BaseStringUtil::StringToUtf8(name);
    Listing listing({{utf8.c_str(), Listing::Kind::kText}});
    listing.Add({Listing::Text(switches.Get(utf8))});
    return listing.Send(sink_);
  }
  using enum Listing::Kind;
  Listing listing({{"name", kText}, {"value", kText}, {"description", kText}});
  for (const SUSystemConfig::Switch& one : SUSystemConfig::Switches()) {
    listing.Add({Listing::Text(one.name), Listing::Text(switches.Get(one.name)),
                 Listing::Text(one.description)});
  }
  listing.Send(sink_);
}

}  // namespace sqxer
