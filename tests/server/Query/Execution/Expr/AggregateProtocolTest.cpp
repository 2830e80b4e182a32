// Every aggregate through the whole protocol, against a model of its meaning.

#include <algorithm>
#include <numeric>
#include <random>
#include <set>

#include "AggregateTesting.h"
#include "Utility/BaseStringUtil.h"

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
  Aggregate* (*make)();
  /// A character per result: s in the source's type, v in that of the typed variant, c a count, d a
  /// double, t a text, whose numbers the model gives.
  std::string results;
  Values (*model)(const Group& group);
  bool splits = false;
  bool distinct = false;
  /// Rows come in the order of their values.
  bool sorted = false;
  /// Without parts, although it removes duplicates.
  bool whole = false;
};
void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }

using Seen = std::vector<float64>;
float64 Total(const Seen& values) { return std::accumulate(values.begin(), values.end(), 0.0); }
float64 Greatest(const Seen& values) { return *std::max_element(values.begin(), values.end()); }
float64 Least(const Seen& values) { return *std::min_element(values.begin(), values.end()); }
float64 Front(const Seen& values) { return values.front(); }
float64 Back(const Seen& values) { return values.back(); }
Seen Unique(const Seen& values) {
  const std::set<float64> unique(values.begin(), values.end());
  return {unique.begin(), unique.end()};
}

template <float64 (*result)(const Seen&)>
Values OfSeen(const Group& g) {
  return {g.seen.empty() ? std::optional<float64>() : result(g.seen)};
}
Values ModelDistinctSum(const Group& g) { return OfSeen<Total>({g.rows, Unique(g.seen), false}); }
Values ModelRange(const Group& g) { return {OfSeen<Greatest>(g)[0], OfSeen<Least>(g)[0]}; }
Values ModelSeen(const Group& g) { return {g.seen.size()}; }
Values ModelUnique(const Group& g) { return {Unique(g.seen).size()}; }
Values ModelRows(const Group& g) { return {g.rows.size()}; }
Values ModelAvgAll(const Group& g) {
  if (g.seen.empty()) return {0, std::nullopt, std::nullopt, std::nullopt};
  const float64 n = static_cast<float64>(g.seen.size()), mean = Total(g.seen) / n;
  float64 running = 0, squares = 0;
  for (const float64 value : g.seen) squares += std::pow(running += value, 2);
  const float64 error = std::sqrt((squares - running * running / n) / (n - 1)) / std::sqrt(n);
  return {n, g.integer ? std::trunc(mean) : mean, error, error};
}
Values ModelAvg(const Group& g) { return {ModelAvgAll(g)[1]}; }
constexpr int kWindow = 3;
Group Window(Group g) {
  g.seen.erase(g.seen.begin(),
               g.seen.end() - std::min<std::ptrdiff_t>(kWindow, std::ssize(g.seen)));
  return g;
}
Values ModelMovingSum(const Group& g) { return OfSeen<Total>(Window(g)); }
Values ModelMovingAvg(const Group& g) { return ModelAvg(Window(g)); }
Values ModelNullIfNotUnique(const Group& g) {
  // A group without rows is not NULL, and leaves the buffer as it is.
  if (g.rows.empty()) return {};
  const bool unique = g.seen.size() == g.rows.size() && Unique(g.seen).size() == 1;
  return {unique ? std::optional<float64>(g.seen[0]) : std::nullopt};
}
float64 Middle(const Seen& values) {
  Seen sorted = values;
  std::sort(sorted.begin(), sorted.end());
  return (sorted[(sorted.size() - 1) / 2] + sorted[sorted.size() / 2]) / 2;
}
float64 Deviation(const Seen& values) {
  const float64 n = static_cast<float64>(values.size()), mean = Total(values) / n;
  float64 squares = 0;
  for (const float64 value : values) squares += std::pow(value - mean, 2);
  return std::sqrt(squares / n);
}
Values ModelList(const Group& g) {
  return g.seen.empty() ? Values{std::nullopt} : Values(g.seen.begin(), g.seen.end());
}
Values ModelDistinctList(const Group& g) { return ModelList({g.rows, Unique(g.seen), false}); }

