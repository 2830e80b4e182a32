#include <algorithm>
#include <limits>
#include <optional>

#include "Compiler.h"
#include "ExpressionTyper.h"
#include "GroupPlan.h"
#include "NodeProber.h"
#include "PlanError.h"
#include "SqlParser.h"
#include "TableReads.h"
#include "TextReason.h"
#include "WideCounts.h"
#include "WindowPlan.h"

namespace sqxer {
namespace {

using Clause = ExpressionTyper::Clause;

constexpr std::size_t kMaxColumns = std::numeric_limits<uint16>::max();

NameScope OpenTable(const SqlSelect& select, Catalog& catalog) {
  if (select.table.empty()) return {};
  try {
    const TableSchema* schema = catalog.FindTable(select.table, FindTableReads(select));
    if (!schema) ThrowPlanError(kNoSuchTable, select.tablePosition, {select.table});
    return NameScope(*schema, select);
  } catch (ErrorMessage& error) {
    error.SetSourcePosition(select.tablePosition);
    throw;
  }
}

/// An integer literal as a position in the select list.
std::optional<int> AsPosition(const SqlExpression& expression, const wchar_t* clause) {
  if (expression.kind != SqlExpression::Kind::kLiteral) return {};
  PlanConstant constant = ReadLiteral(expression.literal, expression.position);
  if (auto* position = std::get_if<int32>(&constant.value)) return *position;
  ThrowPlanError(kConstantKey, expression.position, {clause});
}

QueryParameters WithMoment(QueryParameters parameters) {
  if (!parameters.moment) parameters.moment = ReadClock();
  return parameters;
}

/// Plans one SELECT, clause by clause.
class Planner {
 public:
  Planner(const std::string& sql, const SqlSelect& select, Catalog& catalog,
          const QueryParameters& parameters)
      : sql_(sql),
        select_(select),
        scope_(OpenTable(select, catalog)),
        catalog_(catalog),
        json_(select, scope_, catalog),
        parameters_(WithMoment(parameters)),
        typer_(scope_, catalog, parameters_, &json_) {}

  QueryPlan Plan() {
    for (const SqlSelectItem& item : select_.items) AddItem(item);
    plan_.visibleOutputs = static_cast<int>(outputs_.size());
    TypedExpressionPtr where = TypeCondition(select_.where, {L"WHERE"});
    std::vector<std::size_t> places;
    TypedArguments keys = TypeGroupKeys(places);
    TypedExpressionPtr having = TypeCondition(select_.having, {L"HAVING", true, &outputs_});
    AddSortKeys();
    // Errors in windows that no call uses are errors.
    for (const SqlExpressionPtr& key : select_.windowKeys) typer_.Type(*key, {L"a window", true});

    plan_.explain = select_.explain;
    plan_.table = select_.table;
    plan_.tablePosition = select_.tablePosition;
    plan_.documents = json_.GetDocuments();
    plan_.distinct = select_.distinct;
    plan_.grouped = !select_.groupBy.empty() || select_.hasGroupingSets || having ||
                    std::any_of(outputs_.begin(), outputs_.end(), [](const TypedOutput& output) {
                      return ContainsAggregate(*output.expression);
                    });
    std::vector<bool> areCounts;
    for (const TypedOutput& output : outputs_) areCounts.push_back(IsWideCount(*output.expression));
    if (plan_.grouped) {
      std::vector<std::vector<bool>> sets = FindGroupingSets(places, keys.size());
      PlanGroups(GroupPlan(sql_, std::move(keys), std::move(sets)), having);
    }
    if (outputs_.size() > kMaxColumns)
      ThrowPlanError(kTooComplex, 0, {std::to_wstring(kMaxColumns)});

    if (where) plan_.filter = Build(where);
    PlanWindows();
    for (std::size_t i = 0; i < outputs_.size(); ++i) {
      const TypedOutput& output = outputs_[i];
      plan_.outputs.push_back(BuildResult(WithoutWidening(output.expression), output.name));
      ColumnInfo& result = plan_.outputs.back().result;
      if (areCounts[i] && result.type == XeUInt4Data) result.isBigint = true;
    }
    if (select_.limit) plan_.limit = typer_.ReadRowCount(*select_.limit, L"LIMIT");
    if (select_.offset) plan_.offset = typer_.ReadRowCount(*select_.offset, L"OFFSET").value_or(0);
    if (plan_.explain) NoteTexts();
    return std::move(plan_);
  }

