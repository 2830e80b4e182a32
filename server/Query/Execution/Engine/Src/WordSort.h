#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <boost/sort/pdqsort/pdqsort.hpp>
#include <utility>
#include <vector>

#include "Utility/Cancellation.h"
#include "Utility/HugePages.h"
#include "Utility/XeTypes.h"
#include "Workers.h"

namespace sqxer {

__extension__ using WideWord = unsigned __int128;

/// Arrays with an entry for each of many rows, which are reached in no order.
template <class T>
using RowArray = std::vector<T, ScatteredAllocator<T>>;

/// Sorts numbers that differ only below a bit, and are in order as far as the bits below another
/// one go: leading bits deal them out to parts that fit the caches.
template <class Word>
class WordSort {
 public:
  /// `words` and `spare` are of one size; the result stands in `words`. Where there are many words,
  /// as many `threads` as that share the parts out among themselves.
  static void Sort(RowArray<Word>& words, RowArray<Word>& spare, int lowBit, int endBit,
                   std::size_t threads) {
    if (threads > 1 && words.size() >= kLeastShared && endBit > lowBit) {
      return DealOut(words.data(), spare.data(), words.size(), lowBit, endBit, threads);
    }
    SortPart(words.data(), spare.data(), words.size(), lowBit, endBit, false);
  }

 private:
  /// Parts of so many words stay in the caches.
  static constexpr std::size_t kPart = 4096;
  static constexpr int kMostDigitBits = 11;
  static constexpr int kByteBits = 8;
  /// From so many words on it pays to count bytes.
  static constexpr std::size_t kLeastCounted = 512;
  /// From so many on it pays to start threads.
  static constexpr std::size_t kLeastShared = std::size_t{1} << 16;
  static constexpr int kMostPasses = sizeof(Word) == sizeof(uint64) ? 5 : 4;

  /// The result goes to `other` where told so, else it stays at `words`.
  static void SortPart(Word* words, Word* other, std::size_t count, int lowBit, int endBit,
                       bool toOther) {
    Cancellation::Check();
    const int bits = endBit - lowBit;
    if (bits > 0 && count > kPart) {
      Deal(words, other, count, lowBit, endBit, toOther);
    } else if (count >= kLeastCounted && bits <= kMostPasses * kByteBits) {
      const bool isInOther = SortByBytes(words, other, count, lowBit, endBit);
      if (isInOther != toOther) {
        isInOther ? Copy(other, count, words) : Copy(words, count, other);
      }
    } else {
      if (bits > 0) boost::sort::pdqsort_branchless(words, words + count);
      if (toOther) Copy(words, count, other);
    }
  }

  static void Copy(const Word* from, std::size_t count, Word* to) { std::copy_n(from, count, to); }

  static void Deal(Word* words, Word* other, std::size_t count, int lowBit, int endBit,
                   bool toOther) {
    int shift;
    const std::vector<std::size_t> ends = DealByDigit(words, other, count, lowBit, endBit, shift);
    std::size_t from = 0;
    for (const std::size_t end : ends) {
      if (end > from) {
        SortPart(other + from, words + from, end - from, lowBit, shift, !toOther);
      }
      from = std::max(from, end);
    }
  }

  /// The same, with the parts shared out.
  static void DealOut(Word* words, Word* other, std::size_t count, int lowBit, int endBit,
                      std::size_t threads) {
    int shift;
    const std::vector<std::size_t> ends = DealByDigit(words, other, count, lowBit, endBit, shift);
    std::atomic<std::size_t> next = 0;
    Workers(threads).Run(
        [&](std::size_t) {
          for (std::size_t part = next++; part < ends.size(); part = next++) {
            const std::size_t from = part == 0 ? 0 : ends[part - 1];
            const std::size_t end = ends[part];
            if (end > from) SortPart(other + from, words + from, end - from, lowBit, shift, true);
          }
          return true;
        },
        [] {});
  }

  /// Puts the words into parts by their leading digit, the bits from `shift` on, and returns where
  /// the parts end.
  static std::vector<std::size_t> DealByDigit(const Word* words, Word* other, std::size_t count,
                                              int lowBit, int endBit, int& shift) {
    const int digitBits = std::min(
        {static_cast<int>(std::bit_width(count / (kPart / 4))), kMostDigitBits, endBit - lowBit});
    shift = endBit - digitBits;
    const Word mask = (Word{1} << digitBits) - 1;
    std::vector<std::size_t> ends((std::size_t{1} << digitBits) + 1);
    InCancellableStretches(count, [&](std::size_t from, std::size_t to) {
      for (std::size_t i = from; i < to; ++i) {
        ++ends[static_cast<std::size_t>(words[i] >> shift & mask) + 1];
      }
    });
    for (std::size_t digit = 1; digit < ends.size(); ++digit) ends[digit] += ends[digit - 1];
    InCancellableStretches(count, [&](std::size_t from, std::size_t to) {
      for (std::size_t i = from; i < to; ++i) {
        other[ends[static_cast<std::size_t>(words[i] >> shift & mask)]++] = words[i];
      }
    });
    // Each entry has come to the end of its part, the last one to that of all.
    ends.pop_back();
    return ends;
  }

  /// Says whether the result is in `other`.
  static bool SortByBytes(Word* words, Word* other, std::size_t count, int lowBit, int endBit) {
    bool isInOther = false;
    for (int shift = lowBit; shift < endBit; shift += kByteBits) {
      // Bits above the end are the same in all words.
      std::array<uint32, 256> places{};
      for (std::size_t i = 0; i < count; ++i) ++places[static_cast<uint8>(words[i] >> shift)];
      uint32 place = 0;
      for (uint32& first : places) first = std::exchange(place, place + first);
      for (std::size_t i = 0; i < count; ++i) {
        other[places[static_cast<uint8>(words[i] >> shift)]++] = words[i];
      }
      std::swap(words, other);
      isInOther = !isInOther;
    }
    return isInOther;
  }
};

}  // namespace sqxer
