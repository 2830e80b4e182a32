#include "CsvSlicer.h"

#include <simdjson.h>

#include <algorithm>

#include "ByteBlock.h"
#include "TableError.h"

namespace sqxer {
namespace {

/// How much is read plainly at least where something is irregular: where one thing is, there are
/// often more.
constexpr uint32 kPlainBytes = 4096;
/// How much is looked at before its line ends are compared with its field ends.
constexpr uint32 kCheckedBytes = 4096;

/// A last block of fewer than 64 bytes, filled up with bytes that mean nothing.
class TailBlock {
 public:
  TailBlock(const char* text, uint32 size, char delimiter) {
    std::memset(bytes_, delimiter == ' ' ? 'x' : ' ', sizeof bytes_);
    std::memcpy(bytes_, text, size);
  }
  ByteBlock Get() const { return ByteBlock(bytes_); }

 private:
  char bytes_[ByteBlock::kBytes];
};

/// Finds the marks of a text, which starts at a record's start, block by block.
class MarkFinder {
 public:
  explicit MarkFinder(char delimiter) : delimiter_(delimiter) {}

  struct Marks {
    uint64 quotes;
    /// Delimiters and line ends outside quotations; of CR LF the CR.
    uint64 fieldEnds;
    uint64 lineEnds;
    uint64 returns;
    /// Quotation marks that do not stand at a border of a field, or the byte behind one.
    uint64 strays;
  };

  Marks Next(const ByteBlock& block) {
    Marks marks;
    marks.quotes = block.Find('"');
    marks.returns = block.Find('\r');
    marks.strays = 0;
    uint64 feeds = block.Find('\n');
    uint64 delimiters = block.Find(delimiter_);
    uint64 borders = feeds | marks.returns | delimiters;
    if ((marks.quotes | inQuotation_ | afterClosing_) == 0) [[likely]] {
      mayOpen_ = borders >> 63;
    } else {
      const uint64 inside = PrefixXor(marks.quotes) ^ inQuotation_;
      // Of two marks in a quotation the first closes it and the second opens it again.
      const uint64 opening = marks.quotes & inside;
      const uint64 closing = marks.quotes & ~inside;
      borders &= ~inside;
      feeds &= ~inside;
      delimiters &= ~inside;
      marks.returns &= ~inside;
      const uint64 behindClosing = closing << 1 | afterClosing_;
      marks.strays = (opening & ~((borders | closing) << 1 | mayOpen_)) |
                     (behindClosing & ~(borders | opening));
      mayOpen_ = (borders | closing) >> 63;
      afterClosing_ = closing >> 63;
      inQuotation_ = uint64{0} - (inside >> 63);
    }
    marks.lineEnds = (feeds & ~(marks.returns << 1 | afterReturn_)) | marks.returns;
    marks.fieldEnds = delimiters | marks.lineEnds;
    afterReturn_ = marks.returns >> 63;
    return marks;
  }

