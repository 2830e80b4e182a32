#include "TablePath.h"

#include <filesystem>

#include "TableError.h"

namespace sqxer {
namespace {

namespace fs = std::filesystem;

}  // namespace

TablePath TablePath::Parse(const std::string& path) {
  constexpr std::string_view kDatabaseMark = ".db:";
  if (path.ends_with(".csv")) return {Kind::kCsv, path, ""};
  if (path.ends_with(".tsv")) return {Kind::kTsv, path, ""};
  const std::size_t mark = path.rfind(kDatabaseMark);
  const std::size_t table = mark + kDatabaseMark.size();
  if (mark == std::string::npos || table >= path.size()) return {};
  return {Kind::kDatabase, path.substr(0, table - 1), path.substr(table)};
}

XeString TablePath::Name() const {
  return Wide(kind == Kind::kDatabase ? table : fs::path(file).stem().string());
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

}  // namespace sqxer
