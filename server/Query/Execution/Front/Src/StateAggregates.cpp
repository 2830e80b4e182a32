#include "StateAggregates.h"

#include <cstring>
#include <numeric>

#include "EngineError.h"
#include "SQXERBatchFold.h"

namespace sqxer::engine {
namespace {

/// Where the values of a state stand in a record.
class StateFields {
 public:
  void Add(const XeRecordMetaData& layout, std::size_t field) {
    const XeFieldDescriptor& place = layout.GetPlacedField(static_cast<int>(field));
    const uint32 bytes = XeRecordMetaData::GetByteLength(place.GetDataType(), 0, true);
    values_.push_back({bytes_, bytes, place.GetDataOffset(), place.GetNullOffset()});
    bytes_ += bytes;
  }
  uint32 CountBytes() const { return bytes_; }
  /// Error 57123.
  void Read(const uint8* record, uint8* state) const {
    for (const Value& value : values_) {
      if (value.nullOffset != 0 && record[value.nullOffset] != 0) {
        ThrowEngineError(kNoStates, {L"a part of a state is missing"});
      }
      std::memcpy(state + value.start, record + value.offset, value.bytes);
    }
  }
  void Write(const uint8* state, uint8* record) const {
    for (const Value& value : values_) {
      if (value.nullOffset != 0) record[value.nullOffset] = 0;
      std::memcpy(record + value.offset, state + value.start, value.bytes);
    }
  }

 private:
  struct Value {
    uint32 start;
    uint32 bytes;
    uint32 offset;
    uint32 nullOffset;
  };
  std::vector<Value> values_;
  uint32 bytes_ = 0;
};

/// Where a sketch stands in a record: as the digits of its bytes, two for each.
class SketchField {
 public:
  static constexpr uint32 kDigits = 2;

  void Place(const XeRecordMetaData& layout, std::size_t field) {
    const XeFieldDescriptor& place = layout.GetPlacedField(static_cast<int>(field));
    offset_ = place.GetDataOffset();
    nullOffset_ = place.GetNullOffset();
  }
  void Write(const std::vector<uint8>& bytes, uint8* record) const {
    if (nullOffset_ != 0) record[nullOffset_] = 0;
    StoreValue(record + offset_, static_cast<uint32>(bytes.size() * kDigits));
    uint8* digits = record + offset_ + kLongVarPrefix;
    for (const uint8 byte : bytes) {
      for (const int digit : {byte >> 4, byte & 15}) {
        StoreValue(digits, static_cast<wchar_t>(L"0123456789abcdef"[digit]));
        digits += sizeof(wchar_t);
      }
    }
  }
  /// Error 57123.
  void Read(const uint8* record, std::vector<uint8>& bytes) const {
    const bool isNull = nullOffset_ != 0 && record[nullOffset_] != 0;
    const uint32 length = isNull ? 1 : LoadValue<uint32>(record + offset_);
    if (length % kDigits != 0) ThrowNoSketch();
    const uint8* digits = record + offset_ + kLongVarPrefix;
    bytes.resize(length / kDigits);
    for (uint8& byte : bytes) {
      uint32 value = 0;
      for (uint32 i = 0; i < kDigits; ++i, digits += sizeof(wchar_t)) {
        const std::wstring_view all = L"0123456789abcdef";
        const std::size_t digit = all.find(LoadValue<wchar_t>(digits));
        if (digit == all.npos) ThrowNoSketch();
        value = value << 4 | static_cast<uint32>(digit);
      }
      byte = static_cast<uint8>(value);
    }
  }
  [[noreturn]] static void ThrowNoSketch() {
    ThrowEngineError(kNoStates, {L"a sketch is none of this aggregate"});
  }

 private:
  uint32 offset_ = 0;
  uint32 nullOffset_ = 0;
};

/// What the two have in common: the other aggregate, bound, and room for a state of it.
class StateAggregate : public Aggregate {
 public:
  using Aggregate::Bind;
  RExprReturn Finalize() override { return kTrue; }

