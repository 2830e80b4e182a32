#pragma once

#include <memory>
#include <source_location>
#include <vector>

#include "SQXERBatch.h"
#include "SQXERExprType.h"
#include "Utility/ErrorMessage.h"
#include "Utility/XeAListStream.h"
#include "Utility/XeAssert.h"
#include "Utility/XeMemory.h"
#include "Utility/XeRecordMetaData.h"
#include "Utility/XeTypes.h"

namespace sqxer {

class RExpression;

/// Status of an evaluation. kTrue: a value was written. kUnknown: the result is NULL and the output
/// is not meaningful. The others pass upward unchanged.
enum RExprReturn { kFalse = 0, kTrue = 1, kUnknown = 2, kError = 3, kEod = 4 };

/// What a bound node tells its parent.
struct SQXEREXPR_API MetaDataInfo {
  /// Length of the value: bytes of a fixed type, the maximum length of a text or binary.
  uint32 objectLength_ = 0;
  /// True when the value can be NULL.
  bool isNullable_ = false;
  /// The column name that the value carries; XeRecordMetaData::exprFieldName_ for a computed value.
  XeString fieldName_;
  XeString aliasName_;
  int16 scale_ = 0;
  /// The query parameters met while binding, one entry for each node: its field in the parameter
  /// block, and the node (not owned, there as long as the bound tree).
  std::vector<XeFieldDescriptorRef> paramDescriptorArray_;
  std::vector<RExpression*> paramExpressions_;

  /// Resets everything for reuse.
  void Initialize();
  /// Appends the parameters that were met while an operand was bound.
  void AddParametersOf(const MetaDataInfo& operand);
};

/// What an operand told the node that bound it.
struct OperandShape {
  uint32 length = 0;
  bool nullable = false;
};

/// A node of an expression tree: built with its operands attached, bound once to a record layout,
/// then evaluated once per row. A node owns its operands. One tree is used by one thread at a time.
class SQXEREXPR_API RExpression : public XeGatewayObject {
 public:
  RExpression() : RExpression(0) {}
  explicit RExpression(int operands) : numOperands_(static_cast<int16>(operands)) {}
  RExpression(const RExpression&) = delete;
  RExpression& operator=(const RExpression&) = delete;

  virtual ~RExpression();

  /// Binds the operands, decides the result type, fills `info`, and may hand back in `replacement`
  /// (set to null otherwise) a node that takes this one's place and has taken over its operands;
  /// the caller then deletes this node and installs the replacement. Throws ErrorMessage for types
  /// that do not fit; the tree is then partly bound and can only be deleted.
  virtual void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) = 0;

  /// Evaluates against the current record. On kTrue a value of the result type stands at `out`;
  /// `out` has room and alignment for it.
  virtual RExprReturn Eval(void* out) = 0;

  /// The values for a batch of rows, as Eval gives them for each; see EvaluateBatch, which is what
  /// others call. False when some row has no value and is not NULL either: nothing is told of it,
  /// and the batch is to be done again by rows. What is thrown means the same. A node without a
  /// loop of its own runs Eval for each row: over batches of its operands where it takes those,
  /// else as EvalByRows does.
  virtual bool EvalBatch(const BatchRows& rows, BatchVector& out);
  /// The same row by row over the record that the trees are bound to, operands included.
  bool EvalByRows(const BatchRows& rows, BatchVector& out);
  /// Whether Eval takes the value of each operand, once a row, and asks nothing else of them, so
  /// that something else that gives their values may stand in their places.
  virtual bool TakesOperandValues() { return false; }
  /// Whether another Eval of the same row may give another value: such a tree is not for batches,
  /// which may be done twice.
  virtual bool IsVolatile() { return false; }
  /// Whether another node of the same class gives the same from equal operands, so that one of them
  /// is enough. `other` is of this node's class.
  virtual bool GivesSameAs(RExpression& /*other*/) { return false; }
  /// Whether the node, or its operands without it, goes over batches, at least where operands have
  /// plain forms.
  virtual bool HasBatchLoop() { return TakesOperandValues(); }
  /// What a batch of the tree costs for rows that do not need it.
  virtual BatchCost GetBatchCost() { return BatchCost::kDear; }

