#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "Engine/Error.h"

namespace sqxer::engine {

/// How the rows of a statement are written as text.
struct TextOptions {
  enum class Format : std::uint8_t {
    /// Fields parted by commas. NULL is nothing, the empty text is in quotation marks: read back
    /// with the types of its columns, the result is the same.
    kCsv,
    /// The same, parted by tabs.
    kTsv,
    /// An object a line. NaN and infinities are texts.
    kJsonLines,
    /// Aligned columns, and a count of the rows. Their widths are known at the end, so that nothing
    /// is written before the statement has succeeded. As in all forms for people, decimals that do
    /// not end have 16 digits.
    kTable,
    /// The value of a column a line.
    kLines,
    /// A table of Markdown, aligned, too.
    kMarkdown,
    /// A table of HTML.
    kHtml,
    /// Bars of the numbers behind a column of labels, or lines over one of numbers, dates or times;
    /// a column with "trend" in its name is a line among points. In characters, and as a document
    /// of SVG. Errors 57170 and 57171.
    kChart,
    kSvg,
    /// No text, but a file of Arrow's IPC format, which is Feather, version 2. Its rows are kept in
    /// memory until the statement has succeeded.
    kArrow,
  };
  Format format = Format::kCsv;
  /// Of kCsv and kTsv: whether the first line names the columns.
  bool hasHeader = true;
  /// Of kTable and kChart: how many columns of a terminal a line may take, 0 for any number. Texts
  /// that are too long end with an ellipsis, and columns in the middle are left out, the count of
  /// the rows saying so.
  std::size_t width = 0;
  /// Of kTable and kLines: how many rows are shown, 0 for all; the others are counted.
  std::uint64_t mostRows = 0;
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

/// Columns of a terminal that a text takes: East Asian characters take two, combining ones none.
SQXER_ENGINE_API std::size_t CountColumns(std::string_view text);

}  // namespace sqxer::engine
