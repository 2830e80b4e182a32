#pragma once

#include <cstddef>

namespace sqxer {

/// How many columns a line of the terminal has on standard output; 0 where that is none, or does
/// not tell.
std::size_t TerminalWidth();

struct TerminalSize {
  std::size_t rows = 24;
  std::size_t columns = 80;
};
/// Of the terminal that is standard output; 24 by 80 where it does not tell.
TerminalSize GetTerminalSize();

/// Whether what goes to the stream may be coloured: it is a terminal that can, and NO_COLOR is not
/// set.
bool TakesColour(int descriptor);

}  // namespace sqxer
