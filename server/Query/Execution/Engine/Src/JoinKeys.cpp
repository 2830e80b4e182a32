#include "JoinKeys.h"

#include <algorithm>
#include <limits>

#include "Utility/Cancellation.h"
#include "Utility/HashMix.h"

namespace sqxer {

JoinKeys::JoinKeys(const JoinSide& build, const JoinSide& probe, const JoinKeys* before)
    : tables_{build.table, probe.table},
      chunks_{ChunkFinder(*build.table), ChunkFinder(*probe.table)},
      words_(build.keys.size() * kMostBatchRows) {
  for (std::size_t i = 0; i < build.keys.size(); ++i) {
    columns_.emplace_back(JoinColumn::Place{build.table, build.keys[i]},
                          JoinColumn::Place{probe.table, probe.keys[i]},
                          before == nullptr ? nullptr : &before->columns_[i]);
  }
  isExact_ = std::ranges::all_of(columns_, &JoinColumn::IsExact) && ChooseDigits();
}

bool JoinKeys::SetProbe(const JoinSide& probe) {
  tables_[JoinColumn::kProbe] = probe.table;
  chunks_[JoinColumn::kProbe] = ChunkFinder(*probe.table);
  bool stay = true;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    stay = columns_[i].SetProbe({probe.table, probe.keys[i]}) && stay;
  }
  return stay;
}

bool JoinKeys::ChooseDigits() {
  std::vector<ColumnBounds<int64>> bounds(
      columns_.size(), {std::numeric_limits<int64>::max(), std::numeric_limits<int64>::min()});
  // Without digits, batches are only read.
  digits_.clear();
  const std::vector<TableChunk>& chunks = tables_[JoinColumn::kBuild]->chunks;
  for (std::size_t chunk = 0; chunk < chunks.size(); ++chunk) {
    for (uint64 first = 0; first < chunks[chunk].rows; first += kMostBatchRows) {
      const auto count =
          static_cast<uint32>(std::min<uint64>(kMostBatchRows, chunks[chunk].rows - first));
      Cancellation::Check();
      ReadColumns(JoinColumn::kBuild, chunk, first, count);
      for (std::size_t i = 0; i < columns_.size(); ++i) {
        const uint64* const words = &words_[i * kMostBatchRows];
        ColumnBounds<int64> wide = bounds[i];
        for (uint32 row = 0; row < count; ++row) {
          const auto value = static_cast<int64>(words[row]);
          wide.least = std::min(wide.least, joins_[row] != 0 ? value : wide.least);
          wide.greatest = std::max(wide.greatest, joins_[row] != 0 ? value : wide.greatest);
        }
        bounds[i] = wide;
      }
    }
  }
  __extension__ using Product = unsigned __int128;
  Product words = 1;
  for (const ColumnBounds<int64>& range : bounds) {
    // Of a side without any key, none is found.
    if (range.least > range.greatest) words = 1;
    const uint64 span = range.least > range.greatest ? 0
                                                     : static_cast<uint64>(range.greatest) -
                                                           static_cast<uint64>(range.least);
    digits_.push_back({range.least, span, static_cast<uint64>(words)});
    words *= Product{span} + 1;
    if (words > Product{1} << 64) return false;
  }
  mostWord_ = static_cast<uint64>(words - 1);
  return true;
}

void JoinKeys::ReadColumns(Side side, std::size_t chunk, uint64 first, uint32 count) {
  std::fill_n(joins_, count, uint8{1});
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    columns_[i].Read(side, chunk, first, count, &words_[i * kMostBatchRows], joins_);
  }
}

void JoinKeys::Read(Side side, std::size_t chunk, uint64 first, uint32 count) {
  ReadColumns(side, chunk, first, count);
  isExact_ ? CombineDigits(count) : CombineHashes(count);
  const auto firstRow = static_cast<uint32>(chunks_[side].StartOf(chunk) + first);
  uint32 found = 0;
  for (uint32 i = 0; i < count; ++i) {
    batch_.rows[found] = firstRow + i;
    batch_.words[found] = words_[i];
    found += joins_[i];
  }
  batch_.read = count;
  batch_.count = found;
}

void JoinKeys::CombineDigits(uint32 count) {
  uint64* const combined = words_.data();
  for (std::size_t column = 0; column < columns_.size(); ++column) {
    const Digit digit = digits_[column];
    const uint64* const values = &words_[column * kMostBatchRows];
    for (uint32 i = 0; i < count; ++i) {
      const uint64 above = values[i] - static_cast<uint64>(digit.least);
      joins_[i] &= static_cast<uint8>(above <= digit.span);
      combined[i] = column == 0 ? above : combined[i] + above * digit.factor;
    }
  }
}

void JoinKeys::CombineHashes(uint32 count) {
  if (columns_.size() == 1) return;
  uint64* const combined = words_.data();
  for (std::size_t column = 0; column < columns_.size(); ++column) {
    const uint64* const values = &words_[column * kMostBatchRows];
    for (uint32 i = 0; i < count; ++i) {
      combined[i] = MixHash(column == 0 ? kHashSeed : combined[i], values[i]);
    }
  }
}

bool JoinKeys::AreEqual(uint32 buildRow, uint32 probeRow) {
  const auto find = [this](Side side, uint32 row) {
    const std::size_t chunk = chunks_[side].Find(row);
    return JoinColumn::Row{chunk, row - chunks_[side].StartOf(chunk)};
  };
  const JoinColumn::Row build = find(JoinColumn::kBuild, buildRow);
  const JoinColumn::Row probe = find(JoinColumn::kProbe, probeRow);
  return std::ranges::all_of(columns_,
                             [&](JoinColumn& column) { return column.AreEqual(build, probe); });
}

}  // namespace sqxer