const Kind kKinds[] = {
    {"Sum", &Make<Sum, false>, "v", OfSeen<Total>, true},
    {"DistinctSum", &Make<Sum, true>, "v", ModelDistinctSum, false, true},
    {"Count", &Make<Count, false, false>, "c", ModelSeen, true},
    {"DistinctCount", &Make<Count, true, false>, "c", ModelUnique, false, true},
    {"SortedCount", &Make<Count, true, true>, "c", ModelUnique, false, true, true},
    {"CountStar", &Make<CountStar>, "c", ModelRows},
    {"Avg", &Make<Avg>, "v", ModelAvg},
    {"AvgAll", &Make<AvgAll>, "cvdd", ModelAvgAll},
    {"Max", &Make<Max>, "s", OfSeen<Greatest>, true},
    {"Min", &Make<Min>, "s", OfSeen<Least>, true},
    {"NullIfNotUnique", &Make<NullIfNotUnique>, "s", ModelNullIfNotUnique, true},
    {"First", &Make<First>, "s", OfSeen<Front>},
    {"Last", &Make<Last>, "s", OfSeen<Back>},
    {"Range", &Make<Range>, "vv", ModelRange},
    {"RunningSum", &MakeCumulative<RunningSum>, "v", OfSeen<Total>},
    {"RunningCount", &MakeCumulative<RunningCount>, "c", ModelSeen},
    {"RunningMax", &MakeCumulative<RunningMax>, "s", OfSeen<Greatest>},
    {"RunningMin", &MakeCumulative<RunningMin>, "s", OfSeen<Least>},
    {"MovingSum", &MakeCumulative<MovingSum, kWindow>, "v", ModelMovingSum},
    {"MovingAvg", &MakeCumulative<MovingAvg, kWindow>, "v", ModelMovingAvg},
    {"Median", &Make<Median>, "d", OfSeen<Middle>, false, true, false, true},
    {"Stddev", &Make<Stddev, false>, "d", OfSeen<Deviation>},
    {"ListAgg", &Make<ListAgg, false>, "t", ModelList},
    {"DistinctListAgg", &Make<ListAgg, true>, "t", ModelDistinctList, false, true, false, true},
};

/// A source type, the type computed in, and the suffix of the typed variant.
struct Type {
  XeDataType source, computed;
  const wchar_t* suffix;
};
const Type kTypes[] = {
    {Int1, Int4, L"Int32"},      {UInt1, Int4, L"Int32"},      {Int2, Int4, L"Int32"},
    {UInt2, Int4, L"Int32"},     {Int4, Int4, L"Int32"},       {UInt4, UInt4, L"UInt32"},
    {Float, Double, L"Float64"}, {Double, Double, L"Float64"}, {Numeric, Numeric, L"Number"},
};

constexpr auto NIL = std::nullopt;
// clang-format off
const Values kGroups[] = {{}, {NIL}, {5}, {NIL, 3, NIL}, {7, 7, 7}, {}, {4, 9, 9, 4, 1},
                          {NIL, 100, 0, NIL, 9}, {2, NIL, 2}, {127, 0}};
// clang-format on
constexpr uint16 kFirstResult = 2;

/// The fields of a target: two that are not the aggregate's before them, and one behind them.
std::vector<TestField> TargetFields(const Kind& kind, const Type& type) {
  std::vector<TestField> fields(2, TestField{Int1});
  for (const char result : kind.results) {
    fields.push_back({result == 's'   ? type.source
                      : result == 'v' ? type.computed
                      : result == 'c' ? UInt4
                      : result == 't' ? VarChar
                                      : Double,
                      result == 't' ? 4000u : 0});
  }
  fields.push_back({Int1});
  return fields;
}

class AggregateProtocol : public testing::TestWithParam<Kind> {
 protected:
  struct Setting {
    const Type& type;
    TestRecord input{{type.source}, {Int1}, {type.source}};
    TestRecord target{TargetFields(GetParam(), type)};
    Driven aggregate{GetParam().make(), input, target, kFirstResult};

    Group MakeGroup(Values rows) const {
      if (GetParam().sorted) std::sort(rows.begin(), rows.end());
      Group group{rows, {}, type.computed == Int4 || type.computed == UInt4};
      for (const auto& row : rows) {
        if (row) group.seen.push_back(*row);
      }
      return group;
    }
  };
  template <class Test>
  void ForEachType(Test test) {
    for (const Type& type : kTypes) {
      SCOPED_TRACE(type.source);
      Setting setting{type};
      test(setting);
      if (HasFailure()) return;
    }
  }
  static void ExpectResults(const Group& group, TestRecord& target) {
    const Values expected = GetParam().model(group);
    EXPECT_FALSE(expected.empty() && target.IsNull(kFirstResult));
    if (GetParam().results == "t") {
      XeString list;
      for (const auto& value : expected) {
        if (value) list += (list.empty() ? L"" : L"; ") + BaseStringUtil::NumberToString(*value);
      }
      EXPECT_EQ(target.IsNull(kFirstResult), list.empty());
      EXPECT_EQ(target.GetText(kFirstResult), list);
      return;
    }
    for (std::size_t i = 0; i < expected.size(); ++i) {
      ExpectNumber(expected[i], target.GetNumber(kFirstResult + static_cast<int>(i)));
    }
  }
};

