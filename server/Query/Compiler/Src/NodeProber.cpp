#include "NodeProber.h"

#include <algorithm>
#include <cstddef>

#include "FunctionTable.h"
#include "PlanError.h"
#include "SQXERExprAggregate.h"
#include "SQXERExprConvert.h"
#include "SQXERExprExtract.h"
#include "SQXERExprParam.h"
#include "Utility/XeAListStream.h"

namespace sqxer {
namespace {

/// A record with room for any value of its fields. Its bytes are never read: trees are bound to it
/// for their types.
class ProbeRecord {
 public:
  void AddField(XeDataType type, uint32 length, bool nullable) {
    layout_.AddField(type, length, nullable, L"operand");
  }
  int GetFieldCount() const { return layout_.GetFieldCount(); }

  XeAListStream* Open() {
    layout_.GenerateAlignedFieldOffset();
    std::size_t blocks = layout_.GetBinaryRecordSize() / sizeof(Block) + 1;
    record_ = std::make_unique_for_overwrite<Block[]>(blocks);
    stream_.emplace(&layout_, reinterpret_cast<uint8*>(record_.get()));
    return &*stream_;
  }
  XeRecordMetaData& GetLayout() { return layout_; }

 private:
  struct alignas(16) Block {
    uint8 bytes[16];
  };
  XeRecordMetaData layout_;
  std::unique_ptr<Block[]> record_;
  std::optional<XeAListStream> stream_;
};

NodeAnswer Describe(const RExpression& bound, const MetaDataInfo& info) {
  NodeAnswer answer;
  answer.type = bound.GetResultDataType();
  // A node may report the length of its longest operand; of a fixed type only its width counts.
  answer.length = XeFieldDescriptor::GetObjectLength(answer.type, std::max(info.objectLength_, 1u));
  answer.nullable = info.isNullable_;
  return answer;
}

template <class Action>
auto AtPosition(int position, Action action) {
  try {
    return action();
  } catch (ErrorMessage& error) {
    error.SetSourcePosition(position);
    throw;
  }
}

}  // namespace

void TakeAnswer(TypedExpression& expression, const NodeAnswer& answer) {
  expression.type = answer.type;
  expression.length = answer.length;
  expression.nullable = answer.nullable;
}

NodeAnswer AskOperator(const TypedExpression& call) {
  ProbeRecord record;
  Operands operands;
  bool constant = !call.function->isVolatile;
  for (const TypedExpressionPtr& argument : call.arguments) {
    if (argument->IsConstant()) {
      operands.push_back(MakeConstantNode(argument->constant));
    } else if (argument->parameter) {
      constant = false;
      operands.push_back(std::make_unique<Param>(*argument->parameter));
    } else {
      constant = false;
      operands.push_back(std::make_unique<Extract>(record.GetFieldCount()));
      record.AddField(argument->type, argument->length, argument->nullable);
    }
    operands.back()->SetSourcePosition(call.position);
  }
  return AtPosition(call.position, [&] {
    MetaDataInfo info;
    XeAListStream* stream = record.Open();
    std::unique_ptr<RExpression> bound =
        BindTree(call.function->make(call, operands), stream, info);
    NodeAnswer answer = Describe(*bound, info);
    // A cast to a long text stands under a conversion, whose operand is no argument of the call.
    const bool isOperator = dynamic_cast<const Convert*>(bound.get()) == nullptr;
    for (int i = 0; isOperator && i < bound->GetOperandCount(); ++i) {
      const RExpression* operand = bound->GetIthOperand(i);
      answer.operandTypes.push_back(operand ? operand->GetResultDataType() : XeUnknown);
    }
    if (constant) answer.value = EvaluateConstant(*bound);
    return answer;
  });
}

NodeAnswer AskColumn(const ColumnInfo& column, bool isRoot, int position) {
  ProbeRecord record;
  record.AddField(column.type, column.length, column.nullable);
  return AtPosition(position, [&] {
    MetaDataInfo info;
    RExpression* node = new Extract(0);
    std::unique_ptr<RExpression> owner(node);
    node->SetIsRootNode(isRoot);
    RExpression* reader = nullptr;
    node->Bind(record.Open(), reader, info);
    if (reader && reader != node) owner.reset(reader);
    return Describe(*owner, info);
  });
}

std::optional<PlanConstant> EvaluateWithoutColumns(const TypedExpression& expression) {
  ProbeRecord record;
  MetaDataInfo info;
  XeAListStream* stream = record.Open();
  return EvaluateConstant(*BindTree(BuildTree(expression, {}), stream, info));
}

void AskAggregate(const TypedExpression& aggregate) {
  ProbeRecord record;
  UInt16Vector columns;
  for (const TypedExpressionPtr& argument : ColumnsOf(aggregate)) {
    columns.push_back(static_cast<uint16>(columns.size()));
    ColumnInfo input = ResultOfTree(*argument, {});
    record.AddField(input.type, input.length, input.nullable);
  }
  AtPosition(aggregate.position, [&] {
    record.Open();
    MetaDataInfo info;
    std::unique_ptr<Aggregate> node = BuildAggregate(aggregate, std::move(columns));
    BindGeneric(node, record.GetLayout(), info);
  });
}

ColumnInfo ResultOfTree(const TypedExpression& expression, const XeString& name) {
  ColumnInfo result;
  result.name = name;
  result.type = expression.type;
  result.length = std::max(expression.length, 1u);
  result.nullable = expression.nullable;
  using Kind = TypedExpression::Kind;
  const bool isStored = expression.kind == Kind::kColumn || expression.kind == Kind::kField ||
                        expression.kind == Kind::kAggregate || expression.kind == Kind::kWindow;
  if (isStored) {
    NodeAnswer stored = AskColumn(expression.column, true, expression.position);
    result.type = stored.type;
    result.length = stored.length;
    result.scale = expression.column.scale;
  }
  return result;
}

}  // namespace sqxer
