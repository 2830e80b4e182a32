#pragma once

#include "OperatorOverStubs.h"
#include "SQXERExprConstant.h"
#include "SQXERExprFunction.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/DateTimeMetaData.h"
#include "server/Utility/UtilityTesting.h"

namespace sqxer::test {

inline constexpr int kPosition = 17;

/// An operand that is a text constant.
inline RExpression* T(const XeString& text) { return new ConstantLongVarXeChar(text); }

/// A column of fixed length.
inline RExpression* Fixed(const wchar_t* text) {
  const auto length = static_cast<uint32>(std::wcslen(text));
  return new Stub<wchar_t*>(XeCharData, const_cast<wchar_t*>(text), kTrue, length);
}

/// A leaf with a value, of the type that goes with it, or a text constant; a node is itself.
template <class Value>
auto* Arg(const Value& value) {
  if constexpr (std::is_convertible_v<Value, RExpression*>) {
    return value;
  } else if constexpr (std::is_convertible_v<Value, XeString>) {
    return T(value);
  } else {
    return new Stub<Value>(kTypeOfValue<Value>, value);
  }
}

/// A function of these arguments at a position of the SQL, not bound yet.
template <class Node, class... Args>
RExpression* Function(const Args&... args) {
  ExpressionVector all = {Arg(args)...};
  RExpression* const first = all.empty() ? nullptr : all[0];
  if (!all.empty()) all.erase(all.begin());
  RExpression* const node = new Node(first, all);
  node->SetSourcePosition(kPosition);
  return node;
}

/// The result as text, or the error as its code and arguments.
inline std::string OutcomeOf(RExpression* function) {
  try {
    const auto tree = Bound(function);
    const XeDataType type = tree->GetResultDataType();
    if (type == Int4) return std::to_string(EvalAs<int32>(*tree).value());
    if (type == Numeric) {
      return BaseStringUtil::StringToUtf8(EvalAs<VelmarNumber>(*tree)->asString()) + "n";
    }
    if (type == Char || type == LongChar) {
      return BaseStringUtil::StringToUtf8(EvalText(*tree).value());
    }
    if (type == DateTime) {
      return BaseStringUtil::StringToUtf8(DateTimeText(EvalAs<XeDateTime>(*tree).value()));
    }
    const XeString text = BaseStringUtil::NumberToString(EvalAs<float64>(*tree).value());
    return BaseStringUtil::StringToUtf8(text);
  } catch (const ErrorMessage& error) {
    EXPECT_EQ(error.GetSourcePosition(), kPosition);
    std::string text = std::to_string(error.GetCode());
    for (const XeString& argument : error.GetArguments()) {
      text += " " + BaseStringUtil::StringToUtf8(argument);
    }
    return text;
  }
}
template <class Node, class... Args>
std::string Outcome(const Args&... args) {
  return OutcomeOf(Function<Node>(args...));
}

/// Functions over operands that all have the value.
template <std::size_t count, class... Nodes, class Value>
void ExpectStatusesPassUp(const Value& value) {
  const auto check = [&](auto tree) {
    for (Stub<Value>* const stub : tree.operands) stub->value_ = value;
    tree.ExpectStatusPassesUp();
  };
  (check(OverStubs<Value, count>::template Make<Nodes>()), ...);
}

}  // namespace sqxer::test
