// What the engine writes as text, and what it tells of statements meanwhile: its header alone.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <stdexcept>

#include "Engine/Engine.h"
#include "server/Query/Execution/Engine/TemporaryFolder.h"

namespace sqxer::test {
namespace {

using engine::Error;
using engine::Phase;
using engine::Session;
using engine::TextOptions;
using testing::ElementsAre;
using Format = TextOptions::Format;

/// The code of the error that an action ends with; 0 without one.
template <class Action>
int CodeOf(Action&& action) {
  try {
    action();
  } catch (const Error& error) {
    return error.GetCode();
  }
  return 0;
}

class TextOutput : public testing::Test {
 protected:
  std::string Write(const std::string& sql, const TextOptions& options = {},
                    const std::vector<std::string>& parameters = {}) {
    text_.clear();
    session_.Write(
        sql, [this](std::string_view piece) { text_ += piece; }, parameters, options);
    return text_;
  }
  /// A table t of so many rows 1, then one row 0.
  void AddOnes(int rows) {
    std::string text = "a,b\n";
    for (int i = 0; i < rows; ++i) text += "1,some text to make the rows long\n";
    folder_.Write("t.csv", text + "0,\n");
    session_.SetDirectory(folder_.Path());
  }

  TemporaryFolder folder_;
  Session session_;
  std::string text_;
};

TEST_F(TextOutput, WritesEveryFormatWithAllDigits) {
  const std::string sql =
      "SELECT NUMERIC '12345678901234567890.123456789012345678' AS n, '\u65E5\u672C' AS t, $1 AS p";
  EXPECT_EQ(Write(sql, {}, {"int4:7"}),
            "n,t,p\n12345678901234567890.123456789012345678,\u65E5\u672C,7\n");
  EXPECT_EQ(Write(sql, {.hasHeader = false}, {""}),
            "12345678901234567890.123456789012345678,\u65E5\u672C,\n");
  EXPECT_EQ(Write(sql, {.format = Format::kJsonLines}, {"a\tb"}),
            "{\"n\":12345678901234567890.123456789012345678,\"t\":\"\u65E5\u672C\","
            "\"p\":\"a\\tb\"}\n");
  EXPECT_EQ(session_.GetReport().writtenRows, 1u);
  // Widths are those of Unicode in a program that has set no locale.
  EXPECT_EQ(Write("SELECT '\u65E5\u672C' AS t, 1 AS n", {.format = Format::kTable}),
            " t    | n\n------+---\n \u65E5\u672C | 1\n(1 row)\n");
  EXPECT_EQ(Write("EXPLAIN SELECT 1", {.runs = 2}),
            "output ?column?\n  ConstantInt32 1 -> INTEGER\n");
  EXPECT_EQ(session_.GetReport().writtenRows, 2u);
}

TEST_F(TextOutput, TellsHowFarAStatementGotThatFails) {
  AddOnes(10000);
  const std::string sql = "SELECT 1 / a AS q, b FROM t";
  EXPECT_EQ(CodeOf([&] { Write(sql); }), 59008);
  // Whole rows, without those that came behind the last piece.
  const auto rows = static_cast<std::uint64_t>(std::ranges::count(text_, '\n')) - 1;
  EXPECT_EQ(text_.back(), '\n');
  EXPECT_GT(rows, 1000u);
  EXPECT_LT(rows, 10000u);
  EXPECT_EQ(session_.GetReport().writtenRows, rows);
  // A statement that never began has written nothing.
  EXPECT_EQ(CodeOf([&] { Write("SELECT $1", {}, {"bit:2"}); }), 57019);
  EXPECT_EQ(session_.GetReport().writtenRows, std::nullopt);
  for (const TextOptions& options :
       {TextOptions{.waitsForEnd = true}, TextOptions{.format = Format::kTable}}) {
    EXPECT_EQ(CodeOf([&] { Write(sql, options); }), 59008);
    EXPECT_EQ(text_, "");
    EXPECT_EQ(session_.GetReport().writtenRows, std::nullopt);
  }
  EXPECT_EQ(Write("SELECT b FROM t LIMIT 1", {.waitsForEnd = true}),
            "b\nsome text to make the rows long\n");
}

TEST_F(TextOutput, PassesOnWhatItsCallersThrow) {
  AddOnes(100000);
  int pieces = 0;
  const auto write = [&](std::string_view) {
    if (++pieces == 3) throw std::out_of_range("full");
  };
  EXPECT_THROW(session_.Write("SELECT * FROM t", write), std::out_of_range);
  EXPECT_EQ(pieces, 3);
  EXPECT_GT(session_.GetReport().run.count(), 0);
  for (const Phase phase : {Phase::kReading, Phase::kGrouping}) {
    session_.RemoveTable("t");
    session_.SetDirectory(folder_.Path());
    session_.SetProgress([&](Phase at, std::uint64_t, std::uint64_t) {
      if (at == phase) throw std::out_of_range("enough");
    });
    EXPECT_THROW(Write("SELECT b, SUM(a) FROM t GROUP BY b"), std::out_of_range);
  }
  session_.SetProgress(nullptr);
  EXPECT_EQ(Write("SELECT SUM(a) AS s FROM t"), "s\n100000\n");
}

TEST_F(TextOutput, TellsWhatAStatementIsAt) {
  AddOnes(20000);
  std::map<Phase, std::uint64_t> most;
  session_.SetProgress([&](Phase phase, std::uint64_t done, std::uint64_t total) {
    EXPECT_LE(done, total);
    most[phase] = std::max(most[phase], done);
  });
  session_.SetThreads(2);
  Write("SELECT b, SUM(a) FROM t GROUP BY b ORDER BY 2");
  std::vector<Phase> phases;
  for (const auto& [phase, done] : most) phases.push_back(phase);
  EXPECT_THAT(phases,
              ElementsAre(Phase::kReading, Phase::kGrouping, Phase::kSorting, Phase::kWriting));
  // Joins go through the rows of both sides.
  EXPECT_FALSE(most.contains(Phase::kJoining));
  Write("SELECT COUNT(*) FROM t a JOIN (SELECT DISTINCT b FROM t) c ON a.b = c.b");
  EXPECT_EQ(most[Phase::kJoining], 20001u + 2);
  // Bytes of the file.
  EXPECT_GT(most[Phase::kReading], 20000u * 30);
  const engine::RunReport report = session_.GetReport();
  EXPECT_GT(report.load.count() + report.bind.count() + report.run.count(), 0);
  // Also of a statement whose rows come otherwise.
  session_.Query("SELECT COUNT(*) FROM t");
  EXPECT_EQ(session_.GetReport().writtenRows, std::nullopt);
}

TEST_F(TextOutput, ReadsFilesAsTheyAreSaidToBe) {
  folder_.Write("t.csv", "1;x\nNA;y\n");
  folder_.Write("rows.csv", "1,x\n2,y\n");
  session_.SetDirectory(folder_.Path());
  std::vector<std::string> warnings;
  session_.SetHeaderWarning([&](const std::string& path) { warnings.push_back(path); });
  Write("SELECT * FROM rows LIMIT 1");
  Write("SELECT * FROM rows");
  EXPECT_THAT(warnings, ElementsAre(folder_.File("rows.csv")));

  Session other;
  other.SetDirectory(folder_.Path());
  other.SetFileOptions({.delimiter = ';', .hasHeader = false, .nullText = "NA"});
  // What is refused leaves the options as they were.
  EXPECT_EQ(CodeOf([&] { other.SetFileOptions({.encoding = "nope"}); }), 57023);
  EXPECT_EQ(CodeOf([&] { other.SetFileOptions({.delimiter = '\n'}); }), 57039);
  EXPECT_EQ(CodeOf([&] { other.SetFileOptions({.delimiter = '\xA7'}); }), 57039);
  other.SetThreads(3);
  other.Write("SELECT SUM(column1) AS s, COUNT(*) FROM t",
              [&](std::string_view piece) { text_ = piece; });
  EXPECT_EQ(text_, "s,count\n1,2\n");
  other.RefuseStandardInput();
  EXPECT_EQ(CodeOf([&] { other.Query("SELECT * FROM \"-\""); }), 57032);
}

TEST(Statements, HavePlacesInTheirText) {
  const std::string text = "SELECT 1;\n-- no statement\n;\n  SELECT '\u00e4;' ||\n nope; ";
  const auto statements = engine::SplitStatements(text);
  ASSERT_EQ(statements.size(), 2u);
  EXPECT_EQ(statements[0].sql, "SELECT 1");
  EXPECT_EQ(statements[1].sql, "SELECT '\u00e4;' ||\n nope");
  EXPECT_EQ(text.substr(statements[1].offset, statements[1].sql.size()), statements[1].sql);
  try {
    Session().Query(statements[1].sql);
    ADD_FAILURE();
  } catch (const Error& error) {
    const auto position = static_cast<std::size_t>(error.GetPosition());
    const engine::Place at = engine::FindPlace(text, statements[1].offset + position);
    EXPECT_EQ(at.line, 5);
    EXPECT_EQ(at.column, 2);
    EXPECT_FALSE(error.IsOfFile());
  }
  // Columns are characters; beyond the end there are none.
  EXPECT_EQ(engine::FindPlace("\u00e4b", 2).column, 2);
  EXPECT_EQ(engine::FindPlace("\u00e4b", std::string::npos).column, 3);
}

TEST(Statements, TellWhatATextThatGoesOnIsInTheMiddleOf) {
  using engine::TextEnd;
  const struct {
    const char* text;
    TextEnd end;
  } kCases[] = {
      {"", TextEnd::kNothing},
      {" -- a comment", TextEnd::kNothing},
      {"/* a comment */ ", TextEnd::kNothing},
      {"SELECT 1", TextEnd::kStatement},
      {"SELECT 1;", TextEnd::kNothing},
      {"SELECT 1; -- over", TextEnd::kNothing},
      {"SELECT 1; SELECT 2", TextEnd::kStatement},
      {"SELECT 1 -- ;", TextEnd::kStatement},
      {"SELECT 1 /* ;", TextEnd::kComment},
      {"/* ; /* ; */ ;", TextEnd::kComment},
      {"SELECT ';", TextEnd::kText},
      {"SELECT ';';", TextEnd::kNothing},
      {"SELECT 'it''s;", TextEnd::kText},
      {"SELECT 'a\\';", TextEnd::kNothing},
      {"SELECT E'a\\';", TextEnd::kText},
      {"SELECT E'a\\'", TextEnd::kText},
      {"SELECT \";", TextEnd::kName},
      {"SELECT \"a\"\"b\";", TextEnd::kNothing},
      {"SELECT $$;$", TextEnd::kDollarText},
      {"SELECT $a$ $$ ;", TextEnd::kDollarText},
      {"SELECT $a$ $$ ; $a$;", TextEnd::kNothing},
      {"SELECT $1;", TextEnd::kNothing},
  };
  for (const auto& c : kCases) EXPECT_EQ(engine::FindTextEnd(c.text), c.end) << c.text;
}

TEST(Tables, AreNamedByTheirPaths) {
  EXPECT_EQ(engine::NameOfTable("logs/sales 2024.csv.gz"), "sales_2024");
  EXPECT_EQ(engine::NameOfTable("2024.tsv"), "_2024");
  EXPECT_EQ(engine::NameOfTable("\u00C9t\u00E9.jsonl"), "\u00C9t\u00E9");
  EXPECT_EQ(engine::NameOfTable("x.db:Orders"), "Orders");
  EXPECT_EQ(engine::NameOfTable("notes.txt"), "");
  EXPECT_EQ(engine::NameOfTable("SELECT 1"), "");
}

TEST(Reference, FindsNamesThatArePerhapsMeant) {
  EXPECT_THAT(engine::FindNearNames("sale.csv", {"sales.csv", "sold.csv", "sales.csv"}),
              ElementsAre("sales.csv"));
  EXPECT_THAT(engine::FindNearNames("x", {"sales.csv"}), ElementsAre());
}

TEST(Statements, AreTextsThatCanBeChecked) {
  EXPECT_TRUE(engine::IsSqlText("SELECT '\u00e4'"));
  EXPECT_FALSE(engine::IsSqlText("SELECT '\xe4'"));
  EXPECT_FALSE(engine::IsSqlText(std::string_view("SELECT 1\0", 9)));
  EXPECT_EQ(CodeOf([] { engine::CheckParameters({"1", "date:2012-02-30"}); }), 57019);
  EXPECT_EQ(CodeOf([] { engine::CheckParameters({"1", "date:2012-02-29"}); }), 0);
  const TemporaryFolder folder;
  EXPECT_EQ(engine::ReadSqlText(folder.Write("q.sql", "SELECT\r\n1")), "SELECT\r\n1");
  try {
    engine::ReadSqlText(folder.File("nope.sql"));
    ADD_FAILURE();
  } catch (const Error& error) {
    EXPECT_TRUE(error.IsOfFile());
    EXPECT_EQ(error.what(),
              "\"" + folder.File("nope.sql") + "\" cannot be read: No such file or directory");
  }
}

TEST(EngineReference, ListsWhatSessionsTake) {
  Session session;
  for (const engine::SwitchDescription& one : engine::ListSwitches()) {
    EXPECT_NO_THROW(session.Set(std::string(one.name), std::string(one.defaultValue))) << one.name;
  }
  std::set<engine::FunctionDescription::Kind> kinds;
  std::string page;
  for (const engine::SqlPage& one : engine::DescribeSql()) page += one.text;
  for (const engine::FunctionDescription& one : engine::ListFunctions()) {
    kinds.insert(one.kind);
    EXPECT_NE(page.find("### `" + std::string(one.form) + "`\n\n" + std::string(one.description)),
              std::string::npos);
  }
  EXPECT_EQ(kinds.size(), 4u);
  EXPECT_EQ(engine::DescribeSql("Upper").find("### `UPPER(s)`"), 0u);
  EXPECT_THROW(engine::DescribeSql("uper"), Error);
}

}  // namespace
}  // namespace sqxer::test
