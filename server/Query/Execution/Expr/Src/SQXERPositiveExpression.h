#pragma once

#include <memory>

#include "SQXERExpression.h"

namespace sqxer {

// The numbers that a query gives to an aggregate and that must be above 0: the size of a window, of
// rows, of tiles, of bins. They are expressions without columns, evaluated at the start of every
// group.

/// Binds such an expression, on behalf of an aggregate of that name. The query parameters in it are
/// added to `info`. Error 59001 (operator, type) for a type other than int4 and uint4, the NULL
/// constant apart; a column is unknown here. After a throw the expression is gone.
SQXEREXPR_API void BindPositiveExpression(std::unique_ptr<RExpression>& expression,
                                          const XeString& operatorName, MetaDataInfo& info);

/// Evaluates it as a signed 32-bit integer. Error 59028, at the expression's place in the SQL, when
/// that does not give a value above 0: it is NULL, fails, is zero or negative.
SQXEREXPR_API void VerifyPositiveExpression(RExpression& expression, uint32& value);

}  // namespace sqxer
