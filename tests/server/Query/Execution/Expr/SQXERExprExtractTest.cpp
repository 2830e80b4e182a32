#include <gtest/gtest.h>

#include "SQXERExprExtract.h"
#include "support/Asserts.h"
#include "support/BoundaryValues.h"
#include "support/TestRecord.h"

namespace sqxer::test {
namespace {

/// The readers of a stored type, as an operand and as a root, and the types that they give.
struct ReaderCase {
  XeDataType stored;
  const wchar_t* operand;
  XeDataType operandType;
  const wchar_t* root;
  XeDataType rootType;
};
constexpr auto kLongChar = XeLongVarCharData, kLongBinary = XeLongVarBinaryData;
const ReaderCase kReaders[] = {
    {XeBitData, L"ExtractBit", XeBitData, L"ExtractBit", XeBitData},
    {XeCharData, L"ExtractXeChar", XeCharData, L"ExtractXeChar", XeCharData},
    {XeVarCharData, L"ExtractLongVarXeChar", kLongChar, L"ExtractLongVarXeChar", kLongChar},
    {kLongChar, L"ExtractLongVarXeChar", kLongChar, L"ExtractLongVarXeChar", kLongChar},
    {XeBinaryData, L"ExtractBinary", kLongBinary, L"ExtractBinary", XeBinaryData},
    {XeVarBinaryData, L"ExtractLongVarBinary", kLongBinary, L"ExtractLongVarBinary", kLongBinary},
    {kLongBinary, L"ExtractLongVarBinary", kLongBinary, L"ExtractLongVarBinary", kLongBinary},
    {XeInt1Data, L"ExtractInt32", XeInt4Data, L"ExtractInt8", XeInt1Data},
    {XeUInt1Data, L"ExtractInt32", XeInt4Data, L"ExtractUInt8", XeUInt1Data},
    {XeInt2Data, L"ExtractInt32", XeInt4Data, L"ExtractInt16", XeInt2Data},
    {XeUInt2Data, L"ExtractInt32", XeInt4Data, L"ExtractUInt16", XeUInt2Data},
    {XeInt4Data, L"ExtractInt32", XeInt4Data, L"ExtractInt32", XeInt4Data},
    {XeUInt4Data, L"ExtractUInt32", XeUInt4Data, L"ExtractUInt32", XeUInt4Data},
    {XeFloatData, L"ExtractFloat64", XeDoubleData, L"ExtractFloat32", XeFloatData},
    {XeDoubleData, L"ExtractFloat64", XeDoubleData, L"ExtractFloat64", XeDoubleData},
    {XeNumericData, L"ExtractNumber", XeNumericData, L"ExtractNumber", XeNumericData},
    {XeDateData, L"ExtractDate", XeDateData, L"ExtractDate", XeDateData},
    {XeTimeData, L"ExtractTime", XeTimeData, L"ExtractTime", XeTimeData},
    {XeDateTimeData, L"ExtractDateTime", XeDateTimeData, L"ExtractDateTime", XeDateTimeData},
    {XeTimeStampData, L"ExtractDateTime", XeDateTimeData, L"ExtractDateTime", XeDateTimeData},
    {XeBoolean, L"ExtractBoolean", XeBoolean, L"ExtractBoolean", XeBoolean},
};

TEST(Extract, BindsAReaderOfEveryStoredType) {
  for (int type = XeBitData; type <= XeUnknown; ++type) {
    const auto stored = static_cast<XeDataType>(type);
    const XeString name = SUXeDataTypeUtility::GetXeDataTypeName(stored);
    SCOPED_TRACE(name.c_str());
    const auto length = [](XeDataType of) {
      const uint32 width = XeFieldDescriptor::GetObjectLength(of, 0);
      return width != 0 ? width : 6;
    };
    TestRecord record({{stored, length(stored), true, L"Column"}});
    const auto* expected =
        std::find_if(std::begin(kReaders), std::end(kReaders),
                     [&](const ReaderCase& entry) { return entry.stored == stored; });
    if (expected == std::end(kReaders)) {
      ExpectError(59003, {name}, [&] { record.Bind(new Extract(0)); });
      continue;
    }
    const MetaDataInfo& info = record.info;
    const auto operand = record.BindOperand(new Extract(L"cOLUMN"));
    EXPECT_EQ(NodeName(*operand), expected->operand);
    EXPECT_EQ(operand->GetResultDataType(), expected->operandType);
    EXPECT_EQ(info.objectLength_, length(expected->operandType));
    EXPECT_TRUE(info.isNullable_);
    EXPECT_EQ(info.fieldName_, L"Column");

    const auto root = record.Bind(new Extract(0));
    EXPECT_EQ(NodeName(*root), expected->root);
    EXPECT_EQ(root->GetResultDataType(), expected->rootType);
    EXPECT_EQ(info.objectLength_, length(expected->rootType));

    record.SetNull(0);
    alignas(16) uint8 out[32] = {0x5A};
    EXPECT_EQ(root->Eval(out), kUnknown);
    EXPECT_EQ(operand->Eval(out), kUnknown);
    EXPECT_EQ(out[0], 0x5A);
  }
}

TEST(Extract, FindsFields) {
  TestRecord record({{XeInt4Data, 0, false, L"a"}, {XeInt4Data, 0, true, L"A"}});
  const auto first = record.Bind(new Extract(L"A"));
  EXPECT_EQ(dynamic_cast<Extract&>(*first).GetFieldIndex(), 0);
  EXPECT_FALSE(record.info.isNullable_);
  // A field without an indicator is never NULL, whatever stands in the record's first byte.
  record.Set(0, int32{7});
  record.buffer()[0] = 1;
  EXPECT_EQ(EvalAs<int32>(*first), 7);

  ExpectError(59015, {L"b"}, [&] { record.Bind(new Extract(L"b")); });
  ExpectError(59014, {}, [&] { record.Bind(new Extract(2)); });
  ExpectError(46030, {L"-2", L"2"}, [&] { record.Bind(new Extract(-2)); });
}

/// A typed reader made by hand over field 0 of a record.
template <class Reader>
std::unique_ptr<RExpression> Read(TestRecord& record, XeDataType result) {
  return std::make_unique<Reader>(0, record.layout().GetFieldDescriptor(0), record.data(0),
                                  record.nullByte(0), result);
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
      const bool nan = value != value;
      EXPECT_TRUE(nan ? *read != *read : read == Computed(value));
      EXPECT_TRUE(nan ? *whole != *whole : whole == value);
      if constexpr (std::is_arithmetic_v<Stored> && !std::is_same_v<Stored, bool>) {
        const auto real = EvalAs<float64>(*Read<ExtractFloat64>(record, XeDoubleData));
        EXPECT_TRUE(nan ? *real != *real : real == static_cast<float64>(value));
      }
    }
  }
}

