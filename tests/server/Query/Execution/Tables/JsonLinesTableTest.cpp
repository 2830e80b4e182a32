#include <gtest/gtest.h>
#include <zlib.h>

#include "server/Query/Execution/Tables/StreamTesting.h"

namespace sqxer::test {
namespace {

class JsonLinesTable : public StreamTest {
 protected:
  Session OpenLines(const std::string& content, const std::string& schema = "") {
    Session session;
    session.AddTable("t", folder_.Write("t.jsonl", content));
    if (!schema.empty()) session.SetSchema("t", schema);
    return session;
  }
};

TEST_F(JsonLinesTable, HasTheKeysOfAllLinesAndTheTypesOfTheirValues) {
  const struct {
    std::string content;
    const char* types;
    const char* rows;
  } kCases[] = {
      {"{\"a\":1,\"b\":\"x\"}\n{\"b\":\"yz\",\"a\":-2}\n", "a int4, b varchar(2)", "1|x\n-2|yz\n"},
      // Keys that come later, that are missing and that are null; blanks and empty lines.
      {"\xEF\xBB\xBF{\"a\":1}\r\n\r\n  { \"b\" : true , \"a\" : null }  \n{}\n{\"b\":false}",
       "a int4?, b boolean?", "1|\n|true\n|\n|false\n"},
      {"{\"a\":null,\"\":2}\n", "a varchar(1)?, column2 int4", "|2\n"},
      // Numbers keep their digits and quoted ones are texts, as are columns of several kinds.
      {"{\"i\":3000000000,\"d\":1e2,\"n\":\"1\",\"m\":1.50}\n"
       "{\"i\":12345678901234567890123456789012345678,\"d\":-0,\"n\":\"2\",\"m\":true}\n",
       "i numeric, d double, n varchar(1), m varchar(4)",
       "3000000000|100|1|1.50\n12345678901234567890123456789012345678|-0|2|true\n"},
      {"{\"d\":\"2012-02-29\",\"s\":\"2012-02-29\",\"t\":\"10:00\",\"b\":\"true\",\"e\":\"\"}\n"
       "{\"d\":\"2012-03-01\",\"s\":\"2012-02-29T12:30:00\",\"t\":\"11:00:01\",\"b\":\"x\"}\n",
       "d date, s timestamp, t time, b varchar(4), e varchar(1)?",
       "2012-02-29|2012-02-29 00:00:00|10:00:00|true|\n"
       "2012-03-01|2012-02-29 12:30:00|11:00:01|x|\n"},
      {"{\"d\":\"2012-02-29\"}\n{\"d\":7}\n", "d varchar(10)", "2012-02-29\n7\n"},
      // Escapes, and nested values as they are written.
      {R"({"k\u00e9y":"J\u00f6\n\"\ud83d\ude00","o":{ "x": [1, {"y":"}"}] } ,"p":[ ]})",
       "k\u00E9y varchar(5), o varchar(23), p varchar(3)",
       "J\u00F6\n\"\U0001F600|{ \"x\": [1, {\"y\":\"}\"}] }|[ ]\n"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.content);
    Session session = OpenLines(c.content);
    EXPECT_EQ(TypesOf(*session.FindTable(L"t", {})), c.types);
    EXPECT_EQ(RunSql(session, "SELECT * FROM t"), c.rows);
  }
}

TEST_F(JsonLinesTable, HandsNestedValuesToJsonFunctionsAndTakesDeclaredTypes) {
  const std::string content =
      "{\"id\":1,\"who\":{\"name\":\"Ada\",\"tags\":[\"x\",\"y\"]}}\n"
      "{\"id\":2,\"who\":{\"name\":\"Li\"}}\n{\"id\":3}\n";
  Session session = OpenLines(content, "id:varchar(3)");
  EXPECT_EQ(RunSql(session,
                   "SELECT id, JSON_VALUE(who, '$.name'), JSON_VALUE(who, '$.tags[1]') "
                   "FROM t WHERE id <> '2' LIMIT 2"),
            "1|Ada|y\n3||\n");
  EXPECT_EQ(TypesOf(*session.FindTable(L"t", {})), "id varchar(3), who varchar(31)?");
}

