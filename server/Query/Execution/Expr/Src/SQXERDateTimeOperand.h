#pragma once

#include "SQXERExpression.h"
#include "Utility/XeDateTime.h"

namespace sqxer {

/// How an operand is read as a date-time: a date at 00:00:00, a time on the day that a bare time
/// stands for.
class DateTimeReader {
 public:
  /// Error 59001 (name, type) for a bound operand that is none of the three.
  void Bind(const RExpression& operand, const wchar_t* name);
  RExprReturn Read(RExpression& operand, XeDateTime& out) const { return read_(operand, out); }

 private:
  RExprReturn (*read_)(RExpression& operand, XeDateTime& out) = nullptr;
};

/// The value of a bound operand that must be an int4 constant: a part or a unit, which says at
/// binding what the rows compute. Error 59001 (name, type) for any other.
int32 ReadInt4Constant(RExpression& operand, const wchar_t* name);

}  // namespace sqxer
