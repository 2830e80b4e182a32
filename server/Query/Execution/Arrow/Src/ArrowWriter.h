#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Engine/ArrowInterface.h"
#include "Table.h"

namespace sqxer {

struct ArrowWriteOptions {
  /// Decimals have a scale each, and columns of Arrow one for all.
  enum class Numerics : uint8 {
    /// int64 where the known rows are whole and have 64 bits and no scale is declared, else a
    /// decimal.
    kSettled,
    /// decimal128(38, s), s being the declared scale, or more digits if the known rows have them.
    kDecimal,
    /// The nearest doubles.
    kDouble,
  };
  Numerics numerics = Numerics::kSettled;
  /// The known rows settle nothing: decimals have this scale, digits beyond it being rounded half
  /// away from zero, and timestamps come by microseconds.
  std::optional<int> fixedScale = {};
  /// Texts as dictionary(int32, utf8), else as plain ones.
  bool keepsDictionaries = false;
  /// Offsets of 64 bits, for more than 2 GiB of texts in one chunk. Chosen without being asked for
  /// where the known rows need it.
  bool largeTexts = false;
};

/// Columns as Arrow data: one schema, and an array for each chunk. Values are shared with the
/// vectors wherever the layouts are the same; what is made keeps them, and may outlive everything
/// else, on any thread.
///
///   bit, 8 to 32 bits, float, double    themselves; bit as uint8
///   boolean                             bool
///   numeric                             as the options say
///   date, time                          date32, time64[ns]
///   timestamp                           timestamp[us], or [ns] where a known row has parts of one
///   texts                               utf8
///
/// A decimal of 38 digits that do not hold all known rows to the last one has those rounded half
/// away from zero, as long as 17 digits are left; nothing else is ever rounded.
class ArrowWriter {
 public:
  /// `known` are the rows that layouts are settled by: best all of them. Error 57222 (column, type)
  /// for a column that cannot be written.
  ArrowWriter(const TableSchema& schema, std::span<const TableChunk> known,
              const ArrowWriteOptions& options);

  /// Nothing is in `out` if these throw. Errors 57220 and 57221 of rows that were not known and do
  /// not fit.
  void WriteSchema(ArrowSchema* out) const;
  void WriteArray(const TableChunk& chunk, ArrowArray* out) const;

 private:
  enum class Layout : uint8 {
    kValues,
    kBits,
    kInt64,
    kDecimal,
    kDouble,
    kMicroseconds,
    kNanoseconds,
    /// Months, days and nanoseconds.
    kIntervals,
    kTexts,
    kLargeTexts,
    kDictionary,
  };
  struct Column {
    XeString name;
    std::string format;
    Layout layout = Layout::kValues;
    bool isNullable = true;
    int scale = 0;
    /// Some known row has more digits behind the point than the scale has room for.
    bool isRounded = false;
    /// What rounding leaves of a number: as much as a double has, unless it was asked for.
    int leastDigits = 17;
  };
  class Arrays;

  static void SettleNumbers(Column& column, const ColumnInfo& info, std::size_t index,
                            std::span<const TableChunk> known, const ArrowWriteOptions& options);
  static void SettleTexts(Column& column, std::size_t index, std::span<const TableChunk> known,
                          const ArrowWriteOptions& options);

  std::vector<Column> columns_;
};

/// What a stream gives.
class ArrowProducer {
 public:
  virtual ~ArrowProducer() = default;
  virtual void WriteSchema(ArrowSchema* out) = 0;
  /// The next array; false, and nothing in `out`, behind the last one.
  virtual bool WriteNext(ArrowArray* out) = 0;
};

/// A stream of what a producer gives, which is destroyed with it. What it throws becomes EINVAL, or
/// ENOMEM, and a sentence that the stream tells from then on: one that broke off stays so.
void GiveArrowStream(std::unique_ptr<ArrowProducer> producer, ArrowArrayStream* out);

}  // namespace sqxer
