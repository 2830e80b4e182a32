#pragma once

// The family of the aggregates: one include for all of them.

#include "SQXERExprAggregateAvg.h"
#include "SQXERExprAggregateBase.h"
#include "SQXERExprAggregateCount.h"
#include "SQXERExprAggregateExtreme.h"
#include "SQXERExprAggregateFirst.h"
#include "SQXERExprAggregateNtile.h"
#include "SQXERExprAggregatePercentile.h"
#include "SQXERExprAggregateRange.h"
#include "SQXERExprAggregateSum.h"
