#include <algorithm>
#include <limits>
#include <utility>

#include "EngineError.h"
#include "GroupBatch.h"
#include "RecordKeys.h"
#include "SQXERBatchLoops.h"

namespace sqxer {
namespace {

/// More combinations of codes than this are looked up as other keys are.
constexpr uint64 kMostCombinations = uint64{1} << 16;
/// More places than this have no numbers.
constexpr std::size_t kMostNumbered = std::size_t{1} << 16;
constexpr std::size_t kFirstValues = 1024;
/// Integers of a range of so many, at most, are looked up without a search, if the range has not
/// more numbers for each row than this.
constexpr uint64 kMostRange = uint64{1} << 24;
constexpr uint64 kRangePerRow = 8;
/// A table of so many bytes is nothing that memory is limited for.
constexpr uint64 kUncountedBytes = uint64{16} << 10;
/// A larger table is looked up with the next places on their way to the cache.
constexpr std::size_t kLeastPrefetched = 8192;

/// Puts the integers of a vector, of less than 64 bits, behind the bits that the values have.
void AppendIntegers(const BatchVector& key, uint32 count, uint64* values) {
  WithNumberType(key.form, [&]<class T>(std::type_identity<T>) {
    if constexpr (std::integral<T> && sizeof(T) < sizeof(uint64)) {
      const T* const stored = key.As<T>();
      const auto append = [&](auto at) {
        for (uint32 row = 0; row < count; ++row) {
          const auto bits = static_cast<std::make_unsigned_t<T>>(at(row));
          values[row] = values[row] << (sizeof(T) * 8) | bits;
        }
      };
      if (!key.isConstant) {
        append([stored](uint32 row) { return stored[row]; });
      } else {
        append([value = key.IsNull(0) ? T{} : stored[0]](uint32) { return value; });
      }
    }
  });
}

uint64 PlaceOf(int64 value) { return Scatter(static_cast<uint64>(value)); }

}  // namespace

void GroupBatch::FindByHash(const BatchRows& rows, uint64 firstRow) {
  if (table_.slots_.size() <= kLeastPrefetched) {
    return rows.ForEach([&](uint32 row) { Put(row, FindOrOpen(row, firstRow)); });
  }
  // The memory of all slots and then of all groups is waited for at once. Writing the keys again
  // costs less.
  uint64 hashes[kMostBatchRows];
  const auto slotOf = [&](uint32 row) {
    return &table_.slots_[hashes[row] & (table_.slots_.size() - 1)];
  };
  rows.ForEach([&](uint32 row) {
    WriteKeys(row);
    hashes[row] = table_.HashKeys();
    Prefetch(slotOf(row));
  });
  rows.ForEach([&](uint32 row) { Prefetch(slotOf(row)->group); });
  rows.ForEach([&](uint32 row) {
    WriteKeys(row);
    Put(row, AtRow(firstRow + row, [&] { return table_.FindOrOpen(hashes[row]); }));
  });
}

bool GroupBatch::FindByCodes(const BatchRows& rows, std::span<const BatchVector> keys,
                             uint64 firstRow) {
  uint64 combinations = 1;
  bool areKnown = dictionaries_.size() == keys.size();
  for (const BatchVector& key : keys) {
    if (key.dictionary == nullptr) return false;
    combinations *= (*key.dictionary)->rows + 1;
    if (combinations > kMostCombinations) return false;
    areKnown =
        areKnown && dictionaries_[static_cast<std::size_t>(&key - keys.data())] == *key.dictionary;
  }
  if (!areKnown) {
    dictionaries_.clear();
    for (const BatchVector& key : keys) dictionaries_.push_back(*key.dictionary);
    groupsOfCodes_ = MakePlaces(combinations);
  }
  uint32 combined[kMostBatchRows];
  std::fill_n(combined, rows.count, 0u);
  for (const BatchVector& key : keys) {
    const auto entries = static_cast<uint32>((*key.dictionary)->rows);
    const auto add = [&](const auto* codes) {
      uint32 places[kMostBatchRows];
      for (uint32 row = 0; row < rows.count; ++row) places[row] = codes[row];
      // What stands in the place of NULL is no code.
      ForEachNull(key, rows.count, [&](uint32 row) { places[row] = entries; });
      for (uint32 row = 0; row < rows.count; ++row) {
        combined[row] = combined[row] * (entries + 1) + places[row];
      }
    };
    if (key.codeWidth == 1) {
      add(key.values);
    } else if (key.codeWidth == 2) {
      add(key.As<uint16>());
    } else {
      add(key.As<uint32>());
    }
  }
  FindByPlaces(rows, combined, groupsOfCodes_,
               [&](uint32 row) { return FindOrOpen(row, firstRow); });
  return true;
}

GroupBatch::PlaceGroups GroupBatch::MakePlaces(std::size_t places) {
  PlaceGroups known;
  known.groups.resize(places);
  if (places <= kMostNumbered) known.numbers.assign(places, RowParts::kNoGroup);
  return known;
}

void GroupBatch::NumberPlaces(PlaceGroups& known) {
  for (std::size_t i = 0; i < known.numbers.size(); ++i) {
    const Group* const group = known.groups[i];
    if (group == nullptr || group->index >= RowParts::kMostGroups) continue;
    known.numbers[i] = static_cast<uint16>(group->index);
  }
}

bool GroupBatch::FindAmongFew(const BatchRows& rows, const uint32* places,
                              const PlaceGroups& known) {
  if (known.numbers.empty() || table_.groups_.size() > RowParts::kMostGroups) return false;
  const uint16* const numberOf = known.numbers.data();
  uint16* numbers = parts_.Numbers();
  rows.ForEach([&](uint32 row) { *numbers++ = numberOf[places[row]]; });
  isNumbered_ = parts_.Part(table_.groups_.size(), rows.selected, rows.GetWanted());
  return isNumbered_;
}

template <class Open>
void GroupBatch::FindByPlaces(const BatchRows& rows, const uint32* places, PlaceGroups& known,
                              Open&& open) {
  if (FindAmongFew(rows, places, known)) return;
  if (known.groups.size() > kLeastPrefetched) {
    // All at once, so that one does not wait for the memory of the other.
    rows.ForEach([&](uint32 row) { Prefetch(&known.groups[places[row]]); });
  }
  rows.ForEach([&](uint32 row) {
    Group*& group = known.groups[places[row]];
    if (group == nullptr) [[unlikely]] {
      group = open(row);
      if (group != nullptr && group->index < RowParts::kMostGroups && !known.numbers.empty()) {
        known.numbers[places[row]] = static_cast<uint16>(group->index);
      }
    }
    Prefetch(group);
    Put(row, group);
  });
}

bool GroupBatch::FindByValue(const BatchRows& rows, const BatchVector& key, uint64 firstRow) {
  if (key.isConstant) return false;
  if (forms_.size() != 1 || forms_[0] != key.form || scale_ != key.scale) {
    StartValues();
    forms_ = {key.form};
    scale_ = key.scale;
  }
  const auto ofNull = [this](uint32) -> Group*& { return groupOfNull_; };
  const auto whole = [](auto value) { return static_cast<int64>(value); };
  return WithNumberType(key.form, [&]<class T>(std::type_identity<T>) {
    if constexpr (std::floating_point<T>) {
      FindByValues<T>(rows, key, firstRow, OrderedBits, ofNull);
    } else {
      FindByValues<T>(rows, key, firstRow, whole, ofNull);
    }
  });
}

bool GroupBatch::FindBySeveral(const BatchRows& rows, std::span<const BatchVector> keys,
                               uint64 firstRow) {
  constexpr uint32 kBits = 64;
  uint32 bits = 0;
  for (const BatchVector& key : keys) {
    const bool isWhole = WithNumberType(key.form, [](auto) {}) &&
                         key.form != ColumnForm::kFloat32 && key.form != ColumnForm::kFloat64;
    bits += WidthOfForm(key.form) * 8;
    if (!isWhole || key.form == ColumnForm::kDecimal64 || bits > kBits) return false;
  }
  if (!std::ranges::equal(keys, forms_, {}, &BatchVector::form)) {
    StartValues();
    forms_.clear();
    for (const BatchVector& key : keys) forms_.push_back(key.form);
  }
  uint64 values[kMostBatchRows];
  std::fill_n(values, rows.count, uint64{0});
  BatchVector together;
  together.values = reinterpret_cast<const uint8*>(values);
  uint64 validity[kMostBatchWords];
  for (const BatchVector& key : keys) {
    AppendIntegers(key, rows.count, values);
    BatchVector both;
    IntersectValidity(together, key, rows, validity, both);
    together.validity = both.validity;
    together.isConstant = both.isConstant;
  }
  const auto same = [](int64 value) { return value; };
  FindByValues<int64>(rows, together, firstRow, same, [&](uint32 row) -> Group*& {
    uint64 nulls = 0;
    uint64 meant = 0;
    for (const BatchVector& key : keys) {
      const uint32 width = WidthOfForm(key.form) * 8;
      const bool isNull = key.IsNull(row);
      nulls = nulls << 1 | isNull;
      meant = meant << width | (isNull ? 0 : (uint64{1} << width) - 1);
    }
    const uint64 value = values[row] & meant;
    const auto known = groupsOfNulls_.find({nulls, value});
    if (known != groupsOfNulls_.end()) return known->second;
    if (!table_.MayOpen()) {
      // Known nowhere here, so that it must not count as known.
      groupOfNull_ = FindOrOpen(row, firstRow);
      return groupOfNull_;
    }
    constexpr uint64 kBytesOfPlace = 80;
    table_.memory_.Take(kBytesOfPlace);
    bytesOfValues_ += kBytesOfPlace;
    return groupsOfNulls_[{nulls, value}];
  });
  return true;
}

void GroupBatch::StartValues() {
  groupsOfValues_.assign(kFirstValues, ValueSlot());
  groupsInRange_ = {};
  table_.memory_.GiveBack(bytesOfValues_);
  bytesOfValues_ = 0;
  known_ = 0;
  groupOfNull_ = nullptr;
  groupsOfNulls_.clear();
}

GroupBatch::Group* GroupBatch::OpenValue(uint32 row, uint64 firstRow) {
  // Each value here has a group of its own: where all groups are known, one that is not is new.
  const bool isNew = known_ == table_.groups_.size();
  WriteKeys(row);
  Group* const group =
      AtRow(firstRow + row, [&] { return isNew ? table_.OpenNew() : table_.FindOrOpen(); });
  known_ += group != nullptr;
  return group;
}

template <class Stored>
bool GroupBatch::CoverRange(const BatchRows& rows, const BatchVector& key) {
  if constexpr (!std::integral<Stored>) {
    return false;
  } else {
    if (forms_.size() > 1) return false;
    using Wide = int128;
    const ColumnBounds<int64> bounds = FindBounds<Stored>(key, rows);
    const Wide end = Wide{rangeLeast_} + static_cast<Wide>(groupsInRange_.groups.size()) - 1;
    const bool isUsed = !groupsInRange_.groups.empty();
    if (isUsed && bounds.least >= rangeLeast_ && bounds.greatest < end) return true;
    // The values that are in the table stay there.
    if (!isUsed && known_ != 0) return false;
    const Wide least = isUsed ? std::min<Wide>(rangeLeast_, bounds.least) : bounds.least;
    const Wide newEnd = std::max<Wide>(isUsed ? end : least, Wide{bounds.greatest} + 1);
    const Wide most = static_cast<Wide>(
        std::min(kMostRange, std::max(kFirstValues, kRangePerRow * rows.source->GetChunkRows())));
    if (newEnd - least > most) return isUsed && LeaveRange();
    // As much again for what may come, and a place for NULL behind the last one.
    const auto values =
        static_cast<std::size_t>(isUsed ? std::min(most, 2 * (newEnd - least)) : newEnd - least);
    const Wide shift =
        isUsed && bounds.least < rangeLeast_
            ? std::max<Wide>(newEnd - static_cast<Wide>(values), std::numeric_limits<int64>::min())
            : least;
    const uint64 bytes = (values + 1) * sizeof(Group*);
    const uint64 more = bytes - std::min<uint64>(bytes, bytesOfValues_);
    if (bytes > kUncountedBytes && !table_.memory_.HasRoomFor(more)) return isUsed && LeaveRange();
    PlaceGroups wider = MakePlaces(values + 1);
    if (isUsed) {
      const auto& old = groupsInRange_.groups;
      std::copy(old.begin(), old.end() - 1,
                wider.groups.begin() + static_cast<std::ptrdiff_t>(rangeLeast_ - shift));
      wider.groups.back() = old.back();
      NumberPlaces(wider);
    }
    groupsInRange_ = std::move(wider);
    rangeLeast_ = static_cast<int64>(shift);
    table_.memory_.Take(more);
    bytesOfValues_ += more;
    return true;
  }
}

bool GroupBatch::LeaveRange() {
  const auto groups = std::exchange(groupsInRange_, {}).groups;
  table_.memory_.GiveBack(bytesOfValues_);
  bytesOfValues_ = 0;
  std::size_t values = 0;
  for (std::size_t i = 0; i + 1 < groups.size(); ++i) {
    if (groups[i] == nullptr) continue;
    if (++values > groupsOfValues_.size() / 2) GrowValues();
    *FindValue(rangeLeast_ + static_cast<int64>(i)) = {rangeLeast_ + static_cast<int64>(i),
                                                       groups[i]};
  }
  groupOfNull_ = groups.back();
  return false;
}

GroupBatch::ValueSlot* GroupBatch::FindValue(int64 value) {
  const std::size_t mask = groupsOfValues_.size() - 1;
  std::size_t at = PlaceOf(value) & mask;
  while (groupsOfValues_[at].group != nullptr && groupsOfValues_[at].value != value) {
    at = (at + 1) & mask;
  }
  return &groupsOfValues_[at];
}

template <class Stored, class ToValue, class OfNull>
void GroupBatch::FindByValues(const BatchRows& rows, const BatchVector& key, uint64 firstRow,
                              ToValue&& toValue, OfNull&& groupOfNull) {
  const Stored* const stored = key.As<Stored>();
  if (CoverRange<Stored>(rows, key)) {
    const std::size_t ofNull = groupsInRange_.groups.size() - 1;
    uint32 places[kMostBatchRows];
    for (uint32 row = 0; row < rows.count; ++row) {
      places[row] = static_cast<uint32>(static_cast<uint64>(toValue(stored[row])) -
                                        static_cast<uint64>(rangeLeast_));
    }
    ForEachNull(key, rows.count, [&](uint32 row) { places[row] = static_cast<uint32>(ofNull); });
    FindByPlaces(rows, places, groupsInRange_,
                 [&](uint32 row) { return OpenValue(row, firstRow); });
    return;
  }
  if (groupsOfValues_.size() > kLeastPrefetched) {
    rows.ForEach([&](uint32 row) {
      const std::size_t at = PlaceOf(toValue(stored[row]));
      Prefetch(&groupsOfValues_[at & (groupsOfValues_.size() - 1)]);
    });
  }
  rows.ForEach([&](uint32 row) {
    if (key.IsNull(row)) {
      Group*& group = groupOfNull(row);
      if (group == nullptr) group = OpenValue(row, firstRow);
      return Put(row, group);
    }
    const int64 value = toValue(stored[row]);
    ValueSlot* const slot = FindValue(value);
    Group* group = slot->group;
    if (group == nullptr) {
      group = OpenValue(row, firstRow);
      if (group != nullptr) {
        *slot = {value, group};
        if (known_ > groupsOfValues_.size() / 2) GrowValues();
      }
    }
    Prefetch(group);
    Put(row, group);
  });
}

void GroupBatch::GrowValues() {
  constexpr std::size_t kGrowth = 4;
  decltype(groupsOfValues_) old(groupsOfValues_.size() * kGrowth);
  old.swap(groupsOfValues_);
  const uint64 more = (groupsOfValues_.size() - old.size()) * sizeof(ValueSlot);
  table_.memory_.Take(more);
  bytesOfValues_ += more;
  for (const ValueSlot& slot : old) {
    if (slot.group != nullptr) *FindValue(slot.value) = slot;
  }
}

}  // namespace sqxer
