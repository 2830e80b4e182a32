// Aggregates over several columns, and those that take their rows in an order.

#include <algorithm>
#include <map>
#include <numeric>
#include <random>
#include <set>

#include "AggregateTesting.h"
#include "SQXERBatchFold.h"
#include "SQXERExprCast.h"
#include "SQXERExprExtract.h"
#include "SQXERHeldMemory.h"
#include "SQXERMovingValues.h"

namespace sqxer::test {
namespace {

UInt16Vector* ColumnsOf(std::initializer_list<uint16> columns) { return new UInt16Vector(columns); }

template <class Kind>
Aggregate* MakeOf(std::initializer_list<uint16> columns) {
  return new Kind(ColumnsOf(columns), nullptr, nullptr, false);
}

using Pair = std::pair<std::optional<float64>, std::optional<float64>>;

void SetNumberOrNull(TestRecord& record, int column, std::optional<float64> value) {
  if (value) {
    record.SetNumber(column, *value);
  } else {
    record.SetNull(column);
  }
}

std::vector<Pair> MakePairs(std::mt19937& random, std::size_t count) {
  const auto value = [&] {
    return random() % 5 == 0 ? std::nullopt : std::optional<float64>(random() % 20);
  };
  std::vector<Pair> pairs(count);
  for (Pair& pair : pairs) pair = {value(), value()};
  return pairs;
}

/// The state of some rows, of an aggregate that has states.
std::vector<uint8> StateOf(Driven& on, std::span<const Pair> rows) {
  std::vector<uint8> state(on->TransferState(StateTransfer::kMeasure, nullptr));
  on->Initialize(false);
  for (const Pair& row : rows) {
    SetNumberOrNull(on.input, 0, row.first);
    SetNumberOrNull(on.input, 1, row.second);
    on.Compute();
  }
  on->TransferState(StateTransfer::kSave, state.data());
  return state;
}

struct PairKind {
  const char* name;
  Aggregate* (*make)();
  XeDataType result;
  std::optional<float64> (*model)(std::span<const Pair> rows);
};
void PrintTo(const PairKind& kind, std::ostream* out) { *out << kind.name; }

template <int wanted>
std::optional<float64> PickedBy(std::span<const Pair> rows) {
  const Pair* best = nullptr;
  for (const Pair& row : rows) {
    if (!row.first || !row.second) continue;
    if (best == nullptr || *row.second * wanted > *best->second * wanted) best = &row;
  }
  return best == nullptr ? std::nullopt : best->first;
}

const PairKind kPairKinds[] = {
    {"MaxBy",
     [] {
       return MakeOf<MaxBy>({0, 1});
     },
     Double, PickedBy<1>},
    {"MinBy",
     [] {
       return MakeOf<MinBy>({0, 1});
     },
     Double, PickedBy<-1>},
    {"PairCount",
     [] {
       return MakeOf<PairCount>({0, 1});
     },
     UInt4,
     [](std::span<const Pair> rows) {
       return std::optional<float64>(static_cast<float64>(
           std::ranges::count_if(rows, [](const Pair& row) { return row.first && row.second; })));
     }},
};

class PairProtocol : public testing::TestWithParam<PairKind> {};

TEST_P(PairProtocol, GroupsAndMergedPartsGiveWhatTheModelGives) {
  for (const XeDataType y : {Int1, Int4, UInt4, Double, Numeric}) {
    TestRecord input{{Double}, {y}}, target{{Int1}, {GetParam().result}};
    Driven on(GetParam().make(), input, target, 1);
    std::mt19937 random(17);
    for (std::size_t count = 0; count < 60; ++count) {
      const std::vector<Pair> rows = MakePairs(random, count % 12);
      const std::span all(rows);
      const std::size_t cut = rows.empty() ? 0 : random() % rows.size();
      std::vector<uint8> state = StateOf(on, all.first(cut));
      const std::vector<uint8> later = StateOf(on, all.subspan(cut));
      ASSERT_EQ(on->GetStateMerge(), Aggregate::StateMerge::kAlways);
      on->MergeState(state.data(), later.data());
      for (const std::vector<uint8>& of : {state, StateOf(on, all)}) {
        on->Initialize(false);
        on->TransferState(StateTransfer::kRestore, const_cast<uint8*>(of.data()));
        on.Finish();
        ExpectNumber(GetParam().model(rows), target.GetNumber(1));
        if (HasFailure()) return;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Every, PairProtocol, testing::ValuesIn(kPairKinds),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(MaxBy, KeepsTextsOfAnyLengthAndRefusesWhatHasNoOrder) {
  TestRecord input{{VarChar, 300}, {VarChar, 300}}, target{{VarChar, 5}};
  Driven on(MakeOf<MaxBy>({0, 1}), input, target);
  EXPECT_EQ(on->TransferState(StateTransfer::kMeasure, nullptr), 0u);
  on->Initialize(false);
  for (const auto* text : {L"b", L"zz", L"abc", L"zz "}) {
    input.SetText(0, XeString(text) + L"-taken");
    input.SetText(1, text);
    on.Compute();
  }
  on.Finish();
  EXPECT_EQ(target.GetText(0), L"zz-ta");
  TestRecord objects{{Int4}, {XeObjectData}};
  ExpectError(59001, {}, [&] { Driven(MakeOf<MinBy>({0, 1}), objects, input); });
}

TEST(StringAgg, JoinsByTheDelimiterOfEachRow) {
  TestRecord input{{VarChar, 9}, {LongChar, 9}}, target{{VarChar, 20}};
  Driven on(MakeOf<StringAgg>({0, 1}), input, target);
  const auto run = [&](const std::vector<std::pair<const wchar_t*, const wchar_t*>>& rows) {
    on->Initialize(false);
    for (const auto& [text, delimiter] : rows) {
      text == nullptr ? input.SetNull(0) : input.SetText(0, text);
      delimiter == nullptr ? input.SetNull(1) : input.SetText(1, delimiter);
      on.Compute();
    }
    on.Finish();
    return target.IsNull(0) ? XeString(L"NULL") : target.GetText(0);
  };
  EXPECT_EQ(run({}), L"NULL");
  EXPECT_EQ(run({{nullptr, L","}}), L"NULL");
  EXPECT_EQ(run({{L"", L","}}), L"");
  EXPECT_EQ(run({{L"a", L","}, {L"", L"-"}, {nullptr, L"+"}, {L" b ", nullptr}, {L"c", L"; "}}),
            L"a- b ; c");
  // What the target has no room for is cut.
  EXPECT_EQ(run({{L"123456789", L","}, {L"123456789", L"x"}, {L"123456789", L"y"}}),
            L"123456789x123456789y");
  TestRecord numbers{{Int4}, {LongChar, 9}};
  ExpectError(59001, {L"StringAgg", L"INTEGER"}, [&] {
    Driven(MakeOf<StringAgg>({0, 1}), numbers, target);
  });
}

TEST(StringAgg, RaisesAnErrorBeyondItsLimit) {
  constexpr uint32 kText = 1 << 16;
  TestRecord input{{LongChar, kText}, {LongChar, 1}}, target{{VarChar, StringAgg::kMostLength}};
  Driven on(MakeOf<StringAgg>({0, 1}), input, target);
  input.SetText(0, XeString(kText, L'x'));
  input.SetNull(1);
  on->Initialize(false);
  on->SetSourcePosition(3);
  for (uint32 i = 0; i < StringAgg::kMostLength / kText; ++i) on.Compute();
  ExpectErrorAt(3, 59034, {}, [&] { on.Compute(); });
  on->Initialize(false);
  on.Compute();
  on.Finish();
  EXPECT_EQ(target.GetText(0).size(), kText);
}

/// Rows of a number and a key, joined in the order of the keys.
Aggregate* MakeOrdered(std::unique_ptr<Aggregate> inner, std::vector<Ordered::Key> keys,
                       bool dropsDuplicates) {
  return new Ordered(ColumnsOf({0, 1}), std::move(inner), std::move(keys), dropsDuplicates, 1);
}

XeString ListOf(const std::vector<float64>& values) {
  XeString list;
  for (const float64 value : values)
    list += (list.empty() ? L"" : L"; ") + std::to_wstring(static_cast<int>(value));
  return list;
}

/// What a list of x in the order of y, NULLs last, has.
XeString ModelOrdered(std::vector<Pair> rows, bool descends, bool dropsDuplicates) {
  std::erase_if(rows, [](const Pair& row) { return !row.first; });
  std::ranges::stable_sort(rows, [&](const Pair& a, const Pair& b) {
    if (!a.second || !b.second) return a.second.has_value() && !b.second;
    return descends ? *a.second > *b.second : *a.second < *b.second;
  });
  std::vector<float64> values;
  std::set<std::optional<float64>> seen;
  for (const Pair& row : rows) {
    if (!dropsDuplicates || seen.insert(row.second).second) values.push_back(*row.first);
  }
  return ListOf(values);
}

std::unique_ptr<Aggregate> MakeList() { return std::unique_ptr<Aggregate>(Make<ListAgg, false>()); }

TEST(Ordered, HandsRowsOnInTheOrderOfKeys) {
  TestRecord input{{Int4}, {Double}}, target{{VarChar, 4000}};
  for (const bool descends : {false, true}) {
    for (const bool drops : {false, true}) {
      std::mt19937 random(23);
      Driven on(MakeOrdered(MakeList(), {{1, descends ? kDescending : kAscending}}, drops), input,
                target);
      for (std::size_t count = 0; count < 40; ++count) {
        const std::vector<Pair> rows = MakePairs(random, count);
        StateOf(on, rows);
        on.Finish();
        EXPECT_EQ(target.GetText(0), ModelOrdered(rows, descends, drops));
      }
      EXPECT_EQ(on->GetTargetFixedLenSize(), 4000 * sizeof(wchar_t) + kLongVarPrefix);
    }
  }
}

TEST(Ordered, HoldsAllGroupsTogetherBeyondItsBuffer) {
  const std::size_t buffer = SqrtSorter::GetInitialBufferBytes();
  SqrtSorter::SetInitialBufferBytes(1024);
  TestRecord input{{Int4}, {Double}}, target{{VarChar, 4000}};
  Driven on(MakeOrdered(MakeList(), {{1, kAscending}}, false), input, target);
  HeldMemory memory(0);
  ASSERT_TRUE(on->HoldTogether(memory));
  constexpr std::size_t kGroups = 20;
  std::mt19937 random(29);
  std::vector<Pair> rows[kGroups];
  std::vector<uint8> states[kGroups];
  for (auto& state : states) {
    state.resize(on->TransferState(StateTransfer::kMeasure, nullptr));
    on->Initialize(true);
    on->TransferState(StateTransfer::kSave, state.data());
  }
  for (int i = 0; i < 3000; ++i) {
    const std::size_t group = random() % (kGroups - 1);
    const Pair row = MakePairs(random, 1)[0];
    rows[group].push_back(row);
    SetNumberOrNull(input, 0, row.first);
    SetNumberOrNull(input, 1, row.second);
    on->TransferState(StateTransfer::kRestore, states[group].data());
    EXPECT_EQ(on->Compute(input.buffer(), input.size()), kTrue);
  }
  for (std::size_t group = 0; group < kGroups; ++group) {
    // Nobody asks for some.
    if (group % 5 == 2) continue;
    on->Initialize(true);
    on->TransferState(StateTransfer::kRestore, states[group].data());
    on.Finish();
    EXPECT_EQ(target.GetText(0), ModelOrdered(rows[group], false, false)) << group;
  }
  SqrtSorter::SetInitialBufferBytes(buffer);
}

TEST(Ordered, IsDrivenBetweenInitializeAndFinalize) {
  TestRecord input{{Int4}, {Double}}, target{{VarChar, 4000}};
  Driven on(MakeOrdered(MakeList(), {{1, kAscending}}, false), input, target);
  ExpectBroken([&] { on->Finalize(); });
  ExpectBroken([&] { on->Compute(input.buffer(), input.size()); });
  on->Initialize(true);
  on.Finish();
  EXPECT_TRUE(target.IsNull(0));
  ExpectBroken([&] { on->Compute(input.buffer(), input.size()); });
  TestRecord narrow({{Int4}, {VarChar, 4}}, false);
  ExpectError(59001, {}, [&] {
    Driven(MakeOrdered(MakeList(), {{1, kAscending}}, false), narrow, target);
  });
}

/// A histogram of column 0.
Histogram* MakeHistogram() {
  return new Histogram(ColumnsOf({0}), nullptr, nullptr, false,
                       std::make_unique<Cast>(new Extract(0), XeLongVarCharData, 30, 0));
}

TEST(Ordered, CountsAndDropsRowsThatComeAgain) {
  // Some come again soon, and some when others have taken their places; zeros with and without a
  // sign are equal, and the first one counts.
  TestRecord input{{Double}, {VarChar, 12}}, target{{VarChar, 4000}}, text{{VarChar, 1 << 16}};
  Driven values(MakeOrdered(MakeList(), {{0, kAscending}}, true), input, target);
  Driven counts(MakeOrdered(std::unique_ptr<Aggregate>(MakeHistogram()), {{0, kDescending}}, false),
                input, text);
  std::mt19937 random(43);
  for (const unsigned kinds : {3u, 300u, 5000u}) {
    std::map<float64, std::pair<int, XeString>, std::greater<>> expected;
    values->Initialize(true);
    counts->Initialize(true);
    for (int i = 0; i < 40'000; ++i) {
      const float64 value = random() % 8 == 0 ? (random() % 2 == 0 ? 0.0 : -0.0)
                                              : 1.0 + random() % (i < 20'000 ? 50 : kinds);
      const XeString name = std::signbit(value) ? L"-0" : std::to_wstring(static_cast<int>(value));
      ++expected.try_emplace(value, 0, name).first->second.first;
      input.SetNumber(0, value);
      input.SetText(1, name);
      values.Compute();
      counts.Compute();
    }
    counts.Finish();
    values.Finish();
    XeString list, histogram;
    for (const auto& [value, of] : expected) {
      list = (value == 0 ? of.second : std::to_wstring(static_cast<int>(value))) +
             (list.empty() ? L"" : L"; ") + list;
      histogram +=
          (histogram.empty() ? L"{" : L", ") + of.second + L"=" + std::to_wstring(of.first);
    }
    EXPECT_EQ(text.GetText(0).substr(0, 60000), (histogram + L"}").substr(0, 60000)) << kinds;
    EXPECT_EQ(target.GetText(0), list.substr(0, 4000)) << kinds;
  }
}

/// A histogram of column 0, the different values of column 1, and how many pairs are different.
Aggregate* MakeOverBatches(int kind) {
  using Held = std::unique_ptr<Aggregate>;
  switch (kind) {
    case 0:
      return new Ordered(ColumnsOf({0}), Held(MakeHistogram()), {{0, kDescending}}, false, 1);
    case 1:
      return new Ordered(ColumnsOf({1}), MakeList(), {{0, kAscending}}, true, 1);
    default:
      return new Ordered(ColumnsOf({0, 1}),
                         Held(new Count(ColumnsOf({0}), nullptr, nullptr, false, false, false)),
                         {{0, kAscending}, {1, kAscending}}, true, 2);
  }
}

/// A batch of two columns, some values NULL.
struct TwoColumns {
  explicit TwoColumns(std::mt19937& random, unsigned kinds) {
    for (uint32 row = 0; row < kMostBatchRows; ++row) {
      x[row] = static_cast<int32>(random() % kinds) - 5;
      y[row] = random() % 4 == 0 ? (random() % 2 == 0 ? 0.0 : -0.0) : random() % kinds / 4.0;
    }
    for (uint64& word : validity) word = ~uint64{0} << random() % 3;
    vectors[0].form = ColumnForm::kInt32;
    vectors[0].values = reinterpret_cast<const uint8*>(x);
    vectors[1].form = ColumnForm::kFloat64;
    vectors[1].values = reinterpret_cast<const uint8*>(y);
    for (BatchVector& vector : vectors) vector.validity = validity;
  }
  int32 x[kMostBatchRows];
  float64 y[kMostBatchRows];
  uint64 validity[kMostBatchWords];
  BatchVector vectors[2];
};

TEST(Ordered, TakesFromBatchesWhatRowsBringWithinAnyMemory) {
  const std::size_t buffer = SqrtSorter::GetInitialBufferBytes();
  SqrtSorter::SetInitialBufferBytes(4096);
  TestRecord input{{Int4}, {Double}}, text{{VarChar, 1 << 16}}, number{{UInt4}};
  constexpr std::size_t kGroups = 3;
  std::mt19937 random(47);
  for (const uint64 limit : {uint64{0}, uint64{50'000}, uint64{1} << 30}) {
    for (int kind = 0; kind < 3; ++kind) {
      TestRecord& target = kind == 2 ? number : text;
      // The memory outlives what is held in it.
      HeldMemory memory(limit), other(limit);
      Driven rows(MakeOverBatches(kind), input, target);
      Driven batches(MakeOverBatches(kind), input, target);
      ASSERT_TRUE(rows->HoldTogether(other) && batches->HoldTogether(memory));
      ASSERT_TRUE(batches->TakesBatches());
      std::vector<uint8> states[2][kGroups];
      for (std::size_t i = 0; i < kGroups; ++i) {
        for (Driven* const on : {&rows, &batches}) {
          auto& state = states[on == &batches][i];
          state.resize((*on)->TransferState(StateTransfer::kMeasure, nullptr));
          (*on)->Initialize(true);
          (*on)->TransferState(StateTransfer::kSave, state.data());
        }
      }
      for (int step = 0; step < 8; ++step) {
        const TwoColumns batch(random, step % 2 == 0 ? 40 : 4000);
        const BatchVector* const columns[] = {&batch.vectors[kind == 1 ? 1 : 0], &batch.vectors[1]};
        uint8* of[kMostBatchRows];
        const bool isBatch = step != 5;
        for (uint32 row = 0; row < kMostBatchRows; ++row) {
          const std::size_t group = random() % kGroups;
          of[row] = states[1][group].data();
          const bool isNull = batch.vectors[0].IsNull(row);
          SetNumberOrNull(input, 0, isNull ? std::nullopt : std::optional<float64>(batch.x[row]));
          SetNumberOrNull(input, 1, isNull ? std::nullopt : std::optional<float64>(batch.y[row]));
          for (Driven* const on : {&rows, &batches}) {
            if (on == &batches && isBatch) continue;
            (*on)->TransferState(StateTransfer::kRestore, states[on == &batches][group].data());
            (*on)->Compute(input.buffer(), input.size());
          }
        }
        if (!isBatch) continue;
        const BatchRows all{.count = kMostBatchRows};
        ASSERT_TRUE(batches->AdmitsColumns({columns, kind == 2 ? 2u : 1u}, all));
        batches->FoldBatch({.input = columns[0], .count = kMostBatchRows, .states = of});
      }
      for (std::size_t i = 0; i < kGroups; ++i) {
        XeString results[2];
        for (Driven* const on : {&rows, &batches}) {
          (*on)->Initialize(true);
          (*on)->TransferState(StateTransfer::kRestore, states[on == &batches][i].data());
          on->Finish();
          results[on == &batches] =
              kind == 2 ? std::to_wstring(target.GetNumber(0).value_or(-1)) : target.GetText(0);
        }
        EXPECT_EQ(results[0], results[1]) << kind << " " << limit;
      }
    }
  }
  SqrtSorter::SetInitialBufferBytes(buffer);
}

TEST(Runs, CountWhatComesMostOften) {
  TestRecord input{{Int4}, {VarChar, 12}}, target{{Int4}}, text{{VarChar, 100}};
  Driven mode(MakeOf<Mode>({0}), input, target), histogram(MakeHistogram(), input, text);
  std::mt19937 random(31);
  for (std::size_t count = 0; count < 50; ++count) {
    std::map<int, int> counts;
    std::vector<int> values;
    for (std::size_t i = 0; i < count; ++i) ++counts[values.emplace_back(random() % 7)];
    std::ranges::sort(values);
    mode->Initialize(false);
    histogram->Initialize(false);
    for (const int value : values) {
      if (value % 3 == 0) {
        input.SetNull(0);
        mode.Compute();
        histogram.Compute();
      }
      input.SetNumber(0, value);
      input.SetText(1, std::to_wstring(value));
      mode.Compute();
      histogram.Compute();
    }
    mode.Finish();
    histogram.Finish();
    EXPECT_EQ(target.IsNull(0), values.empty());
    EXPECT_EQ(text.IsNull(0), values.empty());
    if (values.empty()) continue;
    const auto most = std::ranges::max_element(
        counts, [](const auto& a, const auto& b) { return a.second < b.second; });
    EXPECT_EQ(target.GetNumber(0), most->first);
    XeString expected;
    for (const auto& [value, times] : counts)
      expected += (expected.empty() ? L"{" : L", ") + std::to_wstring(value) + L"=" +
                  std::to_wstring(times);
    EXPECT_EQ(text.GetText(0), expected + L"}");
  }
}

TEST(MovingValues, GiveTheRanksOfThoseThatAreThere) {
  std::mt19937 random(37);
  const float64 kinds[] = {-INFINITY, -7, -0.0, 0.0, 1e-300, 3, 3, 1e300, INFINITY, std::nan("")};
  MovingRanks ranks;
  std::vector<float64> held;
  const auto before = [](float64 a, float64 b) {
    if (a == 0 && b == 0) return std::signbit(a) && !std::signbit(b);
    return SortsBefore(a, b);
  };
  for (int step = 0; step < 20000; ++step) {
    if (held.empty() || random() % 2 == 0) {
      held.push_back(kinds[random() % std::size(kinds)]);
      ranks.Add(held.back());
    } else {
      const std::size_t gone = random() % held.size();
      ranks.Remove(held[gone]);
      held.erase(held.begin() + static_cast<std::ptrdiff_t>(gone));
    }
    if (step % 1000 == 999) {
      held.clear();
      ranks.Clear();
    }
    ASSERT_EQ(ranks.GetCount(), held.size());
    if (held.empty()) continue;
    std::ranges::sort(held, before);
    const std::size_t place = random() % held.size();
    ExpectNumber(held[place], ranks.At(place));
    EXPECT_EQ(std::signbit(held[place]), std::signbit(ranks.At(place)));
  }
}

TEST(MovingValues, CountThoseThatAreDifferent) {
  TestRecord input{{VarChar, 8}}, target{{UInt4}};
  Driven count(Make<Count, true, false>(), input, target);
  ASSERT_TRUE(count->HoldMovingRows());
  std::mt19937 random(41);
  std::multiset<XeString> held;
  const auto use = [&](const XeString& text, auto&& action) {
    input.SetText(0, text + XeString(random() % 3, L' '));
    action();
  };
  count->Initialize(false);
  for (int step = 0; step < 3000; ++step) {
    if (held.empty() || random() % 2 == 0) {
      const XeString text = std::to_wstring(random() % 30);
      held.insert(text);
      use(text, [&] { count->Compute(input.buffer(), input.size()); });
    } else {
      const auto gone = std::next(held.begin(), static_cast<int>(random() % held.size()));
      use(*gone, [&] { count->Remove(input.buffer(), input.size()); });
      held.erase(gone);
    }
    input.SetNull(0);
    count->Compute(input.buffer(), input.size());
    count.Finish();
    EXPECT_EQ(target.GetNumber(0), std::set(held.begin(), held.end()).size());
  }
}

}  // namespace
}  // namespace sqxer::test
