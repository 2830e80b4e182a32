#include "SQXERDistinctValues.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "Utility/HashMix.h"
#include "Utility/TrimmedText.h"
#include "Utility/XeAssert.h"

namespace sqxer {

/// How stored values of a type become keys and values again. ToKey is false for a value that has
/// no key.
struct DistinctValues::Form {
  XeDataType type;
  bool (*toKey)(const uint8* value, int scale, int64& key);
  void (*fromKey)(int64 key, int scale, uint8* value);
};

namespace {

/// A map of more bytes leaves the caches, and clearing it takes longer than a few values gain.
constexpr uint64 kMostMapBytes = uint64{8} << 20;
constexpr std::size_t kFirstSlots = 256;
/// A table of so many slots is looked up with the next places on their way to the cache.
constexpr std::size_t kLeastPrefetched = 8192;
constexpr std::size_t kTextUnit = 8;
constexpr std::size_t kTextBlockBytes = std::size_t{1} << 20;
constexpr uint32 kTextBlockUnits = kTextBlockBytes / kTextUnit;
constexpr std::size_t kMostTextBlocks = std::size_t{1} << 15;
constexpr uint64 kMostCodeBytes = uint64{1} << 20;

template <class T>
bool KeyOf(const uint8* stored, int scale, int64& key) {
  const T value = LoadValue<T>(stored);
  if constexpr (std::integral<T>) {
    key = value;
  } else if constexpr (std::floating_point<T>) {
    key = OrderedBits(value);
  } else if constexpr (std::same_as<T, XeDate>) {
    key = ToDay32(value);
  } else if constexpr (std::same_as<T, XeTime>) {
    key = ToTime64(value);
  } else if constexpr (std::same_as<T, XeDateTime>) {
    return TryTimeStamp64(value, key);
  } else {
    return value.TryScaled(scale, key);
  }
  return true;
}

template <class T>
void StoreKey(int64 key, int scale, uint8* stored) {
  static_cast<void>(scale);
  const auto value = [&]() -> T {
    if constexpr (std::integral<T>) {
      return static_cast<T>(key);
    } else if constexpr (std::floating_point<T>) {
      return static_cast<T>(FromOrderedBits(key));
    } else if constexpr (std::same_as<T, XeDate>) {
      return FromDay32(static_cast<int32>(key));
    } else if constexpr (std::same_as<T, XeTime>) {
      return FromTime64(key);
    } else if constexpr (std::same_as<T, XeDateTime>) {
      return FromTimeStamp64(key);
    } else {
      return VelmarNumber::FromScaled(key, scale);
    }
  }();
  std::memcpy(stored, static_cast<const void*>(&value), sizeof value);
}

/// Whether the values have to be looked at one by one for keys of a scale.
bool HasKeysByValue(const BatchVector& vector, int scale) {
  return vector.form == ColumnForm::kNumber || vector.form == ColumnForm::kDecimal128 ||
         (vector.form == ColumnForm::kDecimal64 && vector.scale != scale);
}

/// Calls use(values, keyOf) for the vectors whose values have keys in one way; false for others.
template <class Use>
bool WithKeys(const BatchVector& vector, int scale, Use&& use) {
  const auto whole = [](auto value) { return static_cast<int64>(value); };
  const auto real = [](auto value) { return OrderedBits(value); };
  if (HasKeysByValue(vector, scale)) return false;
  return WithNumberType(vector.form, [&]<class T>(std::type_identity<T>) {
    if constexpr (std::floating_point<T>) {
      use(vector.As<T>(), real);
    } else {
      use(vector.As<T>(), whole);
    }
  });
}

}  // namespace

DistinctValues::DistinctValues(const XeRecordMetaData& record, CharComparisonType_t comparison,
                               const SettingsRef& settings, OperatorTimer& timer,
                               HeldMemory& memory)
    : settings_(settings), timer_(timer), memory_(memory), sorted_(record.IsUnicodeRecord()) {
  static constexpr Form kForms[] = {
      {XeBoolean, &KeyOf<uint8>, &StoreKey<uint8>},
      {XeInt1Data, &KeyOf<int8>, &StoreKey<int8>},
      {XeUInt1Data, &KeyOf<uint8>, &StoreKey<uint8>},
      {XeInt2Data, &KeyOf<int16>, &StoreKey<int16>},
      {XeUInt2Data, &KeyOf<uint16>, &StoreKey<uint16>},
      {XeInt4Data, &KeyOf<int32>, &StoreKey<int32>},
      {XeUInt4Data, &KeyOf<uint32>, &StoreKey<uint32>},
      {XeFloatData, &KeyOf<float32>, &StoreKey<float32>},
      {XeDoubleData, &KeyOf<float64>, &StoreKey<float64>},
      {XeMoneyData, &KeyOf<VelmarNumber>, &StoreKey<VelmarNumber>},
      {XeNumericData, &KeyOf<VelmarNumber>, &StoreKey<VelmarNumber>},
      {XeDecimalData, &KeyOf<VelmarNumber>, &StoreKey<VelmarNumber>},
      {XeDateData, &KeyOf<XeDate>, &StoreKey<XeDate>},
      {XeTimeData, &KeyOf<XeTime>, &StoreKey<XeTime>},
      {XeDateTimeData, &KeyOf<XeDateTime>, &StoreKey<XeDateTime>},
      {XeTimeStampData, &KeyOf<XeDateTime>, &StoreKey<XeDateTime>},
  };
  const XeFieldDescriptor& field = *record.GetFieldDescriptor(0);
  type_ = field.GetDataType();
  const auto* const form =
      std::ranges::find_if(kForms, [&](const Form& known) { return known.type == type_; });
  form_ = form == std::end(kForms) ? nullptr : form;
  usesMap_ = form_ != nullptr;
  isText_ = SUXeDataTypeUtility::IsXeTextType(type_) && comparison == kCompareCodePoints;

  sorted_.SetFieldCount(2);
  sorted_.DescribleField(0, XeUInt4Data, sizeof(uint32), false, 0, 0,
                         XeRecordMetaData::exprFieldName_, {});
  sorted_.DescribleField(1, type_, field.GetLength(), false, field.GetScale(), field.GetCodePage(),
                         XeRecordMetaData::exprFieldName_, {});
  sorted_.GenerateAlignedFieldOffset();
  valueBytes_ = XeRecordMetaData::GetByteLength(type_, field.GetLength(), record.IsUnicodeRecord());
  keys_.Add(KeyDesc(*sorted_.GetFieldDescriptor(0), kAscending, kCompareCodePoints));
  keys_.Add(KeyDesc(*sorted_.GetFieldDescriptor(1), kAscending, comparison));
  // What is never written of a value of fixed width is zero.
  record_ = std::make_unique<uint8[]>(sorted_.GetBinaryRecordSize());
  narrow_.reserve(1);
}

DistinctValues::~DistinctValues() { memory_.GiveBack(taken_); }

bool DistinctValues::TryTake(uint64 bytes) {
  if (!memory_.HasRoomFor(bytes)) return false;
  memory_.Take(bytes);
  taken_ += bytes;
  return true;
}

void DistinctValues::Add(uint32 group, const uint8* value) {
  if (form_ != nullptr) {
    if (scale_ < 0) scale_ = 0;
    int64 key;
    if (!form_->toKey(value, scale_, key)) return Sort(group, value);
    const uint64 place = static_cast<uint64>(key) - static_cast<uint64>(mapLeast_);
    if (usesMap_ && (place >= mapKeys_ || group >= mapGroups_) && !WidenMap({key, key})) {
      GiveUpMap();
    }
    return AddKey(group, key);
  }
  if (!isText_) return Sort(group, value);
  const bool isFixed = type_ == XeCharData;
  const uint8* const characters = isFixed ? value : value + kLongVarPrefix;
  const uint32 length = isFixed ? valueBytes_ / uint32{sizeof(wchar_t)} : LoadValue<uint32>(value);
  const TextBytes text = MakeText({characters, length}, ColumnForm::kText32);
  AddText(group, text, text.Hash());
}

void DistinctValues::AddKey(uint32 group, int64 key) {
  if (usesMap_) {
    map_[group * mapKeys_ + static_cast<uint64>(key - mapLeast_)] = 1;
    return;
  }
  MakeRoom();
  const std::size_t mask = slots_.size() - 1;
  std::size_t at = PlaceOf(group, key);
  while (slots_[at].group != 0) {
    if (slots_[at].key == key && slots_[at].group == group + 1) return;
    at = (at + 1) & mask;
  }
  slots_[at] = {key, group + 1, 0};
  ++used_;
  ++counts_[group];
}

void DistinctValues::AddText(uint32 group, const TextBytes& text, uint64 hash) {
  const auto key = static_cast<int64>(hash);
  const std::size_t bytes =
      (2 * sizeof(uint32) + text.count + kTextUnit - 1) / kTextUnit * kTextUnit;
  MakeRoom();
  const auto find = [&] {
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = PlaceOf(group, key);
    for (; slots_[at].group != 0; at = (at + 1) & mask) {
      if (slots_[at].key != key || slots_[at].group != group + 1) continue;
      if (TextOf(slots_[at].text) == text) break;
    }
    return &slots_[at];
  };
  Slot* slot = find();
  if (slot->group != 0) return;
  if (texts_.empty() || texts_.back().size() - textsEnd_ < bytes) {
    const std::size_t block = std::max(kTextBlockBytes, bytes);
    if (!TryTake(block) || texts_.size() == kMostTextBlocks) {
      if (used_ == 0) return SortText(group, text);
      Spill();
      return AddText(group, text, hash);
    }
    texts_.emplace_back(block);
    textsEnd_ = 0;
  }
  uint8* const kept = texts_.back().data() + textsEnd_;
  StoreValue(kept, text.count);
  StoreValue(kept + sizeof(uint32), uint32{text.isWide});
  std::memcpy(kept + 2 * sizeof(uint32), text.bytes, text.count);
  const auto place =
      static_cast<uint32>((texts_.size() - 1) * kTextBlockUnits + textsEnd_ / kTextUnit);
  textsEnd_ += bytes;
  *slot = {key, group + 1, place};
  ++used_;
  ++counts_[group];
}

TextBytes DistinctValues::TextOf(uint32 place) const {
  const uint8* const kept =
      texts_[place / kTextBlockUnits].data() + std::size_t{place % kTextBlockUnits} * kTextUnit;
  return {kept + 2 * sizeof(uint32), LoadValue<uint32>(kept),
          LoadValue<uint32>(kept + sizeof(uint32)) != 0};
}

TextBytes DistinctValues::MakeText(BatchText text, ColumnForm form) {
  const auto count = [&](const auto* characters) {
    uint32 length = text.length;
    if (type_ == XeCharData) {
      length = static_cast<uint32>(std::find(characters, characters + length, 0) - characters);
    }
    return TrimmedLength(characters, length);
  };
  const uint32 length = form == ColumnForm::kText8
                            ? count(text.characters)
                            : count(reinterpret_cast<const uint32*>(text.characters));
  return TextBytes::Of(text.characters, length, form, narrow_);
}

bool DistinctValues::Admits(const BatchVector& input, const BatchRows& rows) {
  hasBounds_ = false;
  if (input.isConstant && input.IsNull(0)) return true;
  if (IsTextForm(input.form)) return isText_ || (form_ == nullptr && input.dictionary != nullptr);
  if (form_ == nullptr) return false;
  if (input.form == ColumnForm::kNumber || IsScaled(input.form)) {
    if (scale_ < 0) scale_ = std::min<int>(input.scale, kMostScale64);
    if (HasKeysByValue(input, scale_)) return true;
    // It has no number of this scale with the other sign, and so no key.
    if (FindBounds<int64>(input, rows).least == std::numeric_limits<int64>::min()) return false;
  }
  return WithKeys(input, scale_, [&]<class T>(const T*, auto) {
    if constexpr (std::integral<T>) {
      if (!usesMap_) return;
      bounds_ = FindBounds<T>(input, rows);
      hasBounds_ = true;
    }
  });
}

void DistinctValues::AddBatch(const BatchFold& fold, uint32 placeOfGroup) {
  const BatchVector& input = *fold.input;
  if (input.isConstant && input.IsNull(0)) return;
  if (IsTextForm(input.form)) {
    return input.dictionary != nullptr ? AddCodes(fold, placeOfGroup)
                                       : AddTexts(fold, placeOfGroup);
  }
  if (HasKeysByValue(input, scale_)) {
    return fold.ForEach([&](uint32 index, uint32 row, bool isValue) {
      if (!isValue) return;
      const auto value = ReadBatchValue<VelmarNumber>(input, row);
      Add(LoadValue<uint32>(fold.StateOf(index) + placeOfGroup),
          reinterpret_cast<const uint8*>(&value));
    });
  }
  if (usesMap_ && !(hasBounds_ && WidenMap(bounds_))) GiveUpMap();
  int64 keys[kMostBatchRows];
  uint32 groups[kMostBatchRows];
  uint32 count = 0;
  WithKeys(input, scale_, [&](const auto* values, auto keyOf) {
    fold.ForEach([&](uint32 index, uint32 row, bool isValue) {
      keys[count] = keyOf(values[row]);
      groups[count] = LoadValue<uint32>(fold.StateOf(index) + placeOfGroup);
      count += isValue;
    });
  });
  if (usesMap_) {
    for (uint32 i = 0; i < count; ++i) {
      map_[groups[i] * mapKeys_ + static_cast<uint64>(keys[i] - mapLeast_)] = 1;
    }
    return;
  }
  if (slots_.size() >= kLeastPrefetched) {
    for (uint32 i = 0; i < count; ++i) Prefetch(&slots_[PlaceOf(groups[i], keys[i])]);
  }
  for (uint32 i = 0; i < count; ++i) AddKey(groups[i], keys[i]);
}

void DistinctValues::AddTexts(const BatchFold& fold, uint32 placeOfGroup) {
  const BatchVector& input = *fold.input;
  const auto groupOf = [&](uint32 index) {
    return LoadValue<uint32>(fold.StateOf(index) + placeOfGroup);
  };
  uint64 hashes[kMostBatchRows];
  const bool isNarrow = input.form == ColumnForm::kText8;
  const bool isAhead = isNarrow && slots_.size() >= kLeastPrefetched;
  if (isAhead) {
    fold.ForEach([&](uint32 index, uint32 row, bool isValue) {
      if (!isValue) return;
      const TextBytes text = MakeText(input.GetText(row), input.form);
      hashes[index] = text.Hash();
      Prefetch(&slots_[PlaceOf(groupOf(index), static_cast<int64>(hashes[index]))]);
    });
  }
  fold.ForEach([&](uint32 index, uint32 row, bool isValue) {
    if (!isValue) return;
    const TextBytes text = MakeText(input.GetText(row), input.form);
    const uint64 hash = isAhead ? hashes[index] : text.Hash();
    AddText(groupOf(index), text, hash);
  });
}

void DistinctValues::AddCodes(const BatchFold& fold, uint32 placeOfGroup) {
  const BatchVector& input = *fold.input;
  const uint64 entries = (*input.dictionary)->rows;
  if (dictionary_ != *input.dictionary) {
    dictionary_ = *input.dictionary;
    codes_.clear();
  }
  const uint64 wanted = std::bit_ceil(uint64{groups_}) * entries;
  if (wanted <= kMostCodeBytes && codes_.size() < wanted) codes_.resize(wanted);
  fold.ForEach([&](uint32 index, uint32 row, bool isValue) {
    if (!isValue) return;
    const auto group = LoadValue<uint32>(fold.StateOf(index) + placeOfGroup);
    const uint64 place = group * entries + input.GetCode(row);
    if (place < codes_.size()) {
      if (codes_[place] != 0) return;
      codes_[place] = 1;
    }
    const TextBytes text = MakeText(input.GetText(row), input.form);
    if (!isText_) return SortText(group, text);
    AddText(group, text, text.Hash());
  });
}

void DistinctValues::Merge(const DistinctValues& later, std::span<const uint32> groups) {
  if (scale_ < 0) scale_ = later.scale_;
  if (!later.map_.empty()) MergeMap(later, groups);
  if (later.slots_.empty()) return;
  if (usesMap_) GiveUpMap();
  constexpr std::size_t kAhead = 16;
  const std::vector<Slot, ScatteredAllocator<Slot>>& slots = later.slots_;
  for (std::size_t i = 0; i < slots.size(); ++i) {
    if (i + kAhead < slots.size() && slots[i + kAhead].group != 0 && !slots_.empty()) {
      const Slot& next = slots[i + kAhead];
      Prefetch(&slots_[PlaceOf(groups[next.group - 1], next.key)]);
    }
    const Slot& slot = slots[i];
    if (slot.group == 0) continue;
    const uint32 group = groups[slot.group - 1];
    if (isText_) {
      AddText(group, later.TextOf(slot.text), static_cast<uint64>(slot.key));
    } else {
      AddKey(group, slot.key);
    }
  }
}

void DistinctValues::MergeMap(const DistinctValues& later, std::span<const uint32> groups) {
  const uint8* const map = later.map_.data();
  const std::size_t keys = later.mapKeys_;
  const auto add = [&](std::size_t group, std::size_t first, std::size_t end, uint8* target) {
    for (std::size_t i = first; i < end; ++i) target[i - first] |= map[group * keys + i];
  };
  const std::size_t count = std::min<std::size_t>(groups.size(), later.mapGroups_);
  std::vector<uint8> all(keys);
  for (std::size_t group = 0; group < count; ++group) add(group, 0, keys, all.data());
  const auto first = static_cast<std::size_t>(std::ranges::find(all, uint8{1}) - all.begin());
  if (first == keys) return;
  std::size_t end = keys;
  while (all[end - 1] == 0) --end;
  const auto keyAt = [&](std::size_t i) { return later.mapLeast_ + static_cast<int64>(i); };
  if (usesMap_ && WidenMap({keyAt(first), keyAt(end - 1)})) {
    const auto place = static_cast<std::size_t>(keyAt(first) - mapLeast_);
    for (std::size_t group = 0; group < count; ++group) {
      add(group, first, end, map_.data() + groups[group] * mapKeys_ + place);
    }
    return;
  }
  if (usesMap_) GiveUpMap();
  later.ForEachInMap([&](uint32 group, int64 key) { AddKey(groups[group], key); });
}

bool DistinctValues::WidenMap(const ColumnBounds<int64>& bounds) {
  using Wide = int128;
  const Wide mapEnd = Wide{mapLeast_} + static_cast<Wide>(mapKeys_);
  if (mapKeys_ != 0 && groups_ <= mapGroups_ && bounds.least >= mapLeast_ &&
      bounds.greatest < mapEnd) {
    return true;
  }
  Wide least = bounds.least;
  Wide end = Wide{bounds.greatest} + 1;
  if (mapKeys_ != 0) {
    least = std::min<Wide>(least, mapLeast_);
    end = std::max(end, mapEnd);
  }
  if (end - least > static_cast<Wide>(kMostMapBytes)) return false;
  const uint64 keys = std::bit_ceil(static_cast<uint64>(end - least));
  const uint64 groups = std::bit_ceil(uint64{groups_});
  // What lies below the least key so far may go on that way.
  if (mapKeys_ != 0 && least < mapLeast_) {
    least = std::max<Wide>(end - static_cast<Wide>(keys), std::numeric_limits<int64>::min());
  }
  const uint64 bytes = keys * groups;
  if (bytes > kMostMapBytes || !TryTake(bytes - map_.size())) return false;
  Bytes wider(bytes);
  ForEachInMap([&](uint32 group, int64 key) {
    wider[group * keys + static_cast<uint64>(key - static_cast<int64>(least))] = 1;
  });
  map_.swap(wider);
  mapLeast_ = static_cast<int64>(least);
  mapKeys_ = keys;
  mapGroups_ = static_cast<uint32>(groups);
  return true;
}

template <class Use>
void DistinctValues::ForEachInMap(Use&& use) const {
  for (std::size_t at = 0; at < map_.size(); ++at) {
    // Most bytes of a wide map are zero.
    const void* const found = std::memchr(map_.data() + at, 1, map_.size() - at);
    if (found == nullptr) return;
    at = static_cast<std::size_t>(static_cast<const uint8*>(found) - map_.data());
    use(static_cast<uint32>(at / mapKeys_), mapLeast_ + static_cast<int64>(at % mapKeys_));
  }
}

void DistinctValues::GiveUpMap() {
  usesMap_ = false;
  Bytes map;
  map.swap(map_);
  for (std::size_t at = 0; at < map.size(); ++at) {
    if (map[at] != 0) {
      AddKey(static_cast<uint32>(at / mapKeys_), mapLeast_ + static_cast<int64>(at % mapKeys_));
    }
  }
  memory_.GiveBack(map.size());
  taken_ -= map.size();
}

std::size_t DistinctValues::PlaceOf(uint32 group, int64 key) const {
  return MixHash(kHashSeed + group, static_cast<uint64>(key)) & (slots_.size() - 1);
}

void DistinctValues::MakeRoom() {
  if (counts_.size() < groups_) counts_.resize(groups_);
  if (slots_.empty()) {
    // So many there are in any case.
    constexpr uint64 kBytes = kFirstSlots * sizeof(Slot);
    memory_.Take(kBytes);
    taken_ += kBytes;
    slots_.resize(kFirstSlots);
  }
  if (used_ < slots_.size() / 2) return;
  if (TryTake(slots_.size() * sizeof(Slot))) {
    GrowSlots(slots_.size() * 2);
  } else {
    Spill();
  }
}

void DistinctValues::GrowSlots(std::size_t slots) {
  decltype(slots_) old(slots);
  old.swap(slots_);
  const std::size_t mask = slots_.size() - 1;
  for (const Slot& slot : old) {
    if (slot.group == 0) continue;
    std::size_t at = PlaceOf(slot.group - 1, slot.key);
    while (slots_[at].group != 0) at = (at + 1) & mask;
    slots_[at] = slot;
  }
}

void DistinctValues::Spill() {
  uint8* const value = record_.get() + sorted_.GetFieldDescriptor(1)->GetDataOffset();
  for (Slot& slot : slots_) {
    if (slot.group == 0) continue;
    if (isText_) {
      SortText(slot.group - 1, TextOf(slot.text));
    } else {
      form_->fromKey(slot.key, scale_, value);
      Sort(slot.group - 1, value);
    }
    slot = Slot();
  }
  used_ = 0;
  for (const Bytes& block : texts_) {
    memory_.GiveBack(block.size());
    taken_ -= block.size();
  }
  texts_.clear();
}

void DistinctValues::Sort(uint32 group, const uint8* value) {
  if (sorter_ == nullptr) {
    sorter_ =
        std::make_unique<SqrtSorter>(sorted_.GetBinaryRecordSize(), timer_,
                                     /*removeDuplicates=*/true, /*keepInputOrder=*/true, settings_);
    sorter_->SetRowIdSorterMetadata(keys_, sorted_);
    sorter_->BeginInput();
  }
  uint8* const target = record_.get() + sorted_.GetFieldDescriptor(1)->GetDataOffset();
  StoreValue(record_.get() + sorted_.GetFieldDescriptor(0)->GetDataOffset(), group);
  if (target != value) {
    const bool isVarying = type_ != XeCharData && SUXeDataTypeUtility::IsXeTextType(type_);
    const uint32 bytes = isVarying
                             ? kLongVarPrefix + LoadValue<uint32>(value) * uint32{sizeof(wchar_t)}
                             : valueBytes_;
    std::memcpy(target, value, bytes);
  }
  sorter_->SortRecord(record_.get());
}

void DistinctValues::SortText(uint32 group, const TextBytes& text) {
  uint8* const value = record_.get() + sorted_.GetFieldDescriptor(1)->GetDataOffset();
  const bool isFixed = type_ == XeCharData;
  const uint32 length = text.GetLength();
  if (!isFixed) StoreValue(value, length);
  auto* const characters = reinterpret_cast<wchar_t*>(isFixed ? value : value + kLongVarPrefix);
  text.Widen(reinterpret_cast<uint8*>(characters));
  if (isFixed) std::fill(characters + length, characters + valueBytes_ / sizeof(wchar_t), L' ');
  Sort(group, value);
}

void DistinctValues::Finish() {
  isFinished_ = true;
  if (sorter_ != nullptr) {
    if (usesMap_) GiveUpMap();
    Spill();
    sorter_->EndInput();
    hasRecord_ = sorter_->GetRecord(record_.get());
  } else if (!usesMap_) {
    // The values themselves, in the order in which they are asked for.
    used_ =
        static_cast<std::size_t>(std::remove_if(slots_.begin(), slots_.end(),
                                                [](const Slot& slot) { return slot.group == 0; }) -
                                 slots_.begin());
    std::sort(slots_.begin(), slots_.begin() + static_cast<std::ptrdiff_t>(used_),
              [](const Slot& a, const Slot& b) {
                return a.group != b.group ? a.group < b.group : a.key < b.key;
              });
  }
}

uint32 DistinctValues::Count(uint32 group) {
  if (sorter_ == nullptr && usesMap_) {
    if (group >= mapGroups_) return 0;
    const auto first = map_.begin() + static_cast<std::ptrdiff_t>(group * mapKeys_);
    return static_cast<uint32>(
        std::count(first, first + static_cast<std::ptrdiff_t>(mapKeys_), uint8{1}));
  }
  if (sorter_ == nullptr) return group < counts_.size() ? counts_[group] : 0;
  uint32 count = 0;
  while (Next(group) != nullptr) ++count;
  return count;
}

const uint8* DistinctValues::Next(uint32 group) {
  if (!isFinished_) Finish();
  uint8* const value = record_.get() + sorted_.GetFieldDescriptor(1)->GetDataOffset();
  if (sorter_ != nullptr) {
    const auto groupOfRecord = [&] {
      return LoadValue<uint32>(record_.get() + sorted_.GetFieldDescriptor(0)->GetDataOffset());
    };
    // A group that is gone on with has had its value.
    if (next_ != 0 && group_ == group) hasRecord_ = sorter_->GetRecord(record_.get());
    while (hasRecord_ && groupOfRecord() < group) hasRecord_ = sorter_->GetRecord(record_.get());
    group_ = group;
    next_ = hasRecord_ && groupOfRecord() == group ? 1 : 0;
    return next_ != 0 ? value : nullptr;
  }
  if (usesMap_) {
    if (group >= mapGroups_) return nullptr;
    if (group_ != group) next_ = 0;
    group_ = group;
    const uint8* const first = map_.data() + group * mapKeys_;
    const void* const found = std::memchr(first + next_, 1, mapKeys_ - next_);
    if (found == nullptr) return nullptr;
    next_ = static_cast<std::size_t>(static_cast<const uint8*>(found) - first) + 1;
    form_->fromKey(mapLeast_ + static_cast<int64>(next_ - 1), scale_, value);
    return value;
  }
  while (next_ < used_ && slots_[next_].group <= group) ++next_;
  if (next_ == used_ || slots_[next_].group != group + 1) return nullptr;
  form_->fromKey(slots_[next_++].key, scale_, value);
  return value;
}

}  // namespace sqxer
