#pragma once

#include <memory>
#include <span>
#include <vector>

#include "SQXERBatchFold.h"
#include "SQXERDistinctPlaces.h"
#include "SQXERHeldMemory.h"
#include "SQXERTextBytes.h"
#include "Utility/HugePages.h"
#include "Utility/XeRecordMetaData.h"

namespace sqxer {

/// The rows of a few values that batches bring to all groups side by side, each once in a group, in
/// the order in which they first came, with how often they came. Equal are rows of the same bits,
/// or those that the order of values finds equal: then each is there once, while of the former,
/// where few come again, some may be there several times.
///
/// A value is held as one word: a number, a day or a moment as what vectors have of it, a text as
/// its number among the different ones. What grows does so within the memory that is allowed; who
/// owns this takes the rows out when there is no room for more.
class SQXEREXPR_API DistinctRows {
 public:
  /// Whether rows of the first fields of a layout can be held; `joinsEqual`: such that values that
  /// the order finds equal are one.
  static bool Takes(const XeRecordMetaData& layout, std::size_t fields, bool joinsEqual);
  /// The layout and `memory` must outlive this.
  DistinctRows(const XeRecordMetaData& layout, std::size_t fields, bool joinsEqual,
               HeldMemory& memory);
  ~DistinctRows();

  /// Whether AddBatch takes the rows of these columns; those with a NULL in one of the first
  /// `needed` columns do not count, and there must be none in the others.
  bool Admits(std::span<const BatchVector* const> columns, std::size_t needed,
              const BatchRows& rows);
  /// Takes in the rows of the batch that was admitted. The number of each row's group stands at the
  /// beginning of its state; the first row has the number `number`. Calls spill(), which is to take
  /// the rows out and Clear, where there is no room.
  template <class Spill>
  void AddBatch(const BatchFold& fold, uint64 number, Spill&& spill);

  std::size_t GetCount() const { return used_; }
  /// How many rows the group has.
  uint32 CountRows(uint32 group) const { return group < counts_.size() ? counts_[group] : 0; }
  /// Of a row, by its place in the order in which they came: its group, how often it came, and the
  /// number of the row with which it came first.
  uint32 GroupOf(std::size_t row) const { return static_cast<uint32>(At(row)[0] >> 32); }
  uint32 TimesOf(std::size_t row) const { return static_cast<uint32>(At(row)[0]); }
  uint64 NumberOf(std::size_t row) const { return At(row)[1]; }
  /// A row will be asked for.
  void Expect(std::size_t row) const { Prefetch(At(row)); }
  /// Writes the values to a record of the layout.
  void Store(std::size_t row, uint8* record) const;
  /// Forgets the rows. Texts are kept until MakeRoom, as a batch may still speak of them.
  void Clear();

  /// Whether texts have to go before another batch comes.
  bool NeedsRoom() const { return isFull_; }
  /// Forgets the rows and the texts.
  void MakeRoom();

  /// Whether the values of a field can be sorted as words.
  bool HasOrder(std::size_t field) const { return fields_[field].kind != Kind::kText; }
  /// The rows by their groups, and then by this field; equal ones in the order in which they came.
  /// False when there is no memory for that.
  bool TrySort(std::size_t field, bool descends, std::vector<uint32>& rows);
  bool AreEqual(std::size_t field, std::size_t row, std::size_t other) const {
    return OrderOf(field, row) == OrderOf(field, other);
  }

 private:
  enum class Kind : uint8 { kWhole, kReal, kDecimal, kText };
  struct Field {
    XeDataType type;
    Kind kind;
    uint32 offset;
    uint32 nullOffset;
    /// Of a decimal: that of all vectors; -1 before the first one.
    int scale = -1;
    /// Of a text: the numbers of the entries of a dictionary, and one; 0 for those that have not
    /// come.
    std::shared_ptr<const ColumnVector> dictionary;
    std::vector<uint32> codes;
  };
  /// A thing of an open table: the upper half of its hash, and its number and one, 0 for none.
  struct Slot {
    uint32 tag = 0;
    uint32 number = 0;
  };
  using Slots = std::vector<Slot, ScatteredAllocator<Slot>>;

