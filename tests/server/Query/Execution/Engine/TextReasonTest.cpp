#include <gtest/gtest.h>

#include "SessionTesting.h"

namespace sqxer::test {
namespace {

using TextReason = SessionTest;

constexpr const char* kAddRefused =
    "\"Add\" cannot take LONG VARCHAR,INTEGER: cast the operands to types that it takes";

TEST_F(TextReason, NamesTheValueThatMadeAColumnTextInErrorsAndExplain) {
  const std::string content =
      "id,amount,word,when,zip,\"odd\"\n1,1.5,x,2012-01-01,1,1\n2,,7,2012-01-02,00501,1\n"
      "3,\"n/a\",y,soon,3,\"n\n\na\"\n4,-,z,,x,2\n";
  Session session = Open(content);
  const std::string amount = "\"amount\" is text because of \"n/a\" in line 4";
  const struct {
    const char* sql;
    std::string error;
  } kCases[] = {
      {"SELECT amount + 1 FROM t", kAddRefused + (" (" + amount + ")")},
      {"SELECT 2 * (x.amount + 1) FROM t x", kAddRefused + (" (" + amount + ")")},
      {"SELECT SUM(amount) FROM t",
       "\"Sum\" cannot take LONG VARCHAR: cast the operands to types that it takes (" + amount +
           ")"},
      {"SELECT RANGE(\"when\") FROM t",
       "\"Range\" cannot take LONG VARCHAR: cast the operands to types that it takes "
       "(\"when\" is text because of \"soon\" in line 4)"},
      {"SELECT id FROM t WHERE amount > zip + 1",
       kAddRefused + std::string(" (\"zip\" is text because of \"00501\" in line 3)")},
      {"SELECT id FROM t WHERE zip BETWEEN 1 AND 2",
       "\"Binary Logical\" cannot take LONG VARCHAR,INTEGER: cast the operands to types that it "
       "takes (\"zip\" is text because of \"00501\" in line 3)"},
      {"SELECT odd + 1 FROM t",
       kAddRefused + std::string(" (\"odd\" is text because of \"n  a\" in line 4)")},
      // Texts from the first value on, and computed ones, need no reason.
      {"SELECT word + 1 FROM t", kAddRefused},
      {"SELECT UPPER(amount) + 1 FROM t", kAddRefused},
  };
  for (const auto& c : kCases) EXPECT_EQ(Error(session, c.sql), c.error) << c.sql;
  EXPECT_THAT(RunSql(session, "EXPLAIN SELECT id, word, amount FROM t WHERE id > 1"),
              testing::StartsWith("scan t (3 of 6 columns)\n  " + amount + "\nfilter\n"));

  Session declared = Open(content, "amount:varchar(9)");
  EXPECT_EQ(Error(declared, "SELECT amount + 1 FROM t"), kAddRefused);
}

TEST_F(TextReason, NamesTheFileOfSeveralAndTheLinesOfJson) {
  folder_.Write("p1.csv", "a\n1\n2\n");
  folder_.Write("p2.csv", "a\n3\nnone\n");
  folder_.Write("j.jsonl", "{\"a\":1,\"b\":\"x\"}\n\n{\"a\":\"none\",\"b\":2}\n{\"a\":true}\n");
  Session session;
  session.AddTable("several", folder_.File("p?.csv"));
  // The first rows alone, of which a statement may read no more, are numbers.
  EXPECT_EQ(RunSql(session, "SELECT a + 1 FROM several LIMIT 2"), "2\n3\n");
  session.AddTable("json", folder_.File("j.jsonl"));
  EXPECT_EQ(
      Error(session, "SELECT a + 1 FROM several"),
      kAddRefused + std::string(" (\"a\" is text because of \"none\" in line 3 of \"p2.csv\")"));
  EXPECT_EQ(Error(session, "SELECT a + 1 FROM json"),
            kAddRefused + std::string(" (\"a\" is text because of \"none\" in line 3)"));
  EXPECT_EQ(Error(session, "SELECT b + 1 FROM json"), kAddRefused);
}

}  // namespace
}  // namespace sqxer::test
