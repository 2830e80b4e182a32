#include "RunMerger.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "Utility/CopyRecord.h"

namespace sqxer {

namespace {

/// Reads smaller than this cost more than another pass over the data.
constexpr std::size_t kMinReadBytes = 4096;
constexpr std::size_t kMaxReadBytes = std::size_t{1} << 20;
/// That of a run that is used up. NULLs in the last place have it too.
constexpr uint64 kPrefixBehindAll = ~uint64{0};

}  // namespace

RunWriter::RunWriter(SpillFile& file, std::size_t blockBytes, OperatorTimer& timer)
    : file_(file),
      timer_(timer),
      capacity_(std::max<std::size_t>(blockBytes, 1)),
      block_(AllocateBlock(capacity_)),
      run_{file.GetSize(), 0} {}

void RunWriter::Add(const uint8* record, std::size_t bytes) {
  if (bytes > capacity_ - used_) {
    Flush();
    if (bytes > capacity_) {
      Write(record, bytes);
      return;
    }
  }
  CopyRecord(block_.get() + used_, record, bytes);
  used_ += bytes;
}

void RunWriter::Write(const uint8* bytes, std::size_t count) {
  file_.Append(bytes, count);
  timer_.AddSpilledBytes(count);
  run_.bytes += count;
}

void RunWriter::Flush() {
  Write(block_.get(), used_);
  used_ = 0;
}

FileRange RunWriter::Finish() {
  Flush();
  return run_;
}

std::size_t RunMerger::GetMaxRuns(std::size_t recordBytes, std::size_t bytes) {
  return std::max<std::size_t>(bytes / std::max(recordBytes, kMinReadBytes), 2);
}

RunMerger::RunMerger(const RecordOrder& order, const RecordPacker& packer, const SpillFile& file,
                     std::span<const FileRange> runs, std::size_t bytes, bool removeDuplicates)
    : order_(order), packer_(packer), file_(file), removeDuplicates_(removeDuplicates) {
  const std::size_t blockBytes =
      RecordBlock::ChooseCapacity(packer, std::min(bytes / runs.size(), kMaxReadBytes));
  blocks_ = AllocateBlock(runs.size() * blockBytes);
  sources_.reserve(runs.size());
  for (const FileRange& run : runs) {
    uint8* const room = blocks_.get() + sources_.size() * blockBytes;
    sources_.push_back({0, nullptr, nullptr, RecordBlock(room, blockBytes), run});
    Load(sources_.back());
  }
  BuildTree();
}

void RunMerger::Load(Source& source) {
  if (source.left.bytes == 0) {
    source.record = nullptr;
    source.prefix = kPrefixBehindAll;
    return;
  }
  const std::size_t bytes = source.block.Read(packer_, file_, source.left);
  source.record = source.block.Get();
  source.end = source.record + bytes;
  source.prefix = order_.Prefix(source.record);
}

void RunMerger::Advance(Source& source) {
  source.record += packer_.GetPackedBytes(source.record);
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
    KeepLast(source);
    return source.record;
  }
}

void RunMerger::KeepLast(const Source& source) {
  const std::size_t bytes = packer_.GetPackedBytes(source.record);
  if (bytes > lastCapacity_) {
    last_ = AllocateBlock(bytes);
    lastCapacity_ = bytes;
  }
  std::memcpy(last_.get(), source.record, bytes);
  lastPrefix_ = source.prefix;
  hasLast_ = true;
}

}  // namespace sqxer
