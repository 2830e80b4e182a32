#include "SessionStatements.h"

#include <algorithm>
#include <set>

#include "Compiler.h"
#include "EngineError.h"
#include "NearNames.h"
#include "OneTable.h"
#include "PlanError.h"
#include "QueryRun.h"
#include "SqlParser.h"
#include "TablePath.h"
#include "TableSink.h"
#include "TableSummary.h"

namespace sqxer {
namespace {

/// Raises an error that has a place.
[[noreturn]] void ThrowAt(int code, int position, std::vector<XeString> arguments) {
  ThrowPlanError(code, position, std::move(arguments));
}

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

XeString NumberedName(std::size_t column) { return L"c" + std::to_wstring(column); }

SqlExpressionPtr MakeName(const XeString& name, int position) {
  auto expression = std::make_shared<SqlExpression>();
  expression->kind = SqlExpression::Kind::kName;
  expression->path = {name};
  expression->position = position;
  return expression;
}

SqlExpressionPtr MakeNull(int position) {
  auto expression = std::make_shared<SqlExpression>();
  expression->position = position;
  return expression;
}

SqlExpressionPtr MakeCast(SqlExpressionPtr operand, const SqlTypeName& type) {
  auto expression = std::make_shared<SqlExpression>();
  expression->kind = SqlExpression::Kind::kOperator;
  expression->name = "cast";
  expression->position = operand->position;
  expression->target = type;
  expression->arguments = {std::move(operand)};
  return expression;
}

/// Columns by numbers, so that each has a name of its own.
Table WithNumberedNames(const Table& table) {
  Table numbered = table;
  numbered.schema.name = L"t";
  numbered.schema.origins.clear();
  for (std::size_t i = 0; i < numbered.schema.columns.size(); ++i) {
    numbered.schema.columns[i].name = NumberedName(i);
  }
  return numbered;
}

bool IsText(XeDataType type) { return type == XeVarCharData || type == XeLongVarCharData; }

/// What values are cast to that go into a column which a query has made.
SqlTypeName TypeOf(const ColumnInfo& column) {
  SqlTypeName type{column.type};
  if (IsText(column.type)) type.type = XeLongVarCharData;
  if (column.type == XeTimeStampData) type.type = XeDateTimeData;
  if (column.type == XeCharData) type.precision = static_cast<int>(column.length);
  if (column.type == XeMoneyData || column.type == XeDecimalData) type.type = XeNumericData;
  return type;
}

/// Of a text with a length that was declared.
bool HasLength(const SqlTypeName& type) {
  return type.precision > 0 && (IsText(type.type) || type.type == XeCharData);
}

/// What some names are like, as the end of a sentence.
XeString Advice(const XeString& name, const std::vector<XeString>& names) {
  const XeString advice = AdviseNames(name, names);
  return advice.empty() ? advice : L": " + advice;
}

XeString KnownSwitch(const SqlPlacedName& name) {
  std::vector<XeString> names;
  for (const SUSystemConfig::Switch& one : SUSystemConfig::Switches()) {
    names.push_back(Wide(one.name));
    if (BaseStringUtil::IsCaseInsensitiveMatch(names.back(), name.name)) return names.back();
  }
  const XeString advice = Advice(name.name, names);
  ThrowAt(kNoSuchSwitch, name.position,
          {name.name, advice.empty() ? XeString(L" (SHOW ALL lists them)") : advice});
}

/// VALUES whose values have the types of the columns that they go into, but for the lengths of
/// texts, which are checked: literals of several rows need not be of one type then.
SqlQuery CastValues(const SqlQuery& query, const SessionObject& object,
                    const std::vector<std::optional<std::size_t>>& places) {
  SqlQuery cast = query;
  for (std::vector<SqlExpressionPtr>& row : cast.values) {
    for (std::size_t i = 0; i < places.size(); ++i) {
      if (!places[i] || *places[i] >= row.size()) continue;
      SqlTypeName type = object.types[i];
      if (HasLength(type)) type = {XeLongVarCharData};
      row[*places[i]] = MakeCast(row[*places[i]], type);
    }
  }
  return cast;
}

/// Where an item of a query stands, whose value is one that does not fit.
int PlaceOfItem(const SqlQuery& query, std::size_t column, int otherwise) {
  if (query.IsSelect() && column < query.select.items.size()) {
    const SqlExpression& item = *query.select.items[column].expression;
    if (item.kind != SqlExpression::Kind::kStar) return item.position;
  }
  const bool areValues = !query.values.empty() && column < query.values.front().size();
  return areValues ? query.values.front()[column]->position : otherwise;
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
    ThrowAt(kNameIsPath, name.position, {name.name});
  const wchar_t* const kind = FindKind(name.name);
  if (kind != nullptr && !replaces) ThrowAt(kNameTaken, name.position, {name.name, kind});
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
      ThrowAt(
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
      none.items.push_back({MakeCast(MakeNull(column.name.position), column.type), column.name.name,
                            column.name.position});
      object.types.push_back(column.type);
    }
    auto condition = std::make_shared<SqlExpression>();
    condition->literal.kind = SqlLiteral::Kind::kBoolean;
    none.where = std::move(condition);
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
      ThrowAt(kNoSuchObject, name.position, {kind, name.name, Advice(name.name, names)});
    }
    if (found->second.IsView() != drop.isView)
      ThrowAt(kOtherObject, name.position,
              {name.name, drop.isView ? L"a table" : L"a view", drop.isView ? L"TABLE" : L"VIEW"});
    keys.push_back(found->first);
  }
  for (const XeString& key : keys) session_.objects_.erase(key);
  Finish(drop.isView ? "DROP VIEW" : "DROP TABLE");
}

