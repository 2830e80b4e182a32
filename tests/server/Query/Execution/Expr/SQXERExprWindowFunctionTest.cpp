// The functions that give each row of a partition a value, against models of their meaning.

#include <functional>
#include <random>

#include "AggregateTesting.h"

namespace sqxer::test {
namespace {

/// A row: a value, n, what stands in for missing rows, and the row's key in the order.
struct Row {
  std::optional<float64> value, n, other;
  int key;
};
using Partition = std::vector<Row>;

class PartitionRows final : public WindowRows {
 public:
  PartitionRows(const Partition& rows, TestRecord& record) : rows_(rows), record_(record) {}
  uint8* GetRow(uint64 row) override {
    const Row& values = rows_.at(row);
    int column = 0;
    for (const auto& value : {values.value, values.n, values.other}) {
      if (value) {
        record_.SetNumber(column, *value);
      } else {
        record_.SetNull(column);
      }
      ++column;
    }
    return record_.buffer();
  }

 private:
  const Partition& rows_;
  TestRecord& record_;
};

UInt16Vector* FirstColumns(int count) {
  auto columns = std::make_unique<UInt16Vector>();
  for (int i = 0; i < count; ++i) columns->push_back(static_cast<uint16>(i));
  return columns->empty() ? nullptr : columns.release();
}
template <class Kind, int columns>
Aggregate* MakeOver() {
  return new Kind(FirstColumns(columns), nullptr, nullptr);
}

std::vector<uint64> RowsOf(const FrameRows& frame) {
  std::vector<uint64> rows;
  for (const RowStretch& stretch : frame) {
    for (uint64 row = stretch.from; row < stretch.to; ++row) rows.push_back(row);
  }
  return rows;
}
using Result = std::optional<float64>;

/// The value so many rows away, as LAG and LEAD have it.
Result Away(const Partition& rows, const WindowPlace& at, float64 distance, Result other) {
  const float64 row = static_cast<float64>(at.row) + distance;
  return row < 0 || row >= static_cast<float64>(rows.size()) ? other
                                                             : rows[static_cast<uint64>(row)].value;
}
Result AwayByN(const Partition& rows, const WindowPlace& at, int direction) {
  const Row& row = rows[at.row];
  return row.n ? Away(rows, at, direction * *row.n, row.other) : Result();
}
Result InFrame(const Partition& rows, const WindowPlace& at, std::function<int(int)> place) {
  const std::vector<uint64> frame = RowsOf(at.frame);
  const int index = place(static_cast<int>(frame.size()));
  return index < 0 || index >= std::ssize(frame) ? Result()
                                                 : rows[frame[static_cast<uint64>(index)]].value;
}

struct Kind {
  const char* name;
  Aggregate* (*make)();
  XeDataType result;
  Result (*model)(const Partition& rows, const WindowPlace& at);
};
void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }

const Kind kKinds[] = {
    {"DenseRank", &MakeOver<DenseRank, 0>, UInt4,
     [](const Partition&, const WindowPlace& at) {
       return Result(static_cast<float64>(at.peersBefore) + 1);
     }},
    {"PercentRank", &MakeOver<PercentRank, 0>, Double,
     [](const Partition& rows, const WindowPlace& at) {
       const float64 others = static_cast<float64>(rows.size()) - 1;
       return Result(others == 0 ? 0 : static_cast<float64>(at.peers.from) / others);
     }},
    {"CumeDist", &MakeOver<CumeDist, 0>, Double,
     [](const Partition& rows, const WindowPlace& at) {
       return Result(static_cast<float64>(at.peers.to) / static_cast<float64>(rows.size()));
     }},
    {"Lag", &MakeOver<Lag, 1>, Double,
     [](const Partition& rows, const WindowPlace& at) { return Away(rows, at, -1, {}); }},
    {"LagByN", &MakeOver<Lag, 3>, Double,
     [](const Partition& rows, const WindowPlace& at) { return AwayByN(rows, at, -1); }},
    {"Lead", &MakeOver<Lead, 1>, Double,
     [](const Partition& rows, const WindowPlace& at) { return Away(rows, at, 1, {}); }},
    {"LeadByN", &MakeOver<Lead, 3>, Double,
     [](const Partition& rows, const WindowPlace& at) { return AwayByN(rows, at, 1); }},
    {"FirstValue", &MakeOver<FirstValue, 1>, Double,
     [](const Partition& rows, const WindowPlace& at) {
       return InFrame(rows, at, [](int) { return 0; });
     }},
    {"LastValue", &MakeOver<LastValue, 1>, Double,
     [](const Partition& rows, const WindowPlace& at) {
       return InFrame(rows, at, [](int count) { return count - 1; });
     }},
    {"NthValue", &MakeOver<NthValue, 2>, Double,
     [](const Partition& rows, const WindowPlace& at) {
       const Result n = rows[at.row].n;
       return n ? InFrame(rows, at, [&](int) { return static_cast<int>(*n) - 1; }) : Result();
     }},
};

class WindowFunctionProtocol : public testing::TestWithParam<Kind> {
 protected:
  TestRecord input{{Double}, {Int4}, {Double}};
  TestRecord target{{Int1}, {GetParam().result}};
  Driven bound{GetParam().make(), input, target, 1};
  WindowFunction& function = dynamic_cast<WindowFunction&>(*bound.aggregate);

