#include "HistoryFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "OutputStream.h"

namespace sqxer {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kForUserAlone = 0600;

/// As one line.
std::string Escaped(std::string_view entry) {
  std::string line;
  for (const char c : entry) {
    if (c == '\\') {
      line += "\\\\";
    } else if (c == '\n') {
      line += "\\n";
    } else {
      line += c;
    }
  }
  return line;
}

std::string Unescaped(std::string_view line) {
  std::string entry;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] != '\\' || i + 1 == line.size()) {
      entry += line[i];
    } else {
      entry += line[++i] == 'n' ? '\n' : line[i];
    }
  }
  return entry;
}

/// Whether all of it was written.
bool WriteTo(int descriptor, std::string_view text, const std::string& name) {
  try {
    WriteAll(descriptor, text, name);
  } catch (const OutputError&) {
    return false;
  }
  return true;
}

/// The folder with those above it, for its user alone where they are made.
void MakeFolder(const fs::path& folder) {
  std::error_code ignored;
  if (folder.empty() || fs::exists(folder, ignored)) return;
  MakeFolder(folder.parent_path());
  mkdir(folder.c_str(), 0700);
}

}  // namespace

std::string FindHistoryPath() {
  const char* const state = std::getenv("XDG_STATE_HOME");
  // What is no absolute path counts as none.
  if (state != nullptr && state[0] == '/') return std::string(state) + "/sqxer/history";
  const char* const home = std::getenv("HOME");
  if (home == nullptr || home[0] == '\0') return {};
  return std::string(home) + "/.local/state/sqxer/history";
}

std::vector<std::string> HistoryFile::Read() const {
  std::vector<std::string> entries;
  std::error_code ignored;
  if (!fs::is_regular_file(path_, ignored)) return entries;
  std::ifstream file(path_, std::ios::binary);
  for (std::string line; std::getline(file, line);) entries.push_back(Unescaped(line));
  if (entries.size() <= mostEntries_) return entries;
  const bool isMuchLonger = entries.size() > mostEntries_ + mostEntries_ / 2;
  entries.erase(entries.begin(), entries.end() - static_cast<std::ptrdiff_t>(mostEntries_));
  if (isMuchLonger) Replace(entries);
  return entries;
}

void HistoryFile::Append(std::string_view entry) const {
  if (path_.empty()) return;
  MakeFolder(fs::path(path_).parent_path());
  // One line in one write: another shell may write at the same time.
  const int file =
      open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, kForUserAlone);
  if (file < 0) return;
  struct stat status;
  if (fstat(file, &status) == 0 && S_ISREG(status.st_mode)) {
    if ((status.st_mode & 07777) != kForUserAlone) fchmod(file, kForUserAlone);
    WriteTo(file, Escaped(entry) + '\n', path_);
  }
  close(file);
}

void HistoryFile::Replace(const std::vector<std::string>& entries) const {
  std::string text;
  for (const std::string& entry : entries) text += Escaped(entry) + '\n';
  std::string temporary = path_ + ".XXXXXX";
  const int file = mkostemp(temporary.data(), O_CLOEXEC);
  if (file < 0) return;
  const bool isWritten = WriteTo(file, text, temporary);
  if (close(file) != 0 || !isWritten || std::rename(temporary.c_str(), path_.c_str()) != 0) {
    unlink(temporary.c_str());
  }
}

}  // namespace sqxer
