#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sqxer::bench {

/// A row of the table `t`: its number, one of 1,000 partitions, a number of its own in an order
/// that has nothing to do with the row's, a value of 100,000 different ones with NULL in 5 % of the
/// rows, and one without NULL.
struct WindowRow {
  int32_t id;
  int32_t g;
  int32_t d;
  std::optional<double> x;
  double y;
};

/// The same rows on every machine.
std::vector<WindowRow> MakeWindowRows(uint64_t count);

/// What a result comes to, whatever the order of its rows: how many there are, how many of their
/// second values are not NULL, the sum of those and the sum of their products with the first.
struct Checksum {
  uint64_t rows = 0;
  uint64_t values = 0;
  double sum = 0;
  double products = 0;

  void Add(double first, double second) {
    ++values;
    sum += second;
    products += first * second;
  }
  /// But for the number of rows, and to nine digits.
  bool HasValuesOf(const Checksum& other) const;
};

/// An engine with the rows in memory.
class WindowEngine {
 public:
  virtual ~WindowEngine() = default;
  /// Runs a query of two columns, and reads every row of its result.
  virtual Checksum Run(const std::string& sql) = 0;
  /// The bytes that Run wrote to temporary files.
  virtual uint64_t GetSpilledBytes() const { return 0; }
};

std::unique_ptr<WindowEngine> LoadSqxerRows(const std::vector<WindowRow>& rows);
std::unique_ptr<WindowEngine> LoadSqliteRows(const std::vector<WindowRow>& rows);

}  // namespace sqxer::bench
