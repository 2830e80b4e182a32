#include <gtest/gtest.h>

#include <memory>

#include "SQXERExprConstant.h"
#include "SQXERExprConvert.h"
#include "SQXERExprExtract.h"
#include "SQXERExprParam.h"
#include "SQXERExpression.h"
#include "support/Asserts.h"
#include "support/Stub.h"
#include "support/TestRecord.h"

namespace sqxer::test {
namespace {

constexpr uint32 kOddLength = 77;

/// An operator that binds its operands by one of the common routines and stops there.
class Probe : public BinaryOperator {
 public:
  enum Kind { kArithmetic, kLogical };
  Probe(Kind kind, RExpression* left, RExpression* right)
      : BinaryOperator(left, right), kind_(kind) {}
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override {
    if (kind_ == kArithmetic) {
      BindArithmeticCommon(stream, replacement, info);
    } else {
      BindLogicalCommon(stream, replacement, info);
    }
  }

 private:
  Kind kind_;
};

/// A leaf of a type that is never evaluated.
Stub<int32>* Leaf(XeDataType type, uint32 length = kOddLength) {
  return new Stub<int32>(type, 0, kTrue, length);
}

/// The name of the conversion put round an operand, empty when it is the leaf itself.
std::string Wrapper(RExpression& tree, int index) {
  const XeString name = NodeName(*tree.GetIthOperand(index));
  return name == L"test::Stub<int>" ? "" : std::string(name.begin(), name.end());
}

struct Pair {
  XeDataType left, right, result;
  const char* leftNode;
  const char* rightNode;
  uint32 length;
};

constexpr auto Bit = XeBitData, Int4 = XeInt4Data, UInt4 = XeUInt4Data, Double = XeDoubleData,
               Numeric = XeNumericData;
constexpr uint32 kNumeric = sizeof(VelmarNumber);
const Pair kNumericPairs[] = {
    {Bit, Bit, Bit, "", "", kOddLength},
    {Bit, Int4, Int4, "ConvertBittoInt32", "", 4},
    {Bit, UInt4, UInt4, "ConvertBittoUInt32", "", 4},
    {Bit, Double, Double, "ConvertBittoFloat64", "", 8},
    {Bit, Numeric, Numeric, "ConvertBittoNumber", "", kNumeric},
    {Int4, Bit, Int4, "", "ConvertBittoInt32", 4},
    {Int4, Int4, Int4, "", "", kOddLength},
    {Int4, UInt4, UInt4, "ConvertInt32toUInt32", "", kOddLength},
    {Int4, Double, Double, "ConvertInt32toFloat64", "", 8},
    {Int4, Numeric, Numeric, "ConvertInt32toNumber", "", kNumeric},
    {UInt4, Bit, UInt4, "", "ConvertBittoUInt32", 4},
    {UInt4, Int4, UInt4, "", "ConvertInt32toUInt32", kOddLength},
    {UInt4, UInt4, UInt4, "", "", kOddLength},
    {UInt4, Double, Double, "ConvertUInt32toFloat64", "", 8},
    {UInt4, Numeric, Numeric, "ConvertUInt32toNumber", "", kNumeric},
    {Double, Bit, Double, "", "ConvertBittoFloat64", 8},
    {Double, Int4, Double, "", "ConvertInt32toFloat64", 8},
    {Double, UInt4, Double, "", "ConvertUInt32toFloat64", 8},
    {Double, Double, Double, "", "", kOddLength},
    {Double, Numeric, Double, "", "ConvertNumbertoFloat64", 8},
    {Numeric, Bit, Numeric, "", "ConvertBittoNumber", kNumeric},
    {Numeric, Int4, Numeric, "", "ConvertInt32toNumber", kNumeric},
    {Numeric, UInt4, Numeric, "", "ConvertUInt32toNumber", kNumeric},
    {Numeric, Double, Double, "ConvertNumbertoFloat64", "", 8},
    {Numeric, Numeric, Numeric, "", "", kNumeric},
};

TEST(Binding, ArithmeticPromotion) {
  TestRecord record({});
  for (const Pair& pair : kNumericPairs) {
    SCOPED_TRACE(testing::Message() << pair.left << " with " << pair.right);
    MetaDataInfo info;
    const auto tree =
        record.Bind(new Probe(Probe::kArithmetic, Leaf(pair.left), Leaf(pair.right, 3)), &info);
    EXPECT_EQ(tree->GetResultDataType(), pair.result);
    EXPECT_EQ(Wrapper(*tree, 0), pair.leftNode);
    EXPECT_EQ(Wrapper(*tree, 1), pair.rightNode);
    EXPECT_EQ(info.objectLength_, pair.length);
    EXPECT_EQ(info.fieldName_, XeRecordMetaData::exprFieldName_);
    EXPECT_TRUE(info.isNullable_);
    for (int i : {0, 1}) EXPECT_EQ(tree->GetIthOperand(i)->GetResultDataType(), pair.result);
  }
}

TEST(Binding, ComparisonsPromoteNumbersAsArithmeticButForTwoPairs) {
  TestRecord record({});
  for (const Pair& pair : kNumericPairs) {
    SCOPED_TRACE(testing::Message() << pair.left << " with " << pair.right);
    MetaDataInfo info;
    const auto tree =
        record.Bind(new Probe(Probe::kLogical, Leaf(pair.left), Leaf(pair.right)), &info);
    EXPECT_EQ(tree->GetResultDataType(), XeBoolean);
    EXPECT_EQ(info.objectLength_, 1u);
    EXPECT_EQ(Wrapper(*tree, 0), pair.leftNode);
    const bool unsignedRightOfDouble = pair.left == Double && pair.right == UInt4;
    EXPECT_EQ(Wrapper(*tree, 1), unsignedRightOfDouble ? "ConvertInt32toFloat64" : pair.rightNode);
    for (int i : {0, 1}) {
      const bool converted = Wrapper(*tree, i) == "ConvertInt32toUInt32";
      EXPECT_EQ(tree->GetIthOperand(i)->GetResultDataType(), converted ? Int4 : pair.result);
    }
  }
}

TEST(Binding, ArithmeticLeavesOtherLeftOperandsToTheOperator) {
  TestRecord record({});
  for (const XeDataType left : {XeCharData, XeLongVarCharData, XeDateData, XeBoolean}) {
    const auto tree = record.Bind(new Probe(Probe::kArithmetic, Leaf(left), Leaf(Int4)));
    EXPECT_EQ(tree->GetResultDataType(), XeUnknown);
  }
  const XeString types = SUXeDataTypeUtility::GetXeDataTypeName(Int4) + L"," +
                         SUXeDataTypeUtility::GetXeDataTypeName(XeCharData);
  ExpectError(59001, {L"Binary Arithematic", types},
              [&] { record.Bind(new Probe(Probe::kArithmetic, Leaf(Int4), Leaf(XeCharData))); });
}

constexpr auto Char = XeCharData, Long = XeLongVarCharData, Binary = XeBinaryData,
               LongBinary = XeLongVarBinaryData, Date = XeDateData, Time = XeTimeData,
               DateTime = XeDateTimeData;
const Pair kOtherPairs[] = {
    {Char, Char, Char, "", "", 0},
    {Char, Long, Long, "ConvertXeChartoLongVarXeChar", "", 0},
    {Char, Date, Date, "ConvertXeChartoXeDate", "", 0},
    {Char, DateTime, DateTime, "ConvertXeChartoXeDateTime", "", 0},
    {Long, Char, Long, "", "ConvertXeChartoLongVarXeChar", 0},
    {Long, Long, Long, "", "", 0},
    {Long, Date, Date, "ConvertXeLongVarChartoXeDate", "", 0},
    {Long, DateTime, DateTime, "ConvertXeLongVarChartoXeDateTime", "", 0},
    {Binary, LongBinary, LongBinary, "ConvertBinarytoLongVarBinary", "", 0},
    {LongBinary, Binary, LongBinary, "", "ConvertBinarytoLongVarBinary", 0},
    {Binary, Binary, Binary, "", "", 0},
    {LongBinary, LongBinary, LongBinary, "", "", 0},
    {Date, Char, Date, "", "ConvertXeChartoXeDate", 0},
    {Date, Long, Date, "", "ConvertXeLongVarChartoXeDate", 0},
    {Date, Date, Date, "", "", 0},
    {Date, DateTime, DateTime, "ConvertXeDatetoXeDateTime", "", 0},
    {Time, Time, Time, "", "", 0},
    {Time, DateTime, DateTime, "ConvertXeTimetoXeDateTime", "", 0},
    {DateTime, Char, DateTime, "", "ConvertXeChartoXeDateTime", 0},
    {DateTime, Long, DateTime, "", "ConvertXeLongVarChartoXeDateTime", 0},
    {DateTime, Date, DateTime, "", "ConvertXeDatetoXeDateTime", 0},
    {DateTime, Time, DateTime, "", "ConvertXeTimetoXeDateTime", 0},
    {DateTime, DateTime, DateTime, "", "", 0},
};

TEST(Binding, EveryPairOfTypesComparesOrIsRefused) {
  TestRecord record({});
  const auto isNumber = [](XeDataType type) {
    return type == Bit || type == Int4 || type == UInt4 || type == Double || type == Numeric;
  };
  for (int l = XeBitData; l < XeMaxType; ++l) {
    for (int r = XeBitData; r < XeMaxType; ++r) {
      const auto left = static_cast<XeDataType>(l), right = static_cast<XeDataType>(r);
      if (isNumber(left) && isNumber(right)) continue;
      if (left == Long && right == XeVarCharData) continue;  // compares as it stands
      SCOPED_TRACE(testing::Message() << left << " with " << right);
      const Pair* pair = std::find_if(
          std::begin(kOtherPairs), std::end(kOtherPairs),
          [&](const Pair& entry) { return entry.left == left && entry.right == right; });
      auto probe = std::make_unique<Probe>(Probe::kLogical, Leaf(left), Leaf(right));
      if (pair != std::end(kOtherPairs)) {
        const auto tree = record.Bind(probe.release());
        EXPECT_EQ(Wrapper(*tree, 0), pair->leftNode);
        EXPECT_EQ(Wrapper(*tree, 1), pair->rightNode);
        for (int i : {0, 1}) EXPECT_EQ(tree->GetIthOperand(i)->GetResultDataType(), pair->result);
      } else if (left >= XeObjectData) {
        EXPECT_NO_THROW(record.Bind(probe.release()));
      } else {
        const XeString types =
            SUXeDataTypeUtility::GetXeDataTypeName(left) +
            (right == XeUnknown ? L"" : L"," + SUXeDataTypeUtility::GetXeDataTypeName(right));
        ExpectError(59001, {L"Binary Logical", types}, [&] { record.Bind(probe.release()); });
      }
    }
  }
}

TEST(Binding, TextLiteralsTakeTheTypeOfTheirPartner) {
  TestRecord record(
      {{XeInt4Data}, {XeUInt4Data}, {XeDoubleData}, {XeNumericData}, {XeBitData}, {XeDateData}});
  const struct {
    int column;
    const wchar_t* text;
    const char* node;
  } kCases[] = {
      {0, L"12", "ConstantInt32"},    {0, L"12abc", "ConstantInt32"},
      {0, L"", "ConstantInt32"},      {1, L"4000000000", "ConstantUInt32"},
      {2, L"1.5", "ConstantFloat64"}, {3, L"1.5", "ConstantNumber"},
      {3, L"abc", "ConstantNumber"},  {4, L"1", "ConstantBit"},
  };
  for (const auto& c : kCases) {
    for (const bool textIsLeft : {false, true}) {
      for (const bool isLong : {false, true}) {
        SCOPED_TRACE(XeString(c.text).c_str());
        RExpression* text = isLong ? static_cast<RExpression*>(new ConstantLongVarXeChar(c.text))
                                   : new ConstantXeChar(c.text);
        text->SetSourcePosition(9);
        RExpression* column = new Extract(c.column);
        const auto tree = record.Bind(
            new Probe(Probe::kLogical, textIsLeft ? text : column, textIsLeft ? column : text));
        EXPECT_EQ(Wrapper(*tree, textIsLeft ? 0 : 1), c.node);
        EXPECT_EQ(tree->GetIthOperand(textIsLeft ? 0 : 1)->GetSourcePosition(), 9);
      }
    }
  }
  const XeString types = SUXeDataTypeUtility::GetXeDataTypeName(Int4) + L"," +
                         SUXeDataTypeUtility::GetXeDataTypeName(Char);
  ExpectError(59001, {L"Binary Logical", types}, [&] {
    record.Bind(new Probe(Probe::kLogical, new Extract(0), new ConstantXeChar(L"abc")));
  });
  // No literal of a date: the text is converted instead.
  const auto tree =
      record.Bind(new Probe(Probe::kLogical, new Extract(5), new ConstantXeChar(L"2012-01-31")));
  EXPECT_EQ(Wrapper(*tree, 1), "ConvertXeChartoXeDate");
}

TEST(Binding, ParameterTakesItsPartnersLength) {
  TestRecord values({{XeCharData, 9, false}});
  values.SetText(0, L"abc");
  const ExecutionParameter parameter(&values.layout(), values.buffer(), 0);
  TestRecord record({{XeLongVarCharData, 5}});
  for (const bool parameterIsLeft : {false, true}) {
    RExpression* p = new Param(parameter);
    RExpression* column = new Extract(0);
    const auto tree = record.Bind(
        new Probe(Probe::kLogical, parameterIsLeft ? p : column, parameterIsLeft ? column : p));
    // Five characters of "abc      ": no zero character within them, so the blanks are padding.
    EXPECT_EQ(EvalText(*tree->GetIthOperand(parameterIsLeft ? 0 : 1)), L"abc");
  }
}

/// An operator that hands its operand to a replacement, and may then fail.
class Replacing : public UnaryOperator {
 public:
  Replacing(RExpression* operand, int error) : UnaryOperator(operand), error_(error) {}
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override {
    UnaryOperator::Bind(stream, replacement, info);
    replacement = new ConvertInt32toFloat64(ReleaseExpression());
    if (error_ != 0) SUGThrow(ErrorMessage(error_));
  }