 protected:
  StateAggregate(std::unique_ptr<Aggregate>&& whole, std::unique_ptr<UInt16Vector> columns)
      : Aggregate(columns.release(), nullptr, nullptr, false, false), whole_(std::move(whole)) {}

  void BindWhole(XeRecordMetaData& input, MetaDataInfo& info) {
    whole_->SetSourcePosition(GetSourcePosition());
    BindGeneric(whole_, input, info);
    state_.resize(whole_->TransferState(StateTransfer::kMeasure, nullptr));
  }
  /// Places a state's fields in a layout, from `first` on.
  StateFields PlaceFields(const XeRecordMetaData& layout, std::size_t first) const {
    StateFields fields;
    const std::size_t count = whole_->GetStateTypes().size();
    for (std::size_t i = 0; i < count; ++i) fields.Add(layout, first + i);
    XE_ASSERT(fields.CountBytes() == state_.size());
    return fields;
  }

  bool IsSketch() const { return whole_->CountSketchBytes() != 0; }

  std::unique_ptr<Aggregate> whole_;
  std::vector<uint8> state_;
  /// Of a sketch.
  std::vector<uint8> bytes_;
};

class StateSource final : public StateAggregate {
 public:
  explicit StateSource(std::unique_ptr<Aggregate>&& whole)
      : StateAggregate(std::move(whole),
                       std::make_unique<UInt16Vector>(*whole->GetAggregateColumns())) {}

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override {
    result = nullptr;
    BindWhole(input, info);
  }
  void SetTargetDescriptor(XeRecordMetaData& target, unsigned short fieldIndex) override {
    if (IsSketch()) return sketch_.Place(target, fieldIndex);
    fields_ = PlaceFields(target, fieldIndex);
  }

  void Initialize(bool restart) override { whole_->Initialize(restart); }
  RExprReturn Compute(unsigned char* record, unsigned int size) override {
    return whole_->Compute(record, size);
  }
  void Output(unsigned char* record) override {
    if (IsSketch()) {
      whole_->SaveSketch(bytes_);
      return sketch_.Write(bytes_, record);
    }
    whole_->TransferState(StateTransfer::kSave, state_.data());
    fields_.Write(state_.data(), record);
  }
  uint32 TransferState(StateTransfer transfer, uint8* state) override {
    return whole_->TransferState(transfer, state);
  }
  bool OutputState(uint8* state, unsigned char* record) override {
    fields_.Write(state, record);
    return true;
  }

  bool TakesBatches() override { return whole_->TakesBatches(); }
  bool AdmitsInput(const BatchVector* input, const BatchRows& rows) override {
    return whole_->AdmitsInput(input, rows);
  }
  bool AdmitsPair(const BatchVector& x, const BatchVector& y, const BatchRows& rows) override {
    return whole_->AdmitsPair(x, y, rows);
  }
  bool AdmitsStates(const BatchFold& fold) override { return whole_->AdmitsStates(fold); }
  void FoldBatch(const BatchFold& fold) override { whole_->FoldBatch(fold); }
  StateMerge GetStateMerge() override { return whole_->GetStateMerge(); }
  void ShareStates(uint32 stretches) override { whole_->ShareStates(stretches); }
  bool AdmitsMerge(const uint8* state, const uint8* later, uint32 stretches) override {
    return whole_->AdmitsMerge(state, later, stretches);
  }
  void MergeState(uint8* state, const uint8* later) override { whole_->MergeState(state, later); }

