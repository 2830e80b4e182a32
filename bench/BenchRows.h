#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <vector>

#include "BenchRecord.h"

namespace sqxer::bench {

/// A million records that lie in memory one behind the other. Trees read each one through the
/// buffer that they are bound to, so copying it there is part of their time.
class BenchRows {
 public:
  static constexpr std::size_t kCount = 1'000'000;

  struct Field {
    XeDataType type;
    uint32 length;
    const wchar_t* name;
  };

  /// One record where it lies.
  class Row {
   public:
    Row(const uint8* bytes, const BenchRows& rows) : bytes_(bytes), rows_(rows) {}
    bool IsNull(std::size_t field) const { return bytes_[rows_.nullAt_[field]] != 0; }
    template <class Value>
    Value Get(std::size_t field) const {
      Value value;
      std::memcpy(&value, bytes_ + rows_.at_[field], sizeof value);
      return value;
    }
    RefLongVarChar GetText(std::size_t field) const {
      const uint8* const text = bytes_ + rows_.at_[field] + kLongVarPrefix;
      auto* const characters = reinterpret_cast<const wchar_t*>(text);
      return {Get<uint32>(field), const_cast<wchar_t*>(characters)};
    }

   private:
    const uint8* bytes_;
    const BenchRows& rows_;
  };

  /// `next` puts one row after the other into the record.
  BenchRows(std::initializer_list<Field> fields, const std::function<void(BenchRecord&)>& next) {
    for (const Field& field : fields) record_.Add(field.type, field.length, true, field.name);
    for (int i = 0; i < static_cast<int>(fields.size()); ++i) {
      at_.push_back(record_.layout().GetFieldDescriptor(i)->GetDataOffset());
      nullAt_.push_back(record_.layout().GetFieldDescriptor(i)->GetNullOffset());
    }
    size_ = record_.layout().GetBinaryRecordSize();
    bytes_.resize(size_ * kCount);
    for (std::size_t i = 0; i < kCount; ++i) {
      next(record_);
      std::memcpy(bytes_.data() + i * size_, record_.bytes(), size_);
    }
  }

  std::unique_ptr<RExpression> Bind(RExpression* root) { return record_.Bind(root); }
  XeRecordMetaData& layout() { return record_.layout(); }
  /// A record where it lies, for aggregates.
  uint8* Record(std::size_t row) { return bytes_.data() + row * size_; }

  /// Calls `visit` for each row.
  template <class Visit>
  void VisitByHand(Visit visit) const {
    for (std::size_t i = 0; i < kCount; ++i) visit(Row(bytes_.data() + i * size_, *this));
  }
  /// The sum of what `value` makes of each row.
  template <class Value>
  uint64 SumByHand(Value value) const {
    uint64 sum = 0;
    VisitByHand([&](const Row& row) { sum += value(row); });
    return sum;
  }
  /// The sum of what `value` makes of each result of a tree that is not NULL.
  template <class Result, class Value>
  uint64 SumByTree(RExpression& tree, Value value) {
    uint64 sum = 0;
    for (std::size_t i = 0; i < kCount; ++i) {
      std::memcpy(record_.bytes(), bytes_.data() + i * size_, size_);
      Result result;
      if (tree.Eval(&result) == kTrue) sum += value(result);
    }
    return sum;
  }

 private:
  BenchRecord record_;
  std::size_t size_ = 0;
  std::vector<uint32> at_;
  std::vector<uint32> nullAt_;
  std::vector<uint8> bytes_;
};

/// Times one way to a sum; it must be that of another way.
template <class Sum>
void Time(benchmark::State& state, uint64 expected, Sum sum) {
  for (auto _ : state) {
    if (sum() != expected) {
      state.SkipWithError("the two ways do not agree");
      return;
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64>(BenchRows::kCount));
}

}  // namespace sqxer::bench
