#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace sqxer::test {

/// A folder of its own, gone with the object.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "sqxer-test-XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& Path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }
  std::string Write(const std::string& name, const std::string& content) const {
    std::ofstream(File(name), std::ios::binary) << content;
    return File(name);
  }

 private:
  std::string path_;
};

}  // namespace sqxer::test
