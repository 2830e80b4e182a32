#pragma once

#include <ostream>

#include "Utility/XeTypes.h"

namespace sqxer {

/// Diagnostic output. Does not own the stream.
class StreamPrinter {
 public:
  explicit StreamPrinter(std::ostream& out) : out_(out) {}
  void Print(const char* text) { out_ << text << '\n'; }

 private:
  std::ostream& out_;
};

}  // namespace sqxer
