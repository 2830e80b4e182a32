#include "Completion.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <utility>

#include "Engine/Tables.h"
#include "SqlWords.h"

namespace sqxer {
namespace {

namespace fs = std::filesystem;
using Kind = SqlWord::Kind;

constexpr std::size_t kMostShown = 200;

bool Is(const SqlWord& word, std::string_view keyword) {
  return word.kind == Kind::kWord && word.text.size() == keyword.size() &&
         StartsWithFolded(word.text, keyword);
}

bool IsSign(const SqlWord& word, char sign) {
  return word.kind == Kind::kSign && !word.text.empty() && word.text.front() == sign;
}

bool BeginsTables(const SqlWord& word) { return Is(word, "FROM") || Is(word, "JOIN"); }

/// A keyword that a list of tables goes on behind.
bool GoesOnWithTables(const SqlWord& word) {
  for (const char* keyword :
       {"AS", "LEFT", "RIGHT", "FULL", "INNER", "OUTER", "CROSS", "NATURAL"}) {
    if (Is(word, keyword)) return true;
  }
  return !IsKeyword(word.text);
}

/// A table that a statement names, and the name that its columns may stand behind.
struct TableUse {
  std::string table;
  std::string alias;
};

/// Whether a table can stand behind these words.
bool IsTablePlace(const std::vector<SqlWord>& words, std::size_t count) {
  if (count == 0) return false;
  const SqlWord& last = words[count - 1];
  if (BeginsTables(last) || Is(last, "DESCRIBE")) return true;
  if (!IsSign(last, ',')) return false;
  // Of a list behind FROM, back to its start.
  int depth = 0;
  for (std::size_t i = count - 1; i-- > 0;) {
    if (IsSign(words[i], ')')) ++depth;
    if (IsSign(words[i], '(') && depth-- == 0) return false;
    if (depth > 0) continue;
    if (BeginsTables(words[i])) return true;
    if (words[i].kind == Kind::kWord && !GoesOnWithTables(words[i])) return false;
    if (IsSign(words[i], ';')) return false;
  }
  return false;
}

std::string AsWritten(const SqlWord& word) {
  const char mark = word.kind == Kind::kQuotedName ? '"' : '\'';
  if (word.kind == Kind::kWord) return word.text;
  std::string quoted(1, mark);
  for (const char c : word.text) quoted += c == mark ? std::string(2, c) : std::string(1, c);
  return quoted + mark;
}

std::vector<TableUse> FindTableUses(const std::vector<SqlWord>& words) {
  std::vector<TableUse> uses;
  for (std::size_t i = 1; i < words.size(); ++i) {
    const bool isName = words[i].kind != Kind::kSign && !words[i].isOpen && !words[i].text.empty();
    const bool isKeyword = words[i].kind == Kind::kWord && IsKeyword(words[i].text);
    if (!isName || isKeyword || !IsTablePlace(words, i)) continue;
    TableUse use{AsWritten(words[i]), words[i].text};
    std::size_t next = i + 1;
    if (next < words.size() && Is(words[next], "AS")) ++next;
    const bool hasAlias =
        next < words.size() && (words[next].kind == Kind::kQuotedName ||
                                (words[next].kind == Kind::kWord && !IsKeyword(words[next].text)));
    if (hasAlias) use.alias = words[next].text;
    uses.push_back(std::move(use));
  }
  return uses;
}

/// As a person would type it: in the letter case of what is there.
std::string InCaseOf(std::string_view typed, std::string_view keyword) {
  std::string text(keyword);
  const bool isLower = std::ranges::any_of(typed, [](char c) { return c >= 'a' && c <= 'z'; });
  if (isLower) std::ranges::transform(text, text.begin(), &FoldLetter);
  return text;
}

class SqlCompleter {
 public:
  SqlCompleter(std::string_view before, std::string_view after, const CompletionSource& source)
      : words_(ReadSqlWords(before)), source_(source) {
    std::string whole(before);
    whole += after;
    uses_ = FindTableUses(ReadSqlWords(whole));
    const bool isInWord = !words_.empty() && words_.back().end == before.size() &&
                          (words_.back().isOpen || words_.back().kind == Kind::kWord);
    if (!isInWord) return;
    at_ = words_.back();
    words_.pop_back();
    isOpen_ = at_.isOpen;
  }

  Completion Run() {
    if (isOpen_) return CompleteQuoted();
    const bool isMember = !words_.empty() && IsSign(words_.back(), '.');
    if (isMember && words_.size() > 1) return CompleteMember(words_[words_.size() - 2].text);
    std::vector<std::string> found;
    if (IsTablePlace(words_, words_.size())) {
      Add(found, source_.tables());
      return Finish(std::move(found), " ");
    }
    for (const TableUse& use : uses_) Add(found, source_.columns(use.table));
    // Nothing is typed: not all that there is.
    if (at_.text.empty()) return Finish(std::move(found), " ");
    for (const std::string_view keyword : ListKeywords()) {
      Add(found, {InCaseOf(at_.text, keyword)});
    }
    const std::size_t before = found.size();
    for (const std::string& function : source_.functions) {
      Add(found, {InCaseOf(at_.text, FoldedToUpper(function))});
    }
    const bool isFunction = before == 0 && found.size() == 1;
    return Finish(std::move(found), isFunction ? "(" : " ");
  }

 private:
  static std::string FoldedToUpper(std::string text) {
    for (char& c : text) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    return text;
  }

