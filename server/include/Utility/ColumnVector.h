#pragma once

#include <bit>
#include <limits>
#include <memory>
#include <type_traits>
#include <vector>

#include "Utility/Export.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeInterval.h"
#include "Utility/XeTypes.h"

/// The forms in which columns are held: the contract between those who fill columns (readers of
/// files, other systems' memory) and those who read them (scans into records, evaluation over whole
/// columns). They are the layouts of Arrow where it has the type, so that its columns can be taken
/// over as they stand: values side by side, one validity bit a row, texts as offsets into one run
/// of characters, dictionaries as codes into another vector.

namespace sqxer {

/// How the values of a vector are held.
enum class ColumnForm : uint8 {
  /// Integers and floating-point numbers as records hold them. Bits and booleans are kUInt8, 0
  /// or 1.
  kInt8,
  kUInt8,
  kInt16,
  kUInt16,
  kInt32,
  kUInt32,
  kFloat32,
  kFloat64,
  /// int32, days since 1970-01-01.
  kDay32,
  /// int64, nanoseconds since midnight.
  kTime64,
  /// int64, microseconds since 1970-01-01 00:00.
  kTimeStamp64,
  /// XeDateTime as records hold it: where some value has parts of a microsecond.
  kDateTime,
  /// XeInterval as records hold it.
  kInterval,
  /// int64, the value times ten to the power of the vector's scale.
  kDecimal64,
  /// int128 of at most 38 digits, aligned to its size, the value times ten to the power of the
  /// vector's scale (0 to 38): where 64 bits of one scale do not hold all values.
  kDecimal128,
  /// VelmarNumber as records hold it: where the other two do not hold all values.
  kNumber,
  /// Texts whose characters all lie below U+0100, one byte each.
  kText8,
  /// Texts of four bytes a character.
  kText32,
};

constexpr bool IsTextForm(ColumnForm form) {
  return form == ColumnForm::kText8 || form == ColumnForm::kText32;
}

/// Bytes of a value; of a character for texts.
constexpr uint32 WidthOfForm(ColumnForm form) {
  switch (form) {
    case ColumnForm::kInt8:
    case ColumnForm::kUInt8:
    case ColumnForm::kText8:
      return 1;
    case ColumnForm::kInt16:
    case ColumnForm::kUInt16:
      return 2;
    case ColumnForm::kInt32:
    case ColumnForm::kUInt32:
    case ColumnForm::kFloat32:
    case ColumnForm::kDay32:
    case ColumnForm::kText32:
      return 4;
    case ColumnForm::kFloat64:
    case ColumnForm::kTime64:
    case ColumnForm::kTimeStamp64:
    case ColumnForm::kDecimal64:
      return 8;
    case ColumnForm::kDateTime:
      return sizeof(XeDateTime);
    case ColumnForm::kInterval:
      return sizeof(XeInterval);
    case ColumnForm::kDecimal128:
      return sizeof(int128);
    case ColumnForm::kNumber:
      return sizeof(VelmarNumber);
  }
  return 0;
}

/// Calls use(std::type_identity<T>) with the type of the numbers that the values of a form are;
/// false, and nothing called, for texts, for the forms of records and for 128 bits.
template <class Use>
bool WithNumberType(ColumnForm form, Use&& use) {
  switch (form) {
    case ColumnForm::kInt8:
      return use(std::type_identity<int8>()), true;
    case ColumnForm::kUInt8:
      return use(std::type_identity<uint8>()), true;
    case ColumnForm::kInt16:
      return use(std::type_identity<int16>()), true;
    case ColumnForm::kUInt16:
      return use(std::type_identity<uint16>()), true;
    case ColumnForm::kInt32:
    case ColumnForm::kDay32:
      return use(std::type_identity<int32>()), true;
    case ColumnForm::kUInt32:
      return use(std::type_identity<uint32>()), true;
    case ColumnForm::kTime64:
    case ColumnForm::kTimeStamp64:
    case ColumnForm::kDecimal64:
      return use(std::type_identity<int64>()), true;
    case ColumnForm::kFloat32:
      return use(std::type_identity<float32>()), true;
    case ColumnForm::kFloat64:
      return use(std::type_identity<float64>()), true;
    case ColumnForm::kDateTime:
    case ColumnForm::kInterval:
    case ColumnForm::kDecimal128:
    case ColumnForm::kNumber:
    case ColumnForm::kText8:
    case ColumnForm::kText32:
      return false;
  }
  return false;
}

/// Doubles as integers of the same order, NaN last; the zeros are equal, and so are all NaN.
inline int64 OrderedBits(float64 value) {
  // The negative zero becomes the other one.
  value += 0.0;
  if (value != value) value = std::numeric_limits<float64>::quiet_NaN();
  const auto bits = std::bit_cast<int64>(value);
  return bits ^ (bits >> 63 & std::numeric_limits<int64>::max());
}
inline float64 FromOrderedBits(int64 ordered) {
  return std::bit_cast<float64>(ordered ^ (ordered >> 63 & std::numeric_limits<int64>::max()));
}

/// Rows that share a ColumnBlock; a batch of evaluation has as many.
inline constexpr uint32 kColumnBlockRows = 2048;

template <class Value>
struct ColumnBounds {
  Value least;
  Value greatest;
};

/// What is known of the values of a block of rows without reading them.
struct ColumnBlock {
  /// How many rows it has; 0 where what is known is not that of a column's own values.
  uint32 rows = 0;
  uint32 nulls = 0;
  /// Some text ends in a blank, which comparisons do not count.
  bool endsInBlank = false;
  /// `whole` (integers, days, times, decimals of the vector's scale), `wide` (kDecimal128) or
  /// `real` (floating point) hold the least and the greatest value, `texts` (kText8) the first rows
  /// of the block, from 0, whose texts are these: by code point, not cut, and whatever blanks end
  /// them. Not so for the other forms, for a block of NULLs, for one with a NaN, and for
  /// dictionaries of many entries.
  bool hasBounds = false;
  union {
    ColumnBounds<int64> whole = {0, 0};
    ColumnBounds<int128> wide;
    ColumnBounds<float64> real;
    ColumnBounds<uint16> texts;
  };
};

/// The values of a column for a number of rows, or the texts of a dictionary. A view: `owner` keeps
/// what the pointers point to, for as long as any copy of the vector lives, and nobody writes there
/// any more. Every array may be read 64 bytes beyond its end.
struct XEUTILITY_API ColumnVector {
  ColumnForm form = ColumnForm::kInt32;
  /// Digits behind the point of kDecimal64 and kDecimal128.
  int16 scale = 0;
  /// Bytes of a code where `dictionary` is set: 1, 2 or 4.
  uint8 codeWidth = 0;
  /// 4 or 8 bytes an offset, of texts.
  uint8 offsetWidth = 4;
  /// Of texts: no character above U+007F, so that they are their own UTF-8.
  bool isAscii = false;
  uint64 rows = 0;

