#pragma once

#include "SQXERCompareNode.h"
#include "SQXERExpression.h"
#include "SQXEROpsCompare.h"

namespace sqxer {

/// The six comparisons. Each is built as its generic node, which exists to be bound: Bind brings
/// the operands to one type and hands back the typed variant of that type, which has taken over the
/// operands. Error 59001 ("Binary Logical", types) when the operands cannot meet, 59002 (name of
/// the comparison, type) when values of their type cannot be compared.
///
/// A variant writes one byte, 1 or 0. A comparison with a NULL is NULL; the right operand is
/// evaluated only when the left one has a value.

/// left = right.
class SQXEREXPR_API EQ : public BinaryOperator {
 public:
  using BinaryOperator::BinaryOperator;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
};

/// left <> right.
class SQXEREXPR_API NE : public BinaryOperator {
 public:
  using BinaryOperator::BinaryOperator;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
};

/// left < right.
class SQXEREXPR_API LT : public BinaryOperator {
 public:
  using BinaryOperator::BinaryOperator;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
};

/// left <= right.
class SQXEREXPR_API LE : public BinaryOperator {
 public:
  using BinaryOperator::BinaryOperator;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
};

/// left > right.
class SQXEREXPR_API GT : public BinaryOperator {
 public:
  using BinaryOperator::BinaryOperator;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
};

/// left >= right.
class SQXEREXPR_API GE : public BinaryOperator {
 public:
  using BinaryOperator::BinaryOperator;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
};

class SQXEREXPR_API EQInt32 final : public CompareNode<EQ, EqualToOp, int32> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API EQUInt32 final : public CompareNode<EQ, EqualToOp, uint32> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API EQFloat64 final : public CompareNode<EQ, EqualToOp, float64> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API EQNumber final : public CompareNode<EQ, EqualToOp, VelmarNumber> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API EQDate final : public CompareNode<EQ, EqualToOp, XeDate> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API EQTime final : public CompareNode<EQ, EqualToOp, XeTime> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API EQDateTime final : public CompareNode<EQ, EqualToOp, XeDateTime> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API EQInterval final : public CompareNode<EQ, EqualToOp, XeInterval> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API EQXeChar final : public TextCompareNode<EQ, EqualToOp, wchar_t*> {
 public:
  using TextCompareNode::TextCompareNode;
};
class SQXEREXPR_API EQLongVarXeChar final : public TextCompareNode<EQ, EqualToOp, RefLongVarChar> {
 public:
  using TextCompareNode::TextCompareNode;
};

class SQXEREXPR_API NEInt32 final : public CompareNode<NE, NotEqualToOp, int32> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API NEUInt32 final : public CompareNode<NE, NotEqualToOp, uint32> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API NEFloat64 final : public CompareNode<NE, NotEqualToOp, float64> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API NENumber final : public CompareNode<NE, NotEqualToOp, VelmarNumber> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API NEDate final : public CompareNode<NE, NotEqualToOp, XeDate> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API NETime final : public CompareNode<NE, NotEqualToOp, XeTime> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API NEDateTime final : public CompareNode<NE, NotEqualToOp, XeDateTime> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API NEInterval final : public CompareNode<NE, NotEqualToOp, XeInterval> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API NEXeChar final : public TextCompareNode<NE, NotEqualToOp, wchar_t*> {
 public:
  using TextCompareNode::TextCompareNode;
};
class SQXEREXPR_API NELongVarXeChar final
    : public TextCompareNode<NE, NotEqualToOp, RefLongVarChar> {
 public:
  using TextCompareNode::TextCompareNode;
};

class SQXEREXPR_API LTInt32 final : public CompareNode<LT, LessThanOp, int32> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API LTUInt32 final : public CompareNode<LT, LessThanOp, uint32> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API LTFloat64 final : public CompareNode<LT, LessThanOp, float64> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API LTNumber final : public CompareNode<LT, LessThanOp, VelmarNumber> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API LTDate final : public CompareNode<LT, LessThanOp, XeDate> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API LTTime final : public CompareNode<LT, LessThanOp, XeTime> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API LTDateTime final : public CompareNode<LT, LessThanOp, XeDateTime> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API LTInterval final : public CompareNode<LT, LessThanOp, XeInterval> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API LTXeChar final : public TextCompareNode<LT, LessThanOp, wchar_t*> {
 public:
  using TextCompareNode::TextCompareNode;
};
class SQXEREXPR_API LTLongVarXeChar final : public TextCompareNode<LT, LessThanOp, RefLongVarChar> {
 public:
  using TextCompareNode::TextCompareNode;
};

class SQXEREXPR_API LEInt32 final : public CompareNode<LE, LessThanEqualToOp, int32> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API LEUInt32 final : public CompareNode<LE, LessThanEqualToOp, uint32> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API LEFloat64 final : public CompareNode<LE, LessThanEqualToOp, float64> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API LENumber final : public CompareNode<LE, LessThanEqualToOp, VelmarNumber> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API LEDate final : public CompareNode<LE, LessThanEqualToOp, XeDate> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API LETime final : public CompareNode<LE, LessThanEqualToOp, XeTime> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API LEDateTime final : public CompareNode<LE, LessThanEqualToOp, XeDateTime> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API LEInterval final : public CompareNode<LE, LessThanEqualToOp, XeInterval> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API LEXeChar final : public TextCompareNode<LE, LessThanEqualToOp, wchar_t*> {
 public:
  using TextCompareNode::TextCompareNode;
};
class SQXEREXPR_API LELongVarXeChar final
    : public TextCompareNode<LE, LessThanEqualToOp, RefLongVarChar> {
 public:
  using TextCompareNode::TextCompareNode;
};

class SQXEREXPR_API GTInt32 final : public CompareNode<GT, GreaterThanOp, int32> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API GTUInt32 final : public CompareNode<GT, GreaterThanOp, uint32> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API GTFloat64 final : public CompareNode<GT, GreaterThanOp, float64> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API GTNumber final : public CompareNode<GT, GreaterThanOp, VelmarNumber> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API GTDate final : public CompareNode<GT, GreaterThanOp, XeDate> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API GTTime final : public CompareNode<GT, GreaterThanOp, XeTime> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API GTDateTime final : public CompareNode<GT, GreaterThanOp, XeDateTime> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API GTInterval final : public CompareNode<GT, GreaterThanOp, XeInterval> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API GTXeChar final : public TextCompareNode<GT, GreaterThanOp, wchar_t*> {
 public:
  using TextCompareNode::TextCompareNode;
};
class SQXEREXPR_API GTLongVarXeChar final
    : public TextCompareNode<GT, GreaterThanOp, RefLongVarChar> {
 public:
  using TextCompareNode::TextCompareNode;
};

class SQXEREXPR_API GEInt32 final : public CompareNode<GE, GreaterThanEqualToOp, int32> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API GEUInt32 final : public CompareNode<GE, GreaterThanEqualToOp, uint32> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API GEFloat64 final : public CompareNode<GE, GreaterThanEqualToOp, float64> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API GENumber final : public CompareNode<GE, GreaterThanEqualToOp, VelmarNumber> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API GEDate final : public CompareNode<GE, GreaterThanEqualToOp, XeDate> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API GETime final : public CompareNode<GE, GreaterThanEqualToOp, XeTime> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API GEDateTime final : public CompareNode<GE, GreaterThanEqualToOp, XeDateTime> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API GEInterval final : public CompareNode<GE, GreaterThanEqualToOp, XeInterval> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API GEXeChar final : public TextCompareNode<GE, GreaterThanEqualToOp, wchar_t*> {
 public:
  using TextCompareNode::TextCompareNode;
};
class SQXEREXPR_API GELongVarXeChar final
    : public TextCompareNode<GE, GreaterThanEqualToOp, RefLongVarChar> {
 public:
  using TextCompareNode::TextCompareNode;
};

}  // namespace sqxer
