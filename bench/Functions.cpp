// Functions over a million records that lie in memory: through bound trees, and beside them the
// library's own calls in a loop written by hand over the same records. Both must give the same.
#include <algorithm>
#include <bit>
#include <cmath>
#include <random>
#include <string>
#include <utility>

#include "BenchRows.h"
#include "SQXERExprArithmetic.h"
#include "SQXERExprConstant.h"
#include "SQXERExprFunction.h"
#include "SQXEROpsRounding.h"
#include "Utility/XeCalendar.h"

namespace sqxer::bench {
namespace {

using Row = BenchRows::Row;

// A number that stands for a result, cheap beside it.
uint64 Digest(int32 value) { return static_cast<uint32>(value); }
uint64 Digest(float64 value) { return std::bit_cast<uint64>(value); }
uint64 Digest(const VelmarNumber& value) {
  uint64 words[3];
  static_assert(sizeof words == sizeof value);
  std::memcpy(words, &value, sizeof words);
  return words[0] ^ words[1] ^ words[2];
}
uint64 Digest(const RefLongVarChar& value) {
  return value.length_ * 31 + static_cast<uint32>(value.buffer_[value.length_ - 1]);
}

/// A tree and a loop that give the same of each row.
template <class Make, class Hand>
void Register(const std::string& name, BenchRows& (*rows)(), Make make, Hand hand) {
  using Result = decltype(hand(std::declval<const Row&>()));
  const auto byTree = [rows](RExpression& tree) {
    return rows().template SumByTree<Result>(tree, [](const Result& r) { return Digest(r); });
  };
  const auto byHand = [rows, hand] {
    return rows().SumByHand([&](const Row& row) { return Digest(hand(row)); });
  };
  benchmark::RegisterBenchmark(("HandWritten" + name).c_str(), [=](benchmark::State& state) {
    const auto tree = rows().Bind(make());
    Time(state, byTree(*tree), byHand);
  })->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark(("Tree" + name).c_str(), [=](benchmark::State& state) {
    const auto tree = rows().Bind(make());
    Time(state, byHand(), [&] { return byTree(*tree); });
  })->Unit(benchmark::kMillisecond);
}

BenchRows& Doubles() {
  static BenchRows rows({{XeDoubleData, 8, L"x"}},
                        [random = std::mt19937(1)](BenchRecord& record) mutable {
                          record.Set(0, std::uniform_real_distribution<float64>(1, 1e6)(random));
                        });
  return rows;
}

BenchRows& Texts() {
  static BenchRows rows({{XeVarCharData, 40, L"s"}},
                        [random = std::mt19937(2)](BenchRecord& record) mutable {
                          XeString text(20 + random() % 21, L' ');
                          for (wchar_t& c : text) c = static_cast<wchar_t>(L'a' + random() % 26);
                          if (random() % 4 == 0) text.replace(random() % 18, 2, L"ab");
                          record.SetText(0, text.c_str());
                        });
  return rows;
}

BenchRows& Dates() {
  static BenchRows rows(
      {{XeDateData, 6, L"d"}, {XeDateTimeData, 16, L"a"}, {XeDateTimeData, 16, L"b"}},
      [random = std::mt19937(3)](BenchRecord& record) mutable {
        const auto day = [&] {
          // Of the years 1900 to 2099.
          XeDateTime value(
              XeCalendar::FromDayNumber(static_cast<int64>(random() % 73'000) - 25'567));
          value.AddSeconds(static_cast<int64>(random() % 86'400));
          return value;
        };
        record.Set(0, day().GetDate());
        record.Set(1, day());
        record.Set(2, day());
      });
  return rows;
}

/// Amounts with two decimals by quantities with one.
BenchRows& Decimals() {
  static BenchRows rows(
      {{XeNumericData, 0, L"n"}, {XeNumericData, 0, L"m"}},
      [random = std::mt19937(4)](BenchRecord& record) mutable {
        record.Set(0, VelmarNumber(static_cast<float64>(random() % 10'000'000) / 100));
        record.Set(1, VelmarNumber(static_cast<float64>(1 + random() % 1000) / 10));
      });
  return rows;
}

[[maybe_unused]] const bool registered = [] {
  Register(
      "RoundedRootAndLogarithm", Doubles,
      [] {
        auto* const product = new Multiply(new Sqrt(Field(L"x")), new Log(Field(L"x")));
        return new Round(product, {new ConstantInt32(2)});
      },
      [](const Row& row) {
        const auto x = row.Get<float64>(0);
        return RoundOp::Apply(std::sqrt(x) * std::log(x), 2);
      });
  Register(
      "UpperSubString", Texts,
      [] {
        return new Upper(new SubString(Field(L"s"), {new ConstantInt32(1), new ConstantInt32(4)}));
      },
      [](const Row& row) {
        static wchar_t upper[4];
        RefLongVarChar text = row.GetText(0);
        text.length_ = std::min<uint32>(text.length_, 4);
        BaseStringUtil::UpperCase(text, upper);
        return RefLongVarChar{text.length_, upper};
      });
  Register(
      "Replace", Texts,
      [] {
        return new Replace(Field(L"s"),
                           {new ConstantLongVarXeChar(L"ab"), new ConstantLongVarXeChar(L"x")});
      },
      [](const Row& row) {
        static wchar_t replaced[40];
        const auto [length, text] = row.GetText(0);
        wchar_t* out = replaced;
        for (uint32 i = 0; i < length; ++i) {
          if (text[i] == L'a' && i + 1 < length && text[i + 1] == L'b') {
            *out++ = L'x';
            ++i;
          } else {
            *out++ = text[i];
          }
        }
        return RefLongVarChar{static_cast<uint32>(out - replaced), replaced};
      });
  Register(
      "ExtractYear", Dates,
      [] { return new CalendarExtract(Field(L"d"), XeDateTime::extractYear); },
      [](const Row& row) { return int32{row.Get<XeDate>(0).GetYear()}; });
  Register(
      "WeekOfTheYear", Dates,
      [] { return new CalendarExtract(Field(L"d"), XeDateTime::extractWeekOfTheYear); },
      [](const Row& row) { return int32{XeDateTime(row.Get<XeDate>(0)).WeekOfTheYear(1)}; });
  Register(
      "DifferenceInDays", Dates,
      [] {
        return new TimestampDiff(XeDateTime::kDay, {Field(L"a"), Field(L"b")});
      },
      [](const Row& row) {
        return static_cast<int32>(
            XeDateTime::DifferenceInDays(row.Get<XeDateTime>(2), row.Get<XeDateTime>(1)));
      });
  Register(
      "DecimalMod", Decimals, [] { return new Mod(Field(L"n"), {Field(L"m")}); },
      [](const Row& row) {
        return VelmarNumber::Mod(row.Get<VelmarNumber>(0), row.Get<VelmarNumber>(1));
      });
  Register(
      "DecimalSqrt", Decimals, [] { return new Sqrt(Field(L"n")); },
      [](const Row& row) { return VelmarNumber::sqrt(row.Get<VelmarNumber>(0)); });
  return true;
}();

}  // namespace
}  // namespace sqxer::bench
