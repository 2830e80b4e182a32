#pragma once

#include <bit>
#include <cmath>
#include <concepts>
#include <cstring>

#include "SQXERBatchLoops.h"
#include "SQXEROpsAggregate.h"

namespace sqxer {

/// Rows of a batch on their way into the states of one aggregate: all of them into one state, or
/// each into its own.
struct BatchFold {
  /// The aggregate's column; null for one that reads none.
  const BatchVector* input = nullptr;
  /// Ascending; null for the first `count` rows of the batch.
  const uint16* rows = nullptr;
  uint32 count = 0;
  /// As TransferState saves it, at any address.
  uint8* state = nullptr;
  /// Where `state` is null: for each row an address that the state lies `offset` bytes behind.
  uint8* const* states = nullptr;
  uint32 offset = 0;

  uint32 GetRow(uint32 index) const { return rows == nullptr ? index : rows[index]; }
  /// The state of the row at an index.
  uint8* StateOf(uint32 index) const { return state != nullptr ? state : states[index] + offset; }
  template <class Use>
  bool AllOfStates(Use&& use) const {
    if (state != nullptr) return use(state);
    for (uint32 i = 0; i < count; ++i) {
      if (!use(states[i] + offset)) return false;
    }
    return true;
  }
  /// Calls use(index, row, isValue) for the rows in their order, with the row at which the input
  /// has the value.
  template <class Use>
  void ForEach(Use&& use) const {
    const uint64* const validity = input == nullptr ? nullptr : input->validity;
    const auto isValue = [&](uint32 row) { return (validity[row / 64] >> row % 64 & 1) != 0; };
    if (input != nullptr && input->isConstant) {
      const bool isAny = !input->IsNull(0);
      for (uint32 i = 0; i < count; ++i) use(i, uint32{0}, isAny);
    } else if (rows == nullptr && validity == nullptr) {
      for (uint32 i = 0; i < count; ++i) use(i, i, true);
    } else if (rows == nullptr) {
      // A word of validity bits at a time, so that the bits stay in a register.
      const uint32 whole = count / 64;
      for (uint32 word = 0; word < whole; ++word) {
        const uint64 bits = validity[word];
        for (uint32 i = 0; i < 64; ++i) {
          const uint32 row = word * 64 + i;
          use(row, row, (bits >> i & 1) != 0);
        }
      }
      for (uint32 i = whole * 64; i < count; ++i) use(i, i, isValue(i));
    } else if (validity == nullptr) {
      for (uint32 i = 0; i < count; ++i) use(i, uint32{rows[i]}, true);
    } else {
      for (uint32 i = 0; i < count; ++i) {
        const uint32 row = rows[i];
        use(i, row, isValue(row));
      }
    }
  }
};

/// The running result of a group while rows are folded: read from a saved state, and put back.
template <class Accumulator>
concept BatchAccumulator = requires(Accumulator& accumulator, uint8* state, uint32 row,
                                    bool isValue) {
  accumulator.Load(state);
  accumulator.Add(row, isValue);
  accumulator.Store(state);
};

/// Folds the rows in their order.
template <BatchAccumulator Accumulator>
void FoldRows(const BatchFold& fold, Accumulator accumulator) {
  if (fold.state != nullptr) {
    // A copy of its own, which nothing else can reach, stays in registers.
    Accumulator local = accumulator;
    local.Load(fold.state);
    fold.ForEach([&](uint32, uint32 row, bool isAny) { local.Add(row, isAny); });
    local.Store(fold.state);
  } else {
    fold.ForEach([&](uint32 index, uint32 row, bool isAny) {
      uint8* const state = fold.states[index] + fold.offset;
      accumulator.Load(state);
      accumulator.Add(row, isAny);
      accumulator.Store(state);
    });
  }
}

/// Without a branch, which nobody could guess.
template <class T>
T ValueOrZero(T value, bool isValue) {
  if constexpr (std::same_as<T, float64>) {
    return std::bit_cast<float64>(ValueOrZero(std::bit_cast<int64>(value), isValue));
  } else {
    return value & static_cast<T>(-static_cast<std::make_signed_t<T>>(isValue));
  }
}

/// A sum of values of T in a state that begins with it. NULLs add nothing.
template <class T>
class SumAccumulator {
 public:
  using Value = T;
  explicit SumAccumulator(const BatchVector& input) : values_(input.As<T>()) {}
  void Load(const uint8* state) { sum_ = LoadValue<T>(state); }
  void Add(uint32 row, bool isValue) {
    // A sum never is the negative zero, so that adding zero changes nothing.
    sum_ = AddUnchecked(sum_, ValueOrZero(values_[row], isValue));
  }
  void Store(uint8* state) const { StoreValue(state, sum_); }