 private:
  void AddItem(const SqlSelectItem& item) {
    const SqlExpression& expression = *item.expression;
    const Clause clause{L"the select list", true, nullptr, true};
    if (expression.kind == SqlExpression::Kind::kStar) return AddAllColumns(expression);
    XeString name = item.alias.empty() ? NameOf(expression) : item.alias;
    const std::vector<TypedOutput> several = typer_.TypeSeveralResults(expression, clause);
    for (const TypedOutput& result : several)
      outputs_.push_back({name + result.name, result.expression});
    if (!several.empty()) return;
    TypedExpressionPtr typed = typer_.Type(expression, clause);
    if (typed->IsOpenNull()) typed = ConvertTyped(typed, XeLongVarCharData);
    outputs_.push_back({std::move(name), std::move(typed)});
  }

  void AddAllColumns(const SqlExpression& star) {
    const TableSchema* schema = scope_.GetSchema();
    if (!schema) ThrowPlanError(kStarWithoutTable, star.position, {});
    for (const int column : scope_.ExpandStar(star))
      outputs_.push_back({schema->columns[static_cast<std::size_t>(column)].name,
                          typer_.TypeColumn(column, star.position)});
  }

  /// What a column is called without AS.
  XeString NameOf(const SqlExpression& expression) const {
    if (expression.kind == SqlExpression::Kind::kFunction) return Wide(expression.name);
    if (expression.kind == SqlExpression::Kind::kOperator) {
      if (expression.name == "cast") return NameOf(*expression.arguments[0]);
      if (expression.name.starts_with("case")) return L"case";
    }
    if (expression.kind != SqlExpression::Kind::kName) return L"?column?";
    int column = scope_.FindColumn(expression);
    return column < 0 ? expression.path.back()
                      : scope_.GetSchema()->columns[static_cast<std::size_t>(column)].name;
  }

  TypedExpressionPtr TypeCondition(const SqlExpressionPtr& condition, const Clause& clause) const {
    if (!condition) return nullptr;
    return AsCondition(typer_.Type(*condition, clause), clause.name);
  }

  /// The select item that a position names.
  const TypedOutput& OutputAt(int position, const SqlExpression& written,
                              const wchar_t* clause) const {
    if (position < 1 || position > plan_.visibleOutputs)
      ThrowPlanError(kPositionNotInSelectList, written.position,
                     {clause, std::to_wstring(position)});
    return outputs_[static_cast<std::size_t>(position - 1)];
  }

  /// Equal ones are one: `places` says which one each that is written is.
  TypedArguments TypeGroupKeys(std::vector<std::size_t>& places) const {
    TypedArguments keys;
    for (const SqlExpressionPtr& written : select_.groupBy) {
      TypedExpressionPtr key;
      if (std::optional<int> position = AsPosition(*written, L"GROUP BY")) {
        key = OutputAt(*position, *written, L"GROUP BY").expression;
        if (ContainsWindow(*key))
          ThrowPlanError(kWindowNotAllowed, written->position,
                         {L"GROUP BY", std::to_wstring(*position)});
        if (ContainsAggregate(*key))
          ThrowPlanError(kAggregateNotAllowed, written->position,
                         {L"GROUP BY", std::to_wstring(*position)});
      } else {
        key = typer_.Type(*written, {L"GROUP BY", false, &outputs_});
      }
      const auto known = std::ranges::find_if(
          keys, [&](const auto& other) { return IsSameExpression(*other, *key); });
      places.push_back(static_cast<std::size_t>(known - keys.begin()));
      if (known == keys.end()) keys.push_back(std::move(key));
    }
    return keys;
  }

  /// Which keys each grouping set has. None for the one set of no keys, which is what there is
  /// without GROUP BY.
  std::vector<std::vector<bool>> FindGroupingSets(const std::vector<std::size_t>& places,
                                                  std::size_t keys) const {
    std::vector<std::vector<bool>> sets;
    for (const SqlGroupingSet& written : select_.groupingSets) {
      std::vector<bool> set(keys);
      for (const std::size_t key : written) set[places[key]] = true;
      if (select_.distinctSets && std::ranges::find(sets, set) != sets.end()) continue;
      sets.push_back(std::move(set));
    }
    if (sets.size() == 1 && keys == 0) sets.clear();
    return sets;
  }

