#pragma once

#include <string>
#include <vector>

#include "Utility/XeTypes.h"

namespace sqxer {

/// A path to a table: of a text file, or of a table in a database file.
struct TablePath {
  /// A stream is of what it holds: CSV or JSON lines.
  enum class Kind { kNone, kCsv, kTsv, kJsonLines, kStream, kDatabase };
  Kind kind = Kind::kNone;
  std::string file;
  std::string table;

  /// NAME.csv, NAME.tsv, or NAME.jsonl or NAME.ndjson for JSON lines, also packed (.gz, .zst), "-"
  /// for standard input, a path to a pipe or a device, or FILE.db:table; of kind kNone for any
  /// other text.
  static TablePath Parse(const std::string& path);

  bool IsPath() const { return kind != Kind::kNone; }
  /// What the table is called without its folder.
  XeString Name() const;
};

/// The path of a file in a folder, by its name with letter case ignored where none has it exactly;
/// of several the first by name. Empty when there is none.
std::string FindFileInFolder(const std::string& folder, const std::string& name);

/// The CSV files of a folder, by name, of a folder with thousands some of them.
std::vector<std::string> ListTableFiles(const std::string& folder);

/// Error 57031 (path, kind) for a path that tells by its ending that it is a file of another kind,
/// one that people keep tables in: Parquet, Excel and the like.
void RefuseForeignFile(const std::string& path);

/// The files that a path stands for, by name: those of a pattern with * ? or [, else the path
/// alone. Error 57028 (pattern).
std::vector<std::string> FindFiles(const std::string& path);

}  // namespace sqxer
