#pragma once

#include "TableError.h"

namespace sqxer {

/// The errors of Arrow data, from 57200 to 57299; the sentences are in the message catalogue.
enum ArrowErrorCode {
  /// table
  kArrowReleased = 57200,
  /// table, what the stream says
  kArrowStreamBroken = 57201,
  /// table, what is wrong
  kArrowNoTable = 57202,
  /// column, table, format, what helps
  kArrowTypeNotRead = 57203,
  /// column, table, what is wrong
  kArrowArrayBroken = 57204,
  /// row, column, table
  kArrowTextInvalid = 57205,
  /// row, column, table, type, value
  kArrowValueUnknown = 57206,
  /// row, column, table, characters, value
  kArrowTextTooLong = 57207,
  /// row, column, table
  kArrowUnexpectedNull = 57208,
  /// column, layout, value
  kArrowValueBeyondLayout = 57220,
  /// column
  kArrowTextsTooLarge = 57221,
  /// column, type
  kArrowTypeNotWritten = 57222,
};

}  // namespace sqxer
