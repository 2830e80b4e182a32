#pragma once

#include <cstddef>

namespace sqxer {

struct TerminalSize {
  std::size_t rows = 24;
  std::size_t columns = 80;
};
/// Of the terminal that is standard output; 24 by 80 where it does not tell.
TerminalSize GetTerminalSize();

}  // namespace sqxer
