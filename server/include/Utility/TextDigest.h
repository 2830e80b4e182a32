#pragma once

#include <string>
#include <string_view>

#include "Utility/Export.h"

namespace sqxer {

/// Digests of bytes in hexadecimal digits, small letters.
class XEUTILITY_API TextDigest {
 public:
  enum class Kind { kMd5, kSha256 };
  static constexpr unsigned CountDigits(Kind kind) { return kind == Kind::kMd5 ? 32 : 64; }
  /// Writes CountDigits characters at `out`.
  static void Write(Kind kind, std::string_view bytes, char* out);
};

}  // namespace sqxer
