#pragma once

#include <sys/stat.h>

#include <fstream>
#include <string>
#include <thread>

#include "TextTable.h"
#include "server/Query/Execution/Engine/SessionTesting.h"

namespace sqxer::test {

/// Tables read in small pieces, from files and through pipes.
class StreamTest : public SessionTest {
 protected:
  TextTableOptions Options(uint32 threads) {
    TextTableOptions options;
    options.file.threads = threads;
    options.file.blockBytes = 4096;
    options.file.leastPieceBytes = 4096;
    return options;
  }

  /// The rows or the error of a statement over the table t, of a file or through a pipe.
  std::string Outcome(const std::string& path, const std::string& sql, const char* memory,
                      uint32 threads, const std::string& piped = "",
                      const std::string& schema = "") {
    std::thread writer;
    if (!piped.empty()) {
      mkfifo(path.c_str(), 0600);
      writer = std::thread([&] { std::ofstream(path, std::ios::binary) << piped; });
    }
    Session session;
    session.Set("TableMemory", memory);
    session.SetFileOptions(Options(threads));
    session.AddTable("t", path);
    if (!schema.empty()) session.SetSchema("t", schema);
    std::string rows;
    const std::string error = ErrorOf(folder_.Path(), [&] { rows = RunSql(session, sql); });
    // A statement that is satisfied leaves the writer with a pipe that nobody reads.
    session = Session();
    if (writer.joinable()) writer.join();
    return error == "no error" ? rows : error;
  }
};

}  // namespace sqxer::test
