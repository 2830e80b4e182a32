// SQL over a file, in a program that takes in sqxer::engine: rows come as Arrow data or as text.
#include <Engine/Engine.h>

#include <cstdio>

int main(int count, char** arguments) {
  using namespace sqxer::engine;
  try {
    Session session;
    session.SetDirectory(count > 1 ? arguments[1] : "examples/data");
    Result result = session.Query(
        "SELECT \"Wildlife Size\" AS size, COUNT(*) AS strikes FROM birdstrikes "
        "GROUP BY size ORDER BY size");
    ArrowArray batch;
    while (result.Next(&batch)) {
      const ArrowArray& sizes = *batch.children[0];
      const auto* const offsets = static_cast<const int32_t*>(sizes.buffers[1]);
      const auto* const texts = static_cast<const char*>(sizes.buffers[2]);
      const auto* const strikes = static_cast<const int32_t*>(batch.children[1]->buffers[1]);
      for (int64_t row = 0; row < batch.length; ++row) {
        std::printf("%-8.*s %d\n", offsets[row + 1] - offsets[row], texts + offsets[row],
                    strikes[row]);
      }
      batch.release(&batch);
    }
    session.Write("SELECT COUNT(*) AS strikes, AVG(\"Cost Total $\") AS cost FROM birdstrikes",
                  [](std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); });
    session.Query("SELECT 1 / 0");
  } catch (const Error& error) {
    std::printf("error %d at byte %lld: %s\n", error.GetCode(),
                static_cast<long long>(error.GetPosition()), error.what());
  }
}
