#pragma once

#include <span>

#include "Catalog.h"
#include "NameScope.h"
#include "SqlAst.h"
#include "Utility/ErrorMessage.h"

namespace sqxer {

/// Why a column is text although other values are none: `"amount" is text because of "n/a" in line
/// 4`; empty for any other column.
XeString ExplainText(Catalog& catalog, const NameScope& scope, std::size_t column);

/// Where an error is about types that do not fit an operator: raises it again with the reasons why
/// columns among its operands are texts. Returns when there are none.
void ThrowIfTextsExplain(const ErrorMessage& error, Catalog& catalog, const NameScope& scope,
                         std::span<const SqlExpressionPtr> operands);

}  // namespace sqxer
