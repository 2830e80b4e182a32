#include <thread>

#include "SessionTesting.h"

namespace sqxer::test {
namespace {

using SessionSettings = SessionTest;

TEST_F(SessionSettings, BelongToOneSession) {
  const std::string words = "w,d\nb,2012-01-02\n\u00E4a,2012-01-01\n";
  const std::string sql = "SELECT w, MONTHNAME(d), EXTRACT(week FROM d) FROM t ORDER BY w";
  Session plain = Open(words);
  Session german = Open(words);
  Session swedish = Open(words);
  german.Set("Locale", "de_DE");
  swedish.Set("Locale", "sv_SE");
  swedish.Set("FirstDayOfWeek", "1");
  ConfigScope config;
  config->locale_ = "fr_FR";
  EXPECT_EQ(RunSql(plain, sql), "b|January|1\n\u00E4a|January|1\n");
  EXPECT_EQ(RunSql(german, sql), "\u00E4a|Januar|1\nb|Januar|2\n");
  EXPECT_EQ(RunSql(swedish, sql), "b|januari|1\n\u00E4a|januari|1\n");
  EXPECT_EQ(ErrorOf("", [&] { plain.Set("FirstDayOfWeek", "9"); }).substr(0, 35),
            "the switch \"FirstDayOfWeek\" takes a");

  config->firstDayOfWeek_ = 9;
  EXPECT_EQ(RunSql(plain, sql), "b|January|1\n\u00E4a|January|1\n");
  EXPECT_EQ(ErrorOf("", [] { Session session; }).substr(0, 35),
            "the switch \"FirstDayOfWeek\" takes a");
}

TEST_F(SessionSettings, AreResetToWhatTheProgramHasSet) {
  Session session = Open("a\n1\n");
  const std::string before = RunSql(session, "SHOW JoinMemory");
  session.Set("GroupMemory", "2MiB");
  RunSql(session, "SET GroupMemory = 1MiB");
  RunSql(session, "SET JoinMemory = 3MiB");
  // What a statement has set is not the program's.
  session.Set("TableMemory", "5MiB");
  RunSql(session, "RESET GroupMemory");
  EXPECT_EQ(RunSql(session, "SHOW GroupMemory"), "2MiB\n");
  RunSql(session, "RESET ALL");
  EXPECT_EQ(RunSql(session, "SHOW GroupMemory"), "2MiB\n");
  EXPECT_EQ(RunSql(session, "SHOW TableMemory"), "5MiB\n");
  EXPECT_EQ(RunSql(session, "SHOW JoinMemory"), before);
}

TEST_F(SessionSettings, OfThreadsSideBySide) {
  std::string content = "w,d\n";
  for (int i = 0; i < 300; ++i) {
    content +=
        std::string(i % 2 == 0 ? "b" : "\u00E4a") + ",2012-0" + std::to_string(1 + i % 9) + "-02\n";
  }
  const std::string path = folder_.Write("t.csv", content);
  const auto run = [&](const char* locale, std::string* outcome) {
    Session session;
    session.Set("Locale", locale);
    session.AddTable("t", path);
    for (int i = 0; i < 10; ++i) {
      const std::string lines = RunSql(
          session,
          "SELECT MIN(w), MAX(w), SUM(CASE WHEN w < 'b' THEN 1 ELSE 0 END), MIN(MONTHNAME(d)), "
          "COUNT(DISTINCT w) FROM t");
      if (i > 0 && lines != *outcome) *outcome = "changed";
      if (i == 0) *outcome = lines;
    }
  };
  std::string german;
  std::string swedish;
  std::thread other(run, "de_DE", &german);
  run("sv_SE", &swedish);
  other.join();
  EXPECT_EQ(german, "\u00E4a|b|150|April|2\n");
  EXPECT_EQ(swedish, "b|\u00E4a|0|april|2\n");
}

}  // namespace
}  // namespace sqxer::test