  /// The result columns that DISTINCT ON names.
  std::vector<int> FindDistinctColumns(const std::vector<TypedOutput>& visible) {
    std::vector<int> columns;
    for (const SqlExpressionPtr& written : select_.distinctOn) {
      const std::optional<int> position = AsPosition(*written, L"DISTINCT ON");
      if (position) OutputAt(*position, *written, L"DISTINCT ON");
      const int column = position ? *position - 1 : FindSortOutput(*written, visible);
      if (std::ranges::find(columns, column) == columns.end()) columns.push_back(column);
    }
    return columns;
  }

  /// Puts the keys of DISTINCT ON in front of those of ORDER BY, where they are not there already.
  void AddDistinctKeys(const std::vector<TypedOutput>& visible) {
    const std::vector<int> columns = FindDistinctColumns(visible);
    plan_.distinctKeys = columns.size();
    std::vector<PlanSortKey> order;
    std::vector<PlanSortKey> behind;
    bool isOther = false;
    for (const PlanSortKey& key : plan_.order) {
      const bool isDistinct = std::ranges::find(columns, key.column) != columns.end();
      const bool isKnown =
          std::ranges::find(order, key.column, &PlanSortKey::column) != order.end();
      if (isDistinct && isOther && !isKnown)
        ThrowPlanError(kDistinctOn, select_.distinctOn[0]->position, {});
      isOther = isOther || !isDistinct;
      if (isKnown) continue;
      (isDistinct ? order : behind).push_back(key);
    }
    const std::size_t written = order.size();
    for (const int column : columns) {
      if (std::ranges::find(order, column, &PlanSortKey::column) != order.end()) continue;
      order.push_back({column});
    }
    if (written < columns.size() && !behind.empty())
      ThrowPlanError(kDistinctOn, select_.distinctOn[0]->position, {});
    order.insert(order.end(), behind.begin(), behind.end());
    plan_.order = std::move(order);
  }

  void AddSortKeys() {
    const std::vector<TypedOutput> visible = outputs_;
    for (const SqlSortItem& item : select_.orderBy) {
      PlanSortKey key;
      key.order = item.order;
      key.nulls = item.nulls;
      if (std::optional<int> position = AsPosition(*item.expression, L"ORDER BY")) {
        OutputAt(*position, *item.expression, L"ORDER BY");
        key.column = *position - 1;
      } else {
        key.column = FindSortOutput(*item.expression, visible);
      }
      plan_.order.push_back(key);
    }
    if (!select_.distinctOn.empty()) AddDistinctKeys(visible);
  }

  /// The result column to sort by; a new one, not visible, when none holds the expression.
  int FindSortOutput(const SqlExpression& written, const std::vector<TypedOutput>& visible) {
    TypedExpressionPtr key;
    if (written.kind == SqlExpression::Kind::kName && written.path.size() == 1) {
      // A name means a result column before it means one of the table.
      std::vector<NamedThing> names;
      for (std::size_t i = 0; i < visible.size(); ++i)
        names.push_back({visible[i].name, static_cast<int>(i)});
      std::vector<int> found = FindByName(names, written.path[0]);
      if (!found.empty()) {
        key = visible[static_cast<std::size_t>(found[0])].expression;
        for (int index : found)
          if (!IsSameExpression(*key, *visible[static_cast<std::size_t>(index)].expression))
            ThrowPlanError(kAmbiguousName, written.position,
                           {written.path[0], L"several result columns"});
      }
    }
    if (!key) key = typer_.Type(written, {L"ORDER BY", true, &visible, true});
    for (std::size_t i = 0; i < outputs_.size(); ++i)
      if (IsSameExpression(*outputs_[i].expression, *key)) return static_cast<int>(i);
    if (select_.distinct) ThrowPlanError(kOrderNotSelected, written.position, {});
    outputs_.push_back({L"", key});
    return static_cast<int>(outputs_.size()) - 1;
  }

