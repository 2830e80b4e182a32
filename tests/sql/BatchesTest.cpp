// Batches give what rows give: random expressions, made of the examples of the function table with
// columns in the place of their literals, are asked of a table of boundary values both ways, with
// batches of several sizes. Results, types and whole error texts must be equal.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <regex>

#include "BatchDisguise.h"
#include "Capture.h"
#include "FunctionTable.h"
#include "GroupParts.h"
#include "QueryRun.h"
#include "Session.h"
#include "Utility/BaseStringUtil.h"
#include "server/Query/Execution/Engine/TemporaryFolder.h"
#include "support/Sanitizers.h"

namespace sqxer::test {
namespace {

struct TestColumn {
  const char* name;
  const char* type;
  std::vector<std::string> values;
};

/// Columns of boundary values, some without NULL. What is few and short comes as a dictionary.
const std::vector<TestColumn> kColumns = {
    {"i", "int4", {"0", "1", "-1", "5", "", "2147483647", "-2147483648", "7", "100", "3"}},
    {"small", "int4", {"1", "2", "3", "5", "8"}},
    {"j", "int2", {"1", "", "-32768", "32767", "12"}},
    {"u", "uint4", {"0", "1", "4294967295", "", "17"}},
    {"b", "bit", {"0", "1", ""}},
    {"t", "boolean", {"true", "false", ""}},
    {"d", "double", {"0", "-0.0", "1.5", "", "NaN", "1e308", "-1e308", "2.5", "inf", "0.1", "9"}},
    {"e", "double", {"0.5", "1", "2", "4", "100"}},
    {"n", "numeric", {"0", "1.50", "-2.25", "", "99999999999999.99", "0.001", "12"}},
    {"m", "numeric", {"1", "2.5", "1e30", "", "-7", "1234567890123456789012345678.25"}},
    // Beyond 64 bits at one scale; then of scales and sizes that nothing but decimals hold.
    {"k",
     "numeric",
     {"100000000000000000", "-99999999999999999.99", "", "9223372036854775807.5",
      "12345678901234567890123456.75", "-0.25", "0"}},
    {"l",
     "numeric",
     {"99999999999999999999999999999999999999", "-99999999999999999999999999999999999999", "",
      "10000000000000000000000000000000000000", "9223372036854775808", "-9223372036854775808",
      "1"}},
    {"g",
     "numeric",
     {"1e-38", "-3.3e-20", "", "99999999999999999999999999999999999999", "1e60", "-1e60", "0.5",
      "1e-90", "7e89", "12"}},
    {"s",
     "varchar(12)",
     {"abc", "ABC ", "", "\"\"", "a%b_c",
      "\xC3\xA4"
      "bc",
      "12", "x", "Q", "\xD0\x96x", "\xD0\x96x "}},
    {"c", "char(5)", {"ab", "AB", "", "12", "hello"}},
    {"w", "varchar(40)", {}},
    // One-byte characters whose upper case takes more; then characters that take more themselves.
    {"v", "varchar(9)", {"\xC2\xB5m", "\xC3\xBF", "\xC3\xA0 La", "", " bb ", "ABBA", "b"}},
    {"x",
     "varchar(9)",
     {"\xE2\x82\xAC",
      "a\xC5\x82"
      "b",
      "", "ABBA ", "\"\"", "b"}},
    {"day", "date", {"2012-01-31", "2012-02-29", "", "2011-12-31", "2012-03-01"}},
    {"far", "date", {"0001-01-01", "1970-01-01", "", "9999-12-31", "2000-02-29"}},
    {"h", "time", {"00:00:00", "23:59:59.999", "", "12:30:00"}},
    {"z",
     "timestamp",
     {"2012-01-31 10:30:00", "", "1969-12-31 23:59:59.999999", "2012-02-29 00:00"}},
};

/// In three chunks, of which the first has no NULL.
constexpr int kRows = 900;

class Batches : public testing::Test {
 public:
  Batches() {
    std::string text;
    std::string schema;
    for (const TestColumn& column : kColumns) {
      text += (text.empty() ? "" : ",") + std::string(column.name);
      schema += (schema.empty() ? "" : ",") + std::string(column.name) + ":" + column.type;
    }
    text += "\n";
    for (int row = 0; row < kRows; ++row) {
      std::string line;
      for (const TestColumn& column : kColumns) {
        if (&column != &kColumns.front()) line += ",";
        std::string value;
        do {
          value = column.values.empty() ? Word() : Pick(column.values);
        } while (row < kRows / 2 && value.empty());
        line += value;
      }
      text += line + "\n";
    }
    folder_.Write("t.csv", text);
    for (const char* evaluation : {"rows", "batches"}) {
      Session& session = evaluation == std::string("rows") ? rows_ : batches_;
      session.SetDirectory(folder_.Path());
      session.SetSchema("t", schema);
      TextTableOptions options;
      options.file.threads = 3;
      options.file.leastPieceBytes = options.file.blockBytes = std::size_t{16} << 10;
      session.SetFileOptions(options);
      session.Set("Evaluation", evaluation);
    }
  }
  ~Batches() override {
    RowScan::SetBatchRows(kMostBatchRows);
    GroupParts::SetLeastRows(GroupParts::kLeastRows);
  }

  template <class T>
  const T& Pick(const std::vector<T>& from) {
    return from[random_() % from.size()];
  }
  /// A text that no other row is likely to have.
  std::string Word() {
    static const std::vector<std::string> parts = {"spe", "cial", " ", "re", "quest", "%", "Z"};
    std::string word;
    for (unsigned left = random_() % 6; left > 0; --left) word += Pick(parts);
    return word.empty() ? word : "\"" + word + "\"";
  }

  static std::string Outcome(Session& session, const std::string& sql) {
    CapturingSink sink;
    std::string text;
    try {
      session.Execute(sql, sink);
    } catch (const ErrorMessage& error) {
      text = "error " + std::to_string(error.GetCode()) + ": " + error.what() + " at " +
             std::to_string(error.GetSourcePosition()) + " in row " +
             std::to_string(error.GetRowNumber()) + "\n";
    }
    for (const auto& row : sink.rows) text += RowText(row) + "\n";
    return text;
  }

  /// Which of several groups tells its error first depends on which of them have room.
  std::string Comparable(const std::string& outcome) const {
    return isLimited_ && outcome.starts_with("error") ? "error" : outcome;
  }

  void ExpectEqual(const std::string& sql) {
    const std::string expected = Comparable(Outcome(rows_, sql));
    for (const uint32 size : {kMostBatchRows, 3u, 1u}) {
      RowScan::SetBatchRows(size);
      // Shared out among threads, too.
      const bool isShared = size == 3;
      batches_.SetThreads(isShared ? 3 : 1);
      GroupParts::SetLeastRows(isShared ? 32 : GroupParts::kLeastRows);
      ASSERT_EQ(Comparable(Outcome(batches_, sql)), expected) << sql << "\nin batches of " << size;
    }
    if (isDisguised_) ExpectEqualInDisguise(sql, expected);
  }

