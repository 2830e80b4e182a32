// The queries of one row.
#include <cctype>
#include <cmath>
#include <cstring>

#include "ByHand.h"

namespace sqxer::bench {
namespace {

Report One(std::optional<std::string> value) {
  return [value] { return Rows{{value}}; };
}

/// The number of rows for which `holds` is true.
template <class Holds>
Report CountRows(const HandLines& lines, Holds holds) {
  uint64_t count = 0;
  for (std::size_t i = 0; i < lines.count; ++i) count += holds(i);
  return One(std::to_string(count));
}

struct Nothing {};

Report CountValues(const HandColumn<int32_t>& column) {
  IntMap<Nothing> seen;
  for (std::size_t i = 0; i < column.values.size(); ++i) {
    if (!column.IsNull(i)) seen[column[i]];
  }
  return One(std::to_string(seen.Count()));
}

}  // namespace

Report SumOfSums(const HandLines& lines) {
  NullableSum<int64_t> sum;
  for (std::size_t i = 0; i < lines.count; ++i) {
    if (!lines.quantity.IsNull(i)) sum.Add(lines.quantity[i] + lines.lineNumber[i]);
  }
  return One(sum.Text());
}

Report FiveWayFilter(const HandLines& lines) {
  using namespace std::chrono;
  const int32_t first = DayNumber(1994y / January / 1);
  const int32_t end = DayNumber(1995y / January / 1);
  NullableSum<double> sum;
  for (std::size_t i = 0; i < lines.count; ++i) {
    if (lines.shipped.IsNull(i) || lines.shipped[i] < first || lines.shipped[i] >= end) continue;
    if (lines.discount.IsNull(i) || lines.discount[i] < 0.05 || lines.discount[i] > 0.07) continue;
    if (lines.quantity.IsNull(i) || lines.quantity[i] >= 24) continue;
    if (!lines.price.IsNull(i)) sum.Add(lines.price[i] * lines.discount[i]);
  }
  return One(sum.Text());
}

Report Like(const HandLines& lines) {
  constexpr std::string_view kWord = "special";
  return CountRows(lines, [&](std::size_t i) {
    if (lines.comment.IsNull(i)) return false;
    const std::string_view text = lines.comment[i];
    return memmem(text.data(), text.size(), kWord.data(), kWord.size()) != nullptr;
  });
}

Report CaseOfThree(const HandLines& lines) {
  NullableSum<double> sum;
  for (std::size_t i = 0; i < lines.count; ++i) {
    if (lines.price.IsNull(i)) continue;
    double factor = 0.8;
    if (!lines.quantity.IsNull(i)) {
      if (lines.quantity[i] < 10) {
        factor = 1;
      } else if (lines.quantity[i] < 30) {
        factor = 0.9;
      }
    }
    sum.Add(lines.price[i] * factor);
  }
  return One(sum.Text());
}

Report InEight(const HandLines& lines) {
  constexpr int32_t kMembers[] = {111111, 222222, 333333, 444444, 555555, 666666, 777777, 888888};
  return CountRows(lines, [&](std::size_t i) {
    if (lines.part.IsNull(i)) return false;
    bool isMember = false;
    for (const int32_t member : kMembers) isMember |= lines.part[i] == member;
    return isMember;
  });
}

Report InThousand(const HandLines& lines) {
  IntMap<Nothing> members;
  for (int32_t i = 1; i <= 1000; ++i) members[i * 997];
  return CountRows(lines, [&](std::size_t i) {
    return !lines.part.IsNull(i) && members.Contains(lines.part[i]);
  });
}

Report UpperSubstring(const HandLines& lines) {
  constexpr std::string_view kWanted = "RIOUS";
  return CountRows(lines, [&](std::size_t i) {
    if (lines.comment.IsNull(i)) return false;
    const std::string_view text = lines.comment[i];
    if (text.size() < 2 + kWanted.size()) return false;
    char upper[kWanted.size()];
    for (std::size_t c = 0; c < kWanted.size(); ++c) {
      upper[c] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[c + 2])));
    }
    return std::memcmp(upper, kWanted.data(), kWanted.size()) == 0;
  });
}

Report RoundSqrtLn(const HandLines& lines) {
  NullableSum<double> sum;
  for (std::size_t i = 0; i < lines.count; ++i) {
    if (lines.price.IsNull(i)) continue;
    sum.Add(std::round(std::sqrt(lines.price[i]) * std::log(lines.price[i]) * 100) / 100);
  }
  return One(sum.Text());
}

Report CountSuppliers(const HandLines& lines) { return CountValues(lines.supplier); }

Report CountParts(const HandLines& lines) { return CountValues(lines.part); }

Report DaysBetween(const HandLines& lines) {
  NullableSum<int64_t> sum;
  for (std::size_t i = 0; i < lines.count; ++i) {
    if (lines.shipped.IsNull(i) || lines.received.IsNull(i)) continue;
    sum.Add(lines.received[i] - lines.shipped[i]);
  }
  return One(sum.Text());
}

Report MinMaxText(const HandLines& lines) {
  std::optional<std::string_view> low;
  std::optional<std::string_view> high;
  for (std::size_t i = 0; i < lines.count; ++i) {
    if (lines.comment.IsNull(i)) continue;
    const std::string_view text = lines.comment[i];
    if (!low || text < *low) low = text;
    if (!high || text > *high) high = text;
  }
  return [low, high] {
    Rows rows = {{std::nullopt, std::nullopt}};
    if (low) rows[0] = {std::string(*low), std::string(*high)};
    return rows;
  };
}

Report ThreeOrs(const HandLines& lines) {
  constexpr std::string_view kWord = "deposits";
  const auto passes = [&](std::size_t i) {
    const bool hasRegion = !lines.region.IsNull(i);
    const std::string_view region = lines.region[i];
    if (hasRegion && region == "ASIA" && lines.returnFlag[i] == 'R') return true;
    if (lines.comment.IsNull(i)) return false;
    const std::string_view text = lines.comment[i];
    if (text >= "pending" && text <= "quickly") return true;
    if (!hasRegion) return false;
    if (region < "AMERICA" && text >= "slyly") return true;
    return region == "EUROPE" &&
           memmem(text.data(), text.size(), kWord.data(), kWord.size()) != nullptr;
  };
  uint64_t count = 0;
  NullableSum<double> sum;
  for (std::size_t i = 0; i < lines.count; ++i) {
    if (!passes(i)) continue;
    ++count;
    if (!lines.price.IsNull(i)) sum.Add(lines.price[i]);
  }
  return [count, sum] { return Rows{{std::to_string(count), sum.Text()}}; };
}

}  // namespace sqxer::bench
