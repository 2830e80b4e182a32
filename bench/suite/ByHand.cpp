#include "ByHand.h"

#include <map>
#include <stdexcept>

namespace sqxer::bench {
namespace {

using HandQuery = Report (*)(const HandLines&);
const std::map<std::string, HandQuery> kQueries = {
    {"sum_of_sums", &SumOfSums},
    {"product_by_region", &ProductByRegion},
    {"five_way_filter", &FiveWayFilter},
    {"summary_double", &SummaryDouble},
    {"summary_numeric", &SummaryNumeric},
    {"like", &Like},
    {"case_of_three", &CaseOfThree},
    {"in_8", &InEight},
    {"in_1000", &InThousand},
    {"upper_substring", &UpperSubstring},
    {"round_sqrt_ln", &RoundSqrtLn},
    {"count_distinct_1k", &CountSuppliers},
    {"count_distinct_1m", &CountParts},
    {"group_by_1m", &GroupByPart},
    {"median_by_1k", &MedianBySupplier},
    {"rank_by_1k", &RankBySupplier},
    {"running_sum", &RunningSum},
    {"extract_year", &QuantityByYear},
    {"timestampdiff", &DaysBetween},
    {"min_max_text", &MinMaxText},
    {"taxed_by_texts", &TaxedByTexts},
    {"promotion_by_month", &PromotionByMonth},
    {"three_ors", &ThreeOrs},
    {"top_100", &TopHundred},
};

using SalesQuery = Report (*)(const HandSales&);
const std::map<std::string, SalesQuery> kSalesQueries = {
    {"star_join", &StarJoin},
    {"top_per_customer", &TopPerCustomer},
    {"semi_join", &SemiJoin},
    {"union_of_groups", &UnionOfGroups},
};

class HandEngine : public SuiteEngine {
 public:
  explicit HandEngine(const std::string& folder) : lines_(folder), sales_(folder) {}

  std::string Version() const override { return "C++ of GCC " __VERSION__; }

  Report Run(const SuiteQuery& query) override {
    const auto found = kQueries.find(query.name);
    if (found != kQueries.end()) return found->second(lines_);
    const auto ofSales = kSalesQueries.find(query.name);
    if (ofSales != kSalesQueries.end()) return ofSales->second(sales_);
    throw std::runtime_error("is not written by hand");
  }

 private:
  HandLines lines_;
  HandSales sales_;
};

}  // namespace

std::unique_ptr<SuiteEngine> LoadByHand(const std::string& folder) {
  return std::make_unique<HandEngine>(folder);
}

}  // namespace sqxer::bench
