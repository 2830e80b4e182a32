#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "CellText.h"
#include "ResultOutput.h"
#include "ResultSink.h"
#include "ResultSpool.h"
#include "ValueText.h"

namespace sqxer {

enum class TextFormat { kTable, kMarkdown, kHtml, kRecords, kCsv, kJson, kChart, kSvg, kArrow };

/// How a result is written.
struct TextLayout {
  TextFormat format = TextFormat::kCsv;
  /// Of kCsv: whether the first line names the columns, and what parts the fields.
  bool hasHeader = true;
  char delimiter = ',';
  /// Of kCsv: what is written for NULL.
  std::string nullText = {};
  /// Of kTable and kChart: how many columns of a terminal a line may take; 0 for any number.
  std::size_t width = 0;
  /// Of kTable and kRecords: how many rows are shown, the others counted; 0 for all.
  uint64 mostRows = 0;
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
  /// A value as people are shown it: NULL as such, decimals that do not end rounded. Valid until
  /// the next call.
  template <class Values>
  const std::string& ReadCell(const Values& row, std::size_t field) {
    cell_.clear();
    if (row.IsNull(field)) return cell_ = "NULL";
    row.AppendText(field, cell_);
    if (fields_[field]->GetDataType() == XeNumericData) RoundEndless(cell_);
    return cell_;
  }

  ResultOutput& output_;
  std::vector<std::string> names_;
  std::vector<XeFieldDescriptorRef> fields_;
  uint64 rows_ = 0;
  std::optional<uint64> writtenRows_;

 private:
  /// False for a statement without them, of which nothing is written.
  bool hasRows_ = true;
  std::string plan_;
  std::string cell_;
};

/// "1 row", or "40 of 200 rows" where no more are shown.
std::string CountText(uint64 rows, uint64 mostRows);

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
template <class Derived, class Base = LineResult>
class RowResult : public Base {
 public:
  using Base::Base;
  void Row(const uint8* record) final { Self().WriteRow(RecordRow(this->fields_, record)); }
  bool TakesBatches() const final { return true; }
  void Batch(std::span<const BatchVector> columns, const BatchRows& rows) final {
    rows.ForEach([&](uint32 row) { Self().WriteRow(BatchRow(this->fields_, columns, row)); });
  }

 private:
  Derived& Self() { return static_cast<Derived&>(*this); }
};

/// `output` must outlive it.
std::unique_ptr<FormattedResult> MakeTextResult(const TextLayout& layout, ResultOutput& output);

}  // namespace sqxer