SessionObject& SessionStatements::FindTable(const SqlPlacedName& name) const {
  const auto found = session_.objects_.find(FoldedName(name.name));
  if (found != session_.objects_.end() && !found->second.IsView()) return found->second;
  if (const wchar_t* const kind = FindKind(name.name))
    ThrowAt(kNotInsertable, name.position, {name.name, kind});
  const std::string utf8 = BaseStringUtil::StringToUtf8(name.name);
  const bool isFile = TablePath::Parse(utf8).IsPath() ||
                      !FindFileInFolder(session_.directory_, utf8 + ".csv").empty();
  if (isFile) ThrowAt(kNotInsertable, name.position, {name.name, L"a file (COPY writes files)"});
  std::vector<XeString> names;
  for (const auto& [key, object] : session_.objects_) {
    if (!object.IsView()) names.push_back(object.name);
  }
  ThrowAt(kNoSuchObject, name.position, {L"a table", name.name, Advice(name.name, names)});
}

std::vector<std::optional<std::size_t>> SessionStatements::PlaceColumns(const SqlInsert& insert,
                                                                        const Table& table,
                                                                        std::size_t width) const {
  const std::vector<ColumnInfo>& columns = table.schema.columns;
  std::vector<std::optional<std::size_t>> places(columns.size());
  const std::size_t wanted = insert.columns.empty() ? columns.size() : insert.columns.size();
  if (width > wanted || (width < wanted && !insert.columns.empty()))
    ThrowAt(kInsertCount, insert.name.position,
            {insert.name.name, std::to_wstring(wanted), std::to_wstring(width)});
  for (std::size_t i = 0; i < width; ++i) {
    if (insert.columns.empty()) {
      places[i] = i;
      continue;
    }
    const SqlPlacedName& name = insert.columns[i];
    const auto found = std::ranges::find_if(columns, [&](const ColumnInfo& column) {
      return BaseStringUtil::IsCaseInsensitiveMatch(column.name, name.name);
    });
    if (found == columns.end()) {
      std::vector<XeString> names;
      for (const ColumnInfo& column : columns) names.push_back(column.name);
      ThrowAt(kNoSuchColumn, name.position,
              {insert.name.name, name.name, Advice(name.name, names)});
    }
    std::optional<std::size_t>& place = places[static_cast<std::size_t>(found - columns.begin())];
    if (place) ThrowAt(kColumnTwice, name.position, {name.name});
    place = i;
  }
  return places;
}

void SessionStatements::CheckLengths(const Table& rows, const SessionObject& object, int position) {
  for (std::size_t i = 0; i < object.types.size(); ++i) {
    const SqlTypeName& type = object.types[i];
    if (!HasLength(type)) continue;
    const SqlSelect longer =
        ParseSelect("SELECT COUNT(*) FROM t WHERE LENGTH(CAST(c" + std::to_string(i) +
                    " AS VARCHAR)) > " + std::to_string(type.precision));
    RowTexts count;
    RunOver(rows, longer, count);
    if (count.Get().front() != "0")
      ThrowAt(kTextTooLong, position,
              {object.rows->Get().schema.columns[i].name, std::to_wstring(type.precision)});
  }
}

