#include "JoinColumn.h"

#include <algorithm>
#include <bit>
#include <concepts>
#include <map>
#include <unordered_map>

#include "ColumnTexts.h"
#include "SQXERBatchLoops.h"
#include "TableBatch.h"
#include "Utility/HashMix.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "WorkRecord.h"

namespace sqxer {
namespace {

/// The number of an entry that the build side has not.
constexpr uint64 kNoEntry = ~uint64{0};

/// Eight bytes behind the text are read.
uint64 HashBytes(const uint8* characters, uint32 length) {
  uint64 hash = kHashSeed;
  for (uint32 at = 0; at < length; at += kTextPrefixLength) {
    hash = MixHash(hash, FindTextPrefix(characters + at, length - at));
  }
  return MixHash(hash, length);
}

/// The same; most texts are too short for a call to pay.
bool AreBytesEqual(const BatchText& a, const BatchText& b) {
  if (a.length != b.length) return false;
  for (uint32 at = 0; at < a.length; at += kTextPrefixLength) {
    const uint32 rest = a.length - at;
    if (FindTextPrefix(a.characters + at, rest) != FindTextPrefix(b.characters + at, rest)) {
      return false;
    }
  }
  return true;
}

template <class T>
uint64 WordOf(T value) {
  if constexpr (std::floating_point<T>) {
    return static_cast<uint64>(OrderedBits(value));
  } else {
    return static_cast<uint64>(static_cast<int64>(value));
  }
}

void ClearNulls(const ColumnVector& vector, uint64 first, uint32 count, uint8* joins) {
  const uint64* const bits = vector.validity;
  if (bits == nullptr) return;
  for (uint32 i = 0; i < count; ++i) {
    const uint64 row = first + i;
    joins[i] &= static_cast<uint8>(bits[row / 64] >> row % 64 & 1);
  }
}

/// Calls use(codes) with the codes of a vector as numbers of their width.
template <class Use>
auto WithCodes(const ColumnVector& vector, Use&& use) {
  if (vector.codeWidth == 1) return use(vector.values);
  if (vector.codeWidth == 2) return use(reinterpret_cast<const uint16*>(vector.values));
  return use(reinterpret_cast<const uint32*>(vector.values));
}

/// What of a code an array has; what stands at a NULL may have no entry.
uint64 EntryOf(const std::vector<uint64>& entries, uint64 code) {
  return code < entries.size() ? entries[code] : 0;
}

/// A value as records have it, of one of the types whose values are no numbers of 64 bits.
template <class Use>
auto WithStoredValue(XeDataType type, const ColumnVector& vector, uint64 row, Use&& use) {
  const BatchVector view = ViewOf(vector, row);
  if (type == XeNumericData) return use(ReadBatchValue<VelmarNumber>(view, 0));
  if (type == XeIntervalData) return use(ReadBatchValue<XeInterval>(view, 0));
  return use(ReadBatchValue<XeDateTime>(view, 0));
}

template <class T>
const uint8* BytesOf(const T& value) {
  return reinterpret_cast<const uint8*>(&value);
}

}  // namespace

JoinColumn::JoinColumn(const Place& build, const Place& probe, const JoinColumn* before)
    : type_(build.table->schema.columns[build.column].type),
      isText_(SUXeDataTypeUtility::IsXeTextType(type_)) {
  Take(kBuild, build);
  Take(kProbe, probe);
  const CharComparisonType_t comparison = KeyDesc::GetCharComparisonType();
  comparesCodePoints_ = comparison == kCompareCodePoints;
  const ColumnInfo& info = build.table->schema.columns[build.column];
  const WorkRecord record({isText_ ? ColumnInfo{L"key", XeLongVarCharData, 1, 0, false}
                                   : ColumnInfo{L"key", type_, info.length, info.scale, false}});
  key_ = KeyDesc(record.GetField(0), kAscending, comparison).MovedTo(0, 0, false);

  const bool stays = before != nullptr && before->way_ == Way::kHashes;
  if (before != nullptr) scale_ = before->scale_;
  if (isText_) {
    const auto haveDictionary = [](const std::vector<Part>& parts) {
      return std::ranges::all_of(parts, [](const Part& part) {
        return part.vector->rows == 0 || part.vector->dictionary != nullptr;
      });
    };
    way_ = !stays && std::ranges::all_of(parts_, haveDictionary) ? Way::kEntries : Way::kHashes;
    for (const Side side : {kBuild, kProbe}) {
      way_ == Way::kEntries ? NumberEntries(side) : HashEntries(side);
    }
  } else {
    way_ = !stays && AreWhole() ? Way::kWhole : Way::kHashes;
  }
}

void JoinColumn::Take(Side side, const Place& place) {
  parts_[side].clear();
  for (const TableChunk& chunk : place.table->chunks) {
    parts_[side].emplace_back().vector = &chunk.columns[place.column];
  }
}

bool JoinColumn::SetProbe(const Place& probe) {
  Take(kProbe, probe);
  if (way_ == Way::kWhole) return IsWhole(parts_[kProbe]) && FitsScale(parts_[kProbe]);
  if (isText_) way_ == Way::kEntries ? NumberEntries(kProbe) : HashEntries(kProbe);
  return true;
}

bool JoinColumn::IsWhole(std::vector<Part>& parts) {
  for (Part& part : parts) {
    if (part.vector->rows == 0) continue;
    const bool isNumber = WithNumberType(part.vector->form, [&]<class T>(std::type_identity<T>) {
      part.wordAt = [](const Part& of, uint64 row) {
        const uint64 word = WordOf(reinterpret_cast<const T*>(of.vector->values)[row]);
        return word * static_cast<uint64>(of.factor);
      };
    });
    if (!isNumber) return false;
  }
  return true;
}

bool JoinColumn::AreWhole() {
  for (std::vector<Part>& parts : parts_) {
    if (!IsWhole(parts)) return false;
    for (const Part& part : parts) {
      if (part.vector->rows != 0) scale_ = std::max(scale_, part.vector->scale);
    }
  }
  return std::ranges::all_of(parts_, [&](std::vector<Part>& parts) { return FitsScale(parts); });
}

bool JoinColumn::FitsScale(std::vector<Part>& parts) const {
  for (Part& part : parts) {
    const ColumnVector& vector = *part.vector;
    if (vector.rows == 0 || vector.form != ColumnForm::kDecimal64 || vector.scale == scale_) {
      continue;
    }
    if (vector.scale > scale_) return false;
    for (int i = vector.scale; i < scale_; ++i) {
      if (__builtin_mul_overflow(part.factor, int64{10}, &part.factor)) return false;
    }
    const int64 most = std::numeric_limits<int64>::max() / part.factor;
    const auto* const values = reinterpret_cast<const int64*>(vector.values);
    for (uint64 row = 0; row < vector.rows; ++row) {
      const bool fits = values[row] >= -most && values[row] <= most;
      if (!fits && !vector.IsNull(row)) return false;
    }
  }
  return true;
}

uint64 JoinColumn::FindEntry(const ColumnVector& texts, uint64 row, bool adds) {
  const BatchText text = TextAt(texts, row);
  const uint64 hash = HashText(text, texts.form);
  const auto [begin, end] = numbersOfHashes_.equal_range(hash);
  for (auto at = begin; at != end; ++at) {
    const Entry& known = numbered_[at->second];
    const BatchText other = TextAt(*known.texts, known.entry);
    if (AreTextsEqual(text, texts.form, other, known.texts->form)) return at->second;
  }
  if (!adds) return kNoEntry;
  numbersOfHashes_.emplace(hash, numbered_.size());
  numbered_.push_back({&texts, row});
  return numbered_.size() - 1;
}

template <class NumberOf>
void JoinColumn::MapEntries(Side side, NumberOf&& numberOf) {
  std::map<const ColumnVector*, std::shared_ptr<const std::vector<uint64>>> known;
  for (Part& part : parts_[side]) {
    if (part.vector->rows == 0 || part.vector->dictionary == nullptr) continue;
    const ColumnVector& texts = *part.vector->dictionary;
    auto& numbers = known[&texts];
    if (numbers == nullptr) {
      std::vector<uint64> found(texts.rows);
      for (uint64 i = 0; i < texts.rows; ++i) found[i] = numberOf(texts, i);
      numbers = std::make_shared<const std::vector<uint64>>(std::move(found));
    }
    part.entries = numbers;
  }
}

void JoinColumn::NumberEntries(Side side) {
  MapEntries(side, [&](const ColumnVector& texts, uint64 entry) {
    return FindEntry(texts, entry, side == kBuild);
  });
  for (Part& part : parts_[side]) {
    if (part.entries == nullptr) continue;
    part.wordAt = [](const Part& of, uint64 row) {
      return EntryOf(*of.entries, of.vector->GetCode(row));
    };
  }
}

void JoinColumn::HashEntries(Side side) {
  MapEntries(side, [&](const ColumnVector& texts, uint64 entry) {
    return HashText(TextAt(texts, entry), texts.form);
  });
}

void JoinColumn::Read(Side side, std::size_t chunk, uint64 first, uint32 count, uint64* words,
                      uint8* joins) {
  const Part& part = parts_[side][chunk];
  const ColumnVector& vector = *part.vector;
  ClearNulls(vector, first, count, joins);
  if (part.entries != nullptr) {
    const std::vector<uint64>& entries = *part.entries;
    WithCodes(vector, [&](const auto* codes) {
      for (uint32 i = 0; i < count; ++i) words[i] = EntryOf(entries, codes[first + i]);
    });
    if (way_ != Way::kEntries || side == kBuild) return;
    for (uint32 i = 0; i < count; ++i) joins[i] &= static_cast<uint8>(words[i] != kNoEntry);
  } else if (way_ == Way::kEntries) {
    // A probe side that came later, without a dictionary.
    for (uint32 i = 0; i < count; ++i) {
      if (joins[i] == 0) continue;
      words[i] = FindEntry(vector, first + i, false);
      joins[i] = static_cast<uint8>(words[i] != kNoEntry);
    }
  } else if (way_ == Way::kWhole) {
    WithNumberType(vector.form, [&]<class T>(std::type_identity<T>) {
      const T* const values = reinterpret_cast<const T*>(vector.values) + first;
      const auto factor = static_cast<uint64>(part.factor);
      for (uint32 i = 0; i < count; ++i) words[i] = WordOf(values[i]);
      if (factor != 1) {
        for (uint32 i = 0; i < count; ++i) words[i] *= factor;
      }
      if constexpr (std::floating_point<T>) {
        for (uint32 i = 0; i < count; ++i) joins[i] &= static_cast<uint8>(values[i] == values[i]);
      }
    });
  } else {
    for (uint32 i = 0; i < count; ++i) {
      if (joins[i] == 0) continue;
      words[i] =
          isText_ ? HashText(TextAt(vector, first + i), vector.form) : HashValue(vector, first + i);
    }
  }
}

uint64 JoinColumn::HashValue(const ColumnVector& vector, uint64 row) {
  return WithStoredValue(type_, vector, row,
                         [&](const auto& value) { return key_.Hash(BytesOf(value)); });
}

uint64 JoinColumn::HashText(BatchText text, ColumnForm form) {
  const bool isFixed = type_ == XeCharData;
  if (comparesCodePoints_) {
    if (form == ColumnForm::kText32) {
      // Equal texts have to have equal hashes whatever their forms.
      const auto* const wide = reinterpret_cast<const uint32*>(text.characters);
      if (std::any_of(wide, wide + text.length, [](uint32 c) { return c >= 0x100; })) {
        return key_.Hash(stored_[0].Put(text, form, isFixed));
      }
      narrowed_.resize(text.length + kTextPrefixLength);
      std::transform(wide, wide + text.length, narrowed_.begin(),
                     [](uint32 c) { return static_cast<uint8>(c); });
      text.characters = narrowed_.data();
    }
    if (isFixed) CutAtZero(text);
    TrimBlanks(text);
    return HashBytes(text.characters, text.length);
  }
  return key_.Hash(stored_[0].Put(text, form, isFixed));
}

bool JoinColumn::AreTextsEqual(BatchText a, ColumnForm formA, BatchText b, ColumnForm formB) {
  const bool isFixed = type_ == XeCharData;
  if (comparesCodePoints_ && formA == ColumnForm::kText8 && formB == ColumnForm::kText8) {
    if (isFixed) {
      CutAtZero(a);
      CutAtZero(b);
    }
    if (a.length != b.length) {
      TrimBlanks(a);
      TrimBlanks(b);
    }
    return AreBytesEqual(a, b);
  }
  return key_.CompareValues(stored_[0].Put(a, formA, isFixed), stored_[1].Put(b, formB, isFixed)) ==
         0;
}

bool JoinColumn::AreEqual(const Row& build, const Row& probe) {
  const Part& a = parts_[kBuild][build.chunk];
  const Part& b = parts_[kProbe][probe.chunk];
  if (IsExact()) {
    const bool isPlain = isText_ && b.entries == nullptr;
    const uint64 word = isPlain ? FindEntry(*b.vector, probe.row, false) : b.wordAt(b, probe.row);
    return a.wordAt(a, build.row) == word;
  }
  if (!isText_) {
    return WithStoredValue(type_, *a.vector, build.row, [&](const auto& left) {
      return WithStoredValue(type_, *b.vector, probe.row, [&](const auto& right) {
        return key_.CompareValues(BytesOf(left), BytesOf(right)) == 0;
      });
    });
  }
  const auto find = [](const Part& part, uint64 row, ColumnForm& form) {
    form = part.vector->form;
    const ColumnVector* const dictionary = part.vector->dictionary.get();
    return dictionary == nullptr ? TextAt(*part.vector, row)
                                 : TextAt(*dictionary, part.vector->GetCode(row));
  };
  ColumnForm formA;
  ColumnForm formB;
  const BatchText left = find(a, build.row, formA);
  const BatchText right = find(b, probe.row, formB);
  return AreTextsEqual(left, formA, right, formB);
}

}  // namespace sqxer
