#include "OperandRules.h"

#include <algorithm>

#include "FunctionTable.h"
#include "NodeProber.h"
#include "PlanError.h"
#include "TypedCall.h"
#include "Utility/Settings.h"
#include "WideCounts.h"

namespace sqxer {
namespace {

bool IsInteger(XeDataType type) { return type == XeInt4Data || type == XeUInt4Data; }

bool IsNumber(XeDataType type) {
  return IsInteger(type) || type == XeBitData || type == XeDoubleData || type == XeNumericData;
}

/// The type that open literals take: that of the first argument that has one, else `fallback`.
XeDataType PartnerType(const TypedArguments& arguments, XeDataType fallback) {
  for (const TypedExpressionPtr& argument : arguments)
    if (!argument->IsOpenNull() && !argument->IsOpenText()) return argument->type;
  for (const TypedExpressionPtr& argument : arguments)
    if (!argument->IsOpenNull()) return argument->type;
  return fallback;
}

TypedExpressionPtr TypeNull(const TypedExpressionPtr& argument, XeDataType type) {
  if (!argument->IsOpenNull()) return argument;
  // There are no bit literals.
  return ConvertTyped(argument, type == XeBitData ? XeInt4Data : type);
}

/// A text literal as what `type` needs; unchanged where texts are left to the operator.
TypedExpressionPtr TypeText(const TypedExpressionPtr& argument, XeDataType type) {
  if (!argument->IsOpenText()) return argument;
  const XeString& text = std::get<XeString>(argument->constant.value);
  int position = argument->position;
  if (IsNumber(type)) return MakeTypedConstant(ReadNumberText(text, type, position), position);
  switch (type) {
    case XeDateData:
      return MakeTypedConstant(ReadDateText(text, position), position);
    case XeTimeData:
    case XeDateTimeData:
    case XeIntervalData:
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

void CountsAsDecimals(TypedArguments& arguments) {
  for (TypedExpressionPtr& argument : arguments)
    if (IsWideCount(*argument)) argument = ConvertTyped(argument, XeNumericData);
}

void ConvertLiteralsWhereHeld(TypedArguments& arguments, XeDataType from, XeDataType to) {
  for (TypedExpressionPtr& argument : arguments) {
    if (argument->type != from || !argument->IsLiteral()) continue;
    if (std::optional<PlanConstant> converted = ConvertConstant(argument->constant, to))
      argument = MakeTypedConstant(*converted, argument->position);
  }
}

void AvoidMixedSigns(TypedArguments& arguments) {
  bool onlyIntegers = std::all_of(arguments.begin(), arguments.end(),
                                  [](const auto& argument) { return IsInteger(argument->type); });
  if (!onlyIntegers) return;
  auto any = [&](XeDataType type, bool literalsToo) {
    return std::any_of(arguments.begin(), arguments.end(), [&](const auto& argument) {
      return argument->type == type && (literalsToo || !argument->IsLiteral());
    });
  };
  if (!any(XeInt4Data, true) || !any(XeUInt4Data, true)) return;
  if (!any(XeInt4Data, false)) ConvertLiteralsWhereHeld(arguments, XeInt4Data, XeUInt4Data);
  if (!any(XeUInt4Data, false)) ConvertLiteralsWhereHeld(arguments, XeUInt4Data, XeInt4Data);
  if (!any(XeInt4Data, true) || !any(XeUInt4Data, true)) return;
  for (TypedExpressionPtr& argument : arguments) argument = ConvertTyped(argument, XeNumericData);
}

/// Literals beyond signed integers, which are decimals by themselves, as unsigned ones where they
/// are compared with nothing else. (In arithmetic the literal's own type decides the result's.)
void WholeLiteralsAsUnsigned(TypedArguments& arguments) {
  bool unsignedColumns = std::all_of(arguments.begin(), arguments.end(), [](const auto& argument) {
    return argument->IsLiteral() || argument->type == XeUInt4Data;
  });
  if (unsignedColumns) ConvertLiteralsWhereHeld(arguments, XeNumericData, XeUInt4Data);
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
           (branch->type == XeCharData && !branch->IsTextConstant() && branch->length < longest);
  });
}

/// Fixed texts among constants filled up with blanks to the length that a fixed result has.
void PadFixedConstants(TypedArguments& branches) {
  uint32 longest = 0;
  for (const TypedExpressionPtr& branch : branches) longest = std::max(longest, branch->length);
  for (TypedExpressionPtr& branch : branches) {
    if (branch->type != XeCharData || !branch->IsTextConstant()) continue;
    PlanConstant padded = branch->constant;
    std::get<XeString>(padded.value).resize(longest, L' ');
    branch = MakeTypedConstant(padded, branch->position);
  }
}

/// Brings branches of which one is the result, or which are compared for equality, to types that
/// meet as a person expects. A NULL without a type stays one.
void SettleBranches(std::span<TypedExpressionPtr> branches) {
  TypedArguments typed;
  for (const TypedExpressionPtr& branch : branches)
    if (!branch->IsOpenNull()) typed.push_back(branch);
  XeDataType partner = PartnerType(typed, XeLongVarCharData);
  for (TypedExpressionPtr& branch : typed) branch = TypeText(branch, partner);
  AvoidMixedSigns(typed);
  if (MeetAsLongTexts(typed)) {
    for (TypedExpressionPtr& branch : typed)
      if (branch->type == XeCharData) branch = ConvertTyped(branch, XeLongVarCharData);
  } else {
    PadFixedConstants(typed);
  }
  auto next = typed.begin();
  for (TypedExpressionPtr& branch : branches)
    if (!branch->IsOpenNull()) branch = *next++;
}

/// What escapes in LIKE. A text that varies may be empty in some row, where the node relies on one
/// character; that of a parameter is the same in every row.
TypedExpressionPtr AsEscape(const TypedExpressionPtr& argument) {
  TypedExpressionPtr escape = argument;
  if (escape->parameter) {
    if (const auto value = EvaluateWithoutColumns(*escape))
      escape = MakeTypedConstant(*value, escape->position);
  }
  if (!escape->IsConstant()) {
    if (escape->type == XeLongVarCharData)
      ThrowPlanError(kNotALiteral, escape->position, {L"LIKE", L"escape"});
    return escape;
  }
  // Its own length counts. As a fixed text it is one that the node reads once, as the pattern is.
  PlanConstant constant = escape->constant;
  constant.declared = 0;
  if (constant.IsText()) constant.type = XeCharData;
  return MakeTypedConstant(constant, escape->position);
}

void PrepareTextAndConstant(TypedArguments& arguments, const wchar_t* function,
                            const wchar_t* constant) {
  arguments[0] = TypeNull(arguments[0], XeLongVarCharData);
  if (!arguments[1]->IsTextConstant())
    ThrowPlanError(kNotALiteral, arguments[1]->position, {function, constant});
}

}  // namespace

bool IsWideCount(const TypedExpression& argument) {
  // CASE and COALESCE pass counts on.
  if (argument.kind == TypedExpression::Kind::kCall && argument.type == XeUInt4Data)
    return std::ranges::any_of(argument.arguments,
                               [](const auto& passed) { return IsWideCount(*passed); });
  const bool isWide = Settings::Current()->GetSwitches().wideIntegerAggregates_;
  if (argument.kind == TypedExpression::Kind::kColumn)
    return isWide && argument.type == XeUInt4Data && argument.column.isBigint;
  if (!argument.aggregate) return false;
  using Rule = AggregateResult::Rule;
  const auto& results = argument.function->aggregate->results;
  const Rule rule = results[static_cast<std::size_t>(argument.index)].rule;
  // With OVER there are aggregates of counts.
  if (rule == Rule::kArgument) return IsWideCount(*argument.arguments[0]);
  return isWide && (rule == Rule::kCount || rule == Rule::kPlace);
}

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
    const bool isLeftToTheNode = SUXeDataTypeUtility::IsXeTextType(argument->type) ||
                                 SUXeDataTypeUtility::IsXeBinaryType(argument->type);
    if (!isLeftToTheNode) argument = CastTyped(argument, {XeLongVarCharData}, argument->position);
  }
}

