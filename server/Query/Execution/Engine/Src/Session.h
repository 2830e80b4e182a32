#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Catalog.h"
#include "ColumnTypes.h"
#include "CopyTarget.h"
#include "LazyTable.h"
#include "ParameterBlock.h"
#include "QueryParameters.h"
#include "ResultSink.h"
#include "RunProgress.h"
#include "SessionObject.h"
#include "Table.h"
#include "TextTable.h"
#include "Utility/Cancellation.h"
#include "Utility/Settings.h"
#include "Utility/StatementBudget.h"

namespace sqxer {

struct QueryPlan;
struct SqlSelect;
struct SqlStatement;
class RelationRun;
struct FlowRules;

/// Told of a file whose header looks like a row of its table.
using HeaderWarning = std::function<void(const std::string& path)>;

/// A set of tables and the statements run over them. Tables are read when a statement first names
/// them and kept. An error in a statement leaves the session usable. One thread at a time; sessions
/// on several threads do not disturb each other, whatever their settings.
class Session : public Catalog {
 public:
  struct Timing {
    std::chrono::nanoseconds load{0};
    std::chrono::nanoseconds bind{0};
    std::chrono::nanoseconds run{0};
    /// What went to temporary files: sorted runs, merged ones again, and rows that wait.
    uint64 spilledBytes = 0;
  };

  /// Starts from the thread's current settings.
  Session() = default;

  /// Sets a switch for the statements to come, of this session alone: as SUSystemConfig::Set, with
  /// its errors. The statement RESET goes back to it.
  void Set(const std::string& name, const std::string& value);
  const SettingsRef& GetSettings() const { return settings_; }
  /// From now on statements come from nobody knows whom: see UntrustedRules. Limits become tighter;
  /// Set makes them as wide as the program wants. Tables that the program adds may be anywhere.
  void SetUntrusted();
  bool IsUntrusted() const { return isUntrusted_; }
  /// Of an untrusted session: error 57190 for a file that its statements may not read.
  void CheckReadable(const std::string& path) const;

  /// A table by name (letter case ignored): a path as TablePath reads it, or the bare name of a
  /// pipe. Error 57015 (path) or 57031 (path, kind) for any other, and 57032.
  void AddTable(const std::string& name, const std::string& path);
  /// A table that is in memory already.
  void AddTable(std::shared_ptr<const Table> table);
  /// The views and tables that statements have made.
  const SessionObjects& GetObjects() const { return objects_; }
  /// A table that `open` makes anew whenever a statement needs more of it than is kept.
  void AddSource(const std::string& name, std::function<std::shared_ptr<LazyTable>()> open);
  /// The name is again one that nothing was said of.
  void RemoveTable(const std::string& name);
  /// A function for the statements to come, in the place of one that was added before. The name in
  /// lower case; error 57117 for one of the function table.
  void AddFunction(const std::string& name, AddedFunctionPtr function);
  void RemoveFunction(const std::string& name) { functions_.erase(name); }
  const AddedFunctions& GetFunctions() const { return functions_; }
  /// Types instead of the inferred ones for a table of that name: "COL:TYPE,COL:TYPE". Error 57014
  /// (columns).
  void SetSchema(const std::string& name, const std::string& columns);
  /// The values of $1, $2, ... for the statements to come: VALUE or TYPE:VALUE each, as
  /// ParameterBlock reads them. Error 57019 (parameter, type, value).
  void SetParameters(const std::vector<std::string>& values) {
    parameters_ = std::make_unique<ParameterBlock>(values);
  }
  /// Where a bare table name resolves to NAME.csv.
  void SetDirectory(const std::string& directory) { directory_ = directory; }
  /// How text files are read that have not been yet. Errors 57023 (encoding) and 57039.
  void SetFileOptions(const TextTableOptions& options);
  /// What ends a statement that is running; it must outlive the statements. May be null.
  void SetCancellation(const Cancellation* cancellation) { cancellation_ = cancellation; }
  /// How many threads a statement may evaluate its rows with; one at first. Results do not depend
  /// on it.
  void SetThreads(uint32 threads) { threads_ = threads; }
  /// Standard input is not for tables, since it holds something else: error 57032 for a table that
  /// reads it.
  void RefuseStandardInput() { isStandardInputTaken_ = true; }
  /// Called once for each path.
  void SetHeaderWarning(HeaderWarning warn) { warnOfHeader_ = std::move(warn); }
  /// What COPY writes by; without it there is no COPY.
  void SetCopyTarget(OpenCopyTarget open) { openCopyTarget_ = std::move(open); }
  /// Called now and then while a file is read, and while a statement runs; nothing for nobody.
  void SetProgress(LoadProgress load, RunProgress run) {
    loadProgress_ = std::move(load);
    runProgress_ = std::move(run);
  }

