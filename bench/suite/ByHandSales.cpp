// The queries of several tables.
#include <algorithm>
#include <optional>

#include "ByHand.h"

namespace sqxer::bench {
namespace {

using Text = std::optional<std::string_view>;

/// The texts of a small table's column as numbers from 0.
class TextNumbers {
 public:
  explicit TextNumbers(const HandTexts& column) {
    for (std::size_t i = 0; i < column.nulls.size(); ++i) {
      const Text text = column.IsNull(i) ? Text() : column[i];
      auto found = std::ranges::find(texts_, text);
      if (found == texts_.end()) found = texts_.insert(found, text);
      numbers_.push_back(static_cast<uint32_t>(found - texts_.begin()));
    }
  }
  uint32_t operator[](std::size_t row) const { return numbers_[row]; }
  std::size_t Count() const { return texts_.size(); }
  std::optional<std::string> At(std::size_t number) const {
    if (!texts_[number]) return std::nullopt;
    return std::string(*texts_[number]);
  }

 private:
  std::vector<Text> texts_;
  std::vector<uint32_t> numbers_;
};

/// The numbers of a column's texts by the key of their row, of the rows that `keeps` admits.
template <class Keeps>
IntMap<uint32_t> ByKey(const std::vector<int32_t>& keys, const TextNumbers& numbers, Keeps keeps) {
  IntMap<uint32_t> byKey;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (keeps(i)) byKey[keys[i]] = numbers[i];
  }
  return byKey;
}

constexpr auto kAll = [](std::size_t) { return true; };

struct Group {
  uint64_t rows = 0;
  NullableSum<double> sum;
};

void AddGroups(const TextNumbers& texts, const std::vector<Group>& groups, Rows& rows) {
  for (std::size_t i = 0; i < groups.size(); ++i) {
    if (groups[i].rows == 0) continue;
    rows.push_back({texts.At(i), std::to_string(groups[i].rows), groups[i].sum.Text()});
  }
}

}  // namespace

Report StarJoin(const HandSales& sales) {
  const TextNumbers segments(sales.segment);
  const TextNumbers categories(sales.category);
  const auto customers = ByKey(sales.customerKey, segments, [&](std::size_t i) {
    return !sales.balance.IsNull(i) && sales.balance[i] >= 1000;
  });
  const auto products =
      ByKey(sales.productKey, categories, [&](std::size_t i) { return sales.weight[i] < 500; });
  std::vector<Group> groups(segments.Count() * categories.Count());
  for (std::size_t i = 0; i < sales.count; ++i) {
    const uint32_t* const category = products.Get(sales.product[i]);
    if (category == nullptr || sales.customer.IsNull(i)) continue;
    const uint32_t* const segment = customers.Get(sales.customer[i]);
    if (segment == nullptr) continue;
    Group& group = groups[*segment * categories.Count() + *category];
    ++group.rows;
    if (sales.price.IsNull(i) || sales.quantity.IsNull(i)) continue;
    group.sum.Add(sales.price[i] * sales.quantity[i]);
  }
  return [segments, categories, groups] {
    Rows rows;
    for (std::size_t i = 0; i < groups.size(); ++i) {
      if (groups[i].rows == 0) continue;
      rows.push_back({segments.At(i / categories.Count()), categories.At(i % categories.Count()),
                      groups[i].sum.Text()});
    }
    return rows;
  };
}

Report TopPerCustomer(const HandSales& sales) {
  constexpr int32_t kNoCustomer = 0;
  // The rows come in the order of their ids, which decides among equal prices.
  IntMap<std::optional<std::size_t>> dearest;
  const auto isDearer = [&](std::size_t a, std::size_t b) {
    if (sales.price.IsNull(a) || sales.price.IsNull(b)) {
      return sales.price.IsNull(b) && !sales.price.IsNull(a);
    }
    return sales.price[a] > sales.price[b];
  };
  for (std::size_t i = 0; i < sales.count; ++i) {
    auto& row = dearest[sales.customer.IsNull(i) ? kNoCustomer : sales.customer[i]];
    if (!row || isDearer(i, *row)) row = i;
  }
  std::vector<std::size_t> rows;
  dearest.ForEach([&](int32_t, const std::optional<std::size_t>& row) { rows.push_back(*row); });
  return [&sales, rows] {
    Digest digest(3);
    for (const std::size_t i : rows) {
      std::optional<double> row[3] = {sales.id[i]};
      if (!sales.customer.IsNull(i)) row[1] = sales.customer[i];
      if (!sales.price.IsNull(i)) row[2] = sales.price[i];
      digest.Add(row);
    }
    return digest.ToRows();
  };
}

Report SemiJoin(const HandSales& sales) {
  IntMap<std::byte> customers;
  for (std::size_t i = 0; i < sales.customerKey.size(); ++i) {
    if (sales.customerRegion[i] == "ASIA") customers[sales.customerKey[i]] = {};
  }
  Group all;
  for (std::size_t i = 0; i < sales.count; ++i) {
    if (sales.customer.IsNull(i) || !customers.Contains(sales.customer[i])) continue;
    ++all.rows;
    if (!sales.price.IsNull(i)) all.sum.Add(sales.price[i]);
  }
  return [all] { return Rows{{std::to_string(all.rows), all.sum.Text()}}; };
}

Report UnionOfGroups(const HandSales& sales) {
  const TextNumbers regions(sales.customerRegion);
  const TextNumbers categories(sales.category);
  const auto customers = ByKey(sales.customerKey, regions, kAll);
  const auto products = ByKey(sales.productKey, categories, kAll);
  std::vector<Group> byRegion(regions.Count());
  std::vector<Group> byCategory(categories.Count());
  const auto add = [&](Group& group, std::size_t i) {
    ++group.rows;
    if (!sales.price.IsNull(i)) group.sum.Add(sales.price[i]);
  };
  for (std::size_t i = 0; i < sales.count; ++i) {
    if (!sales.customer.IsNull(i)) add(byRegion[*customers.Get(sales.customer[i])], i);
    add(byCategory[*products.Get(sales.product[i])], i);
  }
  return [regions, categories, byRegion, byCategory] {
    Rows rows;
    AddGroups(regions, byRegion, rows);
    AddGroups(categories, byCategory, rows);
    return rows;
  };
}

}  // namespace sqxer::bench
