// How far the answers of sketches are off, and that their bytes and parts come to the same.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <random>

#include "SQXEROpsDistinctSketch.h"
#include "SQXEROpsQuantileSketch.h"
#include "gtest/gtest.h"
#include "support/Sanitizers.h"

namespace sqxer::test {
namespace {

TEST(DistinctSketch, IsOffByItsStandardErrorOverManySeeds) {
  constexpr int kSeeds = 400;
  // The standard error of counts of so many values that the sketch may have.
  const std::pair<uint64, float64> cases[] = {{1, 0},         {100, 1e-5},     {700, 1e-4},
                                              {2'000, 0.017}, {10'000, 0.019}, {100'000, 0.019}};
  for (const auto& [count, most] : cases) {
    float64 sum = 0, squares = 0;
    for (int seed = 0; seed < kSeeds; ++seed) {
      std::mt19937_64 random(static_cast<uint64>(seed) * 7919 + count);
      DistinctSketch sketch;
      for (uint64 i = 0; i < count; ++i) sketch.Add(random());
      const float64 error = sketch.Estimate() / static_cast<float64>(count) - 1;
      sum += error;
      squares += error * error;
    }
    const float64 deviation = std::sqrt(squares / kSeeds);
    std::printf("%llu values: off by %.5f, on average by %.5f\n",
                static_cast<unsigned long long>(count), deviation, sum / kSeeds);
    EXPECT_LE(deviation, most) << count;
    // No bias that many samples would not cancel.
    EXPECT_LE(std::fabs(sum / kSeeds), 4 * deviation / std::sqrt(kSeeds) + 2e-6) << count;
  }
}

std::vector<uint8> BytesOf(const auto& sketch) {
  std::vector<uint8> bytes;
  sketch.Save(bytes);
  return bytes;
}

TEST(DistinctSketch, OfPartsInAnyOrderIsThatOfTheWhole) {
  std::mt19937_64 random(3);
  for (const std::size_t count : std::initializer_list<std::size_t>{0, 1, 5, 300, 767, 769, 5000}) {
    std::vector<uint64> hashes(count);
    for (uint64& hash : hashes) hash = random() >> random() % 30;
    DistinctSketch whole, left, right, merged;
    for (const uint64 hash : hashes) whole.Add(hash);
    std::ranges::shuffle(hashes, random);
    for (std::size_t i = 0; i < count; ++i) (i % 3 == 0 ? left : right).Add(hashes[i]);
    DistinctSketch read;
    EXPECT_TRUE(read.Load(BytesOf(right)));
    merged.Merge(read);
    merged.Merge(left);
    EXPECT_EQ(merged.Estimate(), whole.Estimate()) << count;
    if (count > 1000) {
      EXPECT_EQ(BytesOf(merged), BytesOf(whole));
    }
    EXPECT_LE(BytesOf(whole).size(), DistinctSketch::kMostBytes);
    EXPECT_LE(whole.CountBytes(), 4096u + 64);
  }
}

TEST(DistinctSketch, RefusesBytesThatAreNone) {
  for (const std::vector<uint8>& bytes :
       {std::vector<uint8>(3, 1), std::vector<uint8>(4, 0), std::vector<uint8>(4, 0xFF),
        std::vector<uint8>(4096, 54), std::vector<uint8>(4100, 1)}) {
    EXPECT_FALSE(DistinctSketch().Load(bytes)) << bytes.size();
  }
}

/// Which share of the sorted values an answer is off its rank.
float64 RankError(const std::vector<float64>& sorted, float64 fraction, float64 answer) {
  const auto [first, last] = std::ranges::equal_range(sorted, answer);
  const float64 wanted = fraction * static_cast<float64>(sorted.size());
  const float64 least = static_cast<float64>(first - sorted.begin());
  const float64 most = static_cast<float64>(last - sorted.begin());
  const float64 off = wanted < least ? least - wanted : wanted > most ? wanted - most : 0;
  return off / static_cast<float64>(sorted.size());
}

constexpr float64 kFractions[] = {0, 0.001, 0.01, 0.1, 0.25, 0.5, 0.75, 0.9, 0.99, 0.999, 1};

TEST(QuantileSketch, IsOffByLittleOverManySeedsAndOrders) {
  constexpr int kSeeds = ShareOfCases(60);
  for (const std::size_t count : std::initializer_list<std::size_t>{513, 10'000, 200'000}) {
    float64 worst = 0, squares = 0;
    int answers = 0;
    for (int seed = 0; seed < kSeeds; ++seed) {
      std::mt19937_64 random(static_cast<uint64>(seed) + count);
      std::vector<float64> values(count);
      std::normal_distribution<float64> normal(0, 1);
      for (float64& value : values)
        value = seed % 4 == 3 ? std::floor(normal(random) * 50) : normal(random);
      std::vector<float64> sorted = values;
      std::ranges::sort(sorted);
      if (seed % 4 == 1) values = sorted;
      if (seed % 4 == 2) values.assign(sorted.rbegin(), sorted.rend());
      QuantileSketch whole;
      std::vector<QuantileSketch> parts(7);
      for (std::size_t i = 0; i < count; ++i) {
        whole.Add(values[i]);
        parts[i * 7 / count].Add(values[i]);
      }
      QuantileSketch merged;
      for (const QuantileSketch& part : parts) {
        QuantileSketch read;
        ASSERT_TRUE(read.Load(BytesOf(part)));
        EXPECT_LE(BytesOf(part).size(), QuantileSketch::kMostBytes);
        merged.Merge(read);
      }
      EXPECT_EQ(merged.GetCount(), count);
      for (const float64 fraction : kFractions) {
        for (const QuantileSketch* sketch : {&whole, &merged}) {
          const float64 error = RankError(sorted, fraction, sketch->Estimate(fraction));
          worst = std::max(worst, error);
          squares += error * error;
          ++answers;
        }
      }
      EXPECT_EQ(whole.Estimate(0), sorted.front());
      EXPECT_EQ(merged.Estimate(1), sorted.back());
      EXPECT_LE(whole.CountBytes(), 40u << 10);
    }
    std::printf("%zu values: ranks off by %.5f, at most by %.5f\n", count,
                std::sqrt(squares / answers), worst);
    EXPECT_LE(worst, 0.005) << count;
    EXPECT_LE(std::sqrt(squares / answers), 0.001) << count;
  }
}

TEST(QuantileSketch, OfFewValuesIsExact) {
  QuantileSketch sketch;
  std::vector<float64> values(QuantileSketch::kWidth);
  std::iota(values.begin(), values.end(), -100);
  std::ranges::shuffle(values, std::mt19937(1));
  for (const float64 value : values) sketch.Add(value);
  std::ranges::sort(values);
  for (const float64 fraction : kFractions) {
    const auto rank = std::max<std::size_t>(
        static_cast<std::size_t>(std::ceil(fraction * static_cast<float64>(values.size()))), 1);
    EXPECT_EQ(sketch.Estimate(fraction), values[rank - 1]) << fraction;
  }
  QuantileSketch of;
  for (const float64 value : {2.0, std::nan(""), float64{-INFINITY}}) of.Add(value);
  EXPECT_EQ(of.Estimate(0.1), -INFINITY);
  EXPECT_TRUE(std::isnan(of.Estimate(1)));
}

TEST(QuantileSketch, RefusesBytesThatAreNone) {
  QuantileSketch sketch;
  for (int i = 0; i < 3; ++i) sketch.Add(i);
  std::vector<uint8> bytes = BytesOf(sketch);
  EXPECT_FALSE(QuantileSketch().Load({}));
  EXPECT_FALSE(QuantileSketch().Load(std::span(bytes).first(bytes.size() - 1)));
  bytes[0] = 4;
  EXPECT_FALSE(QuantileSketch().Load(bytes));
  bytes[0] = 3;
  bytes[32] = 0xFF;
  EXPECT_FALSE(QuantileSketch().Load(bytes));
}

}  // namespace
}  // namespace sqxer::test