  /// The table of that name or path, read now unless it has been. A name means in this order a
  /// view or table that a statement has made, a table that was added, a path (as AddTable has it),
  /// and NAME.csv in the directory, letter case ignored where no file has it exactly. Errors: 57001
  /// (name, file), 57031 (path, kind), 57032, and those of the readers.
  const TableSchema* FindTable(const XeString& name, const TableRequest& request) override;
  void VisitTexts(const XeString& table, std::size_t column,
                  const std::function<void(std::wstring_view)>& visit) override;
  XeString FindTextReason(const XeString& table, std::size_t column) override;
  LookupSourcePtr FindLookup(const XeString& table) override;
  AddedFunctionPtr FindFunction(std::string_view name) override;

  /// Plans and runs one statement. EXPLAIN gives a one-column result, a line a row; a statement
  /// that has no rows, such as CREATE TABLE, tells the sink by Done what it has done. Throws
  /// ErrorMessage (position within `sql`; the input row's number where one was being evaluated);
  /// the sink has then seen no End. `repeat`: how often it is run; the sink sees the last run.
  /// A statement that reads the rows of a table once reads them while it runs where the table is
  /// larger than the switch TableMemory.
  void Execute(const std::string& sql, ResultSink& sink, int repeat = 1);
  /// Of the last Execute, also of a failed one; `run` and `spilledBytes` are those of all
  /// repetitions together.
  const Timing& GetTiming() const { return timing_; }
  /// What the session counts with, under the limits of now. Execute does; what is done beside it
  /// may count, too.
  StatementBudget* BeginBudget();
  /// What the last statement has done, as PostgreSQL tags commands: "INSERT 0 12". Empty for one
  /// with rows, and for one that has failed.
  const std::string& GetTag() const { return tag_; }

 private:
  friend class RelationRun;
  friend class SessionStatements;
  using TablePtr = std::shared_ptr<LazyTable>;

  void PlanAndRun(const std::string& sql, ResultSink& sink, int repeat);
  /// Plans and runs a SELECT over one table at most: one of `made`, which may be null, or of the
  /// session. `nodes`: gets what is known of its nodes behind the run, where they are measured.
  void RunSelect(const std::string& sql, const SqlSelect& select, RelationRun* made,
                 ResultSink& sink, int repeat, std::vector<XeString>* nodes = nullptr);
  /// What EXPLAIN says of a query.
  std::vector<XeString> Describe(const std::string& sql, const SqlQuery& query);
  /// The same behind a run that is measured, and what its steps took.
  void Analyze(const std::string& sql, const SqlStatement& statement, ResultSink& sink);
  /// The rows of a query of the statement.
  void RunQuery(const std::string& sql, const SqlQuery& query, ResultSink& sink, int repeat);
  /// Its columns, without its rows but where types hang on them.
  std::vector<ColumnInfo> FindColumns(const std::string& sql, const SqlQuery& query);

