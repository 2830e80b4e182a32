#include "TablePath.h"

#include <glob.h>

#include <algorithm>
#include <filesystem>
#include <new>

#include "TableError.h"

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
  for (const auto& entry : fs::directory_iterator(folder, ignored)) {
    const std::string candidate = entry.path().filename().string();
    const bool isMatch = BaseStringUtil::IsCaseInsensitiveMatch(Wide(candidate), Wide(name));
    // Of several the first by name, so that the choice does not depend on the folder's order.
    if (isMatch && (found.empty() || candidate < found.filename()))
      found = entry.path().lexically_normal();
  }
  return found.string();
}

std::vector<std::string> ListTableFiles(const std::string& folder) {
  std::vector<std::string> files;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(folder, ignored)) {
    if (files.size() == kMostListedFiles) break;
    if (entry.path().extension() == ".csv") files.push_back(entry.path().filename().string());
  }
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
  glob_t found;
  const int status = glob(path.c_str(), 0, nullptr, &found);
  std::vector<std::string> paths(found.gl_pathv,
                                 found.gl_pathv + (status == 0 ? found.gl_pathc : 0));
  globfree(&found);
  if (status == GLOB_NOSPACE) throw std::bad_alloc();
  if (paths.empty()) ThrowTableError(kNoFileMatches, {Wide(path)});
  return paths;
}

}  // namespace sqxer
