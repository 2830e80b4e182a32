#include "Utility/RecordSpool.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "GatewayBlock.h"
#include "SpillFile.h"
#include "Utility/Settings.h"
#include "Utility/XeAssert.h"

namespace sqxer {

namespace {

constexpr std::size_t kFirstRecords = 64;
/// What is read for a single record, before its size is known.
constexpr std::size_t kFirstReadBytes = 4096;

}  // namespace

struct RecordSpool::Storage {
  const std::size_t mostBytes;
  OperatorTimer& timer;
  const SettingsRef settings;
  /// Records that are waiting to be written, later those read last. Every record has room in it.
  GatewayBlock block;
  std::size_t capacity = 0;
  std::optional<SpillFile> file;
  uint64 fileOffset = 0;
  /// Of all records, from EndInput on.
  uint64 bytes = 0;
};

RecordSpool::RecordSpool(const RecordPacker& packer, std::size_t memoryBytes, OperatorTimer& timer)
    : packer_(packer),
      storage_(new Storage{.mostBytes = std::max(memoryBytes, packer.GetLeastBytes()),
                           .timer = timer,
                           .settings = Settings::Current(),
                           .block = nullptr,
                           .file = std::nullopt}) {
  XE_ASSERT(packer.GetLeastBytes() > 0);
}

RecordSpool::~RecordSpool() = default;

void RecordSpool::BeginInput() {
  storage_->file.reset();
  count_ = 0;
  next_ = storage_->block.get();
  end_ = next_ + storage_->capacity;
}

void RecordSpool::MakeRoom(std::size_t bytes) {
  Storage& storage = *storage_;
  const auto used = static_cast<std::size_t>(next_ - storage.block.get());
  if (storage.capacity < storage.mostBytes) {
    const std::size_t wanted =
        std::max({2 * storage.capacity, kFirstRecords * packer_.GetLeastBytes(), used + bytes});
    Enlarge(std::min(wanted, storage.mostBytes));
    if (used + bytes <= storage.capacity) return;
  }
  if (used > 0) {
    if (!storage.file) storage.file.emplace(storage.settings->GetSwitches().tempDirectory_);
    Spill();
  }
  if (bytes > storage.capacity) Enlarge(bytes);
}

void RecordSpool::Enlarge(std::size_t capacity) {
  Storage& storage = *storage_;
  const auto used = static_cast<std::size_t>(next_ - storage.block.get());
  GatewayBlock larger = AllocateBlock(capacity);
  if (used > 0) std::memcpy(larger.get(), storage.block.get(), used);
  storage.block = std::move(larger);
  storage.capacity = capacity;
  next_ = storage.block.get() + used;
  end_ = storage.block.get() + capacity;
}

void RecordSpool::EndInput() {
  if (storage_->file) Spill();
  storage_->bytes = GetNextPlace();
  Rewind();
}

void RecordSpool::Spill() {
  Storage& storage = *storage_;
  const auto used = static_cast<std::size_t>(next_ - storage.block.get());
  storage.file->Append(storage.block.get(), used);
  storage.timer.AddSpilledBytes(used);
  next_ = storage.block.get();
}

uint64 RecordSpool::GetNextPlace() const {
  const uint64 written = storage_->file ? storage_->file->GetSize() : 0;
  return written + static_cast<uint64>(next_ - storage_->block.get());
}

void RecordSpool::Rewind() {
  Storage& storage = *storage_;
  storage.fileOffset = 0;
  next_ = end_ = storage.block.get();
  if (!storage.file) end_ += storage.bytes;
}

void RecordSpool::ReadAt(uint64 place, uint8* record) {
  Storage& storage = *storage_;
  XE_ASSERT(place < storage.bytes);
  uint8* const block = storage.block.get();
  if (!storage.file) {
    packer_.Unpack(block + place, record);
    return;
  }
  const std::size_t most = packer_.IsPacking() ? std::min(storage.capacity, kFirstReadBytes) : 0;
  const auto first = static_cast<std::size_t>(
      std::min<uint64>(std::max(packer_.GetLeastBytes(), most), storage.bytes - place));
  storage.file->Read(place, block, first);
  const std::size_t bytes = packer_.GetPackedBytes(block);
  if (bytes > first) storage.file->Read(place + first, block + first, bytes - first);
  packer_.Unpack(block, record);
}

bool RecordSpool::Load() {
  Storage& storage = *storage_;
  if (!storage.file || storage.fileOffset == storage.bytes) return false;
  uint8* const block = storage.block.get();
  const auto read = static_cast<std::size_t>(
      std::min<uint64>(storage.capacity, storage.bytes - storage.fileOffset));
  storage.file->Read(storage.fileOffset, block, read);
  const std::size_t whole = packer_.CountWholeBytes(block, read);
  storage.fileOffset += whole;
  next_ = block;
  end_ = block + whole;
  return true;
}

}  // namespace sqxer
