// The choice of what Tab may put at the cursor, and the file of the history.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "CommandTesting.h"
#include "Completion.h"
#include "HistoryFile.h"
#include "SqlWords.h"
#include "TableFiles.h"

namespace sqxer::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Names = std::vector<std::string>;

class CompletionOfSql : public testing::Test {
 protected:
  /// `sql` has a bar where the cursor is.
  Completion Complete(const std::string& sql) {
    const std::size_t cursor = sql.find('|');
    return CompleteSql(sql.substr(0, cursor), sql.substr(cursor + 1), source_);
  }
  Names Find(const std::string& sql) { return Complete(sql).candidates; }

  CompletionSource source_{.tables =
                               [] {
                                 return Names{"sales", "customers", "\"Odd name\""};
                               },
                           .columns =
                               [](const std::string& table) {
                                 if (table == "sales")
                                   return Names{"region", "price", "\"Unit price\""};
                                 if (table == "customers") return Names{"region", "name"};
                                 if (table == "\"Odd name\"") return Names{"odd"};
                                 return table == "'x.csv'" ? Names{"xcolumn"} : Names();
                               },
                           .functions = {"upper", "sum", "substring"}};
};

TEST_F(CompletionOfSql, ChoosesByThePlace) {
  EXPECT_THAT(Find("sel|"), ElementsAre("select"));
  EXPECT_THAT(Find("SEL|"), ElementsAre("SELECT"));
  EXPECT_EQ(Complete("SEL|").suffix, " ");
  EXPECT_THAT(Find("SELECT UP|"), ElementsAre("UPPER"));
  EXPECT_EQ(Complete("SELECT UP|").suffix, "(");
  EXPECT_EQ(Complete("SELECT UP|").replaced, 2u);
  EXPECT_THAT(Find("SELECT * FROM |"), ElementsAre("\"Odd name\"", "customers", "sales"));
  EXPECT_THAT(Find("SELECT * FROM sales JOIN cu|"), ElementsAre("customers"));
  EXPECT_THAT(Find("SELECT * FROM sales AS s, cu|"), ElementsAre("customers"));
  EXPECT_THAT(Find("SELECT * FROM odd|"), ElementsAre("\"Odd name\""));
  EXPECT_THAT(Find("SELECT region, cu|"), ElementsAre("current"));
  // Columns of the tables that the statement names, before the cursor and behind it.
  EXPECT_THAT(Find("SELECT pri| FROM sales"), ElementsAre("price"));
  EXPECT_THAT(Find("SELECT uni| FROM sales"), ElementsAre("\"Unit price\"", "union"));
  EXPECT_THAT(Find("SELECT * FROM customers WHERE na|"), ElementsAre("name", "natural"));
  EXPECT_THAT(Find("SELECT * FROM customers WHERE |"), ElementsAre("name", "region"));
  EXPECT_THAT(Find("SELECT * FROM 'x.csv' WHERE xc|"), ElementsAre("xcolumn"));
  EXPECT_THAT(Find("SELECT * FROM \"Odd name\" WHERE odd|"), ElementsAre("odd"));
  EXPECT_THAT(Find("SELECT nothing|"), IsEmpty());
  EXPECT_THAT(Find("|"), IsEmpty());
  // Of the one whose name stands before the point.
  EXPECT_THAT(Find("SELECT c.| FROM sales s, customers c"), ElementsAre("name", "region"));
  EXPECT_THAT(Find("SELECT sales.p| FROM sales"), ElementsAre("price"));
  EXPECT_THAT(Find("SELECT x.p| FROM sales"), IsEmpty());
  EXPECT_THAT(Find("SELECT 'sel|"), IsEmpty());
  EXPECT_THAT(Find("SELECT 1 -- sel|"), IsEmpty());
  EXPECT_THAT(Find("SELECT 1 /* sel|"), IsEmpty());
}

TEST_F(CompletionOfSql, BeginsWithWhatAllHaveInCommon) {
  EXPECT_EQ(CommonStart({0, {"select", "SELECTED"}, ""}), "select");
  EXPECT_EQ(CommonStart({0, {"re\u00E9", "re\u00E8"}, ""}), "re");
  EXPECT_EQ(CommonStart({}), "");
  EXPECT_EQ(ArrangeCandidates({"a", "bb", "ccc", "d"}, 12), "a    ccc\nbb   d\n");
  EXPECT_EQ(ArrangeCandidates({"a", "bb"}, 1), "a\nbb\n");
}

class CompletionOfFiles : public Command {};

TEST_F(CompletionOfFiles, FindsThoseThatCanBeTables) {
  folder_.Write("sales.csv", "");
  folder_.Write("sales.txt", "");
  folder_.Write("salad.jsonl.gz", "");
  folder_.Write(".hidden.csv", "");
  std::filesystem::create_directory(folder_.File("salt"));
  const std::string path = folder_.Path() + "/";
  EXPECT_THAT(CompletePath(path + "sal", true).candidates,
              ElementsAre(path + "salad.jsonl.gz", path + "sales.csv", path + "salt/"));
  EXPECT_THAT(CompletePath(path + "sales", false).candidates,
              ElementsAre(path + "sales.csv", path + "sales.txt"));
  EXPECT_THAT(CompletePath(path + ".", true).candidates, ElementsAre(path + ".hidden.csv"));
  EXPECT_THAT(CompletePath(path + "no/where", true).candidates, IsEmpty());
  EXPECT_THAT(CompleteSql("SELECT * FROM '" + path + "sale", "",
                          {[] { return Names(); }, [](const std::string&) { return Names(); }, {}})
                  .candidates,
              ElementsAre(path + "sales.csv"));
}

TEST_F(CompletionOfFiles, NamesAreQuotedWhereTheyMustBe) {
  EXPECT_EQ(QuoteName("sales_2"), "sales_2");
  EXPECT_EQ(QuoteName("\u00E9t\u00E9"), "\u00E9t\u00E9");
  EXPECT_EQ(QuoteName("2024"), "\"2024\"");
  EXPECT_EQ(QuoteName("a b"), "\"a b\"");
  EXPECT_EQ(QuoteName("a\"b"), "\"a\"\"b\"");
  EXPECT_EQ(QuoteName("order"), "\"order\"");
}

TEST_F(CompletionOfFiles, HistoryKeepsTheLatestEntriesWhole) {
  const std::string path = folder_.File("state/sqxer/history");
  const HistoryFile history(path, 4);
  EXPECT_THAT(history.Read(), IsEmpty());
  const Names entries = {"SELECT 1;", "two\nlines\\n;", "\u00E9", "four", "five"};
  for (const std::string& entry : entries) history.Append(entry);
  EXPECT_THAT(history.Read(), ElementsAre(entries[1], entries[2], entries[3], entries[4]));
  // One that is little too long is left as it is.
  EXPECT_EQ(std::ranges::count(ReadFile(path), '\n'), 5);
  history.Append("six");
  history.Append("seven");
  EXPECT_THAT(history.Read(), ElementsAre("four", "five", "six", "seven"));
  EXPECT_EQ(std::ranges::count(ReadFile(path), '\n'), 4);
  struct stat status;
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  ASSERT_EQ(stat(folder_.File("state").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700u);
}

}  // namespace
}  // namespace sqxer::test
