#pragma once

#include <fmt/format.h>

#include <chrono>
#include <iterator>

#include "../Random.h"
#include "Tables.h"

namespace sqxer::bench {

/// A table's file, written field after field, with NULLs where the column lets them be. Throws
/// std::runtime_error when the file cannot be written.
class RecordWriter {
 public:
  RecordWriter(std::span<const ColumnSpec> columns, Random& random, const std::string& path)
      : columns_(columns), random_(random), path_(path), file_(path) {
    for (const ColumnSpec& column : columns) {
      if (&column != columns.data()) text_ += ',';
      text_ += column.name;
    }
    text_ += '\n';
  }

  template <class... Parts>
  void Add(fmt::format_string<Parts...> format, Parts&&... parts) {
    const bool isNull = columns_[column_].nullable && random_.Chance(5);
    if (column_ != 0) text_ += ',';
    if (!isNull) fmt::format_to(std::back_inserter(text_), format, std::forward<Parts>(parts)...);
    ++column_;
  }
  void AddCents(uint64_t cents) { Add("{}.{:02}", cents / 100, cents % 100); }
  void AddDay(std::chrono::sys_days day) {
    const std::chrono::year_month_day date(day);
    Add("{:04}-{:02}-{:02}", int(date.year()), unsigned(date.month()), unsigned(date.day()));
  }
  void EndRecord() {
    constexpr std::size_t kPieceBytes = std::size_t{1} << 20;
    text_ += '\n';
    column_ = 0;
    if (text_.size() >= kPieceBytes) Write();
  }
  /// Behind the last record.
  void Close() {
    Write();
    file_ << std::flush;
    if (!file_) throw std::runtime_error("cannot write " + path_);
  }

 private:
  void Write() {
    file_ << text_;
    text_.clear();
  }

  std::span<const ColumnSpec> columns_;
  Random& random_;
  std::string path_;
  std::ofstream file_;
  std::string text_;
  std::size_t column_ = 0;
};

}  // namespace sqxer::bench
