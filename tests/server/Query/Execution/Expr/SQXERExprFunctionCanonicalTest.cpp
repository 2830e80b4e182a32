#include "SQXERExprExtract.h"
#include "SQXERExprFunctionCanonical.h"
#include "server/Query/Execution/Expr/OperatorOverStubs.h"
#include "server/Utility/UtilityTesting.h"
#include "support/RowStream.h"

namespace sqxer::test {
namespace {

/// The cells of "text=result|text=result", where "-" is NULL.
std::vector<Row> Rows(const std::string& table) {
  std::vector<Row> rows;
  for (const std::string& row : Split(table)) {
    rows.emplace_back();
    for (const std::string& cell : Split(row, '=')) rows.back().push_back(Wide(cell));
    for (auto& cell : rows.back()) cell = cell == L"-" ? std::nullopt : cell;
  }
  return rows;
}

/// A function over a mapping whose fields have these types.
RExpression* Function(RExpression* operand, const std::vector<TestField>& fields,
                      RowStream** map = nullptr) {
  auto stream = std::make_unique<RowStream>(
      fields, Rows("teh=the|teh=second|gone=|Ny=New York|-=x|no=-|\u20AC=e"));
  if (map != nullptr) *map = stream.get();
  RExpression* const node = new Canonical(operand, Heap<XeAListStream>(std::move(stream)));
  node->SetSourcePosition(17);
  return node;
}

/// What a column's texts become, row by row. The mapping is read once.
void ExpectTexts(const TestField& column, XeDataType mapped, const XeString& name,
                 const std::string& rows) {
  TestRecord record({column});
  RowStream* map = nullptr;
  const auto tree = record.Bind(Function(new Extract(0), {{mapped, 8}, {mapped, 8}}, &map));
  EXPECT_EQ(NodeName(*tree), name);
  EXPECT_EQ(record.info.objectLength_, column.length);
  EXPECT_EQ(record.info.fieldName_, XeRecordMetaData::exprFieldName_);
  EXPECT_EQ(map->readings_, 0);
  for (const Row& row : Rows(rows)) {
    record.SetText(0, row[0].value_or(L"")).SetNull(0, !row[0]);
    EXPECT_EQ(EvalText(*tree), row[1]);
  }
  EXPECT_EQ(map->readings_, 1);
}

TEST(Canonical, Texts) {
  const std::string longest(300, 'z');
  for (const XeDataType mapped : {Char, VarChar, LongChar}) {
    ExpectTexts({VarChar, 300}, mapped, L"CanonicalLongVarXeChar",
                "-=-|teh=the|Teh=Teh|teh =teh |gone=|=|Ny=New York|no=no|\u20AC=e|" + longest +
                    "=" + longest);
  }
  // What stood behind a shorter text stays, unless a fixed one brings its padding along.
  ExpectTexts({Char, 6}, VarChar, L"CanonicalXeChar",
              "teh=the|apple=apple |teh=thele |gone=thele |-=-|Ny=New Yo|Teh=Teh   ");
  ExpectTexts({Char, 6}, Char, L"CanonicalXeChar", "apple=apple |teh=the   |gone=      ");
}

TEST(Canonical, Errors) {
  ExpectErrorAt(17, 59001, TypeError(L"Canonical", Int4), [] { Bound(Function(Leaf(Int4), {})); });
  const auto onFirstRow = [](int code, const std::vector<XeString>& arguments,
                             const std::vector<TestField>& fields) {
    const auto tree = Bound(Function(Leaf(Char, 4), fields));
    ExpectErrorAt(17, code, arguments, [&] { tree->Eval(nullptr); });
  };
  onFirstRow(46030, {L"0", L"0"}, {});
  onFirstRow(46030, {L"1", L"1"}, {{VarChar, 4}});
  onFirstRow(59001, TypeError(L"Canonical", Int4), {{VarChar, 4}, {Int4}});
  ExpectBroken([] { Canonical(Leaf(Char), nullptr); });
}

}  // namespace
}  // namespace sqxer::test