 private:
  StateFields fields_;
  SketchField sketch_;
};

std::unique_ptr<UInt16Vector> ColumnsFrom(std::size_t first, std::size_t count) {
  auto columns = std::make_unique<UInt16Vector>(count);
  std::iota(columns->begin(), columns->end(), static_cast<uint16>(first));
  return columns;
}

class StateMerger final : public StateAggregate {
 public:
  StateMerger(std::unique_ptr<Aggregate>&& whole, std::shared_ptr<WorkRecord> rows,
              std::size_t firstColumn, bool givesState)
      : StateAggregate(std::move(whole), ColumnsFrom(firstColumn, 1)),
        rows_(std::move(rows)),
        givesState_(givesState) {}

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override {
    result = nullptr;
    BindWhole(rows_->GetLayout(), info);
    const std::size_t first = aggregateColumns_->front();
    if (IsSketch()) return readSketch_.Place(input, first);
    aggregateColumns_ = ColumnsFrom(first, whole_->GetStateTypes().size());
    read_ = PlaceFields(input, first);
    taken_.resize(state_.size());
    whole_->Initialize(true);
    start_.resize(state_.size());
    whole_->TransferState(StateTransfer::kSave, start_.data());
  }
  void SetTargetDescriptor(XeRecordMetaData& target, unsigned short fieldIndex) override {
    if (givesState_ && IsSketch()) {
      writtenSketch_.Place(target, fieldIndex);
    } else if (givesState_) {
      written_ = PlaceFields(target, fieldIndex);
    } else {
      whole_->SetTargetDescriptor(target, fieldIndex);
    }
  }

  void Initialize(bool restart) override {
    if (IsSketch()) whole_->Initialize(restart);
    state_ = start_;
  }
  RExprReturn Compute(unsigned char* record, unsigned int) override {
    if (IsSketch()) {
      readSketch_.Read(record, bytes_);
      if (!whole_->MergeSketch(bytes_)) SketchField::ThrowNoSketch();
      return kTrue;
    }
    read_.Read(record, taken_.data());
    whole_->MergeState(state_.data(), taken_.data());
    return kTrue;
  }
  void Output(unsigned char* record) override {
    if (!IsSketch()) {
      OutputState(state_.data(), record);
    } else if (givesState_) {
      whole_->SaveSketch(bytes_);
      writtenSketch_.Write(bytes_, record);
    } else {
      whole_->Finalize();
      whole_->Output(record);
    }
  }
  /// There is an object for each group's sketch.
  uint32 TransferState(StateTransfer transfer, uint8* state) override {
    return TransferBytes(transfer, state, 0, state_.data(), static_cast<uint32>(state_.size()));
  }
  bool OutputState(uint8* state, unsigned char* record) override {
    if (givesState_) {
      written_.Write(state, record);
    } else {
      whole_->Initialize(true);
      whole_->TransferState(StateTransfer::kRestore, state);
      whole_->Finalize();
      whole_->Output(record);
    }
    return true;
  }

 private:
  const std::shared_ptr<WorkRecord> rows_;
  const bool givesState_;
  StateFields read_;
  StateFields written_;
  SketchField readSketch_;
  SketchField writtenSketch_;
  std::vector<uint8> taken_;
  std::vector<uint8> start_;
};

}  // namespace

std::vector<ColumnInfo> StateFieldsOf(const PlanAggregate& planned,
                                      const std::vector<ColumnInfo>& inputs) {
  std::vector<ColumnInfo> fields;
  WorkRecord rows(inputs);
  std::unique_ptr<Aggregate> whole = planned.make();
  whole->SetSourcePosition(planned.position);
  MetaDataInfo info;
  BindGeneric(whole, rows.GetLayout(), info);
  for (const XeDataType type : whole->GetStateTypes()) {
    const std::string name = planned.text + "#" + std::to_string(fields.size());
    fields.push_back({Wide(name), type, 0, 0, false});
  }
  if (const uint32 bytes = whole->CountSketchBytes(); bytes != 0)
    fields.push_back(
        {Wide(planned.text + "#0"), XeVarCharData, bytes * SketchField::kDigits, 0, false});
  return fields;
}

std::unique_ptr<Aggregate> MakeStateSource(std::unique_ptr<Aggregate> whole) {
  return std::make_unique<StateSource>(std::move(whole));
}

std::unique_ptr<Aggregate> MakeStateMerger(std::unique_ptr<Aggregate> whole,
                                           std::shared_ptr<WorkRecord> rows,
                                           std::size_t firstColumn, bool givesState) {
  return std::make_unique<StateMerger>(std::move(whole), std::move(rows), firstColumn, givesState);
}

}  // namespace sqxer::engine
