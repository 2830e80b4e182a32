#pragma once

#include "RecordSlice.h"
#include "TableError.h"

namespace sqxer {

/// Where the records of a slice stand, for messages. Finding a line may read the file again.
class RecordPlaces {
 public:
  virtual ~RecordPlaces() = default;
  virtual const std::string& GetPath() const = 0;
  /// The line where a row of the slice that is being taken starts.
  virtual RecordPlace PlaceOf(const RecordSlice& slice, uint32 row) const = 0;
};

/// Takes the records of a file, slice by slice.
class SliceSink {
 public:
  virtual ~SliceSink() = default;
  /// The slice and its places are valid during the call. False when no more is wanted.
  virtual bool Take(const RecordSlice& slice, const RecordPlaces& places) = 0;
  /// Whether it looks at a column of the table; others may be missing in the slices. The answer
  /// holds for a slice.
  virtual bool Wants(uint32 /*column*/) const { return true; }
};

}  // namespace sqxer
