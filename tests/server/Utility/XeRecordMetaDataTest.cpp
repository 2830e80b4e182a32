#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "Utility/BaseStringUtil.h"
#include "Utility/ErrorMessage.h"
#include "Utility/ExecutionParameter.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeFieldDataBinder.h"
#include "Utility/XeRecordMetaData.h"

namespace sqxer {
namespace {

struct TypeRow {
  XeDataType type;
  uint32 objectLength;
  uint32 bytes;  // of length 10, four bytes a character
  uint32 alignment;
};

constexpr uint32 kNumber = sizeof(VelmarNumber);
constexpr uint32 kNumberAlign = alignof(VelmarNumber);
const TypeRow kTypes[] = {
    {XeBitData, 1, 1, 1},
    {XeCharData, 10, 40, 4},
    {XeVarCharData, 10, 44, 4},
    {XeLongVarCharData, 10, 44, 4},
    {XeBinaryData, 10, 10, 1},
    {XeVarBinaryData, 10, 14, 4},
    {XeLongVarBinaryData, 10, 14, 4},
    {XeInt1Data, 1, 1, 1},
    {XeUInt1Data, 1, 1, 1},
    {XeInt2Data, 2, 2, 2},
    {XeUInt2Data, 2, 2, 2},
    {XeInt4Data, 4, 4, 4},
    {XeUInt4Data, 4, 4, 4},
    {XeFloatData, 4, 4, 4},
    {XeDoubleData, 8, 8, 8},
    {XeMoneyData, kNumber, kNumber, kNumberAlign},
    {XeNumericData, kNumber, kNumber, kNumberAlign},
    {XeDecimalData, kNumber, kNumber, kNumberAlign},
    {XeDateData, 6, 6, 2},
    {XeTimeData, 12, 12, 4},
    {XeDateTimeData, 16, 16, 4},
    {XeTimeStampData, 16, 16, 4},
    {XeBoolean, 1, 1, 1},
};

TEST(XeRecordMetaData, KnowsWidthAndAlignmentOfEveryType) {
  for (const TypeRow& row : kTypes) {
    SCOPED_TRACE(row.type);
    EXPECT_EQ(XeFieldDescriptor::GetObjectLength(row.type, 10), row.objectLength);
    EXPECT_EQ(XeRecordMetaData::GetByteLength(row.type, 10, true), row.bytes);
    EXPECT_EQ(XeRecordMetaData::GetAlignmentBoundary(row.type), row.alignment);
    const bool isText = SUXeDataTypeUtility::IsXeTextType(row.type);
    EXPECT_EQ(XeRecordMetaData::GetByteLength(row.type, 10, false), row.bytes - (isText ? 30 : 0));
  }
}

// Every pair of types side by side, nullable or not, narrow or wide: indicators adjacent from byte
// 1 in field order, a spare byte, then values that are aligned and overlap nothing, terminators
// included.
TEST(XeRecordMetaData, LaysOutEveryPairOfTypes) {
  for (const TypeRow& first : kTypes) {
    for (const TypeRow& second : kTypes) {
      for (int nullable = 0; nullable < 8; ++nullable) {
        const bool unicode = nullable % 2 == 0;
        XeRecordMetaData layout(unicode);
        const XeDataType types[] = {first.type, second.type, XeInt1Data};
        for (int i = 0; i < 3; ++i) layout.AddField(types[i], 10, (nullable >> i) & 1, L"f");
        layout.GenerateAlignedFieldOffset();

        uint32 nextIndicator = 1;
        for (int i = 0; i < 3; ++i) {
          const uint32 expected = (nullable >> i) & 1 ? nextIndicator++ : 0;
          ASSERT_EQ(layout.GetFieldDescriptor(i)->GetNullOffset(), expected);
        }
        uint32 end = nextIndicator + 1;
        for (int i = 0; i < 3; ++i) {
          const uint32 offset = layout.GetFieldDescriptor(i)->GetDataOffset();
          const uint32 alignment = XeRecordMetaData::GetAlignmentBoundary(types[i]);
          ASSERT_GE(offset, end);
          ASSERT_LT(offset, end + alignment);
          ASSERT_EQ(offset % alignment, 0u);
          const bool isText = SUXeDataTypeUtility::IsXeTextType(types[i]);
          end = offset + XeRecordMetaData::GetByteLength(types[i], isText ? 11 : 10, unicode);
        }
        ASSERT_GE(layout.GetBinaryRecordSize(), end);
        ASSERT_LT(layout.GetBinaryRecordSize(), end + 8);
        ASSERT_EQ(layout.GetBinaryRecordSize() % 8, 0u);
      }
    }
  }
}

TEST(XeRecordMetaData, KeepsDescriptionsAndAnswersForPositionsOutside) {
  XeRecordMetaData layout;
  layout.SetFieldCount(2);
  layout.DescribleField(1, XeNumericData, 0, true, 2, 7, L"price", L"p",
                        SUXeDataTypeUtility::kOverrideAsNarrowCode);
  const XeFieldDescriptor& field = *layout.GetFieldDescriptor(1);
  EXPECT_EQ(field.GetPosition(), 1);
  EXPECT_EQ(field.GetDataType(), XeNumericData);
  EXPECT_TRUE(field.IsNullable());
  EXPECT_EQ(field.GetScale(), 2);
  EXPECT_EQ(field.GetCodePage(), 7);
  EXPECT_EQ(field.GetFieldName(), L"price");
  EXPECT_EQ(field.GetAliasName(), L"p");
  for (int position : {-1, 2, 100}) {
    const auto check = [&](auto call) {
      try {
        call();
        ADD_FAILURE() << position;
      } catch (const ErrorMessage& message) {
        EXPECT_EQ(message.GetCode(), 46030);
        EXPECT_EQ(message.GetArguments(), (std::vector<XeString>{std::to_wstring(position), L"2"}));
      }
    };
    check([&] { layout.GetFieldDescriptor(position); });
    check([&] { layout.DescribleField(position, XeInt4Data, 4, true, 0, 0, L"", L""); });
    check([&] { layout.SetFieldDescriptor(position, layout.GetFieldDescriptor(1)); });
  }
}

TEST(XeRecordMetaData, TakesDescriptorsLaidOutElsewhere) {
  XeRecordMetaData layout;
  layout.SetFieldCount(1);
  const auto field =
      std::make_shared<XeFieldDescriptor>(0, XeVarCharData, 5, true, int16{0}, 0, L"name", L"");
  field->SetOffsets(100, 3);
  layout.SetFieldDescriptor(0, field);
  EXPECT_EQ(layout.GetFieldDescriptor(0), field);
  EXPECT_EQ(layout.GetBinaryRecordSize(), 128u);  // 100 + 4 + (5 + 1) * 4
}

TEST(XeRecordMetaData, FollowsTheFieldsOwnUnicodeProperty) {
  const struct {
    SUXeDataTypeUtility::ColumnUnicodeProperty property;
    bool inUnicodeRecord;
    bool inNarrowRecord;
  } kCases[] = {{SUXeDataTypeUtility::kAcceptRecordDefault, true, false},
                {SUXeDataTypeUtility::kOverrideAsUnicode, true, true},
                {SUXeDataTypeUtility::kOverrideAsNarrowCode, false, false},
                {SUXeDataTypeUtility::kOverrideAsNarrowUTF8Code, false, false}};
  for (const auto& c : kCases) {
    for (bool unicodeRecord : {true, false}) {
      const bool wide = unicodeRecord ? c.inUnicodeRecord : c.inNarrowRecord;
      XeRecordMetaData layout(unicodeRecord);
      layout.SetFieldCount(2);
      layout.DescribleField(0, XeCharData, 99, false, 0, 0, L"", L"", c.property);
      layout.DescribleField(1, XeBitData, 1, false, 0, 0, L"", L"");
      layout.GenerateAlignedFieldOffset();
      EXPECT_EQ(layout.GetFieldDescriptor(1)->GetDataOffset(), 4u + 100 * (wide ? 4 : 1));
    }
  }
}

TEST(XeRecordMetaData, RefusesRecordsBeyond32Bits) {
  const auto codeOf = [](auto call) {
    try {
      call();
    } catch (const ErrorMessage& message) {
      return message.GetCode();
    }
    return 0;
  };
  EXPECT_EQ(codeOf([] { XeRecordMetaData::GetByteLength(XeCharData, 1u << 30, true); }), 59173);
  EXPECT_EQ(codeOf([] { XeRecordMetaData::GetByteLength(XeVarBinaryData, UINT32_MAX, true); }),
            59173);
  XeRecordMetaData layout;
  for (int i = 0; i < 5; ++i) layout.AddField(XeBinaryData, 1u << 30, false, L"");
  EXPECT_EQ(codeOf([&] { layout.GenerateAlignedFieldOffset(); }), 59173);
}

TEST(XeFieldDescriptor, LeavesRoomForTheLongestTextOfAType) {
  const std::pair<XeDataType, std::string> longest[] = {
      {XeBitData, "1"},
      {XeBoolean, "false"},
      {XeInt1Data, std::to_string(INT8_MIN)},
      {XeUInt1Data, std::to_string(UINT8_MAX)},
      {XeInt2Data, std::to_string(INT16_MIN)},
      {XeUInt2Data, std::to_string(UINT16_MAX)},
      {XeInt4Data, std::to_string(INT32_MIN)},
      {XeUInt4Data, std::to_string(UINT32_MAX)},
      {XeFloatData, "-1.17549435e-38"},
      {XeDoubleData, "-2.2250738585072014e-308"},
      {XeDateData, "-4713-01-01"},
      {XeTimeData, "23:59:59.999999999"},
      {XeDateTimeData, "-4713-01-01 23:59:59.999999999"},
      {XeVarCharData, "1234567"},
      {XeBinaryData, "00112233445566"}};
  for (const auto& [type, text] : longest) {
    EXPECT_EQ(XeFieldDescriptor::GetTextLength(type, 7, 0), text.size()) << text;
  }
}

TEST(ExecutionParameter, ReadsItsFieldOfTheParameterRecord) {
  XeRecordMetaData layout;
  layout.SetFieldCount(2);
  layout.DescribleField(0, XeInt4Data, 4, false, 0, 0, L"", L"");
  layout.DescribleField(1, XeVarCharData, 7, true, 3, 0, L"", L"",
                        SUXeDataTypeUtility::kOverrideAsNarrowUTF8Code);
  layout.GenerateAlignedFieldOffset();
  std::vector<uint8> block(layout.GetBinaryRecordSize());
  const ExecutionParameter number(&layout, block.data(), 0);
  const ExecutionParameter text(&layout, block.data(), 1);

  EXPECT_EQ(number.GetDataValuePtr(), &block[layout.GetFieldDescriptor(0)->GetDataOffset()]);
  EXPECT_FALSE(number.GetParameterDataTypeInfo().nullable);
  const ParameterDataTypeInfo info = text.GetParameterDataTypeInfo();
  EXPECT_EQ(info.type, XeVarCharData);
  EXPECT_EQ(info.length, 7u);
  EXPECT_EQ(info.scale, 3);
  EXPECT_TRUE(info.nullable && info.narrow);
  EXPECT_EQ(text.GetNullValue(), 0);
  std::memset(block.data(), 1, 3);
  EXPECT_EQ(text.GetNullValue(), 1);
  EXPECT_EQ(number.GetNullValue(), 0);  // byte 0 means no indicator
}

template <class Character>
std::vector<uint8> Stored(XeDataType type, uint32 length,
                          const std::basic_string<Character>& text) {
  std::vector<uint8> bytes(type == XeCharData ? 0 : 4);
  const auto count = static_cast<uint32>(text.size());
  if (type != XeCharData) std::memcpy(bytes.data(), &count, 4);
  std::basic_string<Character> room = text;
  if (type == XeCharData) room.resize(length, Character(' '));
  const auto* from = reinterpret_cast<const uint8*>(room.data());
  bytes.insert(bytes.end(), from, from + room.size() * sizeof(Character));
  return bytes;
}

TEST(XeFieldConverter, ConvertsBetweenAllFormsOfText) {
  const struct {
    XeDataType from;
    uint32 fromLength;
    std::string text;
    XeDataType to;
    uint32 toLength;
    XeString expected;
  } kCases[] = {
      {XeCharData, 5, "abc", XeCharData, 5, L"abc  "},
      {XeCharData, 5, "abc", XeCharData, 7, L"abc    "},
      {XeCharData, 5, "abcde", XeCharData, 3, L"abc"},
      {XeCharData, 5, "a c", XeLongVarCharData, 5, L"a c"},
      {XeCharData, 5, "     ", XeLongVarCharData, 5, L""},
      {XeCharData, 6, std::string("ab\0cde", 6), XeLongVarCharData, 6, L"ab"},
      {XeVarCharData, 5, "ab  ", XeLongVarCharData, 5, L"ab  "},
      {XeLongVarCharData, 5, "abcde", XeVarCharData, 2, L"ab"},
      {XeVarCharData, 5, "ab", XeCharData, 4, L"ab  "},
      {XeVarCharData, 5, "", XeCharData, 2, L"  "},
      {XeVarCharData, 5, "", XeVarCharData, 0, L""},
      {XeVarCharData, 5, "\xE9", XeVarCharData, 5, L"\u00E9"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.text);
    XeString wideText;
    for (unsigned char byte : c.text) wideText += byte;
    for (bool narrow : {true, false}) {
      for (uint8 null : {0, 1}) {
        const std::vector<uint8> source =
            narrow ? Stored(c.from, c.fromLength, c.text) : Stored(c.from, c.fromLength, wideText);
        const XeString expected =
            null == 0 ? c.expected : XeString(c.to == XeCharData ? c.toLength : 0, L' ');
        std::vector<uint8> wanted = Stored(c.to, c.toLength, expected);
        wanted.insert(wanted.end(), 4, 0);
        std::vector<uint8> target(4 * (c.toLength + 2), 0xAA);
        const XeFieldConverter converter(c.from, c.fromLength, narrow, c.to, c.toLength);
        converter.Convert(source.data(), null, target.data());
        EXPECT_TRUE(std::equal(wanted.begin(), wanted.end(), target.begin()));
        for (std::size_t i = wanted.size(); i < target.size(); ++i) ASSERT_EQ(target[i], 0xAA);
      }
    }
  }
}

}  // namespace
}  // namespace sqxer