TEST_F(JsonLinesTable, ReadsLinesAcrossBlocksPackedFilesAndSeveral) {
  const std::string longText(300000, 'x');
  std::string content;
  for (int i = 0; i < 20000; ++i) content += "{\"n\":" + std::to_string(i) + ",\"t\":\"abc\"}\n";
  content += "{\"t\":\"" + longText + "\"}\n{\"n\":7}";
  const std::string packed = folder_.File("p.jsonl.gz");
  const gzFile out = gzopen(packed.c_str(), "wb");
  gzwrite(out, content.data(), static_cast<unsigned>(content.size()));
  gzclose(out);
  Session session = OpenLines(content);
  session.AddTable("p", packed);
  folder_.Write("several1.ndjson", "{\"a\":1}");
  folder_.Write("several2.ndjson", "{\"b\":2}\n");
  session.AddTable("s", folder_.File("several*.ndjson"));
  const std::string sums = "SELECT COUNT(*), COUNT(n), SUM(n), MAX(CHAR_LENGTH(t)), COUNT(t) FROM ";
  EXPECT_EQ(RunSql(session, sums + "t"), "20002|20001|199990007|300000|20001\n");
  EXPECT_EQ(RunSql(session, sums + "p"), "20002|20001|199990007|300000|20001\n");
  EXPECT_EQ(RunSql(session, "SELECT * FROM s"), "1|\n|2\n");
}

TEST_F(JsonLinesTable, RefusesBrokenLinesWithTheirPlace) {
  const auto broken = [](const std::string& line) {
    return "is not one whole JSON object, as each line must be: mend or remove it: \"" + line +
           "\"";
  };
  const std::string nul =
      "holds a NUL byte, which text files have not: remove it, or name the "
      "encoding of the file with --encoding";
  const std::string escape =
      "has a string with the character \\u0000, which texts have not: remove it";
  const std::string good = "{\"a\":1}\n\n";
  struct Case {
    std::string line;
    std::string error;
  };
  std::vector<Case> cases = {
      {"{\"a\":\"\t\"}", broken("{\"a\":\" \"}")},
      {"{\"a\":1,\"a\":2}", "has a key more than once, rename one: \"a\""},
      {"{\"a\":\"\xE4\"}",
       "is not valid UTF-8: save the file as UTF-8, or name its encoding with --encoding"},
      {"{\"b\":\"" + std::string(65 << 20, 'x') + "\"}",
       "has more than 64 MiB: is each JSON object on a line of its own?"},
      {std::string("{\"a\":1\0}", 8), nul},
      {std::string("{\"a\":1}\0", 8), nul},
      {"{\"a\":\"x\\u0000\"}", escape},
      {"{\"\\u0000\":1}", escape},
      {"{\"a\":[1}\r", broken("{\"a\":[1}")},
      {"{\"a\":" + std::string(1001, '[') + std::string(1001, ']') + "}",
       "has values more than 1000 levels deep in each other: flatten them, or write them as a "
       "string"},
  };
  for (const std::string line : {"{",
                                 "}",
                                 "[1]",
                                 "7",
                                 "\"a\"",
                                 "null",
                                 "a",
                                 "{\"a\":1}{\"a\":2}",
                                 "{\"a\":1} x",
                                 "{\"a\":1,}",
                                 "{\"a\":1",
                                 "{\"a\" 1}",
                                 "{\"a\":}",
                                 "{a:1}",
                                 "{\"a\":01}",
                                 "{\"a\":1.}",
                                 "{\"a\":+1}",
                                 "{\"a\":1x}",
                                 "{\"a\":NaN}",
                                 "{\"a\":truex}",
                                 "{\"a\":nul}",
                                 "{\"a\":\"\\x\"}",
                                 "{\"a\":\"\\ud800\"}",
                                 "{\"a\":\"x}",
                                 "{\"a\":[1,]}",
                                 "{\"a\":[1 2]}",
                                 "{\"a\":{\"b\":01}}",
                                 "{\"a\":[tru]}",
                                 "{\"a\":[}",
                                 "{\"a\":[1}",
                                 "{\"a\":{\"b\":1]}",
                                 "{\"a\":{}",
                                 "{\"a\":[1]"}) {
    cases.push_back({line, broken(line)});
  }
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line.substr(0, 60));
    for (const char* const behind : {"\n{\"a\":2}\n", "\n", ""}) {
      Session session = OpenLines(good + c.line + behind);
      EXPECT_EQ(Error(session, "SELECT * FROM t"), "line 3 of \"t.jsonl\" " + c.error);
      EXPECT_EQ(RunSql(session, "SELECT 1"), "1\n");
    }
  }
}

