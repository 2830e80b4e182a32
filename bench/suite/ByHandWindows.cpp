// The queries that order rows.
#include <algorithm>
#include <functional>

#include "ByHand.h"

namespace sqxer::bench {

Report RankBySupplier(const HandLines& lines) {
  struct Line {
    int32_t supplier;
    int32_t id;
    double price;
    bool isNull;
    bool operator==(const Line& other) const {
      return supplier == other.supplier && isNull == other.isNull &&
             (isNull || price == other.price);
    }
    bool operator<(const Line& other) const {
      if (supplier != other.supplier) return supplier < other.supplier;
      if (isNull || other.isNull) return !isNull && other.isNull;
      return price > other.price;
    }
  };
  struct Ranked {
    int32_t id;
    int32_t rank;
  };
  std::vector<Line> sorted(lines.count);
  for (std::size_t i = 0; i < lines.count; ++i) {
    const int32_t supplier = lines.supplier.IsNull(i) ? INT32_MAX : lines.supplier[i];
    sorted[i] = {supplier, lines.id[i], lines.price[i], lines.price.IsNull(i)};
  }
  std::ranges::sort(sorted, std::less<>());
  std::vector<Ranked> ranks(lines.count);
  std::size_t first = 0;
  for (std::size_t i = 0; i < sorted.size(); ++i) {
    if (i == 0 || sorted[i].supplier != sorted[i - 1].supplier) first = i;
    const bool isTie = i != first && sorted[i] == sorted[i - 1];
    ranks[i] = {sorted[i].id, isTie ? ranks[i - 1].rank : static_cast<int32_t>(i - first + 1)};
  }
  return [ranks = std::move(ranks)] {
    Digest digest(2);
    for (const Ranked& line : ranks) digest.Add({{line.id, line.rank}});
    return digest.ToRows();
  };
}

Report RunningSum(const HandLines& lines) {
  struct Line {
    int32_t day;
    int32_t id;
    int32_t quantity;
    bool isNull;
    auto operator<=>(const Line& other) const = default;
  };
  struct Sum {
    int32_t id;
    bool isNull;
    int64_t sum;
  };
  std::vector<Line> sorted(lines.count);
  for (std::size_t i = 0; i < lines.count; ++i) {
    const int32_t day = lines.shipped.IsNull(i) ? INT32_MAX : lines.shipped[i];
    sorted[i] = {day, lines.id[i], lines.quantity[i], lines.quantity.IsNull(i)};
  }
  std::ranges::sort(sorted);
  std::vector<Sum> sums(lines.count);
  NullableSum<int64_t> running;
  for (std::size_t i = 0; i < sorted.size(); ++i) {
    if (!sorted[i].isNull) running.Add(sorted[i].quantity);
    sums[i] = {sorted[i].id, running.count == 0, running.sum};
  }
  return [sums = std::move(sums)] {
    Digest digest(2);
    for (const Sum& line : sums) {
      std::optional<double> sum;
      if (!line.isNull) sum = static_cast<double>(line.sum);
      digest.Add({{line.id, sum}});
    }
    return digest.ToRows();
  };
}

Report TopHundred(const HandLines& lines) {
  constexpr std::size_t kCount = 100;
  struct Line {
    double price;
    int32_t id;
    bool isNull;
    bool operator<(const Line& other) const {
      if (isNull || other.isNull) return isNull == other.isNull ? id < other.id : other.isNull;
      return price != other.price ? price > other.price : id < other.id;
    }
  };
  std::vector<Line> best;  // a heap with the last one on top
  for (std::size_t i = 0; i < lines.count; ++i) {
    const Line line = {lines.price[i], lines.id[i], lines.price.IsNull(i)};
    if (best.size() == kCount) {
      if (!(line < best.front())) continue;
      std::ranges::pop_heap(best, std::less<>());
      best.pop_back();
    }
    best.push_back(line);
    std::ranges::push_heap(best, std::less<>());
  }
  return [best = std::move(best)] {
    Digest digest(2);
    for (const Line& line : best) {
      std::optional<double> price;
      if (!line.isNull) price = line.price;
      digest.Add({{line.id, price}});
    }
    return digest.ToRows();
  };
}

}  // namespace sqxer::bench
