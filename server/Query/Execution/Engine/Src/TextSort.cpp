#include "TextSort.h"

#include <algorithm>
#include <cstring>

#include "SQXERBatchTextCompare.h"
#include "Utility/Cancellation.h"

namespace sqxer {
namespace {

/// So few texts are compared with each other.
constexpr std::size_t kFew = 24;
/// The bits of a word below the characters: how many of them there are, then the text's place.
constexpr int kLengthBits = 4;
constexpr int kPlaceBits = 32;
constexpr int kWordBits = 64 + kLengthBits + kPlaceBits;

int Compare(const TextSort::Text& a, const TextSort::Text& b, uint32 depth) {
  const uint32 common = std::min(a.length, b.length) - depth;
  const int result = std::memcmp(a.characters + depth, b.characters + depth, common);
  return result != 0 ? result : static_cast<int>(a.length > b.length) - (a.length < b.length);
}

}  // namespace

std::vector<TextSort::Range> TextSort::Sort(RowArray<Text>& texts, bool descends,
                                            std::size_t threads) {
  TextSort sort(texts, descends, threads);
  sort.parts_.push_back({0, texts.size(), 0});
  while (!sort.parts_.empty()) {
    Cancellation::Check();
    const Part part = sort.parts_.back();
    sort.parts_.pop_back();
    part.to - part.from <= kFew ? sort.SortFew(part) : sort.SortPart(part);
  }
  return std::move(sort.equals_);
}

void TextSort::SortFew(const Part& part) {
  const auto begin = texts_.begin() + static_cast<std::ptrdiff_t>(part.from);
  const auto end = texts_.begin() + static_cast<std::ptrdiff_t>(part.to);
  std::sort(begin, end, [&](const Text& a, const Text& b) {
    const int result = Compare(a, b, part.depth);
    return result == 0 ? a.ordinal < b.ordinal : (result < 0) != descends_;
  });
  for (std::size_t from = part.from; from < part.to;) {
    std::size_t to = from + 1;
    while (to < part.to && Compare(texts_[from], texts_[to], part.depth) == 0) ++to;
    if (to - from > 1) equals_.emplace_back(from, to);
    from = to;
  }
}

uint32 TextSort::FindDepth(const Part& part) const {
  const Text& first = texts_[part.from];
  uint32 common = first.length;
  for (std::size_t i = part.from + 1; i < part.to && common > part.depth; ++i) {
    const Text& text = texts_[i];
    common = std::min(common, text.length);
    if (std::memcmp(first.characters + part.depth, text.characters + part.depth,
                    common - part.depth) == 0) {
      continue;
    }
    const uint8* const end = first.characters + common;
    common = static_cast<uint32>(
        std::mismatch(first.characters + part.depth, end, text.characters + part.depth).first -
        first.characters);
  }
  return common;
}

void TextSort::SortPart(Part part) {
  part.depth = FindDepth(part);
  const std::size_t count = part.to - part.from;
  constexpr WideWord kTextMask = (WideWord{1} << (kWordBits - kPlaceBits)) - 1;
  RowArray<WideWord> words(count);
  for (std::size_t i = 0; i < count; ++i) {
    const Text& text = texts_[part.from + i];
    const uint32 left = text.length - part.depth;
    const uint64 prefix = FindTextPrefix(text.characters + part.depth, left);
    // One that ends here is less than one that goes on with a zero character.
    const WideWord word = WideWord{prefix} << kLengthBits | std::min(left, kTextPrefixLength + 1);
    words[i] = (descends_ ? word ^ kTextMask : word) << kPlaceBits | i;
  }
  {
    RowArray<WideWord> spare(count);
    WordSort<WideWord>::Sort(words, spare, kPlaceBits, kWordBits, threads_);
  }
  const RowArray<Text> unsorted(texts_.begin() + static_cast<std::ptrdiff_t>(part.from),
                                texts_.begin() + static_cast<std::ptrdiff_t>(part.to));
  for (std::size_t i = 0; i < count; ++i) {
    texts_[part.from + i] = unsorted[static_cast<uint32>(words[i])];
  }
  for (std::size_t from = 0; from < count;) {
    std::size_t to = from + 1;
    while (to < count && words[to] >> kPlaceBits == words[from] >> kPlaceBits) ++to;
    if (to - from > 1) {
      const Range range(part.from + from, part.from + to);
      if (texts_[range.first].length > part.depth + kTextPrefixLength) {
        parts_.push_back({range.first, range.second, part.depth + kTextPrefixLength});
      } else {
        equals_.push_back(range);
      }
    }
    from = to;
  }
}

}  // namespace sqxer
