#include "CalledFunction.h"

#include <algorithm>

#include "ArrowHandle.h"
#include "ArrowReader.h"
#include "ArrowWriter.h"
#include "ChunkBuilder.h"
#include "ColumnTypes.h"
#include "EngineError.h"
#include "ResultImpl.h"
#include "SQXERBatchStore.h"
#include "SQXERMakeNode.h"
#include "TableBatch.h"
#include "Utility/BaseStringUtil.h"

namespace sqxer::engine {
namespace {

/// Characters of a text of which nothing was said.
constexpr uint32 kMostCharacters = 4096;

bool IsText(XeDataType type) { return SUXeDataTypeUtility::IsXeTextType(type); }

ColumnInfo ReadType(const std::string& text) {
  const auto is = [&](const wchar_t* name) {
    return BaseStringUtil::IsCaseInsensitiveMatch(Wide(text), name);
  };
  ColumnInfo type;
  if (is(L"bigint") || is(L"int8")) {
    // Columns of it are numerics whose values were checked when they were read.
    ThrowEngineError(kFunctionType, {Wide(text)});
  } else if (const std::optional<ColumnInfo> read = ReadDeclaredType(text)) {
    type = *read;
  }
  switch (type.type) {
    case XeVarCharData:
      type.type = XeLongVarCharData;
      return type;
    case XeBoolean:
    case XeInt2Data:
    case XeInt4Data:
    case XeFloatData:
    case XeDoubleData:
    case XeNumericData:
    case XeDateData:
    case XeTimeData:
    case XeDateTimeData:
    case XeTimeStampData:
      return type;
    default:
      ThrowEngineError(kFunctionType, {Wide(text)});
  }
}

/// As casts name it: FLOAT is a double there.
std::string CastName(const ColumnInfo& type) {
  if (IsText(type.type)) return "VARCHAR";
  return type.type == XeFloatData ? "REAL" : BaseStringUtil::StringToUtf8(DeclaredTypeName(type));
}

class FunctionOfProgram final : public AddedFunction {
 public:
  explicit FunctionOfProgram(FunctionCallPtr call) : call_(std::move(call)) {}
  const std::vector<ColumnInfo>* GetArguments() const override {
    return call_->arguments ? &*call_->arguments : nullptr;
  }
  bool IsVolatile() const override { return call_->isVolatile; }
  std::unique_ptr<RExpression> MakeNode(
      std::vector<std::unique_ptr<RExpression>>& operands) const override {
    std::unique_ptr<RExpression> none;
    const std::size_t count = operands.size();
    return MakeNodeOf<CalledFunction>(
        call_, count == 0 ? none : operands.front(),
        GivenOperands(operands, std::min<std::size_t>(1, count), count));
  }

 private:
  const FunctionCallPtr call_;
};

template <class T>
void StoreOf(const BatchVector& vector, uint32 row, void* out) {
  const T value = ReadBatchValue<T>(vector, row);
  std::memcpy(out, static_cast<const void*>(&value), sizeof value);
}

}  // namespace

FunctionCallPtr MakeFunctionCall(const FunctionSpec& spec, CallFunction call) {
  FunctionCall made;
  made.name = Wide(spec.name);
  if (spec.arguments) {
    made.arguments.emplace();
    for (const std::string& argument : *spec.arguments) {
      made.arguments->push_back(ReadType(argument));
    }
  }
  made.result = ReadType(spec.result);
  if (IsText(made.result.type) && made.result.length == 0) made.result.length = kMostCharacters;
  made.isVolatile = spec.isVolatile;
  made.call = std::move(call);
  return std::make_shared<const FunctionCall>(std::move(made));
}

AddedFunctionPtr MakeAddedFunction(FunctionCallPtr call) {
  return std::make_shared<const FunctionOfProgram>(std::move(call));
}

void CalledFunction::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  settings_ = Settings::Current();
  schema_ = TableSchema{.name = call_->name, .columns = {}};
  layout_ = XeRecordMetaData();
  // Without arguments there is one operand, which is not there.
  const int count = operand_ == nullptr ? 0 : GetOperandCount();
  for (int i = 0; i < count; ++i) {
    const OperandShape shape = BindIthOperand(i, stream, replacement, info);
    const XeDataType type = GetIthOperand(i)->GetResultDataType();
    const ColumnInfo column{.name = L"a" + std::to_wstring(i + 1),
                            .type = type,
                            .length = std::max(shape.length, uint32{1}),
                            .nullable = true};
    schema_.columns.push_back(column);
    layout_.AddField(column.type, column.length, true, column.name);
  }
  layout_.GenerateAlignedFieldOffset();
  vectors_.resize(schema_.columns.size());
  WithStoredType(call_->result.type, [&]<class T>(std::type_identity<T>) { store_ = &StoreOf<T>; });
  SetResult(call_->result.type, info, call_->result.length);
  info.isNullable_ = true;
}

