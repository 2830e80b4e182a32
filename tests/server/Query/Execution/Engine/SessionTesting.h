#pragma once

#include <gtest/gtest.h>

#include <string>

#include "ColumnTypes.h"
#include "Session.h"
#include "server/Query/Execution/Engine/TemporaryFolder.h"
#include "server/Utility/UtilityTesting.h"
#include "sql/Capture.h"

namespace sqxer::test {

/// Rows as lines: NULL as nothing, texts as they are.
inline std::string RunSql(Session& session, const std::string& sql) {
  CapturingSink sink;
  session.Execute(sql, sink);
  std::string lines;
  for (const auto& row : sink.rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (i != 0) lines += '|';
      lines += row[i].value_or("");
    }
    lines += '\n';
  }
  return lines;
}

/// All of the table t of a CSV file.
inline std::shared_ptr<const Table> LoadCsv(const std::string& path,
                                            const DeclaredTypes& declared = {}) {
  TextTable file({path}, L"t", declared, {});
  file.Require({}, nullptr);
  return std::make_shared<const Table>(file.Get());
}

/// "name type" of every column, with a question mark where there are NULLs.
inline std::string TypesOf(const TableSchema& schema) {
  std::string types;
  for (const ColumnInfo& column : schema.columns) {
    if (!types.empty()) types += ", ";
    types += BaseStringUtil::StringToUtf8(column.name + L" " + DeclaredTypeName(column)) +
             (column.nullable ? "?" : "");
  }
  return types;
}

/// The sentence of the error that the action raises, its row number behind it; folders are left
/// out.
template <class Action>
std::string ErrorOf(const std::string& folder, Action&& action) {
  try {
    action();
  } catch (const ErrorMessage& error) {
    std::string text = error.what();
    for (std::size_t at; (at = text.find(folder + "/")) != std::string::npos;) {
      text.erase(at, folder.size() + 1);
    }
    if (error.GetRowNumber() != ErrorMessage::kNoRow) {
      text += " @row " + std::to_string(error.GetRowNumber());
    }
    return text;
  }
  return "no error";
}

/// Sessions over tables in a folder of the test.
class SessionTest : public testing::Test {
 protected:
  /// A session that reads `content` as the table t.
  Session Open(const std::string& content, const std::string& schema = "") {
    Session session;
    session.AddTable("t", folder_.Write("t.csv", content));
    if (!schema.empty()) session.SetSchema("t", schema);
    return session;
  }
  std::string Error(Session& session, const std::string& sql) {
    return ErrorOf(folder_.Path(), [&] { RunSql(session, sql); });
  }

  TemporaryFolder folder_;
};

}  // namespace sqxer::test
