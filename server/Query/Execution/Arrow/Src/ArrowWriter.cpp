#include "ArrowWriter.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "ArrowDecimal.h"
#include "ArrowError.h"
#include "ArrowField.h"
#include "ArrowHeld.h"
#include "ArrowUtf8.h"
#include "Utility/DateTimeMetaData.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

constexpr int64 kNanosecondsPerMicrosecond = 1'000;

/// What 64 bits of a scale of 0 have.
constexpr int kDigitsOfInt64 = 19;

template <class T>
T ValueAt(const ColumnVector& vector, uint64 row) {
  return reinterpret_cast<const T*>(vector.values)[row];
}

template <class Use>
void ForEachValue(const ColumnVector& vector, Use&& use) {
  for (uint64 row = 0; row < vector.rows; ++row) {
    if (!vector.IsNull(row)) use(row);
  }
}

int CountDigits(int128 coefficient) {
  if (coefficient < 0) coefficient = -coefficient;
  int digits = 0;
  while (digits < kDecimalDigits && coefficient >= PowerOfTen128(digits)) {
    ++digits;
  }
  return digits;
}

VelmarNumber NumberAt(const ColumnVector& vector, uint64 row) {
  switch (vector.form) {
    case ColumnForm::kDecimal64:
      return VelmarNumber::FromScaled(ValueAt<int64>(vector, row), vector.scale);
    case ColumnForm::kDecimal128:
      return VelmarNumber::FromScaled(ValueAt<int128>(vector, row), vector.scale);
    default:
      return ValueAt<VelmarNumber>(vector, row);
  }
}

/// The most digits before and behind the point that numbers have.
struct Digits {
  int whole = 1;
  int fraction = 0;

  void Add(const ColumnVector& vector) {
    if (vector.form == ColumnForm::kDecimal64) {
      if (vector.rows == 0) return;
      whole = std::max(whole, kDigitsOfInt64 - vector.scale);
      fraction = std::max(fraction, int{vector.scale});
      return;
    }
    ForEachValue(vector, [&](uint64 row) {
      const VelmarNumber::Parts parts = NumberAt(vector, row).GetParts();
      whole = std::max(whole, CountDigits(CoefficientOf(parts)) + parts.exponent);
      fraction = std::max(fraction, -parts.exponent);
    });
  }
};

/// The number times ten to the power of `scale`, if it is whole or may be rounded and has 38
/// digits. Rounding must leave `leastDigits` of those that the number has.
bool TryCoefficient(const VelmarNumber& number, int scale, bool mayRound, int leastDigits,
                    int128& value) {
  const VelmarNumber::Parts parts = number.GetParts();
  value = CoefficientOf(parts);
  const int shift = parts.exponent + scale;
  if (value == 0 || shift == 0) return true;
  if (shift > 0) {
    if (shift > kDecimalDigits - CountDigits(value)) return false;
    value *= PowerOfTen128(shift);
    return true;
  }
  if (-shift > kDecimalDigits) {
    value = 0;
    return mayRound && leastDigits == 0;
  }
  const int digits = CountDigits(value) + shift;
  const int128 power = PowerOfTen128(-shift);
  const int128 rest = value % power;
  if (rest != 0 && (!mayRound || (leastDigits > 0 && digits < leastDigits))) return false;
  const int128 size = rest < 0 ? -rest : rest;
  const int away = size >= power - size ? (value < 0 ? -1 : 1) : 0;
  value = value / power + away;
  return HasDecimalDigits(value);
}

bool TryNanoseconds(int64 microseconds, uint32 rest, int64& nanoseconds) {
  const int128 all = int128{microseconds} * kNanosecondsPerMicrosecond + rest;
  nanoseconds = static_cast<int64>(all);
  return nanoseconds == all;
}

bool IsNumeric(XeDataType type) {
  return type == XeNumericData || type == XeDecimalData || type == XeMoneyData;
}

bool HasForm(std::span<const TableChunk> known, std::size_t index, ColumnForm form) {
  return std::ranges::any_of(known, [&](const TableChunk& chunk) {
    return chunk.rows > 0 && chunk.columns[index].form == form;
  });
}