TEST_P(AggregateProtocol, GroupAfterGroupGivesWhatTheModelGives) {
  ForEachType([](Setting& on) {
    const bool typed = GetParam().results[0] == 'v' || GetParam().results.size() > 1;
    const std::unique_ptr<Aggregate> generic(GetParam().make());
    EXPECT_EQ(NodeName(*on.aggregate.aggregate),
              NodeName(*generic) + (typed ? on.type.suffix : L""));
    EXPECT_EQ(on.aggregate->IsDistinctHandled(), GetParam().distinct);
    EXPECT_EQ(XeRecordMetaData::GetByteLength(on.target.field(kFirstResult).GetDataType(),
                                              on.aggregate.info.objectLength_, true),
              on.aggregate->GetTargetFixedLenSize());
    EXPECT_EQ(on.aggregate.info.isNullable_, GetParam().results[0] != 'c');
    for (const Values& values : kGroups) {
      SCOPED_TRACE(testing::PrintToString(&values - kGroups));
      const Group group = on.MakeGroup(values);
      on.aggregate.Run(group.rows);
      ExpectResults(group, on.target);
    }
  });
}

TEST_P(AggregateProtocol, CumulativeOnesGiveTheResultOfTheRowsSoFar) {
  ForEachType([random = std::mt19937(1)](Setting& on) mutable {
    // The running minimum does not say that it has a result per row.
    EXPECT_EQ(on.aggregate->IsFunctionalAggr(), on.aggregate->IsCumulativeAggregate() &&
                                                    GetParam().make != &MakeCumulative<RunningMin>);
    for (int groups = on.aggregate->IsCumulativeAggregate() ? 20 : 0; groups > 0; --groups) {
      Values rows;
      on.aggregate->Initialize(false);
      while (random() % 16 != 0) {
        rows.push_back(random() % 4 == 0 ? NIL : std::optional<float64>(random() % 100));
        on.aggregate.Compute(Values{rows.back()});
        on.aggregate.Finish();
        ExpectResults(on.MakeGroup(rows), on.target);
      }
    }
  });
}

TEST_P(AggregateProtocol, ReadsAndWritesWhereTheOffsetsPoint) {
  ForEachType([](Setting& on) {
    const Group group = on.MakeGroup({1, NIL, 2, 2});
    const XeFieldDescriptor& other = on.input.field(2);
    on.input.SetNumber(0, 99);
    on.aggregate->SetSourceOffset(other.GetDataOffset(), other.GetNullOffset(), on.input.size());
    on.aggregate->Initialize(false);
    on.aggregate.Compute(group.rows, 2);
    on.aggregate.Finish();
    ExpectResults(group, on.target);
    on.aggregate->RestoreSourceOffset();
    on.aggregate.Run(group.rows);
    ExpectResults(group, on.target);

    // Results of several fields stay where their descriptor is.
    if (GetParam().results.size() > 1) return;
    TestRecord elsewhere(TargetFields(GetParam(), on.type));
    const XeFieldDescriptor &from = on.target.field(kFirstResult), &to = elsewhere.field(0);
    on.aggregate->SetTargetOffset(from.GetDataOffset(), to.GetNullOffset());
    on.aggregate->Output(elsewhere.buffer());
    EXPECT_EQ(elsewhere.IsNull(0), on.target.IsNull(kFirstResult));
    on.aggregate->RestoreTargetOffset();
    EXPECT_EQ(on.aggregate->GetTargetNullOffset(), from.GetNullOffset());
  });
}

TEST_P(AggregateProtocol, PartsCombineToTheWhole) {
  ForEachType([random = std::mt19937(2)](Setting& on) mutable {
    const bool parts = GetParam().splits || (GetParam().distinct && !GetParam().whole);
    std::unique_ptr<Aggregate> source(on.aggregate->GetSourceAggregator());
    auto columns = std::make_unique<UInt16Vector>(1, kFirstResult);
    std::unique_ptr<Aggregate> partials(on.aggregate->GetPartialsAggregator(columns.get()));
    EXPECT_EQ(source != nullptr, parts);
    EXPECT_EQ(partials != nullptr, parts);
    EXPECT_TRUE(!parts || partials->GetAggregateColumns() == columns.release());
    if (!GetParam().splits) return;

    TestRecord partial(TargetFields(GetParam(), on.type));
    Driven part(source.release(), on.input, partial, kFirstResult);
    Driven whole(partials.release(), partial, on.target, kFirstResult);
    // Ten parts of a table, each grouped by itself. A group has rows in some of them; every third
    // one has equal values, every second one NULLs.
    constexpr uint32 kGroupCount = 12;
    Values rows[kGroupCount];
    std::vector<std::vector<uint8>> results[kGroupCount];
    for (int partNumber = 0; partNumber < 10; ++partNumber) {
      Values own[kGroupCount];
      for (int row = 0; row < 20; ++row) {
        const uint32 group = random() % kGroupCount;
        own[group].push_back(group % 3 == 0 ? group : random() % 100);
        if (group % 2 != 0 && random() % 4 == 0) own[group].back() = NIL;
      }
      for (uint32 group = 0; group < kGroupCount; ++group) {
        if (own[group].empty()) continue;
        part.Run(own[group]);
        results[group].emplace_back(partial.buffer(), partial.buffer() + partial.size());
        rows[group].insert(rows[group].end(), own[group].begin(), own[group].end());
      }
    }
    for (uint32 group = 0; group < kGroupCount; ++group) {
      whole->Initialize(false);
      for (const auto& result : results[group]) {
        std::ranges::copy(result, partial.buffer());
        whole.Compute();
      }
      whole.Finish();
      ExpectResults(on.MakeGroup(rows[group]), on.target);
    }
  });
}

