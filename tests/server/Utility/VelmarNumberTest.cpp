#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/multiprecision/cpp_int.hpp>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "Utility/BaseStringUtil.h"
#include "Utility/ErrorMessage.h"
#include "Utility/VelmarNumber.h"

namespace sqxer {
namespace {

using boost::multiprecision::cpp_int;

static_assert(std::is_trivially_copyable_v<VelmarNumber>);

VelmarNumber Number(const std::string& text) {
  bool success = false;
  const XeString wide(text.begin(), text.end());
  const VelmarNumber number =
      VelmarNumber::stringAsNumber(wide.data(), static_cast<uint32>(wide.size()), &success);
  EXPECT_TRUE(success) << text;
  return number;
}

std::string Text(const VelmarNumber& number) {
  return BaseStringUtil::StringToUtf8(number.asString());
}

/// What an evaluation gives: the number's text, or code and first argument of its error.
template <class Evaluation>
std::string Outcome(Evaluation evaluation) {
  try {
    return Text(evaluation());
  } catch (const ErrorMessage& error) {
    std::string text = "error " + std::to_string(error.GetCode());
    if (!error.GetArguments().empty()) {
      text += ' ' + BaseStringUtil::StringToUtf8(error.GetArguments().front());
    }
    return text;
  }
}

cpp_int Ten(int power) {
  return boost::multiprecision::pow(cpp_int(10), static_cast<unsigned>(power));
}

/// A value as this test computes: numerator / denominator x 10^exponent, without any rounding.
struct Exact {
  cpp_int numerator;
  cpp_int denominator = 1;
  int exponent = 0;
};

/// numerator and denominator of a value without its exponent.
Exact Unscaled(Exact value) {
  (value.exponent < 0 ? value.denominator : value.numerator) *= Ten(std::abs(value.exponent));
  value.exponent = 0;
  return value;
}

/// The text that a result must have: 38 digits, half away from zero, the range.
std::string Expected(Exact value, const std::string& operation) {
  value = Unscaled(value);
  const bool negative = (value.numerator < 0) != (value.denominator < 0);
  const cpp_int n = abs(value.numerator);
  const cpp_int d = abs(value.denominator);
  if (n == 0) return "0";
  int exponent = static_cast<int>(n.str().size()) - static_cast<int>(d.str().size()) - 38;
  cpp_int digits;
  for (;; ++exponent) {
    const cpp_int over = 2 * n * Ten(std::max(0, -exponent));
    const cpp_int under = 2 * d * Ten(std::max(0, exponent));
    digits = (over + under / 2) / under;
    if (over / under < Ten(38)) break;
  }
  std::string text = digits.str();
  while (text.size() > 1 && text.back() == '0') {
    text.pop_back();
    ++exponent;
  }
  const int magnitude = static_cast<int>(text.size()) - 1 + exponent;
  if (magnitude < -128) return "0";
  if (magnitude > 127) return "error 59161 " + operation;
  const int length = static_cast<int>(text.size());
  std::string plain = text;
  if (exponent >= 0) {
    plain.append(static_cast<std::size_t>(exponent), '0');
  } else if (magnitude >= 0) {
    plain.insert(static_cast<std::size_t>(length + exponent), ".");
  } else {
    plain.insert(0, "0." + std::string(static_cast<std::size_t>(-magnitude - 1), '0'));
  }
  if (plain.size() + negative > 64) {
    plain = text.substr(0, 1) + (length > 1 ? "." + text.substr(1) : "") +
            (magnitude < 0 ? "E-" : "E+") + std::to_string(std::abs(magnitude));
  }
  return (negative ? "-" : "") + plain;
}

/// A number beside the value that it must have.
struct Operand {
  VelmarNumber number;
  Exact value;
};

Operand MakeOperand(const cpp_int& coefficient, int exponent) {
  return {Number(coefficient.str() + "e" + std::to_string(exponent)), {coefficient, 1, exponent}};
}

/// Coefficients and exponents at which digits, machine words or the range end.
std::vector<Operand> BoundaryOperands() {
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
  return operands;
}

class RandomOperands {
 public:
  Operand Next() {
    const int digits = Pick(1, 38);
    std::string text(1, static_cast<char>('0' + Pick(1, 9)));
    // Runs of one digit meet the carries that evenly spread digits miss.
    const int filler = Pick(0, 3);
    while (static_cast<int>(text.size()) < digits) {
      text += filler == 0 ? '9' : filler == 1 ? '0' : static_cast<char>('0' + Pick(0, 9));
    }
    if (Pick(0, 2) == 0) text.back() = static_cast<char>('0' + Pick(0, 9));
    const int exponent = Pick(0, 9) > 0 ? Pick(-45, 10) : Pick(-128 - digits + 1, 128 - digits);
    const cpp_int coefficient(text);
    return MakeOperand(Pick(0, 1) ? coefficient : cpp_int(-coefficient), exponent);
  }

