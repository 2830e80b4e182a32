#include <gtest/gtest.h>

#include <cmath>
#include <optional>

#include "UtilityTesting.h"
#include "support/BoundaryValues.h"

namespace sqxer {
namespace {

/// The order of values as the types themselves define it; texts ignore blanks at their ends, and
/// NaN is behind all numbers.
template <class T>
int Order(T a, T b) {
  if constexpr (requires { T::Compare(a, b); }) return T::Compare(a, b);
  if constexpr (requires { T::compare(a, b); }) return T::compare(a, b);
  if constexpr (std::is_same_v<T, std::wstring>) {
    for (T* text : {&a, &b}) text->erase(text->find_last_not_of(L' ') + 1);
  }
  if constexpr (std::is_floating_point_v<T>) {
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) - std::isnan(b);
  }
  if constexpr (requires { a < b; }) return (a > b) - (a < b);
}

/// Checks one key over every pair of values and NULL.
template <class T>
void CheckKey(const XeRecordMetaData& layout, SortOrder_t order, NullOrder_t nulls,
              std::vector<std::optional<T>> values) {
  const XeFieldDescriptor& field = *layout.GetFieldDescriptor(0);
  const KeyDesc key(field, order, kCompareCodePoints, nulls);
  if (field.IsNullable()) values.resize(values.size() + 2);
  std::vector<TestRecord> records(values.size(), TestRecord(layout));
  for (std::size_t i = 0; i < values.size(); ++i) {
    // What lies under a NULL must not matter.
    if (values[i] || i == values.size() - 1) records[i].Set(0, values[i].value_or(*values[1]));
    if (!values[i]) records[i].SetNull(0);
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    for (std::size_t j = 0; j < values.size(); ++j) {
      SCOPED_TRACE(testing::Message() << "values " << i << " and " << j);
      const uint8* const a = records[i].bytes();
      const uint8* const b = records[j].bytes();
      int expected =
          (values[j].has_value() - values[i].has_value()) * (nulls == kNullsFirst ? -1 : 1);
      if (values[i] && values[j]) {
        expected = Order(*values[i], *values[j]) * (order == kAscending ? 1 : -1);
      }
      const auto [prefixA, prefixB] = std::pair(key.SortPrefix(a), key.SortPrefix(b));
      ASSERT_EQ(key.Compare(a, b), expected);
      ASSERT_TRUE(expected > 0 || prefixA <= prefixB);
      ASSERT_TRUE(expected != 0 || prefixA == prefixB);
      ASSERT_TRUE(expected == 0 || !key.IsPrefixExact() || prefixA != prefixB);
      ASSERT_EQ(key.Hash(a) == key.Hash(b), expected == 0);
    }
  }
}

template <class T>
void Check(std::initializer_list<XeDataType> types, const std::vector<T>& values,
           const std::vector<T>& more = {}) {
  std::vector<std::optional<T>> all(values.begin(), values.end());
  all.insert(all.end(), more.begin(), more.end());
  for (const XeDataType type : types) {
    for (int kind = 0; kind < 8; ++kind) {
      SCOPED_TRACE(testing::Message() << "type " << type << " kind " << kind);
      XeRecordMetaData layout;
      layout.AddField(type, 10, kind % 2 != 0, L"key");
      layout.GenerateAlignedFieldOffset();
      CheckKey(layout, kind & 2 ? kAscending : kDescending, kind & 4 ? kNullsFirst : kNullsLast,
               all);
    }
  }
}

TEST(KeyDesc, OrdersBoundaryValuesOfEveryType) {
  using test::BoundaryValues;
  Check<uint8>({XeBitData, XeBoolean}, {0, 1});
  Check({XeInt1Data}, BoundaryValues<int8>());
  Check({XeUInt1Data}, BoundaryValues<uint8>());
  Check({XeInt2Data}, BoundaryValues<int16>());
  Check({XeUInt2Data}, BoundaryValues<uint16>());
  Check({XeInt4Data}, BoundaryValues<int32>());
  Check({XeUInt4Data}, BoundaryValues<uint32>());
  Check({XeFloatData}, BoundaryValues<float32>(), {-std::nanf(""), std::nextafter(1.f, 2.f)});
  Check({XeDoubleData}, BoundaryValues<float64>(), {-std::nan(""), std::nextafter(1.0, 2.0)});
  Check({XeDateData}, BoundaryValues<XeDate>(), {XeDate(), XeDate(1970, 2, 1)});
  Check({XeTimeData}, BoundaryValues<XeTime>(),
        {XeTime(0, 0, 1), XeTime(0, 1, 0), XeTime(65535, 65535, 65535, 4'000'000'000)});
  std::vector<XeDateTime> stamps = BoundaryValues<XeDateTime>();
  for (int i = 0; i < 6; ++i)
    stamps.emplace_back(1970, 1, 1, i == 5, i == 4, i == 3, 1 << i * 8 % 24);
  Check({XeDateTimeData, XeTimeStampData}, stamps,
        {XeDateTime(9999, 20, 31), XeDateTime(9999, 21, 1)});
  // The same span in other parts is the same value.
  Check({XeIntervalData}, BoundaryValues<XeInterval>(),
        {{1, 0, 0}, {0, 30, 0}, {0, 0, 30 * int64{86'400'000'000}}, {1, -1, 0}, {0, 0, -1}});
  std::vector<VelmarNumber> numbers = BoundaryValues<VelmarNumber>();
  for (const std::wstring text :
       {L"0.00", L"1.00", L"1.0000000000000000000000000000000000001", L"1e100", L"-1e-100"}) {
    numbers.push_back(VelmarNumber::stringAsNumber(text.data(), static_cast<uint32>(text.size())));
  }
  Check({XeNumericData, XeDecimalData, XeMoneyData}, numbers);
  Check({XeCharData, XeVarCharData, XeLongVarCharData}, test::BoundaryTexts(10),
        {L"\t", L"ABCDEFGH", L"ABCDEFGHI", L"ABCDEFGHI ", L"ABCDEFGHJ", L"\xFFFD"});
  const std::vector<std::string> binaries = {std::string(10, '\0'), "abcdefghij", "abcdefghik"};
  Check({XeBinaryData, XeVarBinaryData, XeLongVarBinaryData}, binaries);
  Check<std::string>({XeVarBinaryData, XeLongVarBinaryData}, binaries,
                     {"", "\x80", "abcdefgh", std::string("abcdefgh\0", 9)});
}

TEST(KeyDesc, RefusesWhatHasNoOrder) {
  using enum SUXeDataTypeUtility::ColumnUnicodeProperty;
  for (const XeDataType type : {XeObjectData, XeUnknown, XeMaxType, XeCharData}) {
    const XeFieldDescriptor field(0, type, 4, false, 0, 0, L"key", L"", kOverrideAsNarrowCode);
    const auto error = ErrorOf([&] { KeyDesc(field, kAscending, kCompareCodePoints); });
    EXPECT_TRUE(error.starts_with("59001: \"Sort\"")) << type << error;
  }
}

TEST(KeySet, ComparesKeyByKeyAndNamesTheDifferingOne) {
  XeRecordMetaData layout;
  for (int i = 0; i < 3; ++i) layout.AddField(XeInt4Data, 4, true, L"f");
  layout.GenerateAlignedFieldOffset();
  KeySet keys;
  keys.Add(KeyDesc(*layout.GetFieldDescriptor(0), kAscending, kCompareCodePoints));
  keys.Add(KeyDesc(*layout.GetFieldDescriptor(1), kDescending, kCompareCodePoints));
  std::vector<TestRecord> records(8, TestRecord(layout));
  for (int i = 0; i < 24; ++i) records[i / 3].Set(i % 3, int32{i / 3 >> i % 3 & 1});
  for (int i = 0; i < 64; ++i) {
    const uint8* const a = records[i / 8].bytes();
    const uint8* const b = records[i % 8].bytes();
    const int first = (i / 8 & 1) - (i & 1);
    const int second = (i >> 1 & 1) - (i / 8 >> 1 & 1);
    std::size_t differing = 77;
    EXPECT_EQ(keys.Compare(a, b, &differing), first != 0 ? first : second) << i;
    EXPECT_EQ(differing, first != 0 ? 0u : second != 0 ? 1u : 77u) << i;
    EXPECT_EQ(keys.Hash(a) == keys.Hash(b), first == 0 && second == 0) << i;
    EXPECT_EQ(KeySet().Compare(a, b), 0);
  }
}

}  // namespace
}  // namespace sqxer
