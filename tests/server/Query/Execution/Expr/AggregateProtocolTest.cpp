// Every aggregate through the whole protocol, against a model of its meaning.

#include <algorithm>
#include <set>

#include "AggregateTesting.h"
#include "AllocationCount.h"

namespace sqxer::test {
namespace {

struct Group {
  /// All rows, and those that are not NULL.
  Values rows;
  std::vector<float64> seen;
  /// Whether sums are integers.
  bool integer;
};

struct Kind {
  const char* name;
  /// The name of the typed variant starts with this; null when the aggregate stays itself.
  const char* variant;
  Aggregate* (*make)();
  /// A character per result: s in the source's type, v in the variant's, c a count, d a double.
  const char* results;
  Values (*model)(const Group& group);
  bool splits = false;
  bool distinct = false;
  /// Rows come in the order of their values.
  bool sorted = false;
};

float64 Total(const std::vector<float64>& values) {
  float64 sum = 0;
  for (const float64 value : values) sum += value;
  return sum;
}

std::vector<float64> Unique(const std::vector<float64>& values) {
  const std::set<float64> unique(values.begin(), values.end());
  return {unique.begin(), unique.end()};
}

Values OneIfAny(const Group& group, const std::function<float64()>& result) {
  return {group.seen.empty() ? std::optional<float64>() : result()};
}

float64 Mean(const Group& group) {
  const float64 mean = Total(group.seen) / static_cast<float64>(group.seen.size());
  return group.integer ? std::trunc(mean) : mean;
}

Values ModelAvgAll(const Group& group) {
  if (group.seen.empty()) return {0, std::nullopt, std::nullopt, std::nullopt};
  const float64 n = static_cast<float64>(group.seen.size());
  float64 running = 0, squares = 0;
  for (const float64 value : group.seen) squares += std::pow(running += value, 2);
  const float64 error = std::sqrt((squares - running * running / n) / (n - 1)) / std::sqrt(n);
  return {n, Mean(group), error, error};
}

Values ModelExtreme(const Group& g, bool greatest) {
  return OneIfAny(g, [&] {
    const auto [low, high] = std::minmax_element(g.seen.begin(), g.seen.end());
    return greatest ? *high : *low;
  });
}

Values ModelNullIfNotUnique(const Group& g) {
  // A group without rows is not NULL; the record of the test holds zeros.
  if (g.rows.empty()) return {0};
  const bool unique = g.seen.size() == g.rows.size() && Unique(g.seen).size() == 1;
  return {unique ? std::optional<float64>(g.seen[0]) : std::nullopt};
}

Values ModelCount(std::size_t count) { return {static_cast<float64>(count)}; }

constexpr bool kSplits = true;
constexpr bool kDistinct = true;
constexpr bool kSorted = true;

Values ModelSum(const Group& g) {
  return OneIfAny(g, [&] { return Total(g.seen); });
}
Values ModelDistinctSum(const Group& g) {
  return OneIfAny(g, [&] { return Total(Unique(g.seen)); });
}
Values ModelSeen(const Group& g) { return ModelCount(g.seen.size()); }
Values ModelUnique(const Group& g) { return ModelCount(Unique(g.seen).size()); }
Values ModelRows(const Group& g) { return ModelCount(g.rows.size()); }
Values ModelAvg(const Group& g) {
  return OneIfAny(g, [&] { return Mean(g); });
}
Values ModelMax(const Group& g) { return ModelExtreme(g, true); }
Values ModelMin(const Group& g) { return ModelExtreme(g, false); }
Values ModelRange(const Group& g) { return {ModelMax(g)[0], ModelMin(g)[0]}; }
Values ModelFirst(const Group& g) {
  return OneIfAny(g, [&] { return g.seen.front(); });
}
Values ModelLast(const Group& g) {
  return OneIfAny(g, [&] { return g.seen.back(); });
}

const Kind kKinds[] = {
    {"Sum", "Sum", &MakeSum<false>, "v", ModelSum, kSplits},
    {"DistinctSum", "Sum", &MakeSum<true>, "v", ModelDistinctSum, false, kDistinct},
    {"Count", nullptr, &MakeCount<false>, "c", ModelSeen, kSplits},
    {"DistinctCount", nullptr, &MakeCount<true>, "c", ModelUnique, false, kDistinct},
    {"SortedCount", nullptr, &MakeCount<true, true>, "c", ModelUnique, false, kDistinct, kSorted},
    {"CountStar", nullptr, &Make<CountStar>, "c", ModelRows},
    {"Avg", "Avg", &Make<Avg>, "v", ModelAvg},
    {"AvgAll", "AvgAll", &Make<AvgAll>, "cvdd", ModelAvgAll},
    {"Max", nullptr, &Make<Max>, "s", ModelMax, kSplits},
    {"Min", nullptr, &Make<Min>, "s", ModelMin, kSplits},
    {"NullIfNotUnique", nullptr, &Make<NullIfNotUnique>, "s", ModelNullIfNotUnique, kSplits},
    {"First", nullptr, &Make<First>, "s", ModelFirst},
    {"Last", nullptr, &Make<Last>, "s", ModelLast},
    {"Range", "Range", &Make<Range>, "vv", ModelRange},
};

struct Type {
  XeDataType source;
  XeDataType computed;
  const wchar_t* suffix;
};

const Type kTypes[] = {
    {XeInt1Data, XeInt4Data, L"Int32"},        {XeUInt1Data, XeInt4Data, L"Int32"},
    {XeInt2Data, XeInt4Data, L"Int32"},        {XeUInt2Data, XeInt4Data, L"Int32"},
    {XeInt4Data, XeInt4Data, L"Int32"},        {XeUInt4Data, XeUInt4Data, L"UInt32"},
    {XeFloatData, XeDoubleData, L"Float64"},   {XeDoubleData, XeDoubleData, L"Float64"},
    {XeNumericData, XeNumericData, L"Number"},
};

constexpr auto NIL = std::nullopt;
const Values kGroups[] = {
    {},
    {NIL},
    {5},
    {NIL, 3, NIL},
    {1, 2, 3},
    {7, 7, 7},
    {},
    {4, 9, 9, 4, 1},
    {NIL, NIL, 0, NIL, 100},
    {2, NIL, 2},
    {127, 0},
    {NIL, NIL},
};

/// The fields of a target: two that are not the aggregate's before them, and one behind them.
std::vector<TestField> TargetFields(const Kind& kind, const Type& type) {
  std::vector<TestField> fields(2, TestField{XeInt1Data});
  for (const char* result = kind.results; *result != 0; ++result) {
    fields.push_back({*result == 's'   ? type.source
                      : *result == 'v' ? type.computed
                      : *result == 'c' ? XeUInt4Data
                                       : XeDoubleData});
  }
  fields.push_back({XeInt1Data});
  return fields;
}
constexpr uint16 kFirstResult = 2;

Group MakeGroup(const Kind& kind, const Type& type, Values rows) {
  if (kind.sorted) std::sort(rows.begin(), rows.end());
  Group group{rows, {}, type.computed == XeInt4Data || type.computed == XeUInt4Data};
  for (const std::optional<float64>& row : rows) {
    if (row) group.seen.push_back(*row);
  }
  return group;
}

void ExpectResults(const Kind& kind, const Group& group, TestRecord& target) {
  const Values expected = kind.model(group);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const int field = kFirstResult + static_cast<int>(i);
    if (kind.model == ModelNullIfNotUnique && group.rows.empty()) {
      EXPECT_FALSE(target.IsNull(field));
    } else {
      EXPECT_TRUE(SameNumber(expected[i], GetNumber(target, field))) << "result " << i;
    }
  }
}

class AggregateProtocol : public testing::TestWithParam<Kind> {
 protected:
  template <class Test>
  void ForEachType(Test test) {
    const Kind& kind = GetParam();
    for (const Type& type : kTypes) {
      SCOPED_TRACE(XeDataType(type.source));
      TestRecord input({{type.source}, {XeInt1Data}, {type.source}});
      TestRecord target(TargetFields(kind, type));
      Driven aggregate(kind.make(), input, target, kFirstResult);
      test(kind, type, input, target, aggregate);
      if (HasFailure()) return;
    }
  }
};

TEST_P(AggregateProtocol, GroupAfterGroupGivesWhatTheModelGives) {
  ForEachType(
      [](const Kind& kind, const Type& type, TestRecord&, TestRecord& target, Driven& aggregate) {
        for (const Values& values : kGroups) {
          SCOPED_TRACE(testing::PrintToString(&values - kGroups));
          const Group group = MakeGroup(kind, type, values);
          aggregate.Run(group.rows, kFirstResult);
          ExpectResults(kind, group, target);
        }
      });
}

TEST_P(AggregateProtocol, SaysWhatItIs) {
  ForEachType(
      [](const Kind& kind, const Type& type, TestRecord&, TestRecord& target, Driven& aggregate) {
        if (kind.variant != nullptr) {
          const std::string generic(kind.variant);
          EXPECT_EQ(NodeName(*aggregate), XeString(generic.begin(), generic.end()) + type.suffix);
        }
        EXPECT_EQ(aggregate->GetExpressionType(), kAggregateExpression);
        EXPECT_EQ(aggregate->IsDistinctHandled(), kind.distinct);
        EXPECT_FALSE(aggregate->IsFunctionalAggr());
        EXPECT_FALSE(aggregate->NeedNullFiltering());
        EXPECT_EQ(aggregate->GetTargetOffset(), target.field(kFirstResult).GetDataOffset());
        EXPECT_EQ(aggregate->GetTargetNullOffset(), target.field(kFirstResult).GetNullOffset());
        const uint32 width =
            XeFieldDescriptor::GetObjectLength(target.field(kFirstResult).GetDataType(), 0);
        EXPECT_EQ(aggregate->GetTargetFixedLenSize(), width);
        EXPECT_EQ(aggregate.info().objectLength_, width);
        EXPECT_EQ(aggregate.info().isNullable_, kind.results[0] != 'c');
        EXPECT_EQ(aggregate.info().fieldName_, XeRecordMetaData::exprFieldName_);
      });
}

TEST_P(AggregateProtocol, ReadsAndWritesWhereTheOffsetsPoint) {
  ForEachType([](const Kind& kind, const Type& type, TestRecord& input, TestRecord& target,
                 Driven& aggregate) {
    const Group group = MakeGroup(kind, type, {1, NIL, 2, 2});
    input.SetNumber(0, 99);
    const XeFieldDescriptor& other = input.field(2);
    aggregate->SetSourceOffset(other.GetDataOffset(), other.GetNullOffset(), input.size());
    aggregate->Initialize(false);
    aggregate.Compute(group.rows, 2);
    aggregate.Finish();
    ExpectResults(kind, group, target);
    aggregate->RestoreSourceOffset();
    aggregate.Run(group.rows, kFirstResult);
    ExpectResults(kind, group, target);

    // Results of several fields stay where their descriptor is.
    if (std::string(kind.results).size() > 1) return;
    TestRecord elsewhere({{XeInt1Data}, {XeNumericData}});
    const XeFieldDescriptor& field = elsewhere.field(1);
    const uint32 offset = aggregate->GetTargetOffset();
    const uint32 nullOffset = aggregate->GetTargetNullOffset();
    aggregate->SetTargetOffset(field.GetDataOffset(), field.GetNullOffset());
    aggregate->Output(elsewhere.buffer());
    EXPECT_EQ(std::memcmp(elsewhere.data(1), target.data(kFirstResult),
                          aggregate->GetTargetFixedLenSize()),
              0);
    // Only one level is kept.
    aggregate->SetTargetOffset(1, 0);
    aggregate->RestoreTargetOffset();
    EXPECT_EQ(aggregate->GetTargetOffset(), field.GetDataOffset());
    aggregate->SetTargetOffset(offset, nullOffset);
    aggregate->SetTargetOffset(1, 0);
    aggregate->RestoreTargetOffset();
    EXPECT_EQ(aggregate->GetTargetOffset(), offset);
    EXPECT_EQ(aggregate->GetTargetNullOffset(), nullOffset);
  });
}

TEST_P(AggregateProtocol, PartsCombineToTheWhole) {
  ForEachType([](const Kind& kind, const Type& type, TestRecord& input, TestRecord& target,
                 Driven& aggregate) {
    std::unique_ptr<Aggregate> source(aggregate->GetSourceAggregator());
    auto columns = std::make_unique<UInt16Vector>(1, kFirstResult);
    std::unique_ptr<Aggregate> partials(aggregate->GetPartialsAggregator(columns.get()));
    if (partials != nullptr) {
      EXPECT_EQ(partials->GetAggregateColumns(), columns.release());
      EXPECT_NE(source->GetAggregateColumns(), aggregate->GetAggregateColumns());
      EXPECT_EQ(*source->GetAggregateColumns(), *aggregate->GetAggregateColumns());
      EXPECT_EQ(*source->GetDistinctBreakColumns(), *aggregate->GetDistinctBreakColumns());
      EXPECT_EQ(source->IsDistinctHandled(), kind.distinct);
    }
    EXPECT_EQ(source != nullptr, kind.splits || kind.distinct);
    EXPECT_EQ(partials != nullptr, kind.splits || kind.distinct);
    if (!kind.splits) return;

    TestRecord partial(TargetFields(kind, type));
    TestRecord combined(TargetFields(kind, type));
    Driven part(source.release(), input, partial, kFirstResult);
    Driven whole(partials.release(), partial, combined, kFirstResult);
    for (const Values& values : kGroups) {
      const Group group = MakeGroup(kind, type, values);
      const auto middle = group.rows.begin() + static_cast<std::ptrdiff_t>(group.rows.size() / 2);
      // The part without rows would not be NULL.
      if (kind.model == ModelNullIfNotUnique && group.rows.size() < 2) continue;
      whole->Initialize(false);
      for (const Values& half :
           {Values(group.rows.begin(), middle), Values(middle, group.rows.end())}) {
        part.Run(half, kFirstResult);
        whole.Compute();
      }
      whole.Finish();
      ExpectResults(kind, group, combined);
    }
    static_cast<void>(target);
  });
}

TEST_P(AggregateProtocol, ComputeAllocatesNothing) {
  ForEachType([](const Kind& kind, const Type&, TestRecord& input, TestRecord&, Driven& aggregate) {
    // A sorter takes what it needs to hold the values.
    if (kind.distinct && !kind.sorted) return;
    input.SetNumber(0, 0);
    aggregate->Initialize(false);
    const std::size_t blocks = MemoryGateway::BlocksInUse();
    const std::size_t allocations = AllocationCount();
    ASSERT_EQ(allocations > 0, kCountsAllocations);
    for (int i = 0; i < 1000; ++i) {
      aggregate->Compute(input.buffer(), input.size());
      *input.data(0) = static_cast<uint8>(i % 3);
    }
    EXPECT_EQ(AllocationCount(), allocations);
    EXPECT_EQ(MemoryGateway::BlocksInUse(), blocks);
  });
}

INSTANTIATE_TEST_SUITE_P(Every, AggregateProtocol, testing::ValuesIn(kKinds),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace sqxer::test
