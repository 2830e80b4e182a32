#include <gtest/gtest.h>

#include <bit>
#include <boost/multiprecision/cpp_int.hpp>
#include <cmath>
#include <cstdlib>
#include <random>

#include "Utility/VelmarNumber.h"
#include "UtilityTesting.h"
#include "support/Sanitizers.h"

namespace sqxer {
namespace {

using boost::multiprecision::cpp_int;
/// A value as this test computes: without any rounding.
using Exact = boost::multiprecision::cpp_rational;

VelmarNumber Number(const std::string& text, bool readable = true) {
  bool success = false;
  const XeString wide = Wide(text);
  const auto length = static_cast<uint32>(wide.size());
  const VelmarNumber number = VelmarNumber::stringAsNumber(wide.data(), length, &success);
  EXPECT_EQ(success, readable) << text;
  return number;
}

std::string Text(const VelmarNumber& number) {
  return BaseStringUtil::StringToUtf8(number.asString());
}

/// What an evaluation gives: the number's text, or the code and first word of its error.
template <class Evaluation>
std::string Outcome(Evaluation evaluation) {
  std::string text;
  const std::string error = ErrorOf([&] { text = Text(evaluation()); });
  return error == "accepted" ? text : error.substr(0, error.find(' ', 7));
}

cpp_int Ten(int power) { return pow(cpp_int(10), static_cast<unsigned>(power)); }

cpp_int Whole(const Exact& value) { return numerator(value) / denominator(value); }

/// The text that a result must have: 38 digits, half away from zero, the range.
std::string Expected(const Exact& value, const std::string& operation = "") {
  if (value == 0) return "0";
  const cpp_int over = 2 * abs(numerator(value));
  const cpp_int under = 2 * denominator(value);
  std::string digits(39, '0');
  int magnitude = static_cast<int>(over.str().size() - under.str().size()) - 2;
  while (digits.size() > 38) {
    const int exponent = ++magnitude - 37;
    const cpp_int d = under * Ten(std::max(0, exponent));
    digits = cpp_int((over * Ten(std::max(0, -exponent)) + d / 2) / d).str();
  }
  if (magnitude < -128) return "0";
  if (magnitude > 127) return "59161: " + operation;
  digits.erase(digits.find_last_not_of('0') + 1);
  const int length = static_cast<int>(digits.size());
  std::string plain = digits;
  if (magnitude < 0) plain.insert(0, "0." + std::string(-magnitude - 1, '0'));
  if (magnitude >= 0 && magnitude + 1 < length) plain.insert(magnitude + 1, ".");
  if (magnitude + 1 > length) plain.resize(magnitude + 1, '0');
  if (plain.size() + (value < 0) > 64) {
    if (length > 1) digits.insert(1, ".");
    plain = digits + (magnitude < 0 ? "E-" : "E+") + std::to_string(std::abs(magnitude));
  }
  return (value < 0 ? "-" : "") + plain;
}

/// A number beside the value that it must have.
using Operand = std::pair<VelmarNumber, Exact>;

Operand MakeOperand(const cpp_int& coefficient, int exponent) {
  return {Number(coefficient.str() + "e" + std::to_string(exponent)),
          exponent < 0 ? Exact(coefficient, Ten(-exponent)) : Exact(coefficient * Ten(exponent))};
}

/// Every binary operation against exact arithmetic.
void CheckPair(const Operand& a, const Operand& b) {
  const auto& [x, xValue] = a;
  const auto& [y, yValue] = b;
  SCOPED_TRACE(Text(x) + " and " + Text(y));
  const auto check = [&](auto compute, const std::string& expected) {
    EXPECT_EQ(Outcome([&] { return compute(a.first, b.first); }), expected);
  };
  check(VelmarNumber::Plus, Expected(xValue + yValue, "AddNumber"));
  check(VelmarNumber::Minus, Expected(xValue - yValue, "SubtractNumber"));
  check(VelmarNumber::Multiply, Expected(xValue * yValue, "MultiplyNumber"));
  const bool zero = yValue == 0;
  const Exact quotient = zero ? yValue : xValue / yValue;
  const Exact rest = xValue - yValue * Whole(quotient);
  check(VelmarNumber::Divide, zero ? "59008: division" : Expected(quotient, "DivideNumber"));
  check(VelmarNumber::Mod, zero ? "59008: division" : Expected(rest, "ModNumber"));
  const int order = xValue.compare(yValue);
  EXPECT_EQ(VelmarNumber::compare(x, y), (order > 0) - (order < 0));
  EXPECT_TRUE(order != 0 || x.hash() == y.hash());
}

/// Every operation on one number.
void CheckSingle(const Operand& a) {
  const auto& [x, value] = a;
  SCOPED_TRACE(Text(x));
  EXPECT_EQ(Text(x), Expected(value));
  EXPECT_EQ(VelmarNumber::compare(Number(Text(x)), x), 0);
  EXPECT_EQ(Number(Text(x)).hash(), x.hash());
  EXPECT_EQ(Text(VelmarNumber::negate(x)), Expected(-value));
  EXPECT_EQ(Text(VelmarNumber::absolute(x)), Expected(abs(value)));
  EXPECT_EQ(x.isZero(), value == 0);
  EXPECT_EQ(x.isNegative(), value < 0);
  const cpp_int whole = Whole(value);
  EXPECT_EQ(Text(VelmarNumber::ceiling(x)), Expected(whole + (value > whole)));
  EXPECT_EQ(Text(VelmarNumber::floor(x)), Expected(whole - (value < whole)));
  EXPECT_EQ(x.asInt4(), std::clamp<cpp_int>(whole, INT32_MIN, INT32_MAX).convert_to<int32>());
  EXPECT_EQ(x.asDouble(), std::strtod(Text(x).c_str(), nullptr));
  // 200 places more than the root needs; what is cut there decides no rounding.
  EXPECT_EQ(Outcome([&] { return VelmarNumber::sqrt(a.first); }),
            value < 0 ? "59009: the" : Expected(Exact(sqrt(Whole(value * Ten(400))), Ten(200))));
}

// Coefficients and exponents at which digits, machine words or the range end.
TEST(VelmarNumberTest, BoundaryOperandsComputeExactly) {
  std::vector<cpp_int> coefficients = {0, 1, 2, 3, 5, 15, 99, 125};
  for (const cpp_int& limit : {cpp_int(1) << 31, cpp_int(1) << 53, cpp_int(1) << 63,
                               cpp_int(1) << 64, Ten(18), Ten(19), Ten(37), Ten(38)}) {
    for (int step : {-1, 0, 1}) {
      if (limit + step < Ten(38)) coefficients.push_back(limit + step);
    }
  }
  std::vector<Operand> operands;
  for (const cpp_int& coefficient : coefficients) {
    for (int exponent :
         {-165, -128, -38, -37, -19, -18, -2, -1, 0, 1, 18, 19, 37, 90, 108, 110, 127}) {
      const int magnitude = static_cast<int>(coefficient.str().size()) - 1 + exponent;
      if (magnitude < -128 || magnitude > 127) continue;
      operands.push_back(MakeOperand(coefficient, exponent));
      operands.push_back(MakeOperand(-coefficient, exponent));
    }
  }
  // A step that shares no factor with the exponents' period: each coefficient meets each other.
  constexpr std::size_t kStep = test::ShareOfCases(3) == 3 ? 41 : 127;
  for (std::size_t i = 0; i < operands.size(); ++i) {
    CheckSingle(operands[i]);
    for (std::size_t j = i % kStep; j < operands.size(); j += kStep)
      CheckPair(operands[i], operands[j]);
  }
}

TEST(VelmarNumberTest, RandomOperandsComputeExactly) {
  std::mt19937 engine(20240229);
  const auto pick = [&](int least, int most) {
    return std::uniform_int_distribution(least, most)(engine);
  };
  const auto next = [&] {
    // Runs of one digit meet the carries that evenly spread digits miss.
    const int filler = pick(0, 3);
    std::string text(pick(1, 38), filler == 0 ? '0' : '9');
    if (filler > 1) std::ranges::generate(text, [&] { return char('0' + pick(0, 9)); });
    text.back() = char('0' + pick(0, 9));
    text.front() = char('0' + pick(1, 9));
    const int digits = static_cast<int>(text.size());
    const int exponent = pick(0, 9) > 0 ? pick(-45, 10) : pick(-127 - digits, 128 - digits);
    return MakeOperand(cpp_int(text) * (pick(0, 1) ? 1 : -1), exponent);
  };
  for (int i = 0; i < test::ShareOfCases(4000); ++i) {
    const Operand a = next();
    CheckSingle(a);
    CheckPair(a, next());
  }
}

TEST(VelmarNumberTest, ResultsFeedFurtherOperations) {
  // Unreduced results: exponents and coefficients grow until they round, never out of range.
  VelmarNumber product = VelmarNumber::one;
  VelmarNumber zero = Number("0e-100");
  for (int i = 0; i < 500; ++i) {
    product = VelmarNumber::Multiply(product, Number("1.000"));
    zero = VelmarNumber::Multiply(zero, zero);
  }
  EXPECT_EQ(Text(product) + Text(zero), "10");
  EXPECT_EQ(ErrorOf([] { VelmarNumber::Plus(VelmarNumber::velmarnumberMax, Number("5e89")); }),
            "59161: AddNumber overflowed: the result is beyond the limit " +
                Text(VelmarNumber::negate(VelmarNumber::velmarnumberMin)));
  VelmarNumber sum;
  std::memset(static_cast<void*>(&sum), 0, sizeof sum);  // all zero bytes are zero
  EXPECT_EQ(sum, Number("0.000"));
  EXPECT_EQ(sum.hash(), Number("-0.0").hash());
  for (const auto& text : Split("0.5|1e20|-1e20|0.25|99999999999999999999|1")) sum += Number(text);
  EXPECT_EQ(Text(sum -= Number("1e20")), "0.75");
}

TEST(VelmarNumberTest, TextsReadAsNumbers) {
  const std::string zeros(46, '0');
  const std::string nines(38, '9');
  for (const std::string& one :
       Split("-0=0|  12.50  =12.5|+7=7|.5=0.5|-5.=-5|1E-3=0.001|12.5e+1=125|1200=1200|1e-129=0|" +
             zeros + "12=12|0." + zeros + "12=0." + zeros + "12|1." + zeros + "=1|" + nines +
             ".4=" + nines + "|1" + zeros + "=1" + zeros + "|-0." + nines + "5=-1|9." + nines +
             "e-129=1E-128|1e-99999999999999999999=0|0e99999999999999999999=0|1e63=1" + zeros +
             "00000000000000000|-1e63=-1E+63|1e64=1E+64|-1.5e100=-1.5E+100")) {
    const auto parts = Split(one, '=');
    EXPECT_EQ(Text(Number(parts[0])), parts[1]);
  }
  const std::string refused =
      "|  |.|-|e5|1e|1e+|1 2|1,5|--1|+-1|0x10|nan|12abc|1.2.3|1e128|\u0661|";
  for (const auto& text : Split(refused + nines + ".5e90"))
    EXPECT_TRUE(Number(text, false).isZero());
  EXPECT_EQ(Number("-0.0010").decimalPlaces() + Number("1e-50").decimalPlaces(), 53);
  EXPECT_EQ(Number("1200").decimalPlaces() + Number("0.000").decimalPlaces(), 0);
  // A fixed text may end before its declared length.
  EXPECT_EQ(Text(VelmarNumber::stringAsNumber(L"42\0 77", 6)), "42");
}

TEST(VelmarNumberTest, IntegersAndDoublesBecomeTheirShortestDecimal) {
  EXPECT_EQ(Text(VelmarNumber(INT32_MIN)), "-2147483648");
  EXPECT_EQ(Text(VelmarNumber(UINT32_MAX)), "4294967295");
  EXPECT_EQ(Text(VelmarNumber(int64{INT64_MIN})), "-9223372036854775808");
  std::vector<float64> values;
  for (const auto& text : Split("0|-0|0.1|-2.5|1e22|1e23|123456789012345680|5e-324|1e-128|9.99e127|"
                                "9007199254740993|0.3333333333333333")) {
    values.push_back(std::strtod(text.c_str(), nullptr));
  }
  std::mt19937_64 engine(7);
  for (int i = 0; i < 3000; ++i) {
    const float64 magnitude = std::pow(10.0, std::uniform_real_distribution(-120.0, 127.0)(engine));
    values.push_back(i % 2 ? magnitude : std::round(std::fmod(magnitude, 1e9)) / 1000);
  }
  for (const float64 value : values) {
    char shortest[40];
    for (int digits = 0; digits < 17; ++digits) {
      std::snprintf(shortest, sizeof shortest, "%.*e", digits, value);
      if (std::strtod(shortest, nullptr) == value) break;
    }
    EXPECT_EQ(Text(VelmarNumber(value)), Text(Number(shortest)));
    EXPECT_EQ(VelmarNumber(value).asDouble(), std::fabs(value) < 1e-128 ? 0 : value);
  }
  for (const float64 value : {1e128, -1.7e308, HUGE_VAL, std::nan("")}) {
    EXPECT_EQ(Outcome([&] { return VelmarNumber(value); }), "59161: ConvertFloat64toNumber");
  }
  // Any bytes read as some double: a column of doubles read as numbers must stay harmless.
  for (int i = 0; i < 1000; ++i) {
    const auto number = std::bit_cast<VelmarNumber>(std::array{engine(), engine(), engine()});
    EXPECT_FALSE(std::isnan(number.asDouble()));
  }
}

/// 64 and 128 bits of a scale: what has no more than 63 bits and 38 digits, and nothing behind the
/// last place.
TEST(VelmarNumber, IsAnIntegerOfAScaleWhereItHasOne) {
  const struct {
    const char* text;
    int scale;
    const char* word;
    const char* wide;
  } kCases[] = {
      {"0", 38, "0", "0"},
      {"1.50", 1, "15", "15"},
      {"1.50", 0, "none", "none"},
      {"-9223372036854775807", 0, "-9223372036854775807", "-9223372036854775807"},
      {"-9223372036854775808", 0, "none", "-9223372036854775808"},
      {"9223372036854775.807", 3, "9223372036854775807", "9223372036854775807"},
      {"1e37", 0, "none", "10000000000000000000000000000000000000"},
      {"1e37", 1, "none", "none"},
      {"99999999999999999999999999999999999999", 0, "none",
       "99999999999999999999999999999999999999"},
      {"-0.99999999999999999999999999999999999999", 38, "none",
       "-99999999999999999999999999999999999999"},
      {"1e-38", 38, "1", "1"},
      {"1e-39", 38, "none", "none"},
      {"1e60", 0, "none", "none"},
  };
  for (const auto& c : kCases) {
    const auto scaled = [&](auto value) -> std::string {
      if (!Number(c.text).TryScaled(c.scale, value)) return "none";
      return Text(VelmarNumber::FromScaled(value, 0));
    };
    EXPECT_EQ(scaled(int64{}), c.word) << c.text << " of " << c.scale;
    EXPECT_EQ(scaled(int128{}), c.wide) << c.text << " of " << c.scale;
  }
}

}  // namespace
}  // namespace sqxer
