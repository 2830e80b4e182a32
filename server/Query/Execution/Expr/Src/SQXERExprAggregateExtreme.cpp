#include "SQXERExprAggregateExtreme.h"

#include <cstdio>
#include <cstring>

#include "SQXERBatchFold.h"
#include "SQXERBatchStore.h"
#include "SQXERBatchTextCompare.h"
#include "Utility/ExecutionUtility.h"
#include "Utility/SUXeDataTypeUtility.h"

namespace sqxer {

namespace {

/// How a value compares with the one before it that it takes the place of.
constexpr int kWantedOfMax = 1;
constexpr int kWantedOfMin = -1;

constexpr std::size_t kNullOfState = 0;
constexpr std::size_t kSizeOfState = 1;
constexpr std::size_t kValueOfState = kSizeOfState + sizeof(uint32);

}  // namespace

ExtremeAggregate::ExtremeAggregate(UInt16Vector* aggregateColumns,
                                   UInt16Vector* controlBreakColumns,
                                   UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate)
    : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                            isCumulativeAggregate, false),
      valueOfState_(kValueOfState) {}

void ExtremeAggregate::BindExtreme(const XeRecordMetaData& input, const XeString& operatorName,
                                   RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  BindSource(input);
  RequireOrder(operatorName);
  const XeFieldDescriptor& field = GetSourceField(input);
  comparison_ = KeyDesc::GetCharComparisonType();
  keyDesc_ = KeyDesc(field, kAscending, comparison_);
  bufferSize_ = sourceDataSize_;
  ReserveKept(tempRow_, bufferSize_);
  resultDataType_ = sourceDataType_;
  DescribeResult(info, sourceDataType_, field.GetLength(), true, field.GetScale());
}

void ExtremeAggregate::Initialize(bool) { nullIndicator_ = true; }

RExprReturn ExtremeAggregate::ComputeExtreme(const unsigned char* record, int wanted,
                                             const char* operatorName) {
  if (IsSourceNull(record)) return kTrue;
  CheckFits(operatorName);
  const uint8* const value = record + sourceOffset_;
  if (nullIndicator_ || keyDesc_.CompareValues(value, tempRow_.data()) == wanted) Keep(value);
  return kTrue;
}

void ExtremeAggregate::Keep(const uint8* value) {
  std::memcpy(tempRow_.data(), value, CountSourceBytes(value));
  resultRecordDataSize_ = currentRecordDataSize_;
  nullIndicator_ = false;
}

void ExtremeAggregate::StopBeforeOverrun(const char* operatorName) const {
  std::fprintf(stderr, "%s writing past buffer end %d %d %d\n", operatorName,
               static_cast<int>(currentRecordDataSize_), static_cast<int>(bufferSize_),
               static_cast<int>(sourceDataSize_));
  XeLogicError("an aggregate would write past the end of its buffer");
}

void ExtremeAggregate::Output(unsigned char* record) {
  if (OutputNull(record, nullIndicator_)) return;
  OutputStoredValue(record, tempRow_.data(), resultRecordDataSize_);
}

uint32 ExtremeAggregate::TransferState(StateTransfer transfer, uint8* state) {
  return TransferKept(transfer, state, tempRow_.data(), bufferSize_, nullIndicator_,
                      resultRecordDataSize_);
}

bool ExtremeAggregate::OutputState(uint8* state, unsigned char* record) {
  return OutputRestored(*this, state, record);
}

bool ExtremeAggregate::TakesBatches() {
  if (SUXeDataTypeUtility::IsXeTextType(sourceDataType_)) return !IsSourceNarrow();
  return WithStoredType(sourceDataType_, [](auto) {});
}