  static Partition MakePartition(std::mt19937& random, bool isNthValue) {
    const auto maybe = [&](float64 value) { return random() % 4 == 0 ? Result() : Result(value); };
    Partition rows(1 + random() % 12);
    int key = 0;
    for (Row& row : rows) {
      key += static_cast<int>(random() % 2);
      const int n = static_cast<int>(random() % 6) - (isNthValue ? -1 : 2);
      row = {maybe(random() % 100), maybe(n), maybe(1000 + random() % 9), key};
    }
    return rows;
  }
  /// A place with any frame; stretches in the order of rows.
  static WindowPlace MakePlace(const Partition& rows, uint64 row, std::mt19937& random) {
    WindowPlace place;
    place.row = row;
    place.rowCount = rows.size();
    const int key = rows[row].key;
    place.peers = {row, row + 1};
    while (place.peers.from > 0 && rows[place.peers.from - 1].key == key) --place.peers.from;
    while (place.peers.to < rows.size() && rows[place.peers.to].key == key) ++place.peers.to;
    place.peersBefore = static_cast<uint64>(key - rows[0].key);
    uint64 at = random() % (rows.size() + 1);
    for (RowStretch& stretch : place.frame) {
      const uint64 end = at + random() % (rows.size() + 1 - at);
      stretch = random() % 3 == 0 ? RowStretch{at, at} : RowStretch{at, end};
      at = end;
    }
    return place;
  }
};

TEST_P(WindowFunctionProtocol, GivesEachRowWhatTheModelGives) {
  std::mt19937 random(11);
  const bool isNthValue = std::string_view(GetParam().name) == "NthValue";
  EXPECT_TRUE(function.IsFunctionalAggr());
  for (int partition = 0; partition < 300; ++partition) {
    const Partition rows = MakePartition(random, isNthValue);
    PartitionRows access(rows, input);
    for (uint64 row = 0; row < rows.size(); ++row) {
      const WindowPlace place = MakePlace(rows, row, random);
      std::memset(target.buffer(), 0, target.size());
      function.OutputAt(place, access, target.buffer());
      ExpectNumber(GetParam().model(rows, place), target.GetNumber(1));
      if (HasFailure()) return;
    }
  }
}

TEST_P(WindowFunctionProtocol, IsDrivenByItsRowsAlone) {
  ExpectBroken([&] { function.Initialize(true); });
  ExpectBroken([&] { function.Compute(input.buffer(), input.size()); });
  ExpectBroken([&] { function.Output(target.buffer()); });
  EXPECT_EQ(function.TransferState(StateTransfer::kMeasure, nullptr), 0u);
  EXPECT_FALSE(function.TakesBatches());
}

TEST_P(WindowFunctionProtocol, WritesIntoFieldsOfItsResultsTypeOnly) {
  TestRecord other{{Int1}, {Date}};
  Aggregate* const generic = GetParam().make();
  generic->SetSourcePosition(4);
  ExpectErrorAt(4, 59030, {}, [&] { Driven(generic, input, other, 1); });
}

INSTANTIATE_TEST_SUITE_P(Every, WindowFunctionProtocol, testing::ValuesIn(kKinds),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(WindowFunction, RefusesOperandsOfOtherTypes) {
  TestRecord input{{Double}, {Double}, {VarChar, 4}}, target{{Double}};
  ExpectError(59001, {}, [&] { Driven(MakeOver<NthValue, 2>(), input, target); });
  ExpectError(59001, {}, [&] { Driven(MakeOver<Lag, 2>(), input, target); });
  TestRecord texts{{Double}, {Int4}, {VarChar, 4}};
  ExpectError(59001, {}, [&] { Driven(MakeOver<Lead, 3>(), texts, target); });
}

TEST(WindowFunction, NthValueRefusesPlacesBelowTheFirst) {
  TestRecord input{{Double}, {Int4}}, target{{Double}};
  Driven bound(MakeOver<NthValue, 2>(), input, target);
  bound.aggregate->SetSourcePosition(7);
  for (const float64 n : {0.0, -1.0}) {
    const Partition rows{{1, n, {}, 0}};
    TestRecord record{{Double}, {Int4}, {Double}};
    PartitionRows access(rows, record);
    WindowPlace place;
    place.rowCount = 1;
    place.frame[0] = {0, 1};
    ExpectErrorAt(7, 59028, {}, [&] {
      dynamic_cast<WindowFunction&>(*bound.aggregate).OutputAt(place, access, target.buffer());
    });
  }
}

}  // namespace
}  // namespace sqxer::test
