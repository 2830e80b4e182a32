#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#define SQXER_ENGINE_API __attribute__((visibility("default")))

namespace sqxer::engine {

/// What a statement, a setting or data was refused for.
class SQXER_ENGINE_API Error : public std::exception {
 public:
  static constexpr std::int64_t kUnknown = -1;
  /// The code of a statement that Cancel has ended.
  static constexpr int kCancelled = 57110;
  /// The code of a statement that has taken longer than the switch StatementTimeout allows.
  static constexpr int kTimedOut = 57173;
  /// The codes of errors of files.
  static constexpr int kFirstOfFiles = 57001;
  static constexpr int kLastOfFiles = 57099;

  /// A column, and its value as results show it.
  struct Input {
    std::string column;
    std::string value;
  };

  Error(int code, std::string sentence, std::string sql, std::int64_t position, std::int64_t row,
        std::vector<Input> inputs = {})
      : code_(code),
        position_(position),
        row_(row),
        sentence_(std::move(sentence)),
        sql_(std::move(sql)),
        inputs_(std::move(inputs)) {}

  int GetCode() const { return code_; }
  /// Whether it is one of files: that cannot be found or read, or hold what they must not.
  bool IsOfFile() const { return code_ >= kFirstOfFiles && code_ <= kLastOfFiles; }
  /// One sentence.
  const char* what() const noexcept override { return sentence_.c_str(); }
  /// The statement; empty where there is none.
  const std::string& GetSql() const { return sql_; }
  /// A byte offset in the statement, of which FindPlace makes line and column, or kUnknown.
  std::int64_t GetPosition() const { return position_; }
  /// The input row, from 1, or kUnknown.
  std::int64_t GetRow() const { return row_; }
  /// What the columns hold in that row that the failed part of the expression reads, shortened
  /// where a value is long; none where there is no row.
  const std::vector<Input>& GetInputs() const { return inputs_; }

 private:
  int code_;
  std::int64_t position_;
  std::int64_t row_;
  std::string sentence_;
  std::string sql_;
  std::vector<Input> inputs_;
};

}  // namespace sqxer::engine