bool ExtremeAggregate::AdmitsInput(const BatchVector* input, const BatchRows& rows) {
  if (input->isConstant && input->IsNull(0)) return true;
  const bool hasBounds = !input->isConstant && input->block != nullptr && input->block->hasBounds;
  // A NaN has a place in the order that the comparison of numbers does not know.
  const auto hasNoNaN = [&](const auto* values) {
    if (input->block != nullptr && input->block->hasBounds) return true;
    bool hasNaN = false;
    rows.ForEach([&](uint32 row) {
      const auto value = values[input->isConstant ? 0 : row];
      hasNaN = hasNaN || (value != value && !input->IsNull(row));
    });
    return !hasNaN;
  };
  switch (sourceDataType_) {
    case XeDateTimeData:
    case XeTimeStampData:
      return input->form == ColumnForm::kTimeStamp64;
    case XeFloatData:
      return hasBounds || hasNoNaN(input->As<float32>());
    case XeDoubleData:
      return hasBounds || hasNoNaN(input->As<float64>());
    default:
      return true;
  }
}

namespace {

/// The extreme of values of a form, kept in a state in the form of records. `Before` tells whether
/// a value takes the place of the one before it.
template <class Stored, class Value, class Before>
class ExtremeState {
 public:
  ExtremeState(const BatchVector& input, Before before) : input_(input), before_(before) {}
  void Load(const uint8*) { isAny_ = false; }
  void Add(uint32 row, bool isValue) {
    if (!isValue) return;
    const Stored value = input_.As<Stored>()[row];
    if (!isAny_ || before_(value, extreme_)) extreme_ = value;
    isAny_ = true;
  }
  /// Takes the first `count` rows, integers that are all there: of equal ones any counts, so that
  /// no row waits for the one before it.
  void AddAll(uint32 count) {
    const Stored* const values = input_.As<Stored>();
    Stored extreme = values[0];
    for (uint32 row = 1; row < count; ++row) {
      extreme = before_(values[row], extreme) ? values[row] : extreme;
    }
    extreme_ = extreme;
    isAny_ = true;
  }
  /// Takes the extreme of the rows from what is known of them. False where it is not known, or
  /// comes of the values that it is of but may be in rows that do not count.
  bool AddKnown(const BatchFold& fold, int wanted) {
    if constexpr (std::same_as<Stored, VelmarNumber>) return false;
    const auto bounds = KnownBounds<Stored>(input_);
    if (!bounds) return false;
    extreme_ = wanted > 0 ? bounds->greatest : bounds->least;
    // Bounds do not tell one zero from the other.
    if (std::floating_point<Stored> && extreme_ == Stored()) return false;
    isAny_ = true;
    const bool isWhole =
        fold.rows == nullptr && fold.count != 0 && fold.count == input_.block->rows;
    return isWhole || !Changes(fold.state, GetValue());
  }
  void Store(uint8* state) const {
    if (!isAny_) return;
    const Value value = GetValue();
    if (!Changes(state, value)) return;
    std::memcpy(state + kValueOfState, static_cast<const void*>(&value), sizeof value);
    StoreValue(state + kSizeOfState, uint32{sizeof value});
    state[kNullOfState] = 0;
  }

 private:
  Value GetValue() const {
    if constexpr (std::same_as<Value, Stored>) {
      return extreme_;
    } else if constexpr (std::same_as<Value, VelmarNumber>) {
      return VelmarNumber::FromScaled(extreme_, input_.scale);
    } else if constexpr (std::same_as<Value, XeDate>) {
      return FromDay32(extreme_);
    } else if constexpr (std::same_as<Value, XeTime>) {
      return FromTime64(extreme_);
    } else if constexpr (std::same_as<Value, XeDateTime>) {
      return FromTimeStamp64(extreme_);
    } else {
      return extreme_;
    }
  }
  bool Changes(const uint8* state, const Value& value) const {
    return state[kNullOfState] != 0 || before_(value, LoadValue<Value>(state + kValueOfState));
  }

  const BatchVector& input_;
  const Before before_;
  bool isAny_ = false;
  Stored extreme_{};
};

/// The same of texts.
class TextExtremeState {
 public:
  /// `kept` and `other` are room for texts; `size` is what a state says of its value's size.
  TextExtremeState(const BatchVector& input, bool isFixed, CharComparisonType_t comparison,
                   int wanted, XeString& kept, XeString& other, uint32 size)
      : input_(input),
        isFixed_(isFixed),
        compare_(ExecutionUtility::GetCharacterComparisonFunction(comparison)),
        wanted_(wanted),
        usesPrefixes_(comparison == kCompareCodePoints && input.form == ColumnForm::kText8),
        offsets_(usesPrefixes_ && input.offsetWidth == sizeof(uint32)
                     ? reinterpret_cast<const uint32*>(input.offsets)
                     : nullptr),
        kept_(kept),
        other_(other),
        size_(size) {}

