#include <gtest/gtest.h>

#include <fstream>

#include "Capture.h"
#include "FunctionReference.h"
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

TEST(Reference, ThePagesAreThoseOfTheTable) {
  std::string all;
  for (const ReferencePage& page : MakeReference()) {
    const std::string name = page.name == "sql" ? "sql" : "sql/" + std::string(page.name);
    std::ifstream file(SQXER_SOURCE_DIR "/docs/" + name + ".md");
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    EXPECT_EQ(text, page.text) << "make docs writes docs/" << name << ".md anew";
    all += page.text;
  }
  for (const FunctionRow& row : FunctionTable()) {
    EXPECT_NE(all.find("### `" + std::string(row.form) + "`\n"), std::string::npos) << row.form;
  }
}

}  // namespace
}  // namespace sqxer::test
