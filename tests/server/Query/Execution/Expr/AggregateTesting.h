#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "SQXERExprAggregate.h"
#include "support/Asserts.h"
#include "support/TestRecord.h"

namespace sqxer::test {

/// The values of one group in the order of its rows; nothing stands for NULL.
using Values = std::vector<std::optional<float64>>;

inline UInt16Vector* Columns(uint16 column) { return new UInt16Vector(1, column); }

/// New unbound aggregates over column 0.
template <class Kind>
Aggregate* Make() {
  return new Kind(Columns(0), nullptr, nullptr, false);
}
template <bool distinct>
Aggregate* MakeSum() {
  return new Sum(Columns(0), nullptr, nullptr, false, distinct);
}
template <bool distinct, bool sorted = false>
Aggregate* MakeCount() {
  return new Count(Columns(0), nullptr, nullptr, false, distinct, sorted);
}

/// The value of a numeric field of any type; nothing for NULL.
inline std::optional<float64> GetNumber(TestRecord& record, int position) {
  if (record.IsNull(position)) return std::nullopt;
  switch (record.field(position).GetDataType()) {
    case XeInt1Data:
      return record.Get<int8>(position);
    case XeUInt1Data:
      return record.Get<uint8>(position);
    case XeInt2Data:
      return record.Get<int16>(position);
    case XeUInt2Data:
      return record.Get<uint16>(position);
    case XeInt4Data:
      return record.Get<int32>(position);
    case XeUInt4Data:
      return record.Get<uint32>(position);
    case XeFloatData:
      return record.Get<float32>(position);
    case XeDoubleData:
      return record.Get<float64>(position);
    case XeNumericData:
      return record.Get<VelmarNumber>(position).asDouble();
    default:
      throw std::logic_error("not a numeric field");
  }
}

/// Tells how two results differ; a NaN equals a NaN.
inline testing::AssertionResult SameNumber(const std::optional<float64>& expected,
                                           const std::optional<float64>& actual) {
  const auto text = [](const std::optional<float64>& v) {
    return v ? testing::PrintToString(*v) : std::string("NULL");
  };
  const bool same =
      expected.has_value() == actual.has_value() &&
      (!expected || *expected == *actual || (std::isnan(*expected) && std::isnan(*actual)) ||
       std::fabs(*expected - *actual) <= 1e-14 * std::fabs(*expected));
  if (same) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "expected " << text(expected) << ", got " << text(actual);
}

/// A bound aggregate over records of its test.
class Driven {
 public:
  Driven(Aggregate* generic, TestRecord& input, TestRecord& target, uint16 targetField = 0)
      : input_(input), target_(target) {
    aggregate_ = BindAggregate(std::unique_ptr<Aggregate>(generic), input.layout(), target.layout(),
                               targetField, info_);
  }

  Aggregate& operator*() { return *aggregate_; }
  Aggregate* operator->() { return aggregate_.get(); }
  const MetaDataInfo& info() const { return info_; }

  void Compute() { EXPECT_EQ(aggregate_->Compute(input_.buffer(), input_.size()), kTrue); }
  /// Feeds numbers through a column.
  void Compute(const Values& values, int column = 0) {
    for (const std::optional<float64>& value : values) {
      if (value) {
        input_.SetNumber(column, *value);
      } else {
        input_.SetNull(column);
      }
      Compute();
    }
  }
  /// Ends the group and writes the result into a record of zeros.
  void Finish() {
    EXPECT_EQ(aggregate_->Finalize(), kTrue);
    std::memset(target_.buffer(), 0, target_.size());
    aggregate_->Output(target_.buffer());
  }
  /// A whole group of numbers, and its (first) result.
  std::optional<float64> Run(const Values& values, int targetField = 0) {
    aggregate_->Initialize(false);
    Compute(values);
    Finish();
    return GetNumber(target_, targetField);
  }
  /// A whole group of texts, written to column 0.
  void RunTexts(const std::vector<std::optional<XeString>>& texts) {
    aggregate_->Initialize(false);
    for (const std::optional<XeString>& text : texts) {
      if (text) {
        input_.SetText(0, *text);
      } else {
        input_.SetNull(0);
      }
      Compute();
    }
    Finish();
  }

 private:
  TestRecord& input_;
  TestRecord& target_;
  MetaDataInfo info_;
  std::unique_ptr<Aggregate> aggregate_;
};

}  // namespace sqxer::test