  void Load(const uint8* state) {
    isAny_ = state[kNullOfState] == 0;
    isChanged_ = false;
    if (!isAny_) return;
    const uint8* const value = state + kValueOfState;
    kept_.resize(isFixed_ ? size_ / sizeof(wchar_t) : LoadValue<uint32>(value));
    std::memcpy(kept_.data(), isFixed_ ? value : value + kLongVarPrefix,
                kept_.size() * sizeof(wchar_t));
    if (isFixed_) CutFixed(kept_);
    FindPrefix();
  }
  void Add(uint32 row, bool isValue) {
    if (!isValue) return;
    const BatchText text = GetText(row);
    if (isAny_ && usesPrefixes_ && IsOutdone(text)) return;
    if (input_.form == ColumnForm::kText8) {
      other_.assign(text.characters, text.characters + text.length);
    } else {
      other_.assign(reinterpret_cast<const wchar_t*>(text.characters), text.length);
    }
    if (isFixed_) CutFixed(other_);
    if (isAny_ && compare_(nullptr, AsReference(other_), AsReference(kept_)) != wanted_) return;
    kept_.swap(other_);
    FindPrefix();
    row_ = row;
    isAny_ = isChanged_ = true;
  }
  void Store(uint8* state) const {
    if (!isChanged_) return;
    WithBatchStore(input_, isFixed_ ? XeCharData : XeLongVarCharData,
                   size_ / uint32{sizeof(wchar_t)},
                   [&](auto store) { store(row_, state + kValueOfState); });
    StoreValue(state + kSizeOfState, size_);
    state[kNullOfState] = 0;
  }

 private:
  /// A fixed text ends at its first zero character.
  static void CutFixed(XeString& text) { text.resize(std::min(text.find(L'\0'), text.size())); }
  /// Of a column's texts without a call.
  BatchText GetText(uint32 row) const {
    if (offsets_ == nullptr) return input_.GetText(row);
    return {input_.values + offsets_[row], offsets_[row + 1] - offsets_[row]};
  }
  static RefLongVarChar AsReference(XeString& text) {
    return {static_cast<uint32>(text.size()), text.data()};
  }
  /// The first characters as a number that sorts as they do.
  void FindPrefix() {
    prefix_ = 0;
    const std::size_t length = kept_.find_last_not_of(L' ') + 1;
    for (std::size_t i = 0; i < kTextPrefixLength; ++i) {
      const auto character = i < length ? static_cast<uint32>(kept_[i]) : 0;
      // Greater ones are no characters of one byte, and sort behind them all.
      prefix_ = prefix_ << 8 | std::min(character, 0xFFu);
    }
  }
  /// Whether the first characters tell that the text does not take the place of the one kept.
  bool IsOutdone(const BatchText& text) const {
    if (text.length == 0 || text.characters[text.length - 1] == ' ') return false;
    const uint64 prefix = FindTextPrefix(text.characters, text.length);
    return wanted_ > 0 ? prefix < prefix_ : prefix > prefix_;
  }

