#pragma once

#include <optional>
#include <vector>

#include "KeyWords.h"
#include "RowNumbers.h"
#include "SQXERExpression.h"
#include "TextSort.h"

namespace sqxer {

/// The rows of a table in memory, or those of them that pass a filter, in the order of their keys.
/// What is sorted are numbers that stand for the keys, and the row's number; whoever wants the
/// values of a row looks them up by that. Rows of equal keys keep their order.
///
/// Use: Begin, Add for one batch after the other, Sort, then the places from 0 on. As soon as Add
/// says no, or throws, the rows are to be sorted as records, which gives the same order.
class SortedRows {
 public:
  struct Key {
    /// Bound to the record of the table's scan; must outlive the order.
    RExpression* tree;
    XeDataType type;
    SortOrder_t order = kAscending;
    NullOrder_t nulls = kNullsLast;
  };
  /// How a place differs from the one before it.
  enum Start : uint8 { kTie, kNewPeer, kNewGroup };

  /// The fields of the scan's record are the columns of `table` with these indexes.
  /// `groupKeys`: of an order with groups, how many of the first keys are theirs.
  SortedRows(const std::vector<Key>& keys, std::optional<std::size_t> groupKeys, const Table& table,
             const std::vector<uint16>& columns);

  /// Whether rows can be sorted by such keys.
  static bool CanTake(const std::vector<Key>& keys, const Table& table,
                      const std::vector<uint16>& columns);
  /// What it may take. Sorters grow with the square root of what they sort, from their first buffer
  /// on; this goes with the square of that, so that a small one keeps all small: 1 GiB with the
  /// buffer as it is by default, within four times the memory for groups.
  static uint64 GetMostBytes(uint64 groupMemory);

  /// How many threads may sort; one at first.
  void SetThreads(std::size_t threads) { threads_ = threads; }
  /// Only the first `count` rows of the order are wanted: 0 for all.
  void SetLimit(uint64 count) { limit_ = count; }
  /// The most bytes that it takes, unless even wide words leave many ties.
  uint64 CountBytes() const;
  void Begin();
  /// Adds the wanted rows of a batch whose first row has a number (from 0) in the table.
  bool Add(const BatchRows& rows, uint64 firstRow);
  void Sort();
  /// Of an order with groups, once it was sorted: only the first row of each stays.
  void KeepFirstOfGroups();
  /// Gives all memory back. Begin starts again.
  void Release();

  /// The most rows that there can be.
  uint64 GetMostRows() const { return mostRows_; }
  uint64 GetCount() const { return order_.size(); }
  /// The row at a place: its number (from 0) in the table, and which of those added it is, with a
  /// limit of those that were kept.
  uint64 GetRow(uint64 place) const { return rows_.Get(order_[place]); }
  uint32 GetOrdinal(uint64 place) const { return order_[place]; }
  /// Of an order with groups.
  Start GetStart(uint64 place) const { return starts_[place]; }

 private:
  struct BoundKey {
    RExpression* tree;
    KeyWords words;
  };
  /// How keys and ordinals are put into words: the keys' bits first.
  struct Packing {
    int rowBits = 0;
    /// Of the leading keys, and of them all. Less than a key has where there is no room.
    std::vector<int> bits;
    int keyBits = 0;
    /// How many keys the words decide; they begin to order by the next one.
    std::size_t decided = 0;
  };

  uint64 CountKeptRows() const;
  /// Whether the words of nearly all rows leave the order to texts that take long to compare.
  bool AreMostlyTied() const;
  /// Of the places whose words tie with those before them, about how many have other keys.
  template <class KeyAt>
  uint64 EstimateUndecided(const Packing& packing, KeyAt keyAt);
  void ReleaseKeys();
  /// Leaves of rows, whose first keys were added, those that may be among the wanted ones.
  void SelectCandidates(BatchRows& rows, uint64 firstRow);
  void DropBeyondLimit();
  Packing ChoosePacking(int wordBits) const;
  /// Sorts by the words, then what they leave open. False, and nothing done, where that would be
  /// more than `mostTies` rows.
  template <class Word>
  bool SortWords(const Packing& packing, uint64 mostTies);
  void SortTies(uint64 from, uint64 to, std::size_t firstKey);
  /// By a key of byte texts, then by those behind it.
  void SortByTexts(uint64 from, uint64 to, std::size_t key);
  /// `left`: where one key decides between places whose words tie, its words in the order.
  template <class KeyAt>
  void NoteStarts(const Packing& packing, const RowArray<uint64>& left, KeyAt keyAt);
  int Compare(std::size_t firstKey, std::size_t endKey, uint32 a, uint32 b);
  bool ComesFirst(uint32 a, uint32 b, std::size_t firstKey);

  std::vector<BoundKey> keys_;
  const std::optional<std::size_t> groupKeys_;
  const uint64 mostRows_;
  uint64 limit_ = 0;
  std::size_t threads_ = 1;
  /// With a limit: no row whose first key has a greater word is wanted, nor one with a text behind
  /// that of a row of the table which has this word.
  std::optional<uint64> worst_;
  uint64 worstRow_ = 0;
  std::vector<uint16> candidates_;
  /// Of the rows that were added.
  RowNumbers rows_;
  RowArray<uint32> order_;
  RowArray<Start> starts_;
};

}  // namespace sqxer
