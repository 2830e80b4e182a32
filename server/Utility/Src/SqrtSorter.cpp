#include "Utility/SqrtSorter.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <utility>
#include <vector>

#include "RecordOrder.h"
#include "RunMerger.h"
#include "SortBuffer.h"
#include "SpillFile.h"
#include "Utility/StatementBudget.h"
#include "Utility/SystemUtility.h"
#include "Utility/XeAssert.h"

namespace sqxer {

namespace {

constexpr std::size_t kDefaultRunBufferSize = 256;
/// A statement may have several sorters, and each needs memory beside its buffer.
constexpr uint64 kPartsOfBudget = 16;
constexpr std::size_t kMaxWriteBytes = std::size_t{1} << 20;
/// Fewer are sorted in about the time that it takes to read the clock twice. Groups of a few rows
/// may be many.
constexpr std::size_t kLeastRecordsTimed = 32;

std::size_t ReadInitialBufferBytes() {
  const std::size_t size =
      SystemUtility::ReadEnvironmentNumber("RUN_BUFFER_SIZE", kDefaultRunBufferSize);
  return std::min(size, SqrtSorter::kMaxBufferBytes >> 10) << 10;
}

std::atomic<std::size_t> initialBufferBytes{ReadInitialBufferBytes()};

}  // namespace

struct SqrtSorter::State {
  /// kIdle also stands for "an error came through": only BeginInput leads on from it.
  enum class Phase { kIdle, kInput, kOutput };

  State(uint32 size, OperatorTimer& operatorTimer, bool removeDuplicates, bool keepInputOrder,
        SettingsRef takenSettings)
      : settings(std::move(takenSettings)),
        recordSize(size),
        unique(removeDuplicates),
        timer(operatorTimer),
        initialBytes(GetInitialBufferBytes()),
        mostBytes(std::max(initialBytes, static_cast<std::size_t>(StatementBudget::CapShare(
                                             kMaxBufferBytes, kPartsOfBudget)))),
        buffer(order, packer, removeDuplicates, keepInputOrder) {}

  void Forget();
  void Sort();
  void MakeRoom();
  void Spill();
  void MergeUntilOnePassIsLeft();
  std::size_t GetWriteBytes() const { return std::min(bufferBytes / 4, kMaxWriteBytes); }

  const SettingsRef settings;
  const uint32 recordSize;
  const bool unique;
  OperatorTimer& timer;
  std::size_t initialBytes;
  std::size_t mostBytes;
  uint64 limit = 0;
  bool hasKeys = false;
  RecordPacker packer;
  /// That of records as they come and go, and that of packed ones.
  RecordOrder recordOrder;
  RecordOrder order;

