#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Engine/ArrowInterface.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// The layouts of Arrow that are read.
enum class ArrowKind : uint8 {
  kNotRead,
  kNull,
  kBool,
  kInt8,
  kUInt8,
  kInt16,
  kUInt16,
  kInt32,
  kUInt32,
  kInt64,
  kUInt64,
  kFloat16,
  kFloat32,
  kFloat64,
  kDecimal,
  /// Days, or milliseconds of whole days.
  kDate32,
  kDate64,
  kTime32,
  kTime64,
  kTimeStamp,
  kDuration,
  // Intervals: months; days and milliseconds; months, days and nanoseconds.
  kMonths,
  kDayTime,
  kMonthDayNano,
  // Texts and bytes, by how they are laid out.
  kBytes,
  kLargeBytes,
  kBytesView,
  kFixedBytes,
  kList,
  kLargeList,
  kListView,
  kLargeListView,
  kFixedList,
  kStruct,
  kMap,
  kRunEnd,
};

/// A column as an ArrowSchema describes it, or a part of one.
struct ArrowField {
  XeString name;
  /// The names from the column inward, as messages name it.
  XeString path;
  std::string format;
  ArrowKind kind = ArrowKind::kNotRead;
  bool isNullable = true;
  /// Of kBytes and its like: UTF-8, not any bytes.
  bool isText = false;
  /// Bytes of a decimal or of kFixedBytes; items of kFixedList.
  int32 width = 0;
  /// Of a decimal.
  int scale = 0;
  /// Units of a time, timestamp or duration in a second.
  int64 perSecond = 1;
  std::vector<ArrowField> children;
  /// What the values of this field, which are its codes, stand for; null without a dictionary.
  std::shared_ptr<const ArrowField> dictionary;
};

/// A value of kMonthDayNano.
struct ArrowInterval {
  int32 months = 0;
  int32 days = 0;
  int64 nanoseconds = 0;
};

/// Copies what a schema says; it is not kept. Error 57202 (table, what is wrong) where it breaks
/// the rules of the interface. Types that are not read are kNotRead.
ArrowField ReadArrowField(const ArrowSchema& schema, const XeString& table);

/// Buffers of an array of the field: exactly so many, but at least so many for kBytesView.
int64 CountArrowBuffers(ArrowKind kind);
/// Whether the arrays have a validity buffer, the first one.
bool HasArrowValidity(ArrowKind kind);

}  // namespace sqxer
