#include "Utility/KeySet.h"

#include <concepts>
#include <type_traits>

#include "KeyForms.h"
#include "Utility/ErrorMessage.h"
#include "Utility/KeyHashes.h"
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

  /// Calls use(std::type_identity<Form>) for the types that are no texts and binaries; false for
  /// these.
  template <class Use>
  static bool WithPlainForm(XeDataType type, Use&& use) {
    switch (type) {
      case XeBitData:
      case XeBoolean:
      case XeUInt1Data:
        return use(std::type_identity<IntegerForm<uint8>>()), true;
      case XeInt1Data:
        return use(std::type_identity<IntegerForm<int8>>()), true;
      case XeInt2Data:
        return use(std::type_identity<IntegerForm<int16>>()), true;
      case XeUInt2Data:
        return use(std::type_identity<IntegerForm<uint16>>()), true;
      case XeInt4Data:
        return use(std::type_identity<IntegerForm<int32>>()), true;
      case XeUInt4Data:
        return use(std::type_identity<IntegerForm<uint32>>()), true;
      case XeFloatData:
        return use(std::type_identity<FloatForm<float32>>()), true;
      case XeDoubleData:
        return use(std::type_identity<FloatForm<float64>>()), true;
      case XeMoneyData:
      case XeNumericData:
      case XeDecimalData:
        return use(std::type_identity<NumberForm>()), true;
      case XeDateData:
        return use(std::type_identity<DateForm>()), true;
      case XeTimeData:
        return use(std::type_identity<TimeForm>()), true;
      case XeDateTimeData:
      case XeTimeStampData:
        return use(std::type_identity<DateTimeForm>()), true;
      case XeIntervalData:
        return use(std::type_identity<IntervalForm>()), true;
      default:
        return false;
    }
  }

  static void InstallFor(XeDataType type, KeyDesc& key) {
    if (WithPlainForm(type, [&]<KeyForm Form>(std::type_identity<Form>) { Install<Form>(key); })) {
      return;
    }
    switch (type) {
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
      default:
        ThrowUnsupported(type);
    }
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

void HashValues(const KeyDesc& key, const uint8* values, std::size_t count, uint64* hashes) {
  const auto hash = [&]<KeyForm Form>(std::type_identity<Form>) {
    for (std::size_t i = 0; i < count; ++i) {
      hashes[i] = Form::Hash(Form::Load(values + i * sizeof(typename Form::Value), 0));
    }
  };
  if (!KeyCompareFunctions::WithPlainForm(key.GetDataType(), hash))
    ThrowUnsupported(key.GetDataType());
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
