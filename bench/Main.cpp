#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

namespace {

/// Prints as usual and remembers each benchmark's time, for the ratios at the end.
class RememberingReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      std::string name = run.benchmark_name();
      name = name.substr(0, name.find("/min_time"));
      // Processor time: other processes share the machine.
      nanoseconds_[name] = run.cpu_accumulated_time * 1e9 / static_cast<double>(run.iterations);
    }
  }

  void PrintRatios() const {
    std::printf("\n");
    PrintRatio("filter and product", "FilterProduct");
    PrintRatio("LIKE '%needle%'", "Like");
    PrintRatio("IN of 8 constants", "In/8");
    PrintRatio("IN of 1000 constants", "In/1000");
    PrintRatio("searched CASE of three branches", "SearchedCase");
    PrintRatio("lookup CASE of three branches", "LookupCase");
    PrintRatio("ROUND(SQRT(x) * LN(x), 2)", "RoundedRootAndLogarithm");
    PrintRatio("UPPER(SUBSTRING(s FROM 1 FOR 4))", "UpperSubString");
    PrintRatio("REPLACE(s, 'ab', 'x')", "Replace");
    PrintRatio("EXTRACT(year FROM d)", "ExtractYear");
    PrintRatio("EXTRACT(week FROM d)", "WeekOfTheYear");
    PrintRatio("TIMESTAMPDIFF(day, a, b)", "DifferenceInDays");
    PrintRatio("MOD of decimals", "DecimalMod");
    PrintRatio("SQRT of a decimal", "DecimalSqrt");
    PrintRatio("RANK over all rows", "Rank");
    PrintRatio("RANK in groups of 10", "RankGroupsOf10");
    PrintRatio("RANK in groups of 1", "RankGroupsOf1");
    PrintRatio("the first 10", "FirstTen");
    PrintRatio("standard deviation", "Stddev");
    PrintRatio("correlation", "Correlation");
    PrintRatio("bins of equal width over all rows", "BinWidth");
    PrintRatio("bins of equal width in groups of 5", "BinWidthGroupsOf5");
    PrintRatio("bins of equal depth over all rows", "BinDepth");
    PrintRatio("bins of equal depth in groups of 5", "BinDepthGroupsOf5");
    PrintNodes();
    auto leaf = nanoseconds_.find("Leaf/ExtractInt32");
    auto add = nanoseconds_.find("Two/AddInt32");
    if (leaf == nanoseconds_.end() || add == nanoseconds_.end()) return;
    std::printf("leaf ExtractInt32: %.2f ns\n", leaf->second);
    for (const char* node : {"AddInt32", "MultiplyInt32", "GTInt32"}) {
      std::printf("%s beyond its operands: %.2f ns\n", node,
                  nanoseconds_.at(std::string("Two/") + node) - 2 * leaf->second);
    }
    auto doubles = nanoseconds_.at("Leaf/ExtractFloat64");
    std::printf("MultiplyFloat64 beyond its operands: %.2f ns\n",
                nanoseconds_.at("Two/MultiplyFloat64") - 2 * doubles);
  }

 private:
  /// Every node's time for a row, in each way that was measured.
  void PrintNodes() const {
    constexpr double kBatchRows = 2048;
    const auto print = [&](const std::string& name) {
      const auto found = nanoseconds_.find(name);
      if (found == nanoseconds_.end()) return std::printf(" %9s", "-");
      return std::printf(" %9.2f", found->second / kBatchRows);
    };
    bool isFirst = true;
    for (const auto& [name, nanoseconds] : nanoseconds_) {
      if (!nanoseconds_.contains("Batch/" + name)) continue;
      if (isFirst)
        std::printf("%-40s %9s %9s %9s\n", "ns per row", "by row", "by batch", "by hand");
      isFirst = false;
      std::printf("%-40s %9.2f", name.c_str(), nanoseconds);
      print("Batch/" + name);
      print("Hand/" + name);
      std::printf("\n");
    }
  }
  /// The time through trees to that of the loop written by hand, when both were measured.
  void PrintRatio(const char* label, const std::string& name) const {
    auto trees = nanoseconds_.find("Tree" + name);
    auto hand = nanoseconds_.find("HandWritten" + name);
    if (trees == nanoseconds_.end() || hand == nanoseconds_.end()) return;
    std::printf("%s: trees / hand-written loop = %.2f\n", label, trees->second / hand->second);
  }

  std::map<std::string, double> nanoseconds_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  RememberingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatios();
  return 0;
}
