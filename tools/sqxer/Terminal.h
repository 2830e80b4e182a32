#pragma once

#include <cstddef>
#include <string>

namespace sqxer {

/// How many columns a line has of the terminal that a stream is; 0 where it is none, or does not
/// tell.
std::size_t TerminalWidth(int descriptor);

struct TerminalSize {
  std::size_t rows = 24;
  std::size_t columns = 80;
};
/// Of the terminal that is standard output; 24 by 80 where it does not tell.
TerminalSize GetTerminalSize();

/// The text with blanks behind it, so that it takes so many columns.
std::string PadTo(const std::string& text, std::size_t columns);

/// Whether what goes to the stream may be coloured: it is a terminal that can, and NO_COLOR is not
/// set.
bool TakesColour(int descriptor);

}  // namespace sqxer
