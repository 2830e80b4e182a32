#include <gtest/gtest.h>

#include "Utility/DateTimeMetaData.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeRecordMetaData.h"
#include "UtilityTesting.h"

namespace sqxer {
namespace {

constexpr int kTypes = XeTimeStampData + 1;
constexpr uint32 kNumber = sizeof(VelmarNumber);
constexpr uint32 kNumberAlign = alignof(VelmarNumber);
/// By type, what a value of length 10 takes at four bytes a character, and its alignment.
const uint32 kBytes[kTypes] = {1, 40, 44, 44, 10,      14,      14,      1, 1,  2,  2,
                               4, 4,  4,  8,  kNumber, kNumber, kNumber, 6, 12, 16, 16};
const uint32 kAlignments[kTypes] = {
    1, 4, 4, 4, 1, 4, 4, 1, 1, 2, 2, 4, 4, 4, 8, kNumberAlign, kNumberAlign, kNumberAlign,
    2, 4, 4, 4};

TEST(XeRecordMetaData, KnowsWidthAndAlignmentOfEveryType) {
  for (int i = 0; i < kTypes; ++i) {
    SCOPED_TRACE(i);
    const auto type = static_cast<XeDataType>(i);
    const bool isText = SUXeDataTypeUtility::IsXeTextType(type);
    const bool counts = isText || SUXeDataTypeUtility::IsXeBinaryType(type);
    EXPECT_EQ(XeFieldDescriptor::GetObjectLength(type, 10), counts ? 10 : kBytes[i]);
    EXPECT_EQ(XeRecordMetaData::GetByteLength(type, 10, true), kBytes[i]);
    EXPECT_EQ(XeRecordMetaData::GetByteLength(type, 10, false), kBytes[i] - (isText ? 30 : 0));
    EXPECT_EQ(XeRecordMetaData::GetAlignmentBoundary(type), kAlignments[i]);
  }
}

// Every pair of types side by side, nullable or not, narrow or wide: indicators adjacent from byte
// 1 in field order, a spare byte, then values that are aligned and overlap nothing, terminators
// included.
TEST(XeRecordMetaData, LaysOutEveryPairOfTypes) {
  for (int pair = 0; pair < kTypes * kTypes * 8; ++pair) {
    const bool unicode = pair % 2 == 0;
    const auto nullable = [&](int field) { return (pair >> field & 1) != 0; };
    XeRecordMetaData layout(unicode);
    const int types[] = {pair / 8 % kTypes, pair / 8 / kTypes, XeInt1Data};
    for (int i = 0; i < 3; ++i) {
      layout.AddField(static_cast<XeDataType>(types[i]), 10, nullable(i), L"f");
    }
    layout.GenerateAlignedFieldOffset();

    uint32 end = 1;
    for (int i = 0; i < 3; ++i) {
      ASSERT_EQ(layout.GetFieldDescriptor(i)->GetNullOffset(), nullable(i) ? end++ : 0);
    }
    ++end;
    for (int i = 0; i < 3; ++i) {
      const auto type = static_cast<XeDataType>(types[i]);
      const uint32 offset = layout.GetFieldDescriptor(i)->GetDataOffset();
      const uint32 alignment = kAlignments[type];
      ASSERT_EQ(offset, (end + alignment - 1) / alignment * alignment);
      const uint32 terminator = SUXeDataTypeUtility::IsXeTextType(type);
      end = offset + XeRecordMetaData::GetByteLength(type, 10 + terminator, unicode);
    }
    ASSERT_EQ(layout.GetBinaryRecordSize(), (end + 7) / 8 * 8);
  }
}

TEST(XeRecordMetaData, AnswersForPositionsOutside) {
  XeRecordMetaData layout;
  layout.SetFieldCount(1);
  const auto field = std::make_shared<XeFieldDescriptor>(0, XeBitData, 1, true, 0, 0, L"", L"");
  for (int at : {-1, 1, 100}) {
    const std::string error = "46030: field position " + std::to_string(at) +
                              " is outside the record layout, whose number of fields is 1";
    EXPECT_EQ(ErrorOf([&] { layout.GetFieldDescriptor(at); }), error);
    EXPECT_EQ(ErrorOf([&] { layout.DescribleField(at, XeInt4Data, 4, true, 0, 0, L"", L""); }),
              error);
    EXPECT_EQ(ErrorOf([&] { layout.SetFieldDescriptor(at, field); }), error);
  }
}

TEST(XeRecordMetaData, FollowsTheFieldsOwnUnicodeProperty) {
  using enum SUXeDataTypeUtility::ColumnUnicodeProperty;
  for (const bool unicode : {true, false}) {
    XeRecordMetaData layout(unicode);
    layout.SetFieldCount(5);
    int i = 0;
    for (const auto property : {kAcceptRecordDefault, kOverrideAsUnicode, kOverrideAsNarrowCode,
                                kOverrideAsNarrowUTF8Code, kAcceptRecordDefault}) {
      layout.DescribleField(i++, XeCharData, 99, false, 0, 0, L"", L"", property);
    }
    layout.GenerateAlignedFieldOffset();
    uint32 offset = 4;
    for (i = 0; i < 4; offset += 100 * (i == 1 || (i == 0 && unicode) ? 4 : 1), ++i) {
      EXPECT_EQ(layout.GetFieldDescriptor(i)->GetDataOffset(), offset) << i;
    }
  }
}

TEST(XeRecordMetaData, RefusesRecordsBeyond32Bits) {
  EXPECT_THROW(XeRecordMetaData::GetByteLength(XeCharData, 1u << 30, true), ErrorMessage);
  XeRecordMetaData layout;
  for (int i = 0; i < 5; ++i) layout.AddField(XeBinaryData, 1u << 30, false, L"");
  EXPECT_EQ(ErrorOf([&] { layout.GenerateAlignedFieldOffset(); }).substr(0, 6), "59173:");
}

}  // namespace
}  // namespace sqxer
