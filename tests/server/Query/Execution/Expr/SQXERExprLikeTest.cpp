#include "OperatorOverStubs.h"
#include "SQXERExprExtract.h"
#include "SQXERExprLogical.h"

namespace sqxer::test {
namespace {

TEST(Like, EveryRowHasItsOwnPattern) {
  TestRecord record({{VarChar, 99}, {Char, 4}, {VarChar, 300}, {Char, 3}, {VarChar, 1}});
  const auto like = [&](int value, int pattern, RExpression* escape = nullptr) {
    return record.Bind(new Like(new Extract(value), new Extract(pattern), escape));
  };
  const std::unique_ptr<RExpression> trees[] = {like(0, 2), like(1, 2, new Extract(4))};
  for (const auto& [pattern, escape, expected] :
       {std::tuple(L"a!%", L"!", 1), {L"a%%", L"%", 1}, {L"a_", L"!", 1}, {L"%!%", L"!", 1}}) {
    record.SetText(1, L"a%").SetText(2, pattern).SetText(4, escape);
    EXPECT_EQ(EvalAs<uint8>(*trees[1]), expected) << testing::PrintToString(pattern);
  }
  // Beyond what stands inside the node.
  record.SetText(0, XeString(90, L'x')).SetText(2, L"%" + XeString(200, L'%') + L"x");
  EXPECT_EQ(EvalAs<uint8>(*trees[0]), 1);
  for (const int null : {1, 2, 4}) {
    EXPECT_EQ(EvalAs<uint8>(*(record.SetNull(null), &*trees[1])), std::nullopt);
    record.SetNull(null, false);
  }
  record.SetText(2, L"a\\");
  ExpectError(59025, {}, [&] { EvalAs<uint8>(*trees[0]); });
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
