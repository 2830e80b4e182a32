#include "Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace sqxer {

TerminalSize GetTerminalSize() {
  TerminalSize size;
  winsize told = {};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &told) != 0) return size;
  if (told.ws_row != 0) size.rows = told.ws_row;
  if (told.ws_col != 0) size.columns = told.ws_col;
  return size;
}

}  // namespace sqxer
