#include "ErrorLines.h"

#include <unistd.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include "Engine/Statements.h"
#include "Engine/TextOutput.h"
#include "Terminal.h"

namespace sqxer {
namespace {

using engine::Error;

bool areJson = false;

/// How much of a line of SQL is shown around the place.
constexpr std::size_t kMostColumns = 100;
constexpr std::string_view kCut = "\u2026";

constexpr const char* kRed = "\x1b[1;31m";
constexpr const char* kPlain = "\x1b[0m";

std::string Coloured(const std::string& text) {
  return TakesColour(STDERR_FILENO) ? kRed + text + kPlain : text;
}

std::string JsonText(std::string_view text) {
  std::string json = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      json += '\\';
      json += c;
    } else if (static_cast<unsigned char>(c) < ' ') {
      json += fmt::format("\\u{:04x}", static_cast<unsigned char>(c));
    } else {
      json += c;
    }
  }
  return json + '"';
}

bool IsInsideCharacter(std::string_view text, std::size_t at) {
  return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80;
}

/// The line of the text in which the offset is, and the offset in it.
std::pair<std::string, std::size_t> FindLine(std::string_view text, std::size_t offset) {
  offset = std::min(offset, text.size());
  const std::size_t before = offset == 0 ? std::string_view::npos : text.rfind('\n', offset - 1);
  const std::size_t start = before == std::string_view::npos ? 0 : before + 1;
  const std::size_t end = std::min(text.find('\n', offset), text.size());
  return {OnOneLine(std::string(text.substr(start, end - start))), offset - start};
}

/// The line, or what stands around the place in it, and below it the mark.
std::string MarkPlace(const std::string& sql, std::size_t offset) {
  auto [line, place] = FindLine(sql, offset);
  if (engine::CountColumns(line) > kMostColumns) {
    std::size_t start = place - std::min(place, kMostColumns / 2);
    std::size_t end = std::min(line.size(), start + kMostColumns);
    while (IsInsideCharacter(line, start)) --start;
    while (IsInsideCharacter(line, end)) ++end;
    place -= start;
    const bool isCutBehind = end < line.size();
    line = line.substr(start, end - start);
    if (start != 0) {
      line.insert(0, kCut);
      place += kCut.size();
    }
    if (isCutBehind) line += kCut;
  }
  const std::size_t columns = engine::CountColumns(std::string_view(line).substr(0, place));
  return fmt::format("  {}\n  {}{}\n", line, std::string(columns, ' '), Coloured("^"));
}

std::string ListInputs(const std::vector<Error::Input>& inputs) {
  std::string list;
  for (const Error::Input& input : inputs) {
    list += fmt::format("{}{} = {}", list.empty() ? "" : ", ", OnOneLine(input.column),
                        OnOneLine(input.value));
  }
  return list;
}

std::string AsJson(const Error& error, const std::optional<engine::Place>& place,
                   std::size_t offset) {
  std::string json =
      fmt::format("{{\"code\":{},\"message\":{}", error.GetCode(), JsonText(error.what()));
  if (place) {
    json +=
        fmt::format(",\"line\":{},\"column\":{},\"offset\":{}", place->line, place->column, offset);
  }
  if (error.GetRow() != Error::kUnknown) json += fmt::format(",\"row\":{}", error.GetRow());
  const char* separator = ",\"inputs\":{";
  for (const Error::Input& input : error.GetInputs()) {
    json += fmt::format("{}{}:{}", separator, JsonText(input.column), JsonText(input.value));
    separator = ",";
  }
  if (!error.GetInputs().empty()) json += '}';
  if (!error.GetSql().empty()) json += fmt::format(",\"sql\":{}", JsonText(error.GetSql()));
  return json + '}';
}

void WriteSentence(std::string_view text, std::string_view json) {
  const std::string_view line = areJson ? json : text;
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

void PrintSentence(const char* kind, const std::string& sentence) {
  if (areJson) {
    PrintLine("{{\"{}\":{}}}", kind == std::string_view("error") ? "message" : kind,
              JsonText(sentence));
  } else {
    PrintLine("{} {}", Coloured(std::string(kind) + ":"), OnOneLine(sentence));
  }
}

}  // namespace

void UseJsonErrors() { areJson = true; }

void PrintOutOfMemory() {
  WriteSentence("error: not enough memory for this statement\n",
                "{\"message\":\"not enough memory for this statement\"}\n");
}

void PrintCancelled() { WriteSentence("error: cancelled\n", "{\"message\":\"cancelled\"}\n"); }

std::string OnOneLine(std::string text) {
  std::ranges::replace_if(
      text, [](unsigned char c) { return c < ' ' || c == 0x7F; }, ' ');
  // The control characters from U+0080 on, which a terminal obeys as well.
  for (std::size_t at = 0; at + 1 < text.size(); ++at) {
    const bool isLead = text[at] == '\xC2';
    if (isLead && static_cast<unsigned char>(text[at + 1]) < 0xA0) text.replace(at, 2, "  ");
  }
  return text;
}

void PrintError(const Error& error, const std::string& sql, std::size_t statementOffset) {
  std::optional<engine::Place> at;
  std::size_t offset = 0;
  if (error.GetPosition() != Error::kUnknown) {
    offset = statementOffset + static_cast<std::size_t>(error.GetPosition());
    at = engine::FindPlace(sql, offset);
  }
  if (areJson) return PrintLine("{}", AsJson(error, at, offset));

  std::string place;
  if (at) place = fmt::format("line {}, column {}", at->line, at->column);
  if (error.GetRow() != Error::kUnknown) {
    place += fmt::format("{}input row {}", place.empty() ? "" : ", ", error.GetRow());
  }
  std::string text = fmt::format("{} {}{}\n", Coloured(fmt::format("error {}:", error.GetCode())),
                                 OnOneLine(error.what()), place.empty() ? "" : " (" + place + ")");
  if (at && !sql.empty()) text += MarkPlace(sql, offset);
  if (!error.GetInputs().empty()) text += fmt::format("  {}\n", ListInputs(error.GetInputs()));
  std::fwrite(text.data(), 1, text.size(), stderr);
}

void PrintError(const std::string& sentence) { PrintSentence("error", sentence); }

void PrintWarning(const std::string& sentence) { PrintSentence("warning", sentence); }

}  // namespace sqxer
