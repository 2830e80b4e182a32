#include "SQXERExprAggregateApprox.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "SQXERBatchFold.h"
#include "SQXERBatchStore.h"
#include "Utility/ColumnVector.h"
#include "Utility/HashMix.h"

namespace sqxer {

template <class Sketch>
template <class Action>
void SketchAggregate<Sketch>::FoldValues(const BatchFold& fold, Action&& action) {
  if (fold.state != nullptr) {
    Change(LoadValue<uint32>(fold.state), [&](Sketch& sketch) {
      fold.ForEach([&](uint32, uint32 row, bool isValue) {
        if (isValue) action(sketch, row);
      });
    });
  } else {
    fold.ForEach([&](uint32 index, uint32 row, bool isValue) {
      if (!isValue) return;
      Change(LoadValue<uint32>(fold.StateOf(index)), [&](Sketch& sketch) { action(sketch, row); });
    });
  }
}

void ApproxCountDistinct::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  BindSource(input);
  RequireOrder(L"ApproxCountDistinct");
  DescribeTempField(sourceDataType_, sourceDataSize_);
  tempRecordMetadata_.GenerateAlignedFieldOffset();
  key_ = KeyDesc(*tempRecordMetadata_.GetFieldDescriptor(0), kAscending,
                 KeyDesc::GetCharComparisonType())
             .MovedTo(0, 0, false);
  ReserveKept(value_, sourceDataSize_);
  resultDataType_ = XeUInt4Data;
  DescribeResult(info, resultDataType_, 0, false);
}

uint64 ApproxCountDistinct::HashOf(const uint8* value) const {
  return MixHash(kHashSeed, key_.Hash(value));
}

RExprReturn ApproxCountDistinct::Compute(unsigned char* record, unsigned int) {
  if (IsSourceNull(record)) return kTrue;
  const uint64 hash = HashOf(record + sourceOffset_);
  Change(group_, [hash](DistinctSketch& sketch) { sketch.Add(hash); });
  return kTrue;
}

void ApproxCountDistinct::Output(unsigned char* record) {
  OutputNull(record, false);
  constexpr float64 kMost = std::numeric_limits<uint32>::max();
  StoreValue(record + targetOffset_,
             static_cast<uint32>(std::min(std::round(GetSketch().Estimate()), kMost)));
}

bool ApproxCountDistinct::TakesBatches() {
  if (!SketchAggregate::TakesBatches()) return false;
  if (SUXeDataTypeUtility::IsXeTextType(sourceDataType_)) return !IsSourceNarrow();
  return WithStoredType(sourceDataType_, [](auto) {});
}

template <class HashOfRow>
bool ApproxCountDistinct::FoldNumbers(const BatchFold& fold, HashOfRow&& hashOf) {
  const BatchVector& input = *fold.input;
  if (fold.state == nullptr || input.isConstant) return false;
  return WithNumberType(input.form, [&]<class T>(std::type_identity<T>) {
    const T* const values = input.As<T>();
    const auto group = LoadValue<uint32>(fold.state);
    if (group != recentGroup_ || input.scale != recentScale_) recent_.Forget();
    recentGroup_ = group;
    recentScale_ = input.scale;
    FoldValues(fold, [&](DistinctSketch& sketch, uint32 row) {
      const T value = values[row];
      uint64 bits = 0;
      std::memcpy(&bits, &value, sizeof value);
      if (!recent_.Repeats(&bits, sizeof bits)) sketch.Add(hashOf(row));
    });
  });
}

void ApproxCountDistinct::FoldBatch(const BatchFold& fold) {
  const BatchVector& input = *fold.input;
  WithBatchStore(
      input, sourceDataType_, sourceDataSize_ / uint32{sizeof(wchar_t)}, [&](auto store) {
        const auto hashOf = [&](uint32 row) {
          store(row, value_.data());
          return HashOf(value_.data());
        };
        if (FoldNumbers(fold, hashOf)) return;
        if (input.dictionary == nullptr || input.isConstant) {
          FoldValues(fold, [&](DistinctSketch& sketch, uint32 row) { sketch.Add(hashOf(row)); });
          return;
        }
        if (dictionary_ != *input.dictionary) {
          dictionary_ = *input.dictionary;
          hashes_.assign(dictionary_->rows, 0);
        }
        FoldValues(fold, [&](DistinctSketch& sketch, uint32 row) {
          uint64& hash = hashes_[input.GetCode(row)];
          if (hash == 0) hash = hashOf(row);
          sketch.Add(hash);
        });
      });
}

void ApproxQuantile::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  input_.Bind(GetSourceField(input), L"ApproxQuantile");
  BindSource(input);
  resultDataType_ = XeDoubleData;
  DescribeResult(info, resultDataType_, 0, true);
}

RExprReturn ApproxQuantile::Compute(unsigned char* record, unsigned int) {
  if (IsSourceNull(record)) return kTrue;
  const float64 value = input_.Read(record + sourceOffset_);
  Change(group_, [value](QuantileSketch& sketch) { sketch.Add(value); });
  return kTrue;
}

void ApproxQuantile::Output(unsigned char* record) {
  const QuantileSketch& sketch = GetSketch();
  const bool isNull = sketch.GetCount() == 0 || std::isnan(fraction_);
  if (OutputNull(record, isNull)) return;
  StoreValue(record + targetOffset_, isNull ? 0 : sketch.Estimate(fraction_));
}

bool ApproxQuantile::AdmitsInput(const BatchVector* input, const BatchRows& rows) {
  numbers_ = column_.Read(*input, rows);
  return numbers_ != nullptr;
}

void ApproxQuantile::FoldBatch(const BatchFold& fold) {
  const auto* const values = numbers_->As<float64>();
  FoldValues(fold, [values](QuantileSketch& sketch, uint32 row) { sketch.Add(values[row]); });
}

}  // namespace sqxer
