#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace sqxer {

/// What completion chooses from. What takes a look at files is asked for when it is needed.
struct CompletionSource {
  /// Tables that statements can name, as they write them.
  std::function<std::vector<std::string>()> tables;
  /// The columns of one, as statements write them; none for what cannot be told cheaply.
  std::function<std::vector<std::string>(const std::string& table)> columns;
  /// In lower case.
  std::vector<std::string> functions;
};

/// What may stand in the place of the word at the cursor.
struct Completion {
  /// How many bytes before the cursor they replace.
  std::size_t replaced = 0;
  /// By name, each once.
  std::vector<std::string> candidates;
  /// What follows a single candidate that is a word, such as a blank; a folder has none.
  std::string suffix;
};

/// Of a statement with the cursor between two texts.
Completion CompleteSql(std::string_view before, std::string_view after,
                       const CompletionSource& source);

/// Of the word of a command.
Completion CompleteWord(std::string_view prefix, const std::vector<std::string>& words);

/// The paths that begin so, folders with their slash; hidden ones only where that begins with a
/// dot. `tablesAlone`: only those that can be tables.
Completion CompletePath(std::string_view prefix, bool tablesAlone);

/// What all candidates begin with, letter case ignored where they differ in it alone.
std::string CommonStart(const Completion& completion);

/// Candidates side by side in lines of so many columns, for a person to look at.
std::string ArrangeCandidates(const std::vector<std::string>& candidates, std::size_t columns);

}  // namespace sqxer
