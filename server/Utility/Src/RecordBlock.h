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
  /// Takes about so many bytes, of a multiple of 8; one record has room in any case.
  RecordBlock(const RecordPacker& packer, std::size_t bytes)
      : capacity_(packer.IsPacking() ? std::max(bytes, packer.GetLeastBytes())
                                     : std::max<std::size_t>(bytes / packer.GetLeastBytes(), 1) *
                                           packer.GetLeastBytes()),
        block_(AllocateBlock(capacity_)) {}

  uint8* Get() const { return block_.get(); }

  /// Reads what comes first of a range that is not empty, and takes it off the range. Returns the
  /// bytes read. The block grows where the first record needs it.
  std::size_t Read(const RecordPacker& packer, const SpillFile& file, FileRange& left) {
    std::size_t whole = TryRead(packer, file, left);
    if (whole == 0) {
      capacity_ = packer.GetPackedBytes(Get());
      block_ = AllocateBlock(capacity_);
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

  std::size_t capacity_;
  GatewayBlock block_;
};

}  // namespace sqxer
