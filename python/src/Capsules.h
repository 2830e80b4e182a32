#pragma once

#include <nanobind/nanobind.h>

#include <cstring>
#include <memory>

#include "Engine/ArrowInterface.h"

namespace sqxer::python {

namespace nb = nanobind;

template <class Struct>
struct CapsuleName;
template <>
struct CapsuleName<ArrowSchema> {
  static constexpr const char* kName = "arrow_schema";
};
template <>
struct CapsuleName<ArrowArray> {
  static constexpr const char* kName = "arrow_array";
};
template <>
struct CapsuleName<ArrowArrayStream> {
  static constexpr const char* kName = "arrow_array_stream";
};

/// Releases what nobody has taken over.
template <class Struct>
void FreeCapsule(PyObject* capsule) {
  auto* const held =
      static_cast<Struct*>(PyCapsule_GetPointer(capsule, CapsuleName<Struct>::kName));
  if (held->release != nullptr) {
    // It may wait for a thread that needs the lock.
    const nb::gil_scoped_release released;
    held->release(held);
  }
  delete held;
}

/// A capsule of what `fill` puts into the struct.
template <class Struct, class Fill>
nb::object MakeCapsule(Fill&& fill) {
  auto held = std::make_unique<Struct>();
  std::memset(held.get(), 0, sizeof(Struct));
  fill(held.get());
  PyObject* const capsule =
      PyCapsule_New(held.get(), CapsuleName<Struct>::kName, &FreeCapsule<Struct>);
  if (capsule == nullptr) {
    if (held->release != nullptr) held->release(held.get());
    throw nb::python_error();
  }
  held.release();
  return nb::steal(capsule);
}

/// What a capsule holds, which stays the capsule's until it is moved away.
template <class Struct>
Struct* FromCapsule(nb::handle capsule) {
  auto* const held =
      static_cast<Struct*>(PyCapsule_GetPointer(capsule.ptr(), CapsuleName<Struct>::kName));
  if (held == nullptr) throw nb::python_error();
  return held;
}

}  // namespace sqxer::python
