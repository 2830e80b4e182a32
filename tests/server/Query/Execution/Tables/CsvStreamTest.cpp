// Tables whose rows are not kept: what statements make of them is what they make of tables in
// memory.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <thread>

#include "server/Query/Execution/Tables/StreamTesting.h"

namespace sqxer::test {
namespace {

constexpr int kRows = 20000;

/// A table in whose first rows every column has the type that it has in all of them.
std::string ManyRows(const std::string& end = "\n") {
  std::string content = "id,grp,price,day,note" + end;
  for (int i = 0; i < kRows; ++i) {
    const std::string n = std::to_string(i);
    content += n + ",g" + std::to_string(i % 7) + "," +
               (i % 5 == 1 ? "" : std::to_string(i % 100) + ".25") + ",2024-0" +
               std::to_string(1 + i % 9) + "-1" + std::to_string(i % 10) +
               (i % 3 == 0 ? ",\"Gr\u00FC\u00DFe,\n\"\"" + n + "\"\"\"" : ",note " + n) + end;
  }
  return content;
}

std::string Utf16(const std::string& utf8) {
  std::string bytes = "\xFF\xFE";
  for (const wchar_t c : Wide(utf8)) {
    bytes += static_cast<char>(c & 0xFF);
    bytes += static_cast<char>(c >> 8 & 0xFF);
  }
  return bytes;
}

const char* const kStatements[] = {
    "SELECT grp, COUNT(*), SUM(price), MIN(day), MAX(note), MEDIAN(id) FROM t GROUP BY grp",
    "SELECT COUNT(*) FROM t",
    "SELECT id, note, price * 2 FROM t WHERE id > 19500 AND grp <> 'g3'",
    "SELECT DISTINCT grp, EXTRACT(month FROM day) FROM t WHERE price IS NULL",
    "SELECT note FROM t ORDER BY note DESC, id LIMIT 3 OFFSET 2",
    "SELECT id FROM t WHERE price > 99 LIMIT 2",
    "SELECT note, id FROM t LIMIT 2 OFFSET 1",
    "SELECT note FROM t LIMIT 0",
    "SELECT grp, RANK() OVER (ORDER BY SUM(price)) FROM t GROUP BY grp",
    "SELECT id, SUM(price) OVER (PARTITION BY grp) FROM t WHERE id < 20",
    "SELECT id, SUM(id) OVER () FROM t WHERE id < 9 WINDOW w AS (ORDER BY COUNT(*))",
    "SELECT 1 FROM t HAVING COUNT(*) > 5",
    "SELECT id, CANONICAL(grp, 't') FROM t WHERE id < 3",
    "SELECT MAX(100 / (id - 15000)) FROM t",
};

using CsvStream = StreamTest;

TEST_F(CsvStream, GivesWhatTheTableInMemoryGives) {
  signal(SIGPIPE, SIG_IGN);
  const std::string content = ManyRows();
  const std::string file = folder_.Write("t.csv", content);
  const std::string returns = folder_.Write("returns.csv", ManyRows("\r\n"));
  const std::string wide = folder_.Write("wide.csv", Utf16(content));
  const std::string pipe = folder_.File("pipe.csv");
  ASSERT_EQ(std::system(("gzip -k " + file).c_str()), 0);
  for (const char* sql : kStatements) {
    SCOPED_TRACE(sql);
    const std::string expected = Outcome(file, sql, "1GiB", 1);
    for (const uint32 threads : {1u, 3u}) {
      for (const std::string& path : {file, returns, wide, file + ".gz"}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(Outcome(path, sql, "1", threads), expected);
      }
      EXPECT_EQ(Outcome(file + ".gz", sql, "200KiB", threads), expected);
      EXPECT_EQ(Outcome(pipe, sql, "1", threads, content), expected);
      EXPECT_EQ(Outcome(pipe, sql, "100KiB", threads, Utf16(content)), expected);
    }
  }
}

TEST_F(CsvStream, KeepsOnlyTheFirstRowsOfAPipe) {
  const std::string pipe = folder_.File("pipe.csv");
  mkfifo(pipe.c_str(), 0600);
  const std::string content = ManyRows();
  std::thread writer([&] { std::ofstream(pipe) << content; });
  {
    const SettingsScope scope([] {
      SUSystemConfig switches;
      switches.Set("TableMemory", "100KiB");
      return std::make_shared<const Settings>(switches);
    }());
    TextTable table({pipe}, L"t", {}, Options(1));
    TableRequest request{.all = false, .names = {L"id", L"note"}, .mostRows = {}};
    request.onePass = true;
    EXPECT_EQ(TypesOf(table.Require(request, nullptr)),
              "id int4?, grp UNKNOWN?, price UNKNOWN?, day UNKNOWN?, note varchar(1024)?");
    const uint64 kept = table.Get().rowCount;
    EXPECT_LT(kept, 4000u);
    // As long as nobody has taken the rest the statement may come again.
    table.Require(request, nullptr);
    const auto rest = table.TakeRest();
    uint64 rows = kept, chunks = 0;
    while (const TableChunk* const chunk = rest->Next()) {
      EXPECT_EQ(chunk->columns[0].rows, chunk->rows);
      EXPECT_EQ(chunk->columns[1].rows, 0u);
      rows += chunk->rows;
      ++chunks;
    }
    EXPECT_EQ(rows, static_cast<uint64>(kRows));
    EXPECT_GE(chunks, 1u);
    EXPECT_NE(ErrorOf(folder_.Path(), [&] { table.Require(request, nullptr); }), "no error");
  }
  writer.join();
}

TEST_F(CsvStream, TypesOfFilesAreThoseOfAllValues) {
  for (const char* late : {"5", "", "5000000000", "0.5", "007", "2012-02-29", "\"\""}) {
    // The column d has no value in the rows that are looked at first.
    std::string content = "a,c,d\n";
    for (int i = 0; i < 30000; ++i) {
      const std::string n = std::to_string(i);
      content += n + "," + (i == 29998 ? late : n) + "," + (i < 29990 ? "" : n + ".5") + "\n";
    }
    const std::string file = folder_.Write("t.csv", content);
    for (const char* sql :
         {"SELECT MAX(c), COUNT(c) FROM t", "SELECT SUM(d), SUM(a) FROM t", "SELECT * FROM t",
          "SELECT c FROM t WHERE a > 5 ORDER BY c DESC LIMIT 5",
          "SELECT d + 1 FROM t WHERE a > 9"}) {
      SCOPED_TRACE(std::string(late) + " " + sql);
      const std::string expected = Outcome(file, sql, "1GiB", 1);
      for (const uint32 threads : {1u, 3u}) {
        EXPECT_EQ(Outcome(file, sql, "1", threads), expected);
      }
    }
  }
}

TEST_F(CsvStream, TextsAreOfAnyLengthWhereNoneIsDeclared) {
  std::string content = "a,c\n";
  for (int i = 0; i < 30000; ++i) content += std::to_string(i) + "," + std::to_string(i) + "\n";
  const std::string longer = content + "7," + std::string(3000, 'x') + "\n";
  const std::string file = folder_.Write("t.csv", longer);
  const std::string sql = "SELECT MAX(CHAR_LENGTH(c)), COUNT(c) FROM t WHERE c <> '5'";
  for (const char* memory : {"1GiB", "1"}) {
    EXPECT_EQ(Outcome(file, sql, memory, 3, "", "a:int4,c:text"), "3000|30000\n") << memory;
  }
  // Of what comes once, the first rows tell how long the others can be.
  const std::string pipe = folder_.File("pipe.csv");
  EXPECT_EQ(Outcome(pipe, sql, "1", 1, content, "a:int4,c:varchar"), "5|29999\n");
  EXPECT_EQ(
      Outcome(pipe, sql, "1", 1, longer, "a:int4,c:text").substr(0, 96),
      "line 30002 of \"pipe.csv\" has a value that the column \"c\" cannot take, which the rows "
      "before it m");
}

TEST_F(CsvStream, RefusesWhatTheFirstRowsOfAPipeDidNotTell) {
  const std::string pipe = folder_.File("pipe.csv");
  const std::string content = ManyRows();
  const std::string declare = ": declare its type with --schema, or raise the switch TableMemory: ";
  const std::string place = "line 26669 of \"pipe.csv\" has ";
  const struct {
    const char* row;
    const char* sql;
    std::string outcome;
  } kCases[] = {
      {"1,g,2.5,2024-01-01,", "SELECT MAX(id), COUNT(*) FROM t", "19999|20001\n"},
      {"1,g,2.5,2024-01-01,2", "SELECT COUNT(note) FROM t WHERE note = '2'", "1\n"},
      {"3000000000,g,2,2024-01-01,x", "SELECT SUM(id) FROM t",
       place + "a value that the column \"id\" cannot take, which the rows before it made int4" +
           declare + "\"3000000000\""},
      {"3,g,n/a,2024-01-01,x", "SELECT SUM(price) FROM t WHERE id < 5",
       place +
           "a value that the column \"price\" cannot take, which the rows before it made double" +
           declare + "\"n/a\""},
      // A column that nobody reads may hold what it likes, but the record must be whole.
      {"3,g,n/a,2024-01-01,x", "SELECT COUNT(*) FROM t WHERE grp = 'g'", "1\n"},
      {"3,g", "SELECT COUNT(*) FROM t",
       place.substr(0, place.size() - 4) + "must have as many fields as the header, 5, and not 2"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.row);
    EXPECT_EQ(Outcome(pipe, c.sql, "50KiB", 1, content + c.row + "\n"), c.outcome);
  }
  const std::string longText(5000, 'x');
  const std::string text = Outcome(pipe, "SELECT MAX(LENGTH(note)) FROM t", "50KiB", 1,
                                   content + "1,g,2,2024-01-01," + longText + "\n");
  EXPECT_TRUE(text.starts_with(place + "a value that the column \"note\" cannot take, which the "
                                       "rows before it made varchar(1024)"))
      << text;
  EXPECT_EQ(Outcome(pipe, "SELECT MAX(LENGTH(note)), SUM(id) FROM t", "50KiB", 1,
                    content + "3000000000,g,2,2024-01-01," + longText + "\n",
                    "note:varchar(5000),id:double"),
            "5000|3199990000\n");
  EXPECT_EQ(Outcome(pipe, "SELECT SUM(id) FROM t", "50KiB", 1, content + "x,g,2,2024-01-01,\n",
                    "id:int2"),
            place + "a value that the column \"id\", int2, cannot take: \"x\"");
}

TEST_F(CsvStream, IsReadByOneStatementOfTheSession) {
  signal(SIGPIPE, SIG_IGN);
  const std::string pipe = folder_.File("pipe.csv");
  mkfifo(pipe.c_str(), 0600);
  const std::string content = ManyRows();
  std::thread writer([&] { std::ofstream(pipe) << content; });
  {
    Session session;
    session.Set("TableMemory", "1");
    session.SetFileOptions(Options(1));
    session.AddTable("t", pipe);
    RunSql(session, "EXPLAIN SELECT id FROM t WHERE id > 5");
    EXPECT_EQ(RunSql(session, "SELECT SUM(id) FROM t"), "199990000\n");
    EXPECT_EQ(Error(session, "SELECT SUM(id) FROM t"),
              "\"pipe.csv\" has been read as far as a statement before wanted it, and cannot be "
              "read again: save it to a file, and name that");
  }
  writer.join();
  // Nor is what an error has left of it.
  for (const char* sql : {"SELECT id FROM t", "SELECT id FROM t LIMIT 3"}) {
    std::thread again([&] { std::ofstream(pipe) << "id\nx\n"; });
    {
      Session session;
      session.SetFileOptions(Options(1));
      session.SetSchema("t", "id:int4");
      session.AddTable("t", pipe);
      EXPECT_EQ(
          Error(session, sql),
          "line 2 of \"pipe.csv\" has a value that the column \"id\", int4, cannot take: \"x\"")
          << sql;
      EXPECT_TRUE(Error(session, sql).starts_with("\"pipe.csv\" has been read")) << sql;
    }
    again.join();
  }
  // A file is there for the next one, and for all runs of one.
  Session session;
  session.Set("TableMemory", "1");
  session.AddTable("t", folder_.Write("t.csv", content));
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(RunSql(session, "SELECT SUM(id) FROM t"), "199990000\n");
  }
  CapturingSink sink;
  session.Execute("SELECT MAX(grp) FROM t", sink, 3);
  EXPECT_EQ(RowText(sink.rows.at(0)), "g6");
}

}  // namespace
}  // namespace sqxer::test
