#include <locale.h>

#include <algorithm>
#include <cwchar>

#include "ResultFormats.h"
#include "Utility/BaseStringUtil.h"
#include "ValueText.h"

namespace sqxer {
namespace {

// Cells are spooled with this behind each: the widths of the columns are known only at the end. No
// cell holds it, since control characters are escaped.
constexpr char kCellEnd = '\x1f';

bool IsPlain(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c >= ' ' && c < '\x7f'; });
}

bool IsControl(wchar_t c) { return c < L' ' || (c >= 0x7f && c < 0xa0); }

std::string Escape(const std::string& text) {
  if (IsPlain(text)) return text;
  XeString escaped;
  for (const wchar_t c : BaseStringUtil::Utf8ToString(text)) {
    if (c == L'\n') {
      escaped += L"\\n";
    } else if (c == L'\r') {
      escaped += L"\\r";
    } else if (c == L'\t') {
      escaped += L"\\t";
    } else if (IsControl(c)) {
      escaped += L"\\x";
      escaped += L"0123456789abcdef"[c >> 4];
      escaped += L"0123456789abcdef"[c & 15];
    } else {
      escaped += c;
    }
  }
  return BaseStringUtil::StringToUtf8(escaped);
}

/// Makes the widths of characters those of Unicode, whatever the locale of the process.
class UnicodeWidths {
 public:
  UnicodeWidths() {
    // Without such a locale the thread keeps its own.
    static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    outer_ = uselocale(unicode);
  }
  ~UnicodeWidths() { uselocale(outer_); }
  UnicodeWidths(const UnicodeWidths&) = delete;
  UnicodeWidths& operator=(const UnicodeWidths&) = delete;

 private:
  locale_t outer_;
};

/// Columns of a terminal that the text takes: East Asian characters take two, combining ones none.
std::size_t DisplayWidth(std::string_view text) {
  if (IsPlain(text)) return text.size();
  const UnicodeWidths widths;
  std::size_t width = 0;
  for (const wchar_t c : BaseStringUtil::Utf8ToString(text)) {
    const int columns = wcwidth(c);
    width += columns < 0 ? 1 : static_cast<std::size_t>(columns);
  }
  return width;
}

}  // namespace

void TableResult::Header() {
  for (std::string& name : names_) {
    name = Escape(name);
    widths_.push_back(DisplayWidth(name));
  }
}

void TableResult::Row(const uint8* record) {
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    value_.clear();
    if (IsNullField(*fields_[i], record)) {
      value_ = "NULL";
    } else {
      AppendValueText(*fields_[i], record, value_);
    }
    AppendCell(i, Escape(value_));
  }
  ++rows_;
}

void TableResult::AppendCell(std::size_t column, const std::string& text) {
  widths_[column] = std::max(widths_[column], DisplayWidth(text));
  spool_.Append(text);
  spool_.Append({&kCellEnd, 1});
}

void TableResult::AppendAligned(std::string& line, std::size_t column,
                                std::string_view cell) const {
  const std::size_t padding = widths_[column] - DisplayWidth(cell);
  const bool isLast = column + 1 == fields_.size();
  const bool isNumber = IsNumberField(fields_[column]->GetDataType());
  line += ' ';
  if (isNumber) line.append(padding, ' ');
  line += cell;
  if (!isNumber && !isLast) line.append(padding, ' ');
  line += isLast ? "\n" : " |";
}

void TableResult::PrintRows() {
  std::string out;
  for (std::size_t i = 0; i < names_.size(); ++i) AppendAligned(out, i, names_[i]);
  for (std::size_t i = 0; i < widths_.size(); ++i) {
    out.append(widths_[i] + 2, '-');
    out += i + 1 == widths_.size() ? '\n' : '+';
  }
  std::size_t column = 0;
  std::string cell;
  spool_.ForEachPiece([&](std::string_view piece) {
    for (std::size_t start = 0; start < piece.size();) {
      const std::size_t end = piece.find(kCellEnd, start);
      cell += piece.substr(start, end - start);
      if (end == std::string_view::npos) break;
      AppendAligned(out, column, cell);
      column = (column + 1) % fields_.size();
      cell.clear();
      start = end + 1;
    }
    output_.Write(out);
    out.clear();
  });
  output_.Write(out + "(" + std::to_string(rows_) + (rows_ == 1 ? " row)\n" : " rows)\n"));
}

}  // namespace sqxer
