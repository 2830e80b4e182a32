// SUM of a CASE of three branches, searched and by lookup: through a bound tree, and by hand over
// the same records. As in FilterProduct.cpp, copying a record into the buffer that the tree is
// bound to is part of the tree's time.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "BenchRecord.h"
#include "SQXERExprCase2.h"
#include "SQXERExprConstant.h"
#include "SQXERExprLogical.h"

namespace sqxer::bench {
namespace {

constexpr std::size_t kRows = 1'000'000;

/// quantity is 0 to 9 in no order, NULL in one row of 20.
struct Prices {
  Prices() {
    for (const wchar_t* name : {L"price", L"reduced", L"lowest"}) {
      record.Add(XeDoubleData, 8, false, name);
    }
    record.Add(XeInt4Data, 4, true, L"quantity");
    size = record.layout().GetBinaryRecordSize();
    rows.resize(size * kRows);
    std::mt19937 random(7);
    for (std::size_t i = 0; i < kRows; ++i) {
      const double price = 0.25 * static_cast<double>(random() % 4000);
      record.Set(0, price);
      record.Set(1, price * 0.75);
      record.Set(2, price * 0.5);
      record.Set(3, static_cast<int32>(random() % 10));
      record.SetNull(3, random() % 20 == 0);
      std::memcpy(rows.data() + i * size, record.bytes(), size);
    }
  }
  BenchRecord record;
  std::size_t size;
  std::vector<uint8> rows;
};

Prices& SharedPrices() {
  static Prices prices;
  return prices;
}

/// `choose` gives the field whose price counts, -1 for none, from the quantity or null.
template <class Choose>
void RunByHand(benchmark::State& state, Choose choose) {
  Prices& prices = SharedPrices();
  uint32 priceAt[3];
  for (int i = 0; i < 3; ++i) {
    priceAt[i] = prices.record.layout().GetFieldDescriptor(i)->GetDataOffset();
  }
  const auto& quantity = *prices.record.layout().GetFieldDescriptor(3);
  const uint32 quantityAt = quantity.GetDataOffset(), nullAt = quantity.GetNullOffset();
  for (auto _ : state) {
    double sum = 0;
    for (std::size_t i = 0; i < kRows; ++i) {
      const uint8* row = prices.rows.data() + i * prices.size;
      int32 count;
      std::memcpy(&count, row + quantityAt, sizeof count);
      const int field = choose(row[nullAt] != 0, count);
      if (field < 0) continue;
      double price;
      std::memcpy(&price, row + priceAt[field], sizeof price);
      sum += price;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}

void RunTree(benchmark::State& state, RExpression* root) {
  Prices& prices = SharedPrices();
  auto tree = prices.record.Bind(root);
  uint8* record = prices.record.bytes();
  for (auto _ : state) {
    double sum = 0;
    for (std::size_t i = 0; i < kRows; ++i) {
      std::memcpy(record, prices.rows.data() + i * prices.size, prices.size);
      double price;
      if (tree->Eval(&price) == kTrue) sum += price;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}

RExpression* Below(int32 limit) { return new LT(Field(L"quantity"), new ConstantInt32(limit)); }
std::vector<RExpression*> Results() {
  return {Field(L"price"), Field(L"reduced"), Field(L"lowest")};
}

void HandWrittenSearchedCase(benchmark::State& state) {
  RunByHand(state, [](bool isNull, int32 count) {
    if (!isNull && count < 3) return 0;
    return !isNull && count < 6 ? 1 : 2;
  });
}
BENCHMARK(HandWrittenSearchedCase)->Unit(benchmark::kMillisecond);

void TreeSearchedCase(benchmark::State& state) {
  RunTree(state, new Case(nullptr, {Below(3), Below(6)}, Results()));
}
BENCHMARK(TreeSearchedCase)->Unit(benchmark::kMillisecond);

void HandWrittenLookupCase(benchmark::State& state) {
  RunByHand(state, [](bool isNull, int32 count) {
    return isNull ? -1 : count == 1 ? 0 : count == 4 ? 1 : count == 7 ? 2 : -1;
  });
}
BENCHMARK(HandWrittenLookupCase)->Unit(benchmark::kMillisecond);

void TreeLookupCase(benchmark::State& state) {
  RunTree(state,
          new Case(Field(L"quantity"),
                   {new ConstantInt32(1), new ConstantInt32(4), new ConstantInt32(7)}, Results()));
}
BENCHMARK(TreeLookupCase)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace sqxer::bench
