#pragma once

#include <memory>
#include <optional>
#include <variant>

#include "SQXERExpression.h"
#include "SqlAst.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeInterval.h"

namespace sqxer {

/// A constant while it is planned: a value of a computation type, or NULL of one.
struct PlanConstant {
  using Value = std::variant<std::monostate, bool, int32, uint32, float64, VelmarNumber, XeString,
                             XeDate, XeTime, XeDateTime, XeInterval>;
  XeDataType type = XeBoolean;
  /// std::monostate is NULL.
  Value value;
  /// Of a text, and of NULL as a text: the declared length, where that is more than the value's
  /// own.
  uint32 declared = 0;
  /// A literal as it was written. NULL and texts are open to the type of a partner, and a number
  /// takes the form of one that holds it. What was computed, and what a cast names a type for, has
  /// its type like any column.
  bool isLiteral = false;

  bool IsNull() const { return value.index() == 0; }
  bool IsText() const { return std::holds_alternative<XeString>(value); }
  /// Characters of a text (at most), else the width of the type.
  uint32 GetLength() const;
  /// Same type and the same value, bit for bit: 0.0 and -0.0 differ. Declared lengths may differ.
  bool IsSame(const PlanConstant& other) const;
};

/// The constant that a literal stands for by itself: integers within 32 bits as int4, beyond them
/// and with a point as numeric, with an exponent as double. Errors at `position`: 58011 for a
/// number that its type does not hold, and those of ReadText.
PlanConstant ReadLiteral(const SqlLiteral& literal, int position);

/// A text as a constant of a type, as a cast would read it. Errors (text, type name) at `position`:
/// 59172 for a text that does not read as a whole; 58011 for a number that the type does not hold.
PlanConstant ReadText(const XeString& text, XeDataType type, int position);
/// A text as the number that it would be as a literal, for a partner of a numeric type.
PlanConstant ReadNumberText(const XeString& text, XeDataType partner, int position);
/// A text as a date for comparison with dates: a date-time when it names a time of day too, so that
/// nothing of it is lost.
PlanConstant ReadDateText(const XeString& text, int position);

/// The same value as a constant of another type, where that type holds it without loss (a decimal
/// as a double: as closely as a double can). It is no literal any more.
std::optional<PlanConstant> ConvertConstant(const PlanConstant& constant, XeDataType target);
/// The constant as it would be printed, as a text constant.
PlanConstant ConstantAsText(const PlanConstant& constant);

/// A new typed constant node. A fixed text becomes a ConstantXeChar, any other text a long one.
/// NULL is a ConstantTypedNull, but a ConstantNull as a literal.
std::unique_ptr<RExpression> MakeConstantNode(const PlanConstant& constant);
/// The value of a bound tree that reads no column. Nothing when its evaluation raises an error: the
/// tree then stays and raises it again for the row that meets it.
std::optional<PlanConstant> EvaluateConstant(RExpression& bound);

}  // namespace sqxer
