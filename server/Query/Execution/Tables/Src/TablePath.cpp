#include "TablePath.h"

#include <glob.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <new>

#include "TableError.h"
#include "Utility/SystemUtility.h"

namespace sqxer {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostListedFiles = 4096;

/// A path without the ending of packed files.
std::string_view WithoutPacking(std::string_view path) {
  for (const std::string_view ending : {".gz", ".zst"}) {
    if (path.ends_with(ending)) path.remove_suffix(ending.size());
  }
  return path;
}

/// A pipe, as the shell names those of <(...) too: it has no ending that could tell what it holds.
bool IsStream(const std::string& path) {
  if (path.find('/') == std::string::npos) return false;
  std::error_code ignored;
  const fs::file_status status = fs::status(path, ignored);
  return path.starts_with("/dev/") ? fs::exists(status) && !fs::is_directory(status)
                                   : fs::is_fifo(status) || fs::is_socket(status);
}

/// Calls action(path) for what a folder holds, as far as it can be read, until it returns false.
template <class Action>
void ForEachEntry(const std::string& folder, Action&& action) {
  std::error_code error;
  fs::directory_iterator entry(folder, error);
  while (!error && entry != fs::directory_iterator() && action(entry->path())) {
    entry.increment(error);
  }
  SystemUtility::ThrowIfOutOfMemory(error);
}

}  // namespace

TablePath TablePath::Parse(const std::string& path) {
  constexpr std::string_view kDatabaseMark = ".db:";
  const std::string_view text = WithoutPacking(path);
  if (path == "-") return {Kind::kStream, path, ""};
  if (text.ends_with(".csv")) return {Kind::kCsv, path, ""};
  if (text.ends_with(".tsv")) return {Kind::kTsv, path, ""};
  if (text.ends_with(".jsonl") || text.ends_with(".ndjson")) return {Kind::kJsonLines, path, ""};
  const std::size_t mark = path.rfind(kDatabaseMark);
  const std::size_t table = mark + kDatabaseMark.size();
  if (mark == std::string::npos || table >= path.size()) {
    return IsStream(path) ? TablePath{Kind::kStream, path, ""} : TablePath();
  }
  return {Kind::kDatabase, path.substr(0, table - 1), path.substr(table)};
}

XeString TablePath::Name() const {
  if (kind == Kind::kDatabase) return Wide(table);
  return Wide(fs::path(WithoutPacking(file)).stem().string());
}

std::string FindFileInFolder(const std::string& folder, const std::string& name) {
  const fs::path exact = (fs::path(folder) / name).lexically_normal();
  std::error_code ignored;
  if (fs::exists(exact, ignored)) return exact;
  fs::path found;
  ForEachEntry(folder, [&](const fs::path& path) {
    const std::string candidate = path.filename().string();
    const bool isMatch = BaseStringUtil::IsCaseInsensitiveMatch(Wide(candidate), Wide(name));
    // Of several the first by name, so that the choice does not depend on the folder's order.
    if (isMatch && (found.empty() || candidate < found.filename())) found = path.lexically_normal();
    return true;
  });
  return found.string();
}

std::vector<std::string> ListTableFiles(const std::string& folder) {
  std::vector<std::string> files;
  ForEachEntry(folder, [&](const fs::path& path) {
    if (path.extension() == ".csv") files.push_back(path.filename().string());
    return files.size() < kMostListedFiles;
  });
  std::ranges::sort(files);
  return files;
}

void RefuseForeignFile(const std::string& path) {
  const std::string ending = fs::path(path).extension().string();
  const struct {
    const char* ending;
    const wchar_t* kind;
  } kKinds[] = {{".parquet", L"a Parquet"}, {".xlsx", L"an Excel"},       {".xlsm", L"an Excel"},
                {".xls", L"an Excel"},      {".ods", L"an OpenDocument"}, {".arrow", L"an Arrow"},
                {".feather", L"an Arrow"},  {".avro", L"an Avro"},        {".orc", L"an ORC"}};
  for (const auto& foreign : kKinds) {
    if (BaseStringUtil::IsCaseInsensitiveMatch(Wide(ending), Wide(foreign.ending))) {
      ThrowTableError(kForeignFile, {Wide(path), foreign.kind});
    }
  }
}

std::vector<std::string> FindFiles(const std::string& path) {
  std::error_code ignored;
  // A file may have a bracket in its name.
  if (path.find_first_of("*?[") == std::string::npos || fs::exists(path, ignored)) return {path};
  struct Found : glob_t {
    Found() : glob_t() {}
    ~Found() { globfree(this); }
    Found(const Found&) = delete;
    Found& operator=(const Found&) = delete;
  } found;
  const auto isFatal = [](const char*, int error) { return error == ENOMEM ? 1 : 0; };
  const int status = glob(path.c_str(), 0, isFatal, &found);
  if (status == GLOB_NOSPACE || status == GLOB_ABORTED) throw std::bad_alloc();
  std::vector<std::string> paths(found.gl_pathv,
                                 found.gl_pathv + (status == 0 ? found.gl_pathc : 0));
  if (paths.empty()) ThrowTableError(kNoFileMatches, {Wide(path)});
  return paths;
}

}  // namespace sqxer
