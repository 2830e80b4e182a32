#pragma once

#include <map>
#include <memory>
#include <vector>

#include "GatherPlaces.h"
#include "Table.h"

namespace sqxer {

/// Copies the texts of a column, or the codes of them, to other chunks. What it makes for the one
/// is of use for the next.
class GatheredTexts {
 public:
  /// `rows`: how many will be gathered in all.
  GatheredTexts(const Table& table, std::size_t column, uint64 rows)
      : table_(table), column_(column), rows_(rows) {}

  /// Form, values, offsets and dictionary of the rows; `kept` keeps what is made. There is a chunk
  /// that has some of them.
  void Gather(const GatherPlaces& places, ColumnVector& vector, KeptBuffers& kept);

 private:
  /// More entries of several dictionaries than this are written out as texts.
  static constexpr uint64 kMostEntries = uint64{1} << 16;
  /// Of a table whose rows are wanted so many times, each, the different texts are looked for, as
  /// long as there are no more of them than one for so many of the first rows, and than
  /// kMostEntries.
  static constexpr uint64 kRowsPerEncoded = 2;
  static constexpr uint64 kRowsPerText = 4;
  static constexpr uint64 kFirstRows = 1024;
  /// A table of so few rows is a dictionary itself, if each row is wanted so many times.
  static constexpr uint64 kMostShownRows = 4096;
  static constexpr uint64 kRowsPerShown = 4;

  const ColumnVector& In(std::size_t chunk) const { return table_.chunks[chunk].columns[column_]; }
  /// These are false where they do not apply.
  bool GatherCodes(const GatherPlaces& places, ColumnVector& vector, KeptBuffers& kept);
  bool ShowRows(const GatherPlaces& places, ColumnVector& vector, KeptBuffers& kept);
  /// Makes codes of texts of which there are few.
  bool GatherFew(const GatherPlaces& places, ColumnVector& vector, KeptBuffers& kept);
  bool EncodeRows();
  bool MergeDictionaries();
  void WriteTexts(const GatherPlaces& places, ColumnVector& vector, KeptBuffers& kept);

  const Table& table_;
  const std::size_t column_;
  const uint64 rows_;
  /// The column itself, and of the dictionaries of all chunks together the entries, once each.
  std::shared_ptr<const ColumnVector> shown_;
  std::shared_ptr<const ColumnVector> merged_;
  bool triedToMerge_ = false;
  /// The different texts of the table, and for each chunk those of its rows.
  std::shared_ptr<const ColumnVector> few_;
  bool triedToEncode_ = false;
  std::vector<std::vector<uint32>> codesOfRows_;
  /// Of each dictionary: the codes of its entries in `merged_`.
  std::map<const ColumnVector*, std::vector<uint32>> mergedCodes_;
};

}  // namespace sqxer