  void Add(std::vector<std::string>& found, const std::vector<std::string>& names) const {
    for (const std::string& name : names) {
      // One in quotation marks is found by what they hold.
      const bool isQuoted = !name.empty() && name.front() == '"';
      if (StartsWithFolded(name, at_.text) ||
          (isQuoted && StartsWithFolded(std::string_view(name).substr(1), at_.text))) {
        found.push_back(name);
      }
    }
  }

  Completion CompleteMember(const std::string& alias) const {
    std::vector<std::string> found;
    for (const TableUse& use : uses_) {
      const bool isIt = use.alias.size() == alias.size() && StartsWithFolded(use.alias, alias);
      if (isIt) Add(found, source_.columns(use.table));
    }
    return Finish(std::move(found), " ");
  }

  /// Of paths, and of names in quotation marks.
  Completion CompleteQuoted() const {
    if (at_.kind == Kind::kSign) return {};
    const bool isTable = IsTablePlace(words_, words_.size());
    const bool isTarget = !words_.empty() && Is(words_.back(), "TO");
    const std::string mark = at_.kind == Kind::kText ? "'" : "\"";
    Completion paths;
    if (isTable || isTarget) paths = CompletePath(at_.text, isTable);
    paths.replaced = at_.end - at_.start - 1;
    if (at_.kind == Kind::kQuotedName) {
      std::vector<std::string> names;
      if (isTable) names = source_.tables();
      for (const TableUse& use : uses_) {
        if (isTable) break;
        const std::vector<std::string> columns = source_.columns(use.table);
        names.insert(names.end(), columns.begin(), columns.end());
      }
      for (std::string& name : names) {
        if (name.front() == '"') name = name.substr(1, name.size() - 2);
        if (StartsWithFolded(name, at_.text)) paths.candidates.push_back(name);
      }
    }
    std::set<std::string> sorted(paths.candidates.begin(), paths.candidates.end());
    paths.candidates.assign(sorted.begin(), sorted.end());
    paths.suffix = mark;
    return paths;
  }

  Completion Finish(std::vector<std::string> found, std::string suffix) const {
    const std::set<std::string> sorted(found.begin(), found.end());
    return {at_.end - at_.start, {sorted.begin(), sorted.end()}, std::move(suffix)};
  }

  /// Those before the one at the cursor.
  std::vector<SqlWord> words_;
  SqlWord at_{Kind::kWord, "", 0, 0, false};
  bool isOpen_ = false;
  std::vector<TableUse> uses_;
  const CompletionSource& source_;
};

}  // namespace

Completion CompleteSql(std::string_view before, std::string_view after,
                       const CompletionSource& source) {
  return SqlCompleter(before, after, source).Run();
}

Completion CompleteWord(std::string_view prefix, const std::vector<std::string>& words) {
  std::set<std::string> found;
  for (const std::string& word : words) {
    if (StartsWithFolded(word, prefix)) found.insert(word);
  }
  return {prefix.size(), {found.begin(), found.end()}, " "};
}

Completion CompletePath(std::string_view prefix, bool tablesAlone) {
  const std::size_t slash = prefix.rfind('/');
  const std::string folder(slash == std::string_view::npos ? "" : prefix.substr(0, slash + 1));
  const std::string_view start = prefix.substr(folder.size());
  std::set<std::string> found;
  std::error_code error;
  for (fs::directory_iterator entry(folder.empty() ? "." : folder, error), end;
       !error && entry != end; entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (!name.starts_with(start) || (name.starts_with('.') && !start.starts_with('.'))) continue;
    std::error_code ignored;
    const bool isFolder = entry->is_directory(ignored);
    if (tablesAlone && !isFolder && engine::NameOfTable(name).empty()) continue;
    found.insert(folder + name + (isFolder ? "/" : ""));
  }
  return {prefix.size(), {found.begin(), found.end()}, " "};
}

std::string CommonStart(const Completion& completion) {
  if (completion.candidates.empty()) return {};
  std::string start = completion.candidates.front();
  for (const std::string& other : completion.candidates) {
    std::size_t length = 0;
    while (length < std::min(start.size(), other.size()) &&
           FoldLetter(start[length]) == FoldLetter(other[length])) {
      ++length;
    }
    start.resize(length);
  }
  // Not half a character.
  const auto isInside = [&](std::size_t at) {
    const std::string& first = completion.candidates.front();
    return at < first.size() && (static_cast<unsigned char>(first[at]) & 0xC0) == 0x80;
  };
  while (!start.empty() && isInside(start.size())) start.pop_back();
  return start;
}

std::string ArrangeCandidates(const std::vector<std::string>& candidates, std::size_t columns) {
  const std::size_t count = std::min(candidates.size(), kMostShown);
  const auto widthOf = [](const std::string& text) {
    return static_cast<std::size_t>(std::ranges::count_if(
        text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
  };
  std::size_t width = 0;
  for (std::size_t i = 0; i < count; ++i) width = std::max(width, widthOf(candidates[i]) + 2);
  const std::size_t perLine = std::max<std::size_t>(columns / std::max<std::size_t>(width, 1), 1);
  const std::size_t lines = (count + perLine - 1) / perLine;
  std::string text;
  for (std::size_t line = 0; line < lines; ++line) {
    for (std::size_t i = line; i < count; i += lines) {
      text += candidates[i];
      if (i + lines < count) text.append(width - widthOf(candidates[i]), ' ');
    }
    text += '\n';
  }
  if (count < candidates.size()) {
    text += "... and " + std::to_string(candidates.size() - count) + " more\n";
  }
  return text;
}

}  // namespace sqxer
