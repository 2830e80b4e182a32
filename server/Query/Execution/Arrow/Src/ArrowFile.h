#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include "Engine/ArrowInterface.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Writes Arrow data as a file: the IPC file format, which is Feather, version 2. Bytes are written
/// while arrays come; what reads the file needs its end.
class ArrowFile {
 public:
  using Write = std::function<void(std::string_view bytes)>;

  /// `schema`: a struct of columns of the types that ArrowWriter makes, without dictionaries. It
  /// stays the caller's, as the arrays do.
  ArrowFile(const ArrowSchema& schema, Write write);

  /// The next rows, of that schema and from the start of their buffers.
  void Add(const ArrowArray& rows);
  /// What ends the file.
  void End();

 private:
  struct Field {
    std::string name;
    std::string format;
    bool isNullable = true;
  };
  /// Where a message stands.
  struct Block {
    int64 offset = 0;
    int32 metadataBytes = 0;
    int64 bodyBytes = 0;
  };
  class Builder;

  void Put(const void* bytes, std::size_t count);
  /// Zeros up to the next multiple of eight.
  void Pad();
  Block PutMessage(std::string_view metadata, int64 bodyBytes);

  const Write write_;
  std::vector<Field> fields_;
  std::vector<Block> blocks_;
  int64 written_ = 0;
};

}  // namespace sqxer
