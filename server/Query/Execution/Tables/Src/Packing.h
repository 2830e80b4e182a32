#pragma once

#include <functional>
#include <memory>
#include <string_view>

namespace sqxer {

/// Packs bytes while they come.
class Packer {
 public:
  /// Takes packed bytes.
  using Write = std::function<void(std::string_view bytes)>;

  virtual ~Packer() = default;
  virtual void Add(std::string_view bytes) = 0;
  /// Writes what is left, once, behind the last bytes.
  virtual void End() = 0;
};

/// What a file of this name holds by its ending: gzip data (.gz), zstd data (.zst) or, as which it
/// is null, plain bytes.
std::unique_ptr<Packer> MakePacker(std::string_view path, Packer::Write write);

}  // namespace sqxer
