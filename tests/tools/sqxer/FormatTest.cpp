// What people see: tables that fit a terminal, other forms of results, charts and errors.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "CommandTesting.h"
#include "Engine/TextOutput.h"

namespace sqxer::test {
namespace {

using engine::CountColumns;

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

class Formats : public Command {
 protected:
  /// The lines that a terminal of so many columns shows.
  std::vector<std::string> Show(int columns, const std::string& options, const std::string& sql) {
    const std::string size = "stty cols " + std::to_string(columns) + "; ";
    return Lines(OnTerminal(size + "sqxer " + options + " " + Quoted(sql), "").out);
  }
};

TEST_F(Formats, TablesFitTheTerminal) {
  folder_.Write(
      "t.csv",
      "id,first name,city,amount,remark,day\n"
      "1,Ada,London,1234567.25,a rather long remark that nobody reads,2024-01-31\n"
      "2,\u65E5\u672C\u8A9E\u65E5\u672C\u8A9E\u65E5\u672C\u8A9E,Leeds,-0.5,,2024-02-01\n");
  for (int columns = 12; columns <= 110; columns += 7) {
    const auto lines = Show(columns, "", "SELECT * FROM t");
    ASSERT_EQ(lines.size(), 5u) << columns;
    for (std::size_t i = 0; i < 4; ++i) {
      EXPECT_LE(CountColumns(lines[i]), static_cast<std::size_t>(columns)) << lines[i];
    }
  }
  // Texts give room, numbers and days do not.
  EXPECT_EQ(
      Show(71, "", "SELECT * FROM t"),
      (std::vector<std::string>{
          " id | first name    | city   |     amount | remark        | day",
          "----+---------------+--------+------------+---------------+------------",
          "  1 | Ada           | London | 1234567.25 | a rather lon\u2026 | 2024-01-31",
          "  2 | \u65E5\u672C\u8A9E\u65E5\u672C\u8A9E\u2026 | Leeds  |       -0.5 | NULL       "
          "   | 2024-02-01",
          "(2 rows)"}));
  const auto narrow = Show(40, "", "SELECT * FROM t");
  EXPECT_EQ(narrow[2], "  1 | Ada      | \u2026 | 2024-01-31");
  EXPECT_EQ(narrow[4], "(2 rows, 3 of 6 columns)");
  // A pipe has room for all.
  EXPECT_EQ(Lines(Sqxer("-o table", "SELECT remark FROM t WHERE id = 1").out)[2],
            " a rather long remark that nobody reads");
}

TEST_F(Formats, LongResultsEndEarlyOnATerminal) {
  const std::string sql = "SELECT * FROM generate_series(1, 3000) AS s(n)";
  auto lines = Show(80, "", sql);
  ASSERT_EQ(lines.size(), 43u);
  EXPECT_EQ(lines[41], " 40");
  EXPECT_EQ(lines[42], "(40 of 3000 rows)");
  EXPECT_EQ(Show(80, "--rows all", sql).size(), 3003u);
  EXPECT_EQ(Show(80, "--rows 2 -o line", sql).back(), "(2 of 3000 rows)");
  EXPECT_EQ(Lines(Sqxer("-o table", sql).out).size(), 3003u);
  EXPECT_EQ(Lines(Sqxer("-o table --rows 5", sql).out).back(), "(5 of 3000 rows)");
  EXPECT_EQ(Shell("sqxer --rows 0 'SELECT 1'").status, 2);
}

TEST_F(Formats, DecimalsThatDoNotEndAreRoundedForPeople) {
  const std::string sql =
      "SELECT 1/3.0 AS a, -2/3.0 AS b, 99999999999999999.5/3 AS c, "
      "2999.99999999999999999999999999999/"
      "3.0 AS d, NUMERIC '0.00000000000000000001'/3.0 AS e, 12345678901234567890.123456789 AS f";
  EXPECT_EQ(Sqxer("-o line", sql).out,
            "-- row 1 --\n"
            "a | 0.3333333333333333\n"
            "b | -0.6666666666666667\n"
            "c | 33333333333333333\n"
            "d | 1000\n"
            "e | 0.000000000000000000003333333333333333\n"
            "f | 12345678901234567890.123456789\n"
            "(1 row)\n");
  EXPECT_TRUE(Sqxer("-o csv", sql).out.find("0.33333333333333333333333333333333333333,") !=
              std::string::npos);
}

TEST_F(Formats, WritesWhatOtherProgramsRead) {
  folder_.Write("t.csv", "a,b|c\n1,\"x|y <b> & *z*\"\n,\"two\tparts\nand \"\"lines\"\"\"\n");
  const std::string sql = "SELECT * FROM t";
  EXPECT_EQ(Sqxer("-o markdown", sql).out,
            "|    a | b\\|c                      |\n"
            "|-----:|---------------------------|\n"
            "|    1 | x\\|y \\<b> & \\*z\\*         |\n"
            "| NULL | two\\\\tparts\\\\nand \"lines\" |\n");
  EXPECT_EQ(Sqxer("-o html", sql).out,
            "<table>\n<thead>\n<tr><th>a</th><th>b|c</th></tr>\n</thead>\n<tbody>\n"
            "<tr><td style=\"text-align:right\">1</td><td>x|y &lt;b&gt; &amp; *z*</td></tr>\n"
            "<tr><td style=\"text-align:right\">NULL</td><td>two\tparts\nand "
            "\"lines\"</td></tr>\n</tbody>\n</table>\n");
  // Several for people are parted.
  EXPECT_EQ(Sqxer("-o markdown", "SELECT 1 AS a; SELECT 2 AS b").out,
            "| a |\n|--:|\n| 1 |\n\n| b |\n|--:|\n| 2 |\n");
  // Tabs part the fields, and are read back.
  ASSERT_EQ(Shell("sqxer -o tsv --out copy.tsv " + Quoted(sql)).status, 0);
  EXPECT_EQ(Sqxer("", "SELECT * FROM 'copy.tsv'").out, Sqxer("", sql).out);
  EXPECT_EQ(Sqxer("-o jsonl", sql).out, Sqxer("-o json", sql).out);
}

TEST_F(Formats, ChartsOfLabelsAreBars) {
  const std::string sql =
      "SELECT * FROM (VALUES ('north', 8, 4), ('a <south>', -4, NULL), ('east', 0, 2)) "
      "AS t(region, \"this year\", \"last year\")";
  // On both sides of zero, the numbers behind the bars.
  const auto one =
      Lines(Sqxer("-o chart", "SELECT region, \"this year\" FROM (" + sql + ") AS s").out);
  ASSERT_EQ(one.size(), 3u);
  const auto countBlocks = [](const std::string& line) {
    std::size_t blocks = 0;
    for (std::size_t at = 0; (at = line.find("\u2588", at)) != std::string::npos; ++at) ++blocks;
    return blocks;
  };
  EXPECT_EQ(countBlocks(one[0]), 44u);
  EXPECT_EQ(countBlocks(one[1]), 22u);
  EXPECT_EQ(one[0].substr(0, 33), " north" + std::string(27, ' '));
  EXPECT_TRUE(one[1].starts_with(" a <south> \u2588") && one[1].ends_with("\u2588 -4")) << one[1];
  EXPECT_EQ(one[2], " east" + std::string(29, ' ') + "0");
  const auto both = Lines(Sqxer("-o chart", sql).out);
  ASSERT_EQ(both.size(), 6u);
  EXPECT_EQ(both[0], "\u2588 this year   \u2592 last year");
  // Of three columns with two texts the second one names the series.
  const auto grouped = Lines(
      Sqxer("-o chart",
            "SELECT * FROM (VALUES ('a', 'x', 1), ('a', 'y', 2), ('b', 'x', 3)) AS t(l, s, n)")
          .out);
  ASSERT_EQ(grouped.size(), 4u);
  EXPECT_EQ(grouped[0], "\u2588 x   \u2592 y");

  const std::string svg = Sqxer("-o svg", sql).out;
  EXPECT_TRUE(svg.starts_with("<svg xmlns=") && svg.ends_with("</svg>\n"));
  EXPECT_NE(svg.find(">a &lt;south&gt;</text>"), std::string::npos);
  // XML takes no such character.
  EXPECT_NE(Sqxer("-o svg", "SELECT E'a\\x01b' AS l, 1 AS n").out.find(">a\uFFFDb</text>"),
            std::string::npos);
}

TEST_F(Formats, ChartsOverNumbersAndTimesAreLines) {
  const std::string months =
      "SELECT DATE '2012-01-01' + n * 31 AS day, n * n AS v FROM generate_series(0, 35) AS s(n)";
  const auto lines = Lines(Sqxer("-o chart", months).out);
  ASSERT_EQ(lines.size(), 19u);
  for (const std::string& line : lines) EXPECT_LE(CountColumns(line), 80u);
  EXPECT_TRUE(lines[0].starts_with(" 1500 \u2524")) << lines[0];
  EXPECT_EQ(lines[17], "     2012                    2013                     2014");
  EXPECT_EQ(lines[18], "       day");
  // The lowest value is at the left end, the highest at the right one.
  EXPECT_TRUE(lines[15].starts_with("    0 \u2524\u28C0")) << lines[15];

  const auto trend =
      Lines(Sqxer("-o chart",
                  "SELECT n, n % 3 AS y, n * 0.1 AS trend FROM generate_series(1, 20) AS s(n)")
                .out);
  EXPECT_EQ(trend[0], "* y   \u2812 trend");
  EXPECT_TRUE(std::ranges::any_of(
      trend, [](const std::string& line) { return std::ranges::count(line, '*') >= 6; }));
  // Large numbers near each other, and those that are too large.
  const auto near =
      Lines(Sqxer("-o chart", "SELECT n, 1000000000 + n FROM generate_series(1, 9) AS s(n)").out);
  EXPECT_TRUE(near[0].starts_with(" 1000000010 \u2524")) << near[0];
  EXPECT_EQ(
      Lines(Sqxer("-o chart", "SELECT n, 1e17 + n * 16 FROM generate_series(0, 1) AS s(n)").out)
          .size(),
      19u);
  EXPECT_EQ(
      Sqxer("-o svg", "SELECT * FROM (VALUES (1, 1e308), (2, -1e308)) AS t(x, y)").out.find("nan"),
      std::string::npos);
  // Single points, equal values, and none at all.
  EXPECT_EQ(Lines(Sqxer("-o chart", "SELECT 1 AS x, 2 AS y").out).size(), 19u);
  EXPECT_EQ(Sqxer("-o chart", "SELECT 1 AS x, 2 AS y WHERE false").out, "(no points)\n");
  EXPECT_EQ(Sqxer("-o chart", "SELECT DATE '9999-12-31', 1").status, 0);
  EXPECT_EQ(Sqxer("-o chart", "SELECT TIME '10:00:00', 1").status, 0);
  EXPECT_EQ(Sqxer("-o chart", "SELECT 'a' AS label").err,
            "error 57170: there is nothing to draw: a chart takes a column of labels, numbers or "
            "times, and columns of numbers behind it\n");
}

TEST_F(Formats, DrawsAPictureIntoAFile) {
  EXPECT_EQ(Sqxer("--plot p.svg", "SELECT n, n * n AS v FROM generate_series(1, 9) AS s(n)").status,
            0);
  const std::string picture = ReadFile(folder_.File("p.svg"));
  EXPECT_NE(picture.find("<polyline"), std::string::npos);
  // A document holds one picture; the old one stays.
  const Result two = Sqxer("--plot p.svg", "SELECT 1, 2; SELECT 3, 4");
  EXPECT_EQ(two.status, 1);
  EXPECT_EQ(
      two.err,
      "error: a picture or an Arrow file holds one result: statement 2 needs one of its own\n");
  EXPECT_EQ(ReadFile(folder_.File("p.svg")), picture);
}

TEST_F(Formats, ErrorsShowThePlaceAndTheValues) {
  folder_.Write("t.csv", "a,b,name\n1,2,x\n5,0,\u65E5\u672C\n");
  EXPECT_EQ(Sqxer("", "SELECT '\u65E5\u672C' AS t,\n  '\u65E5\u672C' || a / b FROM t").err,
            "error 59008: division by zero: leave out the rows whose divisor is 0, or make it NULL "
            "there (line 2, column 13, input row 2)\n"
            "    '\u65E5\u672C' || a / b FROM t\n"
            "                ^\n"
            "  a = 5, b = 0\n");
  // Where groups, filters and windows read the row.
  for (const char* sql : {"SELECT a FROM t WHERE a / b > 0", "SELECT SUM(a / b) FROM t",
                          "SELECT SUM(a / b) OVER () FROM t", "SELECT 1 FROM t GROUP BY a / b",
                          "SELECT a / b FROM t ORDER BY name"}) {
    EXPECT_TRUE(Sqxer("", sql).err.ends_with("^\n  a = 5, b = 0\n")) << Sqxer("", sql).err;
  }
  // What a subquery gave is no column.
  EXPECT_TRUE(Sqxer("", "SELECT a / (b - (SELECT MAX(b) FROM t AS s WHERE s.a = t.a)) FROM t")
                  .err.ends_with("^\n  a = 1, b = 2\n"));
  const std::string longLine =
      "SELECT " + std::string(200, ' ') + "nam" + std::string(200, ' ') + " FROM t";
  EXPECT_EQ(
      Sqxer("", longLine).err,
      "error 59015: there is no column of this name: \"nam\" (did you mean \"name\"?) (line 1, "
      "column 208)\n  \u2026" +
          std::string(50, ' ') + "nam" + std::string(47, ' ') + "\u2026\n  " +
          std::string(51, ' ') + "^\n");
  EXPECT_NE(Sqxer("", "SELECT * FROM tt").err.find("(did you mean \"t\"?)"), std::string::npos);
  EXPECT_EQ(
      Sqxer("--errors json", "SELECT a / b FROM t; SELECT \"x\"\"\ny\"").err,
      "{\"code\":59008,\"message\":\"division by zero: leave out the rows whose divisor is 0, or "
      "make it NULL "
      "there\",\"line\":1,\"column\":10,\"offset\":9,\"row\":2,\"inputs\":{\"a\":\"5\","
      "\"b\":\"0\"},\"sql\":\"SELECT a / b FROM t\"}\n"
      "{\"code\":58022,\"message\":\"there is no column without a table, add FROM: "
      "\\\"x\\\"\\u000ay\\\"\","
      "\"line\":1,\"column\":29,\"offset\":28,\"sql\":\"SELECT \\\"x\\\"\\\"\\u000ay\\\"\"}\n");
}

TEST_F(Formats, ErrorsAreColouredOnATerminal) {
  const std::string line = "TERM=xterm sqxer 'SELECT nope'";
  EXPECT_NE(OnTerminal(line, "").out.find("\x1b[1;31merror "), std::string::npos);
  // Nothing that a terminal obeys is of the data.
  EXPECT_EQ(Sqxer("", "SELECT CAST(E'\\u009b31m\u00e9' AS int)").err.find("\u009b"),
            std::string::npos);
  EXPECT_EQ(OnTerminal("NO_COLOR=1 " + line, "").out.find('\x1b'), std::string::npos);
  EXPECT_EQ(OnTerminal("TERM=dumb sqxer 'SELECT nope'", "").out.find('\x1b'), std::string::npos);
}

}  // namespace
}  // namespace sqxer::test
