#include "OperatorOverStubs.h"
#include "SQXERExprCase2.h"
#include "SQXERExprConstant.h"

namespace sqxer::test {
namespace {

using Types = SUXeDataTypeUtility;
using Node = RExpression*;

Node Null() { return new ConstantNull; }
Node Int(int32 value) { return new ConstantInt32(value); }

/// A way in which two branches come together: the error when they cannot, where they stand, and for
/// which of their nullabilities (none, first, second, both) the result is nullable.
struct Meeting {
  int code, first, second;
  const char* nullable;
  Node (*make)(Node a, Node b);
};
// clang-format off
const Meeting kMeetings[] = {
    {59020, 0, 1, "nnny", [](Node a, Node b) -> Node { return new Coalesce({a, b}); }},
    {59020, 1, 3, "nnny", [](Node a, Node b) -> Node { return new Coalesce({Null(), a, Null(), b}); }},
    {59020, 1, 2, "nyyy", [](Node a, Node b) -> Node { return new Case(nullptr, {Int(1)}, {a, b}); }},
    {59020, 2, 3, "yyyy", [](Node a, Node b) -> Node {
       return new Case(nullptr, {Int(1), Int(1)}, {a, b}); }},
    {59020, 2, 4, "yyyy", [](Node a, Node b) -> Node {
       return new Case(nullptr, {Int(1), Int(1)}, {a, Null(), b}); }},
    {59021, 0, 1, "nyyy", [](Node a, Node b) -> Node { return new Case(a, {b}, {Int(1), Int(1)}); }},
    {59021, 0, 2, "yyyy", [](Node a, Node b) -> Node { return new Case(a, {Null(), b}, {Int(1), Int(1)}); }},
    {59021, 0, 1, "nyyy", [](Node a, Node b) -> Node { return new IfNull(a, b); }},
    // What a NULLIF compares with is its first operand.
    {59021, 1, 0, "yyyy", [](Node a, Node b) -> Node { return new NullIf(a, b); }},
};
// clang-format on

void CheckMeeting(const Meeting& meeting, XeDataType a, XeDataType b, int nullable) {
  TestRecord record({});
  const auto bind = [&] {
    auto *first = Leaf(a, 8), *second = Leaf(b, 3);
    first->isNullable_ = nullable & 1;
    second->isNullable_ = nullable & 2;
    Node root = meeting.make(first, second);
    root->SetSourcePosition(17);
    return record.Bind(root);
  };
  if (!Types::AreUnionCompatible(a, b)) return ExpectErrorAt(17, meeting.code, {}, bind);
  const auto tree = bind();
  const XeDataType met = Types::GetUnionDataType(a, b);
  const bool looksUp = tree->GetExpressionType() == kCaseExpression && meeting.first == 0;
  const XeDataType result = looksUp ? Int4 : met;
  EXPECT_EQ(tree->GetResultDataType(), result);
  EXPECT_EQ(record.info.objectLength_, XeFieldDescriptor::GetObjectLength(result, 8));
  EXPECT_EQ(record.info.isNullable_, meeting.nullable[nullable] == 'y');
  EXPECT_EQ(record.info.aliasName_, XeRecordMetaData::exprFieldName_);
  EXPECT_EQ(NodeName(*tree->GetIthOperand(meeting.first)), Wrapper(a, met));
  EXPECT_EQ(NodeName(*tree->GetIthOperand(meeting.second)), Wrapper(b, met));
}

TEST(Conditional, BranchesMeetInTheirUnionType) {
  const XeDataType types[] = {Bit,    Char,    LongChar, Bin,  LongBin,  Int4, UInt4,
                              Double, Numeric, Date,     Time, DateTime, Bool};
  const std::size_t before = MemoryGateway::BlocksInUse();
  for (const Meeting& meeting : kMeetings) {
    int nullable = 0;
    for (const XeDataType a : types) {
      for (const XeDataType b : types) {
        SCOPED_TRACE(testing::Message() << &meeting - kMeetings << ": " << a << ", " << b);
        CheckMeeting(meeting, a, b, nullable++ % 4);
      }
    }
  }
  EXPECT_EQ(MemoryGateway::BlocksInUse(), before);
}

TEST(Conditional, ErrorsOfBinding) {
  const std::pair<int, Node> wrong[] = {
      {59033, new Coalesce({})},
      {59033, new Coalesce({Null(), Null()})},
      {59033, new Case(nullptr, {Int(1)}, {Null(), Null()})},
      {59033, new Case(nullptr, {Int(1)}, {})},
      {59023, new Case(nullptr, {Int(1), Int(1)}, {Int(1)})},
      {59032, new Case(Null(), {Int(1)}, {Int(1)})},
  };
  for (const auto& [code, root] : wrong) ExpectError(code, {}, [root = root] { Bound(root); });
  EXPECT_EQ(Bound(new NullIf(Null(), Null()))->GetResultDataType(), Bool) << "no error";
}

TEST(Conditional, WhatHasNoEquality) {
  // A case operand longer than every WHEN is not cut to their length.
  EXPECT_FALSE(EvalAs<int32>(*Bound(
      new Case(new ConstantXeChar(L"abcdef"), {new ConstantLongVarXeChar(L"abc")}, {Int(1)}))));

  for (const XeDataType type : {Bit, Bin, LongBin}) EXPECT_FALSE(Conditional::HasEquality(type));
  auto* bit = new Stub<uint8>(Bit, 1);
  const auto lookup = Bound(new Case(bit, {Null(), new Stub<uint8>(Bit, 1)}, {Int(1), Int(2)}));
  ExpectError(59022, {L"BIT"}, [&] { EvalAs<int32>(*lookup); });
  bit->status_ = kUnknown;
  EXPECT_EQ(EvalAs<int32>(*lookup), 1) << "NULL meets NULL: nothing to compare";
  const auto nullIf = Bound(new NullIf(new Stub<uint8>(Bit, 1), new Stub<uint8>(Bit, 1)));
  ExpectBroken([&] { EvalAs<uint8>(*nullIf); });
}

/// Every pair of statuses (and, for kTrue, of a byte) of two operands v and w.
TEST(Conditional, EveryPairOfStatuses) {
  constexpr std::pair<RExprReturn, uint8> kOperands[] = {{kTrue, 1},    {kTrue, 0},  {kFalse, 1},
                                                         {kUnknown, 1}, {kError, 1}, {kEod, 1}};
  for (const auto& [v, vByte] : kOperands) {
    for (const auto& [w, wByte] : kOperands) {
      SCOPED_TRACE(testing::PrintToString(std::tuple(v, vByte, w, wByte)));
      // What comes out (7 is nothing), the status and the node's own, how often w was evaluated.
      using Outcome = std::tuple<int, RExprReturn, RExprReturn, int>;
      const auto eval = [&, v = v, w = w, vByte = vByte, wByte = wByte](auto make) {
        auto *first = new Stub<uint8>(Bool, vByte, v), *second = new Stub<uint8>(Bool, wByte, w);
        const auto tree = Bound(make(first, second));
        alignas(4) uint8 out[4] = {7};
        const RExprReturn status = tree->Eval(out);
        EXPECT_EQ(first->evaluations_, 1);
        return Outcome(status == kTrue ? out[0] : 7, status, tree->GetRetCode(),
                       second->evaluations_);
      };
      const bool fails = v != kTrue && v != kUnknown, same = v == kTrue && w == v && vByte == wByte;
      const bool first = v == kTrue && vByte == 1, second = w == kTrue && wByte == 1;
      const int third = first ? 2 : second ? 3 : 4;
      EXPECT_EQ(eval([](Node a, Node b) {
                  return new Case(nullptr, {a, b}, {Int(2), Int(3), Int(4)});
                }),
                Outcome(third, kTrue, kTrue, !first));
      EXPECT_EQ(std::get<1>(eval([](Node a, Node b) {
                  return new Case(nullptr, {a, b}, {Int(2), Int(3)});
                })),
                third == 4 ? kUnknown : kTrue);
      const int found = same || (v == kUnknown && w == v) ? 2 : 3;
      EXPECT_EQ(eval([](Node a, Node b) {
                  return new Case(a, {b}, {Int(2), Int(3)});
                }),
                fails ? Outcome(7, v, v, 0) : Outcome(found, kTrue, v, 1));
      EXPECT_EQ(eval([](Node a, Node b) { return new NullIf(a, b); }),
                Outcome(v == kTrue && !same ? vByte : 7, same ? kUnknown : v, v, 1));
      const RExprReturn either = v == kUnknown ? w : v;
      const int value = v == kTrue ? vByte : either == kTrue ? wByte : 7;
      const auto chosen = Outcome(value, either, either, v == kUnknown);
      EXPECT_EQ(eval([](Node a, Node b) { return new IfNull(a, b); }), chosen);
      EXPECT_EQ(eval([](Node a, Node b) { return new Coalesce({a, Null(), b, Null()}); }), chosen);
    }
  }
}

// The count of operands ends where its type does; the operands do not.
TEST(Conditional, HasMoreOperandsThanItCounts) {
  std::vector<Node> whens(40000), values(40000);
  for (Node& when : whens) when = Int(1);
  for (Node& value : values) value = Int(2);
  const Node last = values.back();
  Case lookup(Int(1), whens, values);
  EXPECT_EQ(lookup.GetOperandCount(), 32767);
  EXPECT_EQ(lookup.GetIthOperand(80000), last);
  for (const int index : {-1, 80001}) ExpectBroken([&] { lookup.GetIthOperand(index); });
  Coalesce none({});
  ExpectBroken([&] { none.GetIthOperand(0); });
}

}  // namespace
}  // namespace sqxer::test
