#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "SqlQuery.h"

namespace sqxer {

/// A name, and where it stands in the statement.
struct SqlPlacedName {
  XeString name;
  int position = 0;
};

/// CREATE VIEW name AS query.
struct SqlCreateView {
  SqlPlacedName name;
  bool replaces = false;
  /// Other names for the first columns.
  std::vector<XeString> columns;
  SqlQueryPtr query;
};

/// CREATE TABLE name AS query, or with columns alone.
struct SqlCreateTable {
  struct Column {
    SqlPlacedName name;
    SqlTypeName type;
  };
  SqlPlacedName name;
  bool replaces = false;
  bool ifNotExists = false;
  /// With a query: other names for the first columns.
  std::vector<XeString> columns;
  /// Null without; then `definitions` says what the columns are.
  SqlQueryPtr query;
  bool withData = true;
  std::vector<Column> definitions;
};

/// DROP VIEW or TABLE.
struct SqlDrop {
  bool isView = false;
  bool ifExists = false;
  std::vector<SqlPlacedName> names;
};

/// INSERT INTO name [(columns)] query.
struct SqlInsert {
  SqlPlacedName name;
  /// Empty: the first columns of the table, as many as the query has.
  std::vector<SqlPlacedName> columns;
  SqlQueryPtr query;
};

/// COPY query TO file.
struct SqlCopy {
  enum class Format { kCsv, kJsonLines, kJson, kArrow };
  SqlQueryPtr query;
  std::string file;
  int filePosition = 0;
  /// What is written; without it the name of the file tells.
  std::optional<Format> format;
  std::optional<bool> hasHeader;
  std::optional<char> delimiter;
  std::optional<std::string> nullText;
  int optionsPosition = 0;
};

/// DESCRIBE and SUMMARIZE, of a query; a table by its name is one of all its columns.
struct SqlDescribe {
  SqlQueryPtr query;
};
struct SqlSummarize {
  SqlQueryPtr query;
};

struct SqlShowTables {};
/// SHOW of a switch, and of all without a name.
struct SqlShow {
  std::optional<SqlPlacedName> name;
};
struct SqlSet {
  SqlPlacedName name;
  std::string value;
  int valuePosition = 0;
};
/// RESET of a switch, and of all without a name.
struct SqlReset {
  std::optional<SqlPlacedName> name;
};

/// A statement about what a session has, rather than one that asks for rows of tables.
using SqlSessionStatement =
    std::variant<SqlCreateView, SqlCreateTable, SqlDrop, SqlInsert, SqlCopy, SqlDescribe,
                 SqlSummarize, SqlShowTables, SqlShow, SqlSet, SqlReset>;

/// Reads a statement that begins with the word of one of these; nothing for any other. Errors as
/// ParseQuery.
std::optional<SqlSessionStatement> ParseSessionStatement(const std::string& sql);

}  // namespace sqxer
