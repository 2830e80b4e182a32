// One Eval of each typed node over columns of one record. "beyond operands" in the closing table is
// a node's time less that of the leaves below it.
#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

#include "BenchRecord.h"
#include "SQXERExprArithmetic.h"
#include "SQXERExprConstant.h"
#include "SQXERExprConvert.h"
#include "SQXERExprLogical.h"
#include "Utility/VelmarNumber.h"

namespace sqxer::bench {
namespace {

BenchRecord& SharedRecord() {
  static BenchRecord* record = [] {
    auto* made = new BenchRecord;
    const struct {
      XeDataType type;
      uint32 length;
      const wchar_t* name;
    } fields[] = {
        {XeInt4Data, 4, L"i"},       {XeInt4Data, 4, L"j"},       {XeUInt4Data, 4, L"u"},
        {XeUInt4Data, 4, L"v"},      {XeDoubleData, 8, L"x"},     {XeDoubleData, 8, L"y"},
        {XeNumericData, 0, L"n"},    {XeNumericData, 0, L"m"},    {XeVarCharData, 40, L"s"},
        {XeVarCharData, 40, L"t"},   {XeDateData, 6, L"d"},       {XeDateData, 6, L"e"},
        {XeDateTimeData, 16, L"ts"}, {XeDateTimeData, 16, L"tt"}, {XeBoolean, 1, L"b"},
        {XeBoolean, 1, L"c"},        {XeInt2Data, 2, L"small"},   {XeFloatData, 4, L"f"},
    };
    for (const auto& field : fields) made->Add(field.type, field.length, true, field.name);
    made->Set(0, int32{1234});
    made->Set(1, int32{77});
    made->Set(2, uint32{1234});
    made->Set(3, uint32{77});
    made->Set(4, 12.5);
    made->Set(5, 0.75);
    made->Set(6, VelmarNumber(12.34));
    made->Set(7, VelmarNumber(7.5));
    made->SetText(8, L"northern harrier");
    made->SetText(9, L"northern mockingbird");
    made->Set(10, XeDate(2012, 1, 31));
    made->Set(11, XeDate(2012, 2, 1));
    made->Set(12, XeDateTime(2012, 1, 31, 12));
    made->Set(13, XeDateTime(2012, 1, 31, 13));
    made->Set(14, uint8{1});
    made->Set(15, uint8{0});
    made->Set(16, int16{300});
    made->Set(17, 1.5f);
    return made;
  }();
  return *record;
}

using Make = std::function<RExpression*()>;

template <class Node>
Make Two(const wchar_t* left, const wchar_t* right) {
  return [=] { return new Node(Field(left), Field(right)); };
}

void Run(benchmark::State& state, const Make& make) {
  RExpression* tree = make();
  // Bound as an operand would be: a root column keeps its narrow type.
  std::unique_ptr<RExpression> bound = SharedRecord().Bind(tree);
  alignas(16) uint8 out[64];
  for (auto _ : state) {
    benchmark::DoNotOptimize(bound->Eval(out));
    benchmark::ClobberMemory();
  }
}

[[maybe_unused]] const bool registered = [] {
  const std::vector<std::pair<std::string, Make>> nodes = {
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
      {"One/UnaryMinusInt32", [] { return new UnaryMinus(Field(L"i")); }},
      {"One/UnaryMinusFloat64", [] { return new UnaryMinus(Field(L"x")); }},
      {"One/IsNullInt32", [] { return new IsNull(Field(L"i")); }},
      {"One/LogicalNot", [] { return new LogicalNot(Field(L"b")); }},
      {"Two/AddInt32", Two<Add>(L"i", L"j")},
      {"Two/AddUInt32", Two<Add>(L"u", L"v")},
      {"Two/AddFloat64", Two<Add>(L"x", L"y")},
      {"Two/AddNumber", Two<Add>(L"n", L"m")},
      {"Two/SubtractInt32", Two<Subtract>(L"i", L"j")},
      {"Two/SubtractNumber", Two<Subtract>(L"n", L"m")},
      {"Two/MultiplyInt32", Two<Multiply>(L"i", L"j")},
      {"Two/MultiplyFloat64", Two<Multiply>(L"x", L"y")},
      {"Two/MultiplyNumber", Two<Multiply>(L"n", L"m")},
      {"Two/MultiplyFloat64 of int and double", Two<Multiply>(L"x", L"i")},
      {"Two/DivideInt32", [] { return new Divide(Field(L"i"), Field(L"j"), false); }},
      {"Two/DivideFloat64", [] { return new Divide(Field(L"x"), Field(L"y"), false); }},
      {"Two/DivideNumber", [] { return new Divide(Field(L"n"), Field(L"m"), false); }},
      {"Two/ConcatLongVarXeChar", Two<Concat>(L"s", L"t")},
      {"Two/EQInt32", Two<EQ>(L"i", L"j")},
      {"Two/GTInt32", Two<GT>(L"i", L"j")},
      {"Two/LEFloat64", Two<LE>(L"x", L"y")},
      {"Two/LTNumber", Two<LT>(L"n", L"m")},
      {"Two/EQLongVarXeChar", Two<EQ>(L"s", L"t")},
      {"Two/LTLongVarXeChar", Two<LT>(L"s", L"t")},
      {"Two/LTDate", Two<LT>(L"d", L"e")},
      {"Two/GEDateTime", Two<GE>(L"ts", L"tt")},
      {"Two/LogicalAnd", Two<LogicalAnd>(L"b", L"c")},
      {"Two/LogicalOr", Two<LogicalOr>(L"c", L"b")},
      {"Three/BetweenInt32",
       [] { return new Between(Field(L"i"), new ConstantInt32(1), new ConstantInt32(5000)); }},
  };
  for (const auto& [name, make] : nodes) {
    benchmark::RegisterBenchmark(name.c_str(), [make = make](benchmark::State& s) {
      Run(s, make);
    })->MinTime(0.05);
  }
  return true;
}();

}  // namespace
}  // namespace sqxer::bench
