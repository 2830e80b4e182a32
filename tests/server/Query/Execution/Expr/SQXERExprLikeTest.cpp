#include "OperatorOverStubs.h"
#include "SQXERExprConstant.h"
#include "SQXERExprExtract.h"
#include "SQXERExprLogical.h"
#include "SQXERExprParam.h"

namespace sqxer::test {
namespace {

TEST(Like, EveryRowHasItsOwnPattern) {
  TestRecord record({{VarChar, 99}, {Char, 4}, {VarChar, 300}, {Char, 3}, {VarChar, 1}});
  const auto like = [&](int value, int pattern, RExpression* escape = nullptr) {
    return record.Bind(new Like(new Extract(value), new Extract(pattern), escape));
  };
  const std::unique_ptr<RExpression> trees[] = {like(0, 2), like(1, 2), like(0, 3),
                                                like(1, 2, new Extract(4))};
  // A fixed value loses the blanks that pad it, a fixed pattern keeps its own.
  const std::tuple<XeString, XeString, std::vector<bool>> rows[] = {
      {L"ab", L"a_", {1, 1, 0, 1}},   {L"a ", L"a_", {1, 0, 0, 0}},  {L"ab ", L"%b", {0, 1, 1, 1}},
      {L"a%", L"a\\%", {1, 1, 1, 0}}, {L"a!", L"a!!", {0, 0, 0, 1}}, {L"", L"%", {1, 1, 0, 1}},
  };
  for (const auto& [value, pattern, expected] : rows) {
    for (const int field : {0, 1}) record.SetText(field, value);
    for (const int field : {2, 3}) record.SetText(field, pattern);
    record.SetText(4, L"!");
    for (std::size_t i = 0; i < std::size(trees); ++i) {
      EXPECT_EQ(EvalAs<uint8>(*trees[i]), expected[i]) << testing::PrintToString(pattern) << i;
    }
  }
  // Beyond what stands inside the node.
  record.SetText(0, XeString(90, L'x')).SetText(2, L"%" + XeString(200, L'%') + L"x");
  EXPECT_EQ(EvalAs<uint8>(*trees[0]), 1);
  for (const int null : {1, 2, 4}) {
    EXPECT_EQ(EvalAs<uint8>(*(record.SetNull(null), &*trees[3])), std::nullopt);
    record.SetNull(null, false);
  }
  record.SetText(2, L"a\\");
  ExpectError(59025, {}, [&] { EvalAs<uint8>(*trees[0]); });
}

TEST(Like, LiteralsAndParametersStayForAllRows) {
  TestRecord parameters({{VarChar, 5}}), record({{VarChar, 9}});
  parameters.SetText(0, L"%b!%c");
  const auto bind = [&](RExpression* pattern) {
    return record.Bind(new Like(new Extract(0), pattern, new ConstantLongVarXeChar(L"!")));
  };
  const auto parameter = bind(new Param({&parameters.layout(), parameters.buffer(), 0})),
             literal = bind(new ConstantXeChar(L"%b!%c")), wrong = bind(new ConstantXeChar(L"a!"));
  for (const bool match : {true, false, true}) {
    record.SetText(0, match ? L"ab%c" : L"abc");
    EXPECT_EQ(EvalAs<uint8>(*parameter), match);
    EXPECT_EQ(EvalAs<uint8>(*literal), match);
    ExpectError(59025, {}, [&] { EvalAs<uint8>(*wrong); });
  }
  // An error only of a row that asks.
  record.SetNull(0);
  EXPECT_EQ(EvalAs<uint8>(*wrong), std::nullopt);
}

TEST(Like, TakesTextsOnly) {
  const std::size_t before = MemoryGateway::BlocksInUse();
  for (const XeDataType type : {Bit, Char, VarChar, LongChar, Bin, Int4, Numeric, Date, Bool}) {
    const auto check = [&](bool accepted, const XeString& name, auto... leaves) {
      const auto bind = [&] { return Bound(new Like(leaves...)); };
      if (!accepted) return ExpectError(59001, TypeError(name, type), bind);
      EXPECT_EQ(bind()->GetResultDataType(), Bool);
    };
    const bool isText = type == Char || type == LongChar;
    check(isText || type == VarChar, L"Like", Leaf(type, 4), Leaf(Char, 4));
    check(isText, L"Like", Leaf(Char, 4), Leaf(type, 4));
    check(isText, L"Like Escape", Leaf(Char, 4), Leaf(Char, 4), Leaf(type, 1));
  }
  ExpectError(59025, {}, [] { Bound(new Like(Leaf(Char, 4), Leaf(Char, 4), Leaf(Char, 2))); });
  EXPECT_EQ(MemoryGateway::BlocksInUse(), before);

  wchar_t letters[] = L"ab";
  auto tree = OverStubs<RefLongVarChar, 2>::Make<Like>();
  tree.operands[1]->value_ = {static_cast<uint32>(tree.operands[1]->length_) + 1, letters};
  ExpectBroken([&] { EvalAs<uint8>(*tree.root); });
  tree.operands[1]->value_ = {0, letters};
  tree.ExpectStatusPassesUp();
}

}  // namespace
}  // namespace sqxer::test
