// How ExpressionTyper reads OVER.

#include <algorithm>
#include <limits>
#include <map>

#include "ExpressionTyper.h"
#include "PlanError.h"

namespace sqxer {
namespace {

using Frame = SqlWindow::Frame;

bool TakesFrame(const FunctionRow& row, const SqlWindow& window) {
  switch (row.windowForm) {
    case WindowForm::kGroup:
      return window.frame == Frame::kWhole ||
             (window.frame == Frame::kNone && window.orderBy.empty());
    case WindowForm::kRunning:
      return window.frame == Frame::kRunning;
    case WindowForm::kMoving:
      return window.frame == Frame::kMoving;
    default:
      return window.frame == Frame::kNone;
  }
}

/// The functions that have a form of windows.
XeString NamesOf(WindowForm form) {
  XeString names;
  std::string_view last;
  for (const FunctionRow& row : FunctionTable()) {
    if (row.kind != FunctionRow::Kind::kWindow || row.windowForm != form || row.name == last)
      continue;
    names += (names.empty() ? L"" : L", ") + UpperName(row.name);
    last = row.name;
  }
  return names;
}

/// How many arguments functions take, such as "2 or 3 arguments" or "1 argument or *".
XeString CountsOf(const std::vector<const FunctionRow*>& rows) {
  std::map<int, XeString> counts;
  bool hasStar = false;
  for (const FunctionRow* row : rows) {
    const int count = std::abs(row->argumentCount);
    if (row->TakesStar()) {
      hasStar = true;
    } else {
      counts[count] = std::to_wstring(count) + (row->argumentCount < 0 ? L" or more" : L"");
    }
  }
  if (counts.size() == 1 && counts.contains(0)) counts[0] = L"no";
  XeString text;
  for (const auto& [count, number] : counts) text += (text.empty() ? L"" : L" or ") + number;
  if (!counts.empty()) text += counts.rbegin()->second == L"1" ? L" argument" : L" arguments";
  if (hasStar) text += counts.empty() ? L"*" : L" or *";
  return text;
}

/// Any value of a type, as a constant for what is NULL.
TypedExpressionPtr AnyValue(XeDataType type, int position) {
  // As a literal, so that a fixed text stays one beside it.
  if (SUXeDataTypeUtility::IsXeTextType(type))
    return MakeTypedConstant({.type = XeLongVarCharData, .value = XeString(), .isLiteral = true},
                             position);
  const wchar_t* text = L"0";
  if (type == XeBoolean) text = L"false";
  if (type == XeDateData) text = L"2000-01-01";
  if (type == XeTimeData) text = L"00:00:00";
  if (type == XeDateTimeData) text = L"2000-01-01 00:00:00";
  return MakeTypedConstant(ReadText(text, type, position), position);
}

}  // namespace

const FunctionRow& ExpressionTyper::LookUpFunction(const SqlExpression& call) {
  std::vector<const FunctionRow*> rows = FindFunctions(call.name);
  if (rows.empty()) ThrowPlanError(kNoSuchFunction, call.position, {L"function", Wide(call.name)});
  const XeString name = UpperName(call.name);
  const auto keepOrRefuse = [&](const auto& fits, PlanErrorCode code, const auto&... details) {
    std::erase_if(rows, [&](const FunctionRow* row) { return !fits(*row); });
    if (rows.empty()) ThrowPlanError(code, call.position, {name, details...});
  };
  if (call.over) {
    keepOrRefuse([](const FunctionRow& row) { return row.aggregate != nullptr; }, kNoWindowForm);
  } else {
    keepOrRefuse([](const FunctionRow& row) { return row.kind != FunctionRow::Kind::kWindow; },
                 kNeedsOver);
  }
  const auto count = static_cast<int>(call.arguments.size());
  keepOrRefuse([&](const FunctionRow& row) { return row.Takes(count, call.star); }, kArgumentCount,
               CountsOf(rows), call.star ? XeString(L"*") : std::to_wstring(count));
  if (call.over)
    keepOrRefuse([&](const FunctionRow& row) { return TakesFrame(row, *call.over); }, kNoSuchFrame,
                 NamesOf(WindowForm::kRunning), NamesOf(WindowForm::kMoving));
  return *rows.front();
}

void ExpressionTyper::TypeWindow(const SqlExpression& expression, const Clause& clause,
                                 TypedExpression& aggregate, TypedAggregate& call) const {
  const SqlWindow& window = *expression.over;
  TypedArguments& arguments = aggregate.arguments;
  const WindowForm form = aggregate.function->windowForm;
  const bool takesRowsInOrder =
      form == WindowForm::kGroup || form == WindowForm::kRunning || form == WindowForm::kMoving;
  if (form == WindowForm::kMoving) call.numbers.push_back(WindowSize(*window.preceding));
  if (!takesRowsInOrder) TypeRank(expression, clause, *aggregate.function, arguments, call.orders);
  // What reads no column of the rows still counts them.
  if (arguments.empty() && form != WindowForm::kGroup)
    arguments.push_back(MakeTypedConstant({XeInt4Data, int32{1}}, expression.position));
  call.columns = arguments.size();

  for (const SqlExpressionPtr& key : window.partitionBy) arguments.push_back(TypeKey(*key, clause));
  call.partitionKeys = window.partitionBy.size();
  if (!takesRowsInOrder) return;
  for (const SqlSortItem& item : window.orderBy) {
    arguments.push_back(TypeKey(*item.expression, clause));
    call.rowOrders.push_back({item.order, item.nulls});
  }
}

void ExpressionTyper::TypeRank(const SqlExpression& expression, const Clause& clause,
                               const FunctionRow& row, TypedArguments& columns,
                               std::vector<SortOrder_t>& orders) const {
  const std::vector<SqlSortItem>& keys = expression.over->orderBy;
  const auto refuse = [&](const wchar_t* what) {
    ThrowPlanError(kWindowOrder, expression.position, {UpperName(expression.name), what});
  };
  const auto typeKey = [&] {
    return WidenArgument(TypeKey(*keys[0].expression, clause), *row.aggregate);
  };
  switch (row.windowForm) {
    case WindowForm::kRankByKeys:
      return TypeRankKeys(keys, clause, columns, orders);
    case WindowForm::kRankByKey:
      if (keys.size() != 1) refuse(L"an ORDER BY of one key");
      columns.push_back(typeKey());
      break;
    case WindowForm::kRankByArgument:
      if (keys.empty()) break;
      if (keys.size() > 1 || !IsSameExpression(*typeKey(), *columns[0]))
        refuse(L"an ORDER BY of its own argument, or none");
      break;
    default:
      if (!keys.empty()) refuse(L"no ORDER BY");
      return;
  }
  orders.push_back(keys.empty() ? kAscending : keys[0].order);
}

TypedExpressionPtr ExpressionTyper::TypeKey(const SqlExpression& expression,
                                            const Clause& clause) const {
  const TypedExpressionPtr key = Type(expression, clause);
  return key->IsOpenNull() ? ConvertTyped(key, XeInt4Data) : key;
}

// A rank lets all rows with a NULL in any key share the last place. That is right for one key whose
// NULLs come last. Among several, or first, a key that may be NULL becomes two that are not:
// whether it is NULL, then its value, or any value where it is.
void ExpressionTyper::TypeRankKeys(const std::vector<SqlSortItem>& keys, const Clause& clause,
                                   TypedArguments& columns,
                                   std::vector<SortOrder_t>& orders) const {
  const bool takesNulls = keys.size() == 1 && keys[0].nulls == kNullsLast;
  for (const SqlSortItem& item : keys) {
    TypedExpressionPtr key = TypeKey(*item.expression, clause);
    if (key->nullable && !takesNulls) {
      // There are no binary constants.
      RefuseBinary({key}, L"Rank");
      if (key->type == XeBitData) key = ConvertTyped(key, XeInt4Data);
      const int position = key->position;
      columns.push_back(MakeCall(*FindOperator("is null", 1), {key}, position));
      orders.push_back(item.nulls == kNullsLast ? kAscending : kDescending);
      key = MakeCall(*FindFunctions("ifnull").front(), {key, AnyValue(key->type, position)},
                     position);
    }
    columns.push_back(key);
    orders.push_back(item.order);
  }
}

TypedExpressionPtr ExpressionTyper::WindowSize(const SqlExpression& preceding) const {
  constexpr const wchar_t* kClause = L"ROWS n PRECEDING";
  constexpr auto kMost = static_cast<uint64>(std::numeric_limits<int32>::max());
  const std::optional<uint64> rows = ReadRowCount(preceding, kClause);
  if (!rows) ThrowPlanError(kLimitNotConstant, preceding.position, {kClause});
  // The node makes room for the whole window at once.
  const uint64 most = scope_.GetSchema() ? scope_.GetSchema()->mostRows : 0;
  return MakeTypedConstant({XeInt4Data, static_cast<int32>(std::min({*rows, most, kMost - 1}) + 1)},
                           preceding.position);
}

}  // namespace sqxer
