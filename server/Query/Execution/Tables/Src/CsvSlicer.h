#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "CsvRecord.h"
#include "RecordSlice.h"

namespace sqxer {

/// The first record of a text that is against the rules.
struct BadRecord {
  /// Where it starts in the text.
  uint32 start = 0;
  /// Those of ReadCsvRecord, and 57004 for a wrong number of fields.
  int error = 0;
  /// How many fields it has, for 57004.
  uint32 fields = 0;
};

/// Finds the records at the front of a text and the fields in them. An empty line is a NULL in a
/// table of one column and nothing in any other.
///
/// 64 bytes at a time: the delimiters and line ends outside quotations are field ends, in the order
/// of the text, so a table's fields stand in place as soon as their positions are written down;
/// each line end must then be the next multiple of the number of columns. What is irregular (an
/// empty line among records of several fields, a mark that does not stand at a field's border, a
/// NUL byte, a wrong number of fields) is read from the start of its record by ReadCsvRecord, which
/// knows whether it is an error and which.
class CsvSlicer {
 public:
  /// The text may be read this far beyond both ends.
  static constexpr uint32 kPadding = 64;

  enum class Way {
    kFast,
    /// By ReadCsvRecord alone.
    kPlain,
  };

  CsvSlicer(char delimiter, uint32 columns, Way way = Way::kFast)
      : delimiter_(delimiter), columns_(columns), way_(way) {}

  /// Slices the whole records at the front of `text`, up to the first bad one, and returns where
  /// the first record starts that is not in the slice. The text starts at a record's start and is
  /// shorter than 4 GiB; `isLast` says that it is the end of the file.
  uint32 Slice(std::string_view text, bool isLast);

  /// Of the last call, with positions in its text; `fileOffset` is left to the caller.
  const RecordSlice& Get() const { return slice_; }
  RecordSlice& Get() { return slice_; }
  const std::optional<BadRecord>& GetBadRecord() const { return bad_; }

 private:
  static constexpr uint32 kNowhere = ~uint32{0};

  void Reserve(std::size_t textBytes);
  /// From the next record on; returns up to where the text must be read plainly, 0 when nothing is
  /// irregular.
  uint32 SliceFast();
  /// Appends the rows that end at line ends, the next ones, whose fields are the first of all
  /// `fields` found. Returns a place behind the first line end that is not the last field's of a
  /// row, 0 when there is none. The end of an empty line is taken out of the fields.
  uint32 AppendRows(std::span<const uint32> lineEnds, bool hasReturns, uint32& fields);
  /// Records that start before `limit`; false when a bad or a partial one ends them.
  bool SlicePlain(uint32 limit);
  void AppendRow(uint32 start);
  uint32 NextRecord() const { return rowStarts_[rows_]; }

  char delimiter_;
  uint32 columns_;
  Way way_;

  std::string_view text_;
  bool isLast_ = false;
  std::size_t capacity_ = 0;
  /// One more than there are rows: the last is where the record behind them starts.
  std::unique_ptr<uint32[]> rowStarts_;
  std::unique_ptr<uint32[]> fieldEnds_;
  uint32 rows_ = 0;
  uint32 firstQuote_ = kNowhere;
  uint32 firstNonAscii_ = kNowhere;
  CsvRecord record_;
  std::optional<BadRecord> bad_;
  RecordSlice slice_;
};

}  // namespace sqxer
