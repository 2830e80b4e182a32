#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ColumnTypes.h"
#include "LazyTable.h"

namespace sqxer {

/// A table of text files with a JSON object on each line. The keys are its columns, in the order in
/// which the files first name them; a key that an object has not is NULL there, like null. Empty
/// lines are nothing. Nested objects and arrays are their JSON texts.
///
/// A column is boolean or of the narrowest type of its numbers, or the date, time or timestamp that
/// all of its strings read as in the shapes of CSV files; every other one is text: numbers in
/// quotation marks are, and columns of several kinds.
///
/// The files are read whole at once: their last line may name a column. Errors come with the line:
/// 57029 (file, place, line) for what is not one object, 57030 (file, place, key), 57033 (file,
/// place) for a line of more than 64 MiB, 57007 for a NUL in a line or a string, 57008, and 57022
/// (file, place, encoding); 57034 (file) without a key; further those of TextFile, and of
/// ColumnNames. A value that a declared type does not take is 57010 or 57011, unless any line is
/// broken.
class JsonLinesTable final : public LazyTable {
 public:
  /// Of one or several files; `encoding` and `mayStartThread` as TextFile has them. The arguments
  /// are copied.
  JsonLinesTable(std::vector<std::string> paths, const XeString& name, DeclaredTypes declared,
                 std::string encoding, bool mayStartThread);

  const TableSchema& Require(const TableRequest& request, LoadProgress progress) override;
  const Table& Get() const override { return table_; }
  XeString FindTextReason(std::size_t column) override { return textReasons_.at(column); }

 private:
  class Loader;

  std::vector<std::string> paths_;
  DeclaredTypes declared_;
  std::string encoding_;
  bool mayStartThread_;
  Table table_;
  /// Of each column, empty where there is none.
  std::vector<XeString> textReasons_;
  bool isLoaded_ = false;
};

}  // namespace sqxer