  void PlanGroups(GroupPlan groups, const TypedExpressionPtr& having) {
    for (const TypedOutput& output : outputs_) groups.NoteGroupings(*output.expression);
    if (having) groups.NoteGroupings(*having);
    for (TypedOutput& output : outputs_) output.expression = groups.OverGroups(output.expression);
    TypedExpressionPtr condition = having ? groups.OverGroups(having) : nullptr;
    for (std::size_t i = 0; i < groups.GetKeys().size(); ++i) {
      PlanExpression key = BuildResult(WithoutWidening(groups.GetKeys()[i]), groups.NameOfKey(i));
      key.result.nullable = key.result.nullable || !groups.IsInAllSets(i);
      plan_.groupKeys.push_back(std::move(key));
    }
    for (const TypedExpressionPtr& input : groups.GetInputs())
      plan_.aggregateInputs.push_back(BuildResult(input, XeRecordMetaData::exprFieldName_));
    plan_.aggregates = groups.MakeAggregates();
    plan_.groupings = groups.GetGroupings();
    plan_.groupingSets = groups.MakeSets();
    if (condition) plan_.having = Build(condition);
  }

  void PlanWindows() {
    WindowPlan windows(sql_);
    for (const TypedOutput& output : outputs_) windows.Note(output.expression);
    if (windows.IsEmpty()) return;
    // The windows' results stand behind all columns of the record.
    for (const TypedOutput& output : outputs_) NoteColumns(*output.expression);
    std::size_t fields =
        plan_.grouped ? plan_.groupKeys.size() + plan_.groupings.size() : plan_.scanRecord.size();
    for (const PlanAggregate& aggregate : plan_.aggregates) fields += aggregate.results.size();
    for (TypedOutput& output : outputs_)
      output.expression = windows.OverWindows(output.expression, static_cast<int>(fields));
    plan_.windows = windows.MakeWindows([&](const TypedExpressionPtr& input) {
      return BuildResult(input, XeRecordMetaData::exprFieldName_);
    });
    for (const PlanWindow& window : plan_.windows)
      for (const PlanAggregate& function : window.functions)
        plan_.windowResults.insert(plan_.windowResults.end(), function.results.begin(),
                                   function.results.end());
  }

  void NoteTexts() {
    for (const uint16 column : plan_.scanColumns) {
      XeString reason = ExplainText(catalog_, scope_, column);
      if (!reason.empty()) plan_.scanNotes.push_back(std::move(reason));
    }
  }

  /// Columns enter the scan record when the first tree that reads them is built.
  void NoteColumns(const TypedExpression& expression) {
    if (expression.kind == TypedExpression::Kind::kColumn) {
      std::size_t column = static_cast<std::size_t>(expression.index);
      if (columnPositions_.size() <= column) columnPositions_.resize(column + 1, -1);
      if (columnPositions_[column] < 0) {
        columnPositions_[column] = static_cast<int>(plan_.scanColumns.size());
        plan_.scanColumns.push_back(static_cast<uint16>(column));
        plan_.scanRecord.push_back(expression.column);
      }
    }
    for (const TypedExpressionPtr& argument : expression.arguments) NoteColumns(*argument);
  }

  std::unique_ptr<RExpression> Build(const TypedExpressionPtr& expression) {
    NoteColumns(*expression);
    return BuildTree(*expression, columnPositions_);
  }

  PlanExpression BuildResult(const TypedExpressionPtr& expression, const XeString& name) {
    return {Build(expression), ResultOfTree(*expression, name), expression->position};
  }

  const std::string& sql_;
  const SqlSelect& select_;
  NameScope scope_;
  Catalog& catalog_;
  JsonColumns json_;
  const QueryParameters parameters_;
  ExpressionTyper typer_;
  QueryPlan plan_;
  std::vector<TypedOutput> outputs_;
  std::vector<int> columnPositions_;
};

}  // namespace

QueryPlan CompileStatement(const std::string& sql, Catalog& catalog,
                           const QueryParameters& parameters) {
  return CompileSelect(sql, ParseSelect(sql), catalog, parameters);
}

QueryPlan CompileSelect(const std::string& sql, const SqlSelect& select, Catalog& catalog,
                        const QueryParameters& parameters) {
  return Planner(sql, select, catalog, parameters).Plan();
}

}  // namespace sqxer