TEST(Extract, ReadsBoundaryValuesOfFixedTypes) {
  ExpectRoundTrip<int8, int32>(XeInt1Data);
  ExpectRoundTrip<uint8, int32>(XeUInt1Data);
  ExpectRoundTrip<int16, int32>(XeInt2Data);
  ExpectRoundTrip<uint16, int32>(XeUInt2Data);
  ExpectRoundTrip<int32, int32>(XeInt4Data);
  ExpectRoundTrip<uint32, uint32>(XeUInt4Data);
  ExpectRoundTrip<float32, float64>(XeFloatData);
  ExpectRoundTrip<float64, float64>(XeDoubleData);
  ExpectRoundTrip<VelmarNumber, VelmarNumber>(XeNumericData);
  for (const XeDataType type : {XeBitData, XeBoolean}) ExpectRoundTrip<bool, bool>(type);
  ExpectRoundTrip<XeDate, XeDate>(XeDateData);
  ExpectRoundTrip<XeTime, XeTime>(XeTimeData);
  for (const XeDataType type : {XeDateTimeData, XeTimeStampData}) {
    ExpectRoundTrip<XeDateTime, XeDateTime>(type);
  }
}

TEST(Extract, ReadsTexts) {
  for (const XeDataType type : {XeCharData, XeVarCharData, XeLongVarCharData}) {
    TestRecord record({{type, 5}, {XeInt4Data, 0, false}});
    const auto column = record.BindOperand(new Extract(0));
    const auto longReader = Read<ExtractLongVarXeChar>(record, XeLongVarCharData);
    const auto plainReader = Read<ExtractLongVarChar>(record, XeLongVarCharData);
    for (const XeString& text : BoundaryTexts(5)) {
      // The rest of a longer text, in the place of which only the long reader writes a terminator.
      record.SetText(0, L"*****").SetText(0, text).Set(1, int32{-1});
      XeString stored = text;
      if (type == XeCharData) stored.resize(5, L' ');
      EXPECT_EQ(EvalText(*plainReader), stored);
      if (text.size() < 5 && type != XeCharData) {
        EXPECT_EQ(EvalAs<RefLongVarChar>(*plainReader)->buffer_[text.size()], L'*');
      }
      EXPECT_EQ(EvalText(*column), stored);
      const auto value = EvalAs<RefLongVarChar>(*longReader);
      EXPECT_EQ(XeString(value->buffer_, value->length_), stored);
      EXPECT_EQ(value->buffer_[value->length_], L'\0');
      EXPECT_EQ(record.Get<int32>(1), -1) << "the terminator has its own room";
    }
  }
}

