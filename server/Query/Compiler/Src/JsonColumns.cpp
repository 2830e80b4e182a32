#include "JsonColumns.h"

#include <algorithm>

#include "PlanError.h"
#include "SQXERExprConvert.h"
#include "SQXERExprExtract.h"
#include "SQXERMakeNode.h"

namespace sqxer {
namespace {

constexpr std::string_view kFunction = "json_value";
constexpr const wchar_t* kFunctionName = L"JSON_VALUE";
constexpr const wchar_t* kComputed = L"a computed value";

JSon::JSonPath ReadPath(const XeString& text, int position) {
  try {
    return JSon::JSonPath(text);
  } catch (ErrorMessage& error) {
    error.SetSourcePosition(position);
    throw;
  }
}

void CheckForm(const SqlExpression& call) {
  if (call.distinct) ThrowPlanError(kNoDistinct, call.position, {kFunctionName});
  if (call.star || call.arguments.size() != 2)
    ThrowPlanError(
        kArgumentCount, call.position,
        {kFunctionName, L"2 arguments", call.star ? L"*" : std::to_wstring(call.arguments.size())});
  const SqlExpression& path = *call.arguments[1];
  if (path.kind != SqlExpression::Kind::kLiteral || path.literal.kind != SqlLiteral::Kind::kText)
    ThrowPlanError(kJsonPathNotLiteral, path.position, {});
}

[[noreturn]] void RefuseColumn(const SqlExpression& argument, const XeString& what) {
  ThrowPlanError(kNotAJsonColumn, argument.position, {what});
}

}  // namespace

JsonColumns::JsonColumns(const SqlSelect& select, const NameScope& scope, Catalog& catalog)
    : table_(select.table), scope_(scope), catalog_(catalog) {
  Seen seen;
  ForEachExpression(select, [&](const SqlExpressionPtr& root) { AddCalls(root, seen); });
}

bool JsonColumns::IsCall(const SqlExpression& expression) {
  return expression.kind == SqlExpression::Kind::kFunction && expression.name == kFunction;
}

void JsonColumns::AddCalls(const SqlExpressionPtr& expression, Seen& seen) {
  // Expressions that are read twice are shared, and nested ones would be walked again and again.
  if (!expression || !seen.insert(expression.get()).second) return;
  if (IsCall(*expression)) Read(*expression);
  ForEachOperand(*expression, [&](const SqlExpressionPtr& operand) { AddCalls(operand, seen); });
}

JsonColumns::Reading JsonColumns::Read(const SqlExpression& call) {
  CheckForm(call);
  const SqlExpression& path = *call.arguments[1];
  const std::size_t documents = FindDocuments(*call.arguments[0]);
  const std::size_t handle =
      documents_[documents].holder->AddCollectionPath(ReadPath(path.literal.text, path.position));
  return {documents, path.literal.text, handle};
}

std::size_t JsonColumns::FindDocuments(const SqlExpression& argument) {
  if (argument.kind != SqlExpression::Kind::kName) RefuseColumn(argument, kComputed);
  const int column = scope_.FindColumn(argument);
  if (column < 0) scope_.ThrowUnknown(argument);
  const ColumnInfo& info = scope_.GetSchema()->columns[static_cast<std::size_t>(column)];
  if (!SUXeDataTypeUtility::IsXeTextType(info.type))
    RefuseColumn(argument, SUXeDataTypeUtility::GetXeDataTypeName(info.type));
  const auto known = std::ranges::find(documents_, column, &PlanDocuments::column);
  if (known == documents_.end()) {
    documents_.push_back(
        {static_cast<uint16>(column), JSonValuesHolderRef(std::make_shared<JSonValuesHolder>())});
    observed_.push_back(false);
    return documents_.size() - 1;
  }
  return static_cast<std::size_t>(known - documents_.begin());
}

void JsonColumns::Observe(std::size_t documents) {
  if (observed_[documents]) return;
  observed_[documents] = true;
  const PlanDocuments& column = documents_[documents];
  catalog_.VisitTexts(table_, column.column, [&](std::wstring_view text) {
    column.holder->SetDocument(text);
    column.holder->Observe();
  });
  column.holder->SetNoDocument();
}

TypedExpressionPtr JsonColumns::Type(const SqlExpression& call, JsonColumns* columns) {
  CheckForm(call);
  if (!columns) RefuseColumn(*call.arguments[0], kComputed);
  const Reading reading = columns->Read(call);
  columns->Observe(reading.documents);
  const PlanDocuments& documents = columns->documents_[reading.documents];
  const XeDataType type = documents.holder->ResolveDataType(reading.handle);

  auto value = std::make_shared<TypedExpression>();
  value->kind = TypedExpression::Kind::kJsonValue;
  value->position = call.position;
  value->index = documents.column;
  value->column = columns->scope_.GetSchema()->columns[documents.column];
  value->constant = {XeLongVarCharData, reading.path};
  value->documents = documents.holder;
  value->type = type == XeInt4Data || type == XeDoubleData ? type : XeLongVarCharData;
  value->length = XeFieldDescriptor::GetObjectLength(
      value->type, std::max(documents.holder->GetLongestText(reading.handle), 1u));
  return value;
}

std::unique_ptr<RExpression> BuildJsonValue(const TypedExpression& value) {
  const XeString& path = std::get<XeString>(value.constant.value);
  auto reader = std::make_unique<ExtractJson>(value.index, path, value.type, value.documents);
  reader->SetSourcePosition(value.position);
  if (value.type != XeLongVarCharData) return reader;
  // Operators take texts of varying length in their long form only.
  return MakeNodeOf<ConvertVarXeChartoLongVarXeChar>(reader, XeLongVarCharData, value.length);
}

}  // namespace sqxer
