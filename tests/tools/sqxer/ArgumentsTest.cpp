// Arguments that are files or SQL, -c, and what the documents say of the options.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "CommandTesting.h"

namespace sqxer::test {
namespace {

using testing::HasSubstr;

TEST_F(Command, TakesFilesAndSqlAsArguments) {
  folder_.Write("sales.csv", "region,price\nnorth,1\nsouth,2\n");
  folder_.Write("customers.jsonl", "{\"name\":\"Ada\"}\n");
  folder_.Write("my data.csv", "a\n7\n");
  Shell("mkdir -p sub; cp sales.csv sub; gzip -k sub/sales.csv");
  const struct {
    const char* arguments;
    const char* out;
  } kCases[] = {
      {"sales.csv -c 'SELECT COUNT(*) AS n FROM sales'", "n\n2\n"},
      {"-c 'SELECT COUNT(*) AS n FROM sales' ./sales.csv", "n\n2\n"},
      {"sales.csv 'SELECT MAX(price) AS p FROM sales'", "p\n2\n"},
      {"-c 'SELECT 1 AS a' -c 'SELECT 2 AS b; SELECT 3 AS c'", "a\n1\nb\n2\nc\n3\n"},
      {"sub/sales.csv.gz sales.csv customers.jsonl -c 'SELECT COUNT(*) AS n, MIN(name) AS m FROM "
       "sales, SALES_2, customers'",
       "n,m\n4,Ada\n"},
      {"'my data.csv' -c 'SELECT a FROM my_data'", "a\n7\n"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.arguments);
    const Result result = Shell(std::string("sqxer ") + c.arguments);
    EXPECT_EQ(result.out, c.out);
    EXPECT_EQ(result.err, "");
  }
  EXPECT_EQ(Shell("echo 'SELECT COUNT(*) AS n FROM sales' | sqxer sub/sales.csv").out, "n\n2\n");
}

TEST_F(Command, TellsFilesThatAreNotThereFromSql) {
  folder_.Write("sales.csv", "a\n1\n");
  folder_.Write("q.sql", "SELECT 1 AS x");
  folder_.Write("data.txt", "a\n1\n");
  const struct {
    const char* arguments;
    int status;
    const char* error;
  } kCases[] = {
      {"sale.csv", 3, "error: there is no file \"sale.csv\": did you mean sales.csv?\n"},
      {"./sale.csv 'SELECT 1'", 3,
       "error: there is no file \"./sale.csv\": did you mean ./sales.csv?\n"},
      {"no/where.csv", 3, "error: there is no file \"no/where.csv\"\n"},
      {"sales.cvs", 3, "error: there is no file \"sales.cvs\": did you mean sales.csv?\n"},
      {"q.sql", 2, "error: q.sql is no table: -f q.sql runs it as SQL\n"},
      {"data.txt", 2, "error 57015: "},
      {"SELECT 1", 2, "error: more than one argument is SQL: "},
      {"-f q.sql 'SELECT 1'", 2, "error: --file excludes other SQL\n"},
      {"-f q.sql -c 'SELECT 1'", 2, "error: --file excludes other SQL\n"},
      {"'SELECT FROM x.csv'", 1, "error 58"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.arguments);
    const Result result = Shell(std::string("sqxer ") + c.arguments);
    EXPECT_EQ(result.status, c.status);
    EXPECT_EQ(result.err.substr(0, std::string(c.error).size()), c.error);
    EXPECT_EQ(result.out, "");
  }
  EXPECT_EQ(Shell("sqxer -f q.sql sales.csv").out, "x\n1\n");
}

/// The long options that a text names.
std::set<std::string> FindOptions(const std::string& text, const std::string& pattern) {
  std::set<std::string> found;
  const std::regex option(pattern);
  for (std::sregex_iterator match(text.begin(), text.end(), option), end; match != end; ++match) {
    found.insert((*match)[1]);
  }
  return found;
}

TEST_F(Command, CompletionsAndManualKnowEveryOption) {
  const std::set<std::string> options =
      FindOptions(Shell("sqxer --help").out, "\n  (?:-[A-Za-z],)?--([a-z-]+)");
  EXPECT_GT(options.size(), 20u);
  const std::string folder = SQXER_SOURCE_DIR "/tools/sqxer/completion/";
  EXPECT_EQ(FindOptions(ReadFile(folder + "sqxer.bash"), "--([a-z-]+)"), options);
  EXPECT_EQ(FindOptions(ReadFile(folder + "_sqxer"), "--([a-z-]+)"), options);
  EXPECT_EQ(FindOptions(ReadFile(folder + "sqxer.fish"), " -l ([a-z-]+)"), options);
  const std::string manual = Shell("sqxer --help-man").out;
  std::set<std::string> described;
  for (std::string name : FindOptions(manual, "\\\\-\\\\-([a-z\\\\-]+)\\\\fR")) {
    std::erase(name, '\\');
    described.insert(name);
  }
  EXPECT_EQ(described, options);
  EXPECT_THAT(manual, HasSubstr("\\fB\\etiming [on|off]\\fR"));
}

TEST_F(Command, CompletesOptionsInBash) {
  folder_.Write("sales.csv", "a\n1\n");
  const std::string start = "source " SQXER_SOURCE_DIR "/tools/sqxer/completion/sqxer.bash\n";
  const auto complete = [&](const std::string& words, int count) {
    return Shell(start + "COMP_WORDS=(" + words + "); COMP_CWORD=" + std::to_string(count) +
                 "; _sqxer; printf '%s ' \"${COMPREPLY[@]}\"")
        .out;
  };
  EXPECT_EQ(complete("sqxer --he", 1), "--header --help --help-switches ");
  EXPECT_EQ(complete("sqxer -o j", 2), "json jsonl ");
  EXPECT_EQ(complete("sqxer sal", 1), "sales.csv ");
  EXPECT_EQ(complete("sqxer --header ''", 2), "yes no ");
}

}  // namespace
}  // namespace sqxer::test
