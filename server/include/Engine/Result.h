#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Engine/ArrowInterface.h"
#include "Engine/Error.h"

namespace sqxer::engine {

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

/// The rows of a statement, in batches. What EXPLAIN prints is a column of texts. A statement that
/// has no rows, such as INSERT, gives a result without columns.
class SQXER_ENGINE_API Result {
 public:
  Result(Result&&) noexcept;
  Result& operator=(Result&&) noexcept;
  /// Ends a statement that is still running.
  ~Result();

  const std::vector<Column>& GetColumns() const;
  /// How many rows there are; -1 where they are made while they are read. Of a statement without
  /// rows how many it has written: INSERT, COPY, CREATE TABLE AS.
  std::int64_t CountRows() const;
  /// What a statement without rows has done: see RunReport. Empty for one with rows.
  const std::string& GetTag() const;
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

}  // namespace sqxer::engine
