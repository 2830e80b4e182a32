#pragma once

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// What is known of the data types alone: names, classes, promotion and union types.
class XEUTILITY_API SUXeDataTypeUtility {
 public:
  /// How the text of a column is stored, when it differs from the record's own rule.
  enum ColumnUnicodeProperty {
    kAcceptRecordDefault = 0,
    kOverrideAsUnicode = 1,
    kOverrideAsNarrowCode = 2,
    kOverrideAsNarrowUTF8Code = 3,
  };

  /// The display name used in error texts and by EXPLAIN, such as INTEGER or VARCHAR.
  static void GetXeDataTypeName(XeDataType type, XeString& name);
  static XeString GetXeDataTypeName(XeDataType type);

  /// The computation type to which a stored type is promoted: the 8- and 16-bit integers to
  /// XeInt4Data, float to double, money and decimal to numeric, varying text and binary to their
  /// long form, dates, times and timestamps to XeDateTimeData; every other type to itself.
  static XeDataType GetPromotedDataType(XeDataType type);

  /// Whether two branch types have a common type, and which. The full table is in
  /// docs/types.md: numeric types (bit and boolean among them) meet as in arithmetic, texts meet in
  /// the long form, binaries likewise, dates and times meet in the date-time; equal types always
  /// meet. GetUnionDataType of incompatible types returns its second argument.
  static bool AreUnionCompatible(XeDataType a, XeDataType b);
  static XeDataType GetUnionDataType(XeDataType a, XeDataType b);

  /// The signed and unsigned integers of 8, 16 and 32 bits (not bit, not boolean).
  static bool IsXeIntegerType(XeDataType type);
  /// Integers, float, double, money, numeric, decimal.
  static bool IsXeNumericType(XeDataType type);
  /// Char, varchar, long varchar.
  static bool IsXeTextType(XeDataType type);
  static bool IsXeBinaryType(XeDataType type);
  /// Date, time, date-time, timestamp.
  static bool IsXeDateTimeDerivedType(XeDataType type);
};

}  // namespace sqxer
