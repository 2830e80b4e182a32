// The documents' commands print what stands below them.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "CommandTesting.h"

namespace sqxer::test {
namespace {

namespace fs = std::filesystem;

struct Example {
  std::string command;
  std::string output;
};

/// What stands behind a dollar sign in the blocks of a document, and the lines below it.
std::vector<Example> ReadExamples(const std::string& path) {
  std::ifstream document(path);
  std::vector<Example> examples;
  bool isInBlock = false;
  bool isOutput = false;
  for (std::string line; std::getline(document, line);) {
    if (line.starts_with("```")) {
      isInBlock = !isInBlock;
      isOutput = false;
    } else if (isInBlock && line.starts_with("$ ")) {
      examples.push_back({line.substr(2), ""});
      isOutput = true;
    } else if (isOutput) {
      examples.back().output += line + "\n";
    }
  }
  return examples;
}

/// A folder in which commands find what they name relative to the project's.
class Documents : public Command, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    Command::SetUp();
    fs::create_directories(folder_.File("build/release/bin"));
    fs::create_symlink(SQXER_BINARY_DIR "/bin/sqxer", folder_.File("build/release/bin/sqxer"));
    fs::create_symlink(SQXER_SOURCE_DIR "/examples", folder_.File("examples"));
  }
};

TEST_P(Documents, PrintWhatTheySay) {
  const auto examples = ReadExamples(std::string(SQXER_SOURCE_DIR "/") + GetParam());
  ASSERT_FALSE(examples.empty());
  for (const Example& example : examples) {
    const Result result = Shell("{ " + example.command + "\n} 2>&1");
    EXPECT_EQ(result.out, example.output) << example.command;
  }
}

INSTANTIATE_TEST_SUITE_P(All, Documents, testing::Values("README.md", "docs/output.md"),
                         [](const auto& test) {
                           std::string name = fs::path(test.param).stem().string();
                           return name;
                         });

}  // namespace
}  // namespace sqxer::test