 private:
  int Pick(int least, int most) { return std::uniform_int_distribution(least, most)(engine_); }
  std::mt19937 engine_{20240229};
};

Exact Add(const Exact& a, const Exact& b, int sign) {
  const int exponent = std::min(a.exponent, b.exponent);
  return {
      a.numerator * Ten(a.exponent - exponent) + sign * b.numerator * Ten(b.exponent - exponent), 1,
      exponent};
}

int Compare(const Exact& a, const Exact& b) { return Add(a, b, -1).numerator.sign(); }

/// Every binary operation against whole-number arithmetic.
void CheckPair(const Operand& a, const Operand& b) {
  const auto& [x, xValue] = a;
  const auto& [y, yValue] = b;
  SCOPED_TRACE(Text(x) + " and " + Text(y));
  EXPECT_EQ(Outcome([&] { return VelmarNumber::Plus(x, y); }),
            Expected(Add(xValue, yValue, 1), "AddNumber"));
  EXPECT_EQ(Outcome([&] { return VelmarNumber::Minus(x, y); }),
            Expected(Add(xValue, yValue, -1), "SubtractNumber"));
  EXPECT_EQ(Outcome([&] { return VelmarNumber::Multiply(x, y); }),
            Expected({xValue.numerator * yValue.numerator, 1, xValue.exponent + yValue.exponent},
                     "MultiplyNumber"));
  const int order = Compare(xValue, yValue);
  EXPECT_EQ(VelmarNumber::compare(x, y), order);
  EXPECT_TRUE(order != 0 || x.hash() == y.hash());
  if (yValue.numerator == 0) {
    EXPECT_EQ(Outcome([&] { return VelmarNumber::Divide(x, y); }), "error 59008");
    EXPECT_EQ(Outcome([&] { return VelmarNumber::Mod(x, y); }), "error 59008");
    return;
  }
  EXPECT_EQ(Outcome([&] { return VelmarNumber::Divide(x, y); }),
            Expected({xValue.numerator, yValue.numerator, xValue.exponent - yValue.exponent},
                     "DivideNumber"));
  const int exponent = std::min(xValue.exponent, yValue.exponent);
  const cpp_int rest = (xValue.numerator * Ten(xValue.exponent - exponent)) %
                       (yValue.numerator * Ten(yValue.exponent - exponent));
  EXPECT_EQ(Outcome([&] { return VelmarNumber::Mod(x, y); }),
            Expected({rest, 1, exponent}, "ModNumber"));
}

/// Every operation on one number.
void CheckSingle(const Operand& a) {
  const auto& [x, value] = a;
  SCOPED_TRACE(Text(x));
  EXPECT_EQ(Text(x), Expected(value, ""));
  EXPECT_EQ(VelmarNumber::compare(Number(Text(x)), x), 0);
  EXPECT_EQ(Number(Text(x)).hash(), x.hash());
  EXPECT_EQ(Text(VelmarNumber::negate(x)), Expected({-value.numerator, 1, value.exponent}, ""));
  EXPECT_EQ(Text(VelmarNumber::absolute(x)),
            Expected({abs(value.numerator), 1, value.exponent}, ""));
  EXPECT_EQ(x.isZero(), value.numerator == 0);
  EXPECT_EQ(x.isNegative(), value.numerator < 0);

  const auto [numerator, denominator, none] = Unscaled(value);
  cpp_int whole = numerator / denominator;
  const bool cut = whole * denominator != numerator;
  EXPECT_EQ(Text(VelmarNumber::ceiling(x)), Expected({whole + (cut && numerator > 0 ? 1 : 0)}, ""));
  EXPECT_EQ(Text(VelmarNumber::floor(x)), Expected({whole - (cut && numerator < 0 ? 1 : 0)}, ""));
  constexpr auto kLeast = std::numeric_limits<int32>::min();
  constexpr auto kMost = std::numeric_limits<int32>::max();
  EXPECT_EQ(x.asInt4(), whole < kLeast  ? kLeast
                        : whole > kMost ? kMost
                                        : static_cast<int32>(whole));

  const std::string digits = value.numerator.str() + "e" + std::to_string(value.exponent);
  EXPECT_EQ(x.asDouble(), std::strtod(digits.c_str(), nullptr));

  if (value.numerator < 0) {
    EXPECT_EQ(Outcome([&] { return VelmarNumber::sqrt(x); }), "error 59009 " + Text(x));
  } else {
    // 200 places more than the root needs; what is cut there decides no rounding.
    const cpp_int root = sqrt(cpp_int(numerator * Ten(400) / denominator));
    EXPECT_EQ(Text(VelmarNumber::sqrt(x)), Expected({root, 1, -200}, ""));
  }
}

TEST(VelmarNumberTest, BoundaryOperandsComputeExactly) {
  const std::vector<Operand> operands = BoundaryOperands();
  ASSERT_GT(operands.size(), 600u);
  for (const Operand& a : operands) CheckSingle(a);
  // A step that shares no factor with the exponents' period: each coefficient meets each other.
  for (std::size_t i = 0; i < operands.size(); ++i) {
    for (std::size_t j = i % 41; j < operands.size(); j += 41) CheckPair(operands[i], operands[j]);
  }
}

TEST(VelmarNumberTest, RandomOperandsComputeExactly) {
  RandomOperands operands;
  for (int i = 0; i < 4000; ++i) {
    const Operand a = operands.Next();
    CheckSingle(a);
    CheckPair(a, operands.Next());
  }
}

TEST(VelmarNumberTest, ResultsFeedFurtherOperations) {
  // Unreduced results: exponents and coefficients grow until they round, never out of range.
  VelmarNumber product = VelmarNumber::one;
  for (int i = 0; i < 500; ++i) product = VelmarNumber::Multiply(product, Number("1.000"));
  EXPECT_EQ(Text(product), "1");
  VelmarNumber sum;
  for (const char* text : {"0.5", "1e20", "-1e20", "0.25", "99999999999999999999", "1"}) {
    sum += Number(text);
  }
  sum -= Number("1e20");
  EXPECT_EQ(Text(sum), "0.75");
  const VelmarNumber third = VelmarNumber::Divide(VelmarNumber::one, Number("3"));
  EXPECT_EQ(Text(VelmarNumber::Multiply(third, Number("3"))),
            "0.99999999999999999999999999999999999999");
  // Products of zeros would run out of exponents.
  VelmarNumber zero = Number("0e-100");
  for (int i = 0; i < 10; ++i) zero = VelmarNumber::Multiply(zero, zero);
  EXPECT_EQ(Text(zero), "0");
}

TEST(VelmarNumberTest, AllZeroBytesAreZero) {
  VelmarNumber number = Number("12.5");
  std::memset(static_cast<void*>(&number), 0, sizeof number);
  EXPECT_TRUE(number.isZero());
  EXPECT_EQ(number, VelmarNumber::zero);
  EXPECT_EQ(number, Number("0.000"));
  EXPECT_EQ(number.hash(), Number("-0.0").hash());
  EXPECT_EQ(Text(VelmarNumber::Plus(number, Number("-7.25"))), "-7.25");
}

TEST(VelmarNumberTest, LimitsAreTheLargestNumbers) {
  const std::string nines = "9.9999999999999999999999999999999999999E+127";
  EXPECT_EQ(Text(VelmarNumber::velmarnumberMax), nines);
  EXPECT_EQ(Text(VelmarNumber::velmarnumberMin), "-" + nines);
  // What rounds to no more than the limit stays, the next digit does not.
  EXPECT_EQ(Text(VelmarNumber::Plus(VelmarNumber::velmarnumberMax, Number("4e89"))), nines);
  try {
    VelmarNumber::Plus(VelmarNumber::velmarnumberMax, Number("5e89"));
    FAIL();
  } catch (const ErrorMessage& error) {
    EXPECT_STREQ(error.what(),
                 "AddNumber overflowed: the result is beyond the limit "
                 "9.9999999999999999999999999999999999999E+127");
  }
}

TEST(VelmarNumberTest, TextsReadAsNumbers) {
  const struct {
    const char* text;
    const char* number;
  } kReadable[] = {
      {"0", "0"},
      {"-0", "0"},
      {"  12.50  ", "12.5"},
      {"+7", "7"},
      {".5", "0.5"},
      {"-5.", "-5"},
      {"1e3", "1000"},
      {"1E-3", "0.001"},
      {"12.5e+1", "125"},
      {"00000000000000000000000000000000000000000000012", "12"},
      {"0.00000000000000000000000000000000000000000000012",
       "0.00000000000000000000000000000000000000000000012"},
      {"1.00000000000000000000000000000000000000000000000000", "1"},
      {"99999999999999999999999999999999999999.4", "99999999999999999999999999999999999999"},
      {"99999999999999999999999999999999999999.5", "100000000000000000000000000000000000000"},
      {"-0.123456789012345678901234567890123456785", "-0.12345678901234567890123456789012345679"},
      {"1e-129", "0"},
      {"9.99999999999999999999999999999999999995e-129", "1E-128"},
      {"1e-99999999999999999999", "0"},
      {"0e99999999999999999999", "0"},
      {"1200", "1200"},
      {"1e64", "1E+64"},
      {"-1.5e100", "-1.5E+100"},
  };
  for (const auto& [text, number] : kReadable) EXPECT_EQ(Text(Number(text)), number) << text;
  EXPECT_EQ(Text(Number("1e63")), "1" + std::string(63, '0'));
  EXPECT_EQ(Text(Number("-1e63")), "-1E+63");

  for (const wchar_t* text : {L"", L"  ", L".", L"-", L"e5", L"1e", L"1e+", L"1 2", L"1,5", L"--1",
                              L"+-1", L"0x10", L"nan", L"12abc", L"1.2.3", L"1e128",
                              L"99999999999999999999999999999999999999.5e90", L"\x0661"}) {
    bool success = true;
    const auto length = static_cast<uint32>(std::wcslen(text));
    EXPECT_TRUE(VelmarNumber::stringAsNumber(text, length, &success).isZero());
    EXPECT_FALSE(success) << BaseStringUtil::StringToUtf8(text);
  }
  // A fixed text may end before its declared length.
  EXPECT_EQ(Text(VelmarNumber::stringAsNumber(L"42\0 77", 6)), "42");
}

TEST(VelmarNumberTest, DecimalPlacesCountTheShortestForm) {
  const struct {
    const char* text;
    int places;
  } kCases[] = {{"0", 0}, {"1200", 0}, {"1.50", 1}, {"-0.001", 3}, {"0.000", 0}, {"1e-50", 50}};
  for (const auto& [text, places] : kCases) EXPECT_EQ(Number(text).decimalPlaces(), places) << text;
}

TEST(VelmarNumberTest, IntegersConvertBothWays) {
  EXPECT_EQ(Text(VelmarNumber(std::numeric_limits<int32>::min())), "-2147483648");
  EXPECT_EQ(Text(VelmarNumber(std::numeric_limits<uint32>::max())), "4294967295");
  EXPECT_EQ(Text(VelmarNumber(std::numeric_limits<int64>::min())), "-9223372036854775808");
  EXPECT_EQ(Text(VelmarNumber::negate(VelmarNumber(std::numeric_limits<int64>::min()))),
            "9223372036854775808");
}

TEST(VelmarNumberTest, DoublesBecomeTheirShortestDecimal) {
  std::vector<float64> values = {0.0,
                                 -0.0,
                                 0.1,
                                 -2.5,
                                 1e22,
                                 1e23,
                                 123456789012345680.0,
                                 5e-324,
                                 1e-128,
                                 9.99e127,
                                 9007199254740993.0,
                                 1.0 / 3};
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
    const VelmarNumber number(value);
    EXPECT_EQ(Text(number), Text(Number(shortest)));
    EXPECT_EQ(number.asDouble(), std::fabs(value) < 1e-128 ? 0 : value);
  }
  for (const float64 value :
       {1e128, -std::numeric_limits<float64>::max(), std::numeric_limits<float64>::infinity(),
        std::numeric_limits<float64>::quiet_NaN()}) {
    EXPECT_EQ(Outcome([&] { return VelmarNumber(value); }), "error 59161 ConvertFloat64toNumber");
  }
}

TEST(VelmarNumberTest, AnyBytesReadAsSomeDouble) {
  // A column of doubles read as numbers must stay harmless.
  std::mt19937_64 engine(11);
  for (int i = 0; i < 1000; ++i) {
    uint64 words[3] = {engine(), engine(), engine()};
    VelmarNumber number;
    std::memcpy(static_cast<void*>(&number), words, sizeof number);
    EXPECT_FALSE(std::isnan(number.asDouble()));
  }
}

}  // namespace
}  // namespace sqxer
