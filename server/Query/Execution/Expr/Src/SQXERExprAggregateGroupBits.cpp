#include "SQXERExprAggregateGroupBits.h"

#include "SQXERBatchFold.h"
#include "SQXERDistinctValues.h"

namespace sqxer {

void GroupBits::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  constexpr const wchar_t* kNames[] = {L"BitAnd", L"BitOr", L"BitXor"};
  const XeFieldDescriptor& field = GetSourceField(input);
  const wchar_t* const name = kNames[static_cast<int>(kind_)];
  const NumericInput& row = RequireNumericInput(field, name);
  if (row.computationType != XeInt4Data && row.computationType != XeNumericData)
    throwExecutionError(kTypeNotSupported, name, field.GetDataType(), XeUnknown);
  AggregateColumnVectors columns = TakeColumns();
  const auto make = [&]<class OfInt32, class OfNumber>(std::type_identity<OfInt32>,
                                                       std::type_identity<OfNumber>) {
    ReplaceBy(MakeNumericVariant<GroupBits, OfInt32, OfNumber>(
                  input, row, columns, isCumulativeAggregate_, isDistinctHandled_, kind_),
              result);
  };
  switch (kind_) {
    case Kind::kAnd:
      make(std::type_identity<GroupBitAndInt32>(), std::type_identity<GroupBitAndNumber>());
      break;
    case Kind::kOr:
      make(std::type_identity<GroupBitOrInt32>(), std::type_identity<GroupBitOrNumber>());
      break;
    case Kind::kXor:
      make(std::type_identity<GroupBitXorInt32>(), std::type_identity<GroupBitXorNumber>());
  }
  DescribeResult(info, row.computationType, 0, true);
}

Aggregate* GroupBits::GetSourceAggregator() {
  return MakeOverOwn<GroupBits>(isDistinctHandled_, kind_);
}

Aggregate* GroupBits::GetPartialsAggregator(UInt16Vector* partialColumns) {
  return MakeOver<GroupBits>(partialColumns, isDistinctHandled_, kind_);
}

/// A state: the bits, and whether there is no value.
template <class Bits, AccumulatorValue T>
class GroupBitsOf<Bits, T>::State {
 public:
  explicit State(const BatchVector& input) : input_(input) {}
  void Load(const uint8* state) {
    bits_ = LoadValue<int64>(state);
    isAny_ = false;
  }
  void Store(uint8* state) const {
    if (!isAny_) return;
    StoreValue(state, bits_);
    state[sizeof bits_] = 0;
  }

 protected:
  template <class Stored>
  void Take(uint32 row, bool isValue) {
    const auto value = static_cast<int64>(input_.As<Stored>()[row]);
    bits_ = Bits::Apply(bits_, isValue ? value : kNeutral);
    isAny_ |= isValue;
  }

 private:
  const BatchVector& input_;
  int64 bits_ = 0;
  bool isAny_ = false;
};

template <class Bits, AccumulatorValue T>
int64 GroupBitsOf<Bits, T>::BitsOf(const T& value) const {
  if constexpr (std::same_as<T, VelmarNumber>) {
    return WholeNumberOf(value, Bits::kName);
  } else {
    return value;
  }
}

template <class Bits, AccumulatorValue T>
void GroupBitsOf<Bits, T>::Initialize(bool) {
  bits_ = kNeutral;
  this->nullIndicator_ = true;
  this->DistinctInitialize();
}

template <class Bits, AccumulatorValue T>
RExprReturn GroupBitsOf<Bits, T>::Compute(unsigned char* record, unsigned int) {
  if (this->IsSourceNull(record)) return kTrue;
  const T value = this->ReadSource(record);
  if (this->isDistinctHandled_) [[unlikely]] {
    this->SortDistinctValue(&value, sizeof(T));
    return kTrue;
  }
  this->Calculate([&] { bits_ = Bits::Apply(bits_, BitsOf(value)); });
  this->nullIndicator_ = false;
  return kTrue;
}

template <class Bits, AccumulatorValue T>
RExprReturn GroupBitsOf<Bits, T>::Finalize() {
  if (!this->isDistinctHandled_) return kTrue;
  this->DrainDistinctValues([this](const uint8* value) {
    this->nullIndicator_ = false;
    this->Calculate([&] { bits_ = Bits::Apply(bits_, BitsOf(LoadValue<T>(value))); });
  });
  return kTrue;
}

template <class Bits, AccumulatorValue T>
void GroupBitsOf<Bits, T>::Output(unsigned char* record) {
  if (this->OutputNull(record, this->nullIndicator_)) return;
  // A target that is never NULL receives 0 of no values.
  const int64 bits = this->nullIndicator_ ? 0 : bits_;
  if constexpr (std::same_as<T, VelmarNumber>) {
    StoreValue(record + this->targetOffset_, VelmarNumber(bits));
  } else {
    StoreValue(record + this->targetOffset_, static_cast<T>(bits));
  }
}

template <class Bits, AccumulatorValue T>
uint32 GroupBitsOf<Bits, T>::TransferState(StateTransfer transfer, uint8* state) {
  if (this->distinctValues_ != nullptr)
    return this->TransferFields(transfer, state, this->distinctGroup_);
  if (this->isDistinctHandled_) return 0;
  return this->TransferFields(transfer, state, bits_, this->nullIndicator_);
}

template <class Bits, AccumulatorValue T>
bool GroupBitsOf<Bits, T>::AdmitsInput(const BatchVector* input, const BatchRows& rows) {
  if (this->distinctValues_ != nullptr) return this->distinctValues_->Admits(*input, rows);
  if (input->form == ColumnForm::kDecimal64) return input->scale == 0;
  return WithNumberType(input->form, []<class Stored>(std::type_identity<Stored>) {}) &&
         input->form != ColumnForm::kFloat32 && input->form != ColumnForm::kFloat64;
}

template <class Bits, AccumulatorValue T>
void GroupBitsOf<Bits, T>::FoldBatch(const BatchFold& fold) {
  if (this->distinctValues_ != nullptr) return this->distinctValues_->AddBatch(fold, 0);
  WithNumberType(fold.input->form, [&]<class Stored>(std::type_identity<Stored>) {
    if constexpr (std::integral<Stored>) {
      class OfStored : public State {
       public:
        using State::State;
        void Add(uint32 row, bool isValue) { this->template Take<Stored>(row, isValue); }
      };
      FoldRows(fold, OfStored(*fold.input));
    }
  });
}

template <class Bits, AccumulatorValue T>
void GroupBitsOf<Bits, T>::MergeState(uint8* state, const uint8* later) {
  // Of no values they are those that change nothing.
  StoreValue(state, Bits::Apply(LoadValue<int64>(state), LoadValue<int64>(later)));
  state[sizeof(int64)] &= later[sizeof(int64)];
}

template class GroupBitsOf<AndBits, int32>;
template class GroupBitsOf<AndBits, VelmarNumber>;
template class GroupBitsOf<OrBits, int32>;
template class GroupBitsOf<OrBits, VelmarNumber>;
template class GroupBitsOf<XorBits, int32>;
template class GroupBitsOf<XorBits, VelmarNumber>;

}  // namespace sqxer
