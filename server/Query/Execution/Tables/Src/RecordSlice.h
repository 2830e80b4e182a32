#pragma once

#include <string_view>

#include "Utility/XeTypes.h"

namespace sqxer {

/// Whole records of a text file of fields, found but not read: where each record starts and where
/// each of its fields ends. Field f of row r is the bytes from GetStart(r, f) to GetEnd(r, f),
/// quotation marks included where it has them; it is NULL when it is empty. The text may be read 64
/// bytes beyond both of its ends. Valid until the next slice is asked for.
struct RecordSlice {
  const char* text = nullptr;
  /// Where `text` starts in the (decoded) file.
  uint64 fileOffset = 0;
  uint32 rows = 0;
  uint32 columns = 0;
  /// `rows` positions in `text`.
  const uint32* rowStarts = nullptr;
  /// rows * columns positions in `text`, row after row.
  const uint32* fieldEnds = nullptr;
  /// No byte above 127.
  bool isAscii = false;
  /// Some field is quoted. A quoted field is well formed: its first and last bytes are quotation
  /// marks, those between are doubled.
  bool hasQuotes = false;
  /// A quoted field is a text, or a date or time: no number and no truth value.
  bool quotedAreTexts = false;
  /// Where each column of the table stands among those of the slice, which may lack some that the
  /// sink does not want; null where they are the same.
  const uint32* columnPlaces = nullptr;

  /// Of a column of the table that is wanted.
  uint32 GetPlace(uint32 column) const {
    return columnPlaces == nullptr ? column : columnPlaces[column];
  }
  uint32 GetStart(uint32 row, uint32 column) const {
    return column == 0 ? rowStarts[row] : fieldEnds[row * columns + column - 1] + 1;
  }
  uint32 GetEnd(uint32 row, uint32 column) const { return fieldEnds[row * columns + column]; }
};

/// The fields of one column of a slice, row after row.
class ColumnFields {
 public:
  ColumnFields(const RecordSlice& slice, uint32 column, uint32 row)
      : text_(slice.text),
        columns_(slice.columns),
        startStep_(column == 0 ? 1 : slice.columns),
        behindEnd_(column != 0),
        start_(column == 0 ? slice.rowStarts + row
                           : slice.fieldEnds + std::size_t{row} * columns_ + column - 1),
        end_(slice.fieldEnds + std::size_t{row} * columns_ + column) {}

  std::string_view Next() {
    const uint32 start = *start_ + behindEnd_;
    const std::string_view field(text_ + start, *end_ - start);
    start_ += startStep_;
    end_ += columns_;
    return field;
  }

 private:
  const char* text_;
  std::size_t columns_;
  std::size_t startStep_;
  uint32 behindEnd_;
  const uint32* start_;
  const uint32* end_;
};

}  // namespace sqxer
