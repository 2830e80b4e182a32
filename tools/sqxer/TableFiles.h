#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Engine/Engine.h"
#include "Options.h"

namespace sqxer {

/// A table that a statement can name without its path.
struct KnownTable {
  enum class Kind { kFile, kMadeTable, kMadeView };
  std::string name;
  /// Empty for what a statement has made.
  std::string path;
  Kind kind = Kind::kFile;
};

/// Arguments that are wrong; what() is the sentence.
class ArgumentError : public std::exception {
 public:
  ArgumentError(ExitStatus status, std::string sentence)
      : status_(status), sentence_(std::move(sentence)) {}
  ExitStatus GetStatus() const { return status_; }
  const char* what() const noexcept override { return sentence_.c_str(); }

 private:
  ExitStatus status_;
  std::string sentence_;
};

/// Sorts `options.arguments`: SQL goes to `options.sql`, files that are tables are returned, each
/// with a name that no table of `options` and no other one has. Throws ArgumentError for a path of
/// no file, and for SQL in several arguments or beside a file of SQL.
std::vector<KnownTable> SortArguments(Options& options);

/// Warns of a file whose first line names the columns and looks like a row.
void PrintHeaderWarning(const std::string& path);

/// The files of a folder that bare names mean (NAME.csv), by name.
std::vector<KnownTable> ListTablesOfFolder(const std::string& folder);

/// A name as statements write it: in quotation marks where it must have them.
std::string QuoteName(const std::string& name);

/// The columns of a table or a quoted path, as statements write them, by a look at a sample of its
/// rows: types may be others where all are read. Throws Error.
std::vector<engine::Column> SampleColumns(engine::Session& session, const std::string& table);

}  // namespace sqxer
