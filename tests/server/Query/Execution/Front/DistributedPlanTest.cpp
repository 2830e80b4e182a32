#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>

#include "ArrowLines.h"
#include "Engine/DistributedPlan.h"

namespace sqxer::test {
namespace {

using engine::DistributedPlan;
using engine::Result;
using engine::ResultOptions;
using engine::Session;
using Kind = DistributedPlan::Kind;
using Lines = std::vector<std::string>;

constexpr int kRows = 700;
constexpr ResultOptions kFixed{.numerics = ResultOptions::Numerics::kDecimal, .fixedScale = 9};

/// An error as a test sees it: code, place, row.
struct Seen {
  int code = 0;
  std::int64_t position = -1;
  std::int64_t row = -1;
  std::string text;
};

template <class Action>
Seen ErrorOf(Action&& action) {
  try {
    action();
  } catch (const engine::Error& error) {
    return {error.GetCode(), error.GetPosition(), error.GetRow(), error.what()};
  }
  return {};
}

class DistributedPlanTest : public testing::Test {
 protected:
  /// A table of every type with NULLs, texts that compare equal and numbers of many digits. Doubles
  /// are quarters, so that their sums do not depend on the order.
  static void SetUpTestSuite() {
    folder_ = std::filesystem::temp_directory_path() /
              ("sqxer_distributed_" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder_);
    std::ofstream csv(folder_ / "t.csv");
    csv << "id,k,n,d,x,day,at,clock,yes,note\n";
    std::mt19937 random(7);
    const auto pick = [&](int most) { return static_cast<int>(random() % most); };
    const auto orNull = [&](const std::string& text) { return pick(9) == 0 ? "" : text; };
    for (int i = 0; i < kRows; ++i) {
      csv << i + 1 << ',' << orNull(std::string(1, static_cast<char>('a' + pick(5)))) << ','
          << orNull(std::to_string(pick(20) - 10)) << ','
          << orNull(std::to_string(pick(1000)) + "." + std::to_string(pick(99999999))) << ','
          << orNull(std::to_string(pick(400) / 4.0)) << ','
          << orNull("2024-0" + std::to_string(1 + pick(9)) + "-17") << ','
          << orNull("2024-01-02 03:04:0" + std::to_string(pick(9)) + ".00000000" +
                    std::to_string(1 + pick(9)))
          << ',' << orNull("1" + std::to_string(pick(9)) + ":30:00") << ','
          << orNull(pick(2) == 0 ? "true" : "false") << ','
          << orNull(std::string(static_cast<std::size_t>(pick(40)) + 1, 'z') + "\xC3\xA9") << '\n';
    }
  }
  static void TearDownTestSuite() { std::filesystem::remove_all(folder_); }

  DistributedPlanTest() {
    session_.AddFile("t", (folder_ / "t.csv").string());
    session_.SetTypes("t", "d:numeric");
  }

  /// Rows of the table, from one on.
  ArrowArrayStream Part(int first, int count) {
    return StreamOf(session_.Query("SELECT * FROM t WHERE id > " + std::to_string(first) +
                                   " AND id <= " + std::to_string(first + count)));
  }
  static ArrowArrayStream StreamOf(Result result) {
    ArrowArrayStream stream;
    std::move(result).Export(&stream);
    return stream;
  }
  DistributedPlan Plan(const std::string& sql, const DistributedPlan::Switches& switches = {},
                       const std::vector<std::string>& parameters = {}) {
    ArrowArrayStream rows = Part(0, 0);
    ArrowSchema schema;
    rows.get_schema(&rows, &schema);
    rows.release(&rows);
    const std::unique_ptr<ArrowSchema, void (*)(ArrowSchema*)> held(
        &schema, [](ArrowSchema* made) { made->release(made); });
    return DistributedPlan(sql, schema, switches, parameters);
  }
  /// All rows of several results of one kind.
  static ArrowArrayStream Gather(std::vector<Result> results) {
    struct Held {
      std::vector<Result> results;
      std::size_t next = 0;
    };
    ArrowArrayStream stream;
    stream.private_data = new Held{std::move(results)};
    stream.get_schema = [](ArrowArrayStream* stream, ArrowSchema* out) {
      static_cast<Held*>(stream->private_data)->results[0].WriteSchema(out);
      return 0;
    };
    stream.get_next = [](ArrowArrayStream* stream, ArrowArray* out) {
      auto& held = *static_cast<Held*>(stream->private_data);
      *out = {};
      while (held.next < held.results.size() && !held.results[held.next].Next(out)) ++held.next;
      return 0;
    };
    stream.get_last_error = [](ArrowArrayStream*) -> const char* { return nullptr; };
    stream.release = [](ArrowArrayStream* stream) {
      delete static_cast<Held*>(stream->private_data);
      stream->release = nullptr;
    };
    return stream;
  }

