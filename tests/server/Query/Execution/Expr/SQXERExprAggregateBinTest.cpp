// The bins of every row, in input order.

#include <cerrno>
#include <random>

#include "../server/Utility/Src/SpillFile.h"
#include "AggregateTesting.h"
#include "server/Utility/UtilityTesting.h"

namespace sqxer::test {
namespace {

constexpr auto NIL = std::nullopt;
constexpr auto kWidth = BinKind::kRegular, kDepth = BinKind::kEqualDepth,
               kDays = BinKind::kDateTime;

/// Bins of column 0, within a limit of memory.
struct Bins : Places {
  Bins(BinKind kind, XeDataType type, int32 count, std::optional<BinBounds> bounds = {},
       std::size_t bytes = 1 << 20)
      : Places((sqxer::Bin::SetBufferBytes(bytes),
                new sqxer::Bin(Columns(0), nullptr, nullptr, false, new ConstantInt32(count), kind,
                               bounds)),
               type, UInt4) {}
};

TEST(Bin, AtTheEdges) {
  constexpr int32 kMost = 0x7FFFFFFF;
  constexpr float64 kNaN = NAN, kInf = HUGE_VAL;
  const auto expect = [](BinKind kind, int32 count, const Values& rows, const Values& expected,
                         std::optional<BinBounds> bounds = {}) {
    SCOPED_TRACE(testing::PrintToString(rows));
    ExpectPlaces(expected, Bins(kind, Double, count, bounds).Run(rows));
  };
  expect(kWidth, 4, {0, 1, NIL, 2, 3, 4}, {1, 2, NIL, 3, 4, 4});
  // 0.29 * 100 is below 29.
  expect(kWidth, 100, {100, 29, 28.9, 0}, {100, 30, 29, 1});
  expect(kWidth, kMost, {0, 0.5, 1}, {1, 1 << 30, kMost});
  expect(kWidth, 4, {-1.7e308, 1.7e308, -1e308, 1e308}, {1, 4, 1, 4});
  expect(kWidth, 4, {0, 5e-324, 1e-323, 1.5e-323, 2e-323}, {1, 2, 3, 4, 4});
  expect(kWidth, 3, {kNaN, -kInf, 0, 1, kInf}, {NIL, 1, 1, 3, 3});
  expect(kWidth, 3, {kInf, -kInf, kNaN}, {3, 1, NIL});
  expect(kWidth, 5, {-3, 0, 2, 9.9, 10, kInf}, {1, 1, 2, 5, 5, 5}, BinBounds{0, 10});
  expect(kWidth, 9, {3, 4, 5}, {1, 1, 9}, BinBounds{4, 4});
  expect(kDepth, 5, {kNaN, 1}, {3, 1});
  expect(kDepth, kMost, {2, 1}, {kMost / 2 + 1, 1});
  const auto expectDays = [](int32 count, const Rows<XeDateTime>& rows, const Values& expected) {
    ExpectPlaces(expected, Bins(kDays, Stamp, count).Run(rows));
  };
  expectDays(3, {XeDateTime(2012, 3, 1), XeDateTime(2012, 2, 28)}, {3, 1});
  // From the last minute of a Saturday, a month and a year, and from the Monday of a week before.
  expectDays(2, {XeDateTime(2011, 12, 31, 23, 59), XeDateTime(2012, 1, 1)}, {1, 2});
  expectDays(6, {XeDateTime(2012, 1, 1), XeDateTime(2011, 11, 28)}, {6, 1});
  // The year 0 is an edge of every number of years.
  expectDays(1, {XeDateTime(-1, 1, 1), XeDateTime(0, 12, 31)}, {1, 1});
  expectDays(5000, {XeDateTime(kMaxYear, 12, 31, 23), XeDateTime(kMinYear, 1, 1)}, {2943, 1});
}

XeDateTime MinuteAt(int64 minute) {
  XeDateTime value(1970, 1, 1);
  value.AddMinutes(minute);
  return value;
}

int64 FloorDivide(int64 a, int64 b) { return (a - (a % b + b) % b) / b; }

/// The bin of one of the sorted keys, which are minutes where there is a calendar.
int64 ModelBin(BinKind kind, XeDataType type, const std::vector<int64>& sorted, int64 key,
               int64 bins) {
  const int64 least = sorted.front(), greatest = sorted.back();
  const auto place = std::ranges::lower_bound(sorted, key) - sorted.begin();
  if (kind == kDepth) return place * bins / std::ssize(sorted) + 1;
  const int64 width = std::max<int64>(greatest - least, 1);
  if (kind == kWidth) return std::min((key - least) * bins / width, bins - 1) + 1;
  // Minutes, and months below 0. The fifth of January 1970 is a Monday.
  for (const int64 length : {1, 60, 1440, 10080, -1, -3, -12, -24, -60, -120, -240, -600, -1200,
                             -2400, -6000, -12000, -24000, -60000, -120000}) {
    const auto unit = [&](int64 k) {
      if (length > 0) return FloorDivide(k - 4 * 1440, length);
      return FloorDivide(MinuteAt(k).GetYear() * 12 + MinuteAt(k).GetMonth() - 1, -length);
    };
    if (type == Date && length > 0 && length < 1440) continue;
    if (unit(greatest) - unit(least) < bins) return unit(key) - unit(least) + 1;
  }
  return 1;
}

/// Keys below 2 to the power `bits`, and days far away, as values of a type.
template <class Make>
void ExpectModel(BinKind kind, XeDataType type, unsigned bits, Make make) {
  std::mt19937_64 random(static_cast<unsigned>(type));
  for (unsigned i = 0; i < 50; ++i) {
    const int32 count = std::array{1, 2, 7, 30, 1000}[i % 5];
    SCOPED_TRACE(testing::Message() << int(kind) << ' ' << type << ' ' << count << ' ' << i);
    Bins bins(kind, type, count, {}, i % 2 == 0 ? 3000 : 1 << 20);
    for (const std::size_t size : {5u, 0u, 1u, 200u}) {
      const uint64 range = uint64{1} << random() % bits;
      const int64 first = bits < 32 ? 0 : -static_cast<int64>(random() % (uint64{3} << 30));
      Rows<int64> keys(size);
      Rows<decltype(make(0))> rows(size);
      std::vector<int64> sorted;
      for (std::size_t row = 0; row < size; ++row) {
        if (random() % 8 == 0) continue;
        int64& key = keys[row].emplace(first + static_cast<int64>(random() % range));
        if (type == Date) key = FloorDivide(key, 1440) * 1440;
        rows[row] = make(key);
        sorted.push_back(key);
      }
      std::ranges::sort(sorted);
      Values expected(size);
      for (std::size_t row = 0; row < size; ++row) {
        if (keys[row]) expected[row] = ModelBin(kind, type, sorted, *keys[row], count);
      }
      ExpectPlaces(expected, bins.Run(rows));
    }
  }
}

TEST(Bin, OfRandomGroupsIsThatOfAPlainModel) {
  ConfigScope config;
  config->firstDayOfWeek_ = 2;
  for (const BinKind kind : {kWidth, kDepth, kDays}) {
    ExpectModel(kind, Time, 11, [](int64 key) { return XeTime(MinuteAt(key)); });
    ExpectModel(kind, Date, 32, [](int64 key) { return XeDate(MinuteAt(key)); });
    ExpectModel(kind, Stamp, 32, &MinuteAt);
    for (const auto type : {Int1, UInt1, Int2, UInt2, Int4, UInt4, Float, Double, Numeric}) {
      if (kind != kDays) ExpectModel(kind, type, 7, [](int64 key) { return float64(key); });
    }
  }
  ExpectModel(kDepth, VarChar, 7, [](int64 key) { return std::to_wstring(100 + key); });
}

TEST(Bin, OfAShortRecordReadsWhatItHolds) {
  // Blanks at the end of a text do not count, zero characters do.
  Bins bins(kDepth, VarChar, 2);
  const Rows<XeString> rows = {L"b ", L"b"};
  ExpectPlaces({1, 1}, bins.Run(rows));
  const XeFieldDescriptor& field = bins.input.field(0);
  const uint32 size = kLongVarPrefix + sizeof(wchar_t);
  bins.on->SetSourceOffset(field.GetDataOffset(), field.GetNullOffset(),
                           field.GetDataOffset() + size);
  ExpectPlaces({2, 1}, bins.Run(rows));
  ExpectPlaces({1, 1}, bins.Run<XeString>({L"bx", L"by"}));
}

ssize_t WriteToFullDisk(int, const void*, std::size_t, off_t) { return errno = ENOSPC, -1; }

TEST(Bin, KeepsToItsMemoryAndOutlivesAFullDisk) {
  const Rows<XeDate> rows(50'000, XeDate(2012, 1, 1));
  const auto calls = SpillFile::SetCalls(SpillFile::Calls());
  for (const BinKind kind : {kWidth, kDepth, kDays}) {
    Bins bins(kind, Date, 5, {}, 1 << 16);
    const std::size_t before = MemoryGateway::BytesInUse();
    SpillFile::SetCalls({calls.open, &WriteToFullDisk, calls.read});
    ExpectError(59180, {}, [&] { bins.Run(rows); });
    SpillFile::SetCalls(calls);
    EXPECT_EQ(bins.Run(rows), Values(rows.size(), 1));
    EXPECT_LE(MemoryGateway::BytesInUse(), before + (1 << 16));
  }
}

TEST(Bin, RefusesWhatHasNoBins) {
  for (const int32 count : {0, -1}) {
    ExpectError(59028, {}, [&] { Bins(kWidth, Int4, count).on->Initialize(true); });
  }
  ExpectError(59001, {L"Bin", L"VARCHAR"}, [] { Bins(kWidth, VarChar, 1); });
  ExpectError(59001, {L"Bin", L"DOUBLE"}, [] { Bins(kDays, Double, 1); });
  for (const BinKind kind : {kWidth, kDays}) {
    ExpectError(59171, {}, [&] { Bins(kind, Date, 1).Run(Rows<XeDate>{XeDate(2011, 2, 29)}); });
  }
}

TEST(Bin, TakesItsMemoryFromTheEnvironment) {
  // It is read once, at load, so the case is this test in a process of its own.
  if (std::getenv("BIN_TEST") != nullptr) std::exit(sqxer::Bin::GetBufferBytes() != 4711);
  EXPECT_EQ(std::system("ZEPH_BIN_BUFFER_SIZE=4711 BIN_TEST=1 /proc/$PPID/exe "
                        "--gtest_filter=Bin.TakesIts* > /dev/null"),
            0);
}

}  // namespace
}  // namespace sqxer::test