  static bool FindKind(const XeFieldDescriptor& field, bool isWide, bool joinsEqual, Kind& kind);
  const uint64* At(std::size_t row) const { return rows_.data() + row * stride_; }
  /// The word of a field as a number that ascends with the value.
  uint64 OrderOf(std::size_t field, std::size_t row) const;
  static Slot* Find(Slots& slots, uint32 tag, auto&& isSame);
  bool TryTake(uint64 bytes);
  static void Widen(Slots& slots);
  bool ReadWords(std::size_t field, const BatchVector& column, const BatchRows& rows);
  bool ReadTexts(Field& field, const BatchVector& column, const BatchRows& rows, uint64* words);
  /// The number of a text and one; 0 when there is no room for it.
  uint32 NumberOfText(const TextBytes& text);
  /// Whether a row has come as often as can be counted: from then on it is another one. Where each
  /// is to be there once, it is not counted how often.
  static bool IsFull(uint64 head) { return static_cast<uint32>(head) == kMostTimes; }
  /// Whether there is room for another row.
  bool HasRoom();
  /// Of a row's group and words, which wordOf(field) tells.
  uint32 TagOf(uint32 group, auto&& wordOf) const;
  /// Makes the places reach the groups and the words of the batch that was admitted; false, for
  /// good, where they are too many: then the rows are found by their hashes.
  bool ReachPlaces(uint32 groups);
  void PlaceRows();
  template <class Spill>
  void AddToPlaces(const BatchFold& fold, const BatchFold& counting, uint64 number, Spill&& spill);
  template <class Spill>
  void Add(uint32 group, uint32 row, uint32 tag, uint64 number, Spill&& spill);
  /// Puts a row behind the others, for which there is room.
  void Append(uint32 group, uint32 row, uint64 number);
  /// After so many rows were looked for: whether few of them came again.
  void LookBack(uint32 looked, std::size_t usedBefore);

  static constexpr std::size_t kHead = 2;
  static constexpr uint32 kMostTimes = 0xFFFFFFFF;
  /// A table of so many slots is looked up with the next places on their way to the cache.
  static constexpr std::size_t kLeastPrefetched = 4096;

  HeldMemory& memory_;
  uint64 taken_ = 0;
  const bool joinsEqual_;
  std::vector<Field> fields_;
  const std::size_t stride_;

  Slots slots_;
  /// Instead of the slots, while the words are few.
  DistinctPlaces places_;
  bool usesPlaces_ = true;
  /// Of each row its group and how often it came, its number, and its words.
  std::vector<uint64, ScatteredAllocator<uint64>> rows_;
  std::size_t used_ = 0;
  std::size_t capacity_ = 0;
  /// Rows are no longer looked for.
  bool isAppending_ = false;
  std::vector<uint32> counts_;

  Slots textSlots_;
  std::vector<TextBytes> texts_;
  std::vector<std::vector<uint8, ScatteredAllocator<uint8>>> blocks_;
  std::size_t blockEnd_ = 0;
  std::vector<uint8> room_;
  bool isFull_ = false;

