#pragma once

// The family of the scalar functions: one include for all of them.

#include "SQXERExprFunctionBase.h"
#include "SQXERExprFunctionCalendar.h"
#include "SQXERExprFunctionCanonical.h"
#include "SQXERExprFunctionDictionary.h"
#include "SQXERExprFunctionMeasure.h"
#include "SQXERExprFunctionModulo.h"
#include "SQXERExprFunctionNumeric.h"
#include "SQXERExprFunctionRounding.h"
#include "SQXERExprFunctionSearch.h"
#include "SQXERExprFunctionSortKey.h"
#include "SQXERExprFunctionString.h"
#include "SQXERExprFunctionStringEdit.h"
#include "SQXERExprFunctionTimestamp.h"
#include "SQXERExprFunctionTrigonometric.h"
