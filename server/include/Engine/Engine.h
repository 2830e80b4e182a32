#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Engine/ArrowInterface.h"
#include "Engine/SourceCondition.h"

/// SQL over files and Arrow data, for programs that take the engine in as a library. Texts are
/// UTF-8. Errors are thrown as Error; where memory runs out it is std::bad_alloc. An error leaves
/// the session as it was, usable.
///
/// Threads: a session, its results and its evaluators are used by one thread at a time; different
/// ones do not disturb each other. Cancel may be called from any thread. Arrow data that was handed
/// out belongs to nobody else, on whatever thread.

namespace sqxer::engine {

#define SQXER_ENGINE_API __attribute__((visibility("default")))

/// What a statement, a setting or data was refused for.
class SQXER_ENGINE_API Error : public std::exception {
 public:
  static constexpr std::int64_t kUnknown = -1;
  /// The code of a statement that Cancel has ended.
  static constexpr int kCancelled = 57110;

  Error(int code, std::string sentence, std::string sql, std::int64_t position, std::int64_t row)
      : code_(code),
        position_(position),
        row_(row),
        sentence_(std::move(sentence)),
        sql_(std::move(sql)) {}

  int GetCode() const { return code_; }
  /// One sentence.
  const char* what() const noexcept override { return sentence_.c_str(); }
  /// The statement; empty where there is none.
  const std::string& GetSql() const { return sql_; }
  /// A byte offset in the statement, or kUnknown.
  std::int64_t GetPosition() const { return position_; }
  /// The input row, from 1, or kUnknown.
  std::int64_t GetRow() const { return row_; }

 private:
  int code_;
  std::int64_t position_;
  std::int64_t row_;
  std::string sentence_;
  std::string sql_;
};

struct Column {
  std::string name;
  /// As columns are declared: "int4", "varchar(10)", "numeric".
  std::string type;
  bool isNullable = true;
};

struct ResultOptions {
  /// How numeric columns come. Their decimals have a scale each, and columns of Arrow one for all.
  enum class Numerics : std::uint8_t {
    /// int64 where all values are whole and have 64 bits, else a decimal that holds all of them.
    kSettled,
    /// decimal128(38, s).
    kDecimal,
    /// The nearest doubles.
    kDouble,
  };
  Numerics numerics = Numerics::kSettled;
  /// Layouts that do not depend on the rows, for results that are put together: decimals come as
  /// decimal128(38, fixedScale), their digits beyond that rounded half away from zero, and
  /// timestamps by microseconds. Error 57220 for a value that does not fit.
  std::optional<int> fixedScale = {};
  /// Texts that came as dictionaries go as dictionaries.
  bool keepsDictionaries = false;
};

struct ArrowOptions {
  /// Binary columns hold UTF-8, such as JSON documents.
  bool takesBinaryAsText = false;
  /// Of a source: its rows stay the same, so that columns that a statement has read are there for
  /// the next.
  bool areRowsKept = false;
};

/// The rows of a statement, in batches. What EXPLAIN prints is a column of texts.
class SQXER_ENGINE_API Result {
 public:
  Result(Result&&) noexcept;
  Result& operator=(Result&&) noexcept;
  /// Ends a statement that is still running.
  ~Result();

  const std::vector<Column>& GetColumns() const;
  /// How many rows there are; -1 where they are made while they are read.
  std::int64_t CountRows() const;
  /// A struct of the columns. To be released by the caller, as all that is handed out.
  void WriteSchema(ArrowSchema* out) const;
  /// The next batch; false, and nothing in `out`, behind the last one.
  bool Next(ArrowArray* out);
  /// Another result of the same rows, from the first one on. For results whose rows are there.
  Result Copy() const;
  /// Hands all batches that are left over to a stream, which needs this object no longer. Errors
  /// become the stream's.
  void Export(ArrowArrayStream* out) &&;

  class Impl;
  explicit Result(std::unique_ptr<Impl> impl);

 private:
  /// Error 57113 behind Export.
  Impl& Get() const;

