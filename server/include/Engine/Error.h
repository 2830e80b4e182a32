#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

#define SQXER_ENGINE_API __attribute__((visibility("default")))

namespace sqxer::engine {

/// What a statement, a setting or data was refused for.
class SQXER_ENGINE_API Error : public std::exception {
 public:
  static constexpr std::int64_t kUnknown = -1;
  /// The code of a statement that Cancel has ended.
  static constexpr int kCancelled = 57110;
  /// The codes of errors of files.
  static constexpr int kFirstOfFiles = 57001;
  static constexpr int kLastOfFiles = 57099;

  Error(int code, std::string sentence, std::string sql, std::int64_t position, std::int64_t row)
      : code_(code),
        position_(position),
        row_(row),
        sentence_(std::move(sentence)),
        sql_(std::move(sql)) {}

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

 private:
  int code_;
  std::int64_t position_;
  std::int64_t row_;
  std::string sentence_;
  std::string sql_;
};

}  // namespace sqxer::engine
