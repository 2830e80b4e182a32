#include <gtest/gtest.h>

#include "SQXERExprExtract.h"
#include "support/Asserts.h"
#include "support/BoundaryValues.h"
#include "support/TestRecord.h"

namespace sqxer::test {
namespace {

struct ReaderCase {
  XeDataType stored;
  const wchar_t* operand;
  XeDataType operandType;
  uint32 operandLength;
  const wchar_t* root;
  XeDataType rootType;
  uint32 rootLength;
};

constexpr uint32 kDeclared = 6;
const ReaderCase kReaders[] = {
    {XeBitData, L"ExtractBit", XeBitData, 1, L"ExtractBit", XeBitData, 1},
    {XeCharData, L"ExtractXeChar", XeCharData, 6, L"ExtractXeChar", XeCharData, 6},
    {XeVarCharData, L"ExtractLongVarXeChar", XeLongVarCharData, 6, L"ExtractLongVarXeChar",
     XeLongVarCharData, 6},
    {XeLongVarCharData, L"ExtractLongVarXeChar", XeLongVarCharData, 6, L"ExtractLongVarXeChar",
     XeLongVarCharData, 6},
    {XeBinaryData, L"ExtractBinary", XeLongVarBinaryData, 6, L"ExtractBinary", XeBinaryData, 6},
    {XeVarBinaryData, L"ExtractLongVarBinary", XeLongVarBinaryData, 6, L"ExtractLongVarBinary",
     XeLongVarBinaryData, 6},
    {XeLongVarBinaryData, L"ExtractLongVarBinary", XeLongVarBinaryData, 6, L"ExtractLongVarBinary",
     XeLongVarBinaryData, 6},
    {XeInt1Data, L"ExtractInt32", XeInt4Data, 4, L"ExtractInt8", XeInt1Data, 1},
    {XeUInt1Data, L"ExtractInt32", XeInt4Data, 4, L"ExtractUInt8", XeUInt1Data, 1},
    {XeInt2Data, L"ExtractInt32", XeInt4Data, 4, L"ExtractInt16", XeInt2Data, 2},
    {XeUInt2Data, L"ExtractInt32", XeInt4Data, 4, L"ExtractUInt16", XeUInt2Data, 2},
    {XeInt4Data, L"ExtractInt32", XeInt4Data, 4, L"ExtractInt32", XeInt4Data, 4},
    {XeUInt4Data, L"ExtractUInt32", XeUInt4Data, 4, L"ExtractUInt32", XeUInt4Data, 4},
    {XeFloatData, L"ExtractFloat64", XeDoubleData, 8, L"ExtractFloat32", XeFloatData, 4},
    {XeDoubleData, L"ExtractFloat64", XeDoubleData, 8, L"ExtractFloat64", XeDoubleData, 8},
    {XeNumericData, L"ExtractNumber", XeNumericData, sizeof(VelmarNumber), L"ExtractNumber",
     XeNumericData, sizeof(VelmarNumber)},
    {XeDateData, L"ExtractDate", XeDateData, 6, L"ExtractDate", XeDateData, 6},
    {XeTimeData, L"ExtractTime", XeTimeData, 12, L"ExtractTime", XeTimeData, 12},
    {XeDateTimeData, L"ExtractDateTime", XeDateTimeData, 16, L"ExtractDateTime", XeDateTimeData,
     16},
    {XeTimeStampData, L"ExtractDateTime", XeDateTimeData, 16, L"ExtractDateTime", XeDateTimeData,
     16},
    {XeBoolean, L"ExtractBoolean", XeBoolean, 1, L"ExtractBoolean", XeBoolean, 1},
};

uint32 LengthOf(XeDataType type) {
  return XeFieldDescriptor::GetObjectLength(type, 0) == 0 ? kDeclared : 0;
}

TEST(ExtractBind, EveryStoredType) {
  for (int type = XeBitData; type <= XeUnknown; ++type) {
    const auto stored = static_cast<XeDataType>(type);
    SCOPED_TRACE(SUXeDataTypeUtility::GetXeDataTypeName(stored).c_str());
    TestRecord record({{stored, LengthOf(stored), true, L"Column"}});
    const auto* expected =
        std::find_if(std::begin(kReaders), std::end(kReaders),
                     [&](const ReaderCase& entry) { return entry.stored == stored; });
    if (expected == std::end(kReaders)) {
      ExpectError(59003, {SUXeDataTypeUtility::GetXeDataTypeName(stored)},
                  [&] { record.Bind(new Extract(0)); });
      continue;
    }
    MetaDataInfo info;
    const auto operand = record.BindOperand(new Extract(L"cOLUMN", true), &info);
    EXPECT_EQ(NodeName(*operand), expected->operand);
    EXPECT_EQ(operand->GetResultDataType(), expected->operandType);
    EXPECT_EQ(info.objectLength_, expected->operandLength);
    EXPECT_TRUE(info.isNullable_);
    EXPECT_EQ(info.fieldName_, L"Column");
    EXPECT_TRUE(dynamic_cast<Extract&>(*operand).IsGrandTotalExpr());
    EXPECT_EQ(dynamic_cast<Extract&>(*operand).GetFieldIndex(), 0);

    const auto root = record.Bind(new Extract(0), &info);
    EXPECT_EQ(NodeName(*root), expected->root);
    EXPECT_EQ(root->GetResultDataType(), expected->rootType);
    EXPECT_EQ(info.objectLength_, expected->rootLength);

    record.SetNull(0);
    alignas(16) uint8 out[32] = {0x5A};
    EXPECT_EQ(root->Eval(out), kUnknown);
    EXPECT_EQ(operand->Eval(out), kUnknown);
    EXPECT_EQ(out[0], 0x5A);
  }
}

TEST(ExtractBind, FindsFields) {
  TestRecord record({{XeInt4Data, 0, false, L"a"}, {XeInt4Data, 0, true, L"A"}});
  MetaDataInfo info;
  const auto first = record.Bind(new Extract(L"A"), &info);
  EXPECT_EQ(dynamic_cast<Extract&>(*first).GetFieldIndex(), 0);
  EXPECT_FALSE(info.isNullable_);
  // A field without an indicator is never NULL, whatever stands in the record's first byte.
  record.Set(0, int32{7});
  record.buffer()[0] = 1;
  EXPECT_EQ(EvalAs<int32>(*first), 7);

  ExpectError(59015, {L"b"}, [&] { record.Bind(new Extract(L"b")); });
  ExpectError(59014, {}, [&] { record.Bind(new Extract(2)); });
  ExpectError(46030, {L"-2", L"2"}, [&] { record.Bind(new Extract(-2)); });
}

/// Stores each boundary value and reads it back, as an operand of the given type and as a root.
template <class Stored, class Computed>
void ExpectRoundTrip(XeDataType type) {
  for (const bool nullable : {false, true}) {
    TestRecord record({{type, 0, nullable}});
    const auto operand = record.BindOperand(new Extract(0));
    const auto root = record.Bind(new Extract(0));
    for (const Stored& value : BoundaryValues<Stored>()) {
      record.Set(0, value);
      const auto read = EvalAs<Computed>(*operand);
      const auto whole = EvalAs<Stored>(*root);
      ASSERT_TRUE(read && whole);
      const Computed widened(value);
      if (widened == widened) {
        EXPECT_EQ(*read, widened);
        EXPECT_EQ(*whole, value);
      } else {
        EXPECT_NE(*read, *read);  // NaN
        EXPECT_NE(*whole, *whole);
      }
    }
  }
}

TEST(ExtractEval, BoundaryValuesOfFixedTypes) {
  ExpectRoundTrip<int8, int32>(XeInt1Data);
  ExpectRoundTrip<uint8, int32>(XeUInt1Data);
  ExpectRoundTrip<int16, int32>(XeInt2Data);
  ExpectRoundTrip<uint16, int32>(XeUInt2Data);
  ExpectRoundTrip<int32, int32>(XeInt4Data);
  ExpectRoundTrip<uint32, uint32>(XeUInt4Data);
  ExpectRoundTrip<float32, float64>(XeFloatData);
  ExpectRoundTrip<float64, float64>(XeDoubleData);
  ExpectRoundTrip<VelmarNumber, VelmarNumber>(XeNumericData);
  ExpectRoundTrip<bool, bool>(XeBitData);
  ExpectRoundTrip<bool, bool>(XeBoolean);
  ExpectRoundTrip<XeDate, XeDate>(XeDateData);
  ExpectRoundTrip<XeTime, XeTime>(XeTimeData);
  ExpectRoundTrip<XeDateTime, XeDateTime>(XeDateTimeData);
  ExpectRoundTrip<XeDateTime, XeDateTime>(XeTimeStampData);
}

/// A typed reader made by hand over field 0 of a record.
template <class Reader>
std::unique_ptr<RExpression> Read(TestRecord& record, XeDataType result) {
  return std::make_unique<Reader>(0, record.layout().GetFieldDescriptor(0), record.data(0),
                                  record.nullByte(0), result);
}

TEST(ExtractEval, DoubleReaderWidensEveryNumber) {
  for (const XeDataType type : {XeInt1Data, XeUInt1Data, XeInt2Data, XeUInt2Data, XeInt4Data,
                                XeUInt4Data, XeFloatData, XeDoubleData}) {
    const bool isUnsigned = type == XeUInt1Data || type == XeUInt2Data || type == XeUInt4Data;
    TestRecord record({{type}});
    const auto reader = Read<ExtractFloat64>(record, XeDoubleData);
    // All bits of the sign and of the value, so that a reader of another width shows.
    record.SetNumber(0, isUnsigned ? 200 : -100);
    EXPECT_EQ(EvalAs<float64>(*reader), isUnsigned ? 200 : -100) << type;
    record.SetNull(0);
    EXPECT_EQ(EvalAs<float64>(*reader), std::nullopt);
  }
}

TEST(ExtractEval, Texts) {
  for (const XeDataType type : {XeCharData, XeVarCharData, XeLongVarCharData}) {
    TestRecord record({{type, 5}, {XeInt4Data, 0, false}});
    const auto column = record.BindOperand(new Extract(0));
    const auto longReader = Read<ExtractLongVarXeChar>(record, XeLongVarCharData);
    const auto plainReader = Read<ExtractLongVarChar>(record, XeLongVarCharData);
    for (const XeString& text : BoundaryTexts(5)) {
      record.SetText(0, text).Set(1, int32{-1});
      XeString stored = text;
      if (type == XeCharData) stored.resize(5, L' ');
      EXPECT_EQ(EvalText(*column), stored);
      EXPECT_EQ(EvalText(*plainReader), stored);
      const auto value = EvalAs<RefLongVarChar>(*longReader);
      ASSERT_TRUE(value);
      EXPECT_EQ(XeString(value->buffer_, value->length_), stored);
      EXPECT_EQ(value->buffer_[value->length_], L'\0');
      EXPECT_EQ(record.Get<int32>(1), -1) << "the terminator has its own room";
    }
  }
}

TEST(ExtractEval, OnlyTheLongReaderWritesATerminator) {
  TestRecord record({{XeVarCharData, 5}});
  record.SetText(0, L"abcde").SetText(0, L"xy");
  const auto plain = Read<ExtractVarXeChar>(record, XeLongVarCharData);
  EXPECT_EQ(EvalText(*plain), L"xy");
  const auto* characters = reinterpret_cast<const wchar_t*>(record.data(0) + kLongVarPrefix);
  EXPECT_EQ(characters[2], L'c');
  EXPECT_EQ(EvalText(*Read<ExtractLongVarXeChar>(record, XeLongVarCharData)), L"xy");
  EXPECT_EQ(characters[2], L'\0');
}

TEST(ExtractEval, Binaries) {
  for (const XeDataType type : {XeBinaryData, XeVarBinaryData, XeLongVarBinaryData}) {
    TestRecord record({{type, 4}});
    record.SetText(0, L"\x01\xFF");
    const uint8* bytes = record.data(0) + (type == XeBinaryData ? 0 : kLongVarPrefix);
    for (const auto& reader : {record.BindOperand(new Extract(0)).release(),
                               Read<ExtractLongVarBinary>(record, XeLongVarBinaryData).release()}) {
      const std::unique_ptr<RExpression> owner(reader);
      const auto value = EvalAs<RefLongVarBinary>(*reader);
      ASSERT_TRUE(value);
      EXPECT_EQ(value->length_, type == XeBinaryData ? 4u : 2u);
      EXPECT_EQ(value->buffer_, bytes);
    }
  }
  TestRecord record({{XeBinaryData, 4}});
  EXPECT_EQ(EvalAs<uint8*>(*record.Bind(new Extract(0))), record.data(0));
}

TEST(ExtractEval, DateTimeReaderOverDatesAndTimes) {
  TestRecord dates({{XeDateData}});
  dates.Set(0, XeDate(2012, 2, 29));
  EXPECT_EQ(EvalAs<XeDateTime>(*Read<ExtractDateTime>(dates, XeDateTimeData)),
            XeDateTime(2012, 2, 29));
  // Over a time the output keeps its day, and the fraction is dropped.
  TestRecord times({{XeTimeData}});
  times.Set(0, XeTime(23, 59, 58, 999999999));
  XeDateTime out(2001, 2, 3, 4, 5, 6, 7);
  EXPECT_EQ(Read<ExtractDateTime>(times, XeDateTimeData)->Eval(&out), kTrue);
  EXPECT_EQ(out, XeDateTime(2001, 2, 3, 23, 59, 58, 0));
}

TEST(ExtractEval, NumberReaderTakesTheBytesOfADoubleFieldForANumber) {
  TestRecord record({{XeDoubleData, 0, false}, {XeNumericData, 0, false}});
  const auto number = VelmarNumber::stringAsNumber(L"-12.5", 5);
  record.Set(1, number);
  const XeFieldDescriptorRef& field = record.layout().GetFieldDescriptor(0);
  ExtractNumber reader(0, field, record.data(1), nullptr, XeNumericData);
  EXPECT_EQ(EvalAs<float64>(reader), -12.5);
}

TEST(ExtractEval, ForeignStoredTypesAndUnboundColumnsAreBroken) {
  TestRecord record({{XeInt4Data}});
  ExpectBroken([&] { Read<ExtractUInt32>(record, XeUInt4Data); });
  ExpectBroken([&] { Read<ExtractInt16>(record, XeInt2Data); });
  ExpectBroken([&] { Read<ExtractLongVarXeChar>(record, XeLongVarCharData); });
  ExpectBroken([&] { Read<ExtractDateTime>(record, XeDateTimeData); });
  Extract unbound(0);
  int32 value = 0;
  ExpectBroken([&] { unbound.Eval(&value); });
}

}  // namespace
}  // namespace sqxer::test
