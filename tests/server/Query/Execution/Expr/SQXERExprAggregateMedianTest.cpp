#include <algorithm>
#include <limits>
#include <random>

#include "AggregateTesting.h"

namespace sqxer::test {
namespace {

constexpr auto NIL = std::nullopt;
constexpr float64 kInf = std::numeric_limits<float64>::infinity();
constexpr float64 kNaN = std::numeric_limits<float64>::quiet_NaN();

TEST(Median, AtTheEdgesOfOrder) {
  // A NaN follows every number; the sum of two great values is beyond doubles.
  const std::pair<Values, std::optional<float64>> kCases[] = {
      {{kInf, -kInf, 1}, 1},    {{-kInf, kInf}, kNaN},      {{kNaN, 1, 2}, 2},
      {{kNaN, 1, -kNaN}, kNaN}, {{kNaN, kInf, 1, 0, 2}, 2}, {{1e308, 1e308}, kInf},
  };
  TestRecord input({{Double}}), target({{Double}});
  Driven median(Make<Median>(), input, target);
  for (const auto& [values, expected] : kCases) ExpectNumber(expected, median.Run(values));
}

TEST(Median, OfRandomGroupsIsThatOfAPlainModel) {
  TestRecord input({{Double}, {Int4}, {VarChar, 4}}), target({{Double}});
  Driven all(Make<Median>(), input, target),
      unrepeated(new Median(Columns(0), nullptr, new UInt16Vector{2, 1}, false), input, target);
  std::mt19937 random(7);
  for (int group = 0; group < 300; ++group) {
    const unsigned rows = random() % (group % 30 == 0 ? 30000 : 40), range = 1 + random() % 50;
    std::vector<float64> seen, kept;
    unsigned last = 4;
    all->Initialize(false);
    unrepeated->Initialize(false);
    for (unsigned i = 0; i < rows; ++i) {
      const unsigned value = random() % (i % 8 == 0 ? 1u << 31 : range), key = random() % 4;
      // A number or NULL, and a text in which trailing blanks tell nothing apart.
      input.Set(1, random()).SetNull(1, key % 2 == 0);
      if (key % 2 != 0) input.SetNumber(1, 7);
      input.SetText(2, (key < 2 ? L"k" : L"") + XeString(random() % 3, L' '));
      input.SetNumber(0, value).SetNull(0, i % 5 == 0);
      all.Compute();
      unrepeated.Compute();
      if (i % 5 == 0) continue;
      seen.push_back(value);
      if (std::exchange(last, key) != key) kept.push_back(value);
    }
    for (const auto& [median, values] : {std::pair{&all, &seen}, {&unrepeated, &kept}}) {
      median->Finish();
      std::sort(values->begin(), values->end());
      const std::size_t n = values->size();
      ASSERT_EQ(target.IsNull(0), n == 0);
      if (n > 0)
        ExpectNumber((values->at((n - 1) / 2) + values->at(n / 2)) / 2, target.GetNumber(0));
    }
  }
  ExpectError(46030, {L"3", L"3"},
              [&] { Driven(new Median(Columns(0), nullptr, Columns(3), false), input, target); });
}

TEST(Median, KeepsWhatAnEmptyGroupAndARestartLeave) {
  TestRecord input({{Int4}}), never({{Double, 0, false}});
  Driven median(Make<Median>(), input, never);
  for (const auto& [values, result] : {std::pair{Values{NIL}, 0}, {{4, 6}, 5}, {{NIL}, 5}}) {
    EXPECT_EQ(median.Run(values), result);
  }
  // A restart goes on with an open group, and begins one where none is open.
  for (const auto& [restart, result] : {std::pair{false, 6}, {true, 4}}) {
    for (const Values& values : {Values{2}, {4, 8}}) {
      median->Initialize(restart);
      median.Compute(values);
    }
    median.Finish();
    EXPECT_EQ(never.GetNumber(0), result);
  }
}

}  // namespace
}  // namespace sqxer::test
