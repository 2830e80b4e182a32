#pragma once

#include <cmath>

#include "SQXERExprAggregate.h"
#include "SQXERExprConstant.h"
#include "support/Asserts.h"
#include "support/TestRecord.h"

namespace sqxer::test {

/// The values of one group in the order of its rows; nothing stands for NULL.
template <class Value>
using Rows = std::vector<std::optional<Value>>;
using Values = Rows<float64>;

inline UInt16Vector* Columns(uint16 column) { return new UInt16Vector(1, column); }

/// A new unbound aggregate over column 0.
template <class Kind, bool... flags>
Aggregate* Make() {
  return new Kind(Columns(0), nullptr, nullptr, false, flags...);
}

/// The same with a result per row, over windows of the given size where there are windows.
template <class Kind, int... window>
Aggregate* MakeCumulative() {
  return new Kind(Columns(0), nullptr, nullptr, true, new ConstantInt32(window)...);
}

inline void ExpectNumber(std::optional<float64> expected, std::optional<float64> actual) {
  ASSERT_EQ(expected.has_value(), actual.has_value());
  if (!expected || (std::isnan(*expected) && std::isnan(*actual))) return;
  EXPECT_DOUBLE_EQ(*expected, *actual);
}

/// A bound aggregate over records of its test.
struct Driven {
  TestRecord& input;
  TestRecord& target;
  MetaDataInfo info = {};
  std::unique_ptr<Aggregate> aggregate;

  Driven(Aggregate* generic, TestRecord& in, TestRecord& out, uint16 field = 0)
      : input(in),
        target(out),
        aggregate(BindAggregate(std::unique_ptr<Aggregate>(generic), in.layout(), out.layout(),
                                field, info)) {}
  Aggregate* operator->() { return aggregate.get(); }

  /// A row; then another group has its turn, when the aggregate can take turns.
  void Compute() {
    EXPECT_EQ(aggregate->Compute(input.buffer(), input.size()), kTrue);
    std::vector<uint8> state(aggregate->TransferState(StateTransfer::kMeasure, nullptr));
    if (state.empty()) return;
    EXPECT_EQ(aggregate->TransferState(StateTransfer::kSave, state.data()), state.size());
    aggregate->Initialize(false);
    EXPECT_EQ(aggregate->TransferState(StateTransfer::kRestore, state.data()), state.size());
  }
  /// Feeds values through a column.
  template <class Value>
  void Compute(const Rows<Value>& rows, int column = 0) {
    for (const std::optional<Value>& value : rows) {
      if (!value) {
        input.SetNull(column);
      } else if constexpr (std::is_same_v<Value, XeString>) {
        input.SetText(column, *value);
      } else if constexpr (std::is_same_v<Value, float64>) {
        input.SetNumber(column, *value);
      } else {
        input.Set(column, *value);
      }
      Compute();
    }
  }
  /// Ends the group and writes the result into a record of zeros.
  void Finish() {
    EXPECT_EQ(aggregate->Finalize(), kTrue);
    std::memset(target.buffer(), 0, target.size());
    aggregate->Output(target.buffer());
  }
  /// A whole group, and its result when that is a number.
  template <class Value = float64>
  std::optional<float64> Run(const Rows<Value>& rows, int targetField = 0) {
    aggregate->Initialize(false);
    Compute(rows);
    Finish();
    return target.GetNumber(targetField);
  }
  /// A group, and the result after each of its rows.
  Values RunByRow(const Values& rows) {
    Values results;
    aggregate->Initialize(false);
    for (const auto& row : rows) {
      Compute(Values{row});
      Finish();
      results.push_back(target.GetNumber(0));
    }
    return results;
  }
};

/// An aggregate with a result for every row.
struct Places {
  TestRecord input, target;
  Driven on;

  Places(Aggregate* generic, XeDataType type, XeDataType result)
      : input({{type, type == VarChar ? 8u : 0u}, {type}, {Int4}}),
        target({{result}}),
        on(generic, input, target) {}

  Values Outputs(std::size_t rows) {
    Values results;
    while (results.size() < rows) {
      on->Output(target.buffer());
      results.push_back(target.GetNumber(0));
    }
    return results;
  }
  template <class Value>
  Values Run(const Rows<Value>& rows, bool restart = true, int column = 0) {
    on->Initialize(restart);
    on.Compute(rows, column);
    EXPECT_EQ(on->Finalize(), kTrue);
    return Outputs(rows.size());
  }
};

inline void ExpectPlaces(const Values& expected, const Values& actual) {
  ASSERT_EQ(expected.size(), actual.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    SCOPED_TRACE(i);
    ExpectNumber(expected[i], actual[i]);
  }
}

}  // namespace sqxer::test
