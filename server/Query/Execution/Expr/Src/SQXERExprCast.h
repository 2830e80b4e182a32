#pragma once

// The family of the explicit casts: one include for all of them.

#include "SQXERExprCastBase.h"
#include "SQXERExprCastDateTime.h"
#include "SQXERExprCastNumber.h"
#include "SQXERExprCastText.h"
