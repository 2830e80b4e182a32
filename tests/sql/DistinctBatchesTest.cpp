// What batches find to be different is what rows find: sketches and tables of different rows over
// thousands of values of each kind, whose places and hashes batches find in loops of their own.
#include <gtest/gtest.h>

#include <random>

#include "Capture.h"
#include "Session.h"
#include "server/Query/Execution/Engine/TemporaryFolder.h"

namespace sqxer::test {
namespace {

class DistinctBatches : public testing::Test {
 public:
  DistinctBatches() {
    constexpr int kRows = 20'000;
    std::mt19937 random(7);
    std::string text = "id,few,i,far,x,n,day,at,short,word,fixed,wide\n";
    const auto maybe = [&](const std::string& value) {
      return (random() % 20 == 0 ? std::string() : value) + ",";
    };
    for (int row = 0; row < kRows; ++row) {
      const auto pick = [&](unsigned of) { return std::to_string(random() % of); };
      text += std::to_string(row) + "," + maybe(pick(7));
      // Integers whose range grows with the rows, and some far beyond it.
      text += maybe(std::to_string(static_cast<int>(random() % (40u + row / 4)) - row / 9));
      text += maybe(pick(3000) + "00000");
      text += maybe(pick(9000) + ".5") + maybe(pick(40'000) + "." + pick(100));
      text += maybe("20" + std::to_string(10 + random() % 80) + "-05-1" + pick(9));
      text += maybe("2012-01-" + std::to_string(10 + random() % 20) + " 0" + pick(9) + ":1" +
                    pick(9) + ":00." + pick(1000));
      text += maybe(pick(20)) + maybe("order " + pick(1'000'000) + (random() % 3 ? "" : "  "));
      text += maybe("f" + pick(5000)) + "\xC5\xBC" + pick(5000) + (random() % 2 ? "" : " ") + "\n";
    }
    folder_.Write("t.csv", text);
    for (Session* const session : {&rows_, &batches_}) {
      session->SetDirectory(folder_.Path());
      session->SetSchema("t",
                         "id:int4,few:int4,i:int4,far:int4,x:double,n:numeric,day:date,"
                         "at:timestamp,short:text,word:text,fixed:char(6),wide:text");
      session->Set("Evaluation", session == &rows_ ? "rows" : "batches");
    }
  }

  void ExpectEqual(const std::string& sql) {
    const auto rowsOf = [&](Session& session) {
      CapturingSink sink;
      session.Execute(sql, sink);
      std::string text;
      for (const auto& row : sink.rows) text += RowText(row) + "\n";
      return text;
    };
    const std::string expected = rowsOf(rows_);
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(rowsOf(batches_), expected) << sql;
  }

 protected:
  const TemporaryFolder folder_;
  Session rows_;
  Session batches_;
};

TEST_F(DistinctBatches, HaveTheSketchesOfRows) {
  for (const char* const compare : {"on", "off"}) {
    for (Session* const session : {&rows_, &batches_})
      session->Set("CaseSensitiveCompare", compare);
    for (const std::string value : {"few",
                                    "i",
                                    "far",
                                    "x",
                                    "n",
                                    "day",
                                    "at",
                                    "short",
                                    "word",
                                    "fixed",
                                    "wide",
                                    "id",
                                    "CAST(i AS smallint)",
                                    "x / 3",
                                    "-x",
                                    "n * n",
                                    "few > 3",
                                    "CAST(x AS real)",
                                    "word || i",
                                    "UPPER(wide)",
                                    "CAST(at AS time)",
                                    "day + few",
                                    "at - TIMESTAMP '2012-01-01'"}) {
      ExpectEqual("SELECT APPROX_COUNT_DISTINCT(" + value + ") FROM t");
      ExpectEqual("SELECT few, APPROX_COUNT_DISTINCT(" + value + ") FROM t GROUP BY few");
      ExpectEqual("SELECT APPROX_COUNT_DISTINCT(" + value + ") FROM t WHERE i > 10 AND x < 5000");
    }
  }
}

TEST_F(DistinctBatches, HaveTheRowsOfRows) {
  for (const char* const memory : {"256MiB", "300KiB", "20000"}) {
    batches_.Set("GroupMemory", memory);
    for (const std::string list :
         {"COUNT(DISTINCT few, short)", "COUNT(DISTINCT i, few)", "COUNT(DISTINCT i, far)",
          "COUNT(DISTINCT word, few)", "COUNT(DISTINCT n, day)", "COUNT(DISTINCT x, few)",
          "COUNT(DISTINCT id, few), HISTOGRAM(few)", "HISTOGRAM(few + i % 3)",
          "HISTOGRAM(short), MODE(short)", "MODE(i), MODE(far), MODE(n)",
          "STRING_AGG(DISTINCT short, ',')", "STRING_AGG(DISTINCT short, short)",
          "CHAR_LENGTH(STRING_AGG(DISTINCT fixed || '', ','))", "VAR_SAMP(DISTINCT i)",
          "MEDIAN(DISTINCT far)", "COUNT(DISTINCT few, i - id)"}) {
      ExpectEqual("SELECT " + list + " FROM t WHERE id < 12000 OR few = 2");
      ExpectEqual("SELECT few, " + list + " FROM t GROUP BY few");
      ExpectEqual("SELECT i % 50, " + list + " FROM t WHERE id % 3 = 0 GROUP BY i % 50");
    }
  }
}

}  // namespace
}  // namespace sqxer::test
