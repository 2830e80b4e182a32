#include "SQXERExprAggregateBase.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "SQXERDistinctValues.h"
#include "SQXERTypedVariant.h"

namespace sqxer {

namespace {

bool IsVarying(XeDataType type) {
  switch (type) {
    case XeVarCharData:
    case XeLongVarCharData:
    case XeVarBinaryData:
    case XeLongVarBinaryData:
      return true;
    default:
      return false;
  }
}

uint32 GetCharacterWidth(XeDataType type, bool unicode) {
  return SUXeDataTypeUtility::IsXeTextType(type) && unicode ? sizeof(wchar_t) : 1;
}

/// Bytes of a character or byte of a type of varying length, 0 of another.
uint32 GetVaryingUnit(XeDataType type, bool unicode) {
  return IsVarying(type) ? GetCharacterWidth(type, unicode) : 0;
}

/// The declared length of a field whose values take that many bytes.
uint32 GetDeclaredLength(XeDataType type, uint32 bytes, bool unicode) {
  if (IsVarying(type)) bytes -= std::min(bytes, kLongVarPrefix);
  return bytes / GetCharacterWidth(type, unicode);
}

/// The type that stands for all those whose values are stored alike.
XeDataType GetStoredForm(XeDataType type) {
  switch (type) {
    case XeVarCharData:
      return XeLongVarCharData;
    case XeVarBinaryData:
      return XeLongVarBinaryData;
    case XeMoneyData:
    case XeDecimalData:
      return XeNumericData;
    case XeTimeStampData:
      return XeDateTimeData;
    default:
      return type;
  }
}

bool IsNarrowText(const XeFieldDescriptor& field, const XeRecordMetaData& layout) {
  return SUXeDataTypeUtility::IsXeTextType(field.GetDataType()) &&
         !field.IsUnicode(layout.IsUnicodeRecord());
}

XeString NameStoredType(XeDataType type, bool narrow) {
  const XeString name = SUXeDataTypeUtility::GetXeDataTypeName(type);
  return narrow ? name + L" of one byte a character" : name;
}

bool HasOrder(XeDataType type) { return type <= XeIntervalData || type == XeBoolean; }

}  // namespace

Aggregate::Aggregate(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                     UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
                     bool isDistinctHandled)
    : aggregateColumns_(aggregateColumns),
      controlBreakColumns_(controlBreakColumns),
      distinctBreakColumns_(distinctBreakColumns),
      isCumulativeAggregate_(isCumulativeAggregate),
      isDistinctHandled_(isDistinctHandled) {
  if (aggregateColumns != nullptr) XE_ASSERT(aggregateColumns->size() > 0);
  for (auto* columns : {&aggregateColumns_, &controlBreakColumns_, &distinctBreakColumns_}) {
    if (*columns == nullptr) *columns = std::make_unique<UInt16Vector>();
  }
  isDistinctProcessing_ = !distinctBreakColumns_->empty();
}

Aggregate::~Aggregate() {
  // The timer, a later field, must outlive the sorters.
  sorter_.reset();
  distinctValues_.reset();
}

void Aggregate::Bind(XeAListStream*, RExpression*&, MetaDataInfo&) { XeLogicError(); }
RExprReturn Aggregate::Eval(void*) { XeLogicError(); }
RExpression* Aggregate::GetIthOperand(int) { XeLogicError(); }
void Aggregate::SetIthOperand(int, RExpression*) { XeLogicError(); }
void Aggregate::Bind(XeRecordMetaData&, RExpression*&, MetaDataInfo&) { XeLogicError(); }
void Aggregate::SetTargetDescriptor(XeRecordMetaData&, unsigned short) { XeLogicError(); }
void Aggregate::Initialize(bool) { XeLogicError(); }
RExprReturn Aggregate::Compute(unsigned char*, unsigned int) { XeLogicError(); }
RExprReturn Aggregate::Finalize() { XeLogicError(); }
void Aggregate::Output(unsigned char*) { XeLogicError(); }
unsigned int Aggregate::GetTargetFixedLenSize() { XeLogicError(); }
void Aggregate::FoldBatch(const BatchFold&) {
  XeLogicError("a batch for an aggregate that takes none");
}

void Aggregate::MergeState(uint8*, const uint8*) {
  XeLogicError("a state for an aggregate whose states cannot be merged");
}

void Aggregate::SaveSketch(std::vector<uint8>&) const {
  XeLogicError("a sketch of an aggregate that keeps none");
}

bool Aggregate::MergeSketch(std::span<const uint8>) {
  XeLogicError("a sketch for an aggregate that keeps none");
}

void Aggregate::Remove(unsigned char*, unsigned int) {
  XeLogicError("an aggregate that keeps no rows is to give one up");
}

uint64 Aggregate::CountHeld() const {
  return distinctValues_ == nullptr ? 0 : distinctValues_->CountToMerge();
}

bool Aggregate::AdmitsHeld(const Aggregate& later) const {
  return distinctValues_->AdmitsMerge(*later.distinctValues_);
}

void Aggregate::MergeHeld(std::span<const StatePair> states, Aggregate& later) {
  std::vector<uint32> groups(states.size());
  for (const StatePair& pair : states) {
    // The number of a group is the beginning of its state.
    const auto number = LoadValue<uint32>(pair.later);
    if (number >= groups.size()) groups.resize(number + std::size_t{1});
    groups[number] = LoadValue<uint32>(pair.state);
  }
  distinctValues_->Merge(*later.distinctValues_, groups);
}

uint32 Aggregate::TransferState(StateTransfer, uint8*) { return 0; }

Aggregate* Aggregate::GetPartialsAggregator(UInt16Vector*) { return nullptr; }

void Aggregate::SetSourceOffset(unsigned int offset, unsigned int nullOffset,
                                unsigned int recordSize) {
  savedSourceOffset_ = std::exchange(sourceOffset_, offset);
  savedSourceNullOffset_ = std::exchange(sourceNullOffset_, nullOffset);
  const uint32 left = recordSize > offset ? recordSize - offset : 0;
  currentRecordDataSize_ = std::min(left, sourceDataSize_);
}

void Aggregate::RestoreSourceOffset() {
  sourceOffset_ = savedSourceOffset_;
  sourceNullOffset_ = savedSourceNullOffset_;
  currentRecordDataSize_ = sourceDataSize_;
}

void Aggregate::SetTargetOffset(unsigned int offset, unsigned int nullOffset) {
  savedTargetOffset_ = std::exchange(targetOffset_, offset);
  savedTargetNullOffset_ = std::exchange(targetNullOffset_, nullOffset);
}

void Aggregate::RestoreTargetOffset() {
  targetOffset_ = savedTargetOffset_;
  targetNullOffset_ = savedTargetNullOffset_;
}

unsigned int Aggregate::InitializeResult(unsigned char* target, unsigned char* targetNull,
                                         unsigned char* source, unsigned int size,
                                         unsigned char* sourceNull) {
  const bool isNull = sourceNull != nullptr && *sourceNull != 0;
  if (targetNull != nullptr) *targetNull = isNull ? 1 : 0;
  if (isNull) return 0;
  std::memmove(target, source, size);
  return size;
}

std::unique_ptr<UInt16Vector> Aggregate::CloneColumnVector(const UInt16Vector* columns) {
  return columns == nullptr ? nullptr : std::make_unique<UInt16Vector>(*columns);
}

std::unique_ptr<KeySet> Aggregate::MakeDistinctSortKeySet(XeRecordMetaData& layout,
                                                          SortOrder_t order, bool nullsFirst) {
  auto keys = std::make_unique<KeySet>();
  const CharComparisonType_t comparison = KeyDesc::GetCharComparisonType();
  for (int i = 0; i < layout.GetFieldCount(); ++i) {
    if (IsNarrowText(*layout.GetFieldDescriptor(i), layout)) {
      throwExecutionError(kTypeNotSupported, L"Sort", layout.GetFieldDescriptor(i)->GetDataType(),
                          XeUnknown);
    }
    keys->Add(KeyDesc(*layout.GetFieldDescriptor(i), order, comparison,
                      nullsFirst ? kNullsFirst : kNullsLast));
  }
  return keys;
}

const XeFieldDescriptor& Aggregate::GetSourceField(const XeRecordMetaData& input) const {
  XE_ASSERT(!aggregateColumns_->empty());
  return input.GetPlacedField(aggregateColumns_->front());
}

void Aggregate::BindSource(const XeRecordMetaData& input) {
  const XeFieldDescriptor& field = GetSourceField(input);
  const bool unicode = field.IsUnicode(input.IsUnicodeRecord());
  sourceDataType_ = field.GetDataType();
  sourceUnit_ = GetVaryingUnit(sourceDataType_, unicode);
  sourceDataSize_ =
      XeRecordMetaData::GetByteLength(field.GetDataType(), field.GetLength(), unicode);
  sourceOffset_ = savedSourceOffset_ = field.GetDataOffset();
  sourceNullOffset_ = savedSourceNullOffset_ = field.GetNullOffset();
  currentRecordDataSize_ = resultRecordDataSize_ = sourceDataSize_;
  tempRecordMetadata_ = XeRecordMetaData(unicode);
}

void Aggregate::RequireOrder(const XeString& operatorName) const {
  if (!HasOrder(sourceDataType_) || IsSourceNarrow()) {
    throwExecutionError(kTypeNotSupported, operatorName, sourceDataType_, XeUnknown);
  }
}

void Aggregate::PlaceResult(const XeRecordMetaData& target, unsigned int fieldIndex,
                            XeDataType type, uint32& offset, uint32& nullOffset) const {
  const XeFieldDescriptor& field = target.GetPlacedField(static_cast<int>(fieldIndex));
  const XeDataType fieldType = field.GetDataType();
  const bool narrow = IsNarrowText(field, target);
  if (GetStoredForm(fieldType) != GetStoredForm(type) || narrow != isResultNarrow_) {
    constexpr int kNoImplicitConversion = 59030;
    RaiseError(kNoImplicitConversion,
               {NameStoredType(type, isResultNarrow_), NameStoredType(fieldType, narrow)});
  }
  offset = field.GetDataOffset();
  nullOffset = field.GetNullOffset();
}

void Aggregate::PlaceFirstResult(const XeRecordMetaData& target, unsigned int fieldIndex,
                                 XeDataType type) {
  PlaceResult(target, fieldIndex, type, targetOffset_, targetNullOffset_);
  savedTargetOffset_ = targetOffset_;
  savedTargetNullOffset_ = targetNullOffset_;
  const XeFieldDescriptor& field = *target.GetFieldDescriptor(static_cast<int>(fieldIndex));
  targetFixedLenSize_ = XeRecordMetaData::GetByteLength(field.GetDataType(), field.GetLength(),
                                                        field.IsUnicode(target.IsUnicodeRecord()));
}

void Aggregate::DescribeResult(MetaDataInfo& info, XeDataType type, uint32 length, bool nullable,
                               int16 scale) {
  info.objectLength_ = XeFieldDescriptor::GetObjectLength(type, length);
  info.isNullable_ = nullable;
  info.fieldName_ = XeRecordMetaData::exprFieldName_;
  info.aliasName_.clear();
  info.scale_ = scale;
}

AggregateColumnVectors Aggregate::TakeColumns() {
  return {std::move(aggregateColumns_), std::move(controlBreakColumns_),
          std::move(distinctBreakColumns_)};
}

void Aggregate::ReplaceBy(std::unique_ptr<Aggregate> variant, RExpression*& result) {
  variant->SetSourcePosition(GetSourcePosition());
  variant->BindDistinctMetaData();
  result = variant.release();
}

void Aggregate::OutputStoredValue(unsigned char* record, const uint8* value, uint32 size) const {
  size = CountUsedBytes(value, size, sourceUnit_);
  const uint32 stored = std::min(size, targetFixedLenSize_);
  std::memcpy(record + targetOffset_, value, stored);
  if (stored == size || !IsVarying(sourceDataType_) || stored < kLongVarPrefix) return;
  // What was cut off may have been part of the value.
  uint32 length;
  std::memcpy(&length, value, sizeof(length));
  length = std::min(
      length, GetDeclaredLength(sourceDataType_, stored, tempRecordMetadata_.IsUnicodeRecord()));
  std::memcpy(record + targetOffset_, &length, sizeof(length));
}

void Aggregate::BindDistinctMetaData() {
  if (isDistinctHandled_) DescribeDistinctValue(sourceDataType_, sourceDataSize_);
}

void Aggregate::DistinctInitialize() {
  if (!isDistinctHandled_) return;
  if (distinctValues_ != nullptr) {
    distinctGroup_ = distinctValues_->OpenGroup();
    return;
  }
  std::memset(tempField_.data(), 0, tempFieldClearBytes_);
  if (sorter_ == nullptr) MakeDistinctSorter();
  sorter_->BeginInput();
  recentValues_.Forget();
}

void Aggregate::DescribeMovedFields(const XeRecordMetaData& input, const UInt16Vector& columns,
                                    XeRecordMetaData& row) {
  int position = row.GetFieldCount();
  row.SetFieldCount(position + static_cast<int>(columns.size()));
  for (const uint16 column : columns) {
    const XeFieldDescriptor& field = *input.GetFieldDescriptor(column);
    // A field that becomes a key says by itself how wide its text is: keys do not see the record.
    const bool narrow = IsNarrowText(field, input);
    row.DescribleField(
        position++, field.GetDataType(), field.GetLength(), true, field.GetScale(),
        field.GetCodePage(), field.GetFieldName(), {},
        narrow ? SUXeDataTypeUtility::kOverrideAsNarrowCode : field.GetUnicodeProperty());
  }
}

void Aggregate::DescribeTempField(XeDataType type, uint32 dataSize) {
  tempRecordMetadata_.SetFieldCount(1);
  tempRecordMetadata_.DescribleField(
      0, type, GetDeclaredLength(type, dataSize, tempRecordMetadata_.IsUnicodeRecord()), false, 0,
      0, XeRecordMetaData::exprFieldName_, {});
}

void Aggregate::DescribeDistinctValue(XeDataType type, uint32 dataSize) {
  DescribeTempField(type, dataSize);
  tempRecordMetadata_.GenerateAlignedFieldOffset();
  distinctKeys_ = KeySet();
  distinctComparison_ = KeyDesc::GetCharComparisonType();
  distinctKeys_.Add(
      KeyDesc(*tempRecordMetadata_.GetFieldDescriptor(0), kAscending, distinctComparison_));
  distinctSettings_ = Settings::Current();
  tempField_.ReserveUnset(tempRecordMetadata_.GetBinaryRecordSize());
  // Of a value of varying length only what it uses is filled and read.
  tempFieldUnit_ = GetVaryingUnit(type, tempRecordMetadata_.IsUnicodeRecord());
  tempFieldClearBytes_ =
      tempFieldUnit_ != 0
          ? tempRecordMetadata_.GetFieldDescriptor(0)->GetDataOffset() + kLongVarPrefix
          : tempRecordMetadata_.GetBinaryRecordSize();
  MakeDistinctSorter();
}

void Aggregate::MakeDistinctSorter() {
  tempFieldOffset_ = tempRecordMetadata_.GetFieldDescriptor(0)->GetDataOffset();
  sorter_ = std::make_unique<SqrtSorter>(tempRecordMetadata_.GetBinaryRecordSize(), opTimer_,
                                         /*removeDuplicates=*/true, /*keepInputOrder=*/true,
                                         distinctSettings_);
  sorter_->SetRowIdSorterMetadata(distinctKeys_, tempRecordMetadata_);
}

void Aggregate::RequireSorter() const {
  if (sorter_ == nullptr) {
    XeLogicError("a DISTINCT aggregate is driven after Finalize and before the next Initialize");
  }
}

bool Aggregate::HoldDistinctTogether(HeldMemory& memory) {
  distinctValues_ = std::make_unique<DistinctValues>(tempRecordMetadata_, distinctComparison_,
                                                     distinctSettings_, opTimer_, memory);
  sorter_.reset();
  return true;
}

const uint8* Aggregate::NextDistinctValue() { return distinctValues_->Next(distinctGroup_); }

void Aggregate::SortDistinctValue(const void* value, uint32 dataSize) {
  if (distinctValues_ != nullptr) {
    return distinctValues_->Add(distinctGroup_, static_cast<const uint8*>(value));
  }
  if (dataSize <= RecentValues::kMostBytes && recentValues_.Repeats(value, dataSize)) return;
  RequireSorter();
  std::memcpy(tempField_.data() + tempFieldOffset_, value,
              CountUsedBytes(value, dataSize, tempFieldUnit_));
  sorter_->SortRecord(tempField_.data());
}

void SingleResultAggregate::SetTargetDescriptor(XeRecordMetaData& target,
                                                unsigned short fieldIndex) {
  PlaceFirstResult(target, fieldIndex, resultDataType_);
}

void SingleResultAggregate::OutputText(unsigned char* record, const wchar_t* characters,
                                       uint32 length) const {
  constexpr std::size_t kCharacterBytes = sizeof(wchar_t);
  const std::size_t most = (targetFixedLenSize_ - kLongVarPrefix) / kCharacterBytes;
  length = std::min(length, static_cast<uint32>(most));
  std::memcpy(record + targetOffset_, &length, sizeof length);
  std::memcpy(record + targetOffset_ + kLongVarPrefix, characters, length * kCharacterBytes);
}

void BindGeneric(std::unique_ptr<Aggregate>& aggregate, XeRecordMetaData& input,
                 MetaDataInfo& info) {
  RExpression* replacement = nullptr;
  const auto takeReplacement = [&] {
    if (replacement != nullptr && replacement != aggregate.get())
      aggregate.reset(static_cast<Aggregate*>(replacement));
  };
  try {
    aggregate->Bind(input, replacement, info);
  } catch (...) {
    takeReplacement();
    throw;
  }
  takeReplacement();
}

std::unique_ptr<Aggregate> BindAggregate(std::unique_ptr<Aggregate> generic,
                                         XeRecordMetaData& input, XeRecordMetaData& target,
                                         unsigned short fieldIndex, MetaDataInfo& info) {
  try {
    BindGeneric(generic, input, info);
    generic->SetTargetDescriptor(target, fieldIndex);
  } catch (ErrorMessage& error) {
    error.SetSourcePosition(generic->GetSourcePosition());
    throw;
  }
  return generic;
}

}  // namespace sqxer
