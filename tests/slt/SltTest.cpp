// Files of the public sqllogictest format, each run by the command as one session.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "SltFile.h"
#include "server/Query/Execution/Engine/TemporaryFolder.h"

namespace sqxer::test {
namespace {

namespace fs = std::filesystem;

constexpr const char* kMark = "@@ record ";

/// The fields of a line as the command parts them by tabs: NULL is nothing, the empty text "".
std::vector<std::string> ReadFields(const std::string& line) {
  std::vector<std::string> fields;
  std::size_t at = 0;
  for (bool goesOn = true; goesOn;) {
    std::string field;
    const bool isQuoted = at < line.size() && line[at] == '"';
    if (isQuoted) {
      for (++at; at < line.size(); ++at) {
        if (line[at] == '"' && (at + 1 == line.size() || line[++at] != '"')) break;
        field += line[at];
      }
      if (field.empty()) field = "(empty)";
      if (at < line.size() && line[at] == '"') ++at;
    } else {
      const std::size_t end = std::min(line.find('\t', at), line.size());
      field = line.substr(at, end - at);
      if (field.empty()) field = "NULL";
      at = end;
    }
    fields.push_back(field);
    goesOn = at < line.size();
    ++at;
  }
  return fields;
}

/// What the command printed for a record.
struct Outcome {
  std::vector<std::vector<std::string>> rows;
  /// The error as the command's JSON; empty for none.
  std::string error;
};

/// Runs the records one after the other in one process.
std::vector<Outcome> RunRecords(const std::vector<SltRecord>& records) {
  const TemporaryFolder folder;
  std::string script;
  for (const SltRecord& record : records) {
    script += "SELECT '" + (kMark + std::to_string(record.line)) + "';\n" + record.sql + ";\n";
  }
  const std::string command = "cd '" + folder.Path() +
                              "' && '" SQXER_BINARY_DIR
                              "/bin/sqxer' -o tsv --no-header --errors json -f '" +
                              folder.Write("script.sql", script) + "' >out.txt 2>&1 </dev/null";
  [[maybe_unused]] const int status = std::system(command.c_str());
  std::ifstream printed(folder.File("out.txt"));
  std::vector<Outcome> outcomes;
  for (std::string line; std::getline(printed, line);) {
    if (line.starts_with(kMark)) {
      outcomes.emplace_back();
    } else if (outcomes.empty()) {
      ADD_FAILURE() << line;
      break;
    } else if (line.starts_with("{\"code\":")) {
      outcomes.back().error = line;
    } else {
      outcomes.back().rows.push_back(ReadFields(line));
    }
  }
  return outcomes;
}

class Slt : public testing::TestWithParam<std::string> {};

TEST_P(Slt, GivesWhatTheFileSays) {
  const std::vector<SltRecord> records =
      ReadSltFile(std::string(SQXER_SOURCE_DIR "/tests/slt/") + GetParam() + ".slt");
  ASSERT_FALSE(records.empty());
  const std::vector<Outcome> outcomes = RunRecords(records);
  ASSERT_EQ(outcomes.size(), records.size());
  for (std::size_t i = 0; i < records.size(); ++i) {
    const SltRecord& record = records[i];
    SCOPED_TRACE("line " + std::to_string(record.line) + ": " + record.sql);
    if (record.kind == SltRecord::Kind::kStatementError) {
      EXPECT_NE(outcomes[i].error, "");
      continue;
    }
    EXPECT_EQ(outcomes[i].error, "");
    if (record.kind == SltRecord::Kind::kQuery) {
      EXPECT_EQ(FormValues(record, outcomes[i].rows), record.expected);
    }
  }
}

std::vector<std::string> FindFiles() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(SQXER_SOURCE_DIR "/tests/slt")) {
    if (entry.path().extension() == ".slt") names.push_back(entry.path().stem().string());
  }
  std::ranges::sort(names);
  return names;
}

INSTANTIATE_TEST_SUITE_P(Files, Slt, testing::ValuesIn(FindFiles()),
                         [](const auto& test) { return test.param; });

// What the format has beyond what these files use.
TEST(SltFile, ReadsSortsHashesAndConditions) {
  const TemporaryFolder folder;
  const std::string path =
      folder.Write("t.slt",
                   "hash-threshold 8\n\n# a remark\nskipif sqxer\nstatement ok\nA\n\n"
                   "onlyif other\nstatement ok\nB\n\nonlyif sqxer\n"
                   "query IR valuesort\nSELECT 1,\n2\n----\n"
                   "4 values hashing to 61e4c0858edd3569b869653484f83a1d\n\n"
                   "query T\nSELECT\n\nhalt\n\nquery I\nX\n");
  const std::vector<SltRecord> records = ReadSltFile(path);
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].sql, "SELECT 1,\n2");
  EXPECT_EQ(records[0].line, 13);
  const auto hashed = FormValues(records[0], {{"10", "2"}, {"NULL", "0.5"}});
  EXPECT_THAT(hashed, testing::ElementsAre("4 values hashing to 61e4c0858edd3569b869653484f83a1d"));
  EXPECT_THAT(FormValues(records[1], {{"b"}, {"a"}}), testing::ElementsAre("b", "a"));
  folder.Write("bad.slt", "statement maybe\nA\n");
  EXPECT_THROW(ReadSltFile(folder.File("bad.slt")), std::runtime_error);
}

}  // namespace
}  // namespace sqxer::test
