#include "ColumnAppender.h"

#include <cstring>
#include <cwchar>
#include <utility>

#include "SQXERBatchLoops.h"
#include "SQXEROpsAggregate.h"
#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

/// The loops of an appender around one value. `Derived` has Reserve(rows) and, for the row at a
/// place, PutRecord(row, value), PutVector(row, vector, of) and PutNull(row).
template <class Derived>
class TypedAppender : public ColumnAppender {
 public:
  using ColumnAppender::ColumnAppender;

  void AppendRecords(const uint8* const* records, uint32 count) final {
    Begin(count);
    for (uint32 i = 0; i < count; ++i) {
      if (IsNull(records[i])) {
        PutNull(rows_ + i);
      } else {
        Self().PutRecord(rows_ + i, GetValue(records[i]));
      }
    }
    EndRows(count);
  }

  void AppendVector(const BatchVector& vector, const BatchRows& rows) override {
    Begin(rows.GetWanted());
    uint64 to = rows_;
    rows.ForEach([&](uint32 row) {
      if (vector.IsNull(row)) {
        PutNull(to);
      } else {
        Self().PutVector(to, vector, vector.isConstant ? 0 : row);
      }
      ++to;
    });
    EndRows(rows.GetWanted());
  }

 protected:
  void Begin(uint64 count) {
    BeginRows(count);
    Self().Reserve(rows_ + count);
  }

 private:
  Derived& Self() { return static_cast<Derived&>(*this); }
  void PutNull(uint64 row) {
    MarkNull(row);
    Self().PutNull(row);
  }
};

template <class T>
T Same(T value) {
  return value;
}

/// Values that batches have in one form. `convert` makes it of the one that records have.
template <ColumnForm form, class Record, auto convert>
class FixedAppender final : public TypedAppender<FixedAppender<form, Record, convert>> {
 public:
  using Stored = decltype(convert(std::declval<Record>()));
  using TypedAppender<FixedAppender>::TypedAppender;

  void Reserve(uint64 rows) { this->buffers_.values.Reserve(rows * sizeof(Stored)); }
  void PutRecord(uint64 row, const uint8* value) {
    Values()[row] = convert(LoadValue<Record>(value));
  }
  void PutVector(uint64 row, const BatchVector& vector, uint32 of) {
    Values()[row] = vector.As<Stored>()[of];
  }
  void PutNull(uint64 row) { Values()[row] = Stored(); }

  void AppendVector(const BatchVector& vector, const BatchRows& rows) override {
    if (vector.isConstant || vector.validity != nullptr || rows.selected != nullptr) {
      return TypedAppender<FixedAppender>::AppendVector(vector, rows);
    }
    this->Begin(rows.count);
    std::copy_n(vector.As<Stored>(), rows.count, Values() + this->rows_);
    this->EndRows(rows.count);
  }

 private:
  Stored* Values() { return this->buffers_.values.template As<Stored>(); }
  void Describe(ColumnVector& vector) override { vector.form = form; }
};

/// Values that most columns can have in 64 bits: `Narrow` says how. From the first one on that has
/// no such form all have that of records.
template <class Narrow>
class NarrowingAppender final : public TypedAppender<NarrowingAppender<Narrow>> {
 public:
  using Record = typename Narrow::Record;
  using TypedAppender<NarrowingAppender>::TypedAppender;

  void Reserve(uint64 rows) {
    reserved_ = rows;
    this->buffers_.values.Reserve(rows * (isWide_ ? sizeof(Record) : sizeof(int64)));
  }
  void PutRecord(uint64 row, const uint8* value) { Put(row, LoadValue<Record>(value)); }
  void PutVector(uint64 row, const BatchVector& vector, uint32 of) {
    if (vector.form != Narrow::kForm) return Put(row, ReadBatchValue<Record>(vector, of));
    const int64 value = vector.As<int64>()[of];
    if (row == 0 && !isWide_) narrow_.Start(vector);
    if (!isWide_ && narrow_.IsOf(vector)) {
      Values()[row] = value;
    } else {
      Put(row, Narrow::Widen(value, vector.scale));
    }
  }
  void PutNull(uint64 row) {
    if (isWide_) {
      Wide()[row] = Record();
    } else {
      Values()[row] = 0;
    }
  }

 private:
  int64* Values() { return this->buffers_.values.template As<int64>(); }
  Record* Wide() { return this->buffers_.values.template As<Record>(); }

