#pragma once

#include <utility>

#include "Engine/ArrowInterface.h"

namespace sqxer {

/// Owns an ArrowSchema, ArrowArray or ArrowArrayStream: released once, unless it was moved away.
template <class Struct>
class ArrowHandle {
 public:
  ArrowHandle() = default;
  /// Takes over what `source` holds, which is marked as released there.
  explicit ArrowHandle(Struct* source) : struct_(*source) { source->release = nullptr; }
  ArrowHandle(ArrowHandle&& other) noexcept : ArrowHandle(&other.struct_) {}
  ArrowHandle& operator=(ArrowHandle&& other) noexcept {
    std::swap(struct_, other.struct_);
    return *this;
  }
  ~ArrowHandle() {
    if (struct_.release != nullptr) struct_.release(&struct_);
  }

  Struct* Get() { return &struct_; }
  const Struct& operator*() const { return struct_; }
  const Struct* operator->() const { return &struct_; }
  /// Whether there is nothing, or it was released.
  bool IsReleased() const { return struct_.release == nullptr; }

 private:
  Struct struct_ = {};
};

}  // namespace sqxer
