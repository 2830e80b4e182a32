#include "TableFiles.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <set>
#include <string_view>

#include "ErrorLines.h"
#include "SqlWords.h"

namespace sqxer {
namespace {

namespace fs = std::filesystem;

bool Exists(const std::string& path) {
  std::error_code ignored;
  return fs::exists(path, ignored);
}

/// The file of a path, which may name a table in a database.
std::string FileOf(const std::string& path) {
  constexpr std::string_view kDatabaseMark = ".db:";
  const std::size_t mark = path.rfind(kDatabaseMark);
  return mark == std::string::npos ? path : path.substr(0, mark + kDatabaseMark.size() - 1);
}

bool IsPattern(const std::string& path) { return path.find_first_of("*?[") != std::string::npos; }

/// Whether a text can be nothing but a path. No statement is one word with a dot or slash in it.
bool LooksLikePath(const std::string& text) {
  return text.find_first_of(" \t\r\n\f\v'\"();*$-") == std::string::npos &&
         text.find_first_of("./") != std::string::npos;
}

[[noreturn]] void ThrowNoFile(const std::string& path) {
  const fs::path wanted = FileOf(path);
  const fs::path folder = wanted.parent_path();
  std::vector<std::string> names;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(folder.empty() ? "." : folder, ignored)) {
    names.push_back(entry.path().filename().string());
  }
  std::ranges::sort(names);
  std::vector<std::string> near = engine::FindNearNames(wanted.filename().string(), names);
  for (std::string& name : near) name = (folder / name).string();
  const std::string hint =
      near.empty() ? "" : fmt::format(": did you mean {}?", fmt::join(near, " or "));
  throw ArgumentError(kFileFailed,
                      OnOneLine(fmt::format("there is no file \"{}\"{}", wanted.string(), hint)));
}

/// Whether an argument is a table. Throws ArgumentError.
bool IsTableFile(const std::string& argument) {
  const bool isOfTable = !engine::NameOfTable(argument).empty();
  if (isOfTable && (Exists(FileOf(argument)) || (IsPattern(argument) && !Exists(argument)))) {
    // What is also a pattern of SQL has blanks.
    return Exists(FileOf(argument)) || argument.find(' ') == std::string::npos;
  }
  const bool isPath =
      LooksLikePath(argument) || (isOfTable && argument.find_first_of(" '\"") == std::string::npos);
  if (!isPath || argument == "-") return false;
  if (!Exists(FileOf(argument))) ThrowNoFile(argument);
  if (argument.ends_with(".sql")) {
    throw ArgumentError(kWrongOptions, fmt::format("{} is no table: -f {} runs it as SQL",
                                                   OnOneLine(argument), OnOneLine(argument)));
  }
  // One of another kind is refused as a table.
  return true;
}

}  // namespace

std::vector<KnownTable> SortArguments(Options& options) {
  std::set<std::string> taken;
  const auto folded = [](std::string name) {
    std::ranges::transform(name, name.begin(), &FoldLetter);
    return name;
  };
  for (const auto& [name, path] : options.tables) taken.insert(folded(name));
  std::vector<KnownTable> tables;
  std::vector<std::string> sql;
  for (const std::string& argument : options.arguments) {
    if (!IsTableFile(argument)) {
      sql.push_back(argument);
      continue;
    }
    std::string base = engine::NameOfTable(argument);
    if (base.empty()) base = "table";
    std::string name = base;
    for (int i = 2; !taken.insert(folded(name)).second; ++i) name = fmt::format("{}_{}", base, i);
    tables.push_back({name, argument});
  }
  if (sql.size() > 1) {
    throw ArgumentError(
        kWrongOptions,
        "more than one argument is SQL: it takes one pair of quotation marks, or -c "
        "for each");
  }
  options.sql.insert(options.sql.begin(), sql.begin(), sql.end());
  if (options.sqlFile && !options.sql.empty()) {
    throw ArgumentError(kWrongOptions, "--file excludes other SQL");
  }
  return tables;
}

void PrintHeaderWarning(const std::string& path) {
  PrintWarning(
      fmt::format("the first line of \"{}\" looks like data: --header no makes it a row, --header "
                  "yes ends this warning",
                  path));
}

std::vector<KnownTable> ListTablesOfFolder(const std::string& folder) {
  std::vector<KnownTable> tables;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(folder, ignored)) {
    const fs::path& path = entry.path();
    if (path.extension() != ".csv" || path.filename().string().starts_with('.')) continue;
    if (!entry.is_directory(ignored)) {
      tables.push_back({path.stem().string(), path.lexically_normal().string()});
    }
  }
  std::ranges::sort(tables, {}, &KnownTable::name);
  return tables;
}

std::string QuoteName(const std::string& name) {
  const bool isPlain =
      !name.empty() && !IsDigit(name.front()) && std::ranges::all_of(name, [](char c) {
        return IsNameLetter(c) && (static_cast<unsigned char>(c) >= 0x80 || c == FoldLetter(c));
      });
  if (isPlain && !IsKeyword(name)) return name;
  std::string quoted = "\"";
  for (const char c : name) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + '"';
}

std::vector<engine::Column> SampleColumns(engine::Session& session, const std::string& table) {
  return session.Query("SELECT * FROM " + table + " LIMIT 0").GetColumns();
}

}  // namespace sqxer
