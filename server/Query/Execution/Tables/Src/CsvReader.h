#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Table.h"
#include "TableError.h"

namespace sqxer {

/// Takes the records of a file.
class CsvRecordSink {
 public:
  virtual ~CsvRecordSink() = default;
  /// A field's text, valid UTF-8; nothing for an empty field without quotation marks. Valid during
  /// the call only.
  virtual void Field(std::optional<std::string_view> text, const RecordPlace& place) = 0;
  /// Ends the record; one without a field is an empty line. `place` is the line where it starts.
  virtual void EndRecord(const RecordPlace& place) = 0;
};

/// Reads a file of records block by block: fields parted by `delimiter`, quoted where needed, lines
/// that end in LF or CR LF, a byte order mark at the start skipped. Blanks belong to their field.
/// `progress` is called with `doneBefore` added to the bytes done.
///
/// Errors: 57002 (file, reason); 57005 to 57008 and 57012 (file, place) for a quotation that does
/// not end, text beside one, a NUL byte, bytes that are no UTF-8, and a field of more than 64 MiB.
/// What the sink throws passes through.
void ReadCsvFile(const std::string& path, char delimiter, CsvRecordSink& sink,
                 LoadProgress progress, uint64 doneBefore, uint64 total);

/// What a file is by its path: another file of that name, or one that was written to, differs.
struct FileState {
  uint64 device;
  uint64 number;
  uint64 size;
  int64 changedSeconds;
  int64 changedNanoseconds;
  bool operator==(const FileState&) const = default;
};
/// Error 57002 (file, reason) when it cannot be read or is a folder.
FileState GetFileState(const std::string& path);

}  // namespace sqxer
