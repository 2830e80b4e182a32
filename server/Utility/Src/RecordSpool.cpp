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

}  // namespace

struct RecordSpool::Storage {
  const std::size_t mostRecords;
  OperatorTimer& timer;
  const SettingsRef settings;
  /// Records that are waiting to be written, later those read last.
  GatewayBlock block;
  std::size_t blockRecords = 0;
  std::optional<SpillFile> file;
  uint64 fileOffset = 0;
};

RecordSpool::RecordSpool(uint32 recordSize, std::size_t memoryBytes, OperatorTimer& timer)
    : storage_(new Storage{.mostRecords = std::max<std::size_t>(memoryBytes / recordSize, 1),
                           .timer = timer,
                           .settings = Settings::Current(),
                           .block = nullptr,
                           .file = std::nullopt}),
      recordSize_(recordSize) {
  XE_ASSERT(recordSize > 0);
}

RecordSpool::~RecordSpool() = default;

void RecordSpool::BeginInput() {
  storage_->file.reset();
  count_ = 0;
  next_ = storage_->block.get();
  end_ = next_ + storage_->blockRecords * recordSize_;
}

void RecordSpool::MakeRoom() {
  Storage& storage = *storage_;
  const auto used = static_cast<std::size_t>(next_ - storage.block.get());
  if (storage.blockRecords < storage.mostRecords) {
    const std::size_t records =
        std::min(std::max(storage.blockRecords * 2, kFirstRecords), storage.mostRecords);
    GatewayBlock larger = AllocateBlock(records * recordSize_);
    if (used > 0) std::memcpy(larger.get(), storage.block.get(), used);
    storage.block = std::move(larger);
    storage.blockRecords = records;
    next_ = storage.block.get() + used;
  } else {
    if (!storage.file) {
      storage.file.emplace(storage.settings->GetSwitches().tempDirectory_);
    }
    Spill();
  }
  end_ = storage.block.get() + storage.blockRecords * recordSize_;
}

void RecordSpool::EndInput() {
  if (storage_->file) Spill();
  Rewind();
}

void RecordSpool::Spill() {
  Storage& storage = *storage_;
  const auto used = static_cast<std::size_t>(next_ - storage.block.get());
  storage.file->Append(storage.block.get(), used);
  storage.timer.AddSpilledBytes(used);
  next_ = storage.block.get();
}

void RecordSpool::Rewind() {
  Storage& storage = *storage_;
  storage.fileOffset = 0;
  next_ = end_ = storage.block.get();
  if (!storage.file) end_ += count_ * recordSize_;
}

const uint8* RecordSpool::At(uint64 place) {
  Storage& storage = *storage_;
  XE_ASSERT(place < count_);
  if (!storage.file) return storage.block.get() + place * recordSize_;
  storage.file->Read(place * recordSize_, storage.block.get(), recordSize_);
  return storage.block.get();
}

bool RecordSpool::Load() {
  Storage& storage = *storage_;
  if (!storage.file) return false;
  const auto bytes = static_cast<std::size_t>(std::min<uint64>(
      storage.blockRecords * recordSize_, storage.file->GetSize() - storage.fileOffset));
  if (bytes == 0) return false;
  storage.file->Read(storage.fileOffset, storage.block.get(), bytes);
  storage.fileOffset += bytes;
  next_ = storage.block.get();
  end_ = next_ + bytes;
  return true;
}

}  // namespace sqxer
