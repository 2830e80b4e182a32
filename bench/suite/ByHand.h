#pragma once

#include <chrono>
#include <optional>

#include "HandData.h"
#include "SuiteEngine.h"

namespace sqxer::bench {

/// A sum that is NULL until a value came.
template <class T>
struct NullableSum {
  T sum = 0;
  uint64_t count = 0;

  void Add(T value) {
    sum += value;
    ++count;
  }
  std::optional<std::string> Text(double scale = 1) const {
    if (count == 0) return std::nullopt;
    return NumberText(static_cast<double>(sum) / scale);
  }
  std::optional<std::string> MeanText(double scale = 1) const {
    if (count == 0) return std::nullopt;
    return NumberText(static_cast<double>(sum) / scale / static_cast<double>(count));
  }
};

/// The days since 1970-01-01.
inline int32_t DayNumber(std::chrono::year_month_day date) {
  return std::chrono::sys_days(date).time_since_epoch().count();
}

// Each query by hand: a loop over the columns it reads, as plain C++ that checks what a row's
// values make it check. The report compares; making it is not timed.
Report SumOfSums(const HandLines& lines);
Report FiveWayFilter(const HandLines& lines);
Report Like(const HandLines& lines);
Report CaseOfThree(const HandLines& lines);
Report InEight(const HandLines& lines);
Report InThousand(const HandLines& lines);
Report UpperSubstring(const HandLines& lines);
Report RoundSqrtLn(const HandLines& lines);
Report CountSuppliers(const HandLines& lines);
Report CountParts(const HandLines& lines);
Report DaysBetween(const HandLines& lines);
Report MinMaxText(const HandLines& lines);
Report ThreeOrs(const HandLines& lines);
Report ProductByRegion(const HandLines& lines);
Report SummaryDouble(const HandLines& lines);
Report SummaryNumeric(const HandLines& lines);
Report GroupByPart(const HandLines& lines);
Report MedianBySupplier(const HandLines& lines);
Report QuantityByYear(const HandLines& lines);
Report TaxedByTexts(const HandLines& lines);
Report PromotionByMonth(const HandLines& lines);
Report RankBySupplier(const HandLines& lines);
Report RunningSum(const HandLines& lines);
Report TopHundred(const HandLines& lines);
Report StarJoin(const HandSales& sales);
Report TopPerCustomer(const HandSales& sales);
Report SemiJoin(const HandSales& sales);
Report UnionOfGroups(const HandSales& sales);

}  // namespace sqxer::bench
