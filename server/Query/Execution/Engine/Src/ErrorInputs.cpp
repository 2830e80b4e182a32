#include "ErrorInputs.h"

#include "SQXERExprExtract.h"
#include "Utility/BaseStringUtil.h"
#include "ValueText.h"

namespace sqxer {
namespace {

/// Of each value an error keeps so many bytes at most.
constexpr std::size_t kMostBytes = 200;

std::string TextOf(const XeFieldDescriptor& field, const uint8* record) {
  if (IsNullField(field, record)) return "NULL";
  std::string text;
  AppendValueText(field, record, text);
  if (text.size() <= kMostBytes) return text;
  std::size_t end = kMostBytes;
  // Not within a character.
  while (end > 0 && (text[end] & 0xC0) == 0x80) --end;
  return text.substr(0, end).append("\u2026");
}

/// Columns that hold what subqueries gave have names that no statement can write.
bool IsName(const XeString& name) { return !name.empty() && name.front() >= L' '; }

void AddColumns(ErrorMessage& error, RExpression& tree, const uint8* record) {
  if (const auto* column = dynamic_cast<const Extract*>(&tree)) {
    const XeFieldDescriptorRef& field = column->GetFieldDescriptor();
    if (field && IsName(field->GetFieldName())) {
      error.AddInput(field->GetFieldName(), TextOf(*field, record));
    }
  }
  for (int i = 0; i < tree.CountOperands(); ++i) {
    if (RExpression* const operand = tree.GetIthOperand(i)) AddColumns(error, *operand, record);
  }
}

}  // namespace

void TellInputs(ErrorMessage& error, RExpression& tree, const WorkRecord& record) {
  const int position = error.GetSourcePosition();
  if (position == ErrorMessage::kNoPosition) return;
  if (tree.GetSourcePosition() == position) return AddColumns(error, tree, record.GetData());
  for (int i = 0; i < tree.CountOperands(); ++i) {
    if (RExpression* const operand = tree.GetIthOperand(i)) TellInputs(error, *operand, record);
  }
}

}  // namespace sqxer