/// The format of values that stand as vectors have them; null for other types.
const char* FormatOfValues(XeDataType type) {
  switch (type) {
    case XeBitData:
    case XeUInt1Data:
      return "C";
    case XeInt1Data:
      return "c";
    case XeInt2Data:
      return "s";
    case XeUInt2Data:
      return "S";
    case XeInt4Data:
      return "i";
    case XeUInt4Data:
      return "I";
    case XeFloatData:
      return "f";
    case XeDoubleData:
      return "g";
    case XeDateData:
      return "tdD";
    case XeTimeData:
      return "ttn";
    default:
      return nullptr;
  }
}

}  // namespace

void ArrowWriter::SettleNumbers(Column& column, const ColumnInfo& info, std::size_t index,
                                std::span<const TableChunk> known,
                                const ArrowWriteOptions& options) {
  if (options.numerics == ArrowWriteOptions::Numerics::kDouble) {
    column.layout = Layout::kDouble;
    column.format = 'g';
    return;
  }
  if (options.fixedScale) {
    column.layout = Layout::kDecimal;
    column.scale = std::clamp(*options.fixedScale, 0, kDecimalDigits);
    column.isRounded = true;
    column.leastDigits = 0;
    column.format = "d:38," + std::to_string(column.scale);
    return;
  }
  const bool isWhole = info.scale == 0 && std::ranges::all_of(known, [&](const auto& chunk) {
                         const ColumnVector& vector = chunk.columns[index];
                         return vector.form == ColumnForm::kDecimal64 && vector.scale == 0;
                       });
  if (options.numerics == ArrowWriteOptions::Numerics::kSettled && isWhole) {
    column.layout = Layout::kInt64;
    column.format = 'l';
    return;
  }
  Digits digits;
  digits.fraction = info.scale;
  for (const TableChunk& chunk : known) digits.Add(chunk.columns[index]);
  column.layout = Layout::kDecimal;
  column.scale = std::clamp(kDecimalDigits - digits.whole, 0, digits.fraction);
  column.isRounded = column.scale < digits.fraction;
  column.format = "d:38," + std::to_string(column.scale);
}

void ArrowWriter::SettleTexts(Column& column, std::size_t index, std::span<const TableChunk> known,
                              const ArrowWriteOptions& options) {
  if (options.keepsDictionaries) {
    column.layout = Layout::kDictionary;
    column.format = 'i';
    return;
  }
  const bool isLarge = options.largeTexts || std::ranges::any_of(known, [&](const auto& chunk) {
                         return MayBeLargeUtf8(chunk.columns[index]);
                       });
  column.layout = isLarge ? Layout::kLargeTexts : Layout::kTexts;
  column.format = isLarge ? 'U' : 'u';
}

ArrowWriter::ArrowWriter(const TableSchema& schema, std::span<const TableChunk> known,
                         const ArrowWriteOptions& options) {
  for (std::size_t i = 0; i < schema.columns.size(); ++i) {
    const ColumnInfo& info = schema.columns[i];
    Column column;
    column.name = info.name;
    column.isNullable = info.nullable;
    if (const char* const format = FormatOfValues(info.type)) {
      column.format = format;
    } else if (info.type == XeBoolean) {
      column.layout = Layout::kBits;
      column.format = 'b';
    } else if (IsNumeric(info.type)) {
      SettleNumbers(column, info, i, known, options);
    } else if (info.type == XeTimeStampData || info.type == XeDateTimeData) {
      const bool isFine = !options.fixedScale && HasForm(known, i, ColumnForm::kDateTime);
      column.layout = isFine ? Layout::kNanoseconds : Layout::kMicroseconds;
      column.format = isFine ? "tsn:" : "tsu:";
    } else if (info.type == XeIntervalData) {
      column.layout = Layout::kIntervals;
      column.format = "tin";
    } else if (SUXeDataTypeUtility::IsXeTextType(info.type)) {
      SettleTexts(column, i, known, options);
    } else {
      ThrowTableError(kArrowTypeNotWritten,
                      {info.name, SUXeDataTypeUtility::GetXeDataTypeName(info.type)});
    }
    columns_.push_back(std::move(column));
  }
}

