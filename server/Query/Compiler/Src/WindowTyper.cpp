// How ExpressionTyper reads OVER.

#include <algorithm>
#include <limits>
#include <map>

#include "ExpressionTyper.h"
#include "NearNames.h"
#include "NodeProber.h"
#include "PlanError.h"

namespace sqxer {
namespace {

using Bound = WindowFrame::Bound;
using Unit = WindowFrame::Unit;

/// Whether the rows of a frame end at the current one, and are told by their number alone.
bool EndsAtRow(const WindowFrame& frame) {
  return frame.unit == Unit::kRows && frame.to.bound == Bound::kCurrentRow &&
         frame.exclusion == WindowFrame::Exclusion::kNone;
}

/// Whether the frame of each row is the partition.
bool IsPartition(const SqlWindow& window) {
  // Without an order all rows are peers.
  const bool arePeers = window.frame.unit != Unit::kRows && window.orderBy.empty();
  const auto isEnd = [arePeers](const WindowFrame::Limit& limit) {
    return limit.bound == Bound::kPartition || (arePeers && limit.bound == Bound::kCurrentRow);
  };
  return isEnd(window.frame.from) && isEnd(window.frame.to) &&
         window.frame.exclusion == WindowFrame::Exclusion::kNone;
}

bool TakesFrame(const FunctionRow& row, const SqlExpression& call) {
  const WindowFrame& frame = call.over->frame;
  switch (row.windowForm) {
    case WindowForm::kRunning:
      return EndsAtRow(frame) && frame.from.bound == Bound::kPartition && !call.distinct;
    case WindowForm::kMoving:
      return EndsAtRow(frame) && frame.from.bound == Bound::kPreceding && !call.distinct;
    case WindowForm::kRankByArgument:
    case WindowForm::kPartition:
      return !call.over->isFrameWritten;
    default:
      return true;
  }
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
  if (type == XeIntervalData) text = L"00:00:00";
  return MakeTypedConstant(ReadText(text, type, position), position);
}

}  // namespace

void ThrowUnknownFunction(std::string_view name, int position) {
  std::vector<std::string_view> names;
  for (const FunctionRow& row : FunctionTable()) {
    if (row.kind != FunctionRow::Kind::kOperator && row.kind != FunctionRow::Kind::kForm)
      names.push_back(row.name);
  }
  XeString advice;
  for (const std::string_view near : FindNearNames(name, names))
    advice += (advice.empty() ? L": did you mean " : L" or ") + UpperName(near);
  advice = advice.empty() ? XeString(kFunctionsAreListed) : advice + L"?";
  ThrowPlanError(kNoSuchFunction, position, {L"function", Wide(name), advice});
}

const FunctionRow& ExpressionTyper::LookUpFunction(const SqlExpression& call) {
  std::vector<const FunctionRow*> rows = FindFunctions(call.name);
  if (rows.empty()) ThrowUnknownFunction(call.name, call.position);
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
    keepOrRefuse([&](const FunctionRow& row) { return TakesFrame(row, call); }, kNoSuchFrame);
  // Behind the aggregate over any frame stands what computes the very frame that is written.
  return *(call.over ? rows.back() : rows.front());
}

void ExpressionTyper::TypeWindow(const SqlExpression& expression, const Clause& clause,
                                 TypedExpression& aggregate, TypedAggregate& call) const {
  const SqlWindow& window = *expression.over;
  TypedArguments& arguments = aggregate.arguments;
  const WindowForm form = aggregate.function->windowForm;
  const bool takesRowsInOrder = form <= WindowForm::kFramed;
  if (form == WindowForm::kMoving) call.numbers.push_back(WindowSize(*window.fromOffset, 1));
  if (form == WindowForm::kInOrder && !call.numbers.empty())
    call.numbers.back() = WindowSize(*expression.arguments.back(), 0);
  if (!takesRowsInOrder) TypeRank(expression, clause, *aggregate.function, arguments, call.orders);
  const bool isFramed =
      form == WindowForm::kFramed || (form == WindowForm::kGroup && !IsPartition(window));
  // What reads no column of the rows still counts them.
  if (arguments.empty() && form != WindowForm::kGroup && form != WindowForm::kFramed)
    arguments.push_back(MakeTypedConstant({XeInt4Data, int32{1}}, expression.position));
  call.columns = arguments.size();
  const WindowFrame frame = TypeFrame(window, clause, arguments);
  if (isFramed) {
    call.frame = frame;
    call.frameColumns = arguments.size() - call.columns;
  } else {
    arguments.resize(call.columns);
  }

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

WindowFrame ExpressionTyper::TypeFrame(const SqlWindow& window, const Clause& clause,
                                       TypedArguments& columns) const {
  WindowFrame frame = window.frame;
  if (frame.unit == Unit::kGroups && window.orderBy.empty())
    ThrowPlanError(kFrameOrder, window.position, {L"GROUPS", L"an ORDER BY"});
  if (frame.IsRangeOfValues()) {
    TypeRange(window, clause, frame, columns);
    return frame;
  }
  const auto read = [&](const SqlExpressionPtr& offset, WindowFrame::Limit& limit) {
    if (!offset) return;
    const wchar_t* const unit = frame.unit == Unit::kRows ? L"ROWS" : L"GROUPS";
    const std::optional<uint64> count = ReadRowCount(*offset, unit);
    if (!count) ThrowPlanError(kLimitNotConstant, offset->position, {unit});
    limit.offset = *count;
  };
  read(window.fromOffset, frame.from);
  read(window.toOffset, frame.to);
  return frame;
}

TypedExpressionPtr ExpressionTyper::WindowSize(const SqlExpression& rows, uint64 more) const {
  constexpr const wchar_t* kClause = L"the size of a window";
  constexpr auto kMost = static_cast<uint64>(std::numeric_limits<int32>::max());
  const std::optional<uint64> count = ReadRowCount(rows, kClause);
  if (!count) ThrowPlanError(kLimitNotConstant, rows.position, {kClause});
  // The node makes room for the whole window at once.
  const uint64 mostRows = scope_.GetSchema() ? scope_.GetSchema()->mostRows : 0;
  const uint64 most = std::min(mostRows, kMost - 1) + 1;
  return MakeTypedConstant({XeInt4Data, static_cast<int32>(std::min(*count, most - more) + more)},
                           rows.position);
}

}  // namespace sqxer
