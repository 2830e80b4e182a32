#include "WindowRows.h"

#include <algorithm>
#include <cmath>

#include "../Random.h"

namespace sqxer::bench {
namespace {

bool AgreeToNineDigits(double a, double b) {
  return std::abs(a - b) <= 1e-9 * std::max(std::abs(a), std::abs(b));
}

}  // namespace

std::vector<WindowRow> MakeWindowRows(uint64_t count) {
  constexpr uint64_t kPartitions = 1000;
  constexpr uint64_t kValues = 100'000;
  // Odd, so that the products differ in their lower 32 bits.
  constexpr uint64_t kScatter = 2654435761;
  std::vector<WindowRow> rows;
  rows.reserve(count);
  Random random(12);
  const auto value = [&random] { return static_cast<double>(random.Between(1, kValues)) / 100; };
  for (uint64_t id = 1; id <= count; ++id) {
    WindowRow row{static_cast<int32_t>(id), static_cast<int32_t>(random.Between(1, kPartitions)),
                  static_cast<int32_t>(static_cast<uint32_t>(id * kScatter)), value(), value()};
    if (random.Chance(5)) row.x.reset();
    rows.push_back(row);
  }
  return rows;
}

bool Checksum::HasValuesOf(const Checksum& other) const {
  return values == other.values && AgreeToNineDigits(sum, other.sum) &&
         AgreeToNineDigits(products, other.products);
}

}  // namespace sqxer::bench
