#pragma once

#include <limits>
#include <memory>
#include <span>
#include <vector>

#include "SQXERBatchFold.h"
#include "SQXERHeldMemory.h"
#include "SQXERTextBytes.h"
#include "Utility/HugePages.h"
#include "Utility/KeySet.h"
#include "Utility/OperatorTimer.h"
#include "Utility/SqrtSorter.h"

namespace sqxer {

/// The values of a DISTINCT aggregate in all groups side by side, each once in a group. Equal are
/// values that the sort key of their field finds equal.
///
/// Numbers, days and times are held as 64-bit keys that sort as they do: as one byte for each
/// possible value where these are few, else in a hash table, as are texts that compare by their
/// characters. Once the table may grow no more, what it holds goes to a sorter; values of other
/// kinds go there at once.
class SQXEREXPR_API DistinctValues {
 public:
  /// `record` has one field, of the values as Add takes them; `timer` and `memory` must outlive
  /// this.
  DistinctValues(const XeRecordMetaData& record, CharComparisonType_t comparison,
                 const SettingsRef& settings, OperatorTimer& timer, HeldMemory& memory);
  ~DistinctValues();

  /// The number of another group.
  uint32 OpenGroup() { return groups_++; }
  void Add(uint32 group, const uint8* value);
  /// Whether AddBatch takes the values; it is then to be called for this vector alone.
  bool Admits(const BatchVector& input, const BatchRows& rows);
  /// The number of each row's group stands in its state, so many bytes behind the beginning.
  void AddBatch(const BatchFold& fold, uint32 placeOfGroup);

  /// How many values Merge would take one by one, without end where it would not take them.
  uint64 CountToMerge() const {
    return sorter_ != nullptr ? std::numeric_limits<uint64>::max() : used_;
  }
  /// Whether Merge takes the values of another that is alike.
  bool AdmitsMerge(const DistinctValues& later) const {
    return later.sorter_ == nullptr && (scale_ < 0 || later.scale_ < 0 || scale_ == later.scale_);
  }
  /// Adds its values. `groups`: by the number of each group there, that of the group here.
  void Merge(const DistinctValues& later, std::span<const uint32> groups);

  // After the last value. Each group is asked for once, in the order of their numbers.

  uint32 Count(uint32 group);
  /// The next value of the group in ascending order, as stored, until the next call; null behind
  /// the last one.
  const uint8* Next(uint32 group);

 private:
  struct Form;
  /// A value of a group, or the hash of a text.
  struct Slot {
    int64 key = 0;
    /// Its number and one; 0 for a free slot.
    uint32 group = 0;
    /// Where a text stands among the texts, in units of 8 bytes.
    uint32 text = 0;
  };
  using Bytes = std::vector<uint8, ScatteredAllocator<uint8>>;

  void AddKey(uint32 group, int64 key);
  void AddText(uint32 group, const TextBytes& text, uint64 hash);
  /// The characters that count.
  TextBytes MakeText(BatchText text, ColumnForm form);
  TextBytes TextOf(uint32 place) const;
  void AddTexts(const BatchFold& fold, uint32 placeOfGroup);
  void AddCodes(const BatchFold& fold, uint32 placeOfGroup);
  void Sort(uint32 group, const uint8* value);
  void SortText(uint32 group, const TextBytes& text);
  /// Makes the map reach all groups and these keys; false when it would be too large.
  bool WidenMap(const ColumnBounds<int64>& bounds);
  void GiveUpMap();
  void MergeMap(const DistinctValues& later, std::span<const uint32> groups);
  template <class Use>
  void ForEachInMap(Use&& use) const;
  std::size_t PlaceOf(uint32 group, int64 key) const;
  /// There is room for another value.
  void MakeRoom();
  void GrowSlots(std::size_t slots);
  void Spill();
  void Finish();
  /// Room for `bytes` more, if the limit has it.
  bool TryTake(uint64 bytes);

  const Form* form_;
  XeDataType type_;
  uint32 valueBytes_;
  bool isText_ = false;
  /// Of decimals: every key is the number times ten to the power of it.
  int scale_ = -1;
  SettingsRef settings_;
  OperatorTimer& timer_;
  HeldMemory& memory_;
  uint64 taken_ = 0;
  uint32 groups_ = 0;

  /// A byte for each key from a least one on, of each group.
  Bytes map_;
  int64 mapLeast_ = 0;
  uint64 mapKeys_ = 0;
  uint32 mapGroups_ = 0;
  bool usesMap_;
  /// Of the batch that was admitted.
  bool hasBounds_ = false;
  ColumnBounds<int64> bounds_{};

  std::vector<Slot, ScatteredAllocator<Slot>> slots_;
  std::size_t used_ = 0;
  std::vector<uint32> counts_;
  /// The texts, each as its count of bytes, whether it is wide, and its bytes.
  std::vector<Bytes> texts_;
  std::size_t textsEnd_ = 0;
  std::vector<uint8> narrow_;
  /// Which codes of a dictionary have come, of each group.
  std::shared_ptr<const ColumnVector> dictionary_;
  Bytes codes_;

  /// A record of a group's number and a value.
  XeRecordMetaData sorted_;
  KeySet keys_;
  std::unique_ptr<uint8[]> record_;
  std::unique_ptr<SqrtSorter> sorter_;
  bool isFinished_ = false;
  /// What Next has come to: in the sorter, whether record_ has a value that is to come.
  bool hasRecord_ = false;
  uint32 group_ = 0;
  std::size_t next_ = 0;
};

}  // namespace sqxer