  const BatchVector& input_;
  const bool isFixed_;
  const CharCompareFunc_t compare_;
  const int wanted_;
  const bool usesPrefixes_;
  const uint32* const offsets_;
  XeString& kept_;
  XeString& other_;
  const uint32 size_;
  bool isAny_ = false;
  bool isChanged_ = false;
  /// Of the text kept, when it is changed.
  uint32 row_ = 0;
  uint64 prefix_ = 0;
};

template <class Before>
void FoldFixed(XeDataType type, const BatchFold& fold, int wanted, Before before) {
  const BatchVector& input = *fold.input;
  const bool areAll = fold.state != nullptr && fold.rows == nullptr && fold.count != 0 &&
                      !input.isConstant && input.validity == nullptr;
  const auto foldStored = [&]<class Stored, class Value>(std::type_identity<Stored>,
                                                         std::type_identity<Value>) {
    using State = ExtremeState<Stored, Value, Before>;
    if (State known(*fold.input, before); fold.state != nullptr && known.AddKnown(fold, wanted)) {
      known.Store(fold.state);
    } else if (std::integral<Stored> && areAll) {
      State all(*fold.input, before);
      if constexpr (std::integral<Stored>) all.AddAll(fold.count);
      all.Store(fold.state);
    } else {
      FoldRows(fold, State(*fold.input, before));
    }
  };
  WithStoredType(type, [&]<class Value>(std::type_identity<Value> value) {
    if constexpr (HasOneBatchForm<Value>) {
      foldStored(std::type_identity<typename BatchFormOf<Value>::Stored>(), value);
    } else {
      if constexpr (std::same_as<Value, VelmarNumber>) {
        if (fold.input->form == ColumnForm::kNumber) return foldStored(value, value);
        if (fold.input->form == ColumnForm::kDecimal128) {
          return foldStored(std::type_identity<int128>(), value);
        }
      }
      foldStored(std::type_identity<int64>(), value);
    }
  });
}

}  // namespace

bool ExtremeAggregate::AdmitsStates(const BatchFold& fold) {
  const auto areNumbers = [&]<class T>(std::type_identity<T>) {
    return fold.AllOfStates([this](const uint8* state) {
      const auto kept = LoadValue<T>(state + valueOfState_);
      return state[kNullOfState] != 0 || kept == kept;
    });
  };
  if (sourceDataType_ == XeDoubleData) return areNumbers(std::type_identity<float64>());
  return sourceDataType_ != XeFloatData || areNumbers(std::type_identity<float32>());
}

void ExtremeAggregate::FoldExtreme(const BatchFold& fold, int wanted) {
  if (SUXeDataTypeUtility::IsXeTextType(sourceDataType_)) return FoldTexts(fold, wanted);
  if (wanted > 0) {
    FoldFixed(sourceDataType_, fold, wanted, [](const auto& a, const auto& b) { return a > b; });
  } else {
    FoldFixed(sourceDataType_, fold, wanted, [](const auto& a, const auto& b) { return a < b; });
  }
}

void ExtremeAggregate::FoldTexts(const BatchFold& fold, int wanted) {
  const bool isFixed = sourceDataType_ == XeCharData;
  TextExtremeState texts(*fold.input, isFixed, comparison_, wanted, keptText_, otherText_,
                         currentRecordDataSize_);
  // A fixed text ends at its first zero character, which bounds do not know.
  const bool mayBeKnown = fold.state != nullptr && fold.rows == nullptr && !isFixed &&
                          comparison_ == kCompareCodePoints;
  BatchRows rows;
  rows.count = fold.count;
  const auto known = mayBeKnown ? KnownTextRows(*fold.input, rows) : std::nullopt;
  if (!known) return FoldRows(fold, texts);
  texts.Load(fold.state);
  texts.Add(wanted > 0 ? known->greatest : known->least, true);
  texts.Store(fold.state);
}

void ExtremeAggregate::MergeExtreme(uint8* state, const uint8* later, int wanted) {
  if (later[kNullOfState] != 0) return;
  const uint32 bytes = TransferState(StateTransfer::kRestore, state);
  if (!nullIndicator_) {
    // Values of a state stand at any address.
    laterRow_.ReserveUnset(bufferSize_);
    const uint8* const value = later + kValueOfState;
    std::memcpy(laterRow_.data(), value, CountSourceBytes(value));
    if (keyDesc_.CompareValues(laterRow_.data(), tempRow_.data()) != wanted) return;
  }
  std::memcpy(state, later, bytes);
}

void Max::MergeState(uint8* state, const uint8* later) { MergeExtreme(state, later, kWantedOfMax); }

void Min::MergeState(uint8* state, const uint8* later) { MergeExtreme(state, later, kWantedOfMin); }

void Max::FoldBatch(const BatchFold& fold) { FoldExtreme(fold, kWantedOfMax); }