 private:
  int error_;
};

TEST(Binding, ReplacementInheritsPositionAndRoot) {
  TestRecord record({});
  auto* root = new Replacing(Leaf(Int4), 0);
  root->SetSourcePosition(17);
  MetaDataInfo info;
  info.isNullable_ = true;
  const auto tree = record.Bind(root, &info);
  EXPECT_EQ(NodeName(*tree), L"ConvertInt32toFloat64");
  EXPECT_EQ(tree->GetSourcePosition(), 17);
  EXPECT_TRUE(tree->GetIsRootNode());
  EXPECT_FALSE(tree->GetIthOperand(0)->GetIsRootNode());
}

/// A node that is its own replacement.
class SelfReplacing : public Stub<int32> {
 public:
  SelfReplacing() : Stub(XeInt4Data) {}
  void Bind(XeAListStream*, RExpression*& replacement, MetaDataInfo&) override {
    replacement = this;
  }
};

TEST(Binding, ReplacementEqualToTheNodeIsKept) {
  TestRecord record({});
  auto* root = new SelfReplacing;
  EXPECT_EQ(record.Bind(root).get(), root);
}

TEST(Binding, ErrorCarriesTheInnermostPositionAndNothingLeaks) {
  const std::size_t blocks = MemoryGateway::BlocksInUse();
  TestRecord record({});
  for (const int failing : {0, 1, 2, 3}) {
    auto* left = Leaf(Int4);
    auto* right = Leaf(failing == 3 ? XeCharData : Double);
    left->bindError_ = failing == 0 ? 59008 : 0;
    right->bindError_ = failing == 1 ? 59008 : 0;
    auto* inner = new Probe(Probe::kArithmetic, left, right);
    auto* outer = new Replacing(inner, failing == 2 ? 59008 : 0);
    left->SetSourcePosition(10);
    right->SetSourcePosition(20);
    outer->SetSourcePosition(30);
    inner->SetSourcePosition(40);
    try {
      record.Bind(outer);
      ADD_FAILURE() << "no error";
    } catch (const ErrorMessage& error) {
      EXPECT_EQ(error.GetSourcePosition(), 10 * (failing + 1));
    }
  }
  EXPECT_EQ(MemoryGateway::BlocksInUse(), blocks);
}

TEST(Binding, BoundOperandsAreNotBoundAgain) {
  TestRecord record({});
  auto* left = Leaf(Int4);
  auto* right = Leaf(Double);
  auto* probe = new Probe(Probe::kArithmetic, left, right);
  probe->SetSkipReBindChildren(true);
  const auto tree = record.Bind(probe);
  EXPECT_EQ(left->binds_ + right->binds_, 0);
  EXPECT_EQ(tree->GetResultDataType(), Double);
}

TEST(Nodes, BrokenInvariants) {
  UnaryOperator unary(Leaf(Int4));
  Probe binary(Probe::kArithmetic, Leaf(Int4), Leaf(Int4));
  int32 value = 0;
  RExpression* replacement = nullptr;
  MetaDataInfo info;
  ExpectBroken([&] { unary.Eval(&value); });
  ExpectBroken([&] { unary.GetIthOperand(1); });
  ExpectBroken([&] { unary.SetIthOperand(-1, nullptr); });
  ExpectBroken([&] { binary.Eval(&value); });
  ExpectBroken([&] { binary.BinaryOperator::Bind(nullptr, replacement, info); });
  ExpectBroken([&] { binary.GetIthOperand(2); });
  ExpectBroken([&] { binary.GetParamNumber(); });
  EXPECT_EQ(binary.ReleaseExpression(), nullptr);
  delete unary.ReleaseExpression();
  EXPECT_EQ(unary.GetIthOperand(0), nullptr);
}

TEST(Nodes, CheckDataTypeNamesOneTypeOnly) {
  const std::unique_ptr<RExpression> leaf(Leaf(XeDateData));
  RExpression::CheckDataTypeAndThrowError(leaf.get(), {Int4, XeDateData}, L"Sum");
  ExpectError(59001, {L"Sum", SUXeDataTypeUtility::GetXeDataTypeName(XeDateData)},
              [&] { RExpression::CheckDataTypeAndThrowError(leaf.get(), {Int4}, L"Sum"); });
}

TEST(Describe, TreesAndLeaves) {
  TestRecord record({{XeInt4Data, 0, true, L"quantity"}, {XeDoubleData, 0, true, L"price"}});
  const auto typed = [](XeDataType type) { return SUXeDataTypeUtility::GetXeDataTypeName(type); };
  const auto tree =
      record.Bind(new Probe(Probe::kArithmetic, new Extract(L"PRICE"), new Extract(0)));
  const XeString name = NodeName(*tree);
  EXPECT_EQ(DescribeTree(*tree), name + L" -> " + typed(Double) + L"\n  ExtractFloat64 price -> " +
                                     typed(Double) + L"\n  ConvertInt32toFloat64 -> " +
                                     typed(Double) + L"\n    ExtractInt32 quantity -> " +
                                     typed(Int4) + L"\n");

  const auto line = [&](RExpression* leaf) {
    const std::unique_ptr<RExpression> owner(leaf);
    return DescribeTree(*leaf);
  };
  EXPECT_EQ(line(new Extract(3)), L"Extract #3 -> " + typed(XeUnknown) + L"\n");
  EXPECT_EQ(line(new ConstantXeChar(L"it's")), L"ConstantXeChar 'it''s' -> " + typed(Char) + L"\n");
  EXPECT_EQ(line(new ConstantLongVarXeChar(L"")),
            L"ConstantLongVarXeChar '' -> " + typed(Long) + L"\n");
  EXPECT_EQ(line(new ConstantFloat64(0.1)), L"ConstantFloat64 0.1 -> " + typed(Double) + L"\n");
  EXPECT_EQ(line(new ConstantNumber(L"1.50")), L"ConstantNumber 1.5 -> " + typed(Numeric) + L"\n");
  EXPECT_EQ(line(new ConstantBoolean(uint8{1})),
            L"ConstantBoolean true -> " + typed(XeBoolean) + L"\n");
  EXPECT_EQ(line(new ConstantDate(XeDate(2012, 1, 31))),
            L"ConstantDate 2012-01-31 -> " + typed(Date) + L"\n");
  EXPECT_EQ(line(new ConstantNull), L"ConstantNull NULL -> " + typed(XeBoolean) + L"\n");
}

}  // namespace
}  // namespace sqxer::test