  void Put(uint64 row, const Record& value) {
    if (!isWide_ && !narrow_.TryPut(Values(), row, value)) Widen(row);
    if (isWide_) Wide()[row] = value;
  }
  void Widen(uint64 row) {
    ColumnBuffer wide;
    wide.Reserve(reserved_ * sizeof(Record));
    std::transform(Values(), Values() + row, wide.As<Record>(),
                   [&](int64 value) { return Narrow::Widen(value, narrow_.GetScale()); });
    this->buffers_.values = std::move(wide);
    isWide_ = true;
  }
  void Describe(ColumnVector& vector) override {
    vector.form = isWide_ ? Narrow::kWideForm : Narrow::kForm;
    vector.scale = isWide_ ? int16{0} : narrow_.GetScale();
    isWide_ = false;
    narrow_ = Narrow();
  }

  Narrow narrow_;
  bool isWide_ = false;
  uint64 reserved_ = 0;
};

/// Decimals with the greatest scale that one has needed.
class ScaledDecimals {
 public:
  using Record = VelmarNumber;
  static constexpr ColumnForm kForm = ColumnForm::kDecimal64;
  static constexpr ColumnForm kWideForm = ColumnForm::kNumber;
  static VelmarNumber Widen(int64 value, int16 scale) {
    return VelmarNumber::FromScaled(value, scale);
  }

  int16 GetScale() const { return scale_; }
  void Start(const BatchVector& vector) {
    if (vector.scale <= kMostScale64) scale_ = vector.scale;
  }
  bool IsOf(const BatchVector& vector) const { return vector.scale == scale_; }
  /// Puts a value behind those before; false, and nothing done, where they have no scale in common.
  bool TryPut(int64* values, uint64 row, const VelmarNumber& value) {
    if (value.TryScaled(scale_, values[row])) return true;
    const int places = value.decimalPlaces();
    int64 scaled;
    if (places <= scale_ || places > kMostScale64 || !value.TryScaled(places, scaled)) return false;
    int64 factor = 1;
    for (int i = scale_; i < places; ++i) factor *= 10;
    const int64 most = INT64_MAX / factor;
    if (std::any_of(values, values + row, [&](int64 v) { return v > most || v < -most; })) {
      return false;
    }
    std::for_each(values, values + row, [&](int64& v) { v *= factor; });
    values[row] = scaled;
    scale_ = static_cast<int16>(places);
    return true;
  }

 private:
  int16 scale_ = 0;
};

class WholeMicroseconds {
 public:
  using Record = XeDateTime;
  static constexpr ColumnForm kForm = ColumnForm::kTimeStamp64;
  static constexpr ColumnForm kWideForm = ColumnForm::kDateTime;
  static XeDateTime Widen(int64 value, int16) { return FromTimeStamp64(value); }

  int16 GetScale() const { return 0; }
  void Start(const BatchVector&) {}
  bool IsOf(const BatchVector&) const { return true; }
  bool TryPut(int64* values, uint64 row, const XeDateTime& value) {
    return TryTimeStamp64(value, values[row]);
  }
};

class TextAppender final : public TypedAppender<TextAppender> {
 public:
  explicit TextAppender(const XeFieldDescriptor& field)
      : TypedAppender(field),
        fixedLength_(field.GetDataType() == XeCharData ? field.GetLength() : 0) {}

  void Reserve(uint64 rows) { buffers_.offsets.Reserve((rows + 1) * sizeof(uint64)); }
  void PutRecord(uint64 row, const uint8* value) {
    if (fixedLength_ != 0) {
      const auto* const text = reinterpret_cast<const wchar_t*>(value);
      // One that ends early does so with a zero, which is kept.
      const wchar_t* const zero = std::wmemchr(text, 0, fixedLength_);
      PutText(row, text, zero != nullptr ? static_cast<uint32>(zero - text) + 1 : fixedLength_);
    } else {
      PutText(row, reinterpret_cast<const wchar_t*>(value + kLongVarPrefix),
              LoadValue<uint32>(value));
    }
  }
  void PutVector(uint64 row, const BatchVector& vector, uint32 of) {
    const BatchText text = vector.GetText(of);
    // One that is computed has no blanks to come: it ends with a zero, as a record would hold it.
    const bool endsEarly = vector.texts != nullptr && text.length < fixedLength_;
    if (vector.form == ColumnForm::kText8) {
      PutText(row, text.characters, text.length, endsEarly);
    } else {
      PutText(row, reinterpret_cast<const wchar_t*>(text.characters), text.length, endsEarly);
    }
  }
  void PutNull(uint64 row) { End(row); }

