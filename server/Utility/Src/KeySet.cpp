#include "Utility/KeySet.h"

#include <concepts>

#include "KeyForms.h"
#include "Utility/ErrorMessage.h"
#include "Utility/Settings.h"

namespace sqxer {

namespace {

constexpr uint64 kNullHash = 0x6A09E667F3BCC909u;

[[noreturn]] void ThrowUnsupported(XeDataType type) {
  SUGThrow(ErrorMessage(59001, {L"Sort", SUXeDataTypeUtility::GetXeDataTypeName(type)}));
}

}  // namespace

/// The functions of one form as a key calls them.
struct KeyCompareFunctions {
  template <KeyForm Form>
  static Form FormOf([[maybe_unused]] const KeyDesc& key) {
    Form form{};
    if constexpr (std::derived_from<Form, LocaleOrder>) form.collator_ = key.collator_;
    return form;
  }
  template <KeyForm Form>
  static int Compare(const KeyDesc& key, const uint8* a, const uint8* b) {
    return FormOf<Form>(key).Compare(Form::Load(a, key.length_), Form::Load(b, key.length_));
  }
  template <KeyForm Form>
  static uint64 Prefix(const KeyDesc& key, const uint8* value) {
    return FormOf<Form>(key).Prefix(Form::Load(value, key.length_));
  }
  template <KeyForm Form>
  static uint64 Hash(const KeyDesc& key, const uint8* value) {
    return FormOf<Form>(key).Hash(Form::Load(value, key.length_));
  }

  template <KeyForm Form>
  static void Install(KeyDesc& key) {
    key.compare_ = &Compare<Form>;
    key.prefix_ = &Prefix<Form>;
    key.hash_ = &Hash<Form>;
    key.prefixExact_ = Form::kPrefixExact;
  }

  template <class Storage>
  static void InstallText(KeyDesc& key) {
    switch (key.comparison_) {
      case kCompareCodePoints:
        return Install<TextForm<Storage, CodePointOrder>>(key);
      case kCompareIgnoringCase:
        return Install<TextForm<Storage, FoldedOrder>>(key);
      case kCompareLocale:
        key.collator_ = Settings::Current()->GetCollator();
        return Install<TextForm<Storage, LocaleOrder>>(key);
    }
  }

  static void InstallFor(XeDataType type, KeyDesc& key) {
    switch (type) {
      case XeBitData:
      case XeBoolean:
      case XeUInt1Data:
        return Install<IntegerForm<uint8>>(key);
      case XeInt1Data:
        return Install<IntegerForm<int8>>(key);
      case XeInt2Data:
        return Install<IntegerForm<int16>>(key);
      case XeUInt2Data:
        return Install<IntegerForm<uint16>>(key);
      case XeInt4Data:
        return Install<IntegerForm<int32>>(key);
      case XeUInt4Data:
        return Install<IntegerForm<uint32>>(key);
      case XeFloatData:
        return Install<FloatForm<float32>>(key);
      case XeDoubleData:
        return Install<FloatForm<float64>>(key);
      case XeMoneyData:
      case XeNumericData:
      case XeDecimalData:
        return Install<NumberForm>(key);
      case XeDateData:
        return Install<DateForm>(key);
      case XeTimeData:
        return Install<TimeForm>(key);
      case XeDateTimeData:
      case XeTimeStampData:
        return Install<DateTimeForm>(key);
      case XeIntervalData:
        return Install<IntervalForm>(key);
      case XeCharData:
        return InstallText<FixedText>(key);
      case XeVarCharData:
      case XeLongVarCharData:
        return InstallText<VaryingText>(key);
      case XeBinaryData:
        return Install<BinaryForm<FixedBytes>>(key);
      case XeVarBinaryData:
      case XeLongVarBinaryData:
        return Install<BinaryForm<VaryingBytes>>(key);
      case XeObjectData:
      case XeUnknown:
      case XeMaxType:
        break;
    }
    ThrowUnsupported(type);
  }
};

KeyDesc::KeyDesc(const XeFieldDescriptor& field, SortOrder_t order, CharComparisonType_t comparison,
                 NullOrder_t nulls)
    : type_(field.GetDataType()),
      length_(field.GetLength()),
      dataOffset_(field.GetDataOffset()),
      nullOffset_(field.GetNullOffset()),
      order_(order),
      nulls_(nulls),
      comparison_(comparison) {
  // Text of one byte a character is in a code page that only the reader of its column knows.
  if (SUXeDataTypeUtility::IsXeTextType(type_) && !field.IsUnicode(true)) ThrowUnsupported(type_);
  KeyCompareFunctions::InstallFor(type_, *this);
}

KeyDesc KeyDesc::MovedTo(uint32 dataOffset, uint32 nullOffset, bool isReference) const {
  KeyDesc key = *this;
  key.dataOffset_ = dataOffset;
  key.nullOffset_ = nullOffset;
  key.isReference_ = isReference;
  return key;
}

CharComparisonType_t KeyDesc::GetCharComparisonType() {
  return Settings::Current()->GetCharComparisonType();
}

int KeyDesc::Compare(const uint8* recordA, const uint8* recordB) const {
  if (nullOffset_ != 0) {
    const bool nullA = recordA[nullOffset_] != 0;
    const bool nullB = recordB[nullOffset_] != 0;
    if (nullA || nullB) {
      if (nullA == nullB) return 0;
      return nullA == (nulls_ == kNullsFirst) ? -1 : 1;
    }
  }
  const int result = compare_(*this, ValueIn(recordA), ValueIn(recordB));
  return order_ == kAscending ? result : -result;
}

uint64 KeyDesc::Hash(const uint8* record) const {
  if (nullOffset_ != 0 && record[nullOffset_] != 0) return kNullHash;
  return hash_(*this, ValueIn(record));
}

int KeySet::Compare(const uint8* recordA, const uint8* recordB, std::size_t* differing) const {
  for (std::size_t i = 0; i < keys_.size(); ++i) {
    const int result = keys_[i].Compare(recordA, recordB);
    if (result != 0) {
      if (differing != nullptr) *differing = i;
      return result;
    }
  }
  return 0;
}

int KeySet::CompareFrom(std::size_t first, const uint8* recordA, const uint8* recordB) const {
  for (std::size_t i = first; i < keys_.size(); ++i) {
    const int result = keys_[i].Compare(recordA, recordB);
    if (result != 0) return result;
  }
  return 0;
}

uint64 KeySet::Hash(const uint8* record) const {
  if (keys_.size() == 1) return keys_[0].Hash(record);
  uint64 hash = kHashSeed;
  for (const KeyDesc& key : keys_) hash = MixHash(hash, key.Hash(record));
  return hash;
}

}  // namespace sqxer
