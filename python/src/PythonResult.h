#pragma once

#include <optional>
#include <utility>

#include "Await.h"
#include "Batch.h"
#include "Engine/Engine.h"

namespace sqxer::python {

/// A result, and a batch that was made when a signal came between.
class PythonResult {
 public:
  explicit PythonResult(engine::Result result) : result_(std::move(result)) {}

  engine::Result& Get() { return *result_; }
  std::optional<Batch> Next() {
    if (waiting_) return std::exchange(waiting_, std::nullopt);
    Made made;
    try {
      Await(
          [&] {
            result_->WriteSchema(&made.schema);
            result_->Next(&made.array);
          },
          [] {});
    } catch (...) {
      // The rows are those of the next call.
      waiting_ = made.Take();
      throw;
    }
    return made.Take();
  }

 private:
  /// Released unless it is taken.
  struct Made {
    ArrowSchema schema = {};
    ArrowArray array = {};
    ~Made() {
      if (schema.release != nullptr) schema.release(&schema);
      if (array.release != nullptr) array.release(&array);
    }
    /// Nothing behind the last batch.
    std::optional<Batch> Take() {
      if (array.release == nullptr) return std::nullopt;
      return Batch(&schema, &array);
    }
  };

  Unlocked<engine::Result> result_;
  std::optional<Batch> waiting_;
};

}  // namespace sqxer::python
