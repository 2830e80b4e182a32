#pragma once

#include <memory>

#include "ByteSource.h"
#include "InputFile.h"

namespace sqxer {

/// The text of a file in UTF-8, unpacked and decoded on the way. What the file starts with tells
/// whether it is gzip or zstd data, and a byte order mark, which is left out, the encoding.
class TextFile {
 public:
  /// `encoding` is that of a text without a byte order mark; empty is UTF-8. With
  /// `mayStartThread` unpacking and decoding have a thread of their own. Errors: those of InputFile
  /// and of ByteSource.h, also while reading.
  TextFile(const std::string& path, const std::string& encoding, bool mayStartThread);

  const InputFile& GetFile() const { return *file_; }
  /// The text's encoding by name; empty when it is UTF-8 in the file.
  const std::string& GetEncoding() const { return encoding_; }

  /// The next bytes of the text; as ByteSource.
  std::size_t Read(char* out, std::size_t size) { return source_->Read(out, size); }

  /// Reads what is left, for the error that may stand there.
  void ReadToEnd();
  bool IsPacked() const { return isPacked_; }

  /// Whether the file's own bytes are the text, so that InputFile::ReadAt reads it at any place.
  bool IsPlain() const { return isPlain_; }
  /// Where the text of a plain file starts.
  uint64 GetStart() const { return start_; }

 private:
  std::unique_ptr<InputFile> file_;
  std::string encoding_;
  bool isPacked_ = false;
  bool isPlain_ = false;
  uint64 start_ = 0;
  /// Reads from the file until it is gone.
  std::unique_ptr<ByteSource> source_;
};

}  // namespace sqxer
