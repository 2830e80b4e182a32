#include "SQXERExprConvert.h"
#include "SQXERExprExtract.h"
#include "SQXERExprLogical.h"
#include "support/Asserts.h"
#include "support/TestRecord.h"

namespace sqxer::test {
namespace {

constexpr const wchar_t* kPath = L"$.v";

/// A holder that has observed documents with these values at the path.
JSonValuesHolderRef Holder(const std::vector<XeString>& values) {
  JSonValuesHolderRef holder(std::make_shared<JSonValuesHolder>());
  holder->AddCollectionPath(JSon::JSonPath(kPath));
  for (const XeString& value : values) {
    const XeString document = L"{\"v\":" + value + L"}";
    holder->SetDocument(document);
    holder->Observe();
  }
  holder->SetNoDocument();
  return holder;
}

TEST(ExtractJson, TakesTheObservedTypeAndHandsItselfBackAsRoot) {
  const struct {
    std::vector<XeString> observed;
    XeDataType described, result;
  } kCases[] = {{{L"1", L"2"}, Int4, Int4},
                {{L"1", L"0.5"}, Double, Double},
                {{L"\"x\"", L"1"}, VarChar, VarChar},
                {{L"[1]"}, XeObjectData, VarChar},
                {{}, VarChar, VarChar}};
  for (const auto& one : kCases) {
    TestRecord record({{VarChar, 10}});
    auto* node = new ExtractJson(3, kPath, XeUnknown, Holder(one.observed));
    const auto root = record.Bind(node);
    EXPECT_EQ(root.get(), node);
    EXPECT_EQ(node->GetExpressionType(), kJsonValueExpressoin);
    EXPECT_EQ(node->GetResultDataType(), one.result);
    EXPECT_EQ(node->GetPath(), kPath);
    const XeFieldDescriptor& field = *node->GetFieldDescriptor();
    EXPECT_EQ(field.GetDataType(), one.described);
    EXPECT_EQ(field.GetPosition(), 3);
    EXPECT_EQ(field.GetLength(), 255u);
    EXPECT_EQ(record.info.objectLength_, 255u);
    EXPECT_TRUE(record.info.isNullable_ && field.IsNullable());
    EXPECT_EQ(record.info.fieldName_, kPath);
    EXPECT_EQ(field.GetFieldName(), kPath);
    EXPECT_TRUE(DescribeTree(*node).starts_with(L"ExtractJson $.v -> "));
    EXPECT_EQ(node->Eval(nullptr), kUnknown);
  }
}

TEST(ExtractJson, RaisesErrorsAtItsPlace) {
  TestRecord record({{VarChar, 10}});
  const JSonValuesHolderRef holder = Holder({L"1"});
  const auto number = record.Bind(new ExtractJson(0, kPath, XeUnknown, holder));
  XeString document;
  const auto set = [&](const XeString& value) {
    document = L"{\"v\":" + value + L"}";
    holder->SetDocument(document);
  };
  // A type that was not observed, and a text that is no document, at the reader's place in the SQL.
  number->SetSourcePosition(9);
  set(L"0.5");
  ExpectErrorAt(9, 59192, {L"0.5", L"INTEGER"}, [&] { EvalAs<int32>(*number); });
  set(L"");
  ExpectErrorAt(9, 59191, {document}, [&] { EvalAs<int32>(*number); });
}

TEST(ExtractJson, IsAnOperandThatSharesItsDocuments) {
  TestRecord record({{VarChar, 10}});
  JSonValuesHolderRef holder = Holder({L"1"});
  const auto operand = [&] { return new ExtractJson(0, kPath, XeUnknown, holder); };
  const auto equal = record.Bind(new EQ(operand(), operand()));
  EXPECT_EQ(NodeName(*equal), L"EQInt32");
  const XeString document = L"{\"v\":4}";
  holder->SetDocument(document);
  const uint64 before = holder->GetDocumentsRead();
  EXPECT_EQ(EvalAs<uint8>(*equal), 1);
  EXPECT_EQ(holder->GetDocumentsRead(), before + 1);
}

TEST(ExtractJson, NeedsAPathAndAHolder) {
  ExpectError(59190, {L"$.", L"3"}, [] { ExtractJson(0, L"$.", XeUnknown, Holder({})); });
  const auto previous =
      XeAssert::SetHandler([](const char*, int, const char* text) { throw std::string(text); });
  try {
    ExtractJson(0, kPath, XeUnknown, JSonValuesHolderRef());
    ADD_FAILURE();
  } catch (const std::string& text) {
    EXPECT_EQ(text, "!m_valueHolder.isNull()");
  }
  XeAssert::SetHandler(previous);
}

}  // namespace
}  // namespace sqxer::test
