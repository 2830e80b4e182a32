#pragma once

#include <string_view>

namespace sqxer {

/// Where results go.
class ResultOutput {
 public:
  virtual ~ResultOutput() = default;
  /// Writes all of it.
  virtual void Write(std::string_view bytes) = 0;
  /// Whether it is to see a result only when its statement has succeeded, however large.
  virtual bool TakesWholeResults() const { return false; }
};

}  // namespace sqxer
