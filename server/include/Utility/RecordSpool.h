#pragma once

#include <cstring>
#include <memory>

#include "Utility/Export.h"
#include "Utility/OperatorTimer.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Records of a fixed size that are read back in the order in which they came, as often as wanted:
/// in memory up to a limit, beyond it in one unlinked temporary file.
///
/// Use: any number of times BeginInput, Append*, EndInput, and Next until null. A disk that is full
/// or cannot be written raises error 59180 (folder, the system's reason); no file is left behind in
/// any case. Not thread-safe.
class XEUTILITY_API RecordSpool {
 public:
  /// Takes up to `memoryBytes` (room for one record at least), as the records come. The timer is
  /// charged with spilled bytes and must outlive the spool. It spills where the thread's current
  /// settings say.
  RecordSpool(uint32 recordSize, std::size_t memoryBytes, OperatorTimer& timer);
  ~RecordSpool();
  RecordSpool(const RecordSpool&) = delete;
  RecordSpool& operator=(const RecordSpool&) = delete;

  /// Forgets what is there; memory that was taken is kept.
  void BeginInput();
  /// Copies one record.
  void Append(const uint8* record) {
    if (next_ == end_) [[unlikely]]
      MakeRoom();
    std::memcpy(next_, record, recordSize_);
    next_ += recordSize_;
    ++count_;
  }
  void EndInput();
  uint64 GetCount() const { return count_; }

  /// The next record, valid until the next call and aligned to 8 bytes if the record size is a
  /// multiple of 8; null behind the last one.
  const uint8* Next() {
    if (next_ == end_ && !Load()) [[unlikely]]
      return nullptr;
    const uint8* const record = next_;
    next_ += recordSize_;
    return record;
  }
  /// Goes back to the first record.
  void Rewind();
  /// The record at a place, from 0, as Next gives it. Next needs a Rewind after it.
  const uint8* At(uint64 place);

 private:
  struct Storage;

  void MakeRoom();
  void Spill();
  /// Reads more from the file; false when there is none.
  bool Load();

  std::unique_ptr<Storage> storage_;
  uint64 count_ = 0;
  uint8* next_ = nullptr;
  uint8* end_ = nullptr;
  const std::size_t recordSize_;
};

}  // namespace sqxer