 private:
  const T* values_;
  T sum_{};
};

/// The same of decimals that are integers of one scale, added up as Total, into a decimal number.
template <class Stored, class Total>
class ScaledSumAccumulator {
 public:
  explicit ScaledSumAccumulator(const BatchVector& input)
      : values_(input.As<Stored>()), scale_(input.scale) {}
  void Load(const uint8*) { sum_ = 0; }
  void Add(uint32 row, bool isValue) { sum_ += values_[row] & -Total{isValue}; }
  void Store(uint8* state) const {
    StoreValue(state, VelmarNumber::Plus(LoadValue<VelmarNumber>(state),
                                         VelmarNumber::FromScaled(sum_, scale_)));
  }

 private:
  const Stored* values_;
  const int16 scale_;
  Total sum_ = 0;
};

/// The same of decimals in their general form, which are added and rounded as rows are.
class GeneralSumAccumulator {
 public:
  explicit GeneralSumAccumulator(const BatchVector& input) : values_(input.As<VelmarNumber>()) {}
  void Load(const uint8* state) { sum_ = LoadValue<VelmarNumber>(state); }
  void Add(uint32 row, bool isValue) {
    if (isValue) sum_ = VelmarNumber::Plus(sum_, values_[row]);
  }
  void Store(uint8* state) const { StoreValue(state, sum_); }

 private:
  const VelmarNumber* values_;
  VelmarNumber sum_;
};

/// How a batch of decimals is summed up.
enum class DecimalSums {
  /// By integers of one scale, the sums of a batch in 64 bits or in 128.
  k64,
  k128,
  /// One after the other.
  kGeneral,
};

/// What a column must be like for its sums in a batch to be those of rows, one after the other.
template <AccumulatorValue T>
class SumCheck {
 public:
  /// Whether the values can be summed up whatever their order of checks; `isChecked`: a sum that
  /// leaves the type is an error.
  bool AdmitsInput(const BatchVector& input, const BatchRows& rows, bool isChecked) {
    isChecked_ = isChecked;
    scale_ = input.scale;
    sums_ = DecimalSums::k64;
    if (input.isConstant && input.IsNull(0)) {
      least_ = greatest_ = 0;
      return true;
    }
    if constexpr (std::same_as<T, VelmarNumber>) {
      return AdmitsDecimals(input, rows);
    } else if constexpr (std::integral<T>) {
      if (!isChecked) return true;
      const ColumnBounds<int64> bounds = FindBounds<T>(input, rows);
      return CountWhole({bounds.least, bounds.greatest}, rows) && AreSumsWords();
    } else {
      if (!isChecked) return true;
      if (input.block != nullptr && input.block->hasBounds) {
        return input.block->real.least > -kMostSize && input.block->real.greatest < kMostSize;
      }
      // Sizes are in the order of their bits, infinities and NaN last.
      const auto sizeOf = [values = input.As<float64>()](uint32 row) {
        return std::bit_cast<int64>(values[row]) & std::numeric_limits<int64>::max();
      };
      int64 most = 0;
      if (input.isConstant) {
        most = sizeOf(0);
      } else {
        for (uint32 row = 0; row < rows.count; ++row) most = std::max(most, sizeOf(row));
      }
      const auto isSmall = [](int64 size) { return size < std::bit_cast<int64>(kMostSize); };
      if (isSmall(most)) return true;
      // It may have come from a row that does not count.
      most = 0;
      rows.ForEach([&](uint32 row) {
        if (!input.IsNull(row)) most = std::max(most, sizeOf(input.isConstant ? 0 : row));
      });
      return isSmall(most);
    }
  }

