#pragma once

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

/// A column of the table `lines`, in the words of `sqxer --schema`.
struct ColumnSpec {
  const char* name;
  const char* type;
  ColumnKind kind;
  bool nullable;
};

/// The columns in the order of the file.
std::span<const ColumnSpec> OrderLineColumns();

/// Writes the table as CSV with a header: order lines with the value distributions of a
/// wholesaler's books, 5 % NULLs (empty fields) in each nullable column. The same rows on every
/// machine. Throws std::runtime_error when the file cannot be written.
void WriteOrderLines(uint64_t rows, const std::string& path);

/// Calls `take` with the fields of each record behind the header: views that hold during the call,
/// empty for NULL (no text of the table is empty, and none needs quotation marks). Throws
/// std::runtime_error when the file cannot be read.
template <class Take>
void ReadOrderLines(const std::string& path, Take take) {
  std::ifstream file(path);
  std::string line;
  if (!std::getline(file, line)) throw std::runtime_error("cannot read " + path);
  std::vector<std::string_view> fields(OrderLineColumns().size());
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