  /// The same with vectors that come in another form.
  void ExpectEqualInDisguise(const std::string& sql, const std::string& expected) {
    batches_.SetThreads(1);
    for (const auto as : {BatchDisguise::As::kGarbage, BatchDisguise::As::kConstant,
                          BatchDisguise::As::kDictionary}) {
      RowScan::SetBatchRows(as == BatchDisguise::As::kConstant ? 1 : kMostBatchRows);
      const BatchDisguise disguise(as);
      ASSERT_EQ(Comparable(Outcome(batches_, sql)), expected)
          << sql << "\nin disguise " << static_cast<int>(as);
    }
  }

  std::mt19937 random_{20'12'01'31};
  const TemporaryFolder folder_;
  Session rows_;
  Session batches_;
  bool isLimited_ = false;
  bool isDisguised_ = false;
};

/// The expressions that the function table shows.
std::vector<std::string> Examples() {
  std::vector<std::string> examples;
  for (const FunctionRow& row : FunctionTable()) {
    const std::string example = row.example;
    const std::string select = "SELECT ";
    if (row.aggregate == nullptr && !row.isVolatile && example.starts_with(select) &&
        example.find(" FROM ") == std::string::npos && example.find("OVER") == std::string::npos) {
      examples.push_back(example.substr(select.size()));
    }
  }
  return examples;
}

/// An example with columns in the place of most of its literals.
std::string WithColumns(const std::string& example, std::mt19937& random) {
  static const std::regex literal(
      R"((?:(?:DATE|TIMESTAMP|TIME) *'[^']*')|'(?:[^']|'')*'|\b\d+(?:\.\d+)?(?:e[+-]?\d+)?\b)",
      std::regex::icase);
  const auto column = [&](const std::string& text) -> std::string {
    const auto one = [&](std::vector<const char*> names) {
      return std::string(names[random() % names.size()]);
    };
    if (random() % 5 == 0) return text;
    if (random() % 12 == 0) return kColumns[random() % kColumns.size()].name;
    const char first = static_cast<char>(std::toupper(text[0]));
    if (first == 'D') return one({"day", "far", "day"});
    if (first == 'T') return one({"z", "h"});
    if (first == '\'') return one({"s", "c", "w", "s", "v", "x"});
    if (text.find('.') != text.npos) return one({"d", "n", "e", "m", "k", "n", "g"});
    return one({"i", "small", "small", "j", "u", "n", "e", "k", "l"});
  };
  std::string out;
  std::sregex_iterator at(example.begin(), example.end(), literal);
  std::size_t from = 0;
  for (; at != std::sregex_iterator(); ++at) {
    out += example.substr(from, static_cast<std::size_t>(at->position()) - from);
    out += column(at->str());
    from = static_cast<std::size_t>(at->position() + at->length());
  }
  return out + example.substr(from);
}

/// A list of so many members that they are looked up as bits.
std::string Members() {
  std::string list = "i IN (-7";
  for (int member = 1; member < 200; member += 3) list += ", " + std::to_string(member);
  return list + ")";
}

/// Aggregates with and without a batch form, those that hold values among them: some of them, over
/// `value`, `other` or a column of numbers.
std::string Aggregates(const std::string& value, const std::string& other, std::mt19937& random) {
  static const std::vector<std::string> forms = {"COUNT(DISTINCT v)",
                                                 "COUNT(DISTINCT w)",
                                                 "COUNT(DISTINCT s)",
                                                 "COUNT(DISTINCT c)",
                                                 "SUM(DISTINCT #)",
                                                 "AVG(DISTINCT #)",
                                                 "COUNT(DISTINCT #)",
                                                 "COUNT(DISTINCT o)",
                                                 "MEDIAN(#)",
                                                 "STDDEV_SAMP(#)",
                                                 "STDDEV_POP(#)",
                                                 "SUM(#)",
                                                 "AVG(#)",
                                                 "LISTAGG(v)",
                                                 "LISTAGG(DISTINCT #)",
                                                 "CORR(#, small)",
                                                 "CORR(e, #)",
                                                 "COVAR_SAMP(#, d)",
                                                 "REGR_SLOPE(e, small)",
                                                 "REGR_SLOPE(n, e)",
                                                 "NULL_IF_NOT_UNIQUE(#)",
                                                 "FIRST(v)",
                                                 "LAST(o)",
                                                 "FIRST(w)",
                                                 "LAST(c)",
                                                 "NULL_IF_NOT_UNIQUE(o)",
                                                 "MIN(h)",
                                                 "MAX(h)",
                                                 "MIN(z)",
                                                 "MAX(z)",
                                                 "MIN(c)",
                                                 "MAX(c)",
                                                 "MIN(t)",
                                                 "MAX(j)",
                                                 "MIN(v)",
                                                 "MAX(o)",
                                                 "COUNT(*)",
                                                 "COUNT(DISTINCT z)",
                                                 "COUNT(DISTINCT h)",
                                                 "COUNT(DISTINCT b)",
                                                 "COUNT(DISTINCT far)",
                                                 "RANGE(#)",
                                                 "AVG_ALL(#)",
                                                 "REGR_COUNT(#, e)",
                                                 "REGR_COUNT(small, n)",
                                                 "BIT_AND(small)",
                                                 "BIT_OR(j)",
                                                 "BIT_XOR(i)",
                                                 "BIT_XOR(DISTINCT small)",
                                                 "BIT_OR(CAST(# AS numeric) / 1e15::numeric)",
                                                 "MAX_BY(v, #)",
                                                 "MIN_BY(#, o)",
                                                 "MAX_BY(w, s)",
                                                 "MIN_BY(c, e)",
                                                 "MODE(#)",
                                                 "MODE(v)",
                                                 "HISTOGRAM(small)",
                                                 "STRING_AGG(v, ',')",
                                                 "STRING_AGG(v, s ORDER BY #)",
                                                 "STRING_AGG(DISTINCT s, '-')",
                                                 "LAST(v ORDER BY #, c)",
                                                 "COUNT(DISTINCT s, small)",
                                                 "MEDIAN(DISTINCT #)",
                                                 "QUANTILE_CONT(#, 0.3)",
                                                 "QUANTILE(small, 0.9), MEDIAN(small)",
                                                 "APPROX_COUNT_DISTINCT(v)",
                                                 "APPROX_COUNT_DISTINCT(#)",
                                                 "APPROX_COUNT_DISTINCT(s)",
                                                 "APPROX_QUANTILE(#, 0.5)"};
  static const std::vector<std::string> numbers = {"i", "small", "j", "u", "d",     "e",    "n",
                                                   "m", "k",     "l", "g", "n * k", "n * n"};
  std::string list;
  for (unsigned left = 1 + random() % 5; left > 0; --left) {
    std::string text = forms[random() % forms.size()];
    const auto fill = [&](const std::string& mark, const std::string& by) {
      const std::size_t at = text.find(mark);
      if (at != std::string::npos) text.replace(at, mark.size(), by);
    };
    fill("(v", "(" + value);
    fill("DISTINCT v", "DISTINCT " + value);
    fill("(o", "(" + other);
    fill("DISTINCT o", "DISTINCT " + other);
    fill("#", numbers[random() % numbers.size()]);
    list += (list.empty() ? "" : ", ") + text;
  }
  return list;
}

TEST_F(Batches, GiveWhatRowsGive) {
  const char* const asked = std::getenv("SQXER_BATCH_CASES");
  const int cases = asked != nullptr ? std::atoi(asked) : ShareOfCases(600);
  const std::vector<std::string> examples = Examples();
  ASSERT_GT(examples.size(), 100u);
  const std::vector<std::string> predicates = {
      "i > 0",
      "d < 2 AND small <> 3",
      "n BETWEEN 0 AND 2 OR s = 'abc'",
      "NOT t",
      "i <> 0 AND 100 / i > 10",
      "day < DATE '2012-02-01' OR h IS NULL",
      "s LIKE 'a%'",
      "u IN (1, 17) OR j IS NULL",
      "CASE WHEN t THEN i ELSE small END = 5",
      "c = 'ab' AND t",
      Members(),
      "COALESCE(i, small) < 3",
      "w LIKE '%special%'",
      "k > 0 AND m < 1e28",
      "l BETWEEN -9223372036854775808 AND 1e37 OR g < 0.01",
      "k IN (0, -0.25, 12345678901234567890123456.75) OR NULLIF(l, 1) > m",
  };
  for (int i = 0; i < cases && !HasFatalFailure(); ++i) {
    // Most times some groups find no room.
    isLimited_ = i % 3 != 0;
    isDisguised_ = i % 4 == 0;
    for (Session* const session : {&rows_, &batches_}) {
      session->Set("GroupMemory", i % 3 == 0   ? "256MiB"
                                  : i % 3 == 1 ? "2000"
                                               : std::to_string(30'000 + i * 7919 % 70'000));
      session->Set("CaseSensitiveCompare", i % 7 == 0 ? "off" : "on");
      session->Set("Locale", i % 11 == 0 ? "sv_SE" : "");
      session->Set("IntegerAggregates", i % 5 == 0 ? "native" : "wide");
    }
    const std::string value = "(" + WithColumns(Pick(examples), random_) + ")";
    const std::string other = "(" + WithColumns(Pick(examples), random_) + ")";
    const std::string where = random_() % 2 == 0 ? " WHERE " + Pick(predicates) : "";
    const std::string keys = Pick<std::string>(
        {"s", "c",   "small",    "w",         "d",    "n", "day, b",   "i, s", "i",
         "j", "far", "h",        "z",         "i",    "j", "u",        "far",  "h",
         "z", value, "small, i", "j, b, day", "u, t", "k", "l, small", "m",    "k * n"});
    // Trees that stand in several places, some of which ask for fewer rows than others.
    const std::string same =
        Pick<std::string>({"i / small", "n * small + 1", "sqrt(e) - d", "m * n", "-i * j",
                           "year(day)", "CAST(u AS numeric) * 3", "k * n", "-k + m", "l - k",
                           "ABS(l)", "m * m", "g * 2", "k * 1000 - n"});
    const std::string orSame = where.empty() ? "" : where + " OR " + same + " > 2";
    switch (random_() % 12) {
      case 10:
        ExpectEqual("SELECT SUM(" + same + "), MIN(" + same + " + i), MAX(CASE WHEN " +
                    Pick(predicates) + " THEN " + same + " END), COUNT(DISTINCT " + same +
                    ") FROM t" + orSame + " GROUP BY " + keys);
        break;
      case 11:
        ExpectEqual("SELECT " + same + ", CASE WHEN " + Pick(predicates) + " THEN " + same +
                    " ELSE 0 END, " + same + " + small FROM t" + orSame);
        break;
      case 0:
        ExpectEqual("SELECT " + value + ", " + other + ", i FROM t" + where);
        break;
      case 1:
        ExpectEqual("SELECT " + value + ", COUNT(*), SUM(n), MAX(d), MIN(day) FROM t" + where +
                    " GROUP BY " + value);
        break;
      case 2:
        ExpectEqual("SELECT SUM(" + value + "), AVG(small), COUNT(" + other + ") FROM t" + where);
        break;
      case 3:
        ExpectEqual("SELECT COUNT(*) FROM t WHERE " + value + " IS NOT NULL AND " +
                    Pick(predicates));
        break;
      case 4:
        ExpectEqual("SELECT s, c, SUM(CASE WHEN " + Pick(predicates) +
                    " THEN small ELSE i END), MIN(" + value + "), MAX(" + value +
                    "), MIN(w), MAX(s) FROM t" + where + " GROUP BY s, c");
        break;
      case 5:
        ExpectEqual("SELECT " + Aggregates(value, other, random_) + " FROM t" + where);
        break;
      case 6:
      case 7:
        ExpectEqual("SELECT " + keys + ", " + Aggregates(value, other, random_) + " FROM t" +
                    where + " GROUP BY " + keys);
        break;
      case 8:
        ExpectEqual("SELECT DISTINCT " +
                    Pick<std::string>({value, "s, c", "w, small", "i, u", "j, " + other}) +
                    " FROM t" + where +
                    Pick<std::string>({"", " ORDER BY 1 DESC", " LIMIT 7 OFFSET 2", " LIMIT 100"}));
        break;
      default:
        ExpectEqual("SELECT i, " + value + " FROM t WHERE " + value + " = " + other + " OR " +
                    Pick(predicates) + " ORDER BY 1, 2 LIMIT 20");
        break;
    }
  }
}

/// Tables that groups are found by, and values that are held, give memory back when rows of groups
/// that found no room have been sorted.
TEST_F(Batches, OpenNoGroupThatWasSorted) {
  std::string text = "few,many,g,t\n";
  constexpr int kNear = 2048;
  for (int row = 0; row < 3 * kNear; ++row) {
    // Close together, then one apart from them.
    const int near = row < kNear ? row + 1 : 2 * kNear - row;
    text += std::to_string(row % 40) + "," + std::to_string(row % (row < kNear ? 40 : 600)) + "," +
            std::to_string(row == kNear ? 9000 : near) + ",a text like no other " +
            std::to_string(row) + "\n";
  }
  folder_.Write("spread.csv", text);
  for (int memory = 20'000; memory < 400'000; memory += memory / 3) {
    for (Session* const session : {&rows_, &batches_}) {
      session->Set("GroupMemory", std::to_string(memory));
    }
    for (const char* const key : {"g", "few, many", "many", "'a' || g", "t"}) {
      for (const char* const results : {"COUNT(*)", "COUNT(DISTINCT t), SUM(DISTINCT g)"}) {
        const std::string sql =
            std::string("SELECT ") + key + ", " + results + " FROM spread GROUP BY " + key;
        ASSERT_TRUE(Outcome(batches_, sql) == Outcome(rows_, sql)) << sql << " in " << memory;
      }
    }
  }
}

/// What aggregates hold of the groups of several threads: values as a map, as a table and at the
/// sorter, lists of numbers; in groups that all, some or one of the threads know.
TEST_F(Batches, MergeWhatThreadsHold) {
  std::string text = "key,late,few,wide,n,word,s,d\n";
  constexpr int kHeld = 6000;
  for (int row = 0; row < kHeld; ++row) {
    const std::string tenth = row % 10 == 3 ? "" : std::to_string(row / 7 % 50 - 20);
    text += std::to_string(row % 7) + "," + std::to_string(row / 1500) + "," + tenth + "," +
            (tenth.empty() ? "" : tenth + "00000000000") + "," + tenth + ".25,";
    text += "word " + std::to_string(row * row % 701) + "," + (row % 3 == 0 ? "a" : "b") +
            std::to_string(row / 2000) + "," + std::to_string(row * 31 % 97) + ".5e0\n";
  }
  folder_.Write("held.csv", text);
  for (Session* const session : {&rows_, &batches_}) {
    session->SetSchema("held", "d:double");
    session->SetFileOptions({});
  }
  GroupParts::SetLeastRows(512);
  for (const char* const memory : {"256MiB", "60000", "9000"}) {
    for (Session* const session : {&rows_, &batches_}) session->Set("GroupMemory", memory);
    for (const char* const by : {"", "key", "late", "s", "key, late"}) {
      for (const std::string column : {"few", "wide", "n", "word", "s", "d"}) {
        const bool isText = column == "word" || column == "s";
        const std::string sql =
            "SELECT COUNT(DISTINCT " + column + "), COUNT(*)" +
            (isText ? "" : ", SUM(DISTINCT " + column + "), MEDIAN(" + column + ")") +
            " FROM held" + (*by == 0 ? "" : std::string(" GROUP BY ") + by);
        const std::string expected = Outcome(rows_, sql);
        for (const uint32 threads : {2u, 3u}) {
          batches_.SetThreads(threads);
          ASSERT_EQ(Outcome(batches_, sql), expected) << sql << " in " << memory;
        }
      }
    }
  }
}

/// What a constant outside the bounds of a block, or at one of them, comes to.
TEST_F(Batches, DecideComparisonsByTheBoundsOfBlocks) {
  const struct {
    const char* column;
    std::vector<const char*> constants;
  } kCases[] = {
      {"i", {"-2000000000", "-7", "0", "1", "17", "2000000000"}},
      {"small", {"-300", "0", "1", "3", "5", "300"}},
      {"u", {"0", "1", "17", "4000000000"}},
      {"d", {"-1e300", "-0.5", "0", "1.5", "2", "1e300"}},
      {"e", {"-1e300", "0.25", "0.5", "3e0", "1e2", "1e300"}},
      {"n", {"-99999999.5", "-0.5", "0", "1.25", "2", "99999999.125"}},
      {"day", {"DATE '0001-01-01'", "DATE '2012-01-31'", "DATE '2012-02-01'", "DATE '9999-12-31'"}},
      {"h", {"TIME '00:00:00'", "TIME '10:30:00'", "TIME '23:59:59'"}},
      {"z",
       {"TIMESTAMP '0001-01-01 00:00:00'", "TIMESTAMP '2012-01-31 10:30:00'",
        "TIMESTAMP '9999-12-31 00:00:00'"}},
      {"w", {"''", "'cial'", "'zzz'"}},
  };
  for (const auto& c : kCases) {
    std::string outputs = "COUNT(*)";
    const std::string column = c.column;
    const auto count = [&outputs](const std::string& predicate) {
      outputs += ", SUM(CASE WHEN " + predicate + " THEN 1 ELSE 0 END)";
    };
    for (const std::string constant : c.constants) {
      for (const std::string op : {" = ", " <> ", " < ", " <= ", " > ", " >= "}) {
        count(column + op + constant);
        count(constant + op + column);
      }
      count(column + " IN (" + constant + ", " + constant + ")");
      for (const std::string other : c.constants) {
        count(column + " BETWEEN " + constant + " AND " + other);
      }
    }
    count(column + " NOT IN (" + c.constants.front() + ")");
    for (const char* where : {"", " WHERE t", " WHERE i > 0 OR day IS NULL"}) {
      ExpectEqual("SELECT " + outputs + " FROM t" + where);
    }
  }
}

/// Values that ascend, so that the blocks of a table tell much of them.
TEST_F(Batches, TakeWhatBlocksTellOfTexts) {
  constexpr int kOrdered = 3 * kMostBatchRows + 100;
  std::string text = "key,same,few,wide,d,f,n,day,c\n";
  for (int i = 0; i < kOrdered; ++i) {
    const std::string number = std::to_string(100000 + i);
    const bool isNull = i / static_cast<int>(kMostBatchRows) == 1;
    const std::string blanks(static_cast<std::size_t>(i % 3), ' ');
    const int zero = i / 7 % 2;
    text += "\"key of a row " + number + blanks + "\",";
    text += isNull ? ",," : "\"same" + blanks + "\",f" + std::to_string(i / 3000) + blanks + ",";
    text += (i < 5000 ? "\xC3\xA4" : "\xE2\x82\xAC") + number + ",";
    text += (i < 3000 ? zero == 0 ? "-0.0" : "0" : std::to_string(i)) + std::string(",");
    text += (i < 3000 ? zero == 0 ? "-0.0" : "0" : i == 4500 ? "NaN" : "1.5") + std::string(",");
    text += std::to_string(i) + (i % 2 == 0 ? ".25," : ".5,") + (isNull ? "" : "2012-01-0");
    text += (isNull ? "," : std::to_string(1 + i / 1000) + ",") + "c" + number + "\n";
  }
  folder_.Write("ordered.csv", text);
  for (Session* const session : {&rows_, &batches_}) {
    session->SetSchema("ordered", "d:double,f:float,c:char(9)");
    session->SetFileOptions({});
  }
  std::string extremes;
  for (const std::string column : {"key", "same", "few", "wide", "d", "f", "n", "day", "c"}) {
    for (const std::string aggregate : {"MIN", "MAX"}) {
      extremes += (extremes.empty() ? "" : ", ") + aggregate + "(" + column + ")";
    }
  }
  extremes += ", MAX(EXTRACT(year FROM day)), MIN(EXTRACT(day FROM day))";
  for (const char* const where :
       {"", " WHERE key > 'key of a row 103000'", " WHERE n < 2047.3", " WHERE n >= 6000",
        " WHERE few = 'f1' OR few = 'f2'", " WHERE few IS NULL", " WHERE n IN (7, 4500.25)",
        " WHERE key BETWEEN 'key of a row 102047' AND 'key of a row 102048' OR n = 1.5",
        " WHERE same < 'same' OR same > 'samd ' AND key <> 'a'", " WHERE wide > '\u00E4102'",
        " WHERE key IN ('key of a row 100001', 'zz')", " WHERE 'same   ' = same",
        " WHERE EXTRACT(day FROM day) > 4", " WHERE EXTRACT(year FROM day) <> 2012"}) {
    ExpectEqual("SELECT COUNT(*), " + extremes + " FROM ordered" + where);
    ExpectEqual("SELECT few, " + extremes + " FROM ordered" + where + " GROUP BY few");
    ExpectEqual("SELECT EXTRACT(day FROM day), COUNT(*) FROM ordered" + std::string(where) +
                " GROUP BY EXTRACT(day FROM day)");
  }
  // Nothing is told by rows that are not wanted.
  isDisguised_ = true;
  for (const char* const predicate :
       {"key < 'key of a row 103000'", "key IN ('key of a row 102500', 'zz')", "few = 'f1'",
        "(key = CAST(NULL AS varchar(60))) IS NULL"}) {
    ExpectEqual("SELECT COUNT(*), MIN(key) FROM ordered WHERE n > 2400 AND " +
                std::string(predicate));
  }
}

TEST_F(Batches, CountAndAddEveryUnitAndPart) {
  const std::vector<std::string> units = {"second", "minute", "hour",    "day",
                                          "week",   "month",  "quarter", "year"};
  for (const std::string& unit : units) {
    std::string values;
    for (const char* const from : {"day", "far", "z", "h"}) {
      for (const char* const to : {"day", "far", "z", "DATE '2012-02-29'"}) {
        // Seconds between dates far apart are more than an int4.
        const std::string least = unit == "second" ? "2000-01-01" : "0001-01-01";
        values += std::string(values.empty() ? "" : ", ") + "CASE WHEN far > DATE '" + least +
                  "' THEN TIMESTAMPDIFF(" + unit + ", " + from + ", " + to + ") END";
      }
    }
    ExpectEqual("SELECT " + values + " FROM t");
    ExpectEqual("SELECT TIMESTAMPDIFF(" + unit + ", day, z), TIMESTAMPDIFF(" + unit +
                ", z, far) FROM t WHERE small > 2");
    for (const char* const count : {"small", "j", "i", "-7"}) {
      for (const char* const to : {"day", "far", "z"}) {
        ExpectEqual("SELECT TIMESTAMPADD(" + unit + ", " + count + ", " + to + ") FROM t");
      }
    }
  }
  for (const char* const part : {"year", "month", "day", "hour", "minute", "second", "quarter",
                                 "week", "doy", "dow", "month_of_quarter", "week_of_quarter",
                                 "day_of_quarter", "week_of_month", "month_name", "day_name"}) {
    const auto of = [&](const char* value) {
      return "EXTRACT(" + std::string(part) + " FROM " + value + ")";
    };
    ExpectEqual("SELECT " + of("day") + ", " + of("far") + ", " + of("z") + ", " + of("h") +
                " FROM t WHERE i IS NOT NULL");
    ExpectEqual("SELECT " + of("far") + ", SUM(" + of("z") + ") FROM t GROUP BY " + of("far"));
  }
}

TEST_F(Batches, ComputeWithIntervals) {
  const std::vector<std::string> spans = {
      "INTERVAL '1 month 1 day 01:00'",   "INTERVAL '-36 hours'", "INTERVAL '1 month' * small",
      "z - TIMESTAMP '2012-02-01 10:00'", "AGE(day, far)",        "INTERVAL '90 minutes' * e / 7"};
  const std::vector<std::string> moments = {"day", "far", "z", "TIMESTAMP '2012-01-31 10:30'"};
  for (const std::string& span : spans) {
    for (const std::string& moment : moments) {
      // Years that the sum leaves are errors in both.
      ExpectEqual("SELECT i, " + moment + " + " + span + ", " + moment + " - (" + span +
                  ") FROM t WHERE far BETWEEN DATE '1900-01-01' AND DATE '2100-01-01'");
      ExpectEqual("SELECT MIN(" + moment + " + (" + span + ")) FROM t");
    }
    for (const std::string& other : spans) {
      ExpectEqual("SELECT i, (" + span + ") + (" + other + "), (" + span + ") < (" + other +
                  "), GREATEST(" + span + ", " + other + "), COALESCE(" + span + ", " + other +
                  "), CASE WHEN small > 3 THEN " + span + " ELSE " + other + " END FROM t");
    }
    const std::string keyed = " FROM t WHERE j > 0 OR " + span + " IN ('-36 hours', '00:00')";
    ExpectEqual("SELECT SUM(" + span + "), AVG(" + span + "), MIN(" + span + "), MAX(" + span +
                "), COUNT(DISTINCT " + span + "), SUM(DISTINCT " + span + ")" + keyed);
    ExpectEqual("SELECT " + span + ", COUNT(*), SUM(" + span + "), FIRST(" + span + ")" + keyed +
                " GROUP BY 1");
    ExpectEqual("SELECT DISTINCT DATE_TRUNC('day', " + span + "), EXTRACT(epoch FROM " + span +
                "), EXTRACT(hour FROM " + span + "), JUSTIFY_INTERVAL(" + span + ") FROM t");
    ExpectEqual("SELECT i, " + span + " FROM t ORDER BY 2 DESC, i LIMIT 100");
  }
  ExpectEqual("SELECT h + INTERVAL '1 hour' * small, h - h, DATE_BIN('7 hours', z, day) FROM t");
  ExpectEqual("SELECT TO_UTC(z, 'Europe/Berlin'), FROM_UTC(day, 'Asia/Kolkata') FROM t");
  ExpectEqual(
      "SELECT SUM(j) OVER (ORDER BY day RANGE BETWEEN '1 month' PRECEDING AND '1 day' "
      "FOLLOWING), AVG(z - TIMESTAMP '2012-01-01 00:00') OVER (ORDER BY i ROWS 2 "
      "PRECEDING) FROM t");
}

TEST_F(Batches, TakeTextsOfEveryWidth) {
  const std::vector<std::string> texts = {
      "s", "c", "w", "v", "x", "'abba'", "w || s", "v || x", "CAST(NULL AS varchar(5))"};
  const auto ask = [&](const std::string& value) {
    ExpectEqual("SELECT " + value + " FROM t");
    ExpectEqual("SELECT i, " + value + " FROM t WHERE small > 3 AND b IS NOT NULL");
  };
  for (const std::string& text : texts) {
    ask("UPPER(" + text + "), LOWER(" + text + "), CHAR_LENGTH(" + text + "), OCTET_LENGTH(" +
        text + ")");
    ask("TRIM(" + text + "), TRIM(LEADING 'A' FROM " + text + "), TRIM(TRAILING FROM " + text +
        "), TRIM(BOTH 'b' FROM " + text + ")");
    ask("SUBSTRING(" + text + " FROM 2 FOR 3), SUBSTRING(" + text + " FROM small - 3 FOR small)");
    ask("CASE WHEN CHAR_LENGTH(" + text + ") > 0 THEN SUBSTRING(" + text + " FROM j) END");
    // Refused where it is below 1.
    ask("SUBSTRING(" + text + " FROM 1 FOR i), LEFT(" + text + ", 2)");
    ask("LEFT(" + text + ", small), RIGHT(" + text + ", 2), RIGHT(UPPER(" + text + "), small)");
    ask("MAX(UPPER(SUBSTRING(" + text + " FROM 1 FOR 5))), MIN(LEFT(" + text + ", 3))");
    for (const std::string other : {"s", "v", "x", "'abba'", "CAST(NULL AS varchar(5))"}) {
      ask("POSITION(" + other + " IN " + text + "), LOCATE(" + other + ", " + text + "), REPLACE(" +
          text + ", " + other + ", 'zz'), REPLACE(" + text + ", 'b', " + other + ")");
      ask(text + " || " + other + ", " + text + " = " + other + ", LOWER(" + text + ") < " + other +
          ", " + text + " >= UPPER(" + other + "), POSITION('b' IN " + text + " || " + other + ")");
    }
  }
  for (const char* const order : {"true", "false"}) {
    for (Session* const session : {&rows_, &batches_}) session->Set("CaseSensitiveCompare", order);
    ask("REPLACE(s, 'B', v), POSITION('B' IN w), LOWER(v) = UPPER(v), s <> 'ABC'");
  }
}

TEST_F(Batches, TakeTheBranchOfEachRow) {
  const std::vector<std::pair<std::string, std::string>> branches = {
      {"e", "e * 0.9e0"},
      {"n", "0"},
      {"n", "1.555"},
      {"i", "small"},
      {"day", "far"},
      {"z", "day"},
      {"t", "i > 0"},
      {"small", "NULL"},
      {"n", "m"},
      {"h", "h"},
      {"s", "'x'"},
      {"b", "b"},
      {"j", "u"},
      {"d", "e - 2e0"},
      {"DATE '2012-01-01'", "day"},
      // One branch fails in rows of the other.
      {"1e0", "d * 1e308"},
      {"e", "d - 1e308 * small"}};
  for (const auto& [first, second] : branches) {
    for (const char* const when :
         {"small < 3", "t", "d < 2 AND i IS NOT NULL", "NULL IS NULL", "ABS(d) > 1"}) {
      const std::string head = "CASE WHEN " + std::string(when) + " THEN " + first;
      for (const std::string& tail : {" ELSE " + second, std::string(),
                                      " WHEN small = 5 THEN " + second + " ELSE " + first}) {
        ExpectEqual("SELECT i, " + head + tail + " END FROM t WHERE e < 4");
        ExpectEqual("SELECT COUNT(" + head + tail + " END), MAX(small) FROM t");
      }
    }
  }
}

/// ORDER BY and windows by the numbers of rows: keys of all types in all directions, ties, and rows
/// that are found to need the other way when many have been taken in.
TEST_F(Batches, SortAsRowsDo) {
  const char* const asked = std::getenv("SQXER_BATCH_CASES");
  const int cases = asked != nullptr ? std::atoi(asked) : ShareOfCases(600);
  const std::vector<std::string> examples = Examples();
  const std::vector<std::string> computed = {"i % 7",         "n * small",     "-e",
                                             "i + 1",         "UPPER(s)",      "day + 1",
                                             "100 / (i - 3)", "CAST(d AS int)"};
  const std::vector<std::string> functions = {
      "RANK() OVER (PARTITION BY # ORDER BY #@)",
      "RANK() OVER (ORDER BY #@, #@)",
      "SUM(small) OVER (PARTITION BY # ORDER BY #@, #@ ROWS UNBOUNDED PRECEDING)",
      "SUM(e) OVER (PARTITION BY #, #)",
      "MAX(w) OVER (PARTITION BY #)",
      "MAX(s) OVER (ORDER BY #@ ROWS UNBOUNDED PRECEDING)",
      "SUM(i) OVER (ORDER BY #@, #@ ROWS 3 PRECEDING)",
      "NTILE(3) OVER (PARTITION BY # ORDER BY e)",
      "SUM(i) OVER (PARTITION BY # ORDER BY #@, #@)",
      "DENSE_RANK() OVER (PARTITION BY # ORDER BY #@, #@)",
      "LAG(s, 2, w) OVER (PARTITION BY # ORDER BY #@)",
      "MIN(s) OVER (ORDER BY #@ ROWS BETWEEN 3 PRECEDING AND 2 FOLLOWING EXCLUDE GROUP)",
      "COUNT(e) OVER (PARTITION BY # ORDER BY small@ RANGE BETWEEN 2 PRECEDING AND 1 FOLLOWING)",
      "LISTAGG(s) OVER (PARTITION BY #)",
      "COUNT(*) OVER (PARTITION BY # ORDER BY #@ ROWS UNBOUNDED PRECEDING)",
  };
  const std::vector<std::string> directions = {
      "", " DESC", " NULLS FIRST", " DESC NULLS FIRST", " NULLS LAST", " DESC NULLS LAST"};
  const auto key = [&] {
    if (random_() % 6 == 0) return Pick(computed);
    return std::string(kColumns[random_() % kColumns.size()].name);
  };
  const auto withKeys = [&](const std::string& text) {
    std::string out;
    for (const char c : text)
      out += c == '#' ? key() : c == '@' ? Pick(directions) : std::string(1, c);
    return out;
  };
  for (int i = 0; i < cases && !HasFatalFailure(); ++i) {
    const char* const comparison = i % 5 == 3 ? "off" : "on";
    const char* const locale = i % 11 == 5 ? "sv_SE" : "";
    for (Session* const session : {&rows_, &batches_}) {
      session->Set("CaseSensitiveCompare", comparison);
      session->Set("Locale", locale);
      session->Set("GroupMemory", i % 4 == 1 ? "2000" : "256MiB");
    }
    const std::string where =
        random_() % 2 == 0
            ? " WHERE " + Pick(std::vector<std::string>{"i > 0", "small <> 3", "w LIKE 're%'"})
            : "";
    const std::string limit = random_() % 2 == 0
                                  ? " LIMIT " + std::to_string(random_() % 60) + " OFFSET " +
                                        std::to_string(random_() % 3 * 7)
                                  : "";
    const std::string order = withKeys(" ORDER BY #@") +
                              (random_() % 3 != 0 ? withKeys(", #@") : "") +
                              (random_() % 3 == 0 ? withKeys(", #@") : "");
    if (random_() % 2 == 0) {
      const std::string value = random_() % 3 == 0 ? WithColumns(Pick(examples), random_) : key();
      ExpectEqual("SELECT i, w, (" + value + ") FROM t" + where + order + limit);
    } else {
      ExpectEqual("SELECT i, c, " + withKeys(Pick(functions)) + ", " + withKeys(Pick(functions)) +
                  " FROM t" + where + (random_() % 3 == 0 ? order + limit : ""));
    }
  }
}

/// Outputs, DISTINCT, ORDER BY and LIMIT over the results of windows of all kinds, which may fail.
TEST_F(Batches, GiveBehindWindowsWhatRowsGive) {
  const char* const asked = std::getenv("SQXER_BATCH_CASES");
  const int cases = asked != nullptr ? std::atoi(asked) : ShareOfCases(400);
  const std::vector<std::string> examples = Examples();
  const std::vector<std::string> functions = {
      // Of the rows so far.
      "SUM(#) OVER (ROWS UNBOUNDED PRECEDING)",
      "COUNT(*) OVER (ROWS UNBOUNDED PRECEDING)",
      "MAX($) OVER (ROWS UNBOUNDED PRECEDING)",
      "AVG(#) OVER (ROWS 2 PRECEDING)",
      // Of all rows.
      "SUM(#) OVER ()",
      "MIN($) OVER ()",
      "MAX(w) OVER ()",
      "NTILE(4) OVER (ORDER BY #)",
      "TOP_N(#, 3) OVER ()",
      "PERCENTILE(#) OVER ()",
      // Of sorted rows.
      "RANK() OVER (ORDER BY $ DESC)",
      "RANK() OVER (PARTITION BY $ ORDER BY #, b)",
      "SUM(#) OVER (PARTITION BY $ ORDER BY # ROWS UNBOUNDED PRECEDING)",
      "SUM(#) OVER (PARTITION BY $)",
      "AVG(#) OVER (ORDER BY # ROWS 3 PRECEDING)",
      "MIN($) OVER (PARTITION BY #)",
      "MAX(w) OVER (PARTITION BY $)",
      "FIRST($) OVER (PARTITION BY #)",
      "MAX(s) OVER (ORDER BY # ROWS UNBOUNDED PRECEDING)",
      "LISTAGG(c) OVER (PARTITION BY small)",
      "COUNT(DISTINCT $) OVER (PARTITION BY #)",
      "LEAD($) OVER ()",
      "FIRST_VALUE($) OVER (PARTITION BY # ORDER BY small GROUPS 1 PRECEDING)",
      "PERCENTILE(#) OVER (PARTITION BY $)",
  };
  const std::vector<std::string> numbers = {"i",
                                            "small",
                                            "d",
                                            "e",
                                            "n",
                                            "m",
                                            "n * small",
                                            "i + 1",
                                            "-e",
                                            "u2",
                                            "small / 3",
                                            "100 / (i-3)",
                                            "CAST(d AS int)"};
  const std::vector<std::string> numbersOfGroups = {
      "i",      "small",      "SUM(e)",     "COUNT(*)",           "AVG(d)",
      "MAX(m)", "SUM(n) * 2", "MIN(u) + 1", "100 / (MAX(i) - 3)", "small / COUNT(d)"};
  const std::vector<std::string> valuesOfGroups = {"i",     "w",      "s",        "b",     "c",
                                                   "small", "MAX(w)", "MIN(day)", "SUM(d)"};
  const auto column = [&] { return std::string(kColumns[random_() % kColumns.size()].name); };
  const auto window = [&](bool isGrouped) {
    std::string text;
    for (const char c : Pick(functions)) {
      const std::string number = Pick(isGrouped ? numbersOfGroups : numbers);
      text += c == '#'             ? (number == "u2" ? "u" : number)
              : c != '$'           ? std::string(1, c)
              : isGrouped          ? Pick(valuesOfGroups)
              : random_() % 5 == 0 ? WithColumns(Pick(examples), random_)
                                   : column();
    }
    return text;
  };
  const std::vector<std::string> outputs = {"W",           "W",
                                            "i, W, V",     "COALESCE(W, NULL), i",
                                            "i, W = V",    "CASE WHEN small > 2 THEN W END, V",
                                            "small, W",    "1 / (small - 2), W",
                                            "UPPER(s), W", "i + small, CAST(W AS varchar(60)), W"};
  for (int i = 0; i < cases && !HasFatalFailure(); ++i) {
    isDisguised_ = i % 4 == 0;
    for (Session* const session : {&rows_, &batches_}) {
      // Some windows keep all in memory, some a part of it.
      session->Set("GroupMemory", i % 4 == 1   ? "2000"
                                  : i % 4 == 2 ? std::to_string(8000 + i * 7919 % 20'000)
                                               : "256MiB");
      session->Set("IntegerAggregates", i % 3 == 0 ? "native" : "wide");
    }
    std::string list;
    const bool isGrouped = i % 5 >= 3;
    isLimited_ = isGrouped && (i % 4 == 1 || i % 4 == 2);
    const std::string one = window(isGrouped);
    const std::string other = window(isGrouped);
    for (const char c : Pick(outputs)) {
      list += c == 'W' ? one : c == 'V' ? other : std::string(1, c);
    }
    const std::string where = Pick<std::string>({"", "", " WHERE i > 0", " WHERE small = 3",
                                                 " WHERE w LIKE 're%'", " WHERE 5 / small > 1"});
    const std::string groups =
        isGrouped ? " GROUP BY i, w, s, b, c, small" +
                        Pick<std::string>({"", "", " HAVING COUNT(d) > 0", " HAVING 7 / small > 1"})
                  : "";
    const std::string order =
        Pick<std::string>({"", "", " ORDER BY 1", " ORDER BY 1 DESC, i", " ORDER BY small, 1"});
    const std::string limit = Pick<std::string>({"", " LIMIT 9", " LIMIT 30 OFFSET 11"});
    const bool isDistinct = order.find("i") == std::string::npos && random_() % 4 == 0 &&
                            order.find("small") == std::string::npos;
    ExpectEqual("SELECT " + std::string(isDistinct ? "DISTINCT " : "") + list + " FROM t" + where +
                groups + order + limit);
  }
  // Over few groups, too.
  isLimited_ = false;
  for (const char* const sql : {
           "SELECT s, COUNT(*), SUM(COUNT(*)) OVER (ROWS UNBOUNDED PRECEDING) * 2 FROM t GROUP BY "
           "s",
           "SELECT s, SUM(small), RANK() OVER (ORDER BY SUM(small)) + 1 FROM t GROUP BY s",
           "SELECT w, MAX(i), MAX(i) - SUM(MAX(i)) OVER (ROWS 3 PRECEDING) FROM t GROUP BY w "
           "ORDER BY 3, 1",
           "SELECT DISTINCT SUM(COUNT(*)) OVER () / 2 FROM t GROUP BY i",
           "SELECT w, 1 / (SUM(COUNT(*)) OVER (ROWS UNBOUNDED PRECEDING) - 40) FROM t GROUP BY w",
           "SELECT i, 100 / (SUM(small) OVER (ROWS UNBOUNDED PRECEDING) - 100) FROM t LIMIT 300",
       }) {
    ExpectEqual(sql);
  }
}

/// Enough rows for the parts, passes and words of different widths that numbers are sorted by.
TEST_F(Batches, SortManyRowsAsRowsDo) {
  std::string text = "id,few,many,skewed,near,wide,amount,huge,mixed,day,word,z,price\n";
  constexpr int kManyRows = ShareOfCases(30'000);
  for (int row = 0; row < kManyRows; ++row) {
    const auto number = [&](unsigned below) { return std::to_string(random_() % below); };
    const auto orNull = [&](std::string value) { return random_() % 50 == 0 ? "" : value; };
    text += std::to_string(row) + "," + orNull(number(7)) + "," + number(1u << 31) + ",";
    text += (random_() % 100 == 0 ? number(1u << 30) : number(3)) + ",";
    // These differ in their last bits alone.
    text += "1.00000000000" + number(1000) + "e0,";
    text += orNull("-" + number(1000) + "." + number(1u << 31) + "e" + number(200)) + ",";
    text += orNull(number(100'000) + "." + number(100)) + ",";
    // Decimals beyond 64 bits, of one scale and of several; some differ where doubles do not.
    text += orNull("-" + number(2000) + number(3) + "0000000000000." + number(100)) + ",";
    text += orNull(number(5000) + "0000000000000000000" + number(30) + "e" + number(30)) + ",";
    text += orNull("19" + std::to_string(10 + random_() % 80) + "-0" +
                   std::to_string(1 + random_() % 9) + "-11") +
            ",";
    text += orNull("the same beginning of " + number(900) + (random_() % 2 == 0 ? " " : "")) + ",";
    text += "2001-01-01 0" + number(10) + ":00:00." + number(1'000'000) + ",";
    // Several rows each, in more bits than a word has room for.
    text += orNull(number(40) + "." + number(100) + "e0") + "\n";
  }
  folder_.Write("many.csv", text);
  for (Session* const session : {&rows_, &batches_}) {
    session->SetSchema("many", "huge:numeric,mixed:numeric");
  }
  const std::vector<std::string> orders = {
      "few, many",
      "skewed DESC",
      "skewed, near DESC",
      "near, skewed",
      "wide DESC, near",
      "day, word, few",
      "word DESC, id",
      "z, amount, near, wide",
      "few NULLS FIRST, wide",
      "amount DESC, day",
      "many",
      "near DESC, wide, amount",
      "huge, id DESC",
      "few, huge DESC NULLS FIRST",
      "skewed, mixed, huge",
      "mixed DESC",
      "id DESC",
      "price",
      "few, price DESC NULLS FIRST",
      "price DESC, near",
  };
  for (const std::string& order : orders) {
    RowScan::SetBatchRows(kMostBatchRows);
    const std::string all = " FROM many ORDER BY " + order;
    const std::string rank = ", RANK() OVER (PARTITION BY few ORDER BY " + order + ")" +
                             ", SUM(many) OVER (PARTITION BY skewed ORDER BY " + order +
                             " ROWS UNBOUNDED PRECEDING) FROM many";
    for (const std::string& sql :
         {"SELECT id, word" + all, "SELECT id" + all + " LIMIT 100 OFFSET 9",
          "SELECT id" + all + " LIMIT 9000", "SELECT id" + rank}) {
      // All rows of both would be a long message.
      ASSERT_TRUE(Outcome(batches_, sql) == Outcome(rows_, sql)) << sql;
    }
  }
}

/// Texts that begin alike, some for many characters, some as the whole of another one.
TEST_F(Batches, SortTextsThatBeginAlike) {
  std::string text = "id,few,t,c,wide\n";
  constexpr int kManyRows = 5'000;
  const std::vector<std::string> pieces = {"a",        "b",      "aaaaaaaa", " ",       "\x01",
                                           "\xC3\xA4", "equal ", "A",        "\xC3\xBF"};
  const auto value = [&](unsigned most) {
    std::string made = random_() % 3 == 0 ? "" : "a common beginning";
    for (unsigned left = random_() % most; left > 0; --left) made += Pick(pieces);
    return made.empty() ? made : "\"" + made + "\"";
  };
  for (int row = 0; row < kManyRows; ++row) {
    text += std::to_string(row) + "," + std::to_string(random_() % 5) + "," + value(6) + "," +
            value(3) + "," + value(3) + (random_() % 9 == 0 ? "\xD0\x96" : "") + "\n";
  }
  folder_.Write("alike.csv", text);
  for (Session* const session : {&rows_, &batches_}) {
    session->SetSchema("alike", "id:int4,few:int2,t:varchar(80),c:char(50),wide:varchar(50)");
  }
  const std::vector<std::string> orders = {"t",
                                           "t DESC NULLS FIRST, few",
                                           "few DESC, t DESC, c",
                                           "c DESC, t NULLS FIRST",
                                           "wide, t DESC",
                                           "c"};
  for (const auto& [comparison, locale] : {std::pair("on", ""), {"off", ""}, {"on", "sv_SE"}}) {
    for (Session* const session : {&rows_, &batches_}) {
      session->Set("CaseSensitiveCompare", comparison);
      session->Set("Locale", locale);
    }
    for (const std::string& order : orders) {
      for (const std::string& sql :
           {"SELECT id FROM alike ORDER BY " + order,
            "SELECT id FROM alike ORDER BY " + order + " LIMIT 60",
            "SELECT id, RANK() OVER (ORDER BY " + order + ") FROM alike WHERE few > 0"}) {
        ASSERT_TRUE(Outcome(batches_, sql) == Outcome(rows_, sql)) << sql;
      }
    }
  }
}

}  // namespace
}  // namespace sqxer::test