  /// Of the batch that was admitted: of each field a word a row, and the rows that count.
  std::vector<std::unique_ptr<uint64[]>> words_;
  std::vector<ColumnBounds<int64>> bounds_;
  BatchVector counting_;
  uint64 validity_[kMostBatchWords];
};

auto DistinctRows::Find(Slots& slots, uint32 tag, auto&& isSame) -> Slot* {
  const std::size_t mask = slots.size() - 1;
  for (std::size_t at = tag & mask;; at = (at + 1) & mask) {
    Slot& slot = slots[at];
    if (slot.number == 0 || (slot.tag == tag && isSame(slot.number - 1))) return &slot;
  }
}

template <class Spill>
void DistinctRows::Add(uint32 group, uint32 row, uint32 tag, uint64 number, Spill&& spill) {
  const std::size_t fields = fields_.size();
  const uint64 counts = joinsEqual_ ? 0 : 1;
  Slot* slot = Find(slots_, tag, [&](uint32 known) {
    const uint64* const kept = At(known);
    if (kept[0] >> 32 != group || IsFull(kept[0])) return false;
    for (std::size_t i = 0; i < fields; ++i) {
      if (kept[kHead + i] != words_[i][row]) return false;
    }
    return true;
  });
  if (slot->number != 0) {
    rows_[(slot->number - std::size_t{1}) * stride_] += counts;
    return;
  }
  if (used_ == capacity_) [[unlikely]] {
    if (!HasRoom()) spill();
    slot = Find(slots_, tag, [](uint32) { return false; });
  }
  Append(group, row, number);
  *slot = {tag, static_cast<uint32>(used_)};
}

uint32 DistinctRows::TagOf(uint32 group, auto&& wordOf) const {
  uint64 hash = kHashSeed + group;
  for (std::size_t i = 0; i < fields_.size(); ++i) hash = MixHash(hash, wordOf(i));
  return static_cast<uint32>(hash >> 32);
}

template <class Spill>
void DistinctRows::AddToPlaces(const BatchFold& fold, const BatchFold& counting, uint64 number,
                               Spill&& spill) {
  // Of the rows that count: which they are, and where they have their places.
  uint32 count = 0;
  uint16 rows[kMostBatchRows];
  uint16 indexes[kMostBatchRows];
  uint32 groups[kMostBatchRows];
  uint32 places[kMostBatchRows];
  uint32 lastGroup = 0;
  const bool areAll = fold.state != nullptr && fold.rows == nullptr &&
                      counting_.validity == nullptr && !counting_.isConstant;
  if (areAll) {
    count = fold.count;
    lastGroup = LoadValue<uint32>(fold.state);
    std::fill_n(groups, count, lastGroup);
  } else {
    counting.ForEach([&](uint32 index, uint32 row, bool isValue) {
      rows[count] = static_cast<uint16>(row);
      indexes[count] = static_cast<uint16>(index);
      groups[count] = LoadValue<uint32>(fold.StateOf(index));
      lastGroup = std::max(lastGroup, groups[count]);
      count += isValue ? 1 : 0;
    });
  }
  if (count == 0) return;
  if (!ReachPlaces(lastGroup + 1)) return AddBatch(fold, number, spill);
  std::copy_n(groups, count, places);
  for (std::size_t field = 0; field < fields_.size(); ++field) {
    const uint64* const words = words_[field].get();
    const DistinctPlaces::Span span = places_.GetSpan(field);
    const auto move = [&](auto rowOf) {
      for (uint32 i = 0; i < count; ++i) {
        places[i] = places[i] * span.count + static_cast<uint32>(words[rowOf(i)] - span.least);
      }
    };
    areAll ? move([](uint32 i) { return i; }) : move([&](uint32 i) { return rows[i]; });
  }
  for (uint32 i = 0; i < count; ++i) {
    const uint32 known = places_.At(places[i]);
    if (known != 0) [[likely]] {
      if (joinsEqual_) continue;
      uint64& head = rows_[(known - std::size_t{1}) * stride_];
      if (!IsFull(head)) [[likely]] {
        ++head;
        continue;
      }
    }
    if (used_ == capacity_ && !HasRoom()) spill();
    Append(groups[i], areAll ? i : rows[i], number + (areAll ? i : indexes[i]));
    places_.At(places[i]) = static_cast<uint32>(used_);
  }
}

inline void DistinctRows::Append(uint32 group, uint32 row, uint64 number) {
  uint64* const kept = rows_.data() + used_++ * stride_;
  kept[0] = uint64{group} << 32 | 1;
  kept[1] = number;
  for (std::size_t i = 0; i < fields_.size(); ++i) kept[kHead + i] = words_[i][row];
  if (group >= counts_.size()) counts_.resize(group + std::size_t{1});
  ++counts_[group];
}

template <class Spill>
void DistinctRows::AddBatch(const BatchFold& fold, uint64 number, Spill&& spill) {
  BatchFold counting = fold;
  counting.input = &counting_;
  if (capacity_ == 0) HasRoom();
  const auto groupOf = [&](uint32 index) { return LoadValue<uint32>(fold.StateOf(index)); };
  if (isAppending_) {
    counting.ForEach([&](uint32 index, uint32 row, bool isValue) {
      if (!isValue) return;
      if (used_ == capacity_ && !HasRoom()) spill();
      Append(groupOf(index), row, number + index);
    });
    return;
  }
  if (usesPlaces_) return AddToPlaces(fold, counting, number, spill);
  const std::size_t usedBefore = used_;
  uint32 tags[kMostBatchRows];
  const bool isAhead = slots_.size() >= kLeastPrefetched;
  const std::size_t mask = slots_.size() - 1;
  counting.ForEach([&](uint32 index, uint32 row, bool isValue) {
    if (!isValue) return;
    tags[index] = TagOf(groupOf(index), [&](std::size_t field) { return words_[field][row]; });
    if (isAhead) Prefetch(&slots_[tags[index] & mask]);
  });
  if (isAhead) {
    counting.ForEach([&](uint32 index, uint32, bool isValue) {
      if (!isValue) return;
      const Slot& slot = slots_[tags[index] & mask];
      if (slot.tag == tags[index] && slot.number != 0)
        Prefetch(rows_.data() + (slot.number - std::size_t{1}) * stride_);
    });
  }
  counting.ForEach([&](uint32 index, uint32 row, bool isValue) {
    if (isValue) Add(groupOf(index), row, tags[index], number + index, spill);
  });
  LookBack(fold.count, usedBefore);
}

}  // namespace sqxer
