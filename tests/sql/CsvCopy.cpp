#include "CsvCopy.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "Session.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/ErrorMessage.h"
#include "server/Query/Execution/Engine/SessionTesting.h"
#include "server/Query/Execution/Engine/TemporaryFolder.h"

namespace sqxer::test {
namespace {

/// A column as it is declared for a file: texts and bytes as texts that hold every value.
ColumnInfo DeclaredFor(const CapturingSink& result, std::size_t column) {
  ColumnInfo info = result.columns[column];
  switch (info.type) {
    case XeDateTimeData:
      info.type = XeTimeStampData;
      break;
    case XeVarCharData:
    case XeLongVarCharData:
    case XeBinaryData:
    case XeVarBinaryData:
      info.type = XeVarCharData;
      info.length = 1;
      for (const auto& row : result.rows) {
        info.length =
            std::max(info.length, BaseStringUtil::CountCharacters(row[column].value_or("")));
      }
      break;
    default:
      break;
  }
  return info;
}

}  // namespace

void CsvCopy::ExpectReadsBack() const {
  const TemporaryFolder folder;
  const std::string path = folder.Write("t.csv", output_.text);
  try {
    const auto inferred = LoadCsv(path);
    ASSERT_EQ(inferred->schema.columns.size(), columns.size());
    DeclaredTypes declared;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      declared.emplace(inferred->schema.columns[i].name, DeclaredFor(*this, i));
    }
    Session session;
    session.AddTable(LoadCsv(path, declared));
    CapturingSink again;
    session.Execute("SELECT * FROM t", again);
    EXPECT_EQ(again.rows, rows) << output_.text;
  } catch (const ErrorMessage& error) {
    ADD_FAILURE() << error.what() << "\nin\n" << output_.text;
  }
}

}  // namespace sqxer::test
