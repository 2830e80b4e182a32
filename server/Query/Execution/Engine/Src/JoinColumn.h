#pragma once

#include <array>
#include <memory>
#include <unordered_map>
#include <vector>

#include "KeyWords.h"
#include "Table.h"

namespace sqxer {

/// One of the keys of a join, on both sides: gives the values as numbers of 64 bits. Where these
/// are exact, equal numbers are equal values and they order as signed ones; else they are hashes,
/// and AreEqual has the last word.
class JoinColumn {
 public:
  enum Side : std::size_t { kBuild, kProbe };
  struct Place {
    const Table* table;
    std::size_t column;
  };

  /// The tables must outlive it. The columns are of one type. `before`, which may be null, is one
  /// of the same build side: what its probe sides have asked for stays.
  JoinColumn(const Place& build, const Place& probe, const JoinColumn* before = nullptr);

  /// Goes on with another probe side. False where the build side's numbers would have to be others:
  /// then nothing of the probe side can be read.
  bool SetProbe(const Place& probe);

  bool IsExact() const { return way_ != Way::kHashes; }
  /// The numbers of `count` rows of a chunk, from `first` on in the chunk. Clears `joins` of those
  /// that equal nothing, and leaves the others; what stands in `words` there has no meaning.
  void Read(Side side, std::size_t chunk, uint64 first, uint32 count, uint64* words, uint8* joins);

  /// A row of a chunk, from 0.
  struct Row {
    std::size_t chunk;
    uint64 row;
  };
  /// Whether the values of two rows, which equal something, are equal.
  bool AreEqual(const Row& build, const Row& probe);

 private:
  enum class Way : uint8 {
    /// Integers, days and the like, floating point by OrderedBits, decimals of one scale.
    kWhole,
    /// Texts of dictionaries, by their place among all entries of the build side.
    kEntries,
    kHashes,
  };
  struct Part;
  using WordAt = uint64 (*)(const Part&, uint64 row);
  /// What the column is in a chunk.
  struct Part {
    const ColumnVector* vector = nullptr;
    /// Of decimals: what brings them to the scale of all.
    int64 factor = 1;
    /// Of the dictionary's entries: their numbers, or their hashes.
    std::shared_ptr<const std::vector<uint64>> entries;
    WordAt wordAt = nullptr;
  };

  /// Whether all values are whole numbers of 64 bits, of one scale; sets that of the parts.
  bool AreWhole();
  /// Whether those of one side are, brought to the scale.
  static bool IsWhole(std::vector<Part>& parts);
  bool FitsScale(std::vector<Part>& parts) const;
  /// Dictionaries of a side: their entries by the numbers of the build side, or by their hashes.
  template <class NumberOf>
  void MapEntries(Side side, NumberOf&& numberOf);
  void NumberEntries(Side side);
  void HashEntries(Side side);
  /// The number of a text; `adds` gives a new one its number.
  uint64 FindEntry(const ColumnVector& texts, uint64 row, bool adds);
  void Take(Side side, const Place& place);

  uint64 HashText(BatchText text, ColumnForm form);
  bool AreTextsEqual(BatchText a, ColumnForm formA, BatchText b, ColumnForm formB);
  uint64 HashValue(const ColumnVector& vector, uint64 row);

  const XeDataType type_;
  const bool isText_;
  bool comparesCodePoints_ = false;
  Way way_;
  /// Of decimals.
  int16 scale_ = 0;
  std::array<std::vector<Part>, 2> parts_;
  struct Entry {
    const ColumnVector* texts;
    uint64 entry;
  };
  std::vector<Entry> numbered_;
  std::unordered_multimap<uint64, uint64> numbersOfHashes_;
  /// Of values as records have them.
  KeyDesc key_;
  StoredText stored_[2];
  std::vector<uint8> narrowed_;
};

}  // namespace sqxer