void PrepareComparison(TypedArguments& arguments) {
  // The comparison itself would cut a fixed parameter to the length of its partner.
  const bool isTexts = std::ranges::all_of(arguments, [](const auto& argument) {
    return SUXeDataTypeUtility::IsXeTextType(argument->type) || argument->IsOpenNull();
  });
  for (TypedExpressionPtr& argument : arguments)
    if (isTexts && argument->parameter && argument->type == XeCharData)
      argument = ConvertTyped(argument, XeLongVarCharData);
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
  WholeLiteralsAsUnsigned(arguments);
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
  if (arguments.size() > 2) arguments[2] = AsEscape(arguments[2]);
}

void PrepareMembership(TypedArguments& arguments) {
  PrepareComparison(arguments);
  RefuseBinary(arguments, L"In");
  std::stable_partition(arguments.begin() + 1, arguments.end(),
                        [](const auto& member) { return member->IsConstant(); });
}

void PrepareCoalesce(TypedArguments& arguments) { SettleBranches(arguments); }

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

void PrepareLag(TypedArguments& arguments) {
  if (arguments.size() > 1) {
    const TypedExpressionPtr& distance = arguments[1];
    arguments[1] = distance->IsOpenNull() ? ConvertTyped(distance, XeInt4Data) : Widened(distance);
  }
  if (arguments.size() < 3) return;
  TypedArguments values{arguments[0], arguments[2]};
  PrepareIfNull(values);
  const XeDataType type =
      SettleCall(*FindFunctions("ifnull").front(), values, arguments[2]->position)->type;
  arguments[0] = ConvertTyped(values[0], type);
  arguments[2] = ConvertTyped(values[1], type);
}

