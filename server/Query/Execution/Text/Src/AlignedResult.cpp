#include "AlignedResult.h"

#include <algorithm>

#include "CellText.h"
#include "Utility/SUXeDataTypeUtility.h"

namespace sqxer {
namespace {

// Cells are spooled with this behind each: the widths of the columns are known only at the end. No
// cell holds it, since control characters are escaped.
constexpr char kCellEnd = '\x1f';
/// What parts a column from the one before it: a blank on either side, and a bar.
constexpr std::size_t kBetween = 3;
/// Texts and names are not made shorter than this to let other columns be seen.
constexpr std::size_t kLeastWidth = 8;

}  // namespace

std::string AlignedResult::MakeCell(std::string text) const {
  text = Escape(text);
  if (!IsMarkdown()) return text;
  std::string cell;
  for (const char c : text) {
    if (c == '|' || c == '\\' || c == '*' || c == '`' || c == '<') cell += '\\';
    cell += c;
  }
  return cell;
}

void AlignedResult::Header() {
  for (std::size_t i = 0; i < names_.size(); ++i) {
    names_[i] = MakeCell(names_[i]);
    const XeDataType type = fields_[i]->GetDataType();
    const bool isText = SUXeDataTypeUtility::IsXeTextType(type);
    columns_.push_back(
        {.isNumber = IsNumberField(type), .isText = isText, .nameWidth = DisplayWidth(names_[i])});
  }
}

template <class Values>
void AlignedResult::WriteRow(const Values& row) {
  ++rows_;
  if (layout_.mostRows != 0 && rows_ > layout_.mostRows) return;
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    std::string cell = MakeCell(ReadCell(row, i));
    // No line shows more of it.
    if (layout_.width != 0) cell = Shorten(cell, layout_.width);
    columns_[i].valueWidth = std::max(columns_[i].valueWidth, DisplayWidth(cell));
    spool_.Append(cell);
    spool_.Append({&kCellEnd, 1});
  }
}

std::size_t AlignedResult::CountLine() const {
  // Beside each column a blank; the rule below the names has one behind the last, too.
  std::size_t line = 2;
  std::size_t shown = 0;
  for (const Column& column : columns_) {
    if (!column.isShown) continue;
    line += column.width;
    ++shown;
  }
  if (shown < columns_.size()) {
    // The ellipsis.
    ++line;
    ++shown;
  }
  return line + (shown - 1) * kBetween;
}

void AlignedResult::Fit() {
  for (Column& column : columns_) column.width = std::max(column.nameWidth, column.valueWidth);
  gap_ = columns_.size();
  const std::size_t most = layout_.width;
  if (most == 0) return;
  for (Column& column : columns_) column.width = std::min(column.width, most);
  const auto leastOf = [](const Column& column) {
    const std::size_t least = column.isText ? 0 : column.valueWidth;
    return std::min(column.width, std::max(least, kLeastWidth));
  };
  // The widest one gives first, until they are equally wide.
  while (CountLine() > most) {
    Column* widest = nullptr;
    for (Column& column : columns_) {
      if (column.width > leastOf(column) && (widest == nullptr || column.width > widest->width)) {
        widest = &column;
      }
    }
    if (widest == nullptr) return LeaveOut();
    --widest->width;
  }
}

void AlignedResult::LeaveOut() {
  for (Column& column : columns_) column.isShown = false;
  std::size_t behind = columns_.size();
  gap_ = 0;
  // One from the front, one from the back.
  for (bool isFront = true;; isFront = !isFront) {
    Column& next = columns_[isFront ? gap_ : behind - 1];
    next.isShown = true;
    if (CountLine() > layout_.width) {
      next.isShown = false;
      break;
    }
    isFront ? ++gap_ : --behind;
  }
  if (gap_ > 0) return;
  // Not even one has room: as much of it as there is.
  Column& first = columns_.front();
  first.isShown = true;
  const std::size_t excess = CountLine() - layout_.width;
  first.width -= std::min(excess, first.width - 1);
  gap_ = 1;
}

void AlignedResult::AppendLine(std::string& out, const std::vector<std::string>& cells) const {
  std::string line = IsMarkdown() ? "|" : "";
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (i == gap_) (line += line.empty() ? " " : " | ").append(kEllipsis);
    const Column& column = columns_[i];
    if (!column.isShown) continue;
    if (!IsMarkdown() && !line.empty()) line += " |";
    const std::string cell = Shorten(cells[i], column.width);
    const std::size_t padding = column.width - DisplayWidth(cell);
    line += ' ';
    if (column.isNumber) line.append(padding, ' ');
    line += cell;
    const bool isPadded = IsMarkdown() || i + 1 < cells.size();
    if (!column.isNumber && isPadded) line.append(padding, ' ');
    if (IsMarkdown()) line += " |";
  }
  out += line;
  out += '\n';
}

std::string AlignedResult::MakeRule() const {
  std::string rule = IsMarkdown() ? "|" : "";
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (i == gap_) rule += rule.empty() ? "---" : "+---";
    const Column& column = columns_[i];
    if (!column.isShown) continue;
    if (IsMarkdown()) {
      rule.append(column.width + 1, '-');
      rule += column.isNumber ? ":|" : "-|";
    } else {
      if (!rule.empty()) rule += '+';
      rule.append(column.width + 2, '-');
    }
  }
  return rule + '\n';
}

std::string AlignedResult::MakeFooter() const {
  std::string text = CountText(rows_, layout_.mostRows);
  const auto shown = static_cast<std::size_t>(std::ranges::count(columns_, true, &Column::isShown));
  if (shown < columns_.size()) {
    text += ", " + std::to_string(shown) + " of " + std::to_string(columns_.size()) + " columns";
  }
  return "(" + text + ")\n";
}

void AlignedResult::PrintRows() {
  Fit();
  std::string out;
  AppendLine(out, names_);
  out += MakeRule();
  std::vector<std::string> cells;
  std::string cell;
  spool_.ForEachPiece([&](std::string_view piece) {
    for (std::size_t start = 0; start < piece.size();) {
      const std::size_t end = piece.find(kCellEnd, start);
      cell += piece.substr(start, end - start);
      if (end == std::string_view::npos) break;
      cells.push_back(std::move(cell));
      cell.clear();
      if (cells.size() == columns_.size()) {
        AppendLine(out, cells);
        cells.clear();
      }
      start = end + 1;
    }
    output_.Write(out);
    out.clear();
  });
  if (!IsMarkdown()) out += MakeFooter();
  output_.Write(out);
}

}  // namespace sqxer
