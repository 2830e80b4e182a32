#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>
#include <thread>
#include <utility>

#include "CsvDialect.h"
#include "TextTable.h"
#include "ValueReader.h"
#include "server/Query/Execution/Engine/SessionTesting.h"

namespace sqxer::test {
namespace {

TEST(ValueReader, ClassifiesWhatPrintsAgainAsTheSameValue) {
  constexpr unsigned kNumber = kNumericKind | kDoubleKind;
  constexpr unsigned kInteger = kInt4Kind | kNumber;
  constexpr unsigned kDate = kDateKind | kTimeStampKind;
  const std::pair<unsigned, std::string> kCases[] = {
      {kBooleanKind, "true|False|t| f"},
      {kInteger, "0|-1| 7\t|2147483647|-2147483648|20120229"},
      {kNumber, "2147483648|-2147483649|" + std::string(38, '9')},
      {kDoubleKind, "-0|0.5|.5|5.|-1.5e-7|NaN|-Infinity"},
      {kDate, "2012-02-29|-0044-03-15"},
      {kTimeStampKind, "2012-02-29 23:59:59.5|2012-02-29T23:59"},
      {kTimeKind, "23:59|23:59:59.999999999"},
      {0, std::string(39, '9') +
              "||  |T|F|007|+7|00.5|1e999|nan|inf|-|.|e5|1e|1,5|0x10|2013-02-29|2012-2-9|"
              "2012-02-29 24:00|2012-02-29x|23:60|4:3|Gr\u00F6\u00DFe|\u0661"},
  };
  for (const auto& [kinds, texts] : kCases) {
    for (const std::string& text : Split(texts)) EXPECT_EQ(ClassifyText(text), kinds) << text;
  }
}

using CsvTable = SessionTest;

TEST_F(CsvTable, InfersTypesOverTheWholeFile) {
  const struct {
    const char* content;
    const char* types;
    const char* rows;
  } kCases[] = {
      {"a,b,c,d\n1,2.5,x,true\n-2,3,yz,false\n", "a int4, b double, c varchar(2), d boolean",
       "1|2.5|x|true\n-2|3|yz|false\n"},
      {"a,b\n1,1\n,3000000000\n", "a int4?, b numeric", "1|1\n|3000000000\n"},
      {"a,b\n1,3000000000\n0.5,x\n", "a double, b varchar(10)", "1|3000000000\n0.5|x\n"},
      {"d,s,t\n2012-01-01,2012-01-01,10:00\n2012-01-02,2012-01-01T12:30:00.50,11:00:01\n",
       "d date, s timestamp, t time",
       "2012-01-01|2012-01-01 00:00:00|10:00:00\n2012-01-02|2012-01-01 12:30:00.5|11:00:01\n"},
      {"t,c,d\nt,T,t\nf,F,true\n", "t boolean, c varchar(1), d boolean",
       "true|T|true\nfalse|F|true\n"},
      {"zip,both\n00501,1\n10001,true\n", "zip varchar(5), both varchar(4)",
       "00501|1\n10001|true\n"},
      // NULL is an empty field, the empty text a quoted one; the latter makes a column text.
      {"a,b,c\n,\"\",1\n,x,\n", "a varchar(1)?, b varchar(1), c int4?", "||1\n|x|\n"},
      {"a,b\n1,\"\"\n2,3\n", "a int4, b varchar(1)", "1|\n2|3\n"},
      // Quotation marks, commas and line ends in fields; blanks belong to their field.
      {"\"a \"\"b\"\"\",c\n\"x,\"\"y\"\"\nz\", w \n", "a \"b\" varchar(7), c varchar(3)",
       "x,\"y\"\nz| w \n"},
      {"\xEF\xBB\xBF"
       "a,b\r\n1,2\r\n\r\n3,4",
       "a int4, b int4", "1|2\n3|4\n"},
      {"a\r\n1\r\n\r\n3\r\n", "a int4?", "1\n\n3\n"},
      {"a,b\n", "a varchar(1), b varchar(1)", ""},
      {"a,,c", "a varchar(1), column2 varchar(1), c varchar(1)", ""},
      {"\u00E4\n\u65E5\u672C\U0001F600\n", "\u00E4 varchar(3)", "\u65E5\u672C\U0001F600\n"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.content);
    Session session = Open(c.content);
    EXPECT_EQ(TypesOf(*session.FindTable(L"t", {})), c.types);
    EXPECT_EQ(RunSql(session, "SELECT * FROM t"), c.rows);
  }
}

TEST(CsvDialect, IsFoundBesideEmptyLines) {
  EXPECT_EQ(FindDelimiter("a;b\n\n1;2\n\n3;4\n", true), ';');
  EXPECT_EQ(FindDelimiter("a;b\n1;2;3\n", true), ',');
}

TEST_F(CsvTable, ReadsEveryDeclaredType) {
  Session session = Open(
      "a,b,c,d,e,f,g,h,i,j,k,l,m,n,o,p,q\n"
      "1,-128,255,-32768,65535,+07,4294967295,0.1,1e300,"
      "12345678901234567890.5,ab,abc,2012-01-01,23:59:59.5,2012-01-01,TRUE,5\n"
      ",,,,,,,,,,,,,,,,\n",
      "a:bit,b:int1,\"c\":uint1,d:int2,e:uint2,f:int4,g:uint4,h:float,i:double,j:numeric,k:char(3),"
      "l:VARCHAR(3),m:date,n:time,o:timestamp,p:boolean");
  EXPECT_EQ(TypesOf(*session.FindTable(L"T", {})),
            "a bit?, b int1?, c uint1?, d int2?, e uint2?, f int4?, g uint4?, h float?, i double?, "
            "j numeric?, k char(3)?, l varchar(3)?, m date?, n time?, o timestamp?, p boolean?, "
            "q int4?");
  EXPECT_EQ(RunSql(session, "SELECT * FROM t"),
            "1|-128|255|-32768|65535|7|4294967295|0.1|1e+300|12345678901234567890.5|ab |abc|"
            "2012-01-01|23:59:59.5|2012-01-01 00:00:00|true|5\n||||||||||||||||\n");
}

TEST_F(CsvTable, RefusesBadFilesWithTheLineOfTheFirstBadRecord) {
  const std::string big(70 << 20, 'x');
  const struct {
    std::string content;
    const char* schema;
    /// The line of the file that the error starts with, 0 for none.
    int line;
    std::string error;
  } kCases[] = {
      {"", "", 0, "the file is empty, its first line must name the columns: \"t.csv\""},
      {"a,b\r\n\"x\r\ny\",2\r\n1\r\n", "", 4,
       "must have as many fields as the header, 2, and not 1"},
      {"a\n\"" + big + "\n", "", 2, "has a field of more than 64 MiB: is a quotation left open?"},
      {"a,b,a\n", "", 0, "two columns of \"t.csv\" have the same name, rename one: \"a\""},
      {"a,b\n1,2\n1,\"\n\n\"\n1,3x\n", "b:varchar(3),a:int4", 0, "no error"},
      {"a,b\n1,\"\n\n\"\n1,3x\n1,4xyz\n", "b:varchar(3)", 6,
       "has a text too long for the column \"b\", varchar(3): \"4xyz\""},
      {"a\nabc\n", "a:char(2)", 2, "has a text too long for the column \"a\", char(2): \"abc\""},
      {"a\n1\n\n2147483648\n", "a:int4", 4,
       "has a value that the column \"a\", int4, cannot take: \"2147483648\""},
      {"a\n\"\"\n", "a:double", 2, "has a value that the column \"a\", double, cannot take: \"\""},
      {"a\n-1\n", "a:uint2", 2, "has a value that the column \"a\", uint2, cannot take: \"-1\""},
      {"a\n2012-13-01\n", "a:date", 2,
       "has a value that the column \"a\", date, cannot take: \"2012-13-01\""},
      {"a\n2012-12-01\n2012-00-01\n", "a:date", 3,
       "has a value that the column \"a\", date, cannot take: \"2012-00-01\""},
      {"a\n 12\n9223372036854775808\n", "a:bigint", 3,
       "has a value that the column \"a\", bigint, cannot take: \"9223372036854775808\""},
      {"a\n+1\n1.0\n", "a:int8", 3,
       "has a value that the column \"a\", bigint, cannot take: \"1.0\""},
      {"a\n1\n", "b:int4", 0,
       "the declared types of \"t.csv\" name a column that it has not, write its "
       "name as the file does, letter case included: \"b\""},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.content.substr(0, 60));
    Session session = Open(c.content, c.schema);
    const std::string line = "line " + std::to_string(c.line) + " of \"t.csv\" ";
    EXPECT_EQ(Error(session, "SELECT * FROM t"), (c.line != 0 ? line : "") + c.error);
    // The session stays usable.
    EXPECT_EQ(RunSql(session, "SELECT 1"), "1\n");
  }
}

/// What happens to the file of the test below while it is read.
std::function<void()> meanwhile;

TEST_F(CsvTable, FilesThatChangeWhileTheyAreReadAreRefused) {
  namespace fs = std::filesystem;
  const auto replace = [&](const std::string& content) {
    fs::rename(folder_.Write("new.csv", content), folder_.File("t.csv"));
  };
  const std::string changed =
      "\"t.csv\" has changed while it was read: read a copy, or wait until it is written";
  const struct {
    std::function<void()> change;
    std::string error;
  } kCases[] = {
      {[] {}, "no error"},
      {[&] { replace("a\n1\n"); }, changed},
      {[&] { replace("a\n2\n"); }, changed},
      {[&] { replace("a\nx\n"); }, changed},
      {[&] { replace("a,b\n1,2\n"); }, changed},
      {[&] { std::ofstream(folder_.File("t.csv"), std::ios::app) << "2\n"; }, changed},
      {[&] { fs::resize_file(folder_.File("t.csv"), 0); }, changed},
      // Without its name it is all there as long as it is open.
      {[&] { fs::remove(folder_.File("t.csv")); }, "no error"},
  };
  for (const auto& c : kCases) {
    Session session = Open("a\n1\n");
    meanwhile = c.change;
    session.SetProgress([](uint64, uint64, bool) { std::exchange(meanwhile, [] {})(); }, nullptr);
    EXPECT_EQ(Error(session, "SELECT a FROM t"), c.error);
  }
}

TEST_F(CsvTable, IsFoundByNameAndPath) {
  folder_.Write("Sales.csv", "a\n1\n");
  folder_.Write("tabs.tsv", "a\tb\n1,5\tx\"y\n");
  folder_.Write("other.tsv", "a\tb\n1,5\txy\n");
  Session session;
  session.SetDirectory(folder_.Path());
  session.AddTable("Tabs", folder_.File("other.tsv"));
  EXPECT_EQ(RunSql(session, "SELECT sales.a FROM SALES"), "1\n");
  EXPECT_EQ(RunSql(session, "SELECT * FROM tabs"), "1,5|xy\n");
  EXPECT_EQ(RunSql(session, "SELECT sales.a FROM \"" + folder_.File("Sales.csv") + "\""), "1\n");
  const auto errorOf = [&](const std::string& table) {
    return Error(session, "SELECT * FROM \"" + table + "\"");
  };
  EXPECT_EQ(errorOf("nope"),
            "the table \"nope\" has no file, name one with --table or a folder with --dir: "
            "nope.csv");
  EXPECT_EQ(errorOf(folder_.File("nope.csv")),
            "\"nope.csv\" cannot be read: No such file or directory");
  std::filesystem::create_directory(folder_.File("d.csv"));
  EXPECT_EQ(errorOf("d"), "\"d.csv\" cannot be read: Is a directory");
  EXPECT_EQ(
      ErrorOf(folder_.Path(), [&] { session.AddTable("x", "x.txt"); }),
      "a table is a file that ends in .csv, .tsv or .jsonl, also packed (.gz, .zst), a pipe, - for "
      "standard input, or FILE.db:table: \"x.txt\"");
}

/// A table of many rows; `late` is the value of the column c in the one before the last.
std::string ManyRows(const std::string& late, int rows = 30000) {
  std::string content = "a,b,c,d\n";
  for (int i = 0; i < rows; ++i) {
    const std::string n = std::to_string(i);
    content += n + ",\"text, " + n + "\n\"," + (i == rows - 2 ? late : n) + "," +
               (i < 20000 ? "" : n + ".5") + "\n";
  }
  return content;
}

TEST_F(CsvTable, TypesAreThoseOfAllValuesWhateverIsReadWhen) {
  const struct {
    const char* late;
    const char* type;
  } kCases[] = {{"5", "int4"},         {"", "int4?"},         {"5000000000", "numeric"},
                {"0.5", "double"},     {"007", "varchar(5)"}, {"2012-02-29", "varchar(10)"},
                {"\"\"", "varchar(5)"}};
  for (const auto& c : kCases) {
    for (const uint32 threads : {1u, 3u}) {
      SCOPED_TRACE(std::string(c.late) + " " + std::to_string(threads));
      const std::string path = folder_.Write("t.csv", ManyRows(c.late));
      TextTableOptions options;
      options.file.threads = threads;
      options.file.leastPieceBytes = 1000;
      sqxer::TextTable table({path}, L"t", {}, options);
      EXPECT_EQ(TypesOf(table.Require({.all = false, .names = {L"C"}, .mostRows = {}}, nullptr)),
                std::string("a UNKNOWN?, b UNKNOWN?, c ") + c.type + ", d UNKNOWN?");
      EXPECT_EQ(table.Get().rowCount, 30000u);
      EXPECT_EQ(TypesOf(table.Require({}, nullptr)),
                std::string("a int4, b varchar(12), c ") + c.type + ", d double?");
      EXPECT_EQ(table.Get().chunks.size(), threads);
      Session session;
      session.AddTable(std::make_shared<const Table>(table.Get()));
      EXPECT_EQ(RunSql(session, "SELECT COUNT(*), SUM(a), MAX(LENGTH(b)), SUM(d) FROM t"),
                "30000|449985000|12|2.5e+08\n");
    }
  }
}

TEST_F(CsvTable, ReadsNoMoreThanAStatementNames) {
  // A value that its declared type does not take matters to those who read it.
  Session session = Open("a,b\n1,x\n2,3\n", "b:int4");
  EXPECT_EQ(RunSql(session, "SELECT SUM(a), COUNT(*) FROM t"), "3|2\n");
  EXPECT_EQ(Error(session, "SELECT a FROM t ORDER BY B"),
            "line 2 of \"t.csv\" has a value that the column \"b\", int4, cannot take: \"x\"");
  // A record against the rules matters to all.
  Session bad = Open("a,b\n1,x\n2\n");
  EXPECT_EQ(Error(bad, "SELECT COUNT(*) FROM t"),
            "line 3 of \"t.csv\" must have as many fields as the header, 2, and not 1");
}

TEST_F(CsvTable, AFewRowsAreReadAlone) {
  const std::string bad = ManyRows("5") + "too,few\n";
  Session session = Open(bad);
  EXPECT_EQ(RunSql(session, "SELECT a, c FROM t LIMIT 2 OFFSET 1"), "1|1\n2|2\n");
  EXPECT_EQ(RunSql(session, "SELECT a FROM t LIMIT 0"), "");
  for (const char* all :
       {"SELECT a FROM t WHERE a > 1 LIMIT 1", "SELECT MAX(a) FROM t LIMIT 1",
        "SELECT a FROM t ORDER BY a LIMIT 1", "SELECT DISTINCT a FROM t LIMIT 1",
        "SELECT RANK() OVER (ORDER BY a) FROM t LIMIT 1", "SELECT a FROM t GROUP BY a LIMIT 1"}) {
    EXPECT_NE(Error(session, all), "no error") << all;
  }
  // The sample has the type of a column of which these rows have no value.
  Session nulls = Open("a,b\n1,\n2,3\n");
  EXPECT_EQ(RunSql(nulls, "SELECT b, a, b + 1 FROM t LIMIT 1"), "|1|\n");
  EXPECT_EQ(RunSql(nulls, "SELECT b, a, b + 1 FROM t"), "|1|\n3|2|4\n");
}

TEST_F(CsvTable, PipesAreReadOnce) {
  for (const char* late : {"5", "0.5", "x"}) {
    SCOPED_TRACE(late);
    const std::string fifo = folder_.File(std::string("pipe") + late + ".csv");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string content = ManyRows(late);
    std::thread writer([&] { std::ofstream(fifo) << content; });
    Session session;
    session.AddTable("t", fifo);
    const std::string sum = RunSql(session, "SELECT SUM(a), COUNT(d) FROM t");
    writer.join();
    EXPECT_EQ(sum, "449985000|10000\n");
    // All columns are there, with the types of all values.
    const std::string type = late == std::string("5")     ? "int4"
                             : late == std::string("0.5") ? "double"
                                                          : "varchar(5)";
    EXPECT_EQ(TypesOf(*session.FindTable(L"t", {})),
              "a int4, b varchar(12), c " + type + ", d double?");
  }
}

TEST(ColumnTypes, RefusesWhatDoesNotReadAsDeclarations) {
  for (const char* text : {"",
                           "a",
                           "a:",
                           "a:int16",
                           "a:int4,",
                           "a:int4,,b:int4",
                           ":int4",
                           "a:int4,a:int4",
                           "a:char",
                           "a:char()",
                           "a:char(0)",
                           "a:char(x)",
                           "a:char(3",
                           "a:char(3x)",
                           "a:char(99999999999)",
                           "\"a",
                           "a:char(-1)",
                           "a:varchar(4294967296)",
                           "a:text(5)",
                           "a:text()",
                           "a:int4(2)",
                           "\"a:int4",
                           "\"a\"int4"}) {
    SCOPED_TRACE(text);
    EXPECT_THROW(ReadDeclaredTypes(text), ErrorMessage);
  }
  const DeclaredTypes types = ReadDeclaredTypes(
      " \"a,\"\":\" : varchar(12) , b : Double ,c:Text,d:character varying,e:varchar,"
      "f:character varying (3),g:character(2),h:timestamp without time zone");
  XeString names;
  for (const auto& [name, type] : types) names += name + L" " + DeclaredTypeName(type) + L";";
  EXPECT_EQ(names,
            L"a,\": varchar(12);b double;c text;d text;e text;f varchar(3);g char(2);"
            L"h timestamp;");
}

}  // namespace
}  // namespace sqxer::test
