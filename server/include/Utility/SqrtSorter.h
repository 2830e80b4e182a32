#pragma once

#include <memory>

#include "Utility/Export.h"
#include "Utility/KeySet.h"
#include "Utility/OperatorTimer.h"
#include "Utility/Settings.h"
#include "Utility/XeRecordMetaData.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Sorts records of a fixed size, in memory while they fit its buffer, beyond it in sorted runs in
/// one unlinked temporary file that are merged on reading. Inside, the records are packed
/// (RecordPacker): texts of varying length count with what they hold.
///
/// The buffer starts at the initial size and grows by that much with each run it spills, so memory
/// grows with the square root of the input (and stays below kMaxBufferBytes). Use: construct,
/// SetRowIdSorterMetadata, then any number of times BeginInput, SortRecord*, EndInput, GetRecord
/// until false. A disk that is full or cannot be written raises error 59180 (folder, the system's
/// reason); no file is left behind in any case. Not thread-safe.
class XEUTILITY_API SqrtSorter {
 public:
  static constexpr std::size_t kMaxBufferBytes = std::size_t{64} << 20;

  /// `removeDuplicates`: of records whose keys compare equal only one is returned.
  /// `keepInputOrder`: records of equal keys come back in the order they went in (and the first of
  /// equals is the one kept). The timer is charged with sorting time (that of a few records apart)
  /// and spilled bytes and must outlive the sorter. `settings` say where it spills.
  SqrtSorter(uint32 recordSize, OperatorTimer& timer, bool removeDuplicates = false,
             bool keepInputOrder = false, SettingsRef settings = Settings::Current());
  ~SqrtSorter();
  SqrtSorter(const SqrtSorter&) = delete;
  SqrtSorter& operator=(const SqrtSorter&) = delete;

  /// Installs the keys and the layout of the records, which may describe a part of them: what it
  /// names as texts of varying length may be packed, all else is kept as it is. Takes copies.
  void SetRowIdSorterMetadata(const KeySet& keys, const XeRecordMetaData& layout);
  /// Only the first `count` records are wanted: the rest may be dropped early. 0: all.
  void SetRecordLimit(uint64 count);

  /// A buffer of that many bytes from the first run to the last, for an owner with a limit of its
  /// own. Writing runs takes a quarter more.
  void SetBufferBytes(std::size_t bytes);

  /// Forgets what was there and takes records.
  void BeginInput();
  /// Copies one record.
  void SortRecord(const uint8* record);
  void EndInput();
  /// Copies the next record in order to `record`; false when there is none left. What stands behind
  /// a text in its field may stay as it was.
  bool GetRecord(uint8* record);

  /// The initial buffer: the environment's RUN_BUFFER_SIZE in units of 1024 bytes, read once at
  /// load, 256 by default.
  static std::size_t GetInitialBufferBytes();
  /// Changes it for sorters made from now on (tests, tools).
  static void SetInitialBufferBytes(std::size_t bytes);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace sqxer
