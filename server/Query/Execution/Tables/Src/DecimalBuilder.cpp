#include <algorithm>
#include <charconv>

#include "FixedBuilder.h"
#include "PlainNumber.h"
#include "Utility/DecimalPowers.h"
#include "VectorBuilders.h"

namespace sqxer {
namespace {

constexpr int kMostScale = PlainNumber::kMostDigits;

/// Whole numbers with one scale, the greatest that a value has needed: of 64 bits, from the first
/// value on that they do not hold of 128, and from the first that these do not hold decimals in
/// their general form.
class DecimalBuilder final : public TypedBuilder<DecimalBuilder> {
 public:
  explicit DecimalBuilder(const Options& options) : TypedBuilder(options) {}

  void Reserve(uint64 more) {
    values_.Reserve((rows_ + more) * WidthOfForm(form_));
    reserved_ = std::max(reserved_, rows_ + more);
  }

  [[gnu::always_inline]] Outcome TakeText(std::string_view text, uint64 row) {
    PlainNumber number;
    if (IsBigint()) return TakeBigint(text, row);
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
    int128 wide;
    if (places <= kMostScale && value.TryScaled(places, coefficient)) {
      TakeScaled(coefficient, places, row);
    } else if (places <= kDecimalDigits && value.TryScaled(places, wide)) {
      TakeWide(wide, places, row);
    } else {
      TurnGeneral(row);
      values_.As<VelmarNumber>()[row] = value;
    }
    return Outcome::kTaken;
  }

  void TakeNull(uint64 row) {
    if (form_ == ColumnForm::kDecimal64) {
      values_.As<int64>()[row] = 0;
    } else if (form_ == ColumnForm::kDecimal128) {
      values_.As<int128>()[row] = 0;
    } else {
      values_.As<VelmarNumber>()[row] = VelmarNumber();
    }
  }

 private:
  Outcome TakeBigint(std::string_view text, uint64 row) {
    text = TrimBlanks(text);
    // A plus sign is one that people write.
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    int64 value;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return Outcome::kUnreadable;
    TakeScaled(value, 0, row);
    return Outcome::kTaken;
  }

  bool IsTaken(const PlainNumber& number) const {
    if (!IsInferred()) return true;
    return !number.hasPoint && number.isCanonical && (number.digits != 0 || !number.negative);
  }

  void TakeScaled(int64 coefficient, int scale, uint64 row) {
    if (form_ == ColumnForm::kDecimal64 && scale > scale_) Rescale(scale, row);
    int64 scaled;
    if (form_ == ColumnForm::kDecimal64 &&
        !__builtin_mul_overflow(coefficient, static_cast<int64>(PowerOfTen128(scale_ - scale)),
                                &scaled)) {
      values_.As<int64>()[row] = scaled;
      return;
    }
    TakeWide(coefficient, scale, row);
  }

  void TakeWide(int128 coefficient, int scale, uint64 row) {
    if (form_ == ColumnForm::kDecimal64) TurnWide(row);
    if (form_ == ColumnForm::kDecimal128 && scale > scale_) RescaleWide(scale, row);
    if (form_ == ColumnForm::kDecimal128) {
      if (HasRoom(coefficient, scale_ - scale)) {
        values_.As<int128>()[row] = coefficient * PowerOfTen128(scale_ - scale);
        return;
      }
      TurnGeneral(row);
    }
    values_.As<VelmarNumber>()[row] = VelmarNumber::FromScaled(coefficient, scale);
  }

  /// Whether a number of so many digits more is one that the wide form has.
  static bool HasRoom(int128 value, int digits) {
    const int128 limit = PowerOfTen128(kDecimalDigits - digits);
    return value < limit && value > -limit;
  }

  /// Brings the values before a row to more digits behind the point, in a wider form if need be.
  void Rescale(int scale, uint64 row) {
    const auto factor = static_cast<int64>(PowerOfTen128(scale - scale_));
    int64* const values = values_.As<int64>();
    const int64 most = INT64_MAX / factor;
    if (std::any_of(values, values + row, [&](int64 v) { return v > most || v < -most; })) {
      return TurnWide(row);
    }
    std::for_each(values, values + row, [&](int64& v) { v *= factor; });
    scale_ = scale;
    // Bounds of the blocks before were those of the other scale.
    ForgetBlocks();
  }
  void RescaleWide(int scale, uint64 row) {
    const int digits = scale - scale_;
    int128* const values = values_.As<int128>();
    if (!std::all_of(values, values + row, [&](int128 v) { return HasRoom(v, digits); })) {
      return TurnGeneral(row);
    }
    std::for_each(values, values + row, [&](int128& v) { v *= PowerOfTen128(digits); });
    scale_ = scale;
    ForgetBlocks();
  }

  void TurnWide(uint64 row) {
    Turn<int64, int128>(ColumnForm::kDecimal128, row, [](int64 v) { return int128{v}; });
  }
  void TurnGeneral(uint64 row) {
    const auto toNumber = [this](auto v) { return VelmarNumber::FromScaled(v, scale_); };
    if (form_ == ColumnForm::kDecimal64) {
      Turn<int64, VelmarNumber>(ColumnForm::kNumber, row, toNumber);
    } else if (form_ == ColumnForm::kDecimal128) {
      Turn<int128, VelmarNumber>(ColumnForm::kNumber, row, toNumber);
    }
  }
  template <class From, class To, class Convert>
  void Turn(ColumnForm form, uint64 row, Convert&& convert) {
    ColumnBuffer turned;
    turned.Reserve(std::max(reserved_, row + 1) * sizeof(To));
    const From* const values = values_.As<From>();
    std::transform(values, values + row, turned.As<To>(), convert);
    values_ = std::move(turned);
    form_ = form;
    ForgetBlocks();
  }

  ColumnVector ShowValues() const override {
    ColumnVector vector;
    vector.form = form_;
    vector.scale = static_cast<int16>(form_ == ColumnForm::kNumber ? 0 : scale_);
    vector.values = values_.GetData();
    vector.rows = rows_;
    return vector;
  }
  ColumnVector TakeValues() override {
    Reserve(1);
    auto kept = std::make_shared<KeptBuffers>();
    kept->values = std::move(values_);
    kept->values.Shrink(rows_ * WidthOfForm(form_));
    ColumnVector vector = ShowValues();
    vector.values = kept->values.GetData();
    vector.owner = std::move(kept);
    return vector;
  }

  ColumnBuffer values_;
  uint64 reserved_ = 0;
  int scale_ = 0;
  ColumnForm form_ = ColumnForm::kDecimal64;
};

}  // namespace

std::unique_ptr<VectorBuilder> MakeDecimalBuilder(const VectorBuilder::Options& options) {
  return std::make_unique<DecimalBuilder>(options);
}

}  // namespace sqxer
