#pragma once

#include <memory>

#include "Utility/Export.h"
#include "Utility/OperatorTimer.h"
#include "Utility/RecordPacker.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Records that are read back in the order in which they came, as often as wanted: in memory up to
/// a limit, beyond it in one unlinked temporary file. They are kept in packed form.
///
/// Use: any number of times BeginInput, Append*, EndInput, and Next or Read until there is none. A
/// disk that is full or cannot be written raises error 59180 (folder, the system's reason); no file
/// is left behind in any case. Not thread-safe.
class XEUTILITY_API RecordSpool {
 public:
  /// Takes up to `memoryBytes` (room for one record at least), as the records come. The timer is
  /// charged with spilled bytes and must outlive the spool. It spills where the thread's current
  /// settings say.
  RecordSpool(const RecordPacker& packer, std::size_t memoryBytes, OperatorTimer& timer);
  ~RecordSpool();
  RecordSpool(const RecordSpool&) = delete;
  RecordSpool& operator=(const RecordSpool&) = delete;

  /// Forgets what is there; memory that was taken is kept.
  void BeginInput();
  /// Copies one record.
  void Append(const uint8* record) {
    const std::size_t bytes = packer_.Measure(record);
    if (bytes > static_cast<std::size_t>(end_ - next_)) [[unlikely]]
      MakeRoom(bytes);
    packer_.Pack(record, next_, bytes);
    next_ += bytes;
    ++count_;
  }
  void EndInput();
  uint64 GetCount() const { return count_; }
  /// The place of the record that is appended next.
  uint64 GetNextPlace() const;

  /// The next packed record, valid until the next call and aligned to 8 bytes; null behind the last
  /// one.
  const uint8* Next() {
    if (next_ == end_ && !Load()) [[unlikely]]
      return nullptr;
    const uint8* const record = next_;
    next_ += packer_.GetPackedBytes(record);
    return record;
  }
  /// Restores the next record; false behind the last one.
  bool Read(uint8* record) {
    const uint8* const packed = Next();
    if (packed != nullptr) packer_.Unpack(packed, record);
    return packed != nullptr;
  }
  /// Goes back to the first record.
  void Rewind();
  /// Restores the record at a place. Next and Read need a Rewind after it.
  void ReadAt(uint64 place, uint8* record);

 private:
  struct Storage;

  void MakeRoom(std::size_t bytes);
  void Enlarge(std::size_t capacity);
  void Spill();
  /// Reads more from the file; false when there is none.
  bool Load();

  const RecordPacker packer_;
  std::unique_ptr<Storage> storage_;
  uint64 count_ = 0;
  uint8* next_ = nullptr;
  uint8* end_ = nullptr;
};

}  // namespace sqxer