  virtual RExprType GetExpressionType() = 0;
  /// An index outside the operands is a broken invariant.
  virtual RExpression* GetIthOperand(int index) = 0;
  /// Installs an operand without deleting the one before it.
  virtual void SetIthOperand(int index, RExpression* operand) = 0;
  /// Gives up the only operand of a one-operand node; null for every other node.
  virtual RExpression* ReleaseExpression();
  /// The number of a query parameter; a broken invariant on any node that is none.
  virtual int GetParamNumber();

  XeDataType GetResultDataType() const { return resultDataType_; }
  void SetResultDataType(XeDataType type) { resultDataType_ = type; }
  bool GetIsRootNode() const { return isRootNode_; }
  void SetIsRootNode(bool isRoot) { isRootNode_ = isRoot; }
  RExprReturn GetRetCode() const { return retCode_; }
  int GetOperandCount() const { return numOperands_; }
  /// The same; of a node over a list also what is beyond the range of GetOperandCount.
  virtual int CountOperands() { return numOperands_; }
  bool GetSkipReBindChildren() const { return skipReBindChildren_; }
  void SetSkipReBindChildren(bool skip) { skipReBindChildren_ = skip; }

  /// What the node told when it was bound in its place, for a node that is built over bound
  /// operands (GetSkipReBindChildren). One that was not says only that it may be NULL.
  const OperandShape& GetBoundShape() const { return boundShape_; }
  void SetBoundShape(const OperandShape& shape) { boundShape_ = shape; }

  /// Byte offset in the SQL text of what the node stands for (ErrorMessage::kNoPosition when not
  /// known). A replacement inherits it, and errors raised by the node carry it.
  int GetSourcePosition() const { return sourcePosition_; }
  void SetSourcePosition(int position) { sourcePosition_ = position; }

  /// Raises an error whose arguments are the operator's name and the display names of the types,
  /// joined by "," when `second` is not XeUnknown.
  [[noreturn]] static void throwExecutionError(
      int code, const XeString& operatorName, XeDataType first, XeDataType second,
      std::source_location where = std::source_location::current());
  /// Raises 59001 with the operator's name and the operand's type unless that type is in `allowed`.
  static void CheckDataTypeAndThrowError(const RExpression* operand,
                                         const std::vector<XeDataType>& allowed,
                                         const XeString& operatorName);

 protected:
  /// Raises an error at this node's place in the SQL. `value`: see ErrorMessage.
  [[noreturn]] void RaiseError(int code, std::vector<XeString> arguments,
                               const XeString& value = {},
                               std::source_location where = std::source_location::current()) const;
  /// Calls an op that may raise errors of its own and gives them this node's place in the SQL.
  template <class Function>
  decltype(auto) AtSourcePosition(Function&& function) const {
    try {
      return function();
    } catch (ErrorMessage& error) {
      error.SetSourcePosition(sourcePosition_);
      throw;
    }
  }

  int16 numOperands_;
  XeDataType resultDataType_ = XeUnknown;
  bool isRootNode_ = false;
  /// EvalBatch of a node whose value is the same for every row.
  bool EvalOnce(const BatchRows& rows, BatchVector& out);
  /// The node's buffers, made when they are first asked for.
  BatchBuffers& GetBatchBuffers() {
    if (!batchBuffers_) batchBuffers_ = std::make_unique<BatchBuffers>();
    return *batchBuffers_;
  }

  RExprReturn retCode_ = kUnknown;
  /// The operands are bound already: Bind does not bind them again.
  bool skipReBindChildren_ = false;

 private:
  int sourcePosition_ = ErrorMessage::kNoPosition;
  OperandShape boundShape_{0, true};
  std::unique_ptr<BatchBuffers> batchBuffers_;
  friend class FewValuesEvaluation;
  friend class SharedTrees;
};

/// The values of a bound tree for a batch of rows. A tree that reads one column of few different
/// values is evaluated once for each of them. False, and what is thrown: see EvalBatch.
SQXEREXPR_API bool EvaluateBatch(RExpression& tree, const BatchRows& rows, BatchVector& out);

/// For tests: is given every vector of EvaluateBatch, and may put another one in its place, of the
/// same meaning. Null, as at first, for none; to be set while no tree is evaluated.
using BatchProbe = void (*)(RExpression& tree, const BatchRows& rows, BatchVector& out);
SQXEREXPR_API void SetBatchProbe(BatchProbe probe);

