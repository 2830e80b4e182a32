#include "Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "Engine/TextOutput.h"

namespace sqxer {

std::size_t TerminalWidth(int descriptor) {
  winsize size{};
  if (!isatty(descriptor) || ioctl(descriptor, TIOCGWINSZ, &size) != 0) return 0;
  return size.ws_col;
}

TerminalSize GetTerminalSize() {
  TerminalSize size;
  winsize told{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &told) != 0) return size;
  if (told.ws_row != 0) size.rows = told.ws_row;
  if (told.ws_col != 0) size.columns = told.ws_col;
  return size;
}

std::string PadTo(const std::string& text, std::size_t columns) {
  const std::size_t taken = engine::CountColumns(text);
  return text + std::string(taken < columns ? columns - taken : 0, ' ');
}

bool TakesColour(int descriptor) {
  const char* const refused = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  const bool isRefused = refused != nullptr && *refused != 0;
  const bool isPlain = terminal == nullptr || std::string_view(terminal) == "dumb";
  return isatty(descriptor) && !isRefused && !isPlain;
}

}  // namespace sqxer
