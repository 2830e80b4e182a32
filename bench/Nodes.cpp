// Each typed node by row (one Eval over one record), by batch (2,048 rows of the same columns) and,
// for some, as the loop that one would write by hand over the arrays. The closing table has them
// side by side. "beyond its operands" there is a node's time less that of the leaves below it.
#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

#include "NodeColumns.h"
#include "SQXERExprArithmetic.h"
#include "SQXERExprConstant.h"
#include "SQXERExprConvert.h"
#include "SQXERExprLogical.h"

namespace sqxer::bench {
namespace {

NodeColumns& SharedColumns() {
  static auto* const columns = new NodeColumns;
  return *columns;
}

using Make = std::function<RExpression*()>;

template <class Node>
Make Two(const wchar_t* left, const wchar_t* right) {
  return [=] { return new Node(Field(left), Field(right)); };
}

void RunRow(benchmark::State& state, const Make& make) {
  // Bound as an operand would be: a root column keeps its narrow type.
  const auto tree = SharedColumns().Record().Bind(make());
  alignas(16) uint8 out[64];
  for (auto _ : state) {
    benchmark::DoNotOptimize(tree->Eval(out));
    benchmark::ClobberMemory();
  }
}

void RunBatch(benchmark::State& state, const Make& make) {
  const auto tree = SharedColumns().Record().Bind(make());
  BatchVector out;
  for (auto _ : state) {
    if (!EvaluateBatch(*tree, SharedColumns().Rows(), out)) {
      state.SkipWithError("the batch is given up");
      return;
    }
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * int64{NodeColumns::kRows});
}

using Loop = std::function<void(const NodeColumns&)>;

/// The loop that one would write: value(columns, row) for each row, side by side.
template <class Value>
Loop ByHand(Value value) {
  return [value](const NodeColumns& columns) {
    static NodeColumns::Column<decltype(value(columns, 0))> out;
    for (uint32 row = 0; row < NodeColumns::kRows; ++row) out[row] = value(columns, row);
    benchmark::DoNotOptimize(out.data());
  };
}

void RunLoop(benchmark::State& state, const Loop& loop) {
  for (auto _ : state) {
    loop(SharedColumns());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * int64{NodeColumns::kRows});
}

struct Node {
  std::string name;
  Make make;
  Loop loop = nullptr;
};

[[maybe_unused]] const bool registered = [] {
  using Columns = const NodeColumns&;
  const std::vector<Node> nodes = {
      {"Leaf/ExtractInt32", [] { return Field(L"i"); }},
      {"Leaf/ExtractUInt32", [] { return Field(L"u"); }},
      {"Leaf/ExtractFloat64", [] { return Field(L"x"); }},
      {"Leaf/ExtractNumber", [] { return Field(L"n"); }},
      {"Leaf/ExtractLongVarXeChar", [] { return Field(L"s"); }},
      {"Leaf/ExtractDate", [] { return Field(L"d"); }},
      {"Leaf/ExtractDateTime", [] { return Field(L"ts"); }},
      {"Leaf/ExtractBoolean", [] { return Field(L"b"); }},
      {"Leaf/ConstantInt32", [] { return new ConstantInt32(5); }},
      {"Leaf/ConstantFloat64", [] { return new ConstantFloat64(5.0); }},
      {"One/UnaryMinusInt32", [] { return new UnaryMinus(Field(L"i")); },
       ByHand([](Columns c, uint32 row) { return -c.i[row]; })},
      {"One/UnaryMinusFloat64", [] { return new UnaryMinus(Field(L"x")); },
       ByHand([](Columns c, uint32 row) { return -c.x[row]; })},
      {"One/IsNullInt32", [] { return new IsNull(Field(L"i")); }},
      {"One/LogicalNot", [] { return new LogicalNot(Field(L"b")); },
       ByHand([](Columns c, uint32 row) { return uint8(!c.b[row]); })},
      {"Two/AddInt32", Two<Add>(L"i", L"j"),
       ByHand([](Columns c, uint32 row) { return c.i[row] + c.j[row]; })},
      {"Two/AddUInt32", Two<Add>(L"u", L"v")},
      {"Two/AddFloat64", Two<Add>(L"x", L"y"),
       ByHand([](Columns c, uint32 row) { return c.x[row] + c.y[row]; })},
      {"Two/AddNumber", Two<Add>(L"n", L"m"),
       ByHand([](Columns c, uint32 row) { return c.n[row] + c.m[row]; })},
      {"Two/SubtractInt32", Two<Subtract>(L"i", L"j"),
       ByHand([](Columns c, uint32 row) { return c.i[row] - c.j[row]; })},
      {"Two/SubtractNumber", Two<Subtract>(L"n", L"m")},
      {"Two/MultiplyInt32", Two<Multiply>(L"i", L"j"),
       ByHand([](Columns c, uint32 row) { return c.i[row] * c.j[row]; })},
      {"Two/MultiplyFloat64", Two<Multiply>(L"x", L"y"),
       ByHand([](Columns c, uint32 row) { return c.x[row] * c.y[row]; })},
      {"Two/MultiplyNumber", Two<Multiply>(L"n", L"m"),
       ByHand([](Columns c, uint32 row) { return c.n[row] * c.m[row]; })},
      {"Two/MultiplyFloat64 of int and double", Two<Multiply>(L"x", L"i"),
       ByHand([](Columns c, uint32 row) { return c.x[row] * c.i[row]; })},
      {"Two/DivideInt32", [] { return new Divide(Field(L"i"), Field(L"j"), false); },
       ByHand([](Columns c, uint32 row) { return c.i[row] / c.j[row]; })},
      {"Two/DivideFloat64", [] { return new Divide(Field(L"x"), Field(L"y"), false); },
       ByHand([](Columns c, uint32 row) { return c.x[row] / c.y[row]; })},
      {"Two/DivideNumber", [] { return new Divide(Field(L"n"), Field(L"m"), false); }},
      {"Two/ConcatLongVarXeChar", Two<Concat>(L"s", L"t")},
      {"Two/EQInt32", Two<EQ>(L"i", L"j"),
       ByHand([](Columns c, uint32 row) { return uint8(c.i[row] == c.j[row]); })},
      {"Two/GTInt32", Two<GT>(L"i", L"j"),
       ByHand([](Columns c, uint32 row) { return uint8(c.i[row] > c.j[row]); })},
      {"Two/LEFloat64", Two<LE>(L"x", L"y"),
       ByHand([](Columns c, uint32 row) { return uint8(c.x[row] <= c.y[row]); })},
      {"Two/LTNumber", Two<LT>(L"n", L"m"),
       ByHand([](Columns c, uint32 row) { return uint8(c.n[row] < c.m[row]); })},
      {"Two/EQLongVarXeChar", Two<EQ>(L"s", L"t"),
       ByHand([](Columns c, uint32 row) { return uint8(c.s[row] == c.t[row]); })},
      {"Two/LTLongVarXeChar", Two<LT>(L"s", L"t"),
       ByHand([](Columns c, uint32 row) { return uint8(c.s[row] < c.t[row]); })},
      {"Two/LTDate", Two<LT>(L"d", L"e"),
       ByHand([](Columns c, uint32 row) { return uint8(c.d[row] < c.e[row]); })},
      {"Two/GEDateTime", Two<GE>(L"ts", L"tt"),
       ByHand([](Columns c, uint32 row) { return uint8(c.ts[row] >= c.tt[row]); })},
      {"Two/LogicalAnd", Two<LogicalAnd>(L"b", L"c"),
       ByHand([](Columns c, uint32 row) { return uint8(c.b[row] & c.c[row]); })},
      {"Two/LogicalOr", Two<LogicalOr>(L"c", L"b"),
       ByHand([](Columns c, uint32 row) { return uint8(c.c[row] | c.b[row]); })},
      {"Three/BetweenInt32",
       [] { return new Between(Field(L"i"), new ConstantInt32(1), new ConstantInt32(5000)); },
       ByHand([](Columns c, uint32 row) { return uint8(c.i[row] >= 1 && c.i[row] <= 5000); })},
  };
  for (const auto& [name, make, loop] : nodes) {
    const auto add = [](const std::string& title, auto run, const auto& what) {
      benchmark::RegisterBenchmark(title.c_str(), [run, what](benchmark::State& state) {
        run(state, what);
      })->MinTime(0.05);
    };
    add(name, &RunRow, make);
    add("Batch/" + name, &RunBatch, make);
    if (loop) add("Hand/" + name, &RunLoop, loop);
  }
  return true;
}();

}  // namespace
}  // namespace sqxer::bench
