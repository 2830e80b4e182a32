#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Makes text of another encoding UTF-8, piece by piece.
class XEUTILITY_API TextDecoder {
 public:
  /// For an encoding by one of its names, letter case ignored: "UTF-16LE", "ISO-8859-1", "latin1".
  explicit TextDecoder(const std::string& encoding);
  ~TextDecoder();
  TextDecoder(TextDecoder&&) noexcept;
  TextDecoder& operator=(TextDecoder&&) noexcept;

  /// Whether there is an encoding of that name. No other may be decoded.
  bool IsKnown() const { return state_ != nullptr; }

  /// Decodes bytes from the front of `in`, which loses them, into at most `size` bytes at `out`, at
  /// least 16, and returns how many it wrote. The start of a character that ends in a later piece
  /// is kept. Bytes that are no character become one byte FF, which valid UTF-8 has not. With
  /// `isLast` nothing follows behind `in`; all is decoded when `in` is empty and the result 0.
  std::size_t Decode(std::string_view& in, bool isLast, char* out, std::size_t size);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace sqxer
