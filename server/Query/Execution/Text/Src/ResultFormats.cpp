#include "ResultFormats.h"

#include "AlignedResult.h"
#include "ArrowResult.h"
#include "ChartResult.h"
#include "LineFormats.h"
#include "Utility/BaseStringUtil.h"

namespace sqxer {

void FormattedResult::Begin(const std::vector<ColumnInfo>& columns,
                            const XeRecordMetaData& layout) {
  for (const ColumnInfo& column : columns) {
    fields_.push_back(layout.GetFieldDescriptor(static_cast<int>(names_.size())));
    names_.push_back(BaseStringUtil::StringToUtf8(column.name));
  }
  Header();
}

bool FormattedResult::Plan(const std::vector<XeString>& lines) {
  for (const XeString& line : lines) plan_ += BaseStringUtil::StringToUtf8(line) + "\n";
  rows_ = lines.size();
  return true;
}

void FormattedResult::Print() {
  if (!hasRows_) return;
  if (plan_.empty()) {
    PrintRows();
  } else {
    output_.Write(plan_);
  }
  writtenRows_ = rows_;
}

std::string CountText(uint64 rows, uint64 mostRows) {
  std::string text = std::to_string(rows);
  if (mostRows != 0 && rows > mostRows) text = std::to_string(mostRows) + " of " + text;
  return text + (rows == 1 ? " row" : " rows");
}

void LineResult::Append(std::string_view lines) {
  constexpr std::size_t kPieceBytes = std::size_t{64} << 10;
  if (output_.TakesWholeResults()) return spool_.Append(lines);
  piece_ += lines;
  if (piece_.size() < kPieceBytes) return;
  writtenRows_ = rows_;
  output_.Write(piece_);
  piece_.clear();
}

void LineResult::PrintRows() {
  spool_.ForEachPiece([this](std::string_view piece) { output_.Write(piece); });
  output_.Write(piece_);
}

std::unique_ptr<FormattedResult> MakeTextResult(const TextLayout& layout, ResultOutput& output) {
  switch (layout.format) {
    case TextFormat::kTable:
    case TextFormat::kMarkdown:
      return std::make_unique<AlignedResult>(output, layout);
    case TextFormat::kHtml:
      return std::make_unique<HtmlResult>(output);
    case TextFormat::kRecords:
      return std::make_unique<RecordResult>(output, layout);
    case TextFormat::kJson:
      return std::make_unique<JsonResult>(output);
    case TextFormat::kChart:
    case TextFormat::kSvg:
      return std::make_unique<ChartResult>(output, layout);
    case TextFormat::kArrow:
      return std::make_unique<ArrowResult>(output);
    case TextFormat::kCsv:
      break;
  }
  return std::make_unique<CsvResult>(output, layout);
}

}  // namespace sqxer
