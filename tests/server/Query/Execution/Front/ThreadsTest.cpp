// Sessions side by side, each with threads of its own: what they share must not tell. Made for the
// build with ThreadSanitizer (`make threads`), and true in all.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <optional>
#include <thread>

#include "Engine/Engine.h"
#include "server/Query/Execution/Engine/TemporaryFolder.h"
#include "server/Query/Execution/Front/ArrowLines.h"

namespace sqxer::test {
namespace {

using engine::Error;
using engine::Session;
using testing::ElementsAre;
using testing::StartsWith;

constexpr int kSessions = 3;
/// As many as several threads read and evaluate parts of.
constexpr int kRows = 150000;

/// One of every kind of step. Whole numbers and decimals alone are added up: sums of doubles are in
/// an order of their own with several threads.
const char* const kStatements[] = {
    "SELECT COUNT(*), SUM(i), SUM(price), MIN(word), MAX(day) FROM t WHERE i % 3 = 1",
    "SELECT word, COUNT(*), SUM(price), MEDIAN(i), COUNT(DISTINCT k) FROM t GROUP BY word "
    "ORDER BY word",
    "SELECT k, MAX(UPPER(word) || k), AVG(price) FROM t GROUP BY k ORDER BY k LIMIT 20",
    "SELECT i, word FROM t ORDER BY word DESC, i LIMIT 50",
    "SELECT i, RANK() OVER (PARTITION BY word ORDER BY price) AS r FROM t WHERE k < 3 ORDER BY "
    "i LIMIT 50",
    "SELECT COUNT(*) FROM t JOIN (SELECT DISTINCT word AS w FROM t WHERE k < 9) AS s ON word = w",
    "SELECT COUNT(*) FROM t WHERE REGEXP_LIKE(word, 'd[13]') AND word LIKE '%d%'",
    "SELECT TO_CHAR(day, 'Month YYYY') AS m, COUNT(*) FROM t GROUP BY m ORDER BY m",
    "SELECT APPROX_COUNT_DISTINCT(i), COUNT(DISTINCT word), STRING_AGG(DISTINCT word, ',') FROM t",
    "SELECT COUNT(*) FROM t WHERE day AT TIME ZONE 'Europe/Berlin' > TIMESTAMP '2021-01-01 00:00'",
    "SELECT word, SUM(i) FROM lines GROUP BY word ORDER BY word",
    // These end with errors, of which each session has its own.
    "SELECT SUM(1 / (i - 125000)) FROM t",
    "SELECT CAST(word AS integer) FROM t",
    "SELECT nothing FROM t",
};

class Threads : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = new TemporaryFolder;
    std::ofstream file(folder_->File("t.csv"), std::ios::binary);
    std::ofstream lines(folder_->File("lines.jsonl"), std::ios::binary);
    file << "i,k,word,price,day\n";
    for (int i = 0; i < kRows; ++i) {
      const int k = i * 7919 % 1000;
      file << i << ',' << k << ",word" << k % 17 << ',' << k << '.' << 10 + i % 89 << ",20"
           << 10 + k % 15 << "-0" << 1 + k % 9 << "-11\n";
      lines << "{\"i\": " << i << ", \"word\": \"word" << k % 17 << "\"}\n";
    }
  }
  static void TearDownTestSuite() { delete folder_; }

  static std::unique_ptr<Session> Open(int which) {
    auto session = std::make_unique<Session>();
    session->SetDirectory(folder_->Path());
    session->AddFile("lines", folder_->File("lines.jsonl"));
    session->SetThreads(2);
    // Settings of the one are not those of the others.
    session->Set("TableMemory", which % 2 == 0 ? "1MiB" : "1GiB");
    session->Set("GroupMemory", which % 3 == 0 ? "64KiB" : "64MiB");
    return session;
  }
  /// Results, or codes and sentences of errors.
  static std::vector<std::string> Ask(Session& session) {
    std::vector<std::string> told;
    for (const char* const sql : kStatements) {
      try {
        for (std::string& line : LinesOf(session.Query(sql))) told.push_back(std::move(line));
      } catch (const Error& error) {
        told.push_back(std::to_string(error.GetCode()) + " " + error.what());
      }
    }
    return told;
  }

  static TemporaryFolder* folder_;
};
TemporaryFolder* Threads::folder_ = nullptr;

TEST_F(Threads, OfSessionsSideBySideGiveWhatOneGives) {
  const std::unique_ptr<Session> alone = Open(1);
  alone->SetThreads(1);
  const std::vector<std::string> expected = Ask(*alone);
  const auto end = expected.end();
  EXPECT_THAT(std::vector(end - 4, end),
              ElementsAre(testing::Not(StartsWith("5")), StartsWith("59008 "), StartsWith("59"),
                          StartsWith("59015 ")));
  EXPECT_GT(expected.size(), 180u);
  std::vector<std::string> told[kSessions];
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < kSessions; ++i) {
      threads.emplace_back([&, i] { told[i] = Ask(*Open(i)); });
    }
  }
  for (const std::vector<std::string>& one : told) EXPECT_EQ(one, expected);
}

TEST_F(Threads, OfCancelledStatementsLeaveOthersAlone) {
  const std::unique_ptr<Session> cancelled = Open(0);
  const std::unique_ptr<Session> other = Open(1);
  const std::vector<std::string> expected = Ask(*other);
  std::atomic<bool> isDone = false;
  int failures = 0;
  std::vector<std::string> told;
  {
    const std::jthread canceller([&] {
      while (!isDone) {
        cancelled->Cancel();
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
      }
    });
    const std::jthread neighbour([&] { told = Ask(*other); });
    for (const std::string& line : Ask(*cancelled)) {
      failures += line.starts_with(std::to_string(Error::kCancelled));
    }
    isDone = true;
  }
  EXPECT_GT(failures, 0);
  EXPECT_EQ(told, expected);
  EXPECT_EQ(Ask(*cancelled), expected);
}

}  // namespace
}  // namespace sqxer::test
