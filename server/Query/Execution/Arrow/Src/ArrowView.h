#pragma once

#include <cstring>
#include <memory>
#include <string>

#include "ArrowField.h"
#include "Utility/ColumnBuffer.h"

namespace sqxer {

/// What rows of arrays are read for: whose they are, for messages and for as long as they are
/// shared.
struct ArrowReading {
  const XeString& table;
  /// Rows of the table before the array.
  uint64 rowsBefore = 0;
  /// Bytes are taken for UTF-8.
  bool takesBinaryAsText = false;
  /// Keeps the array.
  std::shared_ptr<const void> owner = {};
};

/// Bits of rows, lowest first, from bit `first` on; without `bits` all of them are set.
struct ArrowBits {
  const uint8* bits = nullptr;
  uint64 first = 0;
  /// How many bits behind those of the rows are known to be there.
  uint64 behind = 0;

  bool Get(uint64 row) const {
    return bits == nullptr || (bits[(first + row) / 8] >> (first + row) % 8 & 1) != 0;
  }
};

/// Some rows of an array whose structure was found to be that of its field. Nothing is owned.
struct ArrowView {
  const ArrowField* field = nullptr;
  const ArrowArray* array = nullptr;
  /// In the array's buffers.
  uint64 first = 0;
  uint64 rows = 0;
  /// So far the array's buffers are known to reach, in rows.
  uint64 end = 0;
  /// Of the array, and of the struct that it stands in.
  ArrowBits validity;
  ArrowBits parentValidity;

  bool IsNull(uint64 row) const { return !validity.Get(row) || !parentValidity.Get(row); }
  bool MayHaveNulls() const { return validity.bits != nullptr || parentValidity.bits != nullptr; }
  /// The buffer, from the array's very first value on.
  const uint8* GetBuffer(int64 index) const {
    return static_cast<const uint8*>(array->buffers[index]);
  }
  /// The value of a row in a buffer, which need not be aligned.
  template <class T>
  T Get(int64 buffer, uint64 row) const {
    T value;
    std::memcpy(&value, GetBuffer(buffer) + (first + row) * sizeof(T), sizeof value);
    return value;
  }
  ArrowView Slice(uint64 from, uint64 count) const;
};

/// Checks what an array says of itself against its field: lengths, offsets, counts of NULLs,
/// buffers, children and dictionary, but none of its values. Error 57204 (column, table, what is
/// wrong).
ArrowView OpenArrowArray(const ArrowField& field, const ArrowArray& array,
                         const ArrowReading& reading);
/// The same of a child of which rows from `first` on are wanted.
ArrowView OpenArrowChild(const ArrowView& parent, std::size_t child, uint64 first, uint64 rows,
                         const ArrowReading& reading);

/// The one from OpenArrowArray, about a view's column.
[[noreturn]] void RefuseArrowArray(const ArrowField& field, const ArrowReading& reading,
                                   const XeString& what);
/// Error 57206 (row, column, table, type, value), of a row of the view.
[[noreturn]] void RefuseArrowValue(const ArrowView& view, const ArrowReading& reading, uint64 row,
                                   const XeString& type, const XeString& value);

/// The number of a row as messages give it. Rows of nested values count as theirs alone.
XeString ArrowRowText(const ArrowReading& reading, uint64 row);

/// Writes the validity of the rows as a vector has it.
void CopyArrowValidity(const ArrowView& view, ColumnBuffer& target);

}  // namespace sqxer
