#include "ProgramCases.h"

#include <cerrno>
#include <utility>
#include <variant>

#include "Engine/DistributedPlan.h"
#include "server/Query/Execution/Front/ArrowLines.h"

namespace sqxer::faults {
namespace {

using engine::Result;
using engine::Session;
using test::LinesOf;
template <class Data>
using Owned = test::OwnedArrow<Data>;

std::string Joined(Result result) {
  std::string text;
  for (const std::string& line : LinesOf(std::move(result))) text += line + "\n";
  return text;
}

const std::string kRows = "SELECT id, k, v, w, s, d, ts FROM t WHERE id < 60";

void Open(Session& session, const std::string& sql, Owned<ArrowArrayStream>& out) {
  std::move(session.Query(sql)).Export(&out.data);
}

std::string TakeArrow(Session& session) {
  Owned<ArrowArrayStream> rows;
  Open(session, kRows, rows);
  session.AddArrow("taken", &rows.data);
  return Joined(session.Query("SELECT k, SUM(v), MAX(s) FROM taken GROUP BY k ORDER BY k"));
}

std::string ReadSource(Session& session) {
  Owned<ArrowSchema> schema;
  session.Query(kRows).WriteSchema(&schema.data);
  Session other;
  session.AddSource("source", schema.data,
                    [&](const engine::SourceRequest& request, ArrowArrayStream* out) {
                      Owned<ArrowArrayStream> rows;
                      std::string names;
                      for (const std::string& name : request.columns)
                        names += (names.empty() ? "" : ", ") + name;
                      Open(other, "SELECT " + names + " FROM t", rows);
                      *out = std::exchange(rows.data, {});
                    });
  return Joined(session.Query("SELECT k, COUNT(*) FROM source WHERE v > 20 GROUP BY k ORDER BY k"));
}

std::string Stream(Session& session) {
  return Joined(session.Stream("SELECT a.id, b.v FROM t AS a, t AS b WHERE a.v > b.v"));
}

std::string EvaluateRows(Session& session) {
  Owned<ArrowSchema> schema;
  session.Query(kRows).WriteSchema(&schema.data);
  engine::Evaluator evaluator = session.Compile(
      "CASE WHEN v > 20 THEN UPPER(s) || k ELSE CAST(id * 2 AS varchar(9)) END", schema.data);
  Owned<ArrowArrayStream> rows;
  Open(session, kRows, rows);
  std::string text = Joined(evaluator.Evaluate(&rows.data));
  for (const char* const value : {"abc", "a longer text than before", "\u00e5"}) {
    // One by one: built by g++ 12, a list in braces ended the process when a member had no memory.
    std::vector<engine::Value> row;
    row.emplace_back(std::int64_t{3});
    row.emplace_back("k");
    row.emplace_back(std::int64_t{50});
    row.emplace_back(0.5);
    for (const char* const word : {value, "2024-02-03", "2024-02-03 04:05:06"}) {
      row.emplace_back(word);
    }
    const engine::Value result = evaluator.EvaluateRow(row);
    text += std::get<std::string>(result) + "\n";
  }
  return text;
}

/// A stream of one array.
struct OneArray {
  Owned<ArrowSchema> schema;
  Owned<ArrowArray> array;

  static int GetSchema(ArrowArrayStream* stream, ArrowSchema* out) {
    *out = std::exchange(static_cast<OneArray*>(stream->private_data)->schema.data, {});
    return 0;
  }
  static int GetNext(ArrowArrayStream* stream, ArrowArray* out) {
    *out = std::exchange(static_cast<OneArray*>(stream->private_data)->array.data, {});
    return 0;
  }
  static const char* GetError(ArrowArrayStream*) { return nullptr; }
  static void Release(ArrowArrayStream* stream) {
    delete static_cast<OneArray*>(stream->private_data);
    stream->release = nullptr;
  }
};

std::string CallFunction(Session& session) {
  session.AddFunction(
      {.name = "same", .arguments = std::vector<std::string>{"int4"}, .result = "int4"},
      [](ArrowSchema* schema, ArrowArray* rows, ArrowArrayStream* out) {
        auto* const one = new OneArray;
        one->schema.data = std::exchange(*schema, {});
        one->array.data = std::exchange(*rows, {});
        *out = {&OneArray::GetSchema, &OneArray::GetNext, &OneArray::GetError, &OneArray::Release,
                one};
      });
  return WriteAll(session, "SELECT id, same(v) + 1 FROM t WHERE same(id) < 50");
}

std::string Distribute(Session& session) {
  Owned<ArrowSchema> schema;
  session.Query(kRows).WriteSchema(&schema.data);
  engine::DistributedPlan plan("SELECT k, COUNT(*), SUM(v), MAX(s) FROM t GROUP BY k", schema.data);
  const auto run = [](auto&& step, Owned<ArrowArrayStream>& rows) { return step(&rows.data); };
  Owned<ArrowArrayStream> rows, states, combined;
  Open(session, kRows, rows);
  std::move(run([&](ArrowArrayStream* in) { return plan.Partial(in); }, rows)).Export(&states.data);
  std::move(run([&](ArrowArrayStream* in) { return plan.Combine(in); }, states))
      .Export(&combined.data);
  return Joined(plan.Finish(&combined.data));
}

/// All that a session does first.
std::string BeginAnew(Session&) {
  Session fresh;
  fresh.SetThreads(2);
  fresh.SetFileOptions({.delimiter = ',', .encoding = "latin1", .nullText = "none"});
  fresh.Set("Locale", "de_DE");
  fresh.AddFile("again", "t.csv");
  fresh.SetTypes("again", "id:numeric,s:varchar(40)");
  std::string text = WriteAll(fresh, "SELECT id, s FROM again WHERE id < 20 ORDER BY s");
  for (const engine::Statement& one : engine::SplitStatements("SELECT 1; SELECT ';' /* ; */;")) {
    text += one.sql + "\n" + WriteAll(fresh, one.sql);
  }
  fresh.RemoveTable("again");
  return text + fresh.Get("Locale") + engine::DescribeSql("median");
}

std::string Untrusted(Session&) {
  Session fresh;
  fresh.SetUntrusted();
  return WriteAll(fresh, "SELECT COUNT(*) FROM t");
}

}  // namespace

void AddProgramCases(std::vector<Case>& cases) {
  const auto add = [&](const char* name, std::string (*act)(Session&)) {
    cases.push_back({.name = name, .act = act});
  };
  add("arrow_in_and_out", &TakeArrow);
  add("arrow_source", &ReadSource);
  add("stream", &Stream);
  add("evaluator", &EvaluateRows);
  add("called_function", &CallFunction);
  add("distributed_plan", &Distribute);
  add("new_session", &BeginAnew);
  cases.back().opensLocale = true;
  add("untrusted", &Untrusted);
}

}  // namespace sqxer::faults
