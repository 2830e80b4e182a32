#include "OperatorOverStubs.h"
#include "SQXERExprCast.h"
#include "SQXERExprConstant.h"
#include "SQXERExprExtract.h"

namespace sqxer::test {
namespace {

constexpr int kPosition = 7;

template <class Value>
RExpression* Of(XeDataType type, const Value& value) {
  return new Stub<Value>(type, value);
}

std::unique_ptr<RExpression> BoundCast(RExpression* operand, XeDataType to, int precision = 0,
                                       const XeString& format = {}) {
  auto* cast = new Cast(operand, to, precision, 0, format);
  cast->SetSourcePosition(kPosition);
  return Bound(cast);
}

TEST(Cast, BinariesAreCutAndFilled) {
  uint8 bytes[] = {1, 2, 3};
  const auto fixed = BoundCast(Of(LongBin, RefLongVarBinary{3, bytes}), Bin, 5);
  EXPECT_EQ(std::memcmp(*EvalAs<uint8*>(*fixed), "\1\2\3\0", 5), 0);
  for (const int length : {2, 5}) {
    const auto cut = BoundCast(new Stub<uint8*>(Bin, bytes, kTrue, 3), LongBin, length);
    EXPECT_EQ(EvalAs<RefLongVarBinary>(*cut)->length_, static_cast<uint32>(std::min(length, 3)));
  }
}

TEST(Cast, OfATextGivesATimestampToAParentThatAsksForOne) {
  // A parent that computes in date-times may say so after the binding.
  for (const XeDataType from : {Char, LongChar}) {
    TestRecord record({{from, 12}});
    const auto cast = record.Bind(new Cast(new Extract(0), Date, 0, 0, L"DD.MM.YYYY"));
    record.SetText(0, L"01.02.2012");
    cast->SetResultDataType(DateTime);
    EXPECT_EQ(EvalAs<XeDateTime>(*cast), XeDateTime(2012, 2, 1));
  }
}

/// A constant that counts its evaluations.
struct CountedConstant : Stub<int32> {
  using Stub::Stub;
  RExprType GetExpressionType() override { return kConstantExpression; }
};

TEST(Cast, AConstantIsConvertedOnce) {
  for (const RExprReturn status : {kTrue, kUnknown}) {
    auto* constant = new CountedConstant(Int4, 5, status);
    const auto cast = BoundCast(constant, Double);
    for (int rows = 0; rows < 3; ++rows) {
      EXPECT_EQ(EvalAs<float64>(*cast), status == kTrue ? std::optional(5.0) : std::nullopt);
    }
    EXPECT_EQ(constant->evaluations_, 1);
  }
}

TEST(Cast, TakesExactlyTheseOperands) {
  const std::set<XeDataType> texts = {Char, LongChar}, numbers = {Int4, UInt4, Double, Numeric};
  const auto with = [](std::set<XeDataType> a, std::set<XeDataType> b) {
    a.merge(b);
    return a;
  };
  const auto number = with(texts, numbers), bits = with(number, {Bit, Bool});
  const auto days = with(texts, {Date, Time, DateTime, Stamp}), spans = with(texts, {Span});
  const struct {
    XeDataType to;
    XeString name;
    std::set<XeDataType> operands;
  } kCasts[] = {{Bit, L"CastToBinary", bits},
                {Bin, L"CastToBinary", {Bin, LongBin}},
                {LongBin, L"CastToBinary", {Bin, LongBin}},
                {Char, L"CastToChar", with(number, with(days, spans))},
                {Int2, L"CastToInt16", number},
                {Int4, L"CastToInt32", number},
                {Float, L"CastToFloat32", bits},
                {Double, L"CastToFloat64", bits},
                {Numeric, L"CastToNumeric", number},
                {XeDecimalData, L"CastToNumeric", number},
                {Date, L"CastToDate", with(texts, {Date, DateTime, Stamp})},
                {Time, L"CastToTime", with(texts, {Time, DateTime, Stamp})},
                {DateTime, L"CastToDateTime", days},
                {Stamp, L"CastToDateTime", days},
                {Span, L"CastToInterval", spans}};
  std::set<XeDataType> targets = {LongChar};
  for (const auto& c : kCasts) {
    targets.insert(c.to);
    for (int t = Bit; t < XeMaxType; ++t) {
      const auto from = static_cast<XeDataType>(t);
      SCOPED_TRACE(testing::Message() << from << " to " << c.to);
      const auto bind = [&] { return BoundCast(Leaf(from, 4), c.to, 4); };
      if (!c.operands.contains(from)) {
        ExpectErrorAt(kPosition, 59001, TypeError(c.name, from), bind);
        continue;
      }
      const auto node = bind();
      EXPECT_EQ(NodeName(*node), c.name);
      EXPECT_EQ(node->GetResultDataType(), c.to);
      EXPECT_TRUE(node->GetIsRootNode());
      EXPECT_EQ(node->GetSourcePosition(), kPosition);
    }
    TestRecord record({});
    const auto null = record.Bind(new Cast(new ConstantNull, c.to, 4, 0));
    EXPECT_EQ(null->GetIthOperand(0)->GetResultDataType(),
              SUXeDataTypeUtility::GetPromotedDataType(c.to));
    EXPECT_TRUE(record.info.isNullable_);
    EXPECT_EQ(record.info.objectLength_, XeFieldDescriptor::GetObjectLength(c.to, 4));
    alignas(16) uint8 out[32];
    EXPECT_EQ(null->Eval(out), kUnknown);
  }
  for (int t = Bit; t <= XeMaxType; ++t) {
    const auto to = static_cast<XeDataType>(t);
    if (targets.contains(to)) continue;
    ExpectErrorAt(kPosition, 59002, TypeError(L"Cast", to), [&] { BoundCast(Leaf(Int4), to); });
  }
  EXPECT_EQ(DescribeTree(*BoundCast(new ConstantInt32(1), LongChar, 4)),
            L"ConvertXeChartoLongVarXeChar -> LONG VARCHAR\n  CastToChar -> CHAR\n"
            L"    ConstantInt32 1 -> INTEGER\n");
  for (const XeDataType to : {Char, LongChar}) {
    ExpectBroken([&] { BoundCast(new ConstantInt32(1), to, 0); });
  }
}

}  // namespace
}  // namespace sqxer::test