  /// What the steps give for the table in random parts, combined at random, and finished in several
  /// places where states are told apart.
  Lines RunInParts(DistributedPlan& plan, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<Result> made;
    for (int row = 0; row < kRows;) {
      const int count = static_cast<int>(random() % 4 == 0 ? 0 : random() % 300);
      ArrowArrayStream rows = Part(row, count);
      made.push_back(plan.Partial(&rows, kFixed));
      row += count;
    }
    Lines lines;
    const auto take = [&](Result result) {
      for (std::string& line : LinesOf(std::move(result))) lines.push_back(std::move(line));
    };
    if (plan.GetKind() == Kind::kRows) {
      for (Result& result : made) take(std::move(result));
      return Ordered(plan, std::move(lines));
    }
    while (made.size() > 2 && random() % 4 != 0) {
      std::vector<Result> some;
      for (int i = 0; i < 2; ++i) {
        some.push_back(std::move(made.back()));
        made.pop_back();
      }
      ArrowArrayStream states = Gather(std::move(some));
      made.insert(made.begin(), plan.Combine(&states));
    }
    Session places;
    ArrowArrayStream all = Gather(std::move(made));
    places.AddArrow("states", &all);
    const std::string by = plan.GetExchange();
    for (int place = -2; place <= 2; ++place) {
      if (by.empty() && place != 0) continue;
      const std::string where =
          by.empty() ? "" : " WHERE MOD(\"" + by + "\", 3) = " + std::to_string(place);
      ArrowArrayStream states = StreamOf(places.Query("SELECT * FROM states" + where));
      take(plan.Finish(&states, kFixed));
    }
    return Ordered(plan, std::move(lines));
  }
  /// Sorted, cut and without the column by which that was done; by lines without ORDER BY.
  static Lines Ordered(const DistributedPlan& plan, Lines lines) {
    const DistributedPlan::Order& order = plan.GetOrder();
    const auto keyOf = [&](const std::string& line) {
      return order.column.empty() ? line : line.substr(line.rfind('|') + 1);
    };
    std::ranges::stable_sort(lines, {}, keyOf);
    const std::size_t skipped = std::min<std::size_t>(order.offset, lines.size());
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(skipped));
    if (order.limit && lines.size() > *order.limit) lines.resize(*order.limit);
    if (!order.column.empty()) {
      for (std::string& line : lines) line.resize(line.rfind('|'));
    }
    return lines;
  }

  void ExpectSame(const std::string& sql, Kind kind, bool hasExchange,
                  const DistributedPlan::Switches& switches = {},
                  const std::vector<std::string>& parameters = {}) {
    SCOPED_TRACE(sql);
    DistributedPlan plan = Plan(sql, switches, parameters);
    EXPECT_EQ(static_cast<int>(plan.GetKind()), static_cast<int>(kind));
    EXPECT_EQ(!plan.GetExchange().empty(), hasExchange);
    Session single;
    for (const auto& [name, value] : switches) single.Set(name, value);
    ArrowArrayStream rows = Part(0, kRows);
    single.AddArrow("t", &rows);
    Lines expected = LinesOf(single.Query(sql, parameters, kFixed));
    if (plan.GetOrder().column.empty()) std::ranges::sort(expected);
    for (unsigned seed = 1; seed <= 4; ++seed) EXPECT_EQ(RunInParts(plan, seed), expected);
  }

