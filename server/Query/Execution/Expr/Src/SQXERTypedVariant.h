#pragma once

#include <array>
#include <span>
#include <type_traits>

#include "SQXERExpression.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeInterval.h"

namespace sqxer {

/// Errors of binding: no operator for these operand types, and no comparison of values of a type.
inline constexpr int kTypeNotSupported = 59001;
inline constexpr int kTypeNotComparable = 59002;

/// The data type whose values a node keeps in fields of type T.
template <class T>
inline constexpr XeDataType kTypeOfValue = XeUnknown;
template <>
inline constexpr XeDataType kTypeOfValue<uint8> = XeBoolean;
template <>
inline constexpr XeDataType kTypeOfValue<int32> = XeInt4Data;
template <>
inline constexpr XeDataType kTypeOfValue<uint32> = XeUInt4Data;
template <>
inline constexpr XeDataType kTypeOfValue<float64> = XeDoubleData;
template <>
inline constexpr XeDataType kTypeOfValue<VelmarNumber> = XeNumericData;
template <>
inline constexpr XeDataType kTypeOfValue<XeDate> = XeDateData;
template <>
inline constexpr XeDataType kTypeOfValue<XeTime> = XeTimeData;
template <>
inline constexpr XeDataType kTypeOfValue<XeDateTime> = XeDateTimeData;
template <>
inline constexpr XeDataType kTypeOfValue<XeInterval> = XeIntervalData;
template <>
inline constexpr XeDataType kTypeOfValue<wchar_t*> = XeCharData;
template <>
inline constexpr XeDataType kTypeOfValue<RefLongVarChar> = XeLongVarCharData;

/// One typed variant of an operator: the operand type it is for, and how it is built, without
/// operands yet.
struct TypedVariant {
  XeDataType type;
  RExpression* (*make)();
};

template <class Node>
RExpression* MakeWithoutOperands() {
  RExpression* const none = nullptr;
  if constexpr (std::is_constructible_v<Node, RExpression*>) {
    return new Node(none);
  } else if constexpr (std::is_constructible_v<Node, RExpression*, RExpression*>) {
    return new Node(none, none);
  } else {
    return new Node(none, none, none);
  }
}

/// The table of an operator's variants, each filed under the type of its fields.
template <class... Nodes>
requires((kTypeOfValue<typename Nodes::Value> != XeUnknown) &&
         ...) inline constexpr std::array<TypedVariant, sizeof...(Nodes)> kVariants = {
    TypedVariant{kTypeOfValue<typename Nodes::Value>, &MakeWithoutOperands<Nodes>}...};

/// The row for a type, or null.
inline const TypedVariant* FindVariant(std::span<const TypedVariant> variants, XeDataType type) {
  for (const TypedVariant& variant : variants) {
    if (variant.type == type) return &variant;
  }
  return nullptr;
}

/// Hands back `variant` in place of `generic`: it receives the operands and the result type. The
/// operands move only here, once nothing can throw any more, so that they have one owner
/// throughout.
inline void ReplaceBy(RExpression& generic, RExpression* variant, XeDataType resultType,
                      RExpression*& replacement) {
  for (int i = 0; i < generic.GetOperandCount(); ++i) {
    variant->SetIthOperand(i, generic.GetIthOperand(i));
    generic.SetIthOperand(i, nullptr);
  }
  variant->SetResultDataType(resultType);
  replacement = variant;
}

}  // namespace sqxer
