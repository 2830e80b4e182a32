#include <gtest/gtest.h>
#include <zlib.h>

#include "server/Query/Execution/Engine/SessionTesting.h"

namespace sqxer::test {
namespace {

class JsonLinesTable : public SessionTest {
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
    return "is not one whole JSON object, as each line must be: \"" + line + "\"";
  };
  const std::string nul = "holds a NUL byte, which text files have not";
  const std::string good = "{\"a\":1}\n\n";
  struct Case {
    std::string line;
    std::string error;
  };
  std::vector<Case> cases = {
      {"{\"a\":\"\t\"}", broken("{\"a\":\" \"}")},
      {"{\"a\":1,\"a\":2}", "has a key more than once: \"a\""},
      {"{\"a\":\"\xE4\"}",
       "is not valid UTF-8: save the file as UTF-8, or name its encoding with --encoding"},
      {"{\"b\":\"" + std::string(65 << 20, 'x') + "\"}",
       "has more than 64 MiB: is each JSON object on a line of its own?"},
      {std::string("{\"a\":1\0}", 8), nul},
      {std::string("{\"a\":1}\0", 8), nul},
      {"{\"a\":\"x\\u0000\"}", nul},
      {"{\"\\u0000\":1}", nul},
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
       "line 3 of \"t.jsonl\" is not one whole JSON object, as each line must be: \"[]\""},
      {"{\"a\":1}\n", "b:int4",
       "the declared types of \"t.jsonl\" name a column that it has not: \"b\""},
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
              testing::StartsWith("line 1 of \"t.jsonl\" is not"));
}

}  // namespace
}  // namespace sqxer::test
