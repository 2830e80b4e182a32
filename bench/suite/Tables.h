#pragma once

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace sqxer::bench {

enum class ColumnKind { kInt, kDouble, kNumeric, kDate, kText };

/// A column of a table, in the words of `sqxer --schema`.
struct ColumnSpec {
  const char* name;
  const char* type;
  ColumnKind kind;
  bool nullable;
};

/// A table of the suite: its columns in the order of its file, NAME.csv in the tables' folder.
struct TableSpec {
  const char* name;
  std::span<const ColumnSpec> columns;
  /// Writes so many rows as CSV with a header; a table of a fixed size pays no heed to the number.
  /// 5 % NULLs (empty fields) in each nullable column, the same rows on every machine.
  void (*write)(uint64_t rows, const std::string& path);

  std::string PathIn(const std::string& folder) const { return folder + "/" + name + ".csv"; }
};

/// Order lines with the value distributions of a wholesaler's books.
extern const TableSpec kLines;
/// Sales by the keys of customers and products, as many as there are order lines.
extern const TableSpec kSales;
/// 100,000 of them.
extern const TableSpec kCustomers;
/// 1,000 of them.
extern const TableSpec kProducts;

inline const TableSpec* const kTables[] = {&kLines, &kSales, &kCustomers, &kProducts};

/// The number that a text begins with, 0 where it begins with none.
template <class Number>
Number ReadNumber(std::string_view text) {
  Number number{};
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

/// Calls `take` with the fields of each record behind the header: views that hold during the call,
/// empty for NULL (no text of a table is empty, and none needs quotation marks). Throws
/// std::runtime_error when the file cannot be read.
template <class Take>
void ReadTable(const TableSpec& table, const std::string& folder, Take take) {
  const std::string path = table.PathIn(folder);
  std::ifstream file(path);
  std::string line;
  if (!std::getline(file, line)) throw std::runtime_error("cannot read " + path);
  std::vector<std::string_view> fields(table.columns.size());
  while (std::getline(file, line)) {
    const std::string_view text = line;
    std::size_t start = 0;
    for (std::string_view& field : fields) {
      const std::size_t end = std::min(text.find(',', start), text.size());
      field = text.substr(start, end - start);
      start = end + 1;
    }
    take(fields);
  }
}

}  // namespace sqxer::bench
