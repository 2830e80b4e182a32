#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace sqxer::bench {

/// Values as texts, NULL as nothing.
using Rows = std::vector<std::vector<std::optional<std::string>>>;

struct SuiteQuery {
  std::string name;
  std::string sql;
  /// For a result of many rows: SQL that digests it to one row, as Digest does.
  std::string digestSql;

  bool IsDigested() const { return !digestSql.empty(); }
};

/// Makes the rows by which engines are compared, after the clock has stopped.
using Report = std::function<Rows()>;

/// An engine with the tables loaded.
class SuiteEngine {
 public:
  virtual ~SuiteEngine() = default;
  virtual std::string Version() const = 0;
  /// Runs the query once, to the last row of its result. The report may run it again.
  /// std::exception or ErrorMessage when the engine refuses it.
  virtual Report Run(const SuiteQuery& query) = 0;
};

std::unique_ptr<SuiteEngine> LoadSqxer(const std::string& folder);
std::unique_ptr<SuiteEngine> LoadSqlite(const std::string& folder);
std::unique_ptr<SuiteEngine> LoadByHand(const std::string& folder);

/// One row that stands for many, whatever their order: the number of rows, for each column its
/// values and their sum, and for each but the first the sum of its products with the first.
class Digest {
 public:
  explicit Digest(std::size_t columns) : columns_(columns) {}
  /// As many values as columns.
  void Add(std::span<const std::optional<double>> row);
  Rows ToRows() const;

 private:
  struct Column {
    uint64_t count = 0;
    double sum = 0;
    double products = 0;
  };
  uint64_t rows_ = 0;
  std::vector<Column> columns_;
};

/// A number as the reports show it, with all its digits.
std::string NumberText(double number);

}  // namespace sqxer::bench
