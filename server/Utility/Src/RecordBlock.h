#pragma once

#include <algorithm>

#include "GatewayBlock.h"
#include "SpillFile.h"
#include "Utility/RecordPacker.h"

namespace sqxer {

/// Packed records that lie one after the other in a spill file, or what is left of them to read.
struct FileRange {
  uint64 offset = 0;
  uint64 bytes = 0;
};

/// A block that takes in one part after the other of a range of records, whole records each time.
class RecordBlock {
 public:
  /// The size of a block of about so many bytes: unless records are packed, a multiple of theirs.
  static std::size_t ChooseCapacity(const RecordPacker& packer, std::size_t bytes) {
    const std::size_t least = packer.GetLeastBytes();
    return packer.IsPacking() ? std::max(bytes, least) / 8 * 8
                              : std::max<std::size_t>(bytes / least, 1) * least;
  }
  /// Reads into the given room, which must outlive the block, as long as records fit it.
  RecordBlock(uint8* room, std::size_t capacity) : bytes_(room), capacity_(capacity) {}

  uint8* Get() const { return bytes_; }

  /// Reads what comes first of a range that is not empty, and takes it off the range. Returns the
  /// bytes read. The block grows where the first record needs it.
  std::size_t Read(const RecordPacker& packer, const SpillFile& file, FileRange& left) {
    std::size_t whole = TryRead(packer, file, left);
    if (whole == 0) {
      capacity_ = packer.GetPackedBytes(Get());
      larger_ = AllocateBlock(capacity_);
      bytes_ = larger_.get();
      whole = TryRead(packer, file, left);
    }
    left.offset += whole;
    left.bytes -= whole;
    return whole;
  }

 private:
  std::size_t TryRead(const RecordPacker& packer, const SpillFile& file, const FileRange& left) {
    const auto bytes = static_cast<std::size_t>(std::min<uint64>(left.bytes, capacity_));
    file.Read(left.offset, Get(), bytes);
    return packer.CountWholeBytes(Get(), bytes);
  }

  uint8* bytes_;
  std::size_t capacity_;
  GatewayBlock larger_;
};

}  // namespace sqxer
