#pragma once

// The family of the aggregates: one include for all of them.

#include "SQXERExprAggregateAvg.h"
#include "SQXERExprAggregateBase.h"
#include "SQXERExprAggregateBin.h"
#include "SQXERExprAggregateCount.h"
#include "SQXERExprAggregateExtreme.h"
#include "SQXERExprAggregateFirst.h"
#include "SQXERExprAggregateListAgg.h"
#include "SQXERExprAggregateMedian.h"
#include "SQXERExprAggregateMoving.h"
#include "SQXERExprAggregateNtile.h"
#include "SQXERExprAggregatePercentile.h"
#include "SQXERExprAggregateRange.h"
#include "SQXERExprAggregateRunning.h"
#include "SQXERExprAggregateSum.h"
