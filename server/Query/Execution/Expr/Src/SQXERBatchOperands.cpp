#include "SQXERBatchOperands.h"

#include "SQXERBatchFewValues.h"
#include "SQXERBatchStore.h"
#include "SQXERNoColumns.h"

namespace sqxer {

/// Gives the values of a vector as Eval gives those of an operand.
class BatchOperands::Cell final : public RExpression {
 public:
  explicit Cell(RExpression& operand) : RExpression(0) {
    resultDataType_ = operand.GetResultDataType();
    if (resultDataType_ == XeCharData) {
      read_ = &Cell::ReadFixedText;
    } else if (resultDataType_ == XeLongVarCharData) {
      read_ = &Cell::ReadLongText;
    } else {
      WithStoredType(resultDataType_, [&]<class T>(std::type_identity<T>) {
        const Read read = &Cell::ReadPlain<T>;
        read_ = read;
      });
    }
  }

  /// False for values that it does not give as rows have them.
  bool Start(RExpression& operand, const BatchRows& rows, const uint32& row) {
    row_ = &row;
    if (read_ == nullptr || !EvaluateBatch(operand, rows, vector_)) return false;
    // How far a fixed text of a column is filled with blanks is not known here.
    return resultDataType_ != XeCharData || vector_.texts != nullptr;
  }

  void Bind(XeAListStream*, RExpression*&, MetaDataInfo&) override { XeLogicError("bind a cell"); }
  RExprReturn Eval(void* out) override {
    if (vector_.IsNull(*row_)) return retCode_ = kUnknown;
    (this->*read_)(out);
    return retCode_ = kTrue;
  }
  RExprType GetExpressionType() override { return kConstantExpression; }
  RExpression* GetIthOperand(int) override { XeLogicError("operand index of a cell"); }
  void SetIthOperand(int, RExpression*) override { XeLogicError("operand index of a cell"); }

 private:
  using Read = void (Cell::*)(void* out);

  template <class T>
  void ReadPlain(void* out) {
    *static_cast<T*>(out) = ReadBatchValue<T>(vector_, *row_);
  }
  /// Zero-terminated.
  void ReadFixedText(void* out) { *static_cast<wchar_t**>(out) = Copy().data(); }
  void ReadLongText(void* out) {
    XeString& text = Copy();
    *static_cast<RefLongVarChar*>(out) = {static_cast<uint32>(text.size()), text.data()};
  }
  /// Nodes may change what they are given.
  XeString& Copy() {
    const BatchText text = vector_.GetText(*row_);
    if (vector_.form == ColumnForm::kText32) {
      text_.assign(reinterpret_cast<const wchar_t*>(text.characters), text.length);
    } else {
      text_.assign(text.characters, text.characters + text.length);
    }
    return text_;
  }

  const uint32* row_ = nullptr;
  BatchVector vector_;
  Read read_ = nullptr;
  XeString text_;
};

/// The rows of another source, of which only the number is put where the cells read it.
class BatchOperands::Rows final : public NoColumns {
 public:
  void FillRow(uint32 row) override { row_ = row; }
  const uint32& GetRow() const { return row_; }

 private:
  uint32 row_ = 0;
};

BatchOperands::BatchOperands(RExpression& node) : node_(node) {
  for (int i = 0; i < node.CountOperands(); ++i) {
    RExpression* const operand = node.GetIthOperand(i);
    if (operand == nullptr || IsSameInEveryRow(*operand)) continue;
    operands_.push_back({i, std::make_unique<Cell>(*operand)});
  }
}

BatchOperands::~BatchOperands() = default;

bool BatchOperands::Evaluate(const BatchRows& rows, BatchVector& out) {
  Rows source;
  for (const Operand& operand : operands_) {
    if (!operand.cell->Start(*node_.GetIthOperand(operand.index), rows, source.GetRow())) {
      return node_.EvalByRows(rows, out);
    }
  }
  // The node has its operands back whatever it throws.
  struct Swap {
    explicit Swap(BatchOperands& those) : operands(those) {
      for (const Operand& operand : operands.operands_) {
        kept.push_back(operands.node_.GetIthOperand(operand.index));
      }
      for (const Operand& operand : operands.operands_) {
        operands.node_.SetIthOperand(operand.index, operand.cell.get());
      }
    }
    ~Swap() {
      for (std::size_t i = 0; i < kept.size(); ++i) {
        operands.node_.SetIthOperand(operands.operands_[i].index, kept[i]);
      }
    }
    BatchOperands& operands;
    std::vector<RExpression*> kept;
  };
  const Swap swap(*this);
  BatchRows cells = rows;
  cells.source = &source;
  return node_.EvalByRows(cells, out);
}

}  // namespace sqxer
