// Predicates over a million records that lie in memory: LIKE '%needle%' over texts, IN over
// integers, through bound trees and by hand over the same records. Both must find the same.
#include <algorithm>
#include <cwchar>
#include <random>
#include <string>
#include <vector>

#include "BenchRows.h"
#include "SQXERExprConstant.h"
#include "SQXERExprIn.h"
#include "SQXERExprLogical.h"

namespace sqxer::bench {
namespace {

/// How many records fulfil a condition on their one column.
template <class Condition>
uint64 CountByHand(const BenchRows& rows, Condition holds) {
  uint64 count = 0;
  rows.VisitByHand([&](const BenchRows::Row& row) {
    if (!row.IsNull(0) && holds(row)) ++count;
  });
  return count;
}
uint64 CountByTree(BenchRows& rows, RExpression& tree) {
  return rows.SumByTree<uint8>(tree, [](uint8 holds) { return holds; });
}

BenchRows& Texts() {
  // Lower-case letters, a needle in each tenth text.
  static BenchRows texts({{XeVarCharData, 40, L"c"}},
                         [random = std::mt19937(3)](BenchRecord& record) mutable {
                           XeString text(40, L' ');
                           for (wchar_t& c : text) c = static_cast<wchar_t>(L'a' + random() % 26);
                           if (random() % 10 == 0) text.replace(random() % 35, 6, L"needle");
                           text.resize(40, L'z');
                           record.SetText(0, text.c_str());
                         });
  return texts;
}

bool HoldsNeedle(const BenchRows::Row& row) {
  constexpr std::wstring_view kNeedle = L"needle";
  const auto [length, text] = row.GetText(0);
  if (length < kNeedle.size()) return false;
  const wchar_t* from = text;
  const wchar_t* const end = from + length - kNeedle.size() + 1;
  while ((from = std::wmemchr(from, kNeedle[0], static_cast<std::size_t>(end - from)))) {
    if (std::wmemcmp(from, kNeedle.data(), kNeedle.size()) == 0) return true;
    if (++from == end) return false;
  }
  return false;
}

void HandWrittenLike(benchmark::State& state) {
  auto tree = Texts().Bind(new Like(Field(L"c"), new ConstantXeChar(L"%needle%")));
  Time(state, CountByTree(Texts(), *tree), [] { return CountByHand(Texts(), HoldsNeedle); });
}
BENCHMARK(HandWrittenLike)->Unit(benchmark::kMillisecond);

void TreeLike(benchmark::State& state) {
  auto tree = Texts().Bind(new Like(Field(L"c"), new ConstantXeChar(L"%needle%")));
  Time(state, CountByHand(Texts(), HoldsNeedle), [&] { return CountByTree(Texts(), *tree); });
}
BENCHMARK(TreeLike)->Unit(benchmark::kMillisecond);

/// Integers of which one in four is a member of a list of either length.
constexpr int32 kStep = 97;
BenchRows& Integers(std::size_t members) {
  const auto make = [](std::size_t count) {
    return BenchRows({{XeInt4Data, 4, L"c"}},
                     [count, random = std::mt19937(5)](BenchRecord& record) mutable {
                       const auto member = static_cast<int32>(random() % count) * kStep;
                       record.Set(0, random() % 4 == 0 ? member : member + 1);
                     });
  };
  static BenchRows few = make(8);
  static BenchRows many = make(1000);
  return members == 8 ? few : many;
}

std::vector<int32> Members(std::size_t count) {
  std::vector<int32> members;
  for (std::size_t i = 0; i < count; ++i) members.push_back(static_cast<int32>(i) * kStep);
  return members;
}

std::unique_ptr<RExpression> BindIn(std::size_t count) {
  std::vector<RExpression*> constants;
  for (const int32 member : Members(count)) constants.push_back(new ConstantInt32(member));
  return Integers(count).Bind(new In(Field(L"c"), std::move(constants), {}, false));
}

uint64 CountInByHand(std::size_t count) {
  const std::vector<int32> members = Members(count);
  if (count > 8) {
    return CountByHand(Integers(count), [&](const BenchRows::Row& row) {
      return std::binary_search(members.begin(), members.end(), row.Get<int32>(0));
    });
  }
  int32 eight[8];
  std::copy_n(members.begin(), 8, eight);
  return CountByHand(Integers(count), [&](const BenchRows::Row& row) {
    const auto value = row.Get<int32>(0);
    bool found = false;
    for (const int32 member : eight) found |= value == member;
    return found;
  });
}

void HandWrittenIn(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  auto tree = BindIn(count);
  Time(state, CountByTree(Integers(count), *tree), [=] { return CountInByHand(count); });
}
BENCHMARK(HandWrittenIn)->Arg(8)->Arg(1000)->Unit(benchmark::kMillisecond);

void TreeIn(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  auto tree = BindIn(count);
  Time(state, CountInByHand(count), [&] { return CountByTree(Integers(count), *tree); });
}
BENCHMARK(TreeIn)->Arg(8)->Arg(1000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace sqxer::bench