void Min::FoldBatch(const BatchFold& fold) { FoldExtreme(fold, kWantedOfMin); }

void Max::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  BindExtreme(input, L"Max", result, info);
}

RExprReturn Max::Compute(unsigned char* record, unsigned int) {
  return ComputeExtreme(record, kWantedOfMax, "MAX");
}

Aggregate* Max::GetSourceAggregator() { return MakeOverOwn<Max>(); }

Aggregate* Max::GetPartialsAggregator(UInt16Vector* partialColumns) {
  return MakeOver<Max>(partialColumns);
}

void Min::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  BindExtreme(input, L"Min", result, info);
}

RExprReturn Min::Compute(unsigned char* record, unsigned int) {
  return ComputeExtreme(record, kWantedOfMin, "MIN");
}

Aggregate* Min::GetSourceAggregator() { return MakeOverOwn<Min>(); }

Aggregate* Min::GetPartialsAggregator(UInt16Vector* partialColumns) {
  return MakeOver<Min>(partialColumns);
}

NullIfNotUnique::NullIfNotUnique(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                                 UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
                                 bool isNullOverNoRows)
    : Max(aggregateColumns, controlBreakColumns, distinctBreakColumns, isCumulativeAggregate),
      isNullOverNoRows_(isNullOverNoRows) {
  valueOfState_ += sizeof isFirstValue_;
}

void NullIfNotUnique::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  BindExtreme(input, L"NullIfNotUnique", result, info);
}

void NullIfNotUnique::Initialize(bool) {
  nullIndicator_ = isNullOverNoRows_;
  isFirstValue_ = true;
}

RExprReturn NullIfNotUnique::Compute(unsigned char* record, unsigned int) {
  if (IsSourceNull(record)) {
    nullIndicator_ = true;
  } else if (isFirstValue_) {
    CheckFits("NULLIFNOTUNIQUE");
    Keep(record + sourceOffset_);
  } else if (keyDesc_.CompareValues(record + sourceOffset_, tempRow_.data()) != 0) {
    nullIndicator_ = true;
  }
  isFirstValue_ = false;
  return kTrue;
}

uint32 NullIfNotUnique::TransferState(StateTransfer transfer, uint8* state) {
  return TransferKept(transfer, state, tempRow_.data(), bufferSize_, nullIndicator_,
                      resultRecordDataSize_, isFirstValue_);
}

bool NullIfNotUnique::OutputState(uint8* state, unsigned char* record) {
  return OutputRestored(*this, state, record);
}

bool NullIfNotUnique::TakesBatches() {
  return WithStoredType(sourceDataType_, [](auto) {});
}

void NullIfNotUnique::FoldBatch(const BatchFold& fold) {
  constexpr std::size_t kIsFirstOfState = kValueOfState;
  const BatchVector& input = *fold.input;
  WithStoredType(sourceDataType_, [&]<class T>(std::type_identity<T>) {
    fold.ForEach([&](uint32 index, uint32 row, bool isValue) {
      uint8* const state = fold.StateOf(index);
      if (!isValue) {
        state[kNullOfState] = 1;
      } else {
        // NOLINTNEXTLINE(clang-analyzer-core.NonNullParamChecker): of a column, never of none
        const T value = ReadBatchValue<T>(input, row);
        if (state[kIsFirstOfState] != 0) {
          std::memcpy(state + valueOfState_, static_cast<const void*>(&value), sizeof value);
          StoreValue(state + kSizeOfState, uint32{sizeof value});
          state[kNullOfState] = 0;
        } else {
          const T kept = LoadValue<T>(state + valueOfState_);
          if (value < kept || kept < value) state[kNullOfState] = 1;
        }
      }
      state[kIsFirstOfState] = 0;
    });
  });
}

Aggregate* NullIfNotUnique::GetSourceAggregator() {
  return MakeOverOwn<NullIfNotUnique>(isNullOverNoRows_);
}

Aggregate* NullIfNotUnique::GetPartialsAggregator(UInt16Vector* partialColumns) {
  return MakeOver<NullIfNotUnique>(partialColumns, isNullOverNoRows_);
}

}  // namespace sqxer
