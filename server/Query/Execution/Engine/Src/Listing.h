#pragma once

#include <string>
#include <vector>

#include "ResultSink.h"

namespace sqxer {

/// A result that is made value by value: what a session has, or what is known of a table. Texts are
/// UTF-8.
class Listing {
 public:
  enum class Kind { kText, kCount, kTruth };
  /// A text, a count, a truth value as 0 or 1, or NULL.
  struct Value {
    bool isNull = true;
    std::string text;
    uint64 number = 0;
  };
  static Value Text(std::string text) { return {false, std::move(text), 0}; }
  static Value Count(uint64 count) { return {false, {}, count}; }
  static Value Truth(bool truth) { return {false, {}, truth ? uint64{1} : 0}; }

  struct Column {
    const char* name;
    Kind kind;
  };
  explicit Listing(std::vector<Column> columns) : columns_(std::move(columns)) {}

  /// A value for each column, of its kind.
  void Add(std::vector<Value> row) { rows_.push_back(std::move(row)); }
  /// Gives all rows to a sink.
  void Send(ResultSink& sink) const;

 private:
  std::vector<ColumnInfo> Describe() const;

  std::vector<Column> columns_;
  std::vector<std::vector<Value>> rows_;
};

}  // namespace sqxer