Table SessionStatements::Assign(const Table& source, const SessionObject& object,
                                const TableSchema& schema,
                                const std::vector<std::optional<std::size_t>>& places,
                                const SqlQuery& query) {
  const Table numbered = WithNumberedNames(source);
  // In the order of the table, before texts are cut to their lengths.
  SqlSelect placed;
  SqlSelect cast;
  for (std::size_t i = 0; i < places.size(); ++i) {
    const int position =
        places[i] ? PlaceOfItem(query, *places[i], query.position) : query.position;
    SqlExpressionPtr value = places[i] ? MakeName(NumberedName(*places[i]), position)
                                       : MakeCast(MakeNull(position), object.types[i]);
    const SqlTypeName& type = object.types[i];
    const XeDataType given =
        places[i] ? source.schema.columns[*places[i]].type : schema.columns[i].type;
    const bool isSame = given == schema.columns[i].type || (IsText(given) && IsText(type.type));
    placed.items.push_back({value, NumberedName(i), position});
    SqlExpressionPtr column = MakeName(NumberedName(i), position);
    if (!isSame || type.precision != 0) column = MakeCast(std::move(column), type);
    cast.items.push_back({std::move(column), schema.columns[i].name, position});
  }
  TableSink inOrder;
  RunOver(numbered, placed, inOrder);
  Table& rows = inOrder.GetTable();
  rows.schema.name = L"t";
  CheckLengths(rows, object, query.position);
  TableSink assigned;
  RunOver(rows, cast, assigned);
  return std::move(assigned.GetTable());
}

void SessionStatements::Do(const SqlInsert& insert) {
  SessionObject& object = FindTable(insert.name);
  // The query may read the table: what it sees is the table as it was.
  const std::shared_ptr<LazyTable> before = object.rows;
  const Table& old = before->Get();
  std::vector<std::optional<std::size_t>> places;
  Table source;
  if (insert.query->values.empty()) {
    source = MakeTable(*insert.query);
    places = PlaceColumns(insert, old, source.schema.columns.size());
  } else {
    places = PlaceColumns(insert, old, insert.query->values.front().size());
    source = MakeTable(CastValues(*insert.query, object, places));
  }
  Table rows = Assign(source, object, old.schema, places, *insert.query);
  Table both = old;
  const auto areSame = [](const ColumnInfo& a, const ColumnInfo& b) {
    return a.type == b.type || (IsText(a.type) && IsText(b.type));
  };
  if (!std::ranges::equal(both.schema.columns, rows.schema.columns, areSame)) {
    // Of types that are stored alone, casts make those that are computed.
    std::vector<std::optional<std::size_t>> all(places.size());
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = i;
    both = Assign(old, object, rows.schema, all, *insert.query);
    both.schema.name = old.schema.name;
  }
  for (std::size_t i = 0; i < places.size(); ++i) {
    ColumnInfo& column = both.schema.columns[i];
    const ColumnInfo& added = rows.schema.columns[i];
    column.length = std::max(column.length, added.length);
    column.scale = std::max(column.scale, added.scale);
    column.nullable = column.nullable || added.nullable;
    if (column.type != added.type) column.type = XeLongVarCharData;
  }
  both.rowCount += rows.rowCount;
  for (TableChunk& chunk : rows.chunks) both.chunks.push_back(std::move(chunk));
  object.rows = std::make_shared<LoadedTable>(std::make_shared<const Table>(std::move(both)));
  Finish("INSERT 0 " + std::to_string(rows.rowCount), rows.rowCount);
}

void SessionStatements::Do(const SqlCopy& copy) {
  if (!session_.openCopyTarget_)
    ThrowAt(kCopyFailed, copy.filePosition, {Wide(copy.file), L"this session writes no files"});
  const SqlPlacedName file{Wide(copy.file), copy.filePosition};
  const std::unique_ptr<CopyTarget> target =
      AtName(file, [&] { return session_.openCopyTarget_(copy); });
  session_.RunQuery(sql_, *copy.query, target->GetSink(), 1);
  const uint64 rows = AtName(file, [&] { return target->Complete(); });
  session_.ForgetFile(copy.file);
  Finish("COPY " + std::to_string(rows), rows);
}

void SessionStatements::Do(const SqlSet& set) {
  const std::string name = BaseStringUtil::StringToUtf8(KnownSwitch(set.name));
  AtName({{}, set.valuePosition}, [&] { session_.Set(name, set.value); });
  Finish("SET");
}

void SessionStatements::Do(const SqlReset& reset) {
  if (!reset.name) {
    session_.settings_ = session_.firstSettings_;
    return Finish("RESET");
  }
  const std::string name = BaseStringUtil::StringToUtf8(KnownSwitch(*reset.name));
  session_.Set(name, session_.firstSettings_->GetSwitches().Get(name));
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
