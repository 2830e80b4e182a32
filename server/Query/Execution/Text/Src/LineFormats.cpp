#include "LineFormats.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "CellText.h"
#include "Utility/JsonText.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "ValueReader.h"

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

void AppendHtml(std::string& out, std::string_view text) {
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      default:
        // No document of XML may hold other control characters.
        if (static_cast<unsigned char>(c) < ' ' && c != '\t' && c != '\n' && c != '\r') {
          out += "\uFFFD";
        } else {
          out += c;
        }
    }
  }
}

void CsvResult::AppendField(std::string_view text) {
  // A mark at the start of a file would not be read as part of the first name.
  const bool isPlain = !text.empty() && IsPlainInCsv(text, delimiter_) &&
                       !text.starts_with(kByteOrderMark) && text != nullText_;
  if (isPlain) {
    line_ += text;
    return;
  }
  line_ += '"';
  for (char c : text) line_.append(c == '"' ? 2 : 1, c);
  line_ += '"';
}

void CsvResult::Header() {
  if (!header_) return;
  MakeDifferent(names_, [](const std::string& name, std::size_t position) {
    const std::string_view trimmed = TrimBlanks(name);
    return trimmed.empty() ? "column" + std::to_string(position + 1) : std::string(trimmed);
  });
  line_.clear();
  for (const std::string& name : names_) {
    if (!line_.empty()) line_ += delimiter_;
    AppendField(name);
  }
  line_ += '\n';
  Append(line_);
}

template <class Values>
void CsvResult::WriteRow(const Values& row) {
  line_.clear();
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    if (i != 0) line_ += delimiter_;
    if (row.IsNull(i)) {
      line_ += nullText_;
      continue;
    }
    const XeDataType type = fields_[i]->GetDataType();
    const bool isText =
        SUXeDataTypeUtility::IsXeTextType(type) || SUXeDataTypeUtility::IsXeBinaryType(type);
    if (!isText && AreValuesPlain()) {
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

void RecordResult::Header() {
  std::size_t width = 0;
  for (std::string& name : names_) {
    name = Escape(name);
    width = std::max(width, DisplayWidth(name));
  }
  for (const std::string& name : names_) {
    labels_.push_back(name + std::string(width - DisplayWidth(name), ' ') + " | ");
  }
}

template <class Values>
void RecordResult::WriteRow(const Values& row) {
  if (mostRows_ != 0 && rows_ >= mostRows_) {
    ++rows_;
    return;
  }
  lines_ = "-- row ";
  lines_ += std::to_string(rows_ + 1);
  lines_ += " --\n";
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    lines_ += labels_[i];
    lines_ += Escape(ReadCell(row, i));
    lines_ += '\n';
  }
  AppendRow(lines_);
}

void RecordResult::End() { Append(fmt::format("({})\n", CountText(rows_, mostRows_))); }

void HtmlResult::Header() {
  line_ = "<table>\n<thead>\n<tr>";
  for (const std::string& name : names_) {
    line_ += "<th>";
    AppendHtml(line_, name);
    line_ += "</th>";
  }
  line_ += "</tr>\n</thead>\n<tbody>\n";
  Append(line_);
}

template <class Values>
void HtmlResult::WriteRow(const Values& row) {
  line_ = "<tr>";
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    line_ += IsNumberField(fields_[i]->GetDataType()) ? "<td style=\"text-align:right\">" : "<td>";
    AppendHtml(line_, ReadCell(row, i));
    line_ += "</td>";
  }
  line_ += "</tr>\n";
  AppendRow(line_);
}

void HtmlResult::End() { Append("</tbody>\n</table>\n"); }

}  // namespace sqxer