TEST_F(JsonLinesTable, RefusesFilesWithoutKeysAndValuesOfOtherTypes) {
  const struct {
    std::string content;
    const char* schema;
    std::string error;
  } kCases[] = {
      {"", "",
       "no line of the file has a JSON object with a key, which names a column: \"t.jsonl\""},
      {"{}\n", "",
       "no line of the file has a JSON object with a key, which names a column: \"t.jsonl\""},
      {"{\"a\":1}\n{\"a\":\"x\"}\n", "a:int4",
       "line 2 of \"t.jsonl\" has a value that the column \"a\", int4, cannot take: \"x\""},
      {"{\"a\":\"abc\"}\n{\"a\":1}\n[]\n", "a:char(2)",
       "line 3 of \"t.jsonl\" is not one whole JSON object, as each line must be: mend or "
       "remove it: \"[]\""},
      {"{\"a\":1}\n", "b:int4",
       "the declared types of \"t.jsonl\" name a column that it has not, write its "
       "name as the file does, letter case included: \"b\""},
      {"{\"\":1,\"column1\":1}\n", "",
       "two columns of \"t.jsonl\" have the same name, rename one: \"column1\""},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.content);
    Session session = OpenLines(c.content, c.schema);
    EXPECT_EQ(Error(session, "SELECT * FROM t"), c.error);
  }
  // Deeper nesting than is read is an error, not an overflow.
  Session session =
      OpenLines("{\"a\":" + std::string(100000, '[') + std::string(100000, ']') + "}");
  EXPECT_THAT(Error(session, "SELECT * FROM t"),
              testing::StartsWith("line 1 of \"t.jsonl\" has values more than"));
}

/// Lines of which late ones have further keys, and a text among the numbers `n`.
std::string ManyLines() {
  std::string content;
  for (int i = 0; i < 20000; ++i) {
    const std::string n = std::to_string(i);
    content += "{\"id\":" + n;
    if (i % 5 != 1) content += ",\"g\":\"g" + std::to_string(i % 7) + "\"";
    content += ",\"n\":" + (i == 15003 ? "\"7\"" : i % 11 == 0 ? "null" : n + ".5");
    content += ",\"day\":\"2024-0" + std::to_string(1 + i % 9) + "-10\"";
    content += ",\"note\":\"say \\\"" + n + "\\\" \\u00e4\",\"o\":{\"k\":[\"" + n + "\"]}";
    if (i > 12000) content += ",\"late\":" + n;
    if (i == 18000) content += ",\"last\":\"10:30\"";
    content += i % 100 == 0 ? "}\n\n" : "}\n";
  }
  return content;
}

TEST_F(JsonLinesTable, GivesTheSameByWhateverWayItIsRead) {
  signal(SIGPIPE, SIG_IGN);
  const std::string content = ManyLines();
  const std::string file = folder_.Write("t.jsonl", content);
  ASSERT_EQ(std::system(("gzip -k " + file).c_str()), 0);
  const struct {
    const char* sql;
    const char* rows;
    /// Whether the first rows tell the keys and the types.
    bool isToldEarly;
  } kCases[] = {
      {"SELECT COUNT(*), COUNT(g), SUM(id), MIN(day), MAX(o) FROM t",
       "20000|16000|199990000|2024-01-10|{\"k\":[\"9999\"]}\n", true},
      {"SELECT COUNT(*) FROM t", "20000\n", true},
      {"SELECT note, g FROM t WHERE id IN (3, 19996)",
       "say \"3\" \u00E4|g3\nsay \"19996\" \u00E4|\n", true},
      {"SELECT MAX(n), COUNT(n) FROM t", "9998.5|18181\n", false},
      {"SELECT n FROM t WHERE id IN (15002, 15003)", "15002.5\n7\n", false},
      {"SELECT SUM(late), MAX(last) FROM t", "127984000|10:30:00\n", false},
      {"SELECT * FROM t WHERE late > 17998 AND id < 18001",
       "17999|g2|17999.5|2024-09-10|say \"17999\" \u00E4|{\"k\":[\"17999\"]}|17999|\n"
       "18000|g3|18000.5|2024-01-10|say \"18000\" \u00E4|{\"k\":[\"18000\"]}|18000|10:30:00\n",
       false},
      {"SELECT id, late FROM t LIMIT 1", "0|\n", false},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.sql);
    for (const uint32 threads : {1u, 3u}) {
      for (const char* memory : {"1GiB", "1"}) {
        SCOPED_TRACE(memory);
        EXPECT_EQ(Outcome(file, c.sql, memory, threads), c.rows);
        EXPECT_EQ(Outcome(file + ".gz", c.sql, memory, threads), c.rows);
        if (*memory == '1' && memory[1] == '\0' && !c.isToldEarly) continue;
        // A pipe without an ending is JSON lines by what it holds.
        EXPECT_EQ(Outcome(folder_.File("pipe"), c.sql, memory, threads, content), c.rows);
      }
    }
  }
  EXPECT_EQ(Outcome(folder_.File("p"), "SELECT * FROM t", "500KiB", 1, content),
            "line 12123 of \"p\" has a key that the rows before, which told the columns, had not: "
            "\"late\"; name the columns in the statement, or let more rows tell them: --set "
            "TableMemory=BYTES");
}

