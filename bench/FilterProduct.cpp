// SUM(price * quantity) over the rows with quantity > 5: through bound trees, and by hand over the
// same records. Both read every record where it lies in memory; the trees read it through the
// record buffer that they are bound to, so copying it there is part of their time.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "BenchRecord.h"
#include "SQXERExprArithmetic.h"
#include "SQXERExprConstant.h"
#include "SQXERExprLogical.h"

namespace sqxer::bench {
namespace {

constexpr std::size_t kRows = 4'000'000;

struct Orders {
  Orders() {
    record.Add(XeDoubleData, 8, true, L"price");
    record.Add(XeInt4Data, 4, true, L"quantity");
    size = record.layout().GetBinaryRecordSize();
    rows.resize(size * kRows);
    std::mt19937 random(7);
    for (std::size_t i = 0; i < kRows; ++i) {
      record.Set(0, 0.25 * static_cast<double>(random() % 4000));
      record.Set(1, static_cast<int32>(random() % 10));
      record.SetNull(0, random() % 20 == 0);
      record.SetNull(1, random() % 20 == 0);
      std::memcpy(rows.data() + i * size, record.bytes(), size);
    }
  }
  BenchRecord record;
  std::size_t size;
  std::vector<uint8> rows;
};

Orders& SharedOrders() {
  static Orders orders;
  return orders;
}

void HandWrittenFilterProduct(benchmark::State& state) {
  Orders& orders = SharedOrders();
  const auto& price = *orders.record.layout().GetFieldDescriptor(0);
  const auto& quantity = *orders.record.layout().GetFieldDescriptor(1);
  const uint32 priceAt = price.GetDataOffset();
  const uint32 priceNullAt = price.GetNullOffset();
  const uint32 quantityAt = quantity.GetDataOffset();
  const uint32 quantityNullAt = quantity.GetNullOffset();
  for (auto _ : state) {
    double sum = 0;
    for (std::size_t i = 0; i < kRows; ++i) {
      const uint8* row = orders.rows.data() + i * orders.size;
      if (row[quantityNullAt]) continue;
      int32 count;
      std::memcpy(&count, row + quantityAt, sizeof count);
      if (count <= 5 || row[priceNullAt]) continue;
      double each;
      std::memcpy(&each, row + priceAt, sizeof each);
      sum += each * count;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(HandWrittenFilterProduct)->Unit(benchmark::kMillisecond);

void TreeFilterProduct(benchmark::State& state) {
  Orders& orders = SharedOrders();
  auto filter = orders.record.Bind(new GT(Field(L"quantity"), new ConstantInt32(5)));
  auto product = orders.record.Bind(new Multiply(Field(L"price"), Field(L"quantity")));
  uint8* record = orders.record.bytes();
  for (auto _ : state) {
    double sum = 0;
    for (std::size_t i = 0; i < kRows; ++i) {
      std::memcpy(record, orders.rows.data() + i * orders.size, orders.size);
      uint8 passes;
      if (filter->Eval(&passes) != kTrue || !passes) continue;
      double amount;
      if (product->Eval(&amount) == kTrue) sum += amount;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(TreeFilterProduct)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace sqxer::bench
