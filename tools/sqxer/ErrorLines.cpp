#include "ErrorLines.h"

#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "Engine/Statements.h"

namespace sqxer {

using engine::Error;

void PrintOutOfMemory() {
  constexpr std::string_view kLine = "error: not enough memory for this statement\n";
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, kLine.data(), kLine.size());
}

std::string OnOneLine(std::string text) {
  std::ranges::replace_if(
      text, [](unsigned char c) { return c < ' ' || c == 0x7F; }, ' ');
  return text;
}

void PrintError(const Error& error, const std::string& sql, std::size_t statementOffset) {
  std::string place;
  if (error.GetPosition() != Error::kUnknown) {
    const auto offset = statementOffset + static_cast<std::size_t>(error.GetPosition());
    const engine::Place at = engine::FindPlace(sql, offset);
    place = fmt::format("line {}, column {}", at.line, at.column);
  }
  if (error.GetRow() != Error::kUnknown) {
    place += fmt::format("{}input row {}", place.empty() ? "" : ", ", error.GetRow());
  }
  PrintLine("error {}: {}{}", error.GetCode(), OnOneLine(error.what()),
            place.empty() ? "" : " (" + place + ")");
}

}  // namespace sqxer
