#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Completion.h"
#include "HistoryFile.h"

namespace sqxer {

/// Reads lines that a person types on the terminal that is standard input and output, in UTF-8.
/// There is one at a time.
class LineEditor {
 public:
  enum class Outcome {
    kLine,
    /// Ctrl-C.
    kInterrupted,
    /// Ctrl-D on an empty line, or a signal that ends the process.
    kEnd,
  };
  /// Completes what stands before the cursor, given what stands behind it.
  using Complete = std::function<Completion(std::string_view before, std::string_view after)>;

  LineEditor(HistoryFile history, Complete complete);
  ~LineEditor();
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;

  /// The line without its end; one that is recalled from the history may be several.
  Outcome Read(const std::string& prompt, std::string& line);
  /// Puts what was typed into the history; the same one twice in a row is one.
  void Remember(const std::string& entry);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace sqxer
