// What EXPLAIN and EXPLAIN ANALYZE say.

#include <algorithm>
#include <cstring>

#include "PlanLines.h"
#include "RelationRun.h"
#include "RunProfile.h"
#include "Session.h"
#include "WorkRecord.h"

namespace sqxer {

void SendLines(const std::vector<XeString>& lines, ResultSink& sink) {
  if (sink.Plan(lines)) return;
  ColumnInfo column{L"plan", XeVarCharData, 1, 0, false};
  for (const XeString& line : lines) {
    column.length = std::max(column.length, static_cast<uint32>(line.size()));
  }
  WorkRecord record({column});
  uint8* const value = record.GetData() + record.GetField(0).GetDataOffset();
  sink.Begin({column}, record.GetLayout());
  for (const XeString& line : lines) {
    const uint32 length = static_cast<uint32>(line.size());
    std::memcpy(value, &length, sizeof length);
    std::memcpy(value + kLongVarPrefix, line.data(), length * sizeof(wchar_t));
    sink.Row(record.GetData());
  }
  sink.End();
}

std::vector<XeString> Session::Describe(const std::string& sql, const SqlQuery& query) {
  if (NeedsRun(query)) return RelationRun(*this, sql, statement_).Describe(query);
  SqlSelect select = query.select;
  select.explain = true;
  PlanLines lines;
  RunSelect(sql, select, nullptr, lines, 1);
  return std::move(lines.lines);
}

void Session::Analyze(const std::string& sql, const SqlStatement& statement, ResultSink& sink) {
  RunProfile profile(statement.nodes);
  std::vector<XeString> lines = Describe(sql, *statement.query);
  for (XeString& line : profile.Describe()) lines.push_back(std::move(line));
  SendLines(lines, sink);
}

}  // namespace sqxer