/// Has equal subtrees of these trees, which are bound to one record, evaluated once for a batch.
/// No tree may go before the others.
SQXEREXPR_API void ShareEqualTrees(const std::vector<RExpression*>& trees);

/// Whether no node of a tree is volatile.
SQXEREXPR_API bool IsRepeatable(RExpression& tree);
/// Whether no node of a tree runs Eval for each row of a batch.
SQXEREXPR_API bool HasBatchLoops(RExpression& tree);

/// Binds one operand in place: `slot` is bound with `info`, and when it hands back a replacement
/// the old node is deleted and the replacement put into `slot` with the old one's source position.
/// A replacement equal to the node itself is kept. The node that ends up in `slot` remembers what
/// it told. An ErrorMessage on its way out receives the operand's source position when it has none.
/// Afterwards `replacement` is null. A query parameter is added to `info`. No node at all in `slot`
/// is a broken invariant.
SQXEREXPR_API void BindInPlace(RExpression*& slot, XeAListStream* stream, RExpression*& replacement,
                               MetaDataInfo& info);

/// Binds the root of a tree and returns the tree to use from now on. The root is marked as one, so
/// a column that is the whole expression keeps its stored width. On a throw the tree is destroyed.
/// A node that stands in the tree twice is a broken invariant.
SQXEREXPR_API std::unique_ptr<RExpression> BindTree(std::unique_ptr<RExpression> root,
                                                    XeAListStream* stream, MetaDataInfo& info);

/// The class name of a node, such as AddInt32 or InDateTimeDataType<XeDate>.
SQXEREXPR_API XeString NodeName(const RExpression& node);
/// What the text of a tree tells of batches: nothing, or where rows of a batch are evaluated one by
/// one.
enum class BatchMarks { kNone, kByRows };
/// One line per node, operands indented by two blanks under their operator: class name, what the
/// node holds (a column, a value), and "-> TYPE". With kByRows, " (by rows)" follows for a node
/// without a loop of its own, which takes its operands with it. Does not change the tree.
SQXEREXPR_API XeString DescribeTree(RExpression& root, BatchMarks marks = BatchMarks::kNone);

/// Base of one-operand nodes.
class SQXEREXPR_API UnaryOperator : public RExpression {
 public:
  explicit UnaryOperator(RExpression* operand);
  UnaryOperator(RExpression* operand, XeDataType resultType);
  ~UnaryOperator() override;

  /// Binds the operand with the caller's own `info` and takes over its type. One that is bound
  /// already tells again what it told then.
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  RExprType GetExpressionType() override { return kUnaryExpression; }
  RExpression* GetIthOperand(int index) override;
  void SetIthOperand(int index, RExpression* operand) override;
  RExpression* ReleaseExpression() override;

 protected:
  RExpression* only_;
};

/// Base of two-operand nodes.
class SQXEREXPR_API BinaryOperator : public RExpression {
 public:
  BinaryOperator(RExpression* left, RExpression* right);
  ~BinaryOperator() override;

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  RExprType GetExpressionType() override { return kBinaryExpression; }
  RExpression* GetIthOperand(int index) override;
  void SetIthOperand(int index, RExpression* operand) override;

  /// For a character constant: a new constant of the target type with the value that its text reads
  /// as (owned by the caller), or null when the operand is no such constant, the target is not bit,
  /// int4, uint4, double or numeric, or the text does not parse.
  static RExpression* ConstStringToTypedConst(RExpression* operand, XeDataType target);

 protected:
  /// Binds both operands and brings two numeric operands to their common type.
  void BindArithmeticCommon(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info);
  /// Binds both operands and brings them to one type in which they can be compared; the result type
  /// becomes XeBoolean.
  void BindLogicalCommon(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info);
  /// Binds both operands, gathers their lengths and nullability into `info`, and returns the length
  /// of each.
  struct OperandLengths {
    uint32 left = 0;
    uint32 right = 0;
  };
  OperandLengths BindOperands(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info);
  /// Forgets the operands after they were moved into a replacement.
  void DetachOperands() { left_ = right_ = nullptr; }

  RExpression* left_;
  RExpression* right_;
  /// Scratch context in which each operand is bound.
  MetaDataInfo tempMetaDataInfo_;
};

}  // namespace sqxer
