#include <bit>
#include <cstdlib>
#include <limits>
#include <random>

#include "FunctionTesting.h"
#include "SQXEROpsRounding.h"
#include "Utility/SystemUtility.h"

namespace sqxer::test {
namespace {

VelmarNumber N(const XeString& text) {
  return VelmarNumber::stringAsNumber(text.c_str(), static_cast<uint32>(text.size()));
}

const std::vector<XeDataType> kOperandTypes = {Bit,  Char,     LongChar, Bin,  Int4,   UInt4,
                                               Date, DateTime, Double,   Bool, Numeric};
const std::set<XeDataType> kNumbers = {Int4, UInt4, Double, Numeric};

template <class... Nodes>
std::vector<RExpression* (*)(XeDataType)> OfOneOperand() {
  return {[](XeDataType type) { return Function<Nodes>(Leaf(type)); }...};
}

TEST(NumericFunction, OperandsOfEveryTypeByBothRules) {
  const auto doubles = OfOneOperand<Exp, Log, Log10, Sign, Degrees, Radians, Sin, Cos, Tan, Cot,
                                    Asin, Acos, Atan, Sinh, Cosh, Tanh, Rand>();
  const auto either = OfOneOperand<Abs, Ceil, Floor, Square, Sqrt>();
  ConfigScope config;
  for (const bool integersAsDoubles : {false, true}) {
    config->integerMathAsDouble_ = integersAsDoubles;
    for (const XeDataType type : kOperandTypes) {
      const auto check = [&](auto makers, XeDataType result) {
        for (const auto make : makers) {
          if (!kNumbers.contains(type)) {
            ExpectErrorAt(kPosition, 59001, TypeError(L"Numeric function", type),
                          [&] { Bound(make(type)); });
            continue;
          }
          TestRecord record({});
          const auto tree = record.Bind(make(type));
          SCOPED_TRACE(NodeName(*tree).c_str());
          EXPECT_EQ(NodeName(*tree->GetIthOperand(0)), Wrapper(type, result));
          const XeDataType told = NodeName(*tree) == L"Sign" ? Int4 : result;
          EXPECT_EQ(tree->GetResultDataType(), told);
          EXPECT_EQ(record.info.objectLength_, XeFieldDescriptor::GetObjectLength(told, 0));
          EXPECT_EQ(record.info.aliasName_, XeRecordMetaData::exprFieldName_);
          EXPECT_TRUE(record.info.isNullable_);
          EXPECT_EQ(tree->GetExpressionType(), kNumericValueFunction);
        }
      };
      const bool numeric = type == Numeric || (type != Double && !integersAsDoubles);
      check(doubles, Double);
      check(either, numeric ? Numeric : Double);
    }
  }
  EXPECT_EQ(Outcome<Mod>(-7, 3), "-1");
  EXPECT_EQ(Outcome<Mod>(7, N(L"3")), "1n");
}

using Targets = std::map<XeDataType, XeDataType>;

/// Expects a parameter of each type to become of the type in the table, or the error of its name.
template <class Node>
void CheckParameter(const XeString& name, const Targets& targets) {
  for (const XeDataType type : kOperandTypes) {
    RExpression* const function = Function<Node>(1.0, Leaf(type));
    if (!targets.contains(type)) {
      ExpectErrorAt(kPosition, 59001, TypeError(name, type), [&] { Bound(function); });
      continue;
    }
    const XeDataType target = targets.at(type);
    const auto tree = Bound(function);
    // A decimal becomes an integer by way of a double.
    EXPECT_EQ(NodeName(*tree->GetIthOperand(1)),
              Wrapper(type == Numeric && target == Int4 ? Double : type, target));
    EXPECT_EQ(tree->GetResultDataType(), target == Numeric ? Numeric : Double);
  }
}

TEST(NumericFunction, ParametersOfEveryType) {
  const Targets toDouble = {{Int4, Double}, {UInt4, Double}, {Double, Double}, {Numeric, Double}};
  const Targets toInt32 = {{Int4, Int4}, {Double, Int4}, {Numeric, Int4}};
  CheckParameter<Pow>(L"Power", toDouble);
  CheckParameter<Atan2>(L"Atan2", toDouble);
  CheckParameter<Modf>(L"Modf", toDouble);
  CheckParameter<Round>(L"Round", toInt32);
  CheckParameter<Truncate>(L"Truncate", toInt32);
  CheckParameter<ExtractBitFromInt>(L"ExtractBit", toInt32);
  Targets divisor = toDouble;
  divisor[Numeric] = Numeric;
  CheckParameter<Mod>(L"Mod", divisor);
}

TEST(NumericFunction, StatusesPassUp) {
  ExpectStatusesPassUp<1, Abs, Exp, Sign, Rand>(1.0);
  ExpectStatusesPassUp<1, Sqrt>(VelmarNumber::one);
  ExpectStatusesPassUp<2, Pow, Mod, Modf, Atan2, Round, Truncate, ExtractBitFromInt>(1.0);
  ExpectStatusesPassUp<2, Pow, Mod>(VelmarNumber::one);
}

TEST(NumericFunction, BrokenInvariants) {
  ValueFunction bare(Leaf(Int4), {Leaf(Int4)});
  TestRecord record({});
  RExpression *slot = &bare, *replacement = nullptr;
  ExpectBroken([&] { BindInPlace(slot, nullptr, replacement, record.info); });
  ExpectBroken([&] { bare.Eval(&slot); });
  for (const int index : {-1, 2}) ExpectBroken([&] { bare.SetIthOperand(index, nullptr); });
}

// What callers rely on although it looks like a fault.
TEST(NumericFunction, OdditiesKept) {
  // What makes up for binary fractions is added twice.
  EXPECT_EQ(Outcome<Round>(0.4999999999999985, 0), "1");
  EXPECT_EQ(Outcome<Round>(0.499999999999997, 0), "0");
  // Fractions further from a whole place than the digits of the number allow are not carried.
  EXPECT_EQ(Outcome<Truncate>(6.93, 2), "6.92");
  // A NaN is positive.
  EXPECT_EQ(Outcome<Sign>(std::nan("")), "1");
  // Pi has fourteen decimals, and is 22/7 between degrees and radians.
  EXPECT_EQ(Outcome<Pi>(), "3.14159265358979");
  EXPECT_EQ(Outcome<Degrees>(22.0 / 7) + Outcome<Radians>(1), "1800.01746031746031746");
  // The slot's value is divided; the parameter's takes no part.
  const auto modf = Bound(Function<Modf>(2.0, 1000.0));
  for (const auto& [dividend, expected] : {std::pair(7.5, 0.75), {-7.0, -0.5}, {4.0, 0.0}}) {
    float64 slot = dividend;
    modf->Eval(&slot);
    EXPECT_EQ(slot, expected);
  }
  EXPECT_EQ(Outcome<Modf>(0, 5), "59008");
  // More digits, fewer nines; then eleven again.
  for (int digits = 0; digits <= 20; ++digits) {
    const std::string nines(digits > 14 ? 11 : 15 - digits, '9');
    const float64 least = digits == 0 ? 0.0 : std::pow(10.0, digits - 1);
    for (const float64 v : {-least, least * 5}) {
      EXPECT_EQ(CalculateFudgeFactor(v), std::stod("0." + nines)) << v;
    }
  }
}

TEST(Rounding, DigitsAndFractionsAreThoseOfTheLibrary) {
  const auto check = [](float64 x) {
    float64 whole, fraction;
    const float64 expected = std::modf(x, &whole);
    EXPECT_EQ(std::bit_cast<uint64>(SplitWhole(x, fraction)), std::bit_cast<uint64>(whole)) << x;
    EXPECT_EQ(std::bit_cast<uint64>(fraction), std::bit_cast<uint64>(expected)) << x;
    const float64 digits = std::trunc(std::log10(std::fabs(whole)) + 1);
    const std::string nines(digits < 1 ? 15 : digits <= 14 ? 15 - int(digits) : 11, '9');
    EXPECT_EQ(CalculateFudgeFactor(whole), std::stod("0." + nines)) << x;
  };
  for (const float64 x : {0.0, std::numeric_limits<float64>::infinity(), std::nan("")})
    check(x), check(-x);
  for (int power = -2; power < 309; ++power) {
    const float64 x = std::pow(10.0, power);
    for (const float64 near : {x, x - 1, x + 1, std::nextafter(x, 0)}) check(near), check(-near);
  }
  std::mt19937_64 engine(11);
  for (int i = 0; i < 100000; ++i) check(std::bit_cast<float64>(engine()));
}

TEST(Rand, SeedsAtEveryRowOrOnce) {
  const auto draw = [](RExpression& tree) {
    float64 value = 0;
    EXPECT_EQ(tree.Eval(&value), kTrue);
    return value;
  };
  const auto everyRow = Bound(Function<Rand>(7.9)), once = Bound(new Rand(Arg(7), {}, true));
  const float64 first = draw(*everyRow);
  EXPECT_EQ(draw(*everyRow), first);
  EXPECT_EQ(draw(*once), first);
  EXPECT_NE(draw(*once), first);
  EXPECT_NE(draw(*Bound(Function<Rand>(8))), first);
  TestRecord record({});
  const auto free = record.Bind(new Rand(nullptr));
  EXPECT_FALSE(record.info.isNullable_);
  SystemUtility::SetSeedValue(7);
  EXPECT_EQ(draw(*free), first);
  float64 sum = 0, value = 0;
  for (int i = 0; i < 10000; ++i, sum += value) {
    value = draw(*free);
    ASSERT_TRUE(value >= 0 && value <= 1);
  }
  EXPECT_NEAR(sum, 5000, 6 * 0.29 * 100);  // six deviations
}

template <class Node>
RExpression* Of(RExpression* operand) {
  return new Node(operand);
}

TEST(NumericFunction, DoublesAgreeWithExtendedPrecision) {
  using L = long double;
  struct Twin {
    RExpression* (*make)(RExpression*);
    L (*exact)(L);
    float64 low, high;
  };
  // clang-format off
  const Twin kTwins[] = {
      {Of<Sin>, sinl, -20, 20}, {Of<Cos>, cosl, -20, 20}, {Of<Tan>, tanl, -20, 20},
      {Of<Cot>, [](L x) { return 1 / tanl(x); }, -20, 20}, {Of<Asin>, asinl, -1, 1},
      {Of<Acos>, acosl, -1, 1}, {Of<Atan>, atanl, -50, 50}, {Of<Sinh>, sinhl, -700, 700},
      {Of<Cosh>, coshl, -700, 700}, {Of<Tanh>, tanhl, -20, 20}, {Of<Exp>, expl, -700, 700},
      {Of<Log>, logl, 1e-300, 1e6}, {Of<Log10>, log10l, 1e-300, 1e6}, {Of<Sqrt>, sqrtl, 0, 1e6},
      {Of<Square>, [](L x) { return x * x; }, -1e6, 1e6},
      {Of<Degrees>, [](L x) { return x * 180 * 7 / 22; }, -20, 20},
      {Of<Radians>, [](L x) { return x * 22 / 7 / 180; }, -1000, 1000}};
  // clang-format on
  std::mt19937_64 engine(11);
  for (const Twin& twin : kTwins) {
    auto* const stub = Arg(0.0);
    const auto tree = Bound(twin.make(stub));
    for (int i = 0; i < 300; ++i) {
      stub->value_ = std::uniform_real_distribution(twin.low, twin.high)(engine);
      float64 result = 0;
      ASSERT_EQ(tree->Eval(&result), kTrue);
      EXPECT_DOUBLE_EQ(result, static_cast<float64>(twin.exact(stub->value_)))
          << NodeName(*tree).c_str() << " of " << stub->value_;
    }
  }
}

/// The rounding as one would write it for one number: the twin of the one without branches.
struct BranchedRounding {
  static float64 Round(float64 x, int32 n) {
    float64 whole;
    if (n < 0) {
      const float64 power = PowerOfTen(-int64{n});
      const float64 rest = std::modf(x / power, &whole) + 1e-11;
      if (rest >= 0.5) return power + whole * power;
      if (rest <= -0.5) return whole * power - power;
      return whole * power;
    }
    const float64 power = PowerOfTen(n);
    const float64 fraction = std::modf(x, &whole);
    const float64 slack = 1 - CalculateFudgeFactor(whole);
    float64 places;
    const float64 rest = std::modf((fraction + slack) * power, &places) + slack;
    if (rest >= 0.5) {
      places += 1;
    } else if (rest <= -0.5) {
      places -= 1;
    }
    return whole + places / power;
  }
  static float64 Truncate(float64 x, int32 n) {
    float64 whole;
    if (n < 0) {
      const float64 power = PowerOfTen(-int64{n});
      return power * std::trunc(x / power);
    }
    const float64 power = PowerOfTen(n);
    const float64 fraction = std::modf(x, &whole);
    float64 places;
    const float64 rest = std::modf(fraction * power, &places);
    const float64 nearlyOne = CalculateFudgeFactor(whole);
    if (rest >= nearlyOne) {
      places += 1;
    } else if (-rest >= nearlyOne) {
      places -= 1;
    }
    return whole + places / power;
  }
};

/// Of tests that compare many values; SQXER_VALUES asks for more.
int CountOfValues() {
  const char* const asked = std::getenv("SQXER_VALUES");
  return asked != nullptr ? std::atoi(asked) : 200000;
}

TEST(Rounding, EqualsItsBranchedForm) {
  const auto check = [](float64 x, int32 n) {
    ASSERT_EQ(std::bit_cast<uint64>(RoundOp::Apply(x, n)),
              std::bit_cast<uint64>(BranchedRounding::Round(x, n)))
        << x << " to " << n;
    ASSERT_EQ(std::bit_cast<uint64>(TruncateOp::Apply(x, n)),
              std::bit_cast<uint64>(BranchedRounding::Truncate(x, n)))
        << x << " to " << n;
  };
  const float64 infinity = std::numeric_limits<float64>::infinity();
  const std::vector<float64> boundaries = {0.0,
                                           0.5,
                                           1.0,
                                           1.005,
                                           2.5,
                                           999.995,
                                           1e15,
                                           4503599627370495.5,
                                           9007199254740993.0,
                                           1e22,
                                           1e308,
                                           5e-324,
                                           1e-11,
                                           0.4999999999999985,
                                           infinity,
                                           std::nan("")};
  const auto checkAll = [&](float64 x) {
    for (const int32 n : {INT32_MIN, -400, -23, -3, -1, 0, 1, 2, 15, 22, 23, 400, INT32_MAX}) {
      for (const float64 near : {x, std::nextafter(x, 0), std::nextafter(x, infinity)}) {
        check(near, n);
        check(-near, n);
      }
    }
  };
  for (const float64 x : boundaries) checkAll(x);
  for (int power = -20; power < 20; ++power)
    checkAll(std::pow(10.0, power)), checkAll(5 * std::pow(10.0, power));
  std::mt19937_64 engine(7);
  for (int i = 0; i < CountOfValues() && !testing::Test::HasFatalFailure(); ++i) {
    const auto n = static_cast<int32>(engine() % 30) - 8;
    check(std::bit_cast<float64>(engine()), n);
    // Decimal fractions, halves of places among them.
    const auto whole = static_cast<float64>(static_cast<int64>(engine() % 2000000) - 1000000);
    check(whole / (i % 2 == 0 ? 1000 : 64), n);
  }
}

// What docs/accuracy.md says of LN.
TEST(Logarithm, IsWithinItsErrorOfExtendedPrecision) {
  static constexpr float64 kMostUlps = 0.52;
  constexpr uint64 kSpread = uint64{1} << 45;
  const auto check = [](float64 x) {
    const long double exact = std::log(static_cast<long double>(x));
    const float64 size = std::fabs(static_cast<float64>(exact));
    const float64 ulp = std::nextafter(size, std::numeric_limits<float64>::infinity()) - size;
    float64 found = 0;
    ASSERT_EQ(LogOp::Apply(x, found), MathOutcome::kDone) << x;
    ASSERT_LE(std::fabs(static_cast<float64>((found - exact) / ulp)), kMostUlps)
        << std::hexfloat << x;
  };
  std::mt19937_64 engine(3);
  // The borders of the tables' intervals, in every binade.
  for (uint64 bits = 1; bits < 0x7FF0000000000000; bits += kSpread / 2) {
    check(std::bit_cast<float64>(bits));
    check(std::bit_cast<float64>(bits - 1 + (bits == 1 ? 1 : 0)));
  }
  for (int i = 0; i < CountOfValues() && !testing::Test::HasFatalFailure(); ++i) {
    const auto any = std::bit_cast<float64>(engine() >> 1);
    if (any < std::numeric_limits<float64>::infinity() && any > 0) check(any);
    // Subnormal, about one, and as close to it as doubles come.
    check(std::bit_cast<float64>((engine() >> 12) + 1));
    check(std::uniform_real_distribution(0.6, 1.6)(engine));
    check(1 + std::ldexp(std::uniform_real_distribution(-1.0, 1.0)(engine),
                         -static_cast<int>(engine() % 53)));
  }
}

// Decimal fractions, rounded exactly as whole numbers.
TEST(Rounding, AgreesWithWholeNumbers) {
  for (int n = 0; n < 25; ++n) EXPECT_EQ(PowerOfTen(n), std::pow(10.0, n));
  const auto tenTo = [](int power) { return static_cast<int64>(std::pow(10.0, power)); };
  std::mt19937_64 engine(5);
  const auto pick = [&](auto least, auto most) {
    return std::uniform_int_distribution(least, most)(engine);
  };
  for (int i = 0; i < 4000; ++i) {
    const int places = pick(0, 6), n = pick(-3, places);
    const int64 most = tenTo(pick(1, 10)), step = tenTo(places - n);
    // Ends in a 5 often enough: halves are what goes wrong.
    const int64 coefficient = pick(-most, most) / 10 * 10 + (i % 3 ? pick(0, 9) : 5);
    const float64 x = static_cast<float64>(coefficient) / tenTo(places);
    SCOPED_TRACE(testing::Message() << x << " to " << n);
    const auto valueOf = [&](int64 units) {
      return n < 0 ? static_cast<float64>(units * tenTo(-n)) : units * 1.0 / tenTo(n);
    };
    const int64 whole = coefficient / step, rest = coefficient % step;
    const int64 nearest = whole + (rest > 0 && 2 * rest >= step) - (rest < 0 && -2 * rest > step);
    EXPECT_DOUBLE_EQ(RoundOp::Apply(x, n), valueOf(nearest));
    // The double of a number that has no more digits may lie just below it.
    const float64 cut = TruncateOp::Apply(x, n);
    const bool isBelow = rest == 0 && std::fabs(cut) < std::fabs(valueOf(whole)) * (1 - 1e-13);
    EXPECT_DOUBLE_EQ(cut, valueOf(whole - isBelow * ((whole > 0) - (whole < 0))));
  }
}

}  // namespace
}  // namespace sqxer::test