  /// What a statement has made under a name; null for any other. The rows of a view are made now,
  /// once for a statement, unless its columns alone are asked for. Errors 57140, 57141 and 57156.
  TablePtr FindObject(const XeString& name);
  TablePtr ReadView(SessionObject& view);
  class ViewFlow;
  /// Does something that reads a view: its errors are those of a view, and its time that of
  /// reading.
  template <class Action>
  void WithinView(SessionObject& view, Action&& action);
  /// The rows of a view that need not be made for who reads it once: the first ones, with the
  /// columns wanted, and the others with the place for their errors. Null for any other view, and
  /// where it is none.
  std::shared_ptr<const Table> OpenView(const XeString& name, const TableRequest& wanted,
                                        const FlowRules& rules, int position,
                                        std::unique_ptr<ChunkSource>& rest);
  bool IsView(const XeString& name) const;
  /// Whether a query is run by RelationRun.
  bool NeedsRun(const SqlQuery& query) const;
  /// That a view can be read, when it is made. Errors of its query, and 57155.
  void CheckView(SessionObject view);
  /// Error 57151.
  static void RefuseSameNames(const TableSchema& schema);
  void ForgetViewRows();
  /// A file has changed: tables that were read from it are read anew.
  void ForgetFile(const std::string& path) noexcept;

  /// How many threads may each need trees of their own.
  uint32 CountThreads(const QueryPlan& plan, const LazyTable& table) const;

  /// The table with what a statement wants of it; as it is when the statement has asked before.
  TablePtr FindOrLoad(const XeString& name, const TableRequest* request = nullptr);
  /// The same for a part of the statement that reads the rows once: where they need not be kept,
  /// `rest` gives those behind the table's own, with the place for their errors, and who reads the
  /// name again has the table opened anew.
  TablePtr OpenToFlow(const XeString& name, TableRequest request, int position,
                      std::unique_ptr<ChunkSource>& rest);
  /// `isGiven`: by the program, not by a statement.
  TablePtr Open(const XeString& name, const std::string& path, bool isGiven);
  /// By which tables can be named: those that were added, and files of the directory.
  std::vector<XeString> ListNames() const;
  /// NAME.csv in the directory. Errors 57001 and 57031.
  std::string FindInDirectory(const XeString& name) const;
  /// Error 57032.
  void CheckStandardInput(const std::string& path) const;

  StatementBudget::Owner budget_ = StatementBudget::Make();
  SettingsRef settings_ = Settings::Current();
  /// What RESET goes back to.
  SettingsRef firstSettings_ = settings_;
  bool isUntrusted_ = false;
  uint32 threads_ = 1;
  const Cancellation* cancellation_ = nullptr;
  std::string directory_ = ".";
  std::unique_ptr<ParameterBlock> parameters_;
  /// Those of the statement that is being run, with its moment.
  QueryParameters statement_;
  LoadProgress loadProgress_;
  RunProgress runProgress_;
  /// The keys of the maps are names in folded case, or paths as they stand.
  std::map<XeString, std::string> paths_;
  std::map<XeString, std::function<TablePtr()>> sources_;
  std::map<XeString, DeclaredTypes> schemas_;
  AddedFunctions functions_;
  SessionObjects objects_;
  std::map<XeString, TablePtr> tables_;
  /// Those of tables_ that were added as they are.
  std::set<XeString> addedTables_;
  /// Where the others were read from.
  std::map<XeString, std::string> openedPaths_;
  /// Those of which the statement that is being run reads the first rows only, or keeps none.
  std::map<XeString, TablePtr> partialTables_;
  /// Of the statement that is being run: whether its rows need not be kept, and whether it may
  /// start again, as far as that does not lie with the statement itself.
  bool isRunOnce_ = false;
  /// How many views are being read, each by the one before it.
  int viewDepth_ = 0;
  /// Only the columns of a query are looked for, and those of the views that it reads.
  bool areColumnsAlone_ = false;
  bool canStartAgain_ = false;
  TextTableOptions fileOptions_;
  bool isStandardInputTaken_ = false;
  HeaderWarning warnOfHeader_;
  /// The paths that it was called for.
  std::set<std::string> warnedOf_;
  OpenCopyTarget openCopyTarget_;
  Timing timing_;
  std::string tag_;
};

}  // namespace sqxer
