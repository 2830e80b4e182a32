#pragma once

#include <exception>
#include <source_location>
#include <string>
#include <vector>

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// An error that a query can cause: a code and text arguments, from which the catalogue makes one
/// English sentence. Thrown by value through SUGThrow, caught by reference.
class XEUTILITY_API ErrorMessage : public std::exception {
 public:
  static constexpr int64 kNoRow = -1;
  static constexpr int kNoPosition = -1;

  /// `value`, the one that was refused, is no argument: it follows the sentence behind a colon.
  explicit ErrorMessage(int code, std::vector<XeString> arguments = {}, const XeString& value = {});

  int GetCode() const { return code_; }
  const std::vector<XeString>& GetArguments() const { return arguments_; }

  /// The catalogue's sentence for code and arguments; an unknown code gives its number and
  /// arguments.
  XeString GetText() const;
  /// The sentence as UTF-8. Valid as long as the object.
  const char* what() const noexcept override { return text_.c_str(); }

  /// Byte offset in the SQL text of what caused the error, or kNoPosition. The first one set stays:
  /// the innermost place is the most useful one.
  int GetSourcePosition() const { return position_; }
  void SetSourcePosition(int position) {
    if (position_ == kNoPosition && !isOfStatement_) position_ = position;
  }
  /// Number of the input row (1 is the first) that was being evaluated, or kNoRow. The first one
  /// set stays.
  int64 GetRowNumber() const { return row_; }
  void SetRowNumber(int64 row) {
    if (row_ == kNoRow && !isOfStatement_) row_ = row;
  }

  /// It is one of the statement as a whole, such as of a limit: where it came up says nothing.
  bool IsOfStatement() const { return isOfStatement_; }
  void SetOfStatement() { isOfStatement_ = true; }

  /// Columns that the failed expression reads, and their values for the row, as results show them.
  struct Input {
    XeString column;
    /// UTF-8.
    std::string value;
    bool operator==(const Input&) const = default;
  };
  const std::vector<Input>& GetInputs() const { return inputs_; }
  /// Each column is told once.
  void AddInput(const XeString& column, const std::string& value);

  /// Where in this program it was raised (set by SUGThrow).
  const char* GetFile() const { return file_; }
  int GetLine() const { return line_; }
  void SetRaisedAt(const char* file, int line) {
    file_ = file;
    line_ = line;
  }

 private:
  int code_;
  int position_ = kNoPosition;
  int64 row_ = kNoRow;
  bool isOfStatement_ = false;
  const char* file_ = "";
  int line_ = 0;
  std::vector<XeString> arguments_;
  std::vector<Input> inputs_;
  std::string text_;
};

/// Records the place of the call in the message and throws it.
[[noreturn]] XEUTILITY_API void SUGThrow(
    ErrorMessage message, std::source_location where = std::source_location::current());

/// One row of the message catalogue: "{0}", "{1}" in the text stand for the arguments.
struct ErrorCatalogueEntry {
  int code;
  int arguments;
  const char* text;
};

/// The whole catalogue in ascending order of code, for documents and tests.
XEUTILITY_API const std::vector<ErrorCatalogueEntry>& ErrorCatalogue();

}  // namespace sqxer
