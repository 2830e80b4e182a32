#pragma once

#include <optional>

#include "Utility/OperatorTimer.h"
#include "Utility/RecordSpool.h"
#include "Utility/SqrtSorter.h"

namespace sqxer {

/// The numbers of a group that are more than memory is for: sorted in a temporary file, and then
/// found by their rank. A NaN follows every number, and of equal zeros those with a sign come
/// first.
class SpilledNumbers {
 public:
  /// It spills where the settings say.
  explicit SpilledNumbers(const SettingsRef& settings);

  void Add(float64 value);
  /// Behind the last number, once. Numbers are then asked for by rank.
  void Sort();
  std::size_t GetCount() const { return count_; }
  /// The number of a rank (from 0) that there is.
  float64 At(std::size_t rank);

 private:
  /// What is sorted.
  struct Record {
    float64 value;
    uint8 isPositive;
    uint8 rest[7] = {};
  };

  OperatorTimer timer_;
  SqrtSorter sorter_;
  std::optional<RecordSpool> sorted_;
  std::size_t count_ = 0;
};

}  // namespace sqxer