  Phase phase = Phase::kIdle;
  std::size_t bufferBytes = 0;
  SortBuffer buffer;
  /// The last of `limit` records seen so far, not packed: what does not come before it is not
  /// wanted.
  std::vector<uint8> cutoff;
  uint64 cutoffPrefix = 0;
  std::optional<SpillFile> file;
  std::vector<FileRange> runs;
  uint64 recordsInRuns = 0;
  /// The last record of the last run.
  std::vector<uint8> runEnd;
  std::optional<RunMerger> merger;
  uint64 returned = 0;
};

void SqrtSorter::State::Forget() {
  merger.reset();
  runs.clear();
  recordsInRuns = 0;
  file.reset();
  cutoff.clear();
  returned = 0;
  bufferBytes = initialBytes;
  buffer.Reset(bufferBytes);
}

void SqrtSorter::State::Sort() {
  buffer.Sort(limit);
  if (limit == 0 || buffer.GetCount() < limit) return;
  const uint8* const last = buffer.GetSorted(buffer.GetCount() - 1);
  cutoff.resize(recordSize);
  packer.Unpack(last, cutoff.data());
  cutoffPrefix = order.Prefix(last);
}

void SqrtSorter::State::MakeRoom() {
  phase = Phase::kIdle;
  {
    const OperatorTimer::Scope scope(timer);
    Sort();
    // Duplicates and what lies beyond the limit are gone. Where little is left, nothing needs to
    // go to disk.
    if (buffer.IsHalfEmpty()) {
      buffer.Compact();
    } else {
      Spill();
      bufferBytes = std::min(bufferBytes + initialBytes, mostBytes);
      buffer.Reset(bufferBytes);
    }
  }
  phase = Phase::kInput;
}

void SqrtSorter::State::Spill() {
  if (!file) file.emplace(settings->GetSwitches().tempDirectory_);
  RunWriter writer(*file, GetWriteBytes(), timer);
  for (std::size_t i = 0; i < buffer.GetCount(); ++i) {
    const uint8* const record = buffer.GetSorted(i);
    writer.Add(record, packer.GetPackedBytes(record));
  }
  recordsInRuns += buffer.GetCount();
  // Input that comes in order makes one long run, of which nothing is left to merge.
  const bool goesOn = !runs.empty() && order.Compare(runEnd.data(), buffer.GetSorted(0)) <= 0;
  const FileRange run = writer.Finish();
  if (goesOn) {
    runs.back().bytes += run.bytes;
  } else {
    runs.push_back(run);
  }
  const uint8* const last = buffer.GetSorted(buffer.GetCount() - 1);
  runEnd.assign(last, last + packer.GetPackedBytes(last));
}

void SqrtSorter::State::MergeUntilOnePassIsLeft() {
  const auto recordBytes = static_cast<std::size_t>(file->GetSize() / recordsInRuns);
  const std::size_t maxRuns = RunMerger::GetMaxRuns(recordBytes, bufferBytes);
  while (runs.size() > maxRuns) {
    // Neighbours are merged, so that equal records keep their order.
    std::vector<FileRange> merged;
    for (std::size_t from = 0; from < runs.size(); from += maxRuns) {
      const std::size_t count = std::min(maxRuns, runs.size() - from);
      if (count == 1) {
        merged.push_back(runs[from]);
        continue;
      }
      RunMerger source(order, packer, *file, std::span(runs).subspan(from, count), bufferBytes,
                       unique);
      RunWriter writer(*file, GetWriteBytes(), timer);
      uint64 written = 0;
      while (limit == 0 || written++ < limit) {
        const uint8* const record = source.Next();
        if (record == nullptr) break;
        writer.Add(record, packer.GetPackedBytes(record));
      }
      merged.push_back(writer.Finish());
    }
    runs = std::move(merged);
  }
}

SqrtSorter::SqrtSorter(uint32 recordSize, OperatorTimer& timer, bool removeDuplicates,
                       bool keepInputOrder, SettingsRef settings)
    : state_(std::make_unique<State>(recordSize, timer, removeDuplicates, keepInputOrder,
                                     std::move(settings))) {
  XE_ASSERT(recordSize > 0);
}

SqrtSorter::~SqrtSorter() = default;

void SqrtSorter::SetRowIdSorterMetadata(const KeySet& keys, const XeRecordMetaData& layout) {
  XE_ASSERT(state_->phase != State::Phase::kInput);
  XE_ASSERT(layout.GetBinaryRecordSize() <= state_->recordSize);
  state_->phase = State::Phase::kIdle;
  state_->packer = RecordPacker(state_->recordSize, layout);
  state_->recordOrder = RecordOrder(keys);
  state_->order = RecordOrder(state_->packer.PackKeys(keys));
  state_->hasKeys = true;
}

void SqrtSorter::SetRecordLimit(uint64 count) {
  XE_ASSERT(state_->phase != State::Phase::kInput);
  state_->phase = State::Phase::kIdle;
  state_->limit = count;
}

void SqrtSorter::SetBufferBytes(std::size_t bytes) {
  XE_ASSERT(state_->phase != State::Phase::kInput);
  state_->phase = State::Phase::kIdle;
  state_->initialBytes = state_->mostBytes = bytes;
}

void SqrtSorter::BeginInput() {
  XE_ASSERT(state_->hasKeys);
  state_->Forget();
  state_->phase = State::Phase::kInput;
}

void SqrtSorter::SortRecord(const uint8* record) {
  State& state = *state_;
  XE_ASSERT(state.phase == State::Phase::kInput);
  const uint64 prefix = state.recordOrder.Prefix(record);
  if (!state.cutoff.empty() &&
      state.recordOrder.Compare(prefix, record, state.cutoffPrefix, state.cutoff.data()) >= 0) {
    return;
  }
  const std::size_t bytes = state.packer.Measure(record);
  if (!state.buffer.HasRoom(bytes)) state.MakeRoom();
  state.packer.Pack(record, state.buffer.Add(bytes, prefix), bytes);
}

void SqrtSorter::EndInput() {
  State& state = *state_;
  XE_ASSERT(state.phase == State::Phase::kInput);
  state.phase = State::Phase::kIdle;
  std::optional<OperatorTimer::Scope> scope;
  if (state.file || state.buffer.GetCount() >= kLeastRecordsTimed) scope.emplace(state.timer);
  state.Sort();
  if (!state.runs.empty()) {
    if (state.buffer.GetCount() > 0) state.Spill();
    state.buffer.Release();
    state.MergeUntilOnePassIsLeft();
    state.merger.emplace(state.order, state.packer, *state.file, state.runs, state.bufferBytes,
                         state.unique);
  }
  state.phase = State::Phase::kOutput;
}

bool SqrtSorter::GetRecord(uint8* record) {
  State& state = *state_;
  XE_ASSERT(state.phase == State::Phase::kOutput);
  const uint8* next = nullptr;
  if (state.limit != 0 && state.returned == state.limit) return false;
  if (state.merger) {
    state.phase = State::Phase::kIdle;
    next = state.merger->Next();
    state.phase = State::Phase::kOutput;
  } else if (state.returned < state.buffer.GetCount()) {
    next = state.buffer.GetSorted(state.returned);
  }
  if (next == nullptr) return false;
  state.packer.Unpack(next, record);
  ++state.returned;
  return true;
}

std::size_t SqrtSorter::GetInitialBufferBytes() {
  return initialBufferBytes.load(std::memory_order_relaxed);
}

void SqrtSorter::SetInitialBufferBytes(std::size_t bytes) {
  initialBufferBytes.store(std::min(bytes, kMaxBufferBytes), std::memory_order_relaxed);
}

}  // namespace sqxer
