#include <algorithm>
#include <array>

#include "FixedBuilder.h"
#include "PlainNumber.h"
#include "VectorBuilders.h"

namespace sqxer {
namespace {

constexpr int kMostScale = PlainNumber::kMostDigits;
constexpr std::array<int64, kMostScale + 1> kPowers = [] {
  std::array<int64, kMostScale + 1> powers{1};
  for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = powers[i - 1] * 10;
  return powers;
}();

/// Whole numbers of 64 bits with one scale, the greatest that a value has needed; from the first
/// value on that they do not hold, decimals in their general form.
class DecimalBuilder final : public TypedBuilder<DecimalBuilder> {
 public:
  explicit DecimalBuilder(const Options& options) : TypedBuilder(options) {}

  void Reserve(uint64 more) {
    if (isGeneral_) {
      general_.Reserve((rows_ + more) * sizeof(VelmarNumber));
    } else {
      scaled_.Reserve((rows_ + more) * sizeof(int64));
    }
    reserved_ = std::max(reserved_, rows_ + more);
  }

  [[gnu::always_inline]] Outcome TakeText(std::string_view text, uint64 row) {
    PlainNumber number;
    if (ReadPlainNumber(text, number) && IsTaken(number)) {
      const int64 size = static_cast<int64>(number.digits);
      TakeScaled(number.negative ? -size : size, number.fraction, row);
      return Outcome::kTaken;
    }
    VelmarNumber value;
    if ((IsInferred() && (ClassifyText(text) & kNumericKind) == 0) || !ReadValue(text, value)) {
      return Outcome::kUnreadable;
    }
    const int places = value.decimalPlaces();
    int64 coefficient;
    if (places <= kMostScale && value.TryScaled(places, coefficient)) {
      TakeScaled(coefficient, places, row);
    } else {
      TurnGeneral(row);
      general_.As<VelmarNumber>()[row] = value;
    }
    return Outcome::kTaken;
  }

  void TakeNull(uint64 row) {
    if (isGeneral_) {
      general_.As<VelmarNumber>()[row] = VelmarNumber();
    } else {
      scaled_.As<int64>()[row] = 0;
    }
  }

 private:
  bool IsTaken(const PlainNumber& number) const {
    if (!IsInferred()) return true;
    return !number.hasPoint && number.isCanonical && (number.digits != 0 || !number.negative);
  }

  void TakeScaled(int64 coefficient, int scale, uint64 row) {
    if (!isGeneral_ && scale > scale_) Rescale(scale, row);
    int64 scaled;
    if (!isGeneral_ &&
        !__builtin_mul_overflow(coefficient, kPowers[static_cast<std::size_t>(scale_ - scale)],
                                &scaled)) {
      scaled_.As<int64>()[row] = scaled;
      return;
    }
    TurnGeneral(row);
    general_.As<VelmarNumber>()[row] = VelmarNumber::FromScaled(coefficient, scale);
  }

  /// Brings the values before a row to more digits behind the point, or to the general form.
  void Rescale(int scale, uint64 row) {
    const int64 factor = kPowers[static_cast<std::size_t>(scale - scale_)];
    int64* const values = scaled_.As<int64>();
    const int64 most = INT64_MAX / factor;
    if (std::any_of(values, values + row, [&](int64 v) { return v > most || v < -most; })) {
      return TurnGeneral(row);
    }
    std::for_each(values, values + row, [&](int64& v) { v *= factor; });
    scale_ = scale;
    // Bounds of the blocks before were those of the other scale.
    ForgetBlocks();
  }

  void TurnGeneral(uint64 row) {
    if (isGeneral_) return;
    general_.Reserve(std::max(reserved_, row + 1) * sizeof(VelmarNumber));
    const int64* const values = scaled_.As<int64>();
    std::transform(values, values + row, general_.As<VelmarNumber>(),
                   [&](int64 v) { return VelmarNumber::FromScaled(v, scale_); });
    scaled_.Release();
    isGeneral_ = true;
    ForgetBlocks();
  }

  ColumnVector ShowValues() const override {
    ColumnVector vector;
    vector.form = isGeneral_ ? ColumnForm::kNumber : ColumnForm::kDecimal64;
    vector.scale = static_cast<int16>(isGeneral_ ? 0 : scale_);
    vector.values = isGeneral_ ? general_.GetData() : scaled_.GetData();
    vector.rows = rows_;
    return vector;
  }
  ColumnVector TakeValues() override {
    Reserve(1);
    auto kept = std::make_shared<KeptBuffers>();
    kept->values = std::move(isGeneral_ ? general_ : scaled_);
    kept->values.Shrink(rows_ * (isGeneral_ ? sizeof(VelmarNumber) : sizeof(int64)));
    ColumnVector vector = ShowValues();
    vector.values = kept->values.GetData();
    vector.owner = std::move(kept);
    return vector;
  }

  ColumnBuffer scaled_;
  ColumnBuffer general_;
  uint64 reserved_ = 0;
  int scale_ = 0;
  bool isGeneral_ = false;
};

}  // namespace

std::unique_ptr<VectorBuilder> MakeDecimalBuilder(const VectorBuilder::Options& options) {
  return std::make_unique<DecimalBuilder>(options);
}

}  // namespace sqxer
