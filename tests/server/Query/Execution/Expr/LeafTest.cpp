// Columns, constants and parameters: every stored type, at its boundary values.
#include <map>

#include "SQXERExprArithmetic.h"
#include "SQXERExprCase2.h"
#include "SQXERExprCast.h"
#include "SQXERExprConstant.h"
#include "SQXERExprExtract.h"
#include "SQXERExprFunction.h"
#include "SQXERExprIn.h"
#include "SQXERExprLike.h"
#include "SQXERExprLogical.h"
#include "SQXERExprParam.h"
#include "support/Asserts.h"
#include "support/BoundaryValues.h"
#include "support/TestRecord.h"

namespace sqxer::test {
namespace {

using Readers = std::map<XeDataType, std::pair<XeDataType, XeString>>;
/// What reads a stored type as an operand, and the type that it gives.
// clang-format off
const Readers kOperands = {
    {Bit, {Bit, L"Bit"}}, {Bool, {Bool, L"Boolean"}}, {Int1, {Int4, L"Int32"}},
    {UInt1, {Int4, L"Int32"}}, {Int2, {Int4, L"Int32"}}, {UInt2, {Int4, L"Int32"}},
    {Int4, {Int4, L"Int32"}}, {UInt4, {UInt4, L"UInt32"}}, {Float, {Double, L"Float64"}},
    {Double, {Double, L"Float64"}}, {Numeric, {Numeric, L"Number"}}, {Date, {Date, L"Date"}},
    {Time, {Time, L"Time"}}, {DateTime, {DateTime, L"DateTime"}},
    {Stamp, {DateTime, L"DateTime"}}, {Span, {Span, L"Interval"}}, {Char, {Char, L"XeChar"}},
    {VarChar, {LongChar, L"LongVarXeChar"}}, {LongChar, {LongChar, L"LongVarXeChar"}},
    {Bin, {LongBin, L"Binary"}}, {VarBin, {LongBin, L"LongVarBinary"}},
    {LongBin, {LongBin, L"LongVarBinary"}}};
// clang-format on
/// What reads it as a root, where that is another.
const Readers kRoots = {{Int1, {Int1, L"Int8"}},      {UInt1, {UInt1, L"UInt8"}},
                        {Int2, {Int2, L"Int16"}},     {UInt2, {UInt2, L"UInt16"}},
                        {Float, {Float, L"Float32"}}, {Bin, {Bin, L"Binary"}}};

TEST(Extract, BindsAReaderOfEveryStoredType) {
  const auto length = [](XeDataType of) {
    const uint32 width = XeFieldDescriptor::GetObjectLength(of, 0);
    return width != 0 ? width : 6;
  };
  for (int type = Bit; type <= XeUnknown; ++type) {
    const auto stored = static_cast<XeDataType>(type);
    SCOPED_TRACE(stored);
    TestRecord record({{stored, length(stored), true, L"Column"}});
    if (!kOperands.contains(stored)) {
      ExpectError(59003, {SUXeDataTypeUtility::GetXeDataTypeName(stored)},
                  [&] { record.Bind(new Extract(0)); });
      continue;
    }
    for (const bool root : {false, true}) {
      const auto& readers = root && kRoots.contains(stored) ? kRoots : kOperands;
      const auto& [result, name] = readers.at(stored);
      record.SetNull(0, false);
      const auto node =
          root ? record.Bind(new Extract(L"cOLUMN")) : record.BindOperand(new Extract(0));
      EXPECT_EQ(NodeName(*node), L"Extract" + name);
      EXPECT_EQ(node->GetResultDataType(), result);
      EXPECT_EQ(record.info.objectLength_, length(result));
      EXPECT_TRUE(record.info.isNullable_);
      EXPECT_EQ(record.info.fieldName_, L"Column");
      record.SetNull(0);
      alignas(16) uint8 out[32] = {0x5A};
      EXPECT_EQ(node->Eval(out), kUnknown);
      EXPECT_EQ(out[0], 0x5A);
    }
  }
}

TEST(Extract, FindsFields) {
  TestRecord record({{Int4, 0, false, L"a"}, {Int4, 0, true, L"A"}});
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

Param Parameter(TestRecord& record) {
  return Param(ExecutionParameter(&record.layout(), record.buffer(), 0));
}

template <class Value>
void ExpectValue(RExpression& tree, const Value& expected) {
  const auto value = EvalAs<Value>(tree);
  EXPECT_TRUE(expected != expected ? *value != *value : value == expected)
      << NodeName(tree).c_str();
}

TEST(Leaves, Texts) {
  for (const auto& [type, length] : {std::pair{Char, 5u}, {VarChar, 5u}, {LongChar, 130u}}) {
    TestRecord record({{type, length}, {Int4, 0, false}});
    const auto longReader = Read<ExtractLongVarXeChar>(record, LongChar);
    const auto plainReader = Read<ExtractLongVarChar>(record, LongChar);
    for (const XeString& text : BoundaryTexts(length)) {
      // The rest of a longer text, in the place of which only the long reader writes a terminator.
      record.SetText(0, XeString(length, L'*')).SetText(0, text).Set(1, int32{-1});
      XeString stored = text;
      if (type == Char) stored.resize(length, L' ');
      EXPECT_EQ(EvalText(*plainReader), stored);
      EXPECT_TRUE(stored.size() == length ||
                  EvalAs<RefLongVarChar>(*plainReader)->buffer_[stored.size()] == L'*');
      EXPECT_EQ(EvalText(*longReader), stored);
      EXPECT_EQ(EvalAs<RefLongVarChar>(*longReader)->buffer_[stored.size()], L'\0');
      EXPECT_EQ(record.Get<int32>(1), -1) << "the terminator has its own room";
      EXPECT_EQ(EvalText(*record.BindOperand(new Extract(0))), stored);

      auto param = Parameter(record);
      record.SetText(0, L"new");
      EXPECT_EQ(EvalText(param), stored) << "a parameter is converted once";
      ConstantXeChar fixed(text);
      EXPECT_EQ(EvalText(fixed), text);
      const auto constant = record.BindOperand(new ConstantLongVarXeChar(text));
      EXPECT_EQ(EvalText(*constant), text);
      EXPECT_EQ(record.info.objectLength_, text.size());
    }
  }
  TestRecord narrow({{VarChar, 4}}, false);
  narrow.Set(0, uint32{2});
  std::memcpy(narrow.data(0) + kLongVarPrefix, "hi", 2);
  auto param = Parameter(narrow);
  EXPECT_EQ(EvalText(param), L"hi");
}

TEST(Leaves, Binaries) {
  for (const XeDataType type : {Bin, VarBin, LongBin}) {
    TestRecord record({{type, 4}});
    record.SetText(0, L"\x01\xFF");
    auto param = Parameter(record);
    const auto column = record.BindOperand(new Extract(0));
    const auto value = EvalAs<RefLongVarBinary>(type == Bin ? *column : param);
    EXPECT_EQ(value->length_, type == Bin ? 4u : 2u);
    EXPECT_EQ(value->buffer_, EvalAs<RefLongVarBinary>(*column)->buffer_);
    EXPECT_EQ(value->buffer_, record.data(0) + (type == Bin ? 0 : kLongVarPrefix));
    if (type != Bin) continue;
    EXPECT_EQ(EvalAs<uint8*>(*record.Bind(new Extract(0))), record.data(0));
    EXPECT_EQ(EvalAs<uint8*>(param), record.data(0));
  }
}

TEST(Extract, ReadersOverOtherTypesThanTheirOwn) {
  TestRecord dates({{Date}}), times({{Time}}), integer({{Int4}});
  dates.Set(0, XeDate(2012, 2, 29));
  ExpectValue(*Read<ExtractDateTime>(dates, DateTime), XeDateTime(2012, 2, 29));
  // Over a time the output keeps its day, and the fraction is dropped.
  times.Set(0, XeTime(23, 59, 58, 999999999));
  XeDateTime out(2001, 2, 3, 4, 5, 6, 7);
  EXPECT_EQ(Read<ExtractDateTime>(times, DateTime)->Eval(&out), kTrue);
  EXPECT_EQ(out, XeDateTime(2001, 2, 3, 23, 59, 58, 0));
  // As a parameter each is a point in time.
  auto day = Parameter(dates), time = Parameter(times);
  ExpectValue(day, XeDateTime(2012, 2, 29));
  ExpectValue(time, XeDateTime(1900, 1, 1, 23, 59, 58, 999999999));
  // A double field is taken for the bytes of a number.
  TestRecord record({{Double, 0, false}, {Numeric, 0, false}});
  record.SetNumber(1, -12.5);
  const XeFieldDescriptorRef& field = record.layout().GetFieldDescriptor(0);
  ExtractNumber reader(0, field, record.data(1), nullptr, Numeric);
  EXPECT_EQ(EvalAs<float64>(reader), -12.5);
  for (const XeDataType type : {Int1, UInt1, Int2, UInt2, Int4, UInt4, Float, Double}) {
    const float64 value = type == UInt1 || type == UInt2 || type == UInt4 ? 255 : -128;
    TestRecord number({{type}});
    number.SetNumber(0, value);
    EXPECT_EQ(EvalAs<float64>(*Read<ExtractFloat64>(number, Double)), value) << type;
  }
  ExpectBroken([&] { Read<ExtractUInt32>(integer, UInt4); });
  ExpectBroken([&] { Read<ExtractDateTime>(integer, DateTime); });
}

TEST(Constant, NullAndBit) {
  TestRecord record({});
  const auto null = record.BindOperand(new ConstantNull);
  EXPECT_TRUE(record.info.isNullable_);
  EXPECT_EQ(record.info.fieldName_, L"(Constant Null)");
  EXPECT_EQ(null->GetResultDataType(), Bool);
  EXPECT_EQ(EvalAs<uint8>(*null), std::nullopt);
  ExpectError(59003, {L"BIT"}, [&] { record.Bind(new ConstantBit(uint8{1})); });
}

/// What a text reads as: nothing when the scan fails.
template <class Node, class Value>
std::optional<Value> ReadAs(const wchar_t* text) {
  bool success = false;
  Node node(XeString(text), &success);
  const auto value = EvalAs<Value>(node);
  EXPECT_TRUE(success || value == Value{});
  return success ? value : std::nullopt;
}

TEST(ConstantFromText, ReadsANumberAtTheBeginning) {
  const struct {
    const wchar_t* text;
    std::optional<int32> int4;
    std::optional<uint32> uint4;
    std::optional<float64> real;
    std::optional<uint8> byte;
  } kCases[] = {
      {L"12abc", 12, 12u, 12.0, 12}, {L"  -1", -1, 4294967295u, -1.0, 255},
      {L"1.5e3", 1, 1u, 1500.0, 1},  {L"2147483647", 2147483647, 2147483647u, 2147483647.0, 255},
      {L"   ", 0, 0u, 0.0, 0},       {L"256", 256, 256u, 256.0, 0},
      {L"", 0, 0u, 0.0, 0},          {L"abc", {}, {}, {}, {}},
      {L"'1'", {}, {}, {}, {}},      {L".5", {}, {}, 0.5, {}}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ((ReadAs<ConstantInt32, int32>(c.text)), c.int4);
    EXPECT_EQ((ReadAs<ConstantUInt32, uint32>(c.text)), c.uint4);
    EXPECT_EQ((ReadAs<ConstantFloat64, float64>(c.text)), c.real);
    EXPECT_EQ((ReadAs<ConstantBit, uint8>(c.text)), c.byte);
    EXPECT_EQ((ReadAs<ConstantBoolean, uint8>(c.text)), c.byte);
  }
  // A decimal always reads.
  EXPECT_EQ((ReadAs<ConstantNumber, VelmarNumber>(L"-12.50")), VelmarNumber(-12.5));
  EXPECT_EQ((ReadAs<ConstantNumber, VelmarNumber>(L"abc")), VelmarNumber::zero);
}

TEST(Param, TextsTakeTheLengthOfTheirPartnerWhereTheyAreComparedOnly) {
  for (const XeDataType type : {Char, VarChar}) {
    TestRecord record({{type, 3}, {LongChar, 1}});
    record.SetText(0, L"cde").SetText(1, L"c");
    const auto param = [&] { return new Param(Parameter(record)); };
    const auto concat = record.Bind(new Concat(new ConstantXeChar(L"ab"), param()));
    EXPECT_EQ(EvalText(*concat), L"abcde");
    EXPECT_EQ(record.info.objectLength_, 5u);
    const auto between = record.Bind(
        new Between(new ConstantLongVarXeChar(L"cdd"), new ConstantXeChar(L"a"), param()));
    EXPECT_EQ(EvalAs<uint8>(*between), 1);
    const auto equal = record.Bind(new EQ(new Extract(1), param()));
    EXPECT_EQ(EvalAs<uint8>(*equal), type == Char);
  }
}

TEST(Param, ABlockThatIsUsedAgainGivesAllOfItsValues) {
  TestRecord texts({{VarChar, 3}}), numbers({{Int4}});
  texts.SetText(0, L"a%");
  numbers.Set(0, int32{1});
  const auto text = [&] { return new Param(Parameter(texts)); };
  const auto list = texts.Bind(new Concat(
      text(), new Concat(text(), new Cast(new Param(Parameter(numbers)), XeCharData, 1, 0, L""))));
  EXPECT_EQ(EvalText(*list), L"a%a%1");
  EXPECT_EQ(texts.info.paramExpressions_.size(), 3u);
  const auto like = texts.Bind(new Like(new ConstantLongVarXeChar(L"abc"), text()));
  EXPECT_EQ(EvalAs<uint8>(*like), 1);

  texts.SetText(0, L"b");
  numbers.Set(0, int32{2});
  for (RExpression* tree : {list.get(), like.get()}) TakeParametersAgain(*tree);
  EXPECT_EQ(EvalText(*list), L"bb2");
  EXPECT_EQ(EvalAs<uint8>(*like), 0);
}

TEST(Param, IsListedByWhoeverBindsIt) {
  TestRecord block({{Int4}});
  const auto param = [&] { return new Param(Parameter(block)); };
  RExpression* const trees[] = {
      param(),
      new UnaryMinus(param()),
      new Add(new ConstantInt32(1), param()),
      new IsNull(param()),
      new Coalesce({param(), new ConstantInt32(1)}),
      new In(param(), {new ConstantInt32(1)}, {}, false),
      new Abs(new Cast(param(), XeDoubleData, 8, 0, L"")),
      new LogicalNot(new EQ(param(), new ConstantFloat64(1))),
  };
  for (RExpression* tree : trees) {
    SCOPED_TRACE(NodeName(*tree).c_str());
    const auto bound = block.Bind(tree);
    ASSERT_EQ(block.info.paramExpressions_.size(), 1u);
    EXPECT_EQ(block.info.paramExpressions_[0]->GetExpressionType(), kParamExpression);
    ASSERT_EQ(block.info.paramDescriptorArray_.size(), 1u);
    EXPECT_EQ(block.info.paramDescriptorArray_[0], block.layout().GetFieldDescriptor(0));
  }
}

}  // namespace
}  // namespace sqxer::test
