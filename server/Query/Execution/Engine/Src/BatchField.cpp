#include "BatchField.h"

#include "SQXERBatchStore.h"
#include "Utility/FixedWidths.h"

namespace sqxer {

struct BatchField::Writes {
  template <class Value>
  static void Store(const BatchField& field, const Value& value) {
    std::memcpy(field.value_, static_cast<const void*>(&value), sizeof value);
  }
  template <std::size_t width>
  static void Fixed(const BatchField& field, uint32 row) {
    std::memcpy(field.value_, field.vector_->values + row * width, width);
  }
  static void Day(const BatchField& field, uint32 row) {
    Store(field, FromDay32(field.vector_->As<int32>()[row]));
  }
  static void Time(const BatchField& field, uint32 row) {
    Store(field, FromTime64(field.vector_->As<int64>()[row]));
  }
  static void TimeStamp(const BatchField& field, uint32 row) {
    Store(field, FromTimeStamp64(field.vector_->As<int64>()[row]));
  }
  static void Decimal(const BatchField& field, uint32 row) {
    Store(field, VelmarNumber::FromScaled(field.vector_->As<int64>()[row], field.vector_->scale));
  }
  static void WideDecimal(const BatchField& field, uint32 row) {
    Store(field, VelmarNumber::FromScaled(field.vector_->As<int128>()[row], field.vector_->scale));
  }
  template <class Character, bool isFixed>
  static void Text(const BatchField& field, uint32 row) {
    StoreBatchText<Character, isFixed>(*field.vector_, row, field.length_, field.value_);
    // Readers go as far as that.
    if constexpr (isFixed) reinterpret_cast<wchar_t*>(field.value_)[field.length_] = L'\0';
  }
};

BatchField::BatchField(WorkRecord& record, std::size_t field) {
  const XeFieldDescriptor& descriptor = record.GetField(field);
  type_ = descriptor.GetDataType();
  value_ = record.GetData() + descriptor.GetDataOffset();
  if (descriptor.IsNullable()) null_ = record.GetData() + descriptor.GetNullOffset();
  length_ = descriptor.GetLength();
  width_ = XeRecordMetaData::GetByteLength(type_, length_, true);
}

BatchField::WriteFunction BatchField::Choose(ColumnForm form, bool isFixedText, uint32 width) {
  switch (form) {
    case ColumnForm::kText8:
      return isFixedText ? &Writes::Text<uint8, true> : &Writes::Text<uint8, false>;
    case ColumnForm::kText32:
      return isFixedText ? &Writes::Text<wchar_t, true> : &Writes::Text<wchar_t, false>;
    case ColumnForm::kDay32:
      return &Writes::Day;
    case ColumnForm::kTime64:
      return &Writes::Time;
    case ColumnForm::kTimeStamp64:
      return &Writes::TimeStamp;
    case ColumnForm::kDecimal64:
      return &Writes::Decimal;
    case ColumnForm::kDecimal128:
      return &Writes::WideDecimal;
    default: {
      if (WidthOfForm(form) != width) return nullptr;
      WriteFunction chosen = nullptr;
      WithFixedWidth(width, [&](auto bytes) { chosen = &Writes::Fixed<bytes>; });
      return chosen;
    }
  }
}

bool BatchField::Use(const BatchVector& vector, const BatchRows& rows) {
  vector_ = &vector;
  if (vector.isConstant && vector.IsNull(0)) return null_ != nullptr;
  const bool isText = IsTextForm(vector.form);
  write_ = Choose(vector.form, type_ == XeCharData, isText ? 0 : width_);
  if (write_ == nullptr) return false;
  const bool mayBeNull = vector.validity != nullptr;
  // The texts of a column are as long as its field.
  const bool mayBeLong = isText && vector.texts != nullptr;
  if (!mayBeLong && (!mayBeNull || null_ != nullptr)) return true;
  bool fits = true;
  rows.ForEach([&](uint32 row) {
    const bool isNull = vector.IsNull(row);
    fits =
        fits && (isNull ? null_ != nullptr : !mayBeLong || vector.GetText(row).length <= length_);
  });
  return fits;
}

}  // namespace sqxer
