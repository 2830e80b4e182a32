#pragma once

#include <utility>

namespace sqxer {

/// Puts a value in the place of another one as long as it lives.
template <class Value>
class Instead {
 public:
  Instead(Value& place, Value value) : place_(place), before_(std::move(place)) {
    place_ = std::move(value);
  }
  ~Instead() { place_ = std::move(before_); }
  Instead(const Instead&) = delete;
  Instead& operator=(const Instead&) = delete;

 private:
  Value& place_;
  Value before_;
};

}  // namespace sqxer