  std::unique_ptr<Impl> impl_;
};

/// A value of a row: NULL, boolean, whole number, double, or a text, which is also how all other
/// types are written: decimals, dates, times.
using Value = std::variant<std::monostate, bool, std::int64_t, double, std::string>;

/// An expression that was bound once to a schema, and is evaluated for any number of rows.
class SQXER_ENGINE_API Evaluator {
 public:
  Evaluator(Evaluator&&) noexcept;
  Evaluator& operator=(Evaluator&&) noexcept;
  ~Evaluator();

  const Column& GetColumn() const;
  /// The value of each row of a stream of that schema, which it takes over; the column has the
  /// expression's name.
  Result Evaluate(ArrowArrayStream* rows, const ResultOptions& options = {});
  /// The value for one row, given as the columns' values, in order.
  Value EvaluateRow(const std::vector<Value>& row);
  /// As that of a session.
  void Cancel() noexcept;

  class Impl;
  explicit Evaluator(std::unique_ptr<Impl> impl);

 private:
  std::unique_ptr<Impl> impl_;
};

/// What a statement reads of a table that is somewhere else.
struct SourceRequest {
  /// The columns, as they are named in the schema. No others need come, and these in any order.
  std::vector<std::string> columns;
  /// Rows for which one of these is not true need not come: the statement leaves them out itself.
  /// Whoever does so compares as expressions do (texts without their blanks at the end and by code
  /// points, NaN behind all numbers, NULL with nothing), goes by them in their order, and ends at
  /// the first one that could fail, such as that of a text with a number. Rows are then counted in
  /// errors as they come.
  std::vector<SourceCondition> conditions;
};
/// Puts a new stream over all rows into `out`.
using OpenSource = std::function<void(const SourceRequest& request, ArrowArrayStream* out)>;

/// A function that statements may call.
struct FunctionSpec {
  /// Letter case ignored, as statements write it without quotation marks.
  std::string name;
  /// What each argument is brought to by a cast, as columns are declared; nothing for any number of
  /// arguments as they come, decimals as doubles.
  std::optional<std::vector<std::string>> arguments = {};
  /// The type that it gives: "double", "varchar(80)". A varchar of no length has 4,096 characters
  /// at most.
  std::string result;
  /// It may give another value for the same arguments, and is called for each row by itself.
  bool isVolatile = false;
};
/// Computes the function for some rows, often for 2,048. `schema` and `rows`, which may be moved
/// away, are a struct of the arguments a1, a2, ...; `out` is to get a stream of one column with as
/// many values, which are brought to the result's type by a cast. It is called again for rows whose
/// statement has to go back, and by several threads at a time. What it throws passes through the
/// statement. It must not use the session whose statement calls it.
using CallFunction =
    std::function<void(ArrowSchema* schema, ArrowArray* rows, ArrowArrayStream* out)>;

/// A set of tables, and the statements that are run over them.
class SQXER_ENGINE_API Session {
 public:
  Session();
  ~Session();
  Session(Session&&) noexcept;
  Session& operator=(Session&&) noexcept;

  /// A switch of `sqxer --help-switches`, for the statements to come: among them are the limits of
  /// memory (GroupMemory, TableMemory).
  void Set(const std::string& name, const std::string& value);
  /// How many threads a statement may use; one at first. Results do not depend on it.
  void SetThreads(unsigned threads);
  /// Where a bare table name means NAME.csv.
  void SetDirectory(const std::string& directory);

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
  /// An expression over the columns of a schema, which stays the caller's.
  Evaluator Compile(const std::string& expression, const ArrowSchema& schema,
                    const std::vector<std::string>& parameters = {});

  /// Ends the statement that is running, which throws Error::kCancelled soon; without one it does
  /// nothing. From any thread.
  void Cancel() noexcept;
  /// Ends a statement whose rows are made while they are read, and waits until it has ended.
  void Stop();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

/// The statements of a text, parted by semicolons, without the empty ones.
SQXER_ENGINE_API std::vector<std::string> SplitSql(const std::string& text);
/// The version of the library, as "1.2.3".
SQXER_ENGINE_API const char* GetVersion() noexcept;

}  // namespace sqxer::engine