void PrepareExtreme(TypedArguments& arguments) {
  if (std::ranges::all_of(arguments, [](const auto& argument) { return argument->IsOpenNull(); }))
    arguments[0] = ConvertTyped(arguments[0], XeLongVarCharData);
  SettleBranches(arguments);
  CountBitsAsIntegers(arguments);
  RefuseBinary(arguments, L"Greatest");
}

void PrepareBits(TypedArguments& arguments) {
  PrepareAs<'n'>(arguments);
  bool areIntegers = true;
  for (const TypedExpressionPtr& argument : arguments) {
    if (argument->type == XeDoubleData || !IsNumber(argument->type))
      ThrowPlanError(59001, argument->position,
                     {L"bit operator", SUXeDataTypeUtility::GetXeDataTypeName(argument->type)});
    areIntegers = areIntegers && argument->type == XeInt4Data;
  }
  if (areIntegers) return;
  for (TypedExpressionPtr& argument : arguments) argument = ConvertTyped(argument, XeNumericData);
}

void PrepareDoublesOrDecimals(TypedArguments& arguments) {
  PrepareAs<'n'>(arguments);
  const bool anyDouble = std::ranges::any_of(
      arguments, [](const auto& argument) { return argument->type == XeDoubleData; });
  for (TypedExpressionPtr& argument : arguments) {
    if (IsNumber(argument->type))
      argument = ConvertTyped(argument, anyDouble ? XeDoubleData : XeNumericData);
  }
}

void PrepareRegexpReplace(TypedArguments& arguments) {
  const bool hasOptions =
      arguments.size() == 4 && SUXeDataTypeUtility::IsXeTextType(arguments[3]->type);
  hasOptions ? PrepareAs<'t'>(arguments) : PrepareAs<'t', 't', 't', 'w', 'w', 't'>(arguments);
}

void PrepareCaseWhen(TypedArguments& arguments) {
  const std::size_t results = CountCaseResults(arguments.size(), false);
  const auto firstResult = arguments.end() - static_cast<std::ptrdiff_t>(results);
  for (auto condition = arguments.begin(); condition != firstResult; ++condition)
    *condition = AsCondition(*condition, L"CASE WHEN");
  SettleBranches(std::span(firstResult, arguments.end()));
}

void PrepareCase(TypedArguments& arguments) {
  const std::size_t results = CountCaseResults(arguments.size(), true);
  const auto firstResult = arguments.end() - static_cast<std::ptrdiff_t>(results);
  const std::span compared(arguments.begin(), firstResult);
  SettleBranches(compared);
  for (TypedExpressionPtr& value : compared) {
    if (value->type == XeBitData) value = ConvertTyped(value, XeInt4Data);
  }
  SettleBranches(std::span(firstResult, arguments.end()));
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
      case 'i':
        argument = TypeText(TypeNull(argument, XeIntervalData), XeIntervalData);
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

void PrepareSubString(TypedArguments& arguments) {
  const bool isPattern = SUXeDataTypeUtility::IsXeTextType(arguments[1]->type);
  if (isPattern && arguments.size() == 2) return PrepareAs<'t'>(arguments);
  for (std::size_t i = 1; i < arguments.size(); ++i)
    if (SUXeDataTypeUtility::IsXeTextType(arguments[i]->type))
      ThrowPlanError(kClauseNotUnderstood, arguments[i]->position,
                     {L"SUBSTRING with a pattern and an escape"});
  PrepareAs<'t', 'n'>(arguments);
}

std::size_t ReadWord(const TypedExpression& argument, const wchar_t* what,
                     std::span<const wchar_t* const> words) {
  XeString text = L"a computed value";
  if (argument.IsConstant()) {
    text = argument.constant.IsNull() ? XeString(L"NULL")
                                      : std::get<XeString>(ConstantAsText(argument.constant).value);
  }
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
