#include "SQXERExprAggregateApprox.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "SQXERBatchFold.h"
#include "SQXERBatchStore.h"
#include "Utility/ColumnVector.h"
#include "Utility/HashMix.h"
#include "Utility/KeyHashes.h"
#include "Utility/TrimmedText.h"

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
  isByCodePoint_ = KeyDesc::GetCharComparisonType() == kCompareCodePoints;
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

uint64 ApproxCountDistinct::HashOfRow(const BatchVector& input, uint32 row) {
  uint64 hash = 0;
  WithBatchStore(input, sourceDataType_, sourceDataSize_ / uint32{sizeof(wchar_t)},
                 [&](auto store) {
                   store(row, value_.data());
                   hash = HashOf(value_.data());
                 });
  return hash;
}

void ApproxCountDistinct::FoldConstant(const BatchFold& fold) {
  if (fold.input->IsNull(0)) return;
  const uint64 hash = HashOfRow(*fold.input, 0);
  FoldValues(fold, [hash](DistinctSketch& sketch, uint32) { sketch.Add(hash); });
}

void ApproxCountDistinct::FoldCodes(const BatchFold& fold) {
  const BatchVector& input = *fold.input;
  const bool isKnown = dictionary_ == *input.dictionary;
  dictionary_ = *input.dictionary;
  if (fold.state != nullptr) {
    const auto group = LoadValue<uint32>(fold.state);
    if (!isKnown || group != recentGroup_ || seen_.empty()) seen_.assign(dictionary_->rows, 0);
    recentGroup_ = group;
    hashes_.clear();
    FoldValues(fold, [&](DistinctSketch& sketch, uint32 row) {
      uint8& isSeen = seen_[input.GetCode(row)];
      if (isSeen != 0) return;
      isSeen = 1;
      sketch.Add(HashOfRow(input, row));
    });
    return;
  }
  seen_.clear();
  if (!isKnown || hashes_.empty()) hashes_.assign(dictionary_->rows, 0);
  FoldValues(fold, [&](DistinctSketch& sketch, uint32 row) {
    uint64& hash = hashes_[input.GetCode(row)];
    if (hash == 0) hash = HashOfRow(input, row);
    sketch.Add(hash);
  });
}

template <class T>
void ApproxCountDistinct::HashNumbers(const BatchFold& fold, Hashes& out) {
  const BatchVector& input = *fold.input;
  uint32& count = out.count;
  const uint8* kept = input.values;
  const bool areAll = std::is_arithmetic_v<T> && fold.state != nullptr && fold.rows == nullptr &&
                      input.validity == nullptr;
  if (areAll) {
    count = fold.count;
  } else {
    values_.resize(kMostBatchRows * sizeof(T));
    kept = values_.data();
  }
  if constexpr (std::is_arithmetic_v<T>) {
    if (!areAll) {
      // To hash one takes no longer than to find that it came lately.
      T* const values = reinterpret_cast<T*>(values_.data());
      fold.ForEach([&, from = input.As<T>()](uint32 index, uint32 row, bool isValue) {
        values[count] = from[row];
        out.indexes[count] = static_cast<uint16>(index);
        count += isValue ? 1 : 0;
      });
    }
  } else {
    const auto keep = [&](uint32 index, uint32 row) {
      const T value = ReadBatchValue<T>(input, row);
      std::memcpy(values_.data() + count * sizeof(T), static_cast<const void*>(&value), sizeof(T));
      out.indexes[count++] = static_cast<uint16>(index);
    };
    const auto keepNew = [&]<class Number>(std::type_identity<Number>) {
      const auto group = LoadValue<uint32>(fold.state);
      if (group != recentGroup_ || input.scale != recentScale_) recent_.Forget();
      recentGroup_ = group;
      recentScale_ = input.scale;
      fold.ForEach([&](uint32 index, uint32 row, bool isValue) {
        if (!isValue) return;
        uint64 bits = 0;
        std::memcpy(&bits, input.As<Number>() + row, sizeof(Number));
        if (!recent_.Repeats(&bits, sizeof bits)) keep(index, row);
      });
    };
    if (fold.state == nullptr || !WithNumberType(input.form, keepNew)) {
      fold.ForEach([&](uint32 index, uint32 row, bool isValue) {
        if (isValue) keep(index, row);
      });
    }
  }
  HashValues(key_, kept, count, out.hashes);
  for (uint32 i = 0; i < count; ++i) out.hashes[i] = MixHash(kHashSeed, out.hashes[i]);
}

template <class Character>
void ApproxCountDistinct::HashTexts(const BatchFold& fold, Hashes& out) const {
  // So many at a time that a processor always has one to go on with.
  constexpr std::size_t kLanes = 4;
  const BatchVector& input = *fold.input;
  const Character* texts[kLanes] = {};
  uint32 lengths[kLanes] = {};
  uint64 hashes[kLanes];
  std::size_t lane = 0;
  const auto hash = [&] {
    const auto at = [first = texts[0], second = texts[1], third = texts[2], fourth = texts[3]](
                        std::size_t of, uint32 i) {
      return uint32{(of == 0 ? first : of == 1 ? second : of == 2 ? third : fourth)[i]};
    };
    HashCharacters(lengths, at, hashes);
    for (std::size_t i = 0; i < lane; ++i) out.hashes[out.count++] = MixHash(kHashSeed, hashes[i]);
    lane = 0;
  };
  uint32 count = 0;
  fold.ForEach([&](uint32 index, uint32 row, bool isValue) {
    if (!isValue) return;
    const BatchText text = input.GetText(row);
    texts[lane] = reinterpret_cast<const Character*>(text.characters);
    uint32 length = text.length;
    if (sourceDataType_ == XeCharData) {
      length = static_cast<uint32>(std::find(texts[lane], texts[lane] + length, Character{0}) -
                                   texts[lane]);
    }
    lengths[lane] = TrimmedLength(texts[lane], length);
    out.indexes[count++] = static_cast<uint16>(index);
    if (++lane == kLanes) hash();
  });
  if (lane == 0) return;
  std::fill(lengths + lane, lengths + kLanes, 0u);
  hash();
}

void ApproxCountDistinct::HashOneByOne(const BatchFold& fold, Hashes& out) {
  fold.ForEach([&](uint32 index, uint32 row, bool isValue) {
    if (!isValue) return;
    out.hashes[out.count] = HashOfRow(*fold.input, row);
    out.indexes[out.count++] = static_cast<uint16>(index);
  });
}

void ApproxCountDistinct::FoldBatch(const BatchFold& fold) {
  const BatchVector& input = *fold.input;
  if (input.isConstant) return FoldConstant(fold);
  if (input.dictionary != nullptr) return FoldCodes(fold);
  Hashes found;
  if (!IsTextForm(input.form)) {
    WithStoredType(sourceDataType_,
                   [&]<class T>(std::type_identity<T>) { HashNumbers<T>(fold, found); });
  } else if (!isByCodePoint_) {
    HashOneByOne(fold, found);
  } else if (input.form == ColumnForm::kText8) {
    HashTexts<uint8>(fold, found);
  } else {
    HashTexts<uint32>(fold, found);
  }
  if (fold.state != nullptr) {
    Change(LoadValue<uint32>(fold.state), [&](DistinctSketch& sketch) {
      sketch.AddAll({found.hashes, found.count});
    });
    return;
  }
  for (uint32 i = 0; i < found.count; ++i) {
    Change(LoadValue<uint32>(fold.StateOf(found.indexes[i])),
           [&](DistinctSketch& sketch) { sketch.Add(found.hashes[i]); });
  }
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
