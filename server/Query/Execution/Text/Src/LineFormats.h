#pragma once

#include "ResultFormats.h"

namespace sqxer {

/// Fields parted by a delimiter, quoted where they hold it, a quotation mark or a line end, or are
/// what is written for NULL. That is nothing, or a text, the empty text is "", columns of one name
/// are told apart by numbers: read back with the types of its columns, the result is the same.
class CsvResult final : public RowResult<CsvResult> {
 public:
  CsvResult(ResultOutput& output, const TextLayout& layout)
      : RowResult(output),
        header_(layout.hasHeader),
        delimiter_(layout.delimiter),
        nullText_(layout.nullText) {}

 private:
  friend class RowResult<CsvResult>;
  void Header() override;
  template <class Values>
  void WriteRow(const Values& row);

  void AppendField(std::string_view text);
  /// Whether values that are no texts hold nothing that needs quotation marks.
  bool AreValuesPlain() const {
    return nullText_.empty() && (delimiter_ == ',' || delimiter_ == '\t' || delimiter_ == ';');
  }

  const bool header_;
  const char delimiter_;
  const std::string nullText_;
  std::string line_;
  std::string value_;
};

/// One object a line, a line of EXPLAIN too. Columns of one name are told apart by numbers. Numbers
/// and truth values as such, NaN and infinities as texts, since JSON has no numbers for them.
class JsonResult final : public RowResult<JsonResult> {
 public:
  using RowResult::RowResult;
  bool Plan(const std::vector<XeString>&) override { return false; }

 private:
  friend class RowResult<JsonResult>;
  void Header() override;
  template <class Values>
  void WriteRow(const Values& row);

  std::vector<std::string> keys_;
  std::string line_;
  std::string value_;
};

/// The value of a column a line, its name before it, and a line above each row.
class RecordResult final : public RowResult<RecordResult> {
 public:
  RecordResult(ResultOutput& output, const TextLayout& layout)
      : RowResult(output), mostRows_(layout.mostRows) {}
  void End() override;

 private:
  friend class RowResult<RecordResult>;
  void Header() override;
  template <class Values>
  void WriteRow(const Values& row);

  const uint64 mostRows_;
  /// The names, as long as the longest one, and what parts them from the values.
  std::vector<std::string> labels_;
  std::string lines_;
};

/// Appends a text of HTML or XML, in which nothing is markup. Control characters, which XML does
/// not take, are replaced.
void AppendHtml(std::string& out, std::string_view text);

/// A table of HTML, numbers to the right. Texts keep the ends of their lines.
class HtmlResult final : public RowResult<HtmlResult> {
 public:
  using RowResult::RowResult;
  void End() override;

 private:
  friend class RowResult<HtmlResult>;
  void Header() override;
  template <class Values>
  void WriteRow(const Values& row);

  std::string line_;
};

}  // namespace sqxer
