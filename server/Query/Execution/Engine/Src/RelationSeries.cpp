// How RelationRun makes the rows of GENERATE_SERIES.

#include <algorithm>

#include "ColumnGather.h"
#include "NumberColumn.h"
#include "PlanError.h"
#include "RelationSource.h"
#include "RelationValues.h"
#include "SQXEROpsInterval.h"
#include "Session.h"
#include "SqlNames.h"
#include "TableSink.h"
#include "Utility/Cancellation.h"

namespace sqxer {
namespace {

/// The most rows of a series.
constexpr uint64 kMostSeries = uint64{1} << 28;

[[noreturn]] void RefuseSeries(const SqlRelation& relation) {
  ThrowPlanError(kSeries, relation.position, {std::to_wstring(kMostSeries)});
}

bool IsMoment(XeDataType type) { return type == XeDateData || type == XeDateTimeData; }

/// Adds `count` values, at(0) and so on, to the table's one column.
template <class T, class At>
void AddValues(Table& table, ColumnForm form, uint64 count, const At& at) {
  for (uint64 done = 0; done < count; done += kMostGatheredRows) {
    Cancellation::Check();
    TableChunk& chunk = table.chunks.emplace_back();
    chunk.rows = std::min(kMostGatheredRows, count - done);
    std::vector<T> values(chunk.rows);
    for (uint64 i = 0; i < chunk.rows; ++i) values[i] = static_cast<T>(at(done + i));
    chunk.columns.push_back(MakeColumn<T>(values, form));
  }
  table.rowCount = count;
}

/// From one whole number to another.
void AddNumbers(Table& table, const std::vector<PlanConstant>& given, const SqlRelation& relation) {
  int64 bounds[3] = {0, 0, 1};
  bool isNull = false;
  bool isInteger = true;
  for (std::size_t i = 0; i < given.size(); ++i) {
    isNull = isNull || given[i].IsNull();
    isInteger = isInteger && given[i].type != XeNumericData;
    if (const auto* const small = std::get_if<int32>(&given[i].value)) {
      bounds[i] = *small;
    } else if (const auto* const number = std::get_if<VelmarNumber>(&given[i].value)) {
      if (!number->TryScaled(0, bounds[i])) RefuseSeries(relation);
    } else if (!given[i].IsNull()) {
      RefuseSeries(relation);
    }
  }
  const auto [first, last, step] = bounds;
  if (step == 0) RefuseSeries(relation);
  ColumnInfo& column = table.schema.columns[0];
  column.type = isInteger ? XeInt4Data : XeNumericData;
  column.length = isInteger ? sizeof(int32) : sizeof(VelmarNumber);
  const int128 span = int128{last} - first;
  const bool isEmpty = isNull || (step > 0 ? span < 0 : span > 0);
  const int128 steps = isEmpty ? -1 : span / step;
  if (steps + 1 > int128{kMostSeries}) RefuseSeries(relation);
  const auto at = [first, step](uint64 i) { return static_cast<int64>(first + int128{step} * i); };
  const auto count = static_cast<uint64>(steps + 1);
  if (isInteger) {
    AddValues<int32>(table, ColumnForm::kInt32, count, at);
  } else {
    AddValues<int64>(table, ColumnForm::kDecimal64, count, at);
  }
}

XeDateTime ReadMoment(const PlanConstant& value) {
  const auto* const day = std::get_if<XeDate>(&value.value);
  return day != nullptr ? XeDateTime(*day) : std::get<XeDateTime>(value.value);
}

/// From one moment to another: each is a step behind the one before, so that a day which a month
/// has not, and which therefore became its last one, stays where it is.
void AddMoments(Table& table, const std::vector<PlanConstant>& given, const SqlRelation& relation) {
  ColumnInfo& column = table.schema.columns[0];
  column.type = XeDateTimeData;
  column.length = sizeof(XeDateTime);
  const auto* const step = std::get_if<XeInterval>(&given[2].value);
  if (step != nullptr && step->GetSpan() == 0) RefuseSeries(relation);
  if (std::ranges::any_of(given, &PlanConstant::IsNull)) return;
  const XeDateTime last = ReadMoment(given[1]);
  std::vector<XeDateTime, ScatteredAllocator<XeDateTime>> moments;
  for (XeDateTime next = ReadMoment(given[0]); step->GetSpan() > 0 ? next <= last : next >= last;) {
    if (moments.size() == kMostSeries) RefuseSeries(relation);
    if (moments.size() % kMostGatheredRows == 0) Cancellation::Check();
    moments.push_back(next);
    try {
      next = AddIntervalOp::Apply(next, *step);
    } catch (const ErrorMessage&) {
      // What is beyond the calendar is beyond the last one.
      break;
    }
  }
  // Parts of a microsecond, where the first one has some, are those of all.
  int64 microseconds;
  if (!moments.empty() && TryTimeStamp64(moments[0], microseconds)) {
    AddValues<int64>(table, ColumnForm::kTimeStamp64, moments.size(), [&](uint64 i) {
      TryTimeStamp64(moments[i], microseconds);
      return microseconds;
    });
  } else {
    AddValues<XeDateTime>(table, ColumnForm::kDateTime, moments.size(),
                          [&](uint64 i) { return moments[i]; });
  }
}

}  // namespace

TableRef RelationRun::MakeSeries(const SqlRelation& relation) {
  if (relation.arguments.size() < 2 || relation.arguments.size() > 3) RefuseSeries(relation);
  SqlSelect select;
  for (const SqlExpressionPtr& argument : relation.arguments)
    select.items.push_back({Replace(argument), {}, argument->position});
  if (isDry_) select.where = MakeSqlFalse();
  TableSink sink;
  session_.RunSelect(sql_, select, this, sink, 1);
  const Table& row = sink.GetTable();
  const auto typeOf = [&](std::size_t i) { return row.schema.columns[i].type; };
  std::vector<PlanConstant> given;
  for (std::size_t i = 0; i < relation.arguments.size(); ++i)
    given.push_back(row.rowCount == 0 ? PlanConstant{typeOf(i), {}} : ReadValues(row, i)[0]);
  const BudgetScope use(MemoryUse::kInnerRows);
  auto table = std::make_shared<Table>();
  const XeString name = relation.alias.empty() ? relation.table : relation.alias;
  table->schema.columns.push_back({name, XeUnknown, 0, 0, false});
  bool isOfMoments = false;
  for (std::size_t i = 0; i < given.size(); ++i)
    isOfMoments = isOfMoments || IsMoment(typeOf(i)) || typeOf(i) == XeIntervalData;
  if (isOfMoments) {
    // The word NULL is of any type.
    const auto takes = [&](std::size_t i, bool isType) { return isType || given[i].IsNull(); };
    const bool areTaken = given.size() == 3 && takes(0, IsMoment(typeOf(0))) &&
                          takes(1, IsMoment(typeOf(1))) && takes(2, typeOf(2) == XeIntervalData);
    if (!areTaken) RefuseSeries(relation);
    AddMoments(*table, given, relation);
  } else {
    AddNumbers(*table, given, relation);
  }
  return WithNames(*table, name, {name}, relation.columns, relation.position);
}

}  // namespace sqxer
