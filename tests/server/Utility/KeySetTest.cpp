#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "SortTesting.h"
#include "Utility/ErrorMessage.h"
#include "Utility/KeySet.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeDateTime.h"

namespace sqxer {
namespace {

/// Values of a type in ascending order, as writers into field 0. Values of one group are equal.
struct Ladder {
  XeDataType type;
  uint32 length;
  std::vector<std::vector<std::function<void(TestRecord&)>>> groups;
};

template <class T>
Ladder MakeLadder(XeDataType type, uint32 length, const std::vector<std::vector<T>>& groups) {
  Ladder ladder{type, length, {}};
  for (const auto& group : groups) {
    auto& writers = ladder.groups.emplace_back();
    for (const T& value : group) {
      writers.push_back([value](TestRecord& record) { record.Set(0, value); });
    }
  }
  return ladder;
}

template <class T>
Ladder IntegerLadder(XeDataType type) {
  using Limits = std::numeric_limits<T>;
  std::vector<std::vector<T>> groups;
  if (Limits::is_signed) {
    groups = {{Limits::min()}, {T(Limits::min() + 1)}, {T(-1)}};
  }
  for (T v : {T(0), T(1), T(Limits::max() / 2), T(Limits::max() - 1), Limits::max()}) {
    groups.push_back({v});
  }
  return MakeLadder<T>(type, sizeof(T), groups);
}

template <class T>
Ladder FloatLadder(XeDataType type) {
  using Limits = std::numeric_limits<T>;
  const T infinity = Limits::infinity();
  return MakeLadder<T>(type, sizeof(T),
                       {{-infinity},
                        {Limits::lowest()},
                        {T(-1)},
                        {-Limits::min()},
                        {-Limits::denorm_min()},
                        {T(-0.0), T(0.0)},
                        {Limits::denorm_min()},
                        {T(1)},
                        {std::nextafter(T(1), T(2))},
                        {Limits::max()},
                        {infinity},
                        {Limits::quiet_NaN(), -Limits::quiet_NaN()}});
}

VelmarNumber Number(const wchar_t* text) {
  return VelmarNumber::stringAsNumber(text, static_cast<uint32>(std::wcslen(text)));
}

std::vector<std::vector<std::wstring>> Texts() {
  return {
      {L"", L"  "},   {L"\t"}, {L"A", L"A "}, {L"ABCDEFGH"},        {L"ABCDEFGHI", L"ABCDEFGHI "},
      {L"ABCDEFGHJ"}, {L"a"},  {L"\xFFFD"},   {L"\x10FFFF\x10FFFF"}};
}

std::vector<Ladder> Ladders() {
  std::vector<Ladder> all = {
      MakeLadder<uint8>(XeBitData, 1, {{0}, {1}}),
      MakeLadder<uint8>(XeBoolean, 1, {{0}, {1}}),
      IntegerLadder<int8>(XeInt1Data),
      IntegerLadder<uint8>(XeUInt1Data),
      IntegerLadder<int16>(XeInt2Data),
      IntegerLadder<uint16>(XeUInt2Data),
      IntegerLadder<int32>(XeInt4Data),
      IntegerLadder<uint32>(XeUInt4Data),
      FloatLadder<float32>(XeFloatData),
      FloatLadder<float64>(XeDoubleData),
      MakeLadder<XeDate>(XeDateData, 6,
                         {{XeDate(-4713, 1, 1)},
                          {XeDate()},
                          {XeDate(1969, 12, 31)},
                          {XeDate(1970, 1, 1)},
                          {XeDate(1970, 1, 2)},
                          {XeDate(1970, 2, 1)},
                          {XeDate(9999, 12, 31)}}),
      MakeLadder<XeTime>(XeTimeData, 12,
                         {{XeTime(0, 0, 0)},
                          {XeTime(0, 0, 0, 1)},
                          {XeTime(0, 0, 1)},
                          {XeTime(0, 1, 0)},
                          {XeTime(23, 59, 59, 999'999'999)},
                          {XeTime(65535, 0, 0)},
                          {XeTime(65535, 65535, 65535, 4'000'000'000)}}),
      MakeLadder<std::string>(
          XeBinaryData, 10,
          {{std::string(10, '\0')}, {std::string("a")}, {"abcdefgh"}, {"abcdefghi"}, {"\x80"}}),
  };
  for (const XeDataType type : {XeDateTimeData, XeTimeStampData}) {
    all.push_back(MakeLadder<XeDateTime>(type, 16,
                                         {{XeDateTime(-4713, 1, 1)},
                                          {XeDateTime(1969, 12, 31, 23, 59, 59, 999'999'999)},
                                          {XeDateTime(1970, 1, 1)},
                                          {XeDateTime(1970, 1, 1, 0, 0, 0, 1)},
                                          {XeDateTime(1970, 1, 1, 0, 0, 0, 256)},
                                          {XeDateTime(1970, 1, 1, 0, 0, 1)},
                                          {XeDateTime(1970, 1, 1, 0, 1)},
                                          {XeDateTime(1970, 1, 1, 1)},
                                          {XeDateTime(9999, 12, 31, 23, 59, 59)},
                                          {XeDateTime(9999, 20, 31)},
                                          {XeDateTime(9999, 21, 1)}}));
  }
  for (const XeDataType type : {XeNumericData, XeDecimalData, XeMoneyData}) {
    all.push_back(MakeLadder<VelmarNumber>(type, 38,
                                           {{VelmarNumber::velmarnumberMin},
                                            {Number(L"-12345678901234567890123456789012345678")},
                                            {Number(L"-12345678901234567890123456789012345677")},
                                            {Number(L"-1")},
                                            {Number(L"-1e-100")},
                                            {VelmarNumber(), VelmarNumber::zero, Number(L"0.00")},
                                            {Number(L"0.1")},
                                            {Number(L"1"), Number(L"1.00")},
                                            {Number(L"1.0000000000000000000000000000000000001")},
                                            {Number(L"1e100")},
                                            {VelmarNumber::velmarnumberMax}}));
  }
  for (const XeDataType type : {XeCharData, XeVarCharData, XeLongVarCharData}) {
    all.push_back(MakeLadder<std::wstring>(type, 12, Texts()));
  }
  for (const XeDataType type : {XeVarBinaryData, XeLongVarBinaryData}) {
    all.push_back(MakeLadder<std::string>(type, 12,
                                          {{""},
                                           {std::string(1, '\0')},
                                           {"a"},
                                           {"abcdefgh"},
                                           {std::string("abcdefgh\0", 9)},
                                           {"abcdefghi"},
                                           {"b"},
                                           {"\x80"}}));
  }
  return all;
}

/// Checks one key over every pair of a ladder's values and NULL.
void CheckLadder(const Ladder& ladder, bool nullable, SortOrder_t order, NullOrder_t nulls) {
  XeRecordMetaData layout;
  layout.AddField(ladder.type, ladder.length, nullable, L"key");
  layout.GenerateAlignedFieldOffset();
  const KeyDesc key(*layout.GetFieldDescriptor(0), order, kCompareCodePoints, nulls);
  struct Placed {
    int place;
    TestRecord record;
  };
  std::vector<Placed> placed;
  for (std::size_t group = 0; group < ladder.groups.size(); ++group) {
    for (const auto& write : ladder.groups[group]) {
      const int rank = static_cast<int>(group) + 1;
      placed.push_back({order == kAscending ? rank : -rank, TestRecord(layout)});
      write(placed.back().record);
    }
  }
  if (nullable) {
    for (int i = 0; i < 2; ++i) {
      placed.push_back({nulls == kNullsFirst ? -1000 : 1000, TestRecord(layout)});
      // What lies under a NULL must not matter.
      if (i == 1) ladder.groups[1][0](placed.back().record);
      placed.back().record.SetNull(0);
    }
  }
  for (const Placed& a : placed) {
    for (const Placed& b : placed) {
      SCOPED_TRACE(testing::Message() << "places " << a.place << " and " << b.place);
      const int expected = (a.place > b.place) - (a.place < b.place);
      ASSERT_EQ(key.Compare(a.record.bytes(), b.record.bytes()), expected);
      const uint64 prefixA = key.SortPrefix(a.record.bytes());
      const uint64 prefixB = key.SortPrefix(b.record.bytes());
      if (expected < 0) {
        ASSERT_LE(prefixA, prefixB);
      }
      if (expected == 0) {
        ASSERT_EQ(prefixA, prefixB);
        ASSERT_EQ(key.Hash(a.record.bytes()), key.Hash(b.record.bytes()));
      } else {
        ASSERT_NE(key.Hash(a.record.bytes()), key.Hash(b.record.bytes()));
        ASSERT_TRUE(!key.IsPrefixExact() || prefixA != prefixB);
      }
    }
  }
}

TEST(KeyDesc, OrdersBoundaryValuesOfEveryType) {
  for (const Ladder& ladder : Ladders()) {
    for (const bool nullable : {false, true}) {
      for (const SortOrder_t order : {kAscending, kDescending}) {
        for (const NullOrder_t nulls : {kNullsLast, kNullsFirst}) {
          SCOPED_TRACE(testing::Message() << "type " << ladder.type << " nullable " << nullable
                                          << " order " << order << " nulls " << nulls);
          CheckLadder(ladder, nullable, order, nulls);
          if (testing::Test::HasFatalFailure()) return;
        }
      }
    }
  }
}

TEST(KeyDesc, RefusesWhatHasNoOrder) {
  const auto code = [](XeDataType type, SUXeDataTypeUtility::ColumnUnicodeProperty unicode) {
    const XeFieldDescriptor field(0, type, 4, false, 0, 0, L"key", L"", unicode);
    try {
      KeyDesc(field, kAscending, kCompareCodePoints);
      return std::string("no error");
    } catch (const ErrorMessage& error) {
      return std::to_string(error.GetCode()) + ' ' +
             std::string(error.GetArguments().at(0) == L"Sort" ? "Sort" : "?");
    }
  };
  using enum SUXeDataTypeUtility::ColumnUnicodeProperty;
  for (const XeDataType type : {XeIntervalData, XeObjectData, XeUnknown, XeMaxType}) {
    EXPECT_EQ(code(type, kAcceptRecordDefault), "59001 Sort") << type;
  }
  EXPECT_EQ(code(XeVarCharData, kOverrideAsNarrowCode), "59001 Sort");
  EXPECT_EQ(code(XeVarCharData, kOverrideAsUnicode), "no error");
}

TEST(KeySet, ComparesKeyByKeyAndNamesTheDifferingOne) {
  XeRecordMetaData layout;
  layout.AddField(XeInt4Data, 4, true, L"a");
  layout.AddField(XeVarCharData, 5, true, L"b");
  layout.AddField(XeDoubleData, 8, false, L"c");
  layout.GenerateAlignedFieldOffset();
  KeySet keys;
  keys.Add(KeyDesc(*layout.GetFieldDescriptor(0), kAscending, kCompareCodePoints));
  keys.Add(KeyDesc(*layout.GetFieldDescriptor(1), kDescending, kCompareIgnoringCase));
  const auto make = [&](int32 a, const std::wstring& b, double c) {
    TestRecord record(layout);
    record.Set(0, a);
    record.Set(1, b);
    record.Set(2, c);
    return record;
  };
  const TestRecord base = make(1, L"m", 0);
  const struct {
    TestRecord other;
    int expected;
    std::size_t differing;
  } cases[] = {{make(1, L"M", 9), 0, 77},
               {make(2, L"m", 0), -1, 0},
               {make(0, L"z", 0), 1, 0},
               {make(1, L"n", 0), 1, 1},
               {make(1, L"A", 0), -1, 1}};
  for (const auto& one : cases) {
    std::size_t differing = 77;
    EXPECT_EQ(keys.Compare(base.bytes(), one.other.bytes(), &differing), one.expected);
    EXPECT_EQ(differing, one.differing);
    EXPECT_EQ(keys.Hash(base.bytes()) == keys.Hash(one.other.bytes()), one.expected == 0);
  }
  EXPECT_EQ(KeySet().Compare(base.bytes(), cases[1].other.bytes()), 0);
}

}  // namespace
}  // namespace sqxer
