#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Utility/BaseStringUtil.h"
#include "Utility/ErrorMessage.h"

namespace sqxer::fuzz {

/// An input as numbers in front and texts behind.
class Input {
 public:
  Input(const unsigned char* data, std::size_t size)
      : rest_(reinterpret_cast<const char*>(data), size) {}

  bool IsAtEnd() const { return rest_.empty(); }
  /// The next byte; 0 at the end.
  unsigned Byte() {
    if (rest_.empty()) return 0;
    const auto byte = static_cast<unsigned char>(rest_.front());
    rest_.remove_prefix(1);
    return byte;
  }
  /// So many bytes, or those that are left.
  std::string_view Take(std::size_t count) {
    const std::string_view taken = rest_.substr(0, count);
    rest_.remove_prefix(taken.size());
    return taken;
  }
  /// Up to the end of the line, which goes with it.
  std::string_view Line() {
    const std::string_view line = rest_.substr(0, rest_.find('\n'));
    rest_.remove_prefix(std::min(rest_.size(), line.size() + 1));
    return line;
  }
  std::string_view Rest() const { return rest_; }

 private:
  std::string_view rest_;
};

/// The text as characters, damaged ones replaced; a text of the product has no zero character.
inline XeString Characters(std::string_view text) {
  XeString wide = BaseStringUtil::Utf8ToString(std::string(text));
  std::erase(wide, L'\0');
  return wide;
}

/// A file in memory, under a path that can be opened any number of times.
class MemoryFile {
 public:
  explicit MemoryFile(std::string_view content) : file_(memfd_create("input", MFD_CLOEXEC)) {
    if (write(file_, content.data(), content.size()) != static_cast<ssize_t>(content.size())) {
      std::abort();
    }
  }
  ~MemoryFile() { close(file_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  std::string GetPath() const { return "/dev/fd/" + std::to_string(file_); }

 private:
  int file_;
};

/// Ends the program if two answers differ.
inline void ExpectEqual(const std::string& found, const std::string& expected, const char* what) {
  if (found == expected) return;
  std::fprintf(stderr, "%s\nfound:\n%s\nexpected:\n%s\n", what, found.c_str(), expected.c_str());
  std::abort();
}

}  // namespace sqxer::fuzz
