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
    ArrowSchema schema = {};
    ArrowArray array = {};
    bool hasNext = false;
    const auto take = [&]() -> std::optional<Batch> {
      if (!hasNext) return std::nullopt;
      return Batch(schema, array);
    };
    try {
      Await(
          [&] {
            result_->WriteSchema(&schema);
            hasNext = result_->Next(&array);
          },
          [] {});
    } catch (...) {
      // The rows are those of the next call.
      waiting_ = take();
      if (!waiting_ && schema.release != nullptr) schema.release(&schema);
      throw;
    }
    if (!hasNext) schema.release(&schema);
    return take();
  }

 private:
  Unlocked<engine::Result> result_;
  std::optional<Batch> waiting_;
};

}  // namespace sqxer::python
