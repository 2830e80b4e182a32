#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "InputFile.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Bytes that come one after another: of a file, or made of those of another source.
class ByteSource {
 public:
  virtual ~ByteSource() = default;
  /// Writes up to `size` bytes, at least one but at the end, and returns how many.
  virtual std::size_t Read(char* out, std::size_t size) = 0;
  /// Makes a Read that waits on another thread return 0 soon.
  virtual void Interrupt() {}
};

/// A source whose next bytes may be looked at before they are read.
class PeekingSource final : public ByteSource {
 public:
  explicit PeekingSource(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {}
  /// The next `size` bytes, fewer at the end. Valid until the next call.
  std::string_view Peek(std::size_t size);
  void Skip(std::size_t size) { head_.erase(0, size); }
  std::size_t Read(char* out, std::size_t size) override;
  void Interrupt() override { source_->Interrupt(); }

 private:
  std::unique_ptr<ByteSource> source_;
  std::string head_;
};

/// What compressed data of `source` hold: members (gzip) or frames (zstd) one after another, as
/// compressors join files. Error 57021 (file, reason) for data that are damaged or end too early;
/// zeros behind the last member are padding.
std::unique_ptr<ByteSource> UnpackGzip(std::unique_ptr<ByteSource> source, const std::string& path);
std::unique_ptr<ByteSource> UnpackZstd(std::unique_ptr<ByteSource> source, const std::string& path);

/// How many bytes a packed file says that it holds, behind gzip data or before zstd ones. Of files
/// joined together, and beyond 4 GiB, that is fewer than it does; 0 when it does not say.
uint64 TellUnpackedBytes(const InputFile& file);

/// The text of `source` in UTF-8, for an encoding by its name. A byte that is no part of a
/// character becomes the byte FF, which no valid UTF-8 has, so that whoever reads the text finds
/// the place. Error 57023 (name).
std::unique_ptr<ByteSource> DecodeText(std::unique_ptr<ByteSource> source,
                                       const std::string& encoding);

/// The same bytes, read on a thread of its own that is a few blocks ahead. What `source` throws is
/// thrown by the Read that comes to it.
std::unique_ptr<ByteSource> ReadAhead(std::unique_ptr<ByteSource> source);

}  // namespace sqxer
