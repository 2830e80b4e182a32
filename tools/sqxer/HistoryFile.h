#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace sqxer {

/// Where the shell's history is kept: sqxer/history in the folder for the state of programs
/// (XDG_STATE_HOME, else ~/.local/state); empty without such a folder.
std::string FindHistoryPath();

/// What was typed, kept from one shell to the next, for its user's eyes alone. Entries of several
/// lines stay whole. Each is written when it comes, so that shells that run at the same time keep
/// theirs too. A file that cannot be read or written is no error: nothing is kept then.
class HistoryFile {
 public:
  static constexpr std::size_t kMostEntries = 5000;

  explicit HistoryFile(std::string path, std::size_t mostEntries = kMostEntries)
      : path_(std::move(path)), mostEntries_(mostEntries) {}

  /// The latest entries, the oldest first. A file that has many more is made shorter.
  std::vector<std::string> Read() const;
  void Append(std::string_view entry) const;

 private:
  void Replace(const std::vector<std::string>& entries) const;

  std::string path_;
  std::size_t mostEntries_;
};

}  // namespace sqxer
