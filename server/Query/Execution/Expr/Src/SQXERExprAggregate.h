#pragma once

// The family of the aggregates: one include for all of them.

#include "SQXERExprAggregateAvg.h"
#include "SQXERExprAggregateBase.h"
#include "SQXERExprAggregateCount.h"
#include "SQXERExprAggregateCovariance.h"
#include "SQXERExprAggregateExtreme.h"
#include "SQXERExprAggregateFirst.h"
#include "SQXERExprAggregateListAgg.h"
#include "SQXERExprAggregateMedian.h"
#include "SQXERExprAggregateMoving.h"
#include "SQXERExprAggregateNtile.h"
#include "SQXERExprAggregatePercentile.h"
#include "SQXERExprAggregatePreferredN.h"
#include "SQXERExprAggregateRange.h"
#include "SQXERExprAggregateRank.h"
#include "SQXERExprAggregateRegression.h"
#include "SQXERExprAggregateRunning.h"
#include "SQXERExprAggregateStatistics.h"
#include "SQXERExprAggregateStddev.h"
#include "SQXERExprAggregateSum.h"
#include "SQXERExprAggregateTrendline.h"