 private:
  char delimiter_;
  /// What the block before leaves: all bits when it ends inside a quotation, else 0 or 1.
  uint64 inQuotation_ = 0;
  uint64 mayOpen_ = 1;
  uint64 afterClosing_ = 0;
  uint64 afterReturn_ = 0;
};

/// Writes the positions of a mask's bits. Writes places too many, kAtOnce for a start, rather than
/// ask after each; there is room for 64.
template <uint32 kAtOnce>
inline void WritePositions(uint64 mask, uint32 at, uint32 count, uint32* out) {
  uint32 written = 0;
  do {
    for (uint32 i = 0; i < kAtOnce; ++i) {
      out[written + i] = at + static_cast<uint32>(std::countr_zero(mask));
      mask &= mask - 1;
    }
    written += kAtOnce;
  } while (written < count);
}

inline uint32 CountBits(uint64 mask) { return static_cast<uint32>(std::popcount(mask)); }

}  // namespace

uint32 CsvSlicer::Slice(std::string_view text, bool isLast) {
  text_ = text;
  isLast_ = isLast;
  Reserve(text.size());
  rows_ = 0;
  rowStarts_[0] = 0;
  bad_.reset();
  firstQuote_ = firstNonAscii_ = kNowhere;
  const uint32 size = static_cast<uint32>(text.size());
  // A text that long is one field that may be too large, which only the plain way looks for.
  const bool isPlain = way_ == Way::kPlain || size > kMaxFieldBytes;
  while (!isPlain) {
    const uint32 limit = SliceFast();
    // Behind the last line end stands a record too when the file ends, or an error already.
    if (!SlicePlain(limit == 0 ? size : std::min(size, limit)) || limit == 0) break;
  }
  if (isPlain) SlicePlain(size);
  const uint32 consumed = NextRecord();
  if (firstNonAscii_ < consumed && !isPlain &&
      !simdjson::validate_utf8(text.data() + firstNonAscii_, consumed - firstNonAscii_)) {
    // Its record is yet to be found.
    rows_ = 0;
    rowStarts_[0] = 0;
    bad_.reset();
    SlicePlain(size);
  }
  slice_ = {text.data(),
            0,
            rows_,
            columns_,
            rowStarts_.get(),
            fieldEnds_.get(),
            firstNonAscii_ >= NextRecord(),
            firstQuote_ < NextRecord()};
  return NextRecord();
}

void CsvSlicer::Reserve(std::size_t textBytes) {
  // A field for each byte, one that the end of the file ends, and what WritePositions needs.
  const std::size_t needed = textBytes + 2 * ByteBlock::kBytes;
  if (needed <= capacity_) return;
  rowStarts_ = std::make_unique_for_overwrite<uint32[]>(needed);
  fieldEnds_ = std::make_unique_for_overwrite<uint32[]>(needed);
  capacity_ = needed;
}

uint32 CsvSlicer::SliceFast() {
  const char* const text = text_.data();
  const uint32 size = static_cast<uint32>(text_.size());
  MarkFinder finder(delimiter_);
  uint32 fields = rows_ * columns_;
  uint32 irregular = 0;
  for (uint32 at = NextRecord(); at < size && irregular == 0;) {
    uint32 lineEnds[kCheckedBytes + ByteBlock::kBytes];
    uint32 lines = 0;
    bool hasReturns = false;
    const uint32 end = std::min(size, at + kCheckedBytes);
    for (; at < end; at += ByteBlock::kBytes) {
      const uint32 left = size - at;
      const ByteBlock block = left >= ByteBlock::kBytes
                                  ? ByteBlock(text + at)
                                  : TailBlock(text + at, left, delimiter_).Get();
      MarkFinder::Marks marks = finder.Next(block);
      if (left < ByteBlock::kBytes) marks.strays &= (uint64{1} << left) - 1;
      if (marks.strays != 0 || block.HasNul()) [[unlikely]] {
        irregular = at + ByteBlock::kBytes;
        break;
      }
      if (firstQuote_ == kNowhere && marks.quotes != 0) {
        firstQuote_ = at + static_cast<uint32>(std::countr_zero(marks.quotes));
      }
      if (firstNonAscii_ == kNowhere) {
        const uint64 nonAscii = block.FindNonAscii();
        if (nonAscii != 0) firstNonAscii_ = at + static_cast<uint32>(std::countr_zero(nonAscii));
      }
      const uint32 newFields = CountBits(marks.fieldEnds);
      const uint32 newLines = CountBits(marks.lineEnds);
      WritePositions<12>(marks.fieldEnds, at, newFields, fieldEnds_.get() + fields);
      WritePositions<2>(marks.lineEnds, at, newLines, lineEnds + lines);
      fields += newFields;
      lines += newLines;
      hasReturns |= marks.returns != 0;
    }
    const uint32 wrong = AppendRows({lineEnds, lines}, hasReturns, fields);
    if (wrong != 0) irregular = wrong;
  }
  return irregular == 0 ? 0 : std::max(irregular, NextRecord() + kPlainBytes);
}

uint32 CsvSlicer::AppendRows(std::span<const uint32> lineEnds, bool hasReturns, uint32& fields) {
  const uint32 size = static_cast<uint32>(text_.size());
  uint32* const ends = fieldEnds_.get();
  uint32* const starts = rowStarts_.get();
  uint32 rows = rows_;
  uint32 rowEnd = rows * columns_ + columns_ - 1;
  uint32 wrong = 0;
  for (const uint32 lineEnd : lineEnds) {
    const bool isRow = rowEnd < fields && ends[rowEnd] == lineEnd;
    if (!isRow) [[unlikely]] {
      if (lineEnd != starts[rows]) {
        wrong = lineEnd + 1;
        break;
      }
      // An empty line is no row, and its end is no field's.
      uint32* const own = ends + (rowEnd - (columns_ - 1));
      std::copy(own + 1, ends + fields--, own);
    }
    uint32 next = lineEnd + 1;
    if (hasReturns && text_[lineEnd] == '\r') {
      if (next == size && !isLast_) break;
      if (next < size && text_[next] == '\n') ++next;
    }
    if (isRow) {
      ++rows;
      rowEnd += columns_;
    }
    starts[rows] = next;
  }
  rows_ = rows;
  return wrong;
}

bool CsvSlicer::SlicePlain(uint32 limit) {
  while (NextRecord() < limit) {
    const uint32 start = NextRecord();
    ReadCsvRecord(text_, start, delimiter_, isLast_, record_);
    if (record_.state == CsvRecord::State::kPartial) return false;
    if (record_.state == CsvRecord::State::kBad) bad_ = BadRecord{start, record_.error, 0};
    if (!bad_) AppendRow(start);
    if (bad_) return false;
  }
  return true;
}

void CsvSlicer::AppendRow(uint32 start) {
  const uint32 fields = static_cast<uint32>(record_.ends.size());
  const bool isEmptyLine = fields == 1 && record_.ends.front() == start;
  if (isEmptyLine && columns_ > 1) {
    rowStarts_[rows_] = record_.next;
    return;
  }
  if (fields != columns_) {
    bad_ = BadRecord{start, kFieldCount, fields};
    return;
  }
  std::ranges::copy(record_.ends, fieldEnds_.get() + std::size_t{rows_} * columns_);
  rowStarts_[++rows_] = record_.next;
  const std::string_view record = text_.substr(start, record_.next - start);
  if (firstQuote_ >= start) {
    const std::size_t quote = record.find('"');
    if (quote != std::string_view::npos) firstQuote_ = start + static_cast<uint32>(quote);
  }
  if (firstNonAscii_ >= start) {
    const auto high = std::ranges::find_if(record, [](char c) { return (c & 0x80) != 0; });
    if (high != record.end()) {
      firstNonAscii_ = start + static_cast<uint32>(high - record.begin());
    }
  }
}

}  // namespace sqxer