 private:
  template <class Character>
  void PutText(uint64 row, const Character* text, uint32 length, bool endsEarly = false) {
    uint32 all = 0;
    for (uint32 i = 0; i < length; ++i) all |= static_cast<uint32>(text[i]);
    isAscii_ = isAscii_ && all < 0x80;
    if (all >= 0x100 && !isWide_) Widen();
    if (isWide_) {
      Append<wchar_t>(text, length, endsEarly);
    } else {
      Append<uint8>(text, length, endsEarly);
    }
    End(row);
  }
  template <class Stored, class Character>
  void Append(const Character* text, uint32 length, bool endsEarly) {
    buffers_.values.Reserve((characters_ + length + 1) * sizeof(Stored));
    Stored* const out = buffers_.values.As<Stored>() + characters_;
    std::copy_n(text, length, out);
    out[length] = 0;
    characters_ += length + (endsEarly ? 1 : 0);
  }
  void Widen() {
    ColumnBuffer wide;
    wide.Reserve(2 * (characters_ + 1) * sizeof(wchar_t));
    std::copy_n(buffers_.values.GetData(), characters_, wide.As<wchar_t>());
    buffers_.values = std::move(wide);
    isWide_ = true;
  }
  void End(uint64 row) {
    auto* const offsets = buffers_.offsets.As<uint64>();
    offsets[0] = 0;
    offsets[row + 1] = characters_;
  }
  void Describe(ColumnVector& vector) override {
    buffers_.values.Reserve(1);
    Reserve(0);
    if (rows_ == 0) buffers_.offsets.As<uint64>()[0] = 0;
    vector.form = isWide_ ? ColumnForm::kText32 : ColumnForm::kText8;
    vector.offsetWidth = sizeof(uint64);
    vector.isAscii = isAscii_;
    characters_ = 0;
    isWide_ = false;
    isAscii_ = true;
  }

  /// 0 for texts of varying length.
  const uint32 fixedLength_;
  uint64 characters_ = 0;
  bool isWide_ = false;
  bool isAscii_ = true;
};

template <ColumnForm form, class T>
std::unique_ptr<ColumnAppender> MakeSame(const XeFieldDescriptor& field) {
  return std::make_unique<FixedAppender<form, T, &Same<T>>>(field);
}

}  // namespace

ColumnAppender::ColumnAppender(const XeFieldDescriptor& field)
    : valueOffset_(field.GetDataOffset()),
      nullOffset_(field.IsNullable() ? field.GetNullOffset() : 0) {}

void ColumnAppender::BeginRows(uint64 count) {
  const uint64 words = (rows_ + count + 63) / 64;
  buffers_.validity.Reserve(words * sizeof(uint64));
  for (; validRows_ < words * 64; validRows_ += 64) {
    buffers_.validity.As<uint64>()[validRows_ / 64] = ~uint64{0};
  }
}

ColumnVector ColumnAppender::Take() {
  ColumnVector vector;
  vector.rows = rows_;
  BeginRows(1);
  Describe(vector);
  auto kept = std::make_shared<KeptBuffers>(std::exchange(buffers_, {}));
  vector.values = kept->values.GetData();
  if (IsTextForm(vector.form)) vector.offsets = kept->offsets.GetData();
  if (hasNulls_) vector.validity = kept->validity.As<uint64>();
  vector.owner = std::move(kept);
  hasNulls_ = false;
  rows_ = validRows_ = 0;
  return vector;
}

std::unique_ptr<ColumnAppender> ColumnAppender::Make(const XeFieldDescriptor& field) {
  using Form = ColumnForm;
  switch (field.GetDataType()) {
    case XeBitData:
    case XeBoolean:
    case XeUInt1Data:
      return MakeSame<Form::kUInt8, uint8>(field);
    case XeInt1Data:
      return MakeSame<Form::kInt8, int8>(field);
    case XeInt2Data:
      return MakeSame<Form::kInt16, int16>(field);
    case XeUInt2Data:
      return MakeSame<Form::kUInt16, uint16>(field);
    case XeInt4Data:
      return MakeSame<Form::kInt32, int32>(field);
    case XeUInt4Data:
      return MakeSame<Form::kUInt32, uint32>(field);
    case XeFloatData:
      return MakeSame<Form::kFloat32, float32>(field);
    case XeDoubleData:
      return MakeSame<Form::kFloat64, float64>(field);
    case XeNumericData:
      return std::make_unique<NarrowingAppender<ScaledDecimals>>(field);
    case XeDateData:
      return std::make_unique<FixedAppender<Form::kDay32, XeDate, &ToDay32>>(field);
    case XeTimeData:
      return std::make_unique<FixedAppender<Form::kTime64, XeTime, &ToTime64>>(field);
    case XeDateTimeData:
    case XeTimeStampData:
      return std::make_unique<NarrowingAppender<WholeMicroseconds>>(field);
    case XeIntervalData:
      return MakeSame<Form::kInterval, XeInterval>(field);
    case XeCharData:
    case XeVarCharData:
    case XeLongVarCharData:
      return std::make_unique<TextAppender>(field);
    default:
      XE_ASSERT(false);
      return nullptr;
  }
}

}  // namespace sqxer
