#pragma once

#include <string>

#include "Compiler.h"
#include "Input.h"
#include "Session.h"
#include "sql/Capture.h"

namespace sqxer::fuzz {

/// What a statement gives, as lines: its types and rows, or its error with its place.
inline std::string Answer(Session& session, const std::string& sql) {
  std::string text;
  try {
    test::CapturingSink sink;
    session.Execute(sql, sink);
    for (const ColumnInfo& column : sink.columns) {
      text += std::to_string(column.type) + " " + BaseStringUtil::StringToUtf8(column.name) + "\n";
    }
    for (const auto& row : sink.rows) text += test::RowText(row) + "\n";
  } catch (const ErrorMessage& error) {
    text = "error " + std::to_string(error.GetCode()) + ": " + error.what() + " at " +
           std::to_string(error.GetSourcePosition()) + " in row " +
           std::to_string(error.GetRowNumber()) + "\n";
  }
  return text;
}

}  // namespace sqxer::fuzz
