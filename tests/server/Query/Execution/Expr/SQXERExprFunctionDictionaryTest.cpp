#include "SQXERExprFunctionDictionary.h"
#include "server/Query/Execution/Expr/OperatorOverStubs.h"
#include "support/RowStream.h"

namespace sqxer::test {
namespace {

DravoNativeTableRef Table(const std::vector<TestField>& fields, const std::vector<Row>& rows = {}) {
  RowStream stream(fields, rows);
  return std::make_shared<DravoNativeTable>(stream);
}

/// A lookup in a dictionary of a table.
struct Lookup {
  explicit Lookup(DravoNativeTableRef table, XeDataType keyType = UInt4)
      : key(new Stub<uint32>(keyType)),
        tree(record.Bind(
            new DictLookup(key, {}, std::make_shared<DravoNativeDictionary>(table), table))) {}
  std::optional<XeString> operator()(uint32 value) {
    key->value_ = value;
    return EvalText(*tree);
  }
  TestRecord record{{}};
  Stub<uint32>* key;
  std::unique_ptr<RExpression> tree;
};

/// Dense keys, those at the ends of a type and many all over it, some of them twice, some without a
/// text: each finds what a map finds, and so do its neighbours.
template <class Key>
void ExpectModel(XeDataType keyType, XeDataType type) {
  std::vector<Key> keys = BoundaryValues<Key>();
  for (uint32 i = 0; i < 3000; ++i) keys.push_back(static_cast<Key>(i % 2 ? i / 20 : i * 40503));
  std::vector<Row> rows = {{{}, L"no key"}};
  std::map<uint32, std::optional<XeString>> model;
  for (const Key key : keys) {
    const std::size_t i = rows.size();
    const XeString text(i % 6, static_cast<wchar_t>(L'a' + i % 26));
    rows.push_back({std::to_wstring(key), i % 7 ? std::optional(text) : std::nullopt});
    model.emplace(static_cast<uint32>(key), rows.back()[1]);
  }
  Lookup lookup(Table({{keyType}, {type, 5}}, rows), Int4);
  for (const auto& [middle, unused] : model) {
    for (const uint32 key : {middle - 1, middle, middle + 1}) {
      auto expected = model.contains(key) ? model[key] : std::nullopt;
      if (expected && type == Char) expected->resize(5, L' ');
      EXPECT_EQ(lookup(key), expected) << key;
    }
  }
}

TEST(DictLookup, FindsWhatAModelFinds) {
  ExpectModel<int8>(Int1, Char);
  ExpectModel<uint16>(UInt2, LongChar);
  ExpectModel<int32>(Int4, VarChar);
  ExpectModel<uint32>(UInt4, Char);
  EXPECT_EQ(Lookup(Table({{Int4}, {Char, 5}}))(0), std::nullopt);
}

TEST(DictLookup, GivesTextsByReference) {
  const auto table = Table({{Int4}, {LongChar, 9, false}}, {{L"1", L"one"}, {L"2", L"two"}});
  Lookup lookup(table);
  EXPECT_EQ(lookup(2), L"two");
  const uint8* const stored = table->GetValues() + table->GetValueOffset(1);
  const void* const characters = EvalAs<RefLongVarChar>(*lookup.tree)->buffer_;
  EXPECT_EQ(characters, stored + kLongVarPrefix);
  bool isNull = true;
  EXPECT_EQ(DravoNativeDictionary(table).MakeArrayReader(1)->Get(1, isNull), stored);
  // The stored bytes; and a missing key makes the result nullable in any case.
  EXPECT_EQ(lookup.record.info.objectLength_, 40u);
  EXPECT_TRUE(lookup.record.info.isNullable_);
}

TEST(DictLookup, Errors) {
  ExpectError(46030, {L"1", L"1"}, [] { Table({{Int4}}); });
  ExpectError(59001, TypeError(L"DictLookup", Double), [] { Table({{Double}, {Char, 1}}); });
  ExpectError(59001, TypeError(L"DictLookup", Int4), [] { Table({{Int4}, {Int4}}); });
  const auto table = Table({{Int4}, {Char, 1}});
  ExpectError(59001, TypeError(L"DictLookup", Double), [&] { Lookup(table, Double); });
  ExpectBroken([&] { DictLookup(Leaf(Int4), {}, nullptr, table).Eval(nullptr); });
}

}  // namespace
}  // namespace sqxer::test
