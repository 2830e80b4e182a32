#pragma once

#include <bit>
#include <optional>
#include <vector>

#include "QueryPlan.h"
#include "SQXERBatch.h"
#include "Table.h"
#include "Utility/KeySet.h"
#include "WordSort.h"

namespace sqxer {

/// A text in the form that records have and keys compare.
class StoredText {
 public:
  /// `isFixed`: it ends at its first zero character.
  const uint8* Put(BatchText text, ColumnForm form, bool isFixed);

 private:
  std::vector<uint32> room_;
};

/// The values of one sort key, for many rows, as unsigned numbers that ascend in the order of the
/// key, direction and NULL included. Rows are counted by ordinals: in the order in which they come.
///
/// Numbers, days and times are exact: equal numbers are equal keys. So are the texts of a column
/// that has dictionaries, in every collation: each stands for its place among all of them. Of
/// other texts the number holds the beginning, of a column of decimals beyond 64 bits the nearest
/// double, and equal ones need CompareValues.
class KeyWords {
 public:
  struct Place {
    /// Null for a key that is computed. Must outlive the words.
    const Table* table = nullptr;
    uint16 column = 0;
  };
  /// `type`: of the values. Texts must be those of a column; so must decimals beyond 64 bits, which
  /// Add refuses otherwise.
  KeyWords(XeDataType type, SortOrder_t order, NullOrder_t nulls, Place place);

  /// Whether keys of a type may be numbers. Add has the last word.
  static bool CanTake(XeDataType type, const Place& place);

  void Begin(uint64 mostRows);
  /// Adds the wanted rows of a batch. False where they have no such number: nothing that was added
  /// is of any use then.
  bool Add(const BatchVector& vector, const BatchRows& rows);

  /// Whether it is known without a look at them that all values of a batch have greater words.
  bool AreBeyond(uint64 word, const BatchVector& vector) const;

  uint64 Get(uint64 ordinal) const { return words_[ordinal]; }
  /// Of the rows from an ordinal on.
  uint64* From(uint64 ordinal) { return words_.data() + ordinal; }
  void Resize(uint64 count) { words_.resize(count); }
  /// Gives the memory of the words back.
  void Release() { words_ = {}; }
  /// The word of NULL, which no value has.
  uint64 GetNull() const { return null_; }
  bool IsExact() const { return isExact_; }
  /// -1, 0 or 1 for the values of two rows of the table that are not NULL and have equal words.
  int CompareValues(uint64 rowA, uint64 rowB);

  /// Whether texts compare by their bytes, and have a byte for each character.
  bool HasByteTexts() const { return hasByteTexts_; }
  /// Of byte texts, what counts of that of a row of the table that is not NULL.
  BatchText FindByteText(uint64 row) const;
  bool Descends() const { return flip_ != 0; }

  /// How many bits tell the words apart.
  int CountBits() const { return std::bit_width(greatest_ - least_ + hasNull_); }
  /// Gives the leading `bits` of a word in CountBits bits.
  auto GetSqueezer(int bits) const {
    const uint64 first = null_ == 0 && hasNull_ ? 1 : 0;
    const uint64 null = null_ == 0 ? 0 : greatest_ - least_ + 1;
    return [nullWord = null_, null, base = least_ - first, dropped = CountBits() - bits](
               uint64 word) { return (word == nullWord ? null : word - base) >> dropped; };
  }

 private:
  /// Where texts have no place of their own among all of them.
  bool AddTexts(const BatchVector& vector, const BatchRows& rows, uint64* words);
  bool AddValues(const BatchVector& vector, const BatchRows& rows, uint64* words);
  template <class Value, class ToWord>
  void Fill(const BatchVector& vector, const BatchRows& rows, uint64* words, ToWord toWord) const;
  /// Where not all decimals of the column are 64-bit integers of one scale.
  bool AddDecimals(const BatchVector& vector, const BatchRows& rows, uint64* words);
  bool AddEntries(const BatchVector& vector, const BatchRows& rows, uint64* words);
  void RankEntries();
  bool NoteBounds(const BatchVector& vector, const BatchRows& rows, uint64* words);
  BatchText FindText(uint64 row, ColumnForm& form) const;
  int CompareTexts(uint64 rowA, uint64 rowB);
  /// Whether all chunks of the column have the form and the scale of the first one.
  bool IsOfForm(ColumnForm form) const;
  /// Of one byte a character, without what does not count.
  BatchText CutEnd(BatchText text) const;

  const XeDataType type_;
  const Place place_;
  const uint64 flip_;
  const uint64 null_;
  bool isText_;
  bool isExact_ = true;
  /// All decimals of the column are 128-bit integers of one scale.
  bool isWide_ = false;
  bool comparesCodePoints_ = false;
  bool hasByteTexts_ = false;
  /// Of stored texts.
  KeyDesc textKey_;
  StoredText stored_[2];
  /// The places of the entries of each chunk's dictionary, where all chunks have one.
  std::vector<std::vector<uint32>> ranks_;
  /// Of the first batch.
  std::optional<ColumnForm> form_;
  int16 scale_ = 0;
  RowArray<uint64> words_;
  uint64 least_ = 0;
  uint64 greatest_ = 0;
  bool hasNull_ = false;
  bool hasValue_ = false;
};

}  // namespace sqxer