  static inline std::filesystem::path folder_;
  Session session_;
};

TEST_F(DistributedPlanTest, GivesWhatOneMachineGives) {
  ExpectSame(
      "SELECT id, k || '!', d * n, day, CAST(at AS VARCHAR(40)), clock, yes FROM t WHERE x > 50",
      Kind::kRows, false);
  ExpectSame(
      "SELECT k, COUNT(*), COUNT(n), SUM(n), SUM(d), SUM(x), MIN(day), CAST(MAX(at) AS "
      "VARCHAR(40)), MIN(note), "
      "MAX(clock), NULL_IF_NOT_UNIQUE(yes) FROM t GROUP BY k",
      Kind::kSplit, true);
  ExpectSame(
      "SELECT n * 2 AS m, CAST(at AS VARCHAR(40)), SUM(d) / COUNT(*) FROM t GROUP BY n * 2, at "
      "HAVING COUNT(*) < 5",
      Kind::kSplit, true);
  ExpectSame("SELECT x, day, yes, clock, d, COUNT(*) FROM t GROUP BY x, day, yes, clock, d",
             Kind::kSplit, true);
  ExpectSame(
      "SELECT UPPER(note), LENGTH(note || k), MAX(note || k) FROM t GROUP BY note, note || k",
      Kind::kSplit, true);
  ExpectSame("SELECT SUM(n), COUNT(*), MAX(note), MIN(d), NULL_IF_NOT_UNIQUE(k) FROM t",
             Kind::kSplit, false);
  // States of doubles, whose sums are exact here.
  ExpectSame(
      "SELECT k, AVG(d), AVG(n), AVG(x), RANGE(d), RANGE(x), STDDEV(n), STDDEV_POP(x), COUNT(*), "
      "REGR_SLOPE(x, n), REGR_ALL(n, x), CORR_ALL(x, n), SUM(d) FROM t GROUP BY k "
      "HAVING AVG(n) > -5 ORDER BY AVG(d) DESC",
      Kind::kSplit, true);
  ExpectSame("SELECT k, ROUND(COVAR_SAMP(n, x), 9), ROUND(CORR(n, d), 9) FROM t GROUP BY k",
             Kind::kSplit, true);
  ExpectSame(
      "SELECT k, REGR_COUNT(n, x), BIT_AND(n), BIT_OR(n), BIT_XOR(n), APPROX_COUNT_DISTINCT(note), "
      "APPROX_COUNT_DISTINCT(id), APPROX_QUANTILE(x, 0.5), VAR_POP(n) IS NULL FROM t GROUP BY k",
      Kind::kSplit, true);
  ExpectSame(
      "SELECT APPROX_COUNT_DISTINCT(d), APPROX_QUANTILE(d, 0.9), MAX(note) FROM t WHERE id < 400",
      Kind::kSplit, false);
  ExpectSame(
      "SELECT k, STRING_AGG(note, ',' ORDER BY id), MODE(n), HISTOGRAM(n), MAX_BY(d, id), "
      "COUNT(DISTINCT n, yes), MEDIAN(DISTINCT x), BIT_XOR(DISTINCT n) FROM t GROUP BY k",
      Kind::kWhole, true);
  // Groups of a row, and of NULLs alone.
  ExpectSame(
      "SELECT note, id, AVG(d), RANGE(d), STDDEV(d), CORR(d, n), COVAR_SAMP(d, n), CORR_ALL(d, n) "
      "FROM t GROUP BY note, id",
      Kind::kSplit, true);
  ExpectSame("SELECT AVG(d), AVG(CASE WHEN n > 100 THEN d END), RANGE(n * d), MAX(note) FROM t",
             Kind::kSplit, false);
  // The sum of integers wraps, here and there.
  ExpectSame(
      "SELECT k, AVG(n), AVG(CASE WHEN id > 0 THEN 2147483000 END), RANGE(n) FROM t "
      "GROUP BY k",
      Kind::kSplit, true, {{"IntegerAggregates", "native"}});
  ExpectSame("SELECT k, AVG(d), AVG_ALL(d) FROM t WHERE id < 4 GROUP BY k, id", Kind::kWhole, true);
  ExpectSame("SELECT k, AVG(DISTINCT n), AVG(d) FROM t GROUP BY k", Kind::kWhole, true);
  // Rows travel once, NULLs too.
  ExpectSame(
      "SELECT k, COUNT(DISTINCT n), COUNT(DISTINCT yes), SUM(DISTINCT d), MAX(x), RANGE(n), "
      "NULL_IF_NOT_UNIQUE(day), LAST(k || '!') FROM t GROUP BY k",
      Kind::kWhole, true);
  ExpectSame("SELECT COUNT(DISTINCT k), MIN(k) FROM t WHERE id > 5", Kind::kWhole, false);
  // One candidate each, and NULLs.
  ExpectSame("SELECT id, FIRST(note), LAST(d), FIRST(day), COUNT(*) FROM t GROUP BY id",
             Kind::kSplit, true);
  ExpectSame("SELECT k, LAST(k), FIRST(CASE WHEN n = 3 THEN n END) FROM t GROUP BY k", Kind::kSplit,
             true);
  ExpectSame(
      "SELECT k, AVG(d), MEDIAN(x), COUNT(DISTINCT n), SUM(DISTINCT d), STDDEV(n) FROM t "
      "GROUP BY k HAVING AVG(n) > -5",
      Kind::kWhole, true);
  ExpectSame("SELECT COUNT(*), COUNT(DISTINCT note), AVG(n) FROM t WHERE yes", Kind::kWhole, false);
  ExpectSame("SELECT DISTINCT k, n, clock FROM t", Kind::kDistinct, true);
  ExpectSame("SELECT DISTINCT COUNT(*) FROM t GROUP BY n", Kind::kSplit, false);
  ExpectSame("SELECT DISTINCT k, COUNT(*) FROM t GROUP BY n, k", Kind::kSplit, true);
  ExpectSame(
      "SELECT id, SUM(d) OVER (PARTITION BY k), RANK() OVER (PARTITION BY k ORDER BY id) "
      "FROM t WHERE n > 0",
      Kind::kWindows, true);
  ExpectSame("SELECT id, COUNT(n) OVER (PARTITION BY EXTRACT(MONTH FROM day)) FROM t",
             Kind::kWindows, true);
  ExpectSame("SELECT id, RANK() OVER (ORDER BY id), COUNT(*) OVER (PARTITION BY k) FROM t",
             Kind::kWindows, false);
  ExpectSame("SELECT k, n, SUM(x), RANK() OVER (PARTITION BY k ORDER BY n) FROM t GROUP BY k, n",
             Kind::kSplit, true);
  ExpectSame("SELECT id, SUM(n) OVER (PARTITION BY n, k), COUNT(*) OVER (PARTITION BY n) FROM t",
             Kind::kWindows, true);
  ExpectSame("SELECT k, MAX(n) + $1 FROM t WHERE d > $2 GROUP BY k", Kind::kSplit, true,
             {{"IntegerAggregates", "native"}}, {"3", "100.5"});
}

TEST_F(DistributedPlanTest, BringsEqualKeysTogether) {
  const std::string blank = "CASE WHEN MOD(id, 2) = 0 THEN k || '  ' ELSE k END";
  const std::string letter = "CASE WHEN MOD(id, 3) = 0 THEN UPPER(k) ELSE k END";
  const std::string zero = "CASE WHEN MOD(id, 2) = 0 THEN 0e0 ELSE -1 * 0e0 END";
  const std::string point = "CASE WHEN MOD(id, 2) = 0 THEN 1.5 ELSE 1.50 END * n";
  const auto count = [](const std::string& key) {
    return "SELECT COUNT(*), SUM(d) FROM t GROUP BY " + key;
  };
  ExpectSame(count(blank), Kind::kSplit, true);
  ExpectSame(count(zero), Kind::kSplit, true);
  ExpectSame(count(point), Kind::kSplit, true);
  for (const std::string locale : {"", "de"}) {
    ExpectSame(count(letter), Kind::kSplit, true,
               {{"CaseSensitiveCompare", "false"}, {"Locale", locale}});
  }
}

TEST_F(DistributedPlanTest, TellsTheOrderOfRows) {
  const std::vector<std::string> keys = {"k, id",
                                         "k DESC, id DESC",
                                         "n NULLS FIRST, id",
                                         "d DESC NULLS FIRST, id",
                                         "0 - d, id",
                                         "d * d * d * 1e40, id",
                                         "d / 1e40, id",
                                         "x, id",
                                         "0 - x DESC, id",
                                         "day DESC, id",
                                         "at, id",
                                         "clock DESC, id",
                                         "yes, id",
                                         "note DESC, id",
                                         "LENGTH(note), id",
                                         "n * d, id"};
  for (const std::string& key : keys) {
    ExpectSame("SELECT id, note FROM t ORDER BY " + key, Kind::kRows, false);
  }
  ExpectSame("SELECT id FROM t WHERE n > 2 ORDER BY k || note, id LIMIT 20 OFFSET 7", Kind::kRows,
             false);
  ExpectSame("SELECT note, SUM(d) AS s FROM t GROUP BY note ORDER BY s DESC LIMIT 9", Kind::kSplit,
             true);
  ExpectSame("SELECT note, MEDIAN(n) FROM t GROUP BY note ORDER BY COUNT(*) DESC, note OFFSET 3",
             Kind::kWhole, true, {{"Locale", "de"}});
  ExpectSame("SELECT DISTINCT note, k FROM t ORDER BY k DESC, note LIMIT 5", Kind::kDistinct, true,
             {{"CaseSensitiveCompare", "false"}});
  ExpectSame(
      "SELECT id, RANK() OVER (PARTITION BY k ORDER BY id) r FROM t ORDER BY r, k, id "
      "LIMIT 10",
      Kind::kWindows, true);
}

TEST_F(DistributedPlanTest, GivesOneRowForNoRowsWithoutKeys) {
  for (const std::string sql : {"SELECT COUNT(*), SUM(n), MAX(note) FROM t WHERE id < 0",
                                "SELECT COUNT(n), AVG(n), COVAR_SAMP(n, x) FROM t WHERE id < 0",
                                "SELECT COUNT(n), MEDIAN(n) FROM t WHERE id < 0"}) {
    SCOPED_TRACE(sql);
    DistributedPlan plan = Plan(sql);
    ArrowArrayStream rows = Part(0, 50);
    Result states = plan.Partial(&rows);
    EXPECT_EQ(states.CountRows(), 0);
    ArrowArrayStream stream = StreamOf(std::move(states));
    ArrowArrayStream combined = StreamOf(plan.Combine(&stream));
    EXPECT_EQ(LinesOf(plan.Finish(&combined)), LinesOf(session_.Query(sql)));
  }
}

TEST_F(DistributedPlanTest, ReadsNoColumnsBeyondItsInputs) {
  DistributedPlan plan = Plan("SELECT k, SUM(n) FROM t WHERE x > 1 GROUP BY k");
  EXPECT_EQ(plan.GetTable(), "t");
  Lines inputs = plan.GetInputs();
  std::ranges::sort(inputs);
  EXPECT_EQ(inputs, (Lines{"k", "n", "x"}));
  ArrowArrayStream rows = StreamOf(session_.Query("SELECT x, n, k FROM t"));
  EXPECT_EQ(plan.Partial(&rows).CountRows(), 6);
  rows = StreamOf(session_.Query("SELECT x, k FROM t"));
  EXPECT_EQ(ErrorOf([&] { plan.Partial(&rows); }).code, 57112);
  rows = StreamOf(session_.Query("SELECT x, k, day AS n FROM t"));
  EXPECT_EQ(ErrorOf([&] { plan.Partial(&rows); }).code, 57112);
}

TEST_F(DistributedPlanTest, SendsRowsOnceWhereRepeatsDoNotCount) {
  const auto countStates = [&](const std::string& aggregates) {
    DistributedPlan plan = Plan("SELECT k, " + aggregates + " FROM t GROUP BY k");
    ArrowArrayStream rows = Part(0, kRows);
    return plan.Partial(&rows).CountRows();
  };
  EXPECT_EQ(countStates("COUNT(DISTINCT yes)"), 6 * 3);
  EXPECT_EQ(countStates("COUNT(DISTINCT yes), COUNT(n)"), kRows);
}

TEST_F(DistributedPlanTest, RefusesStatesOfOthers) {
  const std::string sql = "SELECT k, SUM(n) FROM t GROUP BY k";
  const auto states = [&](DistributedPlan plan) {
    ArrowArrayStream rows = Part(0, 90);
    return StreamOf(plan.Partial(&rows));
  };
  DistributedPlan plan = Plan(sql);
  ArrowArrayStream other = states(Plan("SELECT k, SUM(id) FROM t GROUP BY k"));
  EXPECT_EQ(ErrorOf([&] { plan.Finish(&other); }).code, 57122);
  other = states(Plan(sql, {{"Locale", "sv"}}));
  EXPECT_EQ(ErrorOf([&] { plan.Finish(&other); }).code, 57122);
  // Made anew of the same texts it is the same plan.
  ArrowArrayStream own = states(Plan(sql));
  EXPECT_EQ(plan.Finish(&own).CountRows(), 6);

  ArrowArrayStream no = Part(0, 5);
  EXPECT_EQ(ErrorOf([&] { plan.Combine(&no); }).code, 57123);
  Session renamed;
  ArrowArrayStream stream = states(Plan(sql));
  renamed.AddArrow("s", &stream);
  const std::string by = plan.GetExchange();
  std::string later = by;
  later.replace(0, by.find('_'), "sqxer99");
  ArrowArrayStream newer =
      StreamOf(renamed.Query("SELECT \"" + by + "\" AS \"" + later + "\" FROM s"));
  const Seen seen = ErrorOf([&] { plan.Finish(&newer); });
  EXPECT_EQ(seen.code, 57121);
  EXPECT_NE(seen.text.find("99"), std::string::npos);

  // A state that is no value, and one that has gone.
  const std::string field = by.substr(0, by.size() - 1);
  ArrowArrayStream bad = StreamOf(renamed.Query("SELECT \"" + by + "\", \"" + field +
                                                "0\", 'no' AS \"" + field + "1\" FROM s"));
  EXPECT_EQ(ErrorOf([&] { plan.Finish(&bad); }).code, 57123);
  ArrowArrayStream less =
      StreamOf(renamed.Query("SELECT \"" + by + "\", \"" + field + "0\" FROM s"));
  EXPECT_EQ(ErrorOf([&] { plan.Combine(&less); }).code, 57123);

  // A state of several values, one of which is missing.
  DistributedPlan mean = Plan("SELECT k, AVG(n) FROM t GROUP BY k");
  Session means;
  stream = states(Plan("SELECT k, AVG(n) FROM t GROUP BY k"));
  means.AddArrow("s", &stream);
  const auto count = [&](const std::string& condition) {
    const std::string prefix = "\"" + mean.GetExchange().substr(0, mean.GetExchange().size() - 1);
    ArrowArrayStream some = StreamOf(means.Query(
        "SELECT " + prefix + "x\", " + prefix + "0\", " + prefix + "1\", CASE WHEN " + condition +
        " THEN " + prefix + "2\" END AS " + prefix + "2\", " + prefix + "3\" FROM s"));
    return mean.Finish(&some).CountRows();
  };
  EXPECT_EQ(count("1 = 1"), 6);
  EXPECT_EQ(ErrorOf([&] { count("1 = 0"); }).code, 57123);
}

TEST_F(DistributedPlanTest, TellsWhereAStepFails) {
  const std::string sql = "SELECT k, SUM(1 / (n - 3)) FROM t GROUP BY k";
  DistributedPlan plan = Plan(sql);
  ArrowArrayStream rows = Part(0, kRows);
  const Seen whole = ErrorOf([&] { session_.Query(sql); });
  const Seen part = ErrorOf([&] { plan.Partial(&rows); });
  EXPECT_EQ(part.code, whole.code);
  EXPECT_EQ(part.position, whole.position);
  EXPECT_EQ(part.row, whole.row);

  const std::string late = "SELECT k, 1 / (COUNT(*) - COUNT(*)) FROM t GROUP BY k";
  DistributedPlan finishing = Plan(late);
  rows = Part(0, kRows);
  ArrowArrayStream states = StreamOf(finishing.Partial(&rows));
  const Seen finished = ErrorOf([&] { finishing.Finish(&states); });
  const Seen expected = ErrorOf([&] { session_.Query(late); });
  EXPECT_EQ(finished.code, expected.code);
  EXPECT_EQ(finished.position, expected.position);
  EXPECT_EQ(finished.row, -1);
}

TEST_F(DistributedPlanTest, RefusesWhatCannotBeSplit) {
  EXPECT_EQ(ErrorOf([&] { Plan("EXPLAIN SELECT k FROM t"); }).code, 57120);
  EXPECT_EQ(ErrorOf([&] { Plan("SELECT 1"); }).code, 57120);
  EXPECT_EQ(ErrorOf([&] { Plan("SELECT JSON_VALUE(note, '$.a') FROM t"); }).code, 57120);
  EXPECT_EQ(ErrorOf([&] { Plan("SELECT nothing FROM t"); }).position, 7);
  DistributedPlan rows = Plan("SELECT k FROM t");
  ArrowArrayStream stream = Part(0, 5);
  EXPECT_EQ(ErrorOf([&] { rows.Finish(&stream); }).code, 57124);
  EXPECT_EQ(stream.release, nullptr);
}

}  // namespace
}  // namespace sqxer::test
