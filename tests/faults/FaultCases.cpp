#include "FaultCases.h"

#include <sqlite3.h>

#include <fstream>
#include <stdexcept>

#include "ProgramCases.h"

namespace sqxer::faults {
namespace {

using engine::Session;
using engine::TextOptions;

Case Sql(std::string name, const std::string& sql) {
  return {.name = std::move(name),
          .act = [sql](Session& session) { return WriteAll(session, sql); }};
}

Case With(Case base, std::vector<std::pair<std::string, std::string>> switches) {
  base.switches = std::move(switches);
  return base;
}

/// The same with so little memory that all goes to files that can.
Case Spilling(Case base) {
  base.name += "_spilled";
  base.switches.insert(base.switches.end(), {{"GroupMemory", "1"}, {"JoinMemory", "1"}});
  base.spills = true;
  return base;
}

Case Changing(Case base, std::vector<std::string> setup, std::string check) {
  base.setup = std::move(setup);
  base.check = std::move(check);
  return base;
}

/// With texts and names of a locale.
Case Localized(Case base, std::vector<std::pair<std::string, std::string>> switches) {
  base = With(std::move(base), std::move(switches));
  base.opensLocale = true;
  return base;
}

Case Refused(Case base) {
  base.isRefused = true;
  return base;
}

Case Copying(const std::string& file, const std::string& options = "") {
  Case copy =
      Sql("copy_" + file, "COPY (SELECT * FROM t WHERE id < 60) TO 'out/" + file + "'" + options);
  copy.output = file;
  return copy;
}

Case Threaded(Case base) {
  base.name += "_threads";
  base.threads = 2;
  return base;
}

Case Formatted(const std::string& name, TextOptions::Format format, const std::string& sql) {
  return {.name = "format_" + name, .act = [format, sql](Session& session) {
            TextOptions options;
            options.format = format;
            options.width = 80;
            return WriteAll(session, sql, options);
          }};
}

const std::string kGroups =
    "SELECT k, COUNT(*), SUM(v), AVG(w), MIN(s), MAX(d), STDDEV(w), COUNT(v) FROM t GROUP BY k "
    "HAVING COUNT(*) > 2 ORDER BY k";
const std::string kHeld =
    "SELECT k, MEDIAN(v), COUNT(DISTINCT s), PERCENTILE_CONT(0.3) WITHIN GROUP (ORDER BY w), "
    "MODE() WITHIN GROUP (ORDER BY v), LISTAGG(s), STRING_AGG(s, ';' ORDER BY id DESC), "
    "MAX_BY(s, v), APPROX_COUNT_DISTINCT(id) FROM t GROUP BY k ORDER BY 1";
const std::string kWindows =
    "SELECT id, RANK() OVER (PARTITION BY k ORDER BY v), LAG(s) OVER (ORDER BY id), NTILE(3) OVER "
    "(ORDER BY w), SUM(v) OVER (PARTITION BY k ORDER BY id ROWS BETWEEN 3 PRECEDING AND 1 "
    "FOLLOWING), MEDIAN(v) OVER (PARTITION BY k ORDER BY id ROWS 5 PRECEDING), FIRST_VALUE(s) OVER "
    "(PARTITION BY k ORDER BY id) FROM t ORDER BY id";
const std::string kJoins =
    "SELECT t.id, u.name, w.name FROM t LEFT JOIN u ON t.k = u.k AND t.v > u.least JOIN u AS w ON "
    "w.name < t.s ORDER BY 1, 2, 3 LIMIT 100";
const std::string kSets =
    "SELECT s FROM t UNION SELECT name FROM u EXCEPT SELECT 'a1' INTERSECT SELECT s FROM t ORDER "
    "BY 1";
const std::string kBig = "SELECT k, COUNT(*), SUM(v), MIN(s) FROM big WHERE v <> 7 GROUP BY k";

void AddQueries(std::vector<Case>& cases) {
  cases.insert(
      cases.end(),
      {Sql("filter",
           "SELECT id, v * 2 + 1, w / 3, UPPER(s), d FROM t WHERE v > 10 AND s LIKE 'a%' OR k IN "
           "('x', 'y')"),
       With(Sql("filter_by_rows", "SELECT id, v * 2, UPPER(s) FROM t WHERE v > 10 OR k = 'x'"),
            {{"Evaluation", "rows"}}),
       Sql("groups", kGroups),
       Spilling(Sql("groups", kGroups)),
       With(Sql("groups_by_rows", kGroups), {{"Evaluation", "rows"}}),
       Sql("held_values", kHeld),
       Spilling(Sql("held_values", kHeld)),
       Sql("rollup", "SELECT k, v > 50, SUM(v) FROM t GROUP BY ROLLUP (k, v > 50) ORDER BY 1, 2"),
       Sql("distinct", "SELECT DISTINCT k, s FROM t ORDER BY 2, 1"),
       Spilling(Sql("distinct", "SELECT DISTINCT k, s FROM t ORDER BY 2, 1")),
       Sql("sort", "SELECT * FROM t ORDER BY s DESC, v, d LIMIT 70 OFFSET 3"),
       Spilling(Sql("sort", "SELECT * FROM t ORDER BY s DESC, v, d")),
       Localized(Sql("collation", "SELECT s, MIN(id) FROM t GROUP BY s ORDER BY 1"),
                 {{"Locale", "sv_SE"}, {"CaseSensitiveCompare", "off"}}),
       Sql("windows", kWindows),
       Spilling(Sql("windows", kWindows)),
       Sql("joins", kJoins),
       Spilling(Sql("joins", kJoins)),
       Sql("full_join", "SELECT t.id, u.k FROM t FULL JOIN u ON t.k = u.k ORDER BY 1, 2"),
       Sql("sets", kSets),
       Spilling(Sql("sets", kSets)),
       Sql("subqueries",
           "WITH q AS (SELECT k, AVG(v) AS a FROM t GROUP BY k) SELECT t.id, (SELECT MAX(u.least) "
           "FROM u WHERE u.k = t.k) FROM t, q WHERE q.k = t.k AND EXISTS (SELECT 1 FROM u WHERE "
           "u.k = t.k) AND t.v NOT IN (SELECT least FROM u) AND t.v > q.a ORDER BY 1"),
       Sql("values",
           "SELECT g, x, y FROM GENERATE_SERIES(1, 5) AS g, (VALUES (1, 'a'), (2, NULL)) "
           "AS q(x, y) ORDER BY 1, 2"),
       Sql("explain", "EXPLAIN " + kGroups),
       Sql("describe", "DESCRIBE t"),
       Sql("summarize", "SUMMARIZE t"),
       Sql("show", "SHOW FirstDayOfWeek")});
}

void AddFunctions(std::vector<Case>& cases) {
  cases.insert(
      cases.end(),
      {Sql("texts",
           "SELECT REPLACE(s, 'a', 'bb'), SUBSTR(s, 2), LPAD(s, 9, '-'), s || k, REVERSE(s), "
           "INITCAP(s), SPLIT_PART(s, '1', 1), TRIM(s), POSITION('1' IN s), MD5(s), "
           "FORMAT('%s-%s', k, v) FROM t WHERE id < 40"),
       Sql("patterns",
           "SELECT REGEXP_REPLACE(s, '([a-z])(\\d)', '\\2\\1'), REGEXP_LIKE(s, "
           "'^.*[0-9]$'), s LIKE '%1_' FROM t WHERE id < 40"),
       Sql("dates",
           "SELECT EXTRACT(WEEK FROM d), d + INTERVAL '1 month', DATE_TRUNC('month', ts), "
           "TO_CHAR(ts, 'YYYY-MM-DD HH24:MI'), ts - TIMESTAMP '2020-01-01 00:00:00', "
           "MONTHNAME(d), AGE(ts, TIMESTAMP '2019-02-03 04:05:06') FROM t WHERE id < 40"),
       Localized(Sql("names", "SELECT MONTHNAME(d), DAYNAME(d) FROM t WHERE id < 9"),
                 {{"Locale", "fr_FR"}}),
       Sql("zones", "SELECT ts AT TIME ZONE 'Europe/Stockholm' FROM t WHERE id < 9"),
       Sql("casts",
           "SELECT CAST(v AS varchar(9)), CAST(w AS numeric(12,2)), CAST(s || '' AS "
           "char(3)), TRY_CAST(s AS int4), CAST(d AS timestamp), TO_NUMBER('12', '99') "
           "FROM t WHERE id < 40"),
       Sql("cases",
           "SELECT CASE WHEN v > 5 THEN s WHEN v IS NULL THEN k ELSE 'z' END, COALESCE(v, "
           "0), NULLIF(k, 'x'), GREATEST(v, 7), POWER(w, 2), SQRT(v), LN(v + 1), MOD(v, 7) "
           "FROM t WHERE v >= 0 OR v IS NULL"),
       Sql("json", "SELECT JSON_VALUE(j, '$.a'), JSON_VALUE(j, '$.b.c') FROM docs"),
       Sql("lookups", "SELECT CANONICAL(k, names), COUNT(*) FROM t GROUP BY 1 ORDER BY 1"),
       Sql("statistics",
           "SELECT CORR(v, w), REGR_SLOPE(v, w), COVAR_POP(v, w), VARIANCE(v), "
           "APPROX_QUANTILE(w, 0.5) FROM t"),
       Refused(Sql("row_error", "SELECT id, 100 / (id - 90) FROM t")),
       Refused(Sql("wrong_name", "SELECT idd FROM t")),
       Refused(Sql("wrong_syntax", "SELECT FROM WHERE")),
       {.name = "parameters", .act = [](Session& session) {
          std::string text;
          session.Write("SELECT id FROM t WHERE v > $1 AND k = $2",
                        [&](std::string_view piece) { text += piece; }, {"int4:60", "x"});
          return text;
        }}});
}

void AddReaders(std::vector<Case>& cases) {
  for (const char* const file :
       {"t.csv", "t.tsv", "t.jsonl", "t.csv.gz", "t.jsonl.gz", "t.csv.zst", "utf16.csv"}) {
    const std::string sql =
        "SELECT COUNT(*), SUM(v), MAX(s), MIN(d) FROM '" + std::string(file) + "' WHERE k <> 'y'";
    cases.push_back(Sql("read_" + std::string(file), sql));
    cases.push_back(With(Sql("stream_" + std::string(file), sql), {{"TableMemory", "1"}}));
  }
  cases.insert(
      cases.end(),
      {Sql("read_pattern", "SELECT COUNT(*), SUM(v) FROM 'part*.csv'"),
       Sql("read_sqlite", "SELECT id, k, v, s FROM 'x.db:t' ORDER BY v DESC, id"),
       Refused(Sql("read_none", "SELECT * FROM 'none.csv'")),
       Refused(Sql("read_damaged", "SELECT COUNT(*) FROM 'damaged.csv.gz'")),
       Refused(Sql("read_bad_record", "SELECT COUNT(*), MAX(b) FROM 'bad.csv'")),
       Threaded(Sql("big", kBig)), Threaded(With(Sql("big_stream", kBig), {{"TableMemory", "1"}})),
       Threaded(Sql("big_sort", "SELECT v, s FROM big ORDER BY v, s LIMIT 9")),
       Threaded(Sql("big_filter",
                    "SELECT COUNT(*) FROM big WHERE s LIKE '%a1%' AND v * 3 "
                    "> 5")),
       Threaded(Sql("big_distinct", "SELECT COUNT(DISTINCT s), MEDIAN(v) FROM big"))});
}

void AddChanges(std::vector<Case>& cases) {
  const std::string kMade = "CREATE TABLE made AS SELECT id, s FROM t WHERE id < 20";
  const std::string kSum = "SELECT COUNT(*), SUM(id), MAX(s) FROM made";
  cases.insert(
      cases.end(),
      {Changing(Sql("create_view", "CREATE VIEW shown AS SELECT k, SUM(v) AS a FROM t GROUP BY k"),
                {}, "SELECT * FROM shown ORDER BY 1"),
       Changing(Sql("replace_view", "CREATE OR REPLACE VIEW shown AS SELECT 2 AS b"),
                {"CREATE VIEW shown AS SELECT 1 AS a"}, "SELECT * FROM shown"),
       Changing(
           Sql("read_view", "SELECT a.k, b.v FROM shown a JOIN shown b ON a.v = b.v ORDER BY 2"),
           {"CREATE VIEW shown AS SELECT k, v FROM t WHERE v > 70"}, ""),
       Changing(Sql("create_table", kMade), {}, kSum),
       Changing(Sql("insert_values", "INSERT INTO made VALUES (7, 'new'), (8, NULL)"), {kMade},
                kSum),
       Changing(Sql("insert_query", "INSERT INTO made SELECT id + 100, s || 'x' FROM made"),
                {kMade}, kSum),
       Changing(Sql("drop_table", "DROP TABLE made"), {kMade}, kSum),
       Changing(Sql("set", "SET FirstDayOfWeek = '3'"), {}, "SHOW FirstDayOfWeek"),
       Copying("c.csv"), Copying("c.csv.gz"), Copying("c.tsv.zst"), Copying("c.jsonl"),
       Copying("c.json"), Copying("c.arrow")});
}

}  // namespace

std::string WriteAll(Session& session, const std::string& sql, const TextOptions& options) {
  std::string text;
  // What fails is the session's, not this.
  text.reserve(std::size_t{1} << 20);
  session.Write(
      sql, [&](std::string_view piece) { text += piece; }, {}, options);
  return text.empty() ? session.GetReport().tag : text;
}

void WriteFiles() {
  const auto write = [](const char* path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
  };
  std::string rows = "id,k,v,w,s,d,ts\n";
  for (int i = 1; i <= 180; ++i) {
    rows += std::to_string(i) + "," + "xyzq"[i * 7 % 4] + "," +
            (i % 17 == 0 ? "" : std::to_string(i * 37 % 101)) + "," + std::to_string(i * 13 % 29) +
            ".5," + (i % 11 == 0 ? "\u00c4ngstr\u00f6m" : "a") + std::to_string(i * 31 % 23) +
            ",2021-0" + std::to_string(1 + i % 9) + "-1" + std::to_string(i % 10) + ",2020-03-0" +
            std::to_string(1 + i % 7) + " 1" + std::to_string(i % 10) + ":30:00\n";
  }
  write("t.csv", rows);
  write("part1.csv", rows);
  write("part2.csv", rows);
  write("u.csv", "k,least,name\nx,10,a3\ny,30,a17\ny,50,a9\nz,70,b\nn,0,c\n");
  write("names.csv", "written,meant\nx,Ex\ny,Ypsilon\n");
  write("docs.csv",
        "id,j\n1,\"{\"\"a\"\": 5, \"\"b\"\": {\"\"c\"\": \"\"text\"\"}}\"\n2,\"{\"\"a\"\": "
        "7}\"\n3,\n");
  write("bad.csv", "a,b\n1,2\n3\n4,5\n");
  std::string big = "k,v,s\n";
  for (int i = 0; i < 250'000; ++i) {
    big += std::string(1, "pqrs"[i % 4]) + "," + std::to_string(i * 7 % 1000) + ",a" +
           std::to_string(i % 50) + "\n";
  }
  write("big.csv", big);
  std::string utf16 = "\xff\xfe";
  for (const char c : std::string_view(rows).substr(0, rows.find("\u00c4"))) {
    utf16 += c;
    utf16 += '\0';
  }
  write("utf16.csv", utf16.substr(0, utf16.rfind(std::string("\n\0", 2)) + 2));
  Session session;
  for (const char* const file : {"t.tsv", "t.jsonl", "t.csv.gz", "t.jsonl.gz", "t.csv.zst"}) {
    WriteAll(session, "COPY (SELECT * FROM t) TO '" + std::string(file) + "'");
  }
  std::ifstream packed("t.csv.gz", std::ios::binary);
  std::string head(400, '\0');
  packed.read(head.data(), static_cast<std::streamsize>(head.size()));
  write("damaged.csv.gz", head);
  sqlite3* database = nullptr;
  const char* const sql =
      "CREATE TABLE t AS WITH RECURSIVE n(id) AS (SELECT 1 UNION ALL SELECT id + 1 FROM n WHERE id "
      "< "
      "200) SELECT id, 'k' || (id % 5) AS k, id * 7 % 31 AS v, 'text ' || id AS s FROM n";
  const bool isMade = sqlite3_open("x.db", &database) == SQLITE_OK &&
                      sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
  sqlite3_close(database);
  if (!isMade) throw std::runtime_error("x.db cannot be made");
}

std::vector<Case> ListCases() {
  std::vector<Case> cases;
  AddQueries(cases);
  AddFunctions(cases);
  AddReaders(cases);
  AddChanges(cases);
  const std::string some = "SELECT k, v, w, s FROM t WHERE id < 30";
  using Format = TextOptions::Format;
  cases.push_back(Formatted("table", Format::kTable, some));
  cases.push_back(Formatted("json", Format::kJsonLines, some));
  cases.push_back(Formatted("html", Format::kHtml, some));
  cases.push_back(Formatted("arrow", Format::kArrow, some));
  cases.push_back(Formatted("chart", Format::kChart, "SELECT id, v FROM t WHERE id < 30"));
  AddProgramCases(cases);
  return cases;
}

}  // namespace sqxer::faults
