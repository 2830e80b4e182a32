#include "RunMerger.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "CopyRecord.h"

namespace sqxer {

namespace {

/// Reads smaller than this cost more than another pass over the data.
constexpr std::size_t kMinReadBytes = 4096;
constexpr std::size_t kMaxReadBytes = std::size_t{1} << 20;
/// That of a run that is used up. NULLs in the last place have it too.
constexpr uint64 kPrefixBehindAll = ~uint64{0};

}  // namespace

RunWriter::RunWriter(SpillFile& file, std::size_t stride, std::size_t blockBytes,
                     OperatorTimer& timer)
    : file_(file),
      timer_(timer),
      stride_(stride),
      capacity_(std::max<std::size_t>(blockBytes / stride, 1) * stride),
      block_(AllocateBlock(capacity_)),
      run_{file.GetSize(), 0} {}

void RunWriter::Add(const uint8* record, std::size_t recordSize) {
  if (used_ == capacity_) Flush();
  uint8* const place = block_.get() + used_;
  CopyRecord(place, record, recordSize);
  if (recordSize < stride_) std::memset(place + recordSize, 0, stride_ - recordSize);
  used_ += stride_;
  ++run_.count;
}

void RunWriter::Flush() {
  file_.Append(block_.get(), used_);
  timer_.AddSpilledBytes(used_);
  used_ = 0;
}

Run RunWriter::Finish() {
  Flush();
  return run_;
}

std::size_t RunMerger::GetMaxRuns(std::size_t stride, std::size_t bytes) {
  return std::max<std::size_t>(bytes / std::max(stride, kMinReadBytes), 2);
}

RunMerger::RunMerger(const RecordOrder& order, SpillFile& file, std::span<const Run> runs,
                     std::size_t stride, std::size_t bytes, bool removeDuplicates)
    : order_(order),
      file_(file),
      stride_(stride),
      removeDuplicates_(removeDuplicates),
      blockRecords_(
          std::max<std::size_t>(std::min(bytes / runs.size(), kMaxReadBytes) / stride, 1)),
      blocks_(AllocateBlock(runs.size() * blockRecords_ * stride)),
      last_(removeDuplicates ? AllocateBlock(stride) : nullptr) {
  sources_.reserve(runs.size());
  uint8* block = blocks_.get();
  for (const Run& run : runs) {
    sources_.push_back({0, nullptr, nullptr, block, run});
    Load(sources_.back());
    block += blockRecords_ * stride_;
  }
  BuildTree();
}

void RunMerger::Load(Source& source) {
  const auto count = static_cast<std::size_t>(std::min<uint64>(source.left.count, blockRecords_));
  if (count == 0) {
    source.record = nullptr;
    source.prefix = kPrefixBehindAll;
    return;
  }
  file_.Read(source.left.offset, source.block, count * stride_);
  source.left.offset += count * stride_;
  source.left.count -= count;
  source.record = source.block;
  source.end = source.block + count * stride_;
  source.prefix = order_.Prefix(source.record);
}

void RunMerger::Advance(Source& source) {
  source.record += stride_;
  if (source.record == source.end) {
    Load(source);
  } else {
    source.prefix = order_.Prefix(source.record);
  }
}

bool RunMerger::ComesFirst(const Player& a, const Player& b) const {
  if (a.prefix != b.prefix) return a.prefix < b.prefix;
  const uint8* const left = sources_[a.source].record;
  const uint8* const right = sources_[b.source].record;
  if (left == nullptr || right == nullptr) return right == nullptr;
  const int result = order_.Compare(a.prefix, left, b.prefix, right);
  return result != 0 ? result < 0 : a.source < b.source;
}

void RunMerger::BuildTree() {
  const auto count = static_cast<uint32>(sources_.size());
  tree_.resize(count);
  std::vector<Player> winners(2 * std::size_t{count});
  for (uint32 i = 0; i < count; ++i) winners[count + i] = {sources_[i].prefix, i};
  for (uint32 node = count - 1; node >= 1; --node) {
    const std::size_t children = std::size_t{2} * node;
    Player winner = winners[children];
    Player loser = winners[children + 1];
    if (ComesFirst(loser, winner)) std::swap(winner, loser);
    winners[node] = winner;
    tree_[node] = loser;
  }
  tree_[0] = winners[1];
}

void RunMerger::Replay() {
  const uint32 source = tree_[0].source;
  Player winner{sources_[source].prefix, source};
  for (std::size_t node = (source + sources_.size()) / 2; node >= 1; node /= 2) {
    // Who wins is a toss-up: exchanged by selection, not by a branch.
    const Player other = tree_[node];
    const bool isOther = ComesFirst(other, winner);
    tree_[node].prefix = isOther ? winner.prefix : other.prefix;
    tree_[node].source = isOther ? winner.source : other.source;
    winner.prefix = isOther ? other.prefix : winner.prefix;
    winner.source = isOther ? other.source : winner.source;
  }
  tree_[0] = winner;
}

const uint8* RunMerger::Next() {
  while (true) {
    if (started_) {
      Source& used = sources_[tree_[0].source];
      if (used.record == nullptr) return nullptr;
      Advance(used);
      Replay();
    }
    started_ = true;
    const Source& source = sources_[tree_[0].source];
    if (source.record == nullptr) return nullptr;
    if (!removeDuplicates_) return source.record;
    if (hasLast_ && order_.Compare(lastPrefix_, last_.get(), source.prefix, source.record) == 0) {
      continue;
    }
    std::memcpy(last_.get(), source.record, stride_);
    lastPrefix_ = source.prefix;
    hasLast_ = true;
    return source.record;
  }
}

}  // namespace sqxer