/// The array of a column of a chunk.
class ArrowWriter::Arrays {
 public:
  Arrays(const Column& column, const ColumnVector& vector)
      : column_(column), vector_(vector), held_(std::make_unique<ArrowHeldArray>(0)) {}

  void Write(ArrowArray* out) {
    held_->owners.push_back(vector_.owner);
    held_->buffers[0] = vector_.validity;
    int64 buffers = 2;
    switch (column_.layout) {
      case Layout::kValues:
        held_->buffers[1] = vector_.values;
        break;
      case Layout::kBits:
        WriteBits();
        break;
      case Layout::kInt64:
      case Layout::kDecimal:
      case Layout::kDouble:
        WriteNumbers();
        break;
      case Layout::kMicroseconds:
        WriteMicroseconds();
        break;
      case Layout::kNanoseconds:
        WriteNanoseconds();
        break;
      case Layout::kIntervals:
        WriteIntervals();
        break;
      case Layout::kTexts:
      case Layout::kLargeTexts:
        WriteUtf8(vector_, column_.layout == Layout::kLargeTexts, column_.name, *held_);
        buffers = 3;
        break;
      case Layout::kDictionary:
        WriteCodes();
        break;
    }
    GiveArrowArray(std::move(held_), vector_.rows, CountNulls(), buffers, out);
  }

 private:
  uint64 CountNulls() const {
    uint64 nulls = 0;
    for (uint64 row = 0; vector_.validity != nullptr && row < vector_.rows; row += 64) {
      const uint64 count = std::min(vector_.rows - row, uint64{64});
      const uint64 wanted = count == 64 ? ~uint64{0} : (uint64{1} << count) - 1;
      nulls += static_cast<uint64>(std::popcount(~vector_.validity[row / 64] & wanted));
    }
    return nulls;
  }

  /// Makes values one by one; NULLs are zero.
  template <class To, class Make>
  void MakeValues(Make&& make) {
    auto* const out = reinterpret_cast<To*>(held_->MakeRoom(vector_.rows * sizeof(To)));
    for (uint64 row = 0; row < vector_.rows; ++row) {
      out[row] = vector_.IsNull(row) ? To() : make(row);
    }
    held_->buffers[1] = out;
  }

  [[noreturn]] void Refuse(const XeString& layout, const XeString& value) const {
    ThrowTableError(kArrowValueBeyondLayout, {column_.name, layout, value});
  }

  void WriteBits() {
    uint8* const out = held_->MakeRoom((vector_.rows + 7) / 8);
    for (uint64 row = 0; row < vector_.rows; row += 8) {
      uint8 byte = 0;
      for (uint64 bit = 0; bit < 8 && row + bit < vector_.rows; ++bit) {
        byte |= static_cast<uint8>((vector_.values[row + bit] != 0 ? 1 : 0) << bit);
      }
      out[row / 8] = byte;
    }
    held_->buffers[1] = out;
  }

  void WriteNumbers() {
    if (column_.layout == Layout::kDouble) {
      MakeValues<float64>([&](uint64 row) { return NumberAt(vector_, row).asDouble(); });
    } else if (column_.layout == Layout::kDecimal) {
      MakeValues<int128>([&](uint64 row) {
        const VelmarNumber number = NumberAt(vector_, row);
        int128 value;
        if (!TryCoefficient(number, column_.scale, column_.isRounded, column_.leastDigits, value)) {
          Refuse(L"decimal128(38, " + std::to_wstring(column_.scale) + L")", number.asString());
        }
        return value;
      });
    } else if (vector_.form == ColumnForm::kDecimal64 && vector_.scale == 0) {
      held_->buffers[1] = vector_.values;
    } else {
      MakeValues<int64>([&](uint64 row) {
        const VelmarNumber number = NumberAt(vector_, row);
        int64 value;
        if (!number.TryScaled(0, value)) Refuse(L"int64", number.asString());
        return value;
      });
    }
  }

