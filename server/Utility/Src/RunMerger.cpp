#include "RunMerger.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace sqxer {

namespace {

/// Reads smaller than this cost more than another pass over the data.
constexpr std::size_t kMinReadBytes = 4096;
constexpr std::size_t kMaxReadBytes = std::size_t{1} << 20;

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
  std::memcpy(block_.get() + used_, record, recordSize);
  std::memset(block_.get() + used_ + recordSize, 0, stride_ - recordSize);
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

bool RunMerger::ComesFirst(uint32 a, uint32 b) const {
  const Source& left = sources_[a];
  const Source& right = sources_[b];
  if (left.record == nullptr || right.record == nullptr) return right.record == nullptr;
  const int result = order_.Compare(left.prefix, left.record, right.prefix, right.record);
  return result != 0 ? result < 0 : a < b;
}

void RunMerger::BuildTree() {
  const auto count = static_cast<uint32>(sources_.size());
  tree_.assign(count, 0);
  std::vector<uint32> winners(2 * std::size_t{count});
  for (uint32 i = 0; i < count; ++i) winners[count + i] = i;
  for (uint32 node = count - 1; node >= 1; --node) {
    const std::size_t children = std::size_t{2} * node;
    uint32 winner = winners[children];
    uint32 loser = winners[children + 1];
    if (ComesFirst(loser, winner)) std::swap(winner, loser);
    winners[node] = winner;
    tree_[node] = loser;
  }
  tree_[0] = count == 1 ? 0 : winners[1];
}

void RunMerger::Replay() {
  uint32 winner = tree_[0];
  for (std::size_t node = (winner + sources_.size()) / 2; node >= 1; node /= 2) {
    if (ComesFirst(tree_[node], winner)) std::swap(winner, tree_[node]);
  }
  tree_[0] = winner;
}

const uint8* RunMerger::Next() {
  while (true) {
    if (started_) {
      Source& used = sources_[tree_[0]];
      if (used.record == nullptr) return nullptr;
      Advance(used);
      Replay();
    }
    started_ = true;
    const Source& source = sources_[tree_[0]];
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
