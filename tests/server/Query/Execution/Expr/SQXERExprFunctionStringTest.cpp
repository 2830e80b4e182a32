#include <random>

#include "FunctionTesting.h"

namespace sqxer::test {
namespace {

/// An operand that is no constant, of a declared length.
RExpression* Column(XeString& text, uint32 length) {
  return new Stub<RefLongVarChar>(LongChar, AsRef(text), kTrue, length);
}

const XeString kWide = L"\u00E4\U0001F426\u4E2D";

TEST(Trim, OnASideThatThereIsNot) {
  const auto trim = [](auto... args) { return Outcome<Trim>(args...); };
  EXPECT_EQ(trim(L"xax", L"x", -1), "xax");
  EXPECT_EQ(trim(L"xax", L"x", 3), "59006");
  EXPECT_EQ(trim(L"", L"xy", 3), "59029");
}

TEST(SubString, PositionsCountsAndTokens) {
  const XeString letters = L"abcdef";
  const std::string error = "59007 0 SubString";
  // clang-format off
  const struct { XeString text; int32 from; std::optional<int32> count; std::string plain, compliant; } kCases[] = {
      {letters, 2, 3, "bcd", "bcd"}, {letters, 0, 3, "ab", "abc"}, {letters, -1, 3, "a", "f"},
      {letters, -2, 3, "", "ef"}, {letters, -6, INT32_MAX, "abcdef", "abcdef"}, {letters, -7, 3, "", ""},
      {letters, 6, 3, "f", "f"}, {letters, 7, 3, "", ""}, {letters, INT32_MAX, INT32_MAX, "", ""},
      {letters, INT32_MIN, INT32_MAX, "", ""}, {letters, 3, {}, "cdef", "cdef"}, {letters, -1, {}, "abcd", "f"},
      {kWide, 2, 1, "\U0001F426", "\U0001F426"}, {L"", 1, 1, "", ""}, {letters, 1, 0, error, error},
      // Callers rely on the error: without a count it is the length of the text.
      {L"", 1, {}, error, error}};
  ConfigScope config;
  const auto tokens = [](int32 from, int32 count, int32 number, const wchar_t* delimiter) {
    return Outcome<SubString>(T(L"a,bc,,d"), from, count, number, T(delimiter));
  };
  const std::pair<std::string, std::string> kTokens[] = {
      {tokens(1, 9, 2, L","), "a,bc"}, {tokens(3, 9, 2, L",;"), "bc"}, {tokens(1, 9, 3, L","), "a,bc,"},
      {tokens(1, 9, 4, L","), "a,bc,,d"}, {tokens(1, 9, 0, L","), ""}, {tokens(1, 9, INT32_MAX, L","), "a,bc,,d"},
      {tokens(1, 9, 1, L""), "a,bc,,d"}, {tokens(1, 9, -1, L","), "59007 -1 SubString"}, {tokens(1, 0, -1, L","), error}};
  // clang-format on
  for (const auto& [outcome, expected] : kTokens) EXPECT_EQ(outcome, expected);
  for (const auto& c : kCases) {
    for (const bool compliance : {false, true}) {
      config->substringCompliance_ = compliance;
      const auto outcome = [&](RExpression* text) {
        return c.count ? Outcome<SubString>(text, c.from, *c.count)
                       : Outcome<SubString>(text, c.from);
      };
      const std::string expected = compliance ? c.compliant : c.plain;
      EXPECT_EQ(outcome(T(c.text)), expected) << c.from;
      if (c.text.empty()) continue;  // a fixed text has at least one character
      EXPECT_EQ(outcome(Fixed(c.text.c_str())), expected) << c.from;
    }
  }
}

TEST(StringFunction, VariantsTypesAndLengths) {
  XeString text = L"ab", to = L"xyz";
  const auto column = [&] { return Column(text, 10); };
  const auto constant = [](int32 n) { return new ConstantInt32(n); };
  // clang-format off
  const struct { RExpression* function; XeString name; XeDataType type; uint32 length; XeString result; } kCases[] = {
      {Function<Upper>(Fixed(L"ab ")), L"UpperXeChar", Char, 3, L"AB "},
      {Function<Lower>(Fixed(L"AB ")), L"LowerXeChar", Char, 3, L"ab "},
      {Function<Trim>(Fixed(L" b "), Fixed(L"b"), -1), L"TrimXeChar", Char, 3, L" b "},
      {Function<Trim>(Fixed(L"xbx"), T(L"x")), L"TrimXeChar", Char, 3, L"b"},
      {Function<SubString>(Fixed(L"abc"), constant(2), constant(1)), L"SubStringXeChar", Char, 1, L"b"},
      {Function<Upper>(column()), L"UpperLongVarXeChar", LongChar, 10, L"AB"},
      {Function<Lower>(column()), L"LowerLongVarXeChar", LongChar, 10, L"ab"},
      {Function<Trim>(column(), T(L"a")), L"TrimLongVarXeChar", LongChar, 10, L"b"},
      {Function<SubString>(column(), 2), L"SubStringLongVarXeChar", LongChar, 10, L"b"},
      {Function<Left>(Fixed(L"ab "), constant(9)), L"Left", LongChar, 3, L"ab"},
      {Function<Right>(column(), constant(1)), L"Right", LongChar, 1, L"b"},
      {Function<Space>(constant(2)), L"Space", LongChar, 2, L"  "},
      {Function<Repeat>(column(), 2), L"Repeat", LongChar, 255, L"abab"},
      {Function<sqxer::Char>(66.9), L"Char", Char, 1, L"B"},
      {Function<Insert>(column(), 1, 0, Column(to, 5)), L"Insert", LongChar, 15, L"xyzab"},
      {Function<Replace>(column(), T(L"abcd"), T(L"vwxyz")), L"Replace", LongChar, 12, L"ab"},
      {Function<Replace>(column(), Column(to, 2), T(L"xyz")), L"Replace", LongChar, 30, L"ab"},
      {Function<Replace>(column(), T(L""), T(L"xyz")), L"Replace", LongChar, 10, L"ab"},
      // Room for 64 MiB, whatever could come of it.
      {Function<Replace>(column(), Column(to, 2), Column(to, 1 << 24)), L"Replace", LongChar, 1 << 24, L"ab"}};
  // clang-format on
  for (const auto& c : kCases) {
    TestRecord record({});
    auto tree = record.Bind(c.function);
    EXPECT_EQ(NodeName(*tree), c.name);
    EXPECT_EQ(tree->GetExpressionType(), kStringValueFunction);
    EXPECT_EQ(tree->GetResultDataType(), c.type) << NodeName(*tree);
    EXPECT_EQ(record.info.objectLength_, c.length) << NodeName(*tree);
    EXPECT_EQ(EvalText(*tree), c.result);
    tree = record.Bind(tree.release());
    EXPECT_EQ(NodeName(*tree), c.name) << "bound again";
    EXPECT_EQ(EvalText(*tree), c.result);
  }
  const auto refused = [](RExpression* function, const XeString& name, XeDataType type) {
    ExpectErrorAt(kPosition, 59001, TypeError(name, type), [&] { Bound(function); });
  };
  for (const XeDataType type : {Bit, UInt4, Date, Bool}) {
    refused(Function<Trim>(T(L""), T(L""), Leaf(type)), L"Trim", type);
    refused(Function<Space>(Leaf(type)), L"Space", type);
    refused(Function<Repeat>(T(L""), Leaf(type)), L"Repeat", type);
    refused(Function<sqxer::Char>(Leaf(type)), L"Char", type);
    refused(Function<SubString>(T(L""), 1, 1, 1, Leaf(type)), L"SubString", type);
  }
  refused(Function<Insert>(T(L""), 1, Leaf(Numeric), T(L"")), L"Insert", Numeric);
  refused(Function<Replace>(T(L""), T(L""), Leaf(Int4)), L"Replace", Int4);
}

TEST(Replace, AgreesWithReplacingOneByOneInTheRoomThereIs) {
  ConfigScope config;
  std::mt19937 engine(4);
  const auto next = [&](std::size_t longest) {
    XeString text(engine() % (longest + 1), L'a');
    for (wchar_t& c : text) c = L"abA"[engine() % 3];
    return text;
  };
  for (int i = 0; i < 3000; ++i) {
    config->caseSensitiveCompare_ = i % 2 == 0;
    XeString text = next(12), from = next(3), to = next(4);
    const auto declared = static_cast<uint32>(1 + engine() % 13);
    const std::size_t room = declared * std::max<std::size_t>(to.size(), 1);
    const auto fold = [&](XeString s) {
      if (i % 2 != 0)
        std::ranges::transform(s, s.begin(), [](wchar_t c) { return c == L'A' ? L'a' : c; });
      return s;
    };
    XeString expected = text;
    for (std::size_t at = 0; !from.empty(); at += to.size()) {
      at = fold(expected).find(fold(from), at);
      if (at == XeString::npos || expected.size() - from.size() + to.size() > room) break;
      expected.replace(at, from.size(), to);
    }
    expected.resize(std::min(expected.size(), room));
    const auto tree = Bound(Function<Replace>(Column(text, declared), Column(from, 3), T(to)));
    EXPECT_EQ(EvalText(*tree), expected);
  }
}

/// Expects that a status of an operand other than a value is returned at once: `order` has the
/// operands as they are evaluated. Operands are texts (t) or numbers (n).
template <class Node>
void ExpectMixedStatusesPassUp(const std::string& kinds, std::vector<std::size_t> order = {}) {
  ExpressionVector operands;
  std::vector<std::pair<RExprReturn&, int&>> stubs;
  const auto add = [&](auto* stub) {
    operands.push_back(stub);
    stubs.emplace_back(stub->status_, stub->evaluations_);
  };
  for (const char kind : kinds) {
    if (kind == 't') add(new Stub<RefLongVarChar>(LongChar, AsRef(L"a"), kTrue, 1));
    if (kind == 'n') add(new Stub<int32>(Int4, 1));
    if (order.size() < kinds.size()) order.push_back(order.size());
  }
  const auto tree = Bound(new Node(operands[0], {operands.begin() + 1, operands.end()}));
  alignas(16) uint8 out[16];
  for (std::size_t stop = 0; stop < order.size(); stubs[order[stop++]].first = kTrue) {
    for (const RExprReturn status : {kFalse, kUnknown, kError, kEod}) {
      for (auto& stub : stubs) stub.second = 0;
      stubs[order[stop]].first = status;
      EXPECT_EQ(tree->Eval(out), status);
      EXPECT_EQ(tree->GetRetCode(), status);
      for (std::size_t i = 0; i < order.size(); ++i) EXPECT_EQ(stubs[order[i]].second, i <= stop);
    }
  }
  EXPECT_EQ(tree->Eval(out), kTrue);
}

TEST(StringFunction, StatusesPassUp) {
  ExpectStatusesPassUp<1, Upper, Lower>(AsRef(L"a"));
  ExpectStatusesPassUp<1, Space, sqxer::Char>(1);
  ExpectStatusesPassUp<3, Replace>(AsRef(L"a"));
  ExpectMixedStatusesPassUp<Left>("tn");
  ExpectMixedStatusesPassUp<Repeat>("tn", {1, 0});
  ExpectMixedStatusesPassUp<Insert>("tnnt");
  ExpectMixedStatusesPassUp<Trim>("ttn");
  ExpectMixedStatusesPassUp<SubString>("tn");
  ExpectMixedStatusesPassUp<SubString>("tnnnt");
}

}  // namespace
}  // namespace sqxer::test
