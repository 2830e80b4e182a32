#pragma once

#include "ResultFormats.h"

namespace sqxer {

/// Aligned columns, numbers to the right: a table with a count of rows, or one of Markdown.
/// Characters that would break the lines are shown as escapes such as \n. Where the lines may be so
/// long only, texts are shortened, and columns in the middle left out.
class AlignedResult final : public RowResult<AlignedResult, FormattedResult> {
 public:
  AlignedResult(ResultOutput& output, const TextLayout& layout)
      : RowResult(output), layout_(layout) {}

 private:
  friend class RowResult<AlignedResult, FormattedResult>;
  struct Column {
    bool isNumber = false;
    /// Whether its values may be shortened; names always may.
    bool isText = false;
    std::size_t nameWidth = 0;
    std::size_t valueWidth = 0;
    /// As shown.
    std::size_t width = 0;
    bool isShown = true;
  };

  void Header() override;
  void PrintRows() override;
  template <class Values>
  void WriteRow(const Values& row);

  bool IsMarkdown() const { return layout_.format == TextFormat::kMarkdown; }
  /// The text as a cell of the format.
  std::string MakeCell(std::string text) const;
  /// Settles which columns are shown, and how wide.
  void Fit();
  /// How wide a line is.
  std::size_t CountLine() const;
  /// Leaves out columns in the middle until the others fit.
  void LeaveOut();
  void AppendLine(std::string& out, const std::vector<std::string>& cells) const;
  std::string MakeRule() const;
  std::string MakeFooter() const;

  const TextLayout layout_;
  std::vector<Column> columns_;
  /// Before which column those stand that are left out.
  std::size_t gap_ = 0;
  ResultSpool spool_;
};

}  // namespace sqxer
