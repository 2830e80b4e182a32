#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Catalog.h"
#include "QueryPlan.h"
#include "ResultSink.h"
#include "Table.h"

namespace sqxer {

/// A set of tables and the statements run over them. Tables are read when a statement first names them
/// and kept. An error in a statement leaves the session usable. One thread.
class Session : public Catalog {
 public:
  struct Timing {
    std::chrono::nanoseconds load{0};
    std::chrono::nanoseconds bind{0};
    std::chrono::nanoseconds run{0};
  };

  /// A table by name (letter case ignored): PATH ends in .csv or .tsv, or is FILE.db:table.
  void AddTable(const std::string& name, const std::string& path);
  /// A table that is in memory already.
  void AddTable(std::shared_ptr<const Table> table);
  /// Types instead of the inferred ones for a table of that name: "COL:TYPE,COL:TYPE".
  void SetSchema(const std::string& name, const std::string& columns);
  /// Where a bare table name resolves to NAME.csv.
  void SetDirectory(const std::string& directory) { directory_ = directory; }
  /// Called now and then while a file is read: bytes done and bytes in all.
  void SetProgress(void (*progress)(uint64 done, uint64 total)) { progress_ = progress; }

  const TableSchema* FindTable(const XeString& name) override;

  /// Plans and runs one statement. EXPLAIN gives a one-column result, a line a row. Throws ErrorMessage
  /// (position within `sql`; the input row's number where one was being evaluated); the sink has then
  /// seen no End.
  void Execute(const std::string& sql, ResultSink& sink, int repeat = 1);
  /// Of the last Execute.
  const Timing& GetTiming() const { return timing_; }

 private:
  const Table& LoadTable(const XeString& name);

  std::string directory_ = ".";
  void (*progress_)(uint64, uint64) = nullptr;
  std::map<XeString, std::string> paths_;
  std::map<XeString, std::string> schemas_;
  std::map<XeString, std::shared_ptr<const Table>> tables_;
  Timing timing_;
};

}  // namespace sqxer