TEST_F(JsonLinesTable, TellsWhatTheFirstRowsOfAPipeDoNot) {
  signal(SIGPIPE, SIG_IGN);
  const std::string content = ManyLines();
  const auto outcome = [&](const char* sql, const char* schema) {
    return Outcome(folder_.File("p"), sql, "64KiB", 1, content, schema);
  };
  const std::string unknown =
      "there is no column of this name: \"late\" (the first rows told the columns, let more rows "
      "tell them: --set TableMemory=BYTES)";
  EXPECT_EQ(outcome("SELECT late FROM t", ""), unknown);
  EXPECT_EQ(outcome("SELECT late FROM t", "late:double"), unknown);
  // A key that was declared may come late, but must come.
  EXPECT_EQ(outcome("SELECT COUNT(*) FROM t", "late:double"), "20000\n");
  EXPECT_EQ(outcome("SELECT COUNT(*) FROM t", "nosuch:double"),
            "the declared types of \"p\" name a column that it has not, write its name as the file "
            "does, letter case included: \"nosuch\"");
}

TEST_F(JsonLinesTable, TakesKeysOfPipesWhereverTheyCome) {
  // Each in a line of its own, behind what is looked at first.
  constexpr int kKeys = 3000;
  std::string content;
  for (int i = 0; i < 1000; ++i) content += "{\"a\":1}\n";
  for (int i = 0; i < kKeys; ++i) {
    content += "{\"k" + std::to_string(i) + "\":" + std::to_string(i) + "}\n";
  }
  EXPECT_EQ(Outcome(folder_.File("keys"), "SELECT SUM(a), MAX(k0), MAX(k2999) FROM t", "1GiB", 1,
                    content),
            "1000|0|2999\n");
  // The lines behind a long one, which names a key, are in its block.
  const std::string longText((64 << 20) - 100, 'x');
  content = "{\"a\":1}\n{\"b\":\"" + longText + "\"}\n";
  content += "{\"a\":2,\"c\":\"" + longText.substr(0, 1000) + "\"}\n";
  EXPECT_EQ(Outcome(folder_.File("long"), "SELECT SUM(a), MAX(CHAR_LENGTH(b)) FROM t", "1GiB", 1,
                    content),
            "3|" + std::to_string(longText.size()) + "\n");
}

TEST_F(JsonLinesTable, ReadsFurtherColumnsForLaterStatements) {
  const std::string file = folder_.Write("t.jsonl", ManyLines());
  Session session;
  session.SetFileOptions(Options(2));
  session.AddTable("t", file);
  EXPECT_EQ(RunSql(session, "SELECT id FROM t LIMIT 2"), "0\n1\n");
  EXPECT_EQ(RunSql(session, "SELECT MAX(id) FROM t"), "19999\n");
  EXPECT_EQ(RunSql(session, "SELECT MAX(late), MIN(id) FROM t"), "19999|0\n");
  EXPECT_EQ(TypesOf(*session.FindTable(L"t", {})),
            "id int4, g varchar(2)?, n varchar(7)?, day date, note varchar(13), o varchar(15), "
            "late int4?, last time?");
  EXPECT_THAT(Error(session, "SELECT n + 1 FROM t"), testing::HasSubstr("\"7\" in line 15155"));
}

TEST_F(JsonLinesTable, ReportsTheFirstBrokenLineAndReadsNoFurtherThanItMust) {
  const std::string content = ManyLines();
  const std::string file =
      folder_.Write("t.jsonl", content + "{\"id\":\"x\"}\n[1]\n" + content + "{\n" + content);
  const std::string broken =
      "line 20202 of \"t.jsonl\" is not one whole JSON object, as each line must be: mend or "
      "remove "
      "it: \"[1]\"";
  for (const uint32 threads : {1u, 4u}) {
    for (const char* memory : {"1GiB", "1"}) {
      EXPECT_EQ(Outcome(file, "SELECT COUNT(*) FROM t", memory, threads), broken);
      EXPECT_EQ(Outcome(file, "SELECT MAX(note) FROM t", memory, threads), broken);
      EXPECT_EQ(Outcome(file, "SELECT nope FROM t LIMIT 1", memory, threads), broken);
      EXPECT_EQ(Outcome(file, "SELECT id, g FROM t LIMIT 2", memory, threads), "0|g0\n1|\n");
    }
    EXPECT_EQ(Outcome(file, "SELECT MAX(id) FROM t", "1GiB", threads, "", "id:int4"), broken);
  }
}

}  // namespace
}  // namespace sqxer::test