  bool AdmitsState(const uint8* state) const {
    if constexpr (std::same_as<T, VelmarNumber>) {
      const auto sum = LoadValue<VelmarNumber>(state);
      if (sums_ == DecimalSums::kGeneral) return sum.IsFarWithin();
      constexpr int64 kMostWord = int64{1} << 62;
      int64 word;
      if (sums_ == DecimalSums::k64 && sum.TryScaled(scale_, word) && word > -kMostWord &&
          word < kMostWord) {
        return true;
      }
      return parts_ == 1 ? AdmitsSum(sum) : IsPart(state, 1);
    } else if constexpr (std::integral<T>) {
      if (!isChecked_) return true;
      const int128 sum = LoadValue<T>(state);
      return AreWithin<T>({(sum + least_) * parts_, (sum + greatest_) * parts_});
    } else {
      // Not one infinity on the way, and the sum is none either.
      return !isChecked_ || std::fabs(LoadValue<float64>(state)) < kMostSum;
    }
  }

  DecimalSums GetSums() const { return sums_; }

  /// The sum is to be one of so many that are added up: see IsPart.
  void SetParts(uint32 parts) { parts_ = parts; }
  /// Whether a sum that was admitted all the way can be added to others like it, so many in all.
  static bool IsPart(const uint8* state, uint32 parts) {
    if constexpr (std::same_as<T, VelmarNumber>) {
      // With what a batch brings them to, and added up, they have 38 digits.
      const auto number = LoadValue<VelmarNumber>(state);
      return std::fabs(number.asDouble()) < static_cast<float64>(kMostPart) &&
             number.decimalPlaces() <= kMostPartPlaces;
    } else if constexpr (std::integral<T>) {
      const int128 sum = int128{LoadValue<T>(state)} * parts;
      return AreWithin<T>({sum, sum});
    } else {
      return false;
    }
  }

 private:
  static constexpr int64 kMostPart = 9'000'000'000'000'000'000;
  static constexpr int kMostPartPlaces = kMostScale64;
  static constexpr float64 kMostSize = 1e300;
  static constexpr float64 kMostSum = 1e305;

  /// The least and the greatest sum that any of the rows can come to; false beyond 128 bits.
  bool CountWhole(const WideBounds& bounds, const BatchRows& rows) {
    const int128 count = rows.GetWanted();
    return !__builtin_mul_overflow(std::min<int128>(bounds.least, 0), count, &least_) &&
           !__builtin_mul_overflow(std::max<int128>(bounds.greatest, 0), count, &greatest_);
  }
  bool AreSumsWords() const {
    constexpr int128 kMost = int128{1} << 62;
    return least_ > -kMost && greatest_ < kMost;
  }

  /// The same of what IsPart allows a sum to be.
  bool AreSumsParts() const {
    if (scale_ > kMostPartPlaces) return false;
    const int128 most = int128{kMostPart} * PowerOfTen128(scale_);
    return least_ > -most && greatest_ < most;
  }

  bool AdmitsDecimals(const BatchVector& input, const BatchRows& rows) {
    sums_ = DecimalSums::kGeneral;
    if (IsScaled(input.form)) {
      const bool areWide = CountWhole(FindScaledBounds(input, rows), rows);
      if (areWide && AreSumsWords() && input.form == ColumnForm::kDecimal64) {
        sums_ = DecimalSums::k64;
        return true;
      }
      sums_ = DecimalSums::k128;
      return areWide && (parts_ == 1 || AreSumsParts());
    }
    if (parts_ != 1) return false;
    const VelmarNumber* const values = input.As<VelmarNumber>();
    bool areWithin = true;
    rows.ForEach([&](uint32 row) {
      areWithin &= input.IsNull(row) || values[input.isConstant ? 0 : row].IsFarWithin();
    });
    return areWithin;
  }