  void WriteMicroseconds() {
    if (vector_.form == ColumnForm::kTimeStamp64) {
      held_->buffers[1] = vector_.values;
      return;
    }
    MakeValues<int64>([&](uint64 row) {
      const auto value = ValueAt<XeDateTime>(vector_, row);
      int64 microseconds;
      if (!TryTimeStamp64(value, microseconds)) Refuse(L"timestamp[us]", DateTimeText(value));
      return microseconds;
    });
  }

  void WriteNanoseconds() {
    MakeValues<int64>([&](uint64 row) {
      XeDateTime value = vector_.form == ColumnForm::kTimeStamp64
                             ? FromTimeStamp64(ValueAt<int64>(vector_, row))
                             : ValueAt<XeDateTime>(vector_, row);
      const XeDateTime whole = value;
      const uint32 rest = value.GetNanosecond() % uint32{kNanosecondsPerMicrosecond};
      value.SetNanosecond(value.GetNanosecond() - rest);
      int64 microseconds = 0;
      int64 nanoseconds = 0;
      // The sum of a product beyond 64 bits may be within.
      if (!TryTimeStamp64(value, microseconds) ||
          !TryNanoseconds(microseconds, rest, nanoseconds)) {
        Refuse(L"timestamp[ns]", DateTimeText(whole));
      }
      return nanoseconds;
    });
  }

  void WriteIntervals() {
    MakeValues<ArrowInterval>([&](uint64 row) {
      const auto value = ValueAt<XeInterval>(vector_, row);
      ArrowInterval out{value.months, value.days, 0};
      if (!TryNanoseconds(value.microseconds, 0, out.nanoseconds)) {
        Refuse(L"month_day_nano_interval", IntervalText(value));
      }
      return out;
    });
  }

  /// Rows without a dictionary are entries of one each.
  void WriteCodes() {
    const ColumnVector& entries = vector_.dictionary ? *vector_.dictionary : vector_;
    if (entries.rows > static_cast<uint64>(std::numeric_limits<int32>::max())) {
      ThrowTableError(kArrowTextsTooLarge, {column_.name});
    }
    MakeValues<int32>([&](uint64 row) {
      return static_cast<int32>(vector_.dictionary ? vector_.GetCode(row) : row);
    });
    auto texts = std::make_unique<ArrowHeldArray>(0);
    texts->owners.push_back(entries.owner);
    WriteUtf8(entries, false, column_.name, *texts);
    GiveArrowArray(std::move(texts), entries.rows, 0, 3, &held_->dictionary);
  }

  const Column& column_;
  const ColumnVector& vector_;
  std::unique_ptr<ArrowHeldArray> held_;
};

void ArrowWriter::WriteSchema(ArrowSchema* out) const {
  auto table = std::make_unique<ArrowHeldSchema>(columns_.size());
  table->format = "+s";
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const Column& column = columns_[i];
    auto held = std::make_unique<ArrowHeldSchema>(0);
    held->format = column.format;
    held->name = BaseStringUtil::StringToUtf8(column.name);
    if (column.layout == Layout::kDictionary) {
      auto texts = std::make_unique<ArrowHeldSchema>(0);
      texts->format = 'u';
      GiveArrowSchema(std::move(texts), 0, &held->dictionary);
    }
    GiveArrowSchema(std::move(held), column.isNullable ? ARROW_FLAG_NULLABLE : 0,
                    &table->children[i]);
  }
  GiveArrowSchema(std::move(table), 0, out);
}

void ArrowWriter::WriteArray(const TableChunk& chunk, ArrowArray* out) const {
  auto table = std::make_unique<ArrowHeldArray>(columns_.size());
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    XE_ASSERT(chunk.columns[i].rows == chunk.rows);
    Arrays(columns_[i], chunk.columns[i]).Write(&table->children[i]);
  }
  GiveArrowArray(std::move(table), chunk.rows, 0, 1, out);
}

}  // namespace sqxer
