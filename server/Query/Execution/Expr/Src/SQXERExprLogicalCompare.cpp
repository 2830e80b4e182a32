#include "SQXERExprLogicalCompare.h"

#include "SQXERTypedVariant.h"

namespace sqxer {
namespace {

struct ComparisonOperator {
  const wchar_t* name;
  std::span<const TypedVariant> variants;
};

// The names are matched by callers, so the wrong one of <> and the odd capitals stay.
constexpr ComparisonOperator kEQ = {
    L"Equals To", kVariants<EQXeChar, EQLongVarXeChar, EQInt32, EQUInt32, EQFloat64, EQNumber,
                            EQDate, EQTime, EQDateTime, EQInterval>};
constexpr ComparisonOperator kNE = {
    L"Equal", kVariants<NEXeChar, NELongVarXeChar, NEInt32, NEUInt32, NEFloat64, NENumber, NEDate,
                        NETime, NEDateTime, NEInterval>};
constexpr ComparisonOperator kLT = {
    L"Less Than", kVariants<LTXeChar, LTLongVarXeChar, LTInt32, LTUInt32, LTFloat64, LTNumber,
                            LTDate, LTTime, LTDateTime, LTInterval>};
constexpr ComparisonOperator kLE = {
    L"Less Than Equal TO", kVariants<LEXeChar, LELongVarXeChar, LEInt32, LEUInt32, LEFloat64,
                                     LENumber, LEDate, LETime, LEDateTime, LEInterval>};
constexpr ComparisonOperator kGT = {
    L"Greater Than", kVariants<GTXeChar, GTLongVarXeChar, GTInt32, GTUInt32, GTFloat64, GTNumber,
                               GTDate, GTTime, GTDateTime, GTInterval>};
constexpr ComparisonOperator kGE = {
    L"Greater Than Equals To", kVariants<GEXeChar, GELongVarXeChar, GEInt32, GEUInt32, GEFloat64,
                                         GENumber, GEDate, GETime, GEDateTime, GEInterval>};

/// Chooses the variant of a node whose operands have been brought to one type.
void ChooseComparison(const ComparisonOperator& op, RExpression& node, RExpression*& replacement) {
  const XeDataType type = node.GetIthOperand(0)->GetResultDataType();
  const TypedVariant* variant = FindVariant(op.variants, type);
  if (variant == nullptr) {
    RExpression::throwExecutionError(kTypeNotComparable, op.name, type, XeUnknown);
  }
  ReplaceBy(node, variant->make(), XeBoolean, replacement);
}

}  // namespace

void EQ::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindLogicalCommon(stream, replacement, info);
  ChooseComparison(kEQ, *this, replacement);
}

void NE::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindLogicalCommon(stream, replacement, info);
  ChooseComparison(kNE, *this, replacement);
}

void LT::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindLogicalCommon(stream, replacement, info);
  ChooseComparison(kLT, *this, replacement);
}

void LE::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindLogicalCommon(stream, replacement, info);
  ChooseComparison(kLE, *this, replacement);
}

void GT::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindLogicalCommon(stream, replacement, info);
  ChooseComparison(kGT, *this, replacement);
}

void GE::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindLogicalCommon(stream, replacement, info);
  ChooseComparison(kGE, *this, replacement);
}

}  // namespace sqxer
