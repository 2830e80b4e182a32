#pragma once

#include <string>

#include "Session.h"
#include "SqlSessionStatement.h"
#include "Table.h"

namespace sqxer {

/// Runs a statement about what a session has. It changes the session when all of its work is done:
/// an error, or a cancellation, leaves everything as it was.
class SessionStatements {
 public:
  /// All must outlive it.
  SessionStatements(Session& session, const std::string& sql, ResultSink& sink)
      : session_(session), sql_(sql), sink_(sink) {}

  void Run(const SqlSessionStatement& statement);

 private:
  void Do(const SqlCreateView& create);
  void Do(const SqlCreateTable& create);
  void Do(const SqlDrop& drop);
  void Do(const SqlInsert& insert);
  void Do(const SqlCopy& copy);
  void Do(const SqlDescribe& describe);
  void Do(const SqlSummarize& summarize);
  void Do(const SqlShowTables& show);
  void Do(const SqlShow& show);
  void Do(const SqlSet& set);
  /// For the statements to come; errors of SUSystemConfig::Set, and 57192.
  void Set(const std::string& name, const std::string& value);
  void Do(const SqlReset& reset);

  /// What a statement without rows has done.
  void Finish(const std::string& tag, uint64 rows = 0);

  /// Errors 57142 and 57143 for a name that cannot be given to something new.
  void CheckNew(const SqlPlacedName& name, bool replaces) const;
  /// What has a name: "a view", "a table", ...; null for nothing.
  const wchar_t* FindKind(const XeString& name) const;
  /// The table that INSERT takes. Errors 57144 and 57146.
  SessionObject& FindTable(const SqlPlacedName& name) const;
  /// Where each column of the table has its value among those of the query. Errors 57147 to 57149.
  std::vector<std::optional<std::size_t>> PlaceColumns(const SqlInsert& insert, const Table& table,
                                                       std::size_t width) const;
  /// Rows with the types of a table's columns: of the column of `source` that is placed there, else
  /// NULL.
  Table Assign(const Table& source, const SessionObject& object, const TableSchema& schema,
               const std::vector<std::optional<std::size_t>>& places, const SqlQuery& query);
  /// Puts the last chunks together where they are short, so that many INSERTs make few chunks.
  void MergeLastChunks(Table& table);
  /// Error 57150 for a text longer than its column was declared.
  void CheckLengths(const Table& rows, const SessionObject& object, int position);
  void RunOver(const Table& table, const SqlSelect& select, ResultSink& sink);
  Table MakeTable(const SqlQuery& query);

  Session& session_;
  const std::string& sql_;
  ResultSink& sink_;
};

}  // namespace sqxer
