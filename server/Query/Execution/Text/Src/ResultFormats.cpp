#include "ResultFormats.h"

#include <algorithm>
#include <set>

#include "Utility/BaseStringUtil.h"
#include "Utility/JsonText.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "ValueReader.h"
#include "ValueText.h"

namespace sqxer {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool IsPlainInCsv(std::string_view text, char delimiter) {
  return std::ranges::none_of(
      text, [&](char c) { return c == delimiter || c == '"' || c == '\r' || c == '\n'; });
}

/// Gives columns that a reader would take for one different names: the first one keeps the name,
/// the others get a number behind it (count, count_1) with which no other column is called.
/// `asRead(name, position)` is what the reader makes of a name.
template <class AsRead>
void MakeDifferent(std::vector<std::string>& names, AsRead&& asRead) {
  std::vector<std::string> read;
  for (std::size_t i = 0; i < names.size(); ++i) read.push_back(asRead(names[i], i));
  const std::set<std::string> given(read.begin(), read.end());
  std::set<std::string> taken;
  // A name that is read as it stands comes before one that is made into it.
  for (const bool isAsGiven : {true, false}) {
    for (std::size_t i = 0; i < names.size(); ++i) {
      if ((names[i] == read[i]) != isAsGiven || taken.insert(read[i]).second) continue;
      std::string numbered;
      for (int number = 1; numbered.empty(); ++number) {
        numbered = read[i] + "_" + std::to_string(number);
        if (given.contains(numbered) || !taken.insert(numbered).second) numbered.clear();
      }
      names[i] = numbered;
      read[i] = numbered;
    }
  }
}

}  // namespace

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

void CsvResult::AppendField(std::string_view text) {
  // A mark at the start of a file would not be read as part of the first name.
  const bool isPlain = !text.empty() && IsPlainInCsv(text, layout_.delimiter) &&
                       !text.starts_with(kByteOrderMark) && text != layout_.nullText;
  if (isPlain) {
    line_ += text;
    return;
  }
  line_ += '"';
  for (char c : text) line_.append(c == '"' ? 2 : 1, c);
  line_ += '"';
}

void CsvResult::Header() {
  if (!layout_.hasHeader) return;
  MakeDifferent(names_, [](const std::string& name, std::size_t position) {
    const std::string_view trimmed = TrimBlanks(name);
    return trimmed.empty() ? "column" + std::to_string(position + 1) : std::string(trimmed);
  });
  line_.clear();
  for (const std::string& name : names_) {
    if (!line_.empty()) line_ += layout_.delimiter;
    AppendField(name);
  }
  line_ += '\n';
  Append(line_);
}

template <class Values>
void CsvResult::WriteRow(const Values& row) {
  line_.clear();
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    if (i != 0) line_ += layout_.delimiter;
    if (row.IsNull(i)) {
      line_ += layout_.nullText;
      continue;
    }
    const XeDataType type = fields_[i]->GetDataType();
    const bool isText =
        SUXeDataTypeUtility::IsXeTextType(type) || SUXeDataTypeUtility::IsXeBinaryType(type);
    if (!isText && layout_.delimiter == ',' && layout_.nullText.empty()) {
      // Never empty, and nothing that needs quotation marks.
      row.AppendText(i, line_);
      continue;
    }
    value_.clear();
    row.AppendText(i, value_);
    AppendField(value_);
  }
  line_ += '\n';
  AppendRow(line_);
}

template void CsvResult::WriteRow(const RecordRow&);
template void CsvResult::WriteRow(const BatchRow&);

void JsonResult::Header() {
  MakeDifferent(names_, [](const std::string& name, std::size_t) { return name; });
  for (const std::string& name : names_) {
    std::string key = keys_.empty() ? "{" : ",";
    JSon::AppendText(name, key);
    keys_.push_back(key + ":");
  }
}

template <class Values>
void JsonResult::WriteRow(const Values& row) {
  line_.clear();
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    line_ += keys_[i];
    if (row.IsNull(i)) {
      line_ += "null";
      continue;
    }
    value_.clear();
    row.AppendText(i, value_);
    const XeDataType type = fields_[i]->GetDataType();
    const bool isNumber = IsNumberField(type) && value_ != "NaN" && !value_.ends_with("Infinity");
    if (isNumber || type == XeBoolean) {
      line_ += value_;
    } else {
      JSon::AppendText(value_, line_);
    }
  }
  line_ += "}\n";
  AppendRow(line_);
}

template void JsonResult::WriteRow(const RecordRow&);
template void JsonResult::WriteRow(const BatchRow&);

std::unique_ptr<FormattedResult> MakeTextResult(const TextLayout& layout, ResultOutput& output) {
  switch (layout.format) {
    case TextFormat::kTable:
      return std::make_unique<TableResult>(output);
    case TextFormat::kJson:
      return std::make_unique<JsonResult>(output);
    case TextFormat::kCsv:
      break;
  }
  return std::make_unique<CsvResult>(output, layout);
}

}  // namespace sqxer
