#pragma once

#include <vector>

#include "Utility/Export.h"
#include "Utility/SUDataConvert.h"
#include "Utility/XeRecordMetaData.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Converts stored text of one form (fixed or varying, one byte or four a character) into stored
/// text of four bytes a character, fixed or varying; which of them is decided once, at
/// construction. A byte stands for the character of the same number.
class XEUTILITY_API XeFieldConverter {
 public:
  /// Both types are text types; lengths count characters. `narrowSource`: one byte a character.
  XeFieldConverter(XeDataType sourceType, uint32 sourceLength, bool narrowSource,
                   XeDataType targetType, uint32 targetLength);

  /// Converts the stored value at `source` into the stored form at `target`; a non-zero
  /// `sourceNull` leaves the target an empty text (all blanks in a fixed one). Texts longer than
  /// the target are cut. A fixed source ends at its first zero character, and loses its trailing
  /// blanks on the way to a varying target; a fixed target is filled up with blanks. A zero
  /// character follows the last one: the target has room for the declared length and that
  /// terminator.
  void Convert(const uint8* source, uint8 sourceNull, uint8* target) const;

 private:
  using ConvertFunction = void (*)(const XeFieldConverter&, const uint8*, uint8, uint8*);
  ConvertFunction convert_;
  uint32 sourceLength_;
  uint32 targetLength_;
  friend struct FieldConversion;
};

/// Moves values, in the form in which nodes exchange them, into fields of another type: a text is
/// read as a value of the field's type, a value becomes a text, and days and times become one
/// another. How is decided once, at construction.
///
/// The whole text must read as a value of the field's type (docs/formats.md, Utility/NumberText.h);
/// blanks around it do not matter. Texts are those of WriteText: integers in digits, doubles in the
/// shortest form that reads back, decimals by asString, days and times in ISO 8601, intervals
/// as IntervalText has them, booleans as true and false.
///
/// Or gathers columns of records in rows of another layout, their values unchanged.
class XEUTILITY_API XeFieldDataBinder {
 public:
  /// Moves nothing until another one is assigned to it.
  XeFieldDataBinder() = default;
  /// Lengths are the declared ones of texts, in characters. A pair of types for which CanMove is
  /// false is a broken invariant.
  XeFieldDataBinder(XeDataType sourceType, uint32 sourceLength, XeDataType targetType,
                    uint32 targetLength);

  /// Gathers columns of an input record in a row of another layout: column `columns[i]` goes as it
  /// is stored to the field `firstField + i`, which has its type, length and text width, and is
  /// nullable if the column is. Error 46030 for a column or a field outside its layout.
  XeFieldDataBinder(const XeRecordMetaData& input, const UInt16Vector& columns,
                    const XeRecordMetaData& row, int firstField);
  /// And a number given with each row goes to the unsigned 32-bit field `rowIdField`.
  XeFieldDataBinder(const XeRecordMetaData& input, const UInt16Vector& columns,
                    const XeRecordMetaData& row, int rowIdField, int firstField);

  /// Texts into every type but binaries and boolean; numbers, bits, booleans, days, times and
  /// intervals into texts; a date into a date-time, a time into a date-time, a date-time into
  /// either, and each of them into its own type. No date is made of a time, and no time of a date.
  static bool CanMove(XeDataType source, XeDataType target);

  /// Moves the value at `value` into the stored form at `field`, which is aligned for its type. A
  /// fixed text is read up to its first zero character, if it has one within its length. A text
  /// longer than the field is cut; a fixed field is filled up with blanks, and no zero character
  /// follows in either.
  ///
  /// False when a number is beyond the range of the field, which then stays as it was. Error 59172
  /// (text, type name) for a text that does not read.
  bool MoveDataToIntoField(const void* value, void* field) const {
    return move_(*this, value, field);
  }

  /// A text that does not read is false from now on, and no error.
  void RefuseQuietly() { isQuiet_ = true; }

  /// Fills a row from an input record, for a binder that gathers columns. A NULL leaves the field's
  /// value as it was; of a value of varying length only what it uses is copied.
  void MoveInputDataToFieldDataBinder(const uint8* record, uint32 rowId, uint8* row) const;
  /// The same without a number.
  void MoveColumns(const uint8* record, uint8* row) const;
  /// Reads the column at `index` of those gathered at another place of the input records.
  void SetInputPlace(std::size_t index, uint32 offset, uint32 nullOffset);

 private:
  using MoveFunction = bool (*)(const XeFieldDataBinder&, const void*, void*);
  MoveFunction move_ = nullptr;
  bool isQuiet_ = false;
  XeDataType targetType_ = XeUnknown;
  uint32 sourceLength_ = 0;
  uint32 targetLength_ = 0;

  /// One column on its way into a row.
  struct ColumnMove {
    uint32 sourceOffset;
    /// 0: never NULL.
    uint32 sourceNullOffset;
    uint32 targetOffset;
    /// 0 likewise: byte 0 of a row is unused, and receives that the column is not NULL.
    uint32 targetNullOffset;
    /// Bytes of a stored value, at most.
    uint32 size;
    /// Bytes of a character or byte of a value of varying length, else 0.
    uint32 unit;
  };
  std::vector<ColumnMove> columnMoves_;
  uint32 rowIdOffset_ = 0;
  friend struct FieldMove;
};

}  // namespace sqxer
