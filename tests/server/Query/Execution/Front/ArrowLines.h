#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "Engine/Engine.h"

/// Results as lines of text, to be compared.

namespace sqxer::test {

/// One column of an array; NULL is "NULL".
inline std::string TextAt(const ArrowSchema& schema, const ArrowArray& array, std::int64_t row) {
  row += array.offset;
  const auto* const validity = static_cast<const std::uint8_t*>(array.buffers[0]);
  if (validity != nullptr && (validity[row / 8] >> (row % 8) & 1) == 0) return "NULL";
  const auto value = [&]<class T>(T) {
    T loaded;
    std::memcpy(&loaded, static_cast<const T*>(array.buffers[1]) + row, sizeof loaded);
    return loaded;
  };
  const std::string format = schema.format;
  if (format == "b") {
    return static_cast<const std::uint8_t*>(array.buffers[1])[row / 8] >> (row % 8) & 1 ? "true"
                                                                                        : "false";
  }
  if (format == "u") {
    const auto* const ends = static_cast<const std::int32_t*>(array.buffers[1]) + row;
    return {static_cast<const char*>(array.buffers[2]) + ends[0],
            static_cast<std::size_t>(ends[1] - ends[0])};
  }
  if (format == "c") return std::to_string(value(std::int8_t()));
  if (format == "C") return std::to_string(value(std::uint8_t()));
  if (format == "s") return std::to_string(value(std::int16_t()));
  if (format == "i" || format == "tdD") return std::to_string(value(std::int32_t()));
  if (format == "I") return std::to_string(value(std::uint32_t()));
  if (format == "g") {
    // To the last bit.
    std::uint64_t bits;
    const double number = value(double());
    std::memcpy(&bits, &number, sizeof bits);
    return std::to_string(number) + "=" + std::to_string(bits);
  }
  if (format.starts_with("d:38,")) {
    const auto* const halves = static_cast<const std::uint64_t*>(array.buffers[1]) + 2 * row;
    return std::to_string(halves[1]) + ":" + std::to_string(halves[0]);
  }
  return std::to_string(value(std::int64_t()));
}

/// Arrow data that is released when it goes out of scope, unless it was handed on.
template <class Data>
struct OwnedArrow {
  Data data = {};
  OwnedArrow() = default;
  OwnedArrow(const OwnedArrow&) = delete;
  OwnedArrow& operator=(const OwnedArrow&) = delete;
  ~OwnedArrow() {
    if (data.release != nullptr) data.release(&data);
  }
};

/// The rows, values parted by bars.
inline std::vector<std::string> LinesOf(engine::Result result) {
  std::vector<std::string> lines;
  OwnedArrow<ArrowSchema> schema;
  result.WriteSchema(&schema.data);
  for (;;) {
    OwnedArrow<ArrowArray> array;
    if (!result.Next(&array.data)) return lines;
    for (std::int64_t row = 0; row < array.data.length; ++row) {
      std::string line;
      for (std::int64_t i = 0; i < schema.data.n_children; ++i) {
        line +=
            (i == 0 ? "" : "|") + TextAt(*schema.data.children[i], *array.data.children[i], row);
      }
      lines.push_back(line);
    }
  }
}

}  // namespace sqxer::test
