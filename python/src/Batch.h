#pragma once

#include <nanobind/nanobind.h>

#include <memory>
#include <string>
#include <vector>

#include "Engine/ArrowInterface.h"

namespace sqxer::python {

namespace nb = nanobind;

/// Some rows of a result with their schema, kept as long as anything shows them.
class Batch {
 public:
  /// Takes over both; neither, if it throws.
  Batch(ArrowSchema* schema, ArrowArray* array);

  int64_t CountRows() const { return held_->array.length; }
  /// For each column its format, null count, offset, length, buffers (their bytes, or None for one
  /// that is not there), and the same of its dictionary, or None.
  nb::list GetColumns() const;
  /// A capsule of the schema and one of the array, both of which keep this batch.
  nb::tuple Export() const;

 private:
  struct Held {
    ArrowSchema schema = {};
    ArrowArray array = {};
    ~Held() {
      if (schema.release != nullptr) schema.release(&schema);
      if (array.release != nullptr) array.release(&array);
    }
  };
  std::shared_ptr<Held> held_;
};

/// A column that Python has made: an Arrow format, and objects that show the bytes of its buffers.
struct PythonColumn {
  std::string name;
  std::string format;
  int64_t length;
  int64_t nullCount;
  std::vector<nb::object> buffers;
};

/// A stream of one batch of such columns, which keeps what they show.
void MakeStream(std::vector<PythonColumn> columns, int64_t rows, ArrowArrayStream* out);

}  // namespace sqxer::python
