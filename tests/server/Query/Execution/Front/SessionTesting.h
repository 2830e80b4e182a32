#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "Engine/Engine.h"
#include "server/Query/Execution/Engine/TemporaryFolder.h"

namespace sqxer::test {

/// A session of the engine's header over a folder of its own.
class SessionOfFolder : public testing::Test {
 protected:
  SessionOfFolder() { session_.SetDirectory(folder_.Path()); }

  /// What a statement gives, as the command writes it by default.
  std::string Write(const std::string& sql) {
    std::string text;
    session_.Write(sql, [&](std::string_view piece) { text += piece; });
    return text;
  }
  /// The code and the sentence of the error that a statement ends with.
  std::string ErrorOf(const std::string& sql) {
    try {
      session_.Query(sql);
    } catch (const engine::Error& error) {
      row_ = error.GetRow();
      return std::to_string(error.GetCode()) + ": " + error.what();
    }
    return {};
  }

  TemporaryFolder folder_;
  engine::Session session_;
  /// That of the last error; -1 for none.
  std::int64_t row_ = -1;
};

}  // namespace sqxer::test