  /// Values; the characters of all rows for texts; unsigned codes where `dictionary` is set. What
  /// stands at a NULL has no meaning; a code there may have no entry.
  const uint8* values = nullptr;
  /// rows + 1 positions in `values`, counted in characters; null for other forms than texts, and
  /// with a dictionary.
  const uint8* offsets = nullptr;
  /// One bit a row, lowest first, set where the row has a value; null when every row has.
  const uint64* validity = nullptr;
  /// The values that the codes stand for: a vector of `form` without NULLs and without a dictionary
  /// of its own. Entries need not be in use, nor differ.
  std::shared_ptr<const ColumnVector> dictionary;
  /// One for each kColumnBlockRows rows; empty when nothing is known.
  std::vector<ColumnBlock> blocks;
  std::shared_ptr<const void> owner;

  bool IsNull(uint64 row) const {
    return validity != nullptr && (validity[row / 64] >> (row % 64) & 1) == 0;
  }
  /// The entry of a row that is not NULL.
  uint64 GetCode(uint64 row) const {
    switch (codeWidth) {
      case 1:
        return values[row];
      case 2:
        return reinterpret_cast<const uint16*>(values)[row];
      default:
        return reinterpret_cast<const uint32*>(values)[row];
    }
  }
  uint64 GetOffset(uint64 row) const {
    return offsetWidth == 4 ? reinterpret_cast<const uint32*>(offsets)[row]
                            : reinterpret_cast<const uint64*>(offsets)[row];
  }
  /// Bytes of memory that the vector's arrays take, its dictionary's included.
  uint64 GetBytes() const;
};

/// Fills in what is known of the rows from `first` (a multiple of kColumnBlockRows) to `end`, as
/// one block. `textEndsInBlank` is handed through.
XEUTILITY_API ColumnBlock DescribeBlock(const ColumnVector& vector, uint64 first, uint64 end,
                                        bool textEndsInBlank);

/// A day, time or date-time in the stored forms and back. XeDateTime with parts of a microsecond
/// has no kTimeStamp64.
XEUTILITY_API int32 ToDay32(const XeDate& date);
XEUTILITY_API XeDate FromDay32(int32 day);
XEUTILITY_API int64 ToTime64(const XeTime& time);
XEUTILITY_API XeTime FromTime64(int64 nanoseconds);
XEUTILITY_API bool TryTimeStamp64(const XeDateTime& value, int64& microseconds);
XEUTILITY_API XeDateTime FromTimeStamp64(int64 microseconds);

}  // namespace sqxer
