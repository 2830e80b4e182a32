#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Engine/Error.h"
#include "Engine/Evaluator.h"
#include "Engine/Function.h"
#include "Engine/Reference.h"
#include "Engine/Result.h"
#include "Engine/Run.h"
#include "Engine/Statements.h"
#include "Engine/Tables.h"
#include "Engine/TextOutput.h"

/// SQL over files and Arrow data, for programs that take the engine in as a library. Texts are
/// UTF-8. Errors are thrown as Error; where memory runs out it is std::bad_alloc or, of sizes that
/// no memory has, std::length_error. An error leaves the session as it was, usable.
///
/// Threads: a session, its results and its evaluators are used by one thread at a time; different
/// ones do not disturb each other. Cancel may be called from any thread. Arrow data that was handed
/// out belongs to nobody else, on whatever thread.

namespace sqxer::engine {

/// A table or a view that a statement has made.
struct MadeTable {
  std::string name;
  bool isView = false;
};

/// A set of tables, and the statements that are run over them.
class SQXER_ENGINE_API Session {
 public:
  Session();
  ~Session();
  Session(Session&&) noexcept;
  Session& operator=(Session&&) noexcept;

  /// A switch of ListSwitches, for the statements to come: among them are the limits of memory
  /// and time (MemoryLimit, TempLimit, StatementTimeout).
  void Set(const std::string& name, const std::string& value);
  /// The value of a switch, which a statement may have set.
  std::string Get(const std::string& name);
  /// How many threads read files and evaluate rows at most; one at first. Results do not depend on
  /// it.
  void SetThreads(unsigned threads);
  /// Where a bare table name means NAME.csv.
  void SetDirectory(const std::string& directory);

  /// From now on the texts of statements come from people that nobody knows. They read regular
  /// files of the directory alone, wherever links lead (error 57190), beside the tables that the
  /// program adds, and write none (57191); views of databases are confined (57193). Limits become
  /// tighter: a gibibyte of memory, four of temporary files, a minute, a mebibyte of SQL. Set makes
  /// them what the program wants; statements can only lower them (57192).
  void SetUntrusted();
  bool IsUntrusted() const;
  /// That statements of the session may read a file: error 57190 of an untrusted one.
  void CheckReadable(const std::string& path) const;

  /// How text files are read that have not been yet. Error 57023 for an encoding, and 57039 for a
  /// delimiter, that is none.
  void SetFileOptions(const FileOptions& options);
  /// Is told, once each, of files whose first line names the columns and looks like a row.
  void SetHeaderWarning(std::function<void(const std::string& path)> warn);
  /// Standard input holds something else than a table: one that is "-" is error 57032.
  void RefuseStandardInput();

  /// A file as a table: CSV, JSON lines, gzipped or not, or FILE.db:table.
  void AddFile(const std::string& name, const std::string& path);
  /// Types for the table of that name in the place of those found: "COL:TYPE,COL:TYPE". Before it
  /// is first read.
  void SetTypes(const std::string& name, const std::string& columns);
  /// Arrow data as a table, which it takes over, whatever happens, and shares as long as the table
  /// is there. A table of the name is replaced; results that were made of it stay.
  void AddArrow(const std::string& name, ArrowArrayStream* stream,
                const ArrowOptions& options = {});
  /// Data that is opened when a statement reads it. `schema` stays the caller's; errors that `open`
  /// throws pass through the statement.
  void AddSource(const std::string& name, const ArrowSchema& schema, OpenSource open,
                 const ArrowOptions& options = {});
  void RemoveTable(const std::string& name);
  /// The tables and views that statements have made, by name.
  std::vector<MadeTable> ListMadeTables();

  /// A function for the statements and expressions to come, in the place of one that was added by
  /// that name before; those that are built in stay what they are.
  void AddFunction(const FunctionSpec& function, CallFunction call);
  void RemoveFunction(const std::string& name);

  /// Runs one statement to its end. `parameters` are the values of $1, $2, ...: VALUE, or
  /// TYPE:VALUE, an empty one NULL.
  Result Query(const std::string& sql, const std::vector<std::string>& parameters = {},
               const ResultOptions& options = {});
  /// The same, its rows made in a thread while they are read, a few batches ahead. The next
  /// statement of the session ends it.
  Result Stream(const std::string& sql, const std::vector<std::string>& parameters = {},
                const ResultOptions& options = {});
  /// Runs one statement to its end and writes its rows as text, all digits of decimals among them.
  /// Pieces of whole rows are written while they are made, unless `options` wants or has them wait.
  /// What `write` throws ends the statement and passes through.
  void Write(const std::string& sql, const WriteText& write,
             const std::vector<std::string>& parameters = {}, const TextOptions& options = {});
  /// An expression over the columns of a schema, which stays the caller's.
  Evaluator Compile(const std::string& expression, const ArrowSchema& schema,
                    const std::vector<std::string>& parameters = {});

  /// Is told what statements to come are at; nothing for nobody.
  void SetProgress(TellProgress tell);
  /// What the last Query or Write took, also one that failed.
  const RunReport& GetReport() const;

  /// Ends the statement that is running, which throws Error::kCancelled soon; without one it does
  /// nothing. From any thread, and from the handler of a signal.
  void Cancel() noexcept;
  /// Ends a statement whose rows are made while they are read, and waits until it has ended.
  void Stop();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace sqxer::engine
