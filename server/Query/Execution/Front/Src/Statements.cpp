#include "Engine/Statements.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>

#include "Compiler.h"
#include "EngineError.h"
#include "ParameterBlock.h"
#include "ResultImpl.h"
#include "SqlComments.h"
#include "Utility/BaseStringUtil.h"

namespace sqxer::engine {

std::vector<Statement> SplitStatements(const std::string& text) {
  std::vector<Statement> statements;
  for (sqxer::Statement& statement : sqxer::SplitStatements(text)) {
    statements.push_back({std::move(statement.sql), static_cast<std::size_t>(statement.offset)});
  }
  return statements;
}

TextEnd FindTextEnd(std::string_view text) {
  switch (FindSqlEnd(text)) {
    case SqlEnd::kNothing:
      return TextEnd::kNothing;
    case SqlEnd::kText:
      return TextEnd::kText;
    case SqlEnd::kName:
      return TextEnd::kName;
    case SqlEnd::kDollarText:
      return TextEnd::kDollarText;
    case SqlEnd::kComment:
      return TextEnd::kComment;
    case SqlEnd::kStatement:
      break;
  }
  return TextEnd::kStatement;
}

Place FindPlace(std::string_view text, std::size_t offset) {
  constexpr std::size_t kMost = std::numeric_limits<int>::max();
  const LineColumn at = FindLineColumn(text, static_cast<int>(std::min(offset, kMost)));
  return {at.line, at.column};
}

bool IsSqlText(std::string_view text) {
  return text.find('\0') == std::string_view::npos && BaseStringUtil::IsValidUtf8(text);
}

std::string ReadSqlText(const std::optional<std::string>& path) {
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> opened(nullptr, &std::fclose);
  if (path) opened.reset(std::fopen(path->c_str(), "rb"));
  std::FILE* const file = path ? opened.get() : stdin;
  std::string text;
  char piece[1 << 16];
  // A terminal goes on after its end of file, so that nothing is to be read behind it.
  while (file != nullptr && !std::feof(file) && !std::ferror(file)) {
    text.append(piece, std::fread(piece, 1, sizeof piece, file));
  }
  if (file != nullptr && std::ferror(file) == 0) return text;
  const XeString reason = Wide(std::strerror(errno));
  WithErrors({}, [&] {
    ThrowEngineError(kFileNotReadable, {Wide(path.value_or("standard input")), reason});
  });
  return text;
}

void CheckParameters(const std::vector<std::string>& parameters) {
  WithErrors({}, [&] { ParameterBlock{parameters}; });
}

}  // namespace sqxer::engine
