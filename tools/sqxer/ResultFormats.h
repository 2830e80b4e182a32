#pragma once

#include <memory>

#include "Options.h"
#include "ResultSink.h"
#include "ResultSpool.h"

namespace sqxer {

/// Formats the rows of one statement, or the lines of its EXPLAIN as they are. Nothing is written
/// before Print.
class FormattedResult : public ResultSink {
 public:
  void Begin(const std::vector<ColumnInfo>& columns, const XeRecordMetaData& layout) override;
  bool Plan(const std::vector<XeString>& lines) override;
  void End() override {}
  /// Writes the result to standard output. Throws std::system_error.
  void Print() const;

 protected:
  /// Called by Begin when `names_` and `fields_` are set.
  virtual void Header() = 0;
  /// Writes the rows.
  virtual void PrintRows() const;

  std::vector<std::string> names_;
  std::vector<XeFieldDescriptorRef> fields_;
  ResultSpool spool_;

 private:
  std::string plan_;
};

/// Fields parted by commas, quoted where they hold a comma, a quotation mark or a line end. NULL is
/// nothing, the empty text is "", columns of one name are told apart by numbers: read back with the
/// types of its columns, the result is the same.
class CsvResult : public FormattedResult {
 public:
  explicit CsvResult(bool header) : header_(header) {}
  void Row(const uint8* record) override;

 private:
  void Header() override;
  void AppendLine();

  bool header_;
  std::string line_;
  std::string value_;
};

/// One object a line, a line of EXPLAIN too. Columns of one name are told apart by numbers. Numbers
/// and truth values as such, NaN and infinities as texts, since JSON has no numbers for them.
class JsonResult : public FormattedResult {
 public:
  bool Plan(const std::vector<XeString>&) override { return false; }
  void Row(const uint8* record) override;

 private:
  void Header() override;

  std::vector<std::string> keys_;
  std::string line_;
  std::string value_;
};

/// Aligned columns, numbers to the right, and a count of rows. Characters that would break the
/// lines are shown as escapes such as \n.
class TableResult : public FormattedResult {
 public:
  void Row(const uint8* record) override;

 private:
  void Header() override;
  void PrintRows() const override;
  void AppendCell(std::size_t column, const std::string& text);
  void AppendAligned(std::string& line, std::size_t column, std::string_view cell) const;

  std::vector<std::size_t> widths_;
  uint64 rows_ = 0;
  std::string value_;
};

std::unique_ptr<FormattedResult> MakeResult(const Options& options);

}  // namespace sqxer
