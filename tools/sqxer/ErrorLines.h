#pragma once

#include <fmt/format.h>

#include <cstddef>
#include <cstdio>
#include <string>
#include <utility>

#include "Engine/Error.h"

namespace sqxer {

/// Writes a line to standard error. One that is full or closed has nobody to tell it to.
template <class... Parts>
void PrintLine(fmt::format_string<Parts...> format, Parts&&... parts) {
  const std::string line = fmt::format(format, std::forward<Parts>(parts)...) + '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

/// Errors and warnings are objects of JSON from now on, a line each.
void UseJsonErrors();

/// Where memory has run out the sentence must not need any.
void PrintOutOfMemory();

/// A signal has ended a statement. The handlers of signals may say so.
void PrintCancelled();

/// What a line quotes may break it, or give orders to the terminal: blanks for control characters.
std::string OnOneLine(std::string text);

/// The error on standard error, with its place in the whole SQL text, in which its statement starts
/// at the offset; below it the line of SQL with a mark under the place, and what the columns hold
/// that the failed expression reads.
void PrintError(const engine::Error& error, const std::string& sql = {},
                std::size_t statementOffset = 0);

/// An error, or a warning, that is no more than a sentence.
void PrintError(const std::string& sentence);
void PrintWarning(const std::string& sentence);

}  // namespace sqxer