void CalledFunction::Call(const BatchRows& rows) {
  ChunkBuilder builder(layout_, vectors_.size());
  builder.Append(vectors_, rows);
  const TableChunk arguments = builder.Take();
  const ArrowWriter writer(schema_, {&arguments, 1},
                           {.numerics = ArrowWriteOptions::Numerics::kDecimal});
  ArrowHandle<ArrowSchema> schema;
  ArrowHandle<ArrowArray> array;
  writer.WriteSchema(schema.Get());
  writer.WriteArray(arguments, array.Get());
  ArrowHandle<ArrowArrayStream> given;
  call_->call(schema.Get(), array.Get(), given.Get());

  Table results = AtSourcePosition(
      [&] { return ReadArrowTable(given.Get(), ArrowReadOptions{.name = call_->name}); });
  if (results.rowCount != arguments.rows || results.schema.columns.size() != 1) {
    // Of one row there may be as many values as are wanted: the error is that of the batch.
    otherRows_ = {results.rowCount, arguments.rows};
    if (rows.source != RowOfRecord().source) SUGThrow(ErrorMessage(kFunctionRows));
    RaiseOtherRows();
  }
  results_ = Convert(std::move(results));
  chunk_ = 0;
  row_ = 0;
  ShowChunk();
}

void CalledFunction::RaiseOtherRows() {
  const auto [given, wanted] = *std::exchange(otherRows_, std::nullopt);
  RaiseError(kFunctionRows, {call_->name, std::to_wstring(given), std::to_wstring(wanted)});
}

std::vector<TableChunk> CalledFunction::Convert(Table results) {
  ColumnInfo& column = results.schema.columns.front();
  const bool isText = IsText(call_->result.type);
  if (column.type == call_->result.type || (isText && IsText(column.type))) {
    return std::move(results.chunks);
  }
  const auto refuse = [&](const char* reason) {
    RaiseError(kFunctionValues,
               {call_->name, DeclaredTypeName(call_->result), Wide(std::string(reason))});
  };
  try {
    if (!cast_ || castFrom_.type != column.type) {
      castFrom_ = column;
      castFrom_.name = L"value";
      const TableSchema schema{.name = call_->name, .columns = {castFrom_}};
      cast_ = std::make_unique<Evaluator::Impl>("CAST(value AS " + CastName(call_->result) + ")",
                                                schema, std::vector<std::string>(),
                                                AddedFunctions(), settings_);
    }
    column.name = castFrom_.name;
    KeepingSink sink;
    cast_->RunOver(std::move(results), sink);
    return std::move(sink.chunks);
  } catch (const ErrorMessage& error) {
    refuse(error.what());
  } catch (const Error& error) {
    refuse(error.what());
  }
  return {};
}

void CalledFunction::ShowChunk() {
  if (chunk_ < results_.size()) shown_ = ViewOf(results_[chunk_].columns.front(), 0);
}

RExprReturn CalledFunction::Take(void* out) {
  while (row_ == results_[chunk_].rows) {
    ++chunk_;
    row_ = 0;
    ShowChunk();
  }
  const uint32 row = row_++;
  if (shown_.IsNull(row)) return retCode_ = kUnknown;
  if (store_ != nullptr) {
    store_(shown_, row, out);
    return retCode_ = kTrue;
  }
  const BatchText text = shown_.GetText(row);
  if (text.length > call_->result.length) [[unlikely]] {
    RaiseError(kFunctionText,
               {call_->name, std::to_wstring(text.length), std::to_wstring(call_->result.length)});
  }
  if (shown_.form == ColumnForm::kText8) {
    text_.assign(text.characters, text.characters + text.length);
  } else {
    const auto* const wide = reinterpret_cast<const wchar_t*>(text.characters);
    text_.assign(wide, wide + text.length);
  }
  static_cast<RefLongVarChar*>(out)->buffer_ = text_.data();
  static_cast<RefLongVarChar*>(out)->length_ = text.length;
  return retCode_ = kTrue;
}

RExprReturn CalledFunction::Eval(void* out) {
  if (!isCalled_) {
    if (otherRows_) RaiseOtherRows();
    const BatchRows& row = RowOfRecord();
    for (std::size_t i = 0; i < vectors_.size(); ++i) {
      RExpression& operand = *GetIthOperand(static_cast<int>(i));
      if (!operand.EvalByRows(row, vectors_[i])) return retCode_ = kError;
    }
    Call(row);
  }
  return Take(out);
}

bool CalledFunction::EvalBatch(const BatchRows& rows, BatchVector& out) {
  for (std::size_t i = 0; i < vectors_.size(); ++i) {
    if (!EvaluateBatch(*GetIthOperand(static_cast<int>(i)), rows, vectors_[i])) return false;
  }
  try {
    Call(rows);
  } catch (...) {
    // Whatever the function throws is told by the row that comes to it, if one does.
    return false;
  }
  struct Called {
    explicit Called(bool& flag) : flag(flag) { flag = true; }
    ~Called() { flag = false; }
    bool& flag;
  };
  const Called called(isCalled_);
  // The values are there: nobody need fill the record.
  BatchRows taken = rows;
  taken.source = RowOfRecord().source;
  return EvalByRows(taken, out);
}

}  // namespace sqxer::engine
