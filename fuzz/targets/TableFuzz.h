#pragma once

#include "Answer.h"

namespace sqxer::fuzz {

/// Reads a file as a table by one thread and by several, and in pieces of which none is kept. The
/// first two must agree to the letter; the last one tells errors where it meets them.
inline void ReadTable(std::string_view content, const TextTableOptions& asked) {
  const MemoryFile file(content);
  const auto read = [&](uint32 threads, std::size_t blockBytes, const char* memory) {
    Session session;
    TextTableOptions options = asked;
    options.file.threads = threads;
    options.file.blockBytes = blockBytes;
    options.file.leastPieceBytes = threads == 1 ? std::size_t{1} << 20 : 16;
    session.SetFileOptions(options);
    session.Set("TableMemory", memory);
    session.AddTable("t", file.GetPath());
    return Answer(session, "SELECT * FROM t");
  };
  const std::string whole = read(1, std::size_t{1} << 16, "64MiB");
  ExpectEqual(read(3, 64, "64MiB"), whole, "three threads");
  const std::string unkept = read(1, 64, "1");
  if (!whole.starts_with("error") && !unkept.starts_with("error")) {
    ExpectEqual(unkept, whole, "nothing kept");
  }
}

}  // namespace sqxer::fuzz
