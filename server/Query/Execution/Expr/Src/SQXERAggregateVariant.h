#pragma once

#include <cstring>
#include <utility>

#include "SQXERExprAggregateBase.h"
#include "SQXEROpsAggregate.h"
#include "SQXERTypedVariant.h"
#include "Utility/SUDataConvert.h"

namespace sqxer {

/// How the numeric aggregates take in a column of a stored type.
struct NumericInput {
  XeDataType type;
  /// XeInt4Data, XeUInt4Data, XeDoubleData or XeNumericData.
  XeDataType computationType;
  /// Null: the stored value is taken as it is.
  DataConvert_t convert;
  /// For the aggregates that compute in doubles whatever the type. Null: the value is one.
  DataConvert_t toFloat64;
};

/// The row of a stored type, or null when numeric aggregates do not take it.
SQXEREXPR_API const NumericInput* FindNumericInput(XeDataType type);

/// The row of the field's type; error 59001 (operator, type) when there is none.
SQXEREXPR_API const NumericInput& RequireNumericInput(const XeFieldDescriptor& field,
                                                      const XeString& operatorName);

/// The converter of an aggregate's input, chosen at bind, and what its calls need.
struct InputConverter {
  uint8 scratchResult_ = 0;
  unsigned long scratchSize_ = 0;
  DataConvert_t fieldConvert_ = nullptr;
  DataConvertParams cvtParams_;

  void Convert(const uint8* source, void* target) {
    fieldConvert_(cvtParams_, source, 0, 0, static_cast<uint8*>(target), 0, scratchResult_,
                  scratchSize_);
  }
};

/// Where a variant's converted input goes. No column that needs a conversion is computed in uint32.
template <class T>
class ConvertedInput {
 protected:
  T Read(InputConverter& converter, const uint8* source) {
    if (converter.fieldConvert_ == nullptr) [[likely]]
      return LoadValue<T>(source);
    converter.Convert(source, &temp_);
    return temp_;
  }

  T temp_{};
};

template <>
class ConvertedInput<uint32> {
 protected:
  uint32 Read(InputConverter&, const uint8* source) { return LoadValue<uint32>(source); }
};

/// GetStateTypes of a state that is such values; uint8 stands for a truth value.
template <class... Values>
std::vector<XeDataType> StateTypesOf() {
  static_assert(((kTypeOfValue<Values> != XeUnknown) && ...));
  return {kTypeOfValue<Values>...};
}

/// MergeState by an accumulator that can load, merge and store.
template <class State>
void MergeLoaded(uint8* state, const uint8* later, State merged, State added) {
  merged.Load(state);
  added.Load(later);
  merged.Merge(added);
  merged.Store(state);
}

/// The input of an aggregate that computes in doubles whatever the type of the column.
class Float64Input : private ConvertedInput<float64> {
 public:
  /// Error 59001 (operator, type) for a column that is not numeric.
  void Bind(const XeFieldDescriptor& field, const XeString& operatorName) {
    converter_.fieldConvert_ = RequireNumericInput(field, operatorName).toFloat64;
  }
  float64 Read(const uint8* source) { return ConvertedInput::Read(converter_, source); }

 private:
  InputConverter converter_;
};

/// The common part of the typed variants of a numeric aggregate, on top of the generic one that
/// they replace: bound when they are built, with values and (first) result in T. `Generic` has the
/// field converter_.
template <class Generic, AccumulatorValue T>
class NumericAggregate : public Generic, protected ConvertedInput<T> {
 public:
  using Value = T;

  /// Takes over the columns and binds to the layout; `row` is that of the column's type. `flags`
  /// are those of Generic.
  template <class... Flags>
  NumericAggregate(const XeRecordMetaData& input, const NumericInput& row,
                   AggregateColumnVectors& columns, Flags... flags)
      : Generic(columns.aggregate_.release(), columns.controlBreak_.release(),
                columns.distinctBreak_.release(), flags...) {
    this->converter_.fieldConvert_ = row.convert;
    this->BindSource(input);
    this->resultDataType_ = kTypeOfValue<T>;
  }

  /// Duplicates are judged on the values as they are computed with.
  void BindDistinctMetaData() override {
    if (this->isDistinctHandled_) this->DescribeDistinctValue(kTypeOfValue<T>, sizeof(T));
  }

  /// Converts the value to the type of the result.
  unsigned int InitializeResult(unsigned char* target, unsigned char* targetNull,
                                unsigned char* source, unsigned int,
                                unsigned char* sourceNull) override {
    T value{};
    if (sourceNull == nullptr || *sourceNull == 0) value = this->Read(this->converter_, source);
    return Aggregate::InitializeResult(target, targetNull, reinterpret_cast<uint8*>(&value),
                                       sizeof(T), sourceNull);
  }

 protected:
  T ReadSource(const unsigned char* record) {
    return this->Read(this->converter_, record + this->sourceOffset_);
  }

  /// Runs an operation on accumulators. Those of the decimal type raise errors of their own, which
  /// receive the aggregate's place in the SQL.
  template <class Operation>
  void Calculate(Operation&& operation) {
    if constexpr (std::same_as<T, VelmarNumber>) {
      this->AtSourcePosition(operation);
    } else {
      operation();
    }
  }

  /// sum += value. Error 59161 (class name, limit) when the sum leaves the type; the decimal type
  /// raises its own.
  void AddChecked(T& sum, const T& value) {
    if constexpr (FallibleBinaryOp<AddOp<T>, T>) {
      if (!AddOp<T>::Apply(sum, value, sum)) [[unlikely]] {
        this->RaiseError(kOverflow, {NodeName(*this), AddOp<T>::Failure(value).limit});
      }
    } else {
      this->AtSourcePosition([&] { AddOp<T>::Apply(sum, value, sum); });
    }
  }
};

/// What the generic aggregates replace themselves by.
template <class Variant, class Generic>
concept NumericVariantOf =
    std::derived_from<Variant, Generic> && AccumulatorValue<typename Variant::Value>;

/// Makes the variant whose values are of the row's computation type; it takes over the columns.
template <class Generic, NumericVariantOf<Generic>... Variants, class... Flags>
std::unique_ptr<Generic> MakeNumericVariant(const XeRecordMetaData& input, const NumericInput& row,
                                            AggregateColumnVectors& columns, Flags... flags) {
  std::unique_ptr<Generic> made;
  static_cast<void>(((kTypeOfValue<typename Variants::Value> == row.computationType &&
                      (made.reset(new Variants(input, row, columns, flags...)), true)) ||
                     ...));
  return made;
}

}  // namespace sqxer
