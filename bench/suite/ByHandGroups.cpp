// The queries by groups.
#include <algorithm>
#include <array>

#include "ByHand.h"

namespace sqxer::bench {
namespace {

/// The groups of the two summaries: by the letters of the flag and the status.
template <class Group>
class FlagGroups {
 public:
  Group& At(char flag, char status) { return groups_[(flag - 'A') * 26 + (status - 'A')]; }
  /// Rows of the letters and what `values` says of a group that has rows.
  template <class Values>
  Rows ToRows(Values values) const {
    Rows rows;
    for (std::size_t i = 0; i < groups_.size(); ++i) {
      if (groups_[i].rows == 0) continue;
      rows.push_back({std::string(1, static_cast<char>('A' + i / 26)),
                      std::string(1, static_cast<char>('A' + i % 26))});
      for (auto& value : values(groups_[i])) rows.back().push_back(value);
    }
    return rows;
  }

 private:
  std::vector<Group> groups_ = std::vector<Group>(26 * 26);
};

/// The summary over money of type T, of which `one` is 1.
template <class T, class Price, class Discount>
Report Summarise(const HandLines& lines, const Price& prices, const Discount& discounts,
                 const std::vector<T>& taxes, T one) {
  struct Group {
    uint64_t rows = 0;
    NullableSum<int64_t> quantity;
    NullableSum<T> price, discounted, charged, discount;
  };
  using namespace std::chrono;
  const int32_t end = DayNumber(1998y / September / 2);
  FlagGroups<Group> groups;
  for (std::size_t i = 0; i < lines.count; ++i) {
    if (lines.shipped.IsNull(i) || lines.shipped[i] > end) continue;
    Group& group = groups.At(lines.returnFlag[i], lines.lineStatus[i]);
    ++group.rows;
    if (!lines.quantity.IsNull(i)) group.quantity.Add(lines.quantity[i]);
    if (!discounts.IsNull(i)) group.discount.Add(discounts[i]);
    if (prices.IsNull(i)) continue;
    group.price.Add(prices[i]);
    if (discounts.IsNull(i)) continue;
    const T discounted = prices[i] * (one - discounts[i]);
    group.discounted.Add(discounted);
    group.charged.Add(discounted * (one + taxes[i]));
  }
  return [groups, scale = static_cast<double>(one)] {
    return groups.ToRows([scale](const Group& group) {
      return std::vector<std::optional<std::string>>{group.quantity.Text(),
                                                     group.price.Text(scale),
                                                     group.discounted.Text(scale * scale),
                                                     group.charged.Text(scale * scale * scale),
                                                     group.quantity.MeanText(),
                                                     group.price.MeanText(scale),
                                                     group.discount.MeanText(scale),
                                                     std::to_string(group.rows)};
    });
  };
}

std::optional<double> FindMedian(std::vector<double>& values) {
  if (values.empty()) return std::nullopt;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::ranges::nth_element(values, middle);
  if (values.size() % 2 != 0) return *middle;
  return (*std::max_element(values.begin(), middle) + *middle) / 2;
}

}  // namespace

Report ProductByRegion(const HandLines& lines) {
  struct Group {
    std::optional<std::string_view> region;
    NullableSum<double> sum;
  };
  std::vector<Group> groups;
  for (std::size_t i = 0; i < lines.count; ++i) {
    if (lines.quantity.IsNull(i) || lines.quantity[i] <= 5) continue;
    std::optional<std::string_view> region;
    if (!lines.region.IsNull(i)) region = lines.region[i];
    auto group = std::ranges::find(groups, region, &Group::region);
    if (group == groups.end()) group = groups.insert(group, {region, {}});
    if (!lines.price.IsNull(i)) group->sum.Add(lines.price[i] * lines.quantity[i]);
  }
  return [groups] {
    Rows rows;
    for (const Group& group : groups) {
      rows.push_back({std::nullopt, group.sum.Text()});
      if (group.region) rows.back()[0] = *group.region;
    }
    return rows;
  };
}

Report SummaryDouble(const HandLines& lines) {
  return Summarise(lines, lines.price, lines.discount, lines.tax, 1.0);
}

Report SummaryNumeric(const HandLines& lines) {
  return Summarise(lines, lines.amount, lines.rebate, lines.duty, int64_t{100});
}

Report GroupByPart(const HandLines& lines) {
  struct Group {
    NullableSum<double> sum;
    uint64_t rows = 0;
  };
  IntMap<Group> groups;
  Group nullGroup;
  for (std::size_t i = 0; i < lines.count; ++i) {
    Group& group = lines.part.IsNull(i) ? nullGroup : groups[lines.part[i]];
    ++group.rows;
    if (!lines.price.IsNull(i)) group.sum.Add(lines.price[i]);
  }
  return [groups = std::move(groups), nullGroup]() mutable {
    Digest digest(3);
    const auto add = [&](std::optional<double> key, const Group& group) {
      std::optional<double> sum;
      if (group.sum.count != 0) sum = group.sum.sum;
      digest.Add({{key, sum, static_cast<double>(group.rows)}});
    };
    groups.ForEach(add);
    if (nullGroup.rows != 0) add(std::nullopt, nullGroup);
    return digest.ToRows();
  };
}

Report MedianBySupplier(const HandLines& lines) {
  struct Median {
    std::optional<std::string> supplier;
    std::optional<double> price;
  };
  IntMap<std::vector<double>> groups;
  std::vector<double> nullGroup;
  bool hasNullGroup = false;
  for (std::size_t i = 0; i < lines.count; ++i) {
    const bool isNull = lines.supplier.IsNull(i);
    hasNullGroup |= isNull;
    std::vector<double>& group = isNull ? nullGroup : groups[lines.supplier[i]];
    if (!lines.price.IsNull(i)) group.push_back(lines.price[i]);
  }
  std::vector<Median> medians;
  groups.ForEach([&](int32_t supplier, std::vector<double>& prices) {
    medians.push_back({std::to_string(supplier), FindMedian(prices)});
  });
  if (hasNullGroup) medians.push_back({std::nullopt, FindMedian(nullGroup)});
  return [medians = std::move(medians)] {
    Rows rows;
    for (const Median& median : medians) {
      rows.push_back({median.supplier, std::nullopt});
      if (median.price) rows.back()[1] = NumberText(*median.price);
    }
    return rows;
  };
}

Report QuantityByYear(const HandLines& lines) {
  struct Group {
    uint64_t rows = 0;
    NullableSum<int64_t> quantity;
  };
  IntMap<Group> groups;
  Group nullGroup;
  for (std::size_t i = 0; i < lines.count; ++i) {
    Group* group = &nullGroup;
    if (!lines.shipped.IsNull(i)) {
      const std::chrono::sys_days day{std::chrono::days(lines.shipped[i])};
      group = &groups[int(std::chrono::year_month_day(day).year())];
    }
    ++group->rows;
    if (!lines.quantity.IsNull(i)) group->quantity.Add(lines.quantity[i]);
  }
  return [groups = std::move(groups), nullGroup]() mutable {
    Rows rows;
    if (nullGroup.rows != 0) rows.push_back({std::nullopt, nullGroup.quantity.Text()});
    groups.ForEach([&](int32_t year, const Group& group) {
      rows.push_back({std::to_string(year), group.quantity.Text()});
    });
    return rows;
  };
}

Report TaxedByTexts(const HandLines& lines) {
  struct Group {
    uint64_t rows = 0;
    NullableSum<int64_t> taxed;
  };
  FlagGroups<Group> groups;
  for (std::size_t i = 0; i < lines.count; ++i) {
    Group& group = groups.At(lines.returnFlag[i], lines.lineStatus[i]);
    ++group.rows;
    if (lines.amount.IsNull(i) || lines.rebate.IsNull(i)) continue;
    group.taxed.Add(lines.amount[i] * (100 - lines.rebate[i]) * (100 + lines.duty[i]));
  }
  return [groups] {
    return groups.ToRows([](const Group& group) {
      return std::vector<std::optional<std::string>>{group.taxed.Text(1e6)};
    });
  };
}

Report PromotionByMonth(const HandLines& lines) {
  struct Group {
    uint64_t rows = 0;
    NullableSum<double> promoted, all;
  };
  std::array<Group, 13> groups;  // by month, those of no month first
  for (std::size_t i = 0; i < lines.count; ++i) {
    unsigned month = 0;
    if (!lines.shipped.IsNull(i)) {
      const std::chrono::sys_days day{std::chrono::days(lines.shipped[i])};
      month = static_cast<unsigned>(std::chrono::year_month_day(day).month());
    }
    Group& group = groups[month];
    ++group.rows;
    const bool isPromoted = !lines.comment.IsNull(i) && lines.comment[i].starts_with("special");
    const bool hasPrice = !lines.price.IsNull(i) && !lines.discount.IsNull(i);
    const double reduced = lines.price[i] * (1 - lines.discount[i]);
    if (hasPrice) group.all.Add(reduced);
    if (!isPromoted) {
      group.promoted.Add(0);
    } else if (hasPrice) {
      group.promoted.Add(reduced);
    }
  }
  return [groups] {
    Rows rows;
    for (std::size_t month = 0; month < groups.size(); ++month) {
      const Group& group = groups[month];
      if (group.rows == 0) continue;
      rows.push_back({std::nullopt, group.promoted.Text(), group.all.Text()});
      if (month != 0) rows.back()[0] = std::to_string(month);
    }
    return rows;
  };
}

}  // namespace sqxer::bench
