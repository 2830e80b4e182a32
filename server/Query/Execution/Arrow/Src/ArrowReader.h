#pragma once

#include <memory>

#include "Engine/ArrowInterface.h"
#include "Table.h"

namespace sqxer {

/// Tables out of Arrow data. Fixed widths, ASCII texts and codes of dictionaries stay where they
/// are, and each array is released when the last vector that shows it goes, on whatever thread.
/// What is checked: all that an array says of itself, offsets, codes, UTF-8, and that dates, times
/// and timestamps can be such. What cannot be known is how long its buffers are.
///
///   bool                             boolean
///   int8 to uint32, float, double    themselves; float16 as float
///   int64, uint64, decimals          numeric, of at most 38 digits
///   durations                        numeric, a count of their unit
///   dates, times                     date, time
///   timestamps                       timestamp; those of a time zone in UTC
///   utf8 of any layout               varchar
///   dictionaries, run-end encoded    as their values
///   null                             varchar, all NULL
///   lists, structs, maps             varchar, JSON
///   binary of any layout             varchar, where asked for
///   intervals                        interval, of whole microseconds
///   unions                           not read
struct ArrowReadOptions {
  /// What the table is called, in messages too.
  XeString name;
  /// Binary columns hold UTF-8, such as JSON documents.
  bool takesBinaryAsText = false;
  /// Characters that texts of a stream may have. 0: 65,536, or four times the longest one of the
  /// first array if that is more.
  uint32 textLength = 0;
};

/// The rows of a stream while it is read; each array gives one chunk or two. Takes over the stream,
/// which is released with it, or when the constructor throws.
class ArrowChunkSource final : public ChunkSource {
 public:
  /// Reads as far as the types need it. Columns that the request does not name stay without values;
  /// those of them that cannot be read have the type XeUnknown. Names that occur twice get a number
  /// behind, empty ones are column1, column2, ... Errors 57200 to 57203, and those of reading.
  ArrowChunkSource(ArrowArrayStream* stream, ArrowReadOptions options, TableRequest request = {});
  ~ArrowChunkSource() override;

  const TableSchema& GetSchema() const;
  /// Errors 57201, 57204 to 57208.
  const TableChunk* Next() override;

 private:
  class Stream;
  std::unique_ptr<Stream> stream_;
};

/// All rows of a stream: texts are as long as the longest one, columns without NULLs are not
/// nullable. Takes over the stream and releases it.
Table ReadArrowTable(ArrowArrayStream* stream, ArrowReadOptions options,
                     const TableRequest& request = {});
/// The same of one array of structs; takes over both.
Table ReadArrowTable(ArrowSchema* schema, ArrowArray* array, ArrowReadOptions options,
                     const TableRequest& request = {});

}  // namespace sqxer
