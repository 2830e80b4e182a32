#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "Engine/Result.h"

namespace sqxer::engine {

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
  /// The columns that it reads, as the schema names them.
  std::vector<std::string> GetInputs() const;
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

}  // namespace sqxer::engine