TEST_P(AggregateProtocol, StatesOfPartsMergeToTheWholeInAnyOrder) {
  const std::string_view name = GetParam().name;
  const bool hasValues = name == "Avg" || name == "Range" || name == "Stddev";
  ForEachType([hasValues](Setting& on) {
    const std::vector<XeDataType> types = on.aggregate->GetStateTypes();
    ASSERT_EQ(!types.empty(), hasValues);
    if (!hasValues) return;
    uint32 bytes = 0;
    for (const XeDataType type : types) bytes += XeRecordMetaData::GetByteLength(type, 0, true);
    ASSERT_EQ(bytes, on.aggregate->TransferState(StateTransfer::kMeasure, nullptr));
    // That of all groups together, from the last one on; some have no rows, some NULLs alone.
    Values rows;
    std::vector<uint8> all(bytes), state(bytes);
    on.aggregate->Initialize(false);
    on.aggregate->TransferState(StateTransfer::kSave, all.data());
    for (std::size_t i = std::size(kGroups); i-- > 0;) {
      on.aggregate->Initialize(false);
      on.aggregate.Compute(kGroups[i]);
      on.aggregate->TransferState(StateTransfer::kSave, state.data());
      on.aggregate->MergeState(all.data(), state.data());
      rows.insert(rows.end(), kGroups[i].begin(), kGroups[i].end());
      on.aggregate->Initialize(false);
      on.aggregate->TransferState(StateTransfer::kRestore, all.data());
      on.aggregate.Finish();
      ExpectResults(on.MakeGroup(rows), on.target);
    }
  });
}

TEST_P(AggregateProtocol, WritesIntoFieldsOfItsResultsTypesOnly) {
  ForEachType([](Setting& on) {
    for (std::size_t i = 0; i < GetParam().results.size(); ++i) {
      std::vector<TestField> fields = TargetFields(GetParam(), on.type);
      XeDataType& type = fields[kFirstResult + i].type;
      type = type == Int4 ? UInt4 : type == UInt4 ? Int4 : type == VarChar ? Char : Date;
      TestRecord other(fields);
      Aggregate* const generic = GetParam().make();
      generic->SetSourcePosition(5);
      ExpectErrorAt(5, 59030, {}, [&] { Driven(generic, on.input, other, kFirstResult); });
    }
  });
}

TEST_P(AggregateProtocol, TakesTurnsUnlessItHoldsValues) {
  // Those of the rows so far belong to one group at a time.
  if (std::unique_ptr<Aggregate>(GetParam().make())->IsCumulativeAggregate()) return;
  ForEachType([](Setting& on) {
    const bool holdsValues = GetParam().distinct || GetParam().results == "t";
    EXPECT_EQ(on.aggregate->TransferState(StateTransfer::kMeasure, nullptr) == 0, holdsValues);
  });
}

TEST_P(AggregateProtocol, ComputeAllocatesNothing) {
  // Who holds the values takes what it needs for them.
  if (GetParam().distinct && !GetParam().sorted) return;
  ForEachType([](Setting& on) {
    // What a group has taken serves the next one.
    on.aggregate.Run(Values(1000, 2));
    on.aggregate->Initialize(false);
    const std::size_t allocations = AllocationCount(), blocks = MemoryGateway::BlocksInUse();
    ASSERT_EQ(allocations > blocks, kCountsAllocations);
    for (int i = 0; i < 1000; ++i) {
      on.aggregate->Compute(on.input.buffer(), on.input.size());
      *on.input.data(0) = static_cast<uint8>(i % 3);
    }
    EXPECT_EQ(AllocationCount(), allocations);
  });
}

INSTANTIATE_TEST_SUITE_P(Every, AggregateProtocol, testing::ValuesIn(kKinds),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace sqxer::test
