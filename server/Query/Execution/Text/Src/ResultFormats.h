#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ResultOutput.h"
#include "ResultSink.h"
#include "ResultSpool.h"
#include "ValueText.h"

namespace sqxer {

enum class TextFormat { kTable, kCsv, kJson };

/// How a result is written.
struct TextLayout {
  TextFormat format = TextFormat::kCsv;
  /// Of kCsv: whether the first line names the columns, what parts the fields, and what is written
  /// for NULL.
  bool hasHeader = true;
  char delimiter = ',';
  std::string nullText;
};

/// Formats the rows of one statement, or the lines of its EXPLAIN as they are.
class FormattedResult : public ResultSink {
 public:
  explicit FormattedResult(ResultOutput& output) : output_(output) {}
  void Begin(const std::vector<ColumnInfo>& columns, const XeRecordMetaData& layout) override;
  bool Plan(const std::vector<XeString>& lines) override;
  void End() override {}
  void Done(const std::string&, uint64) override { hasRows_ = false; }
  /// Writes what has not been written, once the statement has succeeded. As ResultOutput::Write.
  void Print();
  /// How many rows are in what was written; nothing when not a byte was.
  std::optional<uint64> GetWrittenRows() const { return writtenRows_; }

 protected:
  /// Called by Begin when `names_` and `fields_` are set.
  virtual void Header() = 0;
  /// Writes the rows that have not been written.
  virtual void PrintRows() = 0;

  ResultOutput& output_;
  std::vector<std::string> names_;
  std::vector<XeFieldDescriptorRef> fields_;
  uint64 rows_ = 0;
  std::optional<uint64> writtenRows_;

 private:
  /// False for a statement without them, of which nothing is written.
  bool hasRows_ = true;
  std::string plan_;
};

/// A row of a record, or of a batch, whose values are asked for one after the other.
class RecordRow {
 public:
  RecordRow(const std::vector<XeFieldDescriptorRef>& fields, const uint8* record)
      : fields_(fields), record_(record) {}
  bool IsNull(std::size_t field) const { return IsNullField(*fields_[field], record_); }
  void AppendText(std::size_t field, std::string& out) const {
    AppendValueText(*fields_[field], record_, out);
  }

 private:
  const std::vector<XeFieldDescriptorRef>& fields_;
  const uint8* record_;
};
class BatchRow {
 public:
  BatchRow(const std::vector<XeFieldDescriptorRef>& fields, std::span<const BatchVector> columns,
           uint32 row)
      : fields_(fields), columns_(columns), row_(row) {}
  bool IsNull(std::size_t field) const { return columns_[field].IsNull(row_); }
  void AppendText(std::size_t field, std::string& out) const {
    AppendValueText(*fields_[field], columns_[field], row_, out);
  }

 private:
  const std::vector<XeFieldDescriptorRef>& fields_;
  const std::span<const BatchVector> columns_;
  const uint32 row_;
};

/// A row is a line, or several. They are written as they come, so that memory does not grow with
/// the result, in pieces of whole rows: a result of less than a piece is all or nothing.
class LineResult : public FormattedResult {
 public:
  using FormattedResult::FormattedResult;

 protected:
  /// Takes the lines of the header or of a row.
  void Append(std::string_view lines);
  void AppendRow(std::string_view lines) {
    ++rows_;
    Append(lines);
  }

 private:
  void PrintRows() override;

  ResultSpool spool_;
  std::string piece_;
};

/// Rows of records and of batches alike: `Derived` has WriteRow(row), of either.
template <class Derived>
class RowResult : public LineResult {
 public:
  using LineResult::LineResult;
  void Row(const uint8* record) final { Self().WriteRow(RecordRow(fields_, record)); }
  bool TakesBatches() const final { return true; }
  void Batch(std::span<const BatchVector> columns, const BatchRows& rows) final {
    rows.ForEach([&](uint32 row) { Self().WriteRow(BatchRow(fields_, columns, row)); });
  }

 private:
  Derived& Self() { return static_cast<Derived&>(*this); }
};

/// Fields parted by commas, or another character, quoted where they hold it, a quotation mark or a
/// line end, or read as NULL. NULL is nothing, or the text for it, the empty text is "", columns of one name are told apart by numbers: read back with the
/// types of its columns, the result is the same.
class CsvResult final : public RowResult<CsvResult> {
 public:
  CsvResult(ResultOutput& output, const TextLayout& layout)
      : RowResult(output), layout_(layout) {}

 private:
  friend class RowResult<CsvResult>;
  void Header() override;
  template <class Values>
  void WriteRow(const Values& row);

  void AppendField(std::string_view text);

  const TextLayout layout_;
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

/// Aligned columns, numbers to the right, and a count of rows. Characters that would break the
/// lines are shown as escapes such as \n.
class TableResult : public FormattedResult {
 public:
  using FormattedResult::FormattedResult;
  void Row(const uint8* record) override;

 private:
  void Header() override;
  void PrintRows() override;
  void AppendCell(std::size_t column, const std::string& text);
  void AppendAligned(std::string& line, std::size_t column, std::string_view cell) const;

  ResultSpool spool_;
  std::vector<std::size_t> widths_;
  std::string value_;
};

/// `output` must outlive it.
std::unique_ptr<FormattedResult> MakeTextResult(const TextLayout& layout, ResultOutput& output);

}  // namespace sqxer