  /// Whether neither this sum nor any that the rows bring it to has more than 38 digits: then no
  /// row is rounded.
  bool AdmitsSum(const VelmarNumber& number) const {
    int places = scale_;
    int128 sum;
    if (!number.TryScaled(places, sum)) {
      places = number.decimalPlaces();
      if (places > kDecimalDigits || !number.TryScaled(places, sum)) return false;
    }
    WideBounds sums = {least_, greatest_};
    return ScaleBounds(std::max(places - scale_, 0), sums) &&
           !__builtin_add_overflow(sums.least, sum, &sums.least) &&
           !__builtin_add_overflow(sums.greatest, sum, &sums.greatest) && HaveDecimalDigits(sums);
  }

  bool isChecked_ = true;
  int16 scale_ = 0;
  DecimalSums sums_ = DecimalSums::k64;
  uint32 parts_ = 1;
  int128 least_ = 0;
  int128 greatest_ = 0;
};

/// Folds batches into states that begin with a sum of values of T; behind it stands, where
/// `isCounted`, how many values there are, and then whether there is none.
template <AccumulatorValue T, bool isCounted>
class SumFold {
 public:
  /// As SumCheck has it.
  bool AdmitsInput(const BatchVector& input, const BatchRows& rows, bool isChecked) {
    return check_.AdmitsInput(input, rows, isChecked);
  }
  bool AdmitsStates(const BatchFold& fold) const {
    return fold.AllOfStates([this](const uint8* state) { return check_.AdmitsState(state); });
  }
  /// Of the column that was admitted last.
  void Fold(const BatchFold& fold) const {
    if constexpr (!std::same_as<T, VelmarNumber>) {
      FoldRows(fold, State<SumAccumulator<T>>(*fold.input));
    } else if (check_.GetSums() == DecimalSums::k64) {
      FoldRows(fold, State<ScaledSumAccumulator<int64, int64>>(*fold.input));
    } else if (check_.GetSums() == DecimalSums::kGeneral) {
      FoldRows(fold, State<GeneralSumAccumulator>(*fold.input));
    } else {
      WithScaledType(fold.input->form, [&]<class Stored>(std::type_identity<Stored>) {
        FoldRows(fold, State<ScaledSumAccumulator<Stored, int128>>(*fold.input));
      });
    }
  }

  void SetParts(uint32 parts) { check_.SetParts(parts); }
  static bool IsPart(const uint8* state, uint32 parts) { return SumCheck<T>::IsPart(state, parts); }
  /// Adds what a later state holds.
  static void Merge(uint8* state, const uint8* later) {
    constexpr std::size_t kNull = sizeof(T) + (isCounted ? sizeof(uint32) : 0);
    if (later[kNull] != 0) return;
    StoreValue(state, AddUnchecked(LoadValue<T>(state), LoadValue<T>(later)));
    if constexpr (isCounted) {
      uint8* const count = state + sizeof(T);
      StoreValue(count, LoadValue<uint32>(count) + LoadValue<uint32>(later + sizeof(T)));
    }
    state[kNull] = 0;
  }

 private:
  template <class Sum>
  class State {
   public:
    explicit State(const BatchVector& input) : sum_(input) {}
    void Load(const uint8* state) {
      sum_.Load(state);
      added_ = 0;
    }
    void Add(uint32 row, bool isValue) {
      sum_.Add(row, isValue);
      added_ += isValue;
    }
    void Store(uint8* state) const {
      if (added_ == 0) return;
      sum_.Store(state);
      uint8* rest = state + sizeof(T);
      if constexpr (isCounted) {
        StoreValue(rest, LoadValue<uint32>(rest) + added_);
        rest += sizeof added_;
      }
      *rest = 0;
    }

   private:
    Sum sum_;
    uint32 added_ = 0;
  };

  SumCheck<T> check_;
};

}  // namespace sqxer
