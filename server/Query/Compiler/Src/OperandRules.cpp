#include "OperandRules.h"

#include <algorithm>

#include "FunctionTable.h"
#include "PlanError.h"
#include "Utility/Settings.h"

namespace sqxer {
namespace {

bool IsInteger(XeDataType type) { return type == XeInt4Data || type == XeUInt4Data; }

bool IsNumber(XeDataType type) {
  return IsInteger(type) || type == XeBitData || type == XeDoubleData || type == XeNumericData;
}

/// Literals whose type is still open: NULL, and texts where no text is asked for.
bool IsOpen(const TypedExpression& argument) {
  return argument.untypedNull || argument.IsTextConstant();
}

/// The type that open literals take: that of the first argument that has one, else `fallback`.
XeDataType PartnerType(const TypedArguments& arguments, XeDataType fallback) {
  for (const TypedExpressionPtr& argument : arguments)
    if (!IsOpen(*argument)) return argument->type;
  for (const TypedExpressionPtr& argument : arguments)
    if (!argument->untypedNull) return argument->type;
  return fallback;
}

TypedExpressionPtr TypeNull(const TypedExpressionPtr& argument, XeDataType type) {
  if (!argument->untypedNull) return argument;
  // There are no bit literals.
  return ConvertTyped(argument, type == XeBitData ? XeInt4Data : type);
}

/// A text constant as what `type` needs; unchanged where texts are left to the operator.
TypedExpressionPtr TypeText(const TypedExpressionPtr& argument, XeDataType type) {
  if (!argument->IsTextConstant()) return argument;
  const XeString& text = std::get<XeString>(argument->constant.value);
  int position = argument->position;
  if (IsNumber(type)) return MakeTypedConstant(ReadNumberText(text, type, position), position);
  switch (type) {
    case XeDateData:
      return MakeTypedConstant(ReadDateText(text, position), position);
    case XeTimeData:
    case XeDateTimeData:
    case XeBoolean:
      return MakeTypedConstant(ReadText(text, type, position), position);
    case XeCharData:
      return ConvertTyped(argument, XeCharData);
    default:
      return argument;
  }
}

void CountBitsAsIntegers(TypedArguments& arguments) {
  for (TypedExpressionPtr& argument : arguments)
    if (argument->type == XeBitData) argument = ConvertTyped(argument, XeInt4Data);
}

bool IsWideCount(const TypedExpression& argument) {
  // CASE and COALESCE pass counts on.
  if (argument.kind == TypedExpression::Kind::kCall && argument.type == XeUInt4Data)
    return std::ranges::any_of(argument.arguments,
                               [](const auto& passed) { return IsWideCount(*passed); });
  if (!argument.aggregate) return false;
  using Rule = AggregateResult::Rule;
  const auto& results = argument.function->aggregate->results;
  const Rule rule = results[static_cast<std::size_t>(argument.index)].rule;
  // With OVER there are aggregates of counts.
  if (rule == Rule::kArgument) return IsWideCount(*argument.arguments[0]);
  return (rule == Rule::kCount || rule == Rule::kPlace) &&
         Settings::Current()->GetSwitches().wideIntegerAggregates_;
}

void CountsAsDecimals(TypedArguments& arguments) {
  for (TypedExpressionPtr& argument : arguments)
    if (IsWideCount(*argument)) argument = ConvertTyped(argument, XeNumericData);
}

void ConvertConstantsWhereHeld(TypedArguments& arguments, XeDataType from, XeDataType to) {
  for (TypedExpressionPtr& argument : arguments) {
    if (argument->type != from || !argument->IsConstant()) continue;
    if (std::optional<PlanConstant> converted = ConvertConstant(argument->constant, to))
      argument = MakeTypedConstant(*converted, argument->position);
  }
}

void AvoidMixedSigns(TypedArguments& arguments) {
  bool onlyIntegers = std::all_of(arguments.begin(), arguments.end(),
                                  [](const auto& argument) { return IsInteger(argument->type); });
  if (!onlyIntegers) return;
  auto any = [&](XeDataType type, bool constantsToo) {
    return std::any_of(arguments.begin(), arguments.end(), [&](const auto& argument) {
      return argument->type == type && (constantsToo || !argument->IsConstant());
    });
  };
  if (!any(XeInt4Data, true) || !any(XeUInt4Data, true)) return;
  if (!any(XeInt4Data, false)) ConvertConstantsWhereHeld(arguments, XeInt4Data, XeUInt4Data);
  if (!any(XeUInt4Data, false)) ConvertConstantsWhereHeld(arguments, XeUInt4Data, XeInt4Data);
  if (!any(XeInt4Data, true) || !any(XeUInt4Data, true)) return;
  for (TypedExpressionPtr& argument : arguments) argument = ConvertTyped(argument, XeNumericData);
}

/// Literals beyond signed integers, which are decimals by themselves, as unsigned ones where they
/// are compared with nothing else. (In arithmetic the literal's own type decides the result's.)
void WholeConstantsAsUnsigned(TypedArguments& arguments) {
  bool unsignedColumns = std::all_of(arguments.begin(), arguments.end(), [](const auto& argument) {
    return argument->IsConstant() || argument->type == XeUInt4Data;
  });
  if (unsignedColumns) ConvertConstantsWhereHeld(arguments, XeNumericData, XeUInt4Data);
}

void IntegersAsDoubles(TypedArguments& arguments) {
  bool onlyIntegers = std::all_of(arguments.begin(), arguments.end(),
                                  [](const auto& argument) { return IsInteger(argument->type); });
  if (!onlyIntegers) return;
  for (TypedExpressionPtr& argument : arguments) argument = ConvertTyped(argument, XeDoubleData);
}

/// Brings the operands of arithmetic to numbers where they can be; integers to doubles when a
/// switch asks for it.
void SettleNumbers(TypedArguments& arguments, bool integersAsDoubles) {
  XeDataType partner = PartnerType(arguments, XeInt4Data);
  for (TypedExpressionPtr& argument : arguments) {
    argument = TypeNull(argument, partner);
    if (IsNumber(partner)) argument = TypeText(argument, partner);
  }
  CountBitsAsIntegers(arguments);
  if (integersAsDoubles) IntegersAsDoubles(arguments);
  CountsAsDecimals(arguments);
  AvoidMixedSigns(arguments);
}

/// Whether the texts among branches meet in the long form: when one is long, and when a fixed one
/// is shorter than another. Only by its own length does it give up the blanks that fill it.
bool MeetAsLongTexts(const TypedArguments& branches) {
  uint32 longest = 0;
  for (const TypedExpressionPtr& branch : branches) longest = std::max(longest, branch->length);
  return std::any_of(branches.begin(), branches.end(), [&](const TypedExpressionPtr& branch) {
    return branch->type == XeLongVarCharData ||
           (branch->type == XeCharData && !branch->IsConstant() && branch->length < longest);
  });
}

/// Brings branches of which one is the result, or which are compared for equality, to types that
/// meet as a person expects. A NULL without a type stays one.
void SettleBranches(std::span<TypedExpressionPtr> branches) {
  TypedArguments typed;
  for (const TypedExpressionPtr& branch : branches)
    if (!branch->untypedNull) typed.push_back(branch);
  XeDataType partner = PartnerType(typed, XeLongVarCharData);
  for (TypedExpressionPtr& branch : typed) branch = TypeText(branch, partner);
  AvoidMixedSigns(typed);
  if (MeetAsLongTexts(typed)) {
    for (TypedExpressionPtr& branch : typed)
      if (branch->type == XeCharData) branch = ConvertTyped(branch, XeLongVarCharData);
  }
  auto next = typed.begin();
  for (TypedExpressionPtr& branch : branches)
    if (!branch->untypedNull) branch = *next++;
}

/// A NULL constant that has a type, as a value of that type: nodes give no type to the constant.
TypedExpressionPtr AsNullValue(const TypedExpressionPtr& null) {
  auto value = std::make_shared<TypedExpression>(*null);
  value->kind = TypedExpression::Kind::kCall;
  value->constant = {};
  value->function = FindFunctions("ifnull").front();
  value->arguments = {null, null};
  value->size = 3;
  return value;
}

bool IsTypedNull(const TypedExpressionPtr& argument) {
  return argument->IsConstant() && argument->constant.IsNull() && !argument->untypedNull;
}

/// The same for branches that are results. Where all are NULL, those that have a type decide.
void SettleResults(std::span<TypedExpressionPtr> results) {
  SettleBranches(results);
  const bool allNull = std::ranges::all_of(results, [](const TypedExpressionPtr& result) {
    return result->IsConstant() && result->constant.IsNull();
  });
  for (TypedExpressionPtr& result : results)
    if (allNull && IsTypedNull(result)) result = AsNullValue(result);
}

void PrepareTextAndConstant(TypedArguments& arguments, const wchar_t* function,
                            const wchar_t* constant) {
  arguments[0] = TypeNull(arguments[0], XeLongVarCharData);
  if (!arguments[1]->IsTextConstant())
    ThrowPlanError(kNotALiteral, arguments[1]->position, {function, constant});
}

}  // namespace

void RefuseBinary(const TypedArguments& arguments, const wchar_t* node) {
  for (const TypedExpressionPtr& argument : arguments)
    if (SUXeDataTypeUtility::IsXeBinaryType(argument->type))
      ThrowPlanError(59001, argument->position,
                     {node, SUXeDataTypeUtility::GetXeDataTypeName(argument->type)});
}

void PrepareArithmetic(TypedArguments& arguments) {
  SettleNumbers(arguments, Settings::Current()->GetSwitches().integerMathAsDouble_);
}

void PrepareDivision(TypedArguments& arguments) {
  SettleNumbers(arguments, Settings::Current()->GetSwitches().integerDivideAsDouble_);
}

void PrepareNegation(TypedArguments& arguments) {
  TypedExpressionPtr& operand = arguments[0];
  operand = TypeText(TypeNull(operand, XeInt4Data), XeNumericData);
  CountBitsAsIntegers(arguments);
  // The negation of an unsigned number is no unsigned number.
  if (operand->type == XeUInt4Data) operand = ConvertTyped(operand, XeNumericData);
}

void PreparePlus(TypedArguments& arguments) {
  TypedExpressionPtr& operand = arguments[0];
  operand = TypeText(TypeNull(operand, XeInt4Data), XeNumericData);
  if (!IsNumber(operand->type))
    ThrowPlanError(59001, operand->position,
                   {L"UnaryPlus", SUXeDataTypeUtility::GetXeDataTypeName(operand->type)});
}

void PrepareConcatenation(TypedArguments& arguments) {
  for (TypedExpressionPtr& argument : arguments) {
    argument = TypeNull(argument, XeLongVarCharData);
    if (argument->IsConstant() && !argument->IsTextConstant())
      argument = MakeTypedConstant(ConstantAsText(argument->constant), argument->position);
  }
}

void PrepareComparison(TypedArguments& arguments) {
  XeDataType partner = PartnerType(arguments, XeLongVarCharData);
  for (TypedExpressionPtr& argument : arguments)
    argument = TypeText(TypeNull(argument, partner), partner);
  CountBitsAsIntegers(arguments);
  bool truth = std::any_of(arguments.begin(), arguments.end(),
                           [](const auto& argument) { return argument->type == XeBoolean; });
  bool comparable = std::all_of(arguments.begin(), arguments.end(), [](const auto& argument) {
    return argument->type == XeBoolean ||
           // A bit that was brought to an integer just now.
           (argument->kind == TypedExpression::Kind::kConvert &&
            argument->arguments[0]->type == XeBitData);
  });
  if (truth && comparable)
    for (TypedExpressionPtr& argument : arguments) argument = ConvertTyped(argument, XeInt4Data);
  WholeConstantsAsUnsigned(arguments);
  AvoidMixedSigns(arguments);
  // The comparison itself reads an unsigned right operand of a double as a signed number.
  if (arguments.size() == 2 && arguments[0]->type == XeDoubleData &&
      arguments[1]->type == XeUInt4Data)
    arguments[1] = ConvertTyped(arguments[1], XeDoubleData);
}

void PrepareConnective(TypedArguments& arguments) {
  for (TypedExpressionPtr& argument : arguments)
    argument = TypeText(TypeNull(argument, XeBoolean), XeBoolean);
}

void PrepareNot(TypedArguments& arguments) { arguments[0] = AsCondition(arguments[0], L"NOT"); }

void PrepareNullTest(TypedArguments& arguments) {
  arguments[0] = TypeNull(arguments[0], XeBoolean);
  CountBitsAsIntegers(arguments);
}

void PrepareLike(TypedArguments& arguments) {
  for (TypedExpressionPtr& argument : arguments) argument = TypeNull(argument, XeLongVarCharData);
  // Fixed text is matched where it stands; a long pattern would be copied for every row.
  if (arguments[1]->IsTextConstant()) arguments[1] = ConvertTyped(arguments[1], XeCharData);
  // A text that varies may be empty in some row, where the node relies on one character.
  if (arguments.size() > 2 && !arguments[2]->IsConstant() &&
      arguments[2]->type == XeLongVarCharData)
    ThrowPlanError(kNotALiteral, arguments[2]->position, {L"LIKE", L"escape"});
}

void PrepareMembership(TypedArguments& arguments) {
  PrepareComparison(arguments);
  RefuseBinary(arguments, L"In");
  std::stable_partition(arguments.begin() + 1, arguments.end(),
                        [](const auto& member) { return member->IsConstant(); });
}

void PrepareCoalesce(TypedArguments& arguments) { SettleResults(arguments); }

void PrepareIfNull(TypedArguments& arguments) {
  XeDataType partner = PartnerType(arguments, XeLongVarCharData);
  for (TypedExpressionPtr& argument : arguments) argument = TypeNull(argument, partner);
  SettleBranches(arguments);
}

void PrepareNullIf(TypedArguments& arguments) {
  PrepareIfNull(arguments);
  CountBitsAsIntegers(arguments);
  RefuseBinary(arguments, L"NullIf");
}

std::size_t CountCaseResults(std::size_t arguments, bool hasValue) {
  return (arguments - (hasValue ? 1 : 0) + 1) / 2;
}

void PrepareCaseWhen(TypedArguments& arguments) {
  const std::size_t results = CountCaseResults(arguments.size(), false);
  const auto firstResult = arguments.end() - static_cast<std::ptrdiff_t>(results);
  for (auto condition = arguments.begin(); condition != firstResult; ++condition)
    *condition = AsCondition(*condition, L"CASE WHEN");
  SettleResults(std::span(firstResult, arguments.end()));
}

void PrepareCase(TypedArguments& arguments) {
  const std::size_t results = CountCaseResults(arguments.size(), true);
  const auto firstResult = arguments.end() - static_cast<std::ptrdiff_t>(results);
  const std::span compared(arguments.begin(), firstResult);
  if (IsTypedNull(arguments[0])) arguments[0] = AsNullValue(arguments[0]);
  SettleBranches(compared);
  for (TypedExpressionPtr& value : compared) {
    if (value->type == XeBitData) value = ConvertTyped(value, XeInt4Data);
  }
  SettleResults(std::span(firstResult, arguments.end()));
}

void PrepareCast(TypedArguments& arguments) { CountBitsAsIntegers(arguments); }

void PrepareDateReading(TypedArguments& arguments) {
  PrepareTextAndConstant(arguments, L"this function", L"format");
}

void PrepareSortKey(TypedArguments& arguments) {
  PrepareTextAndConstant(arguments, L"NLSSORT", L"locale");
}

void PrepareByKind(TypedArguments& arguments, std::string_view kinds) {
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    TypedExpressionPtr& argument = arguments[i];
    switch (kinds[std::min(i, kinds.size() - 1)]) {
      case 't':
        argument = TypeNull(argument, XeLongVarCharData);
        break;
      case 'v':
        argument = TypeText(TypeNull(argument, XeDateTimeData), XeDateTimeData);
        break;
      case 'w':
        argument = TypeText(TypeNull(argument, XeInt4Data), XeNumericData);
        if (argument->type == XeBitData) argument = ConvertTyped(argument, XeInt4Data);
        if (argument->type == XeUInt4Data || argument->type == XeNumericData)
          argument = ConvertTyped(argument, XeDoubleData);
        break;
      default:
        argument = TypeText(TypeNull(argument, XeInt4Data), XeNumericData);
        if (argument->type == XeBitData) argument = ConvertTyped(argument, XeInt4Data);
        break;
    }
  }
}

std::size_t ReadWord(const TypedExpression& argument, const wchar_t* what,
                     std::span<const wchar_t* const> words) {
  const XeString text = argument.IsTextConstant() ? std::get<XeString>(argument.constant.value)
                                                  : XeString(L"a computed value");
  XeString accepted;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (argument.IsTextConstant() && BaseStringUtil::IsCaseInsensitiveMatch(words[i], text))
      return i;
    accepted += (i > 0 ? L", " : L"") + XeString(words[i]);
  }
  ThrowPlanError(kUnknownWord, argument.position, {what, accepted, text});
}

TypedExpressionPtr AsCondition(const TypedExpressionPtr& argument, const XeString& of) {
  TypedExpressionPtr condition = TypeText(TypeNull(argument, XeBoolean), XeBoolean);
  if (condition->type != XeBoolean && condition->type != XeBitData)
    ThrowPlanError(kNotACondition, condition->position,
                   {of, SUXeDataTypeUtility::GetXeDataTypeName(condition->type)});
  return condition;
}

}  // namespace sqxer
