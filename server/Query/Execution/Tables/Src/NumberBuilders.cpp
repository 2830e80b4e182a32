#include <array>
#include <cmath>
#include <concepts>
#include <utility>

#include "FixedBuilder.h"
#include "PlainNumber.h"
#include "Utility/XeAssert.h"
#include "VectorBuilders.h"

namespace sqxer {
namespace {

class BooleanBuilder final : public FixedBuilder<BooleanBuilder, uint8> {
 public:
  explicit BooleanBuilder(const Options& options) : FixedBuilder(options, ColumnForm::kUInt8) {}
  bool ReadText(std::string_view text, uint8& value) const {
    bool read;
    if (!HasKind(text, kBooleanKind) || !ReadValue(text, read)) return false;
    value = read;
    return true;
  }
};

template <std::integral Stored>
class IntegerBuilder final : public FixedBuilder<IntegerBuilder<Stored>, Stored> {
 public:
  IntegerBuilder(const VectorBuilder::Options& options, ColumnForm form)
      : FixedBuilder<IntegerBuilder<Stored>, Stored>(options, form) {}
  [[gnu::always_inline]] bool ReadText(std::string_view text, Stored& value) const {
    PlainNumber number;
    int64 read;
    if (ReadPlainNumber(text, number) && !number.hasPoint && IsTaken(number)) {
      read =
          number.negative ? -static_cast<int64>(number.digits) : static_cast<int64>(number.digits);
    } else if (!this->HasKind(text, kInt4Kind) || !ReadValue(text, read)) {
      return false;
    }
    value = static_cast<Stored>(read);
    return std::in_range<Stored>(read);
  }

 private:
  bool IsTaken(const PlainNumber& number) const {
    return !this->IsInferred() || (number.isCanonical && (number.digits != 0 || !number.negative));
  }
};

class Float32Builder final : public FixedBuilder<Float32Builder, float32> {
 public:
  explicit Float32Builder(const Options& options) : FixedBuilder(options, ColumnForm::kFloat32) {}
  bool ReadText(std::string_view text, float32& value) const {
    return HasKind(text, kDoubleKind) && ReadValue(text, value);
  }
};

class Float64Builder final : public FixedBuilder<Float64Builder, float64> {
 public:
  explicit Float64Builder(const Options& options) : FixedBuilder(options, ColumnForm::kFloat64) {}
  [[gnu::always_inline]] bool ReadText(std::string_view text, float64& value) const {
    // Whole numbers of 53 bits and powers of ten up to 22 are doubles, so that their quotient is
    // rounded once, as the nearest double is.
    constexpr uint64 kMostExact = uint64{1} << 53;
    static constexpr std::array<float64, PlainNumber::kMostDigits + 1> kPowers = {
        1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8, 1e9,
        1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18};
    PlainNumber number;
    if (ReadPlainNumber(text, number) && number.digits <= kMostExact &&
        (number.isCanonical || !IsInferred())) {
      const float64 size = static_cast<float64>(static_cast<int64>(number.digits)) /
                           kPowers[static_cast<std::size_t>(number.fraction)];
      value = number.negative ? -size : size;
      return true;
    }
    return HasKind(text, kDoubleKind) && ReadValue(text, value);
  }
};

}  // namespace

std::unique_ptr<VectorBuilder> MakeNumberBuilder(XeDataType type,
                                                 const VectorBuilder::Options& options) {
  switch (type) {
    case XeBitData:
    case XeBoolean:
      return std::make_unique<BooleanBuilder>(options);
    case XeInt1Data:
      return std::make_unique<IntegerBuilder<int8>>(options, ColumnForm::kInt8);
    case XeUInt1Data:
      return std::make_unique<IntegerBuilder<uint8>>(options, ColumnForm::kUInt8);
    case XeInt2Data:
      return std::make_unique<IntegerBuilder<int16>>(options, ColumnForm::kInt16);
    case XeUInt2Data:
      return std::make_unique<IntegerBuilder<uint16>>(options, ColumnForm::kUInt16);
    case XeInt4Data:
      return std::make_unique<IntegerBuilder<int32>>(options, ColumnForm::kInt32);
    case XeUInt4Data:
      return std::make_unique<IntegerBuilder<uint32>>(options, ColumnForm::kUInt32);
    case XeFloatData:
      return std::make_unique<Float32Builder>(options);
    case XeDoubleData:
      return std::make_unique<Float64Builder>(options);
    default:
      XeLogicError("a column type that no file has");
  }
}

}  // namespace sqxer
