#include <gtest/gtest.h>

#include <fstream>

#include "Capture.h"
#include "FunctionTable.h"
#include "Session.h"

namespace sqxer::test {
namespace {

TEST(Reference, EveryExampleGivesItsResult) {
  Session session;
  session.SetDirectory(SQXER_SOURCE_DIR "/examples/data");
  for (const FunctionRow& row : FunctionTable()) {
    SCOPED_TRACE(row.example);
    CapturingSink sink;
    ASSERT_NO_THROW(session.Execute(row.example, sink));
    std::string lines;
    for (const auto& values : sink.rows) lines += (lines.empty() ? "" : "\n") + RowText(values);
    EXPECT_EQ(lines, row.exampleResult);
  }
}

TEST(Reference, ThePageIsThatOfTheTable) {
  std::ifstream page(SQXER_SOURCE_DIR "/docs/sql.md");
  const std::string text((std::istreambuf_iterator<char>(page)), {});
  EXPECT_EQ(text, FunctionReference()) << "make docs writes the page anew";
}

}  // namespace
}  // namespace sqxer::test
