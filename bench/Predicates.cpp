// Predicates over a million records that lie in memory: LIKE '%needle%' over texts, IN over
// integers, through bound trees and by hand over the same records. The trees read each record
// through the buffer that they are bound to, so copying it there is part of their time. Both must
// find the same.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cwchar>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "BenchRecord.h"
#include "SQXERExprConstant.h"
#include "SQXERExprIn.h"
#include "SQXERExprLogical.h"

namespace sqxer::bench {
namespace {

constexpr std::size_t kRows = 1'000'000;

/// Records of one column, called c, one behind the other.
struct Column {
  Column(XeDataType type, uint32 length, const std::function<void(BenchRecord&)>& next) {
    record.Add(type, length, true, L"c");
    size = record.layout().GetBinaryRecordSize();
    at = record.layout().GetFieldDescriptor(0)->GetDataOffset();
    nullAt = record.layout().GetFieldDescriptor(0)->GetNullOffset();
    rows.resize(size * kRows);
    for (std::size_t i = 0; i < kRows; ++i) {
      next(record);
      std::memcpy(rows.data() + i * size, record.bytes(), size);
    }
  }

  /// How many records fulfil a condition on what stands at the address given.
  template <class Condition>
  std::size_t CountByHand(Condition holds) const {
    std::size_t count = 0;
    for (std::size_t i = 0; i < kRows; ++i) {
      const uint8* row = rows.data() + i * size;
      if (!row[nullAt] && holds(row + at)) ++count;
    }
    return count;
  }
  std::size_t CountByTree(RExpression& tree) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < kRows; ++i) {
      std::memcpy(record.bytes(), rows.data() + i * size, size);
      uint8 holds;
      if (tree.Eval(&holds) == kTrue && holds) ++count;
    }
    return count;
  }

  BenchRecord record;
  std::size_t size;
  uint32 at;
  uint32 nullAt;
  std::vector<uint8> rows;
};

/// Times one way of counting; its answer must be that of another.
template <class Count>
void Time(benchmark::State& state, std::size_t expected, Count count) {
  for (auto _ : state) {
    if (count() != expected) {
      state.SkipWithError("the two ways do not agree");
      return;
    }
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}

Column& Texts() {
  // Lower-case letters, a needle in each tenth text.
  static Column texts(XeVarCharData, 40, [random = std::mt19937(3)](BenchRecord& record) mutable {
    XeString text(40, L' ');
    for (wchar_t& c : text) c = static_cast<wchar_t>(L'a' + random() % 26);
    if (random() % 10 == 0) text.replace(random() % 35, 6, L"needle");
    text.resize(40, L'z');
    record.SetText(0, text.c_str());
  });
  return texts;
}

bool HoldsNeedle(const uint8* text) {
  constexpr std::wstring_view kNeedle = L"needle";
  uint32 length;
  std::memcpy(&length, text, sizeof length);
  const auto* from = reinterpret_cast<const wchar_t*>(text + kLongVarPrefix);
  if (length < kNeedle.size()) return false;
  const wchar_t* const end = from + length - kNeedle.size() + 1;
  while ((from = std::wmemchr(from, kNeedle[0], static_cast<std::size_t>(end - from)))) {
    if (std::wmemcmp(from, kNeedle.data(), kNeedle.size()) == 0) return true;
    if (++from == end) return false;
  }
  return false;
}

void HandWrittenLike(benchmark::State& state) {
  auto tree = Texts().record.Bind(new Like(Field(L"c"), new ConstantXeChar(L"%needle%")));
  Time(state, Texts().CountByTree(*tree), [] { return Texts().CountByHand(HoldsNeedle); });
}
BENCHMARK(HandWrittenLike)->Unit(benchmark::kMillisecond);

void TreeLike(benchmark::State& state) {
  auto tree = Texts().record.Bind(new Like(Field(L"c"), new ConstantXeChar(L"%needle%")));
  Time(state, Texts().CountByHand(HoldsNeedle), [&] { return Texts().CountByTree(*tree); });
}
BENCHMARK(TreeLike)->Unit(benchmark::kMillisecond);

/// Integers of which one in four is a member of a list of either length.
constexpr int32 kStep = 97;
Column& Integers(std::size_t members) {
  const auto make = [](std::size_t count) {
    return Column(XeInt4Data, 4, [count, random = std::mt19937(5)](BenchRecord& record) mutable {
      const auto member = static_cast<int32>(random() % count) * kStep;
      record.Set(0, random() % 4 == 0 ? member : member + 1);
    });
  };
  static Column few = make(8);
  static Column many = make(1000);
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
  return Integers(count).record.Bind(new In(Field(L"c"), std::move(constants), {}, false));
}

std::size_t CountInByHand(std::size_t count) {
  const std::vector<int32> members = Members(count);
  const auto read = [](const uint8* at) {
    int32 value;
    std::memcpy(&value, at, sizeof value);
    return value;
  };
  if (count > 8) {
    return Integers(count).CountByHand([&](const uint8* at) {
      return std::binary_search(members.begin(), members.end(), read(at));
    });
  }
  int32 eight[8];
  std::copy_n(members.begin(), 8, eight);
  return Integers(count).CountByHand([&](const uint8* at) {
    const int32 value = read(at);
    bool found = false;
    for (const int32 member : eight) found |= value == member;
    return found;
  });
}

void HandWrittenIn(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  auto tree = BindIn(count);
  Time(state, Integers(count).CountByTree(*tree), [=] { return CountInByHand(count); });
}
BENCHMARK(HandWrittenIn)->Arg(8)->Arg(1000)->Unit(benchmark::kMillisecond);

void TreeIn(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  auto tree = BindIn(count);
  Time(state, CountInByHand(count), [&] { return Integers(count).CountByTree(*tree); });
}
BENCHMARK(TreeIn)->Arg(8)->Arg(1000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace sqxer::bench
