#pragma once

#include <memory>

namespace sqxer {

/// An object on the heap that has one owner, or none. Passed by value where ownership moves.
template <class T>
class Heap : public std::unique_ptr<T> {
 public:
  using std::unique_ptr<T>::unique_ptr;
  Heap(std::unique_ptr<T> object) : std::unique_ptr<T>(std::move(object)) {}

  T* Get() const { return this->get(); }
};

}  // namespace sqxer
