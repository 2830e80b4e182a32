#pragma once

#include <utility>
#include <vector>

#include "WordSort.h"

namespace sqxer {

/// Sorts texts of one byte a character by code point, eight characters at a time: what they begin
/// with in common is read once.
class TextSort {
 public:
  /// Without the blanks that end it. Eight bytes behind it can be read.
  struct Text {
    const uint8* characters;
    uint32 length;
    /// Whose text it is.
    uint32 ordinal;
  };
  /// Of places, the second one beyond the last.
  using Range = std::pair<std::size_t, std::size_t>;

  /// Equal texts keep their order. Returns where such texts stand, in any order.
  /// `threads`: as WordSort has it.
  static std::vector<Range> Sort(RowArray<Text>& texts, bool descends, std::size_t threads);

 private:
  /// Texts that are equal so many characters deep.
  struct Part {
    std::size_t from;
    std::size_t to;
    uint32 depth;
  };

  TextSort(RowArray<Text>& texts, bool descends, std::size_t threads)
      : texts_(texts), descends_(descends), threads_(threads) {}
  void SortPart(Part part);
  void SortFew(const Part& part);
  /// How many characters all texts of a part begin with in common.
  uint32 FindDepth(const Part& part) const;

  RowArray<Text>& texts_;
  const bool descends_;
  const std::size_t threads_;
  /// What is still to be sorted.
  std::vector<Part> parts_;
  std::vector<Range> equals_;
};

}  // namespace sqxer