TEST(Extract, ReadsBinaries) {
  for (const XeDataType type : {XeBinaryData, XeVarBinaryData, XeLongVarBinaryData}) {
    TestRecord record({{type, 4}});
    record.SetText(0, L"\x01\xFF");
    const auto value = EvalAs<RefLongVarBinary>(*record.BindOperand(new Extract(0)));
    EXPECT_EQ(value->length_, type == XeBinaryData ? 4u : 2u);
    EXPECT_EQ(value->buffer_, record.data(0) + (type == XeBinaryData ? 0 : kLongVarPrefix));
  }
  TestRecord record({{XeBinaryData, 4}});
  EXPECT_EQ(EvalAs<uint8*>(*record.Bind(new Extract(0))), record.data(0));
}

TEST(Extract, ReadersOverOtherTypesThanTheirOwn) {
  TestRecord dates({{XeDateData}}), times({{XeTimeData}});
  dates.Set(0, XeDate(2012, 2, 29));
  EXPECT_EQ(EvalAs<XeDateTime>(*Read<ExtractDateTime>(dates, XeDateTimeData)),
            XeDateTime(2012, 2, 29));
  // Over a time the output keeps its day, and the fraction is dropped.
  times.Set(0, XeTime(23, 59, 58, 999999999));
  XeDateTime out(2001, 2, 3, 4, 5, 6, 7);
  EXPECT_EQ(Read<ExtractDateTime>(times, XeDateTimeData)->Eval(&out), kTrue);
  EXPECT_EQ(out, XeDateTime(2001, 2, 3, 23, 59, 58, 0));
  // A double field is taken for the bytes of a number.
  TestRecord record({{XeDoubleData, 0, false}, {XeNumericData, 0, false}});
  record.SetNumber(1, -12.5);
  const XeFieldDescriptorRef& field = record.layout().GetFieldDescriptor(0);
  ExtractNumber reader(0, field, record.data(1), nullptr, XeNumericData);
  EXPECT_EQ(EvalAs<float64>(reader), -12.5);

  TestRecord integer({{XeInt4Data}});
  ExpectBroken([&] { Read<ExtractUInt32>(integer, XeUInt4Data); });
  ExpectBroken([&] { Read<ExtractDateTime>(integer, XeDateTimeData); });
  ExpectBroken([&] { Extract(0).Eval(record.buffer()); });
}

}  // namespace
}  // namespace sqxer::test
