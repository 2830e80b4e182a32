#pragma once

#include <optional>
#include <vector>

#include "ArrowView.h"
#include "Catalog.h"
#include "Utility/ColumnVector.h"

namespace sqxer {

/// A column as it was taken over.
struct ArrowColumn {
  ColumnVector vector;
  /// Characters of the longest text; 0 for other types.
  uint32 longest = 0;
};

/// The type that columns of the field have; nothing for one that is not read. `takesBinaryAsText`
/// as ArrowReading has it.
std::optional<XeDataType> TypeOfArrowField(const ArrowField& field, bool takesBinaryAsText);

/// Makes the vector of the rows of a view, whose field has a type. Values are shared with the array
/// where a vector has its layout and 64 bytes behind the rows are known to be there, else copied.
/// Errors 57204 to 57206 about what is not as the field says.
ArrowColumn ReadArrowColumn(const ArrowView& view, const ArrowReading& reading);

/// The arrays of a vector in the making, and what keeps them.
class ArrowParts {
 public:
  explicit ArrowParts(const ArrowReading& reading) : reading_(reading) {}

  /// `bytes` at `data`, aligned as asked for: shared, or copied where fewer than 64 bytes are known
  /// to stand `behind` them.
  const uint8* Share(const uint8* data, uint64 bytes, uint64 behind, uint64 alignment);
  /// Room for so many bytes of the vector's own.
  uint8* MakeRoom(uint64 bytes);
  /// Gives a vector, complete but for that, the number of the view's rows, its owner and the
  /// validity: the view's, unless another one is given.
  void Finish(const ArrowView& view, ColumnVector& vector,
              std::optional<ColumnBuffer> validity = std::nullopt);

 private:
  const ArrowReading& reading_;
  std::vector<ColumnBuffer> buffers_;
  bool isShared_ = false;
};

// The columns of one family of kinds each.
ColumnVector ReadArrowNumbers(const ArrowView& view, const ArrowReading& reading);
ColumnVector ReadArrowTimes(const ArrowView& view, const ArrowReading& reading);
ColumnVector ReadArrowIntervals(const ArrowView& view, const ArrowReading& reading);
ArrowColumn ReadArrowTexts(const ArrowView& view, const ArrowReading& reading);
/// Of a dictionary, or of runs.
ArrowColumn ReadArrowCodes(const ArrowView& view, const ArrowReading& reading);
/// Of nested values: a JSON text each.
ArrowColumn ReadArrowJson(const ArrowView& view, const ArrowReading& reading);

/// The second buffer's values as they stand, as a vector of a form of their width.
ColumnVector ShareArrowValues(const ArrowView& view, const ArrowReading& reading, ColumnForm form,
                              int scale = 0);

/// A vector of a form made value by value: convert(value, out) gives false for what is refused,
/// which refuse(row) then tells, unless the row is NULL. What stands at a NULL is converted too.
template <class From, class To, class Convert, class Refuse>
ColumnVector ConvertArrowValues(const ArrowView& view, const ArrowReading& reading, ColumnForm form,
                                Convert&& convert, Refuse&& refuse) {
  ArrowParts parts(reading);
  ColumnVector vector;
  vector.form = form;
  auto* const out = reinterpret_cast<To*>(parts.MakeRoom(view.rows * sizeof(To)));
  for (uint64 row = 0; row < view.rows; ++row) {
    if (!convert(view.Get<From>(1, row), out[row]) && !view.IsNull(row)) refuse(row);
  }
  vector.values = reinterpret_cast<const uint8*>(out);
  parts.Finish(view, vector);
  return vector;
}

}  // namespace sqxer
