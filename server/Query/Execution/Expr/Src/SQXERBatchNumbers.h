#pragma once

#include <memory>

#include "SQXERBatchLoops.h"

namespace sqxer {

/// The numbers of a vector as doubles, as Float64Input reads them one by one.
class Float64Column {
 public:
  /// Null for a vector of other values than numbers. What is given holds until the next call, and
  /// as long as `input`.
  const BatchVector* Read(const BatchVector& input, const BatchRows& rows) {
    vector_ = input;
    vector_.form = ColumnForm::kFloat64;
    vector_.block = nullptr;
    if (input.isConstant && input.IsNull(0)) return &vector_;
    const BatchRows wanted = RowsOf(input, rows);
    switch (input.form) {
      case ColumnForm::kFloat64:
        vector_.block = input.block;
        return &vector_;
      case ColumnForm::kDecimal64:
      case ColumnForm::kDecimal128:
      case ColumnForm::kNumber:
        return ConvertDecimals(input, wanted);
      case ColumnForm::kDay32:
      case ColumnForm::kTime64:
      case ColumnForm::kTimeStamp64:
        return nullptr;
      default:
        break;
    }
    const bool isNumber = WithNumberType(input.form, [&]<class T>(std::type_identity<T>) {
      MapValues(input.As<T>(), Room(), wanted, [](T value) { return static_cast<float64>(value); });
    });
    return isNumber ? &vector_ : nullptr;
  }

 private:
  float64* Room() {
    if (room_ == nullptr) room_ = std::make_unique<float64[]>(kMostBatchRows);
    vector_.values = reinterpret_cast<const uint8*>(room_.get());
    return room_.get();
  }
  const BatchVector* ConvertDecimals(const BatchVector& input, const BatchRows& rows) {
    float64* const room = Room();
    if (input.form == ColumnForm::kDecimal64 &&
        ScaledToFloat64::IsExact(FindBounds<int64>(input, rows), input.scale)) {
      const float64 divisor = ScaledToFloat64::Divisor(input.scale);
      MapValues(input.As<int64>(), room, rows,
                [divisor](int64 value) { return static_cast<float64>(value) / divisor; });
    } else {
      rows.ForEach([&](uint32 row) {
        if (!input.IsNull(row)) room[row] = ReadBatchValue<VelmarNumber>(input, row).asDouble();
      });
    }
    return &vector_;
  }

  BatchVector vector_;
  std::unique_ptr<float64[]> room_;
};

}  // namespace sqxer
