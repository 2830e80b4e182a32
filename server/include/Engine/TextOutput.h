#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

namespace sqxer::engine {

/// How the rows of a statement are written as text.
struct TextOptions {
  enum class Format : std::uint8_t {
    /// Fields parted by commas. NULL is nothing, the empty text is in quotation marks: read back
    /// with the types of its columns, the result is the same.
    kCsv,
    /// An object a line. NaN and infinities are texts.
    kJsonLines,
    /// Aligned columns, and a count of the rows. Their widths are known at the end, so that nothing
    /// is written before the statement has succeeded.
    kTable,
  };
  Format format = Format::kCsv;
  /// Of CSV: whether the first line names the columns.
  bool hasHeader = true;
  /// Whether nothing is written before the statement has succeeded. What waits is in memory, and
  /// beyond 64 MiB in a temporary file.
  bool waitsForEnd = false;
  /// How often the statement is run, over the tables that the first run has read. The rows are
  /// those of the last one.
  int runs = 1;
};

/// Takes the next piece of a text, on the thread that runs the statement. It must not use the
/// session but to cancel.
using WriteText = std::function<void(std::string_view piece)>;

}  // namespace sqxer::engine
