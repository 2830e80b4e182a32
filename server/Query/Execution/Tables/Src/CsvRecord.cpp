#include "CsvRecord.h"

#include "TableError.h"

namespace sqxer {
namespace {

/// One record, field by field. Errors come in the order of bytes: a mark or a NUL where it stands,
/// the encoding of a field at its end.
class RecordScan {
 public:
  RecordScan(std::string_view text, uint32 start, char delimiter, bool isLast, CsvRecord& record)
      : text_(text), at_(start), delimiter_(delimiter), isLast_(isLast), record_(record) {}

  CsvRecord::State Read() {
    for (;;) {
      const uint32 start = at_;
      const bool isQuoted = at_ < text_.size() && text_[at_] == '"';
      if (!(isQuoted ? FindQuotedEnd() : FindEnd())) return state_;
      if (!BaseStringUtil::IsValidUtf8(text_.substr(start, at_ - start))) {
        Fail(kInvalidUtf8);
        return state_;
      }
      record_.ends.push_back(at_);
      if (at_ == text_.size() || text_[at_] != delimiter_) return ReadLineEnd();
      ++at_;
    }
  }

 private:
  /// The ends of fields: false, with the state set, where there is none.
  bool FindEnd() {
    for (const uint32 start = at_; at_ < text_.size(); ++at_) {
      const char c = text_[at_];
      if (IsEnd(c)) return true;
      if (c == '"') return Fail(kStrayQuotation);
      if (!IsFieldByte(c, start)) return false;
    }
    return isLast_;
  }

  bool FindQuotedEnd() {
    const uint32 start = at_++;
    for (; at_ < text_.size(); ++at_) {
      const char c = text_[at_];
      if (c == '"') {
        if (++at_ == text_.size()) return isLast_;
        if (IsEnd(text_[at_])) return true;
        // A NUL byte there is what it is before it is text beside a quotation.
        if (text_[at_] != '"') return Fail(text_[at_] == '\0' ? kNulByte : kStrayQuotation);
      }
      if (!IsFieldByte(c, start)) return false;
    }
    return isLast_ ? Fail(kOpenQuotation) : false;
  }

  bool IsFieldByte(char c, uint32 fieldStart) {
    if (c == '\0') return Fail(kNulByte);
    return at_ - fieldStart < kMaxFieldBytes || Fail(kFieldTooLarge);
  }

  bool IsEnd(char c) const { return c == delimiter_ || c == '\n' || c == '\r'; }

  CsvRecord::State ReadLineEnd() {
    if (at_ < text_.size()) {
      const bool isReturn = text_[at_++] == '\r';
      // A line feed behind it would belong to this record.
      if (isReturn && at_ == text_.size() && !isLast_) return CsvRecord::State::kPartial;
      if (isReturn && at_ < text_.size() && text_[at_] == '\n') ++at_;
    }
    record_.next = at_;
    return CsvRecord::State::kWhole;
  }

  bool Fail(int error) {
    record_.error = error;
    state_ = CsvRecord::State::kBad;
    return false;
  }

  std::string_view text_;
  uint32 at_;
  char delimiter_;
  bool isLast_;
  CsvRecord& record_;
  CsvRecord::State state_ = CsvRecord::State::kPartial;
};

}  // namespace

void ReadCsvRecord(std::string_view text, uint32 start, char delimiter, bool isLast,
                   CsvRecord& record) {
  record.ends.clear();
  record.error = 0;
  record.next = start;
  record.state = RecordScan(text, start, delimiter, isLast, record).Read();
}

std::string UnquoteField(std::string_view field) {
  if (!field.starts_with('"')) return std::string(field);
  std::string text;
  for (std::size_t i = 1; i + 1 < field.size(); ++i) {
    text += field[i];
    // The second of two marks.
    if (field[i] == '"') ++i;
  }
  return text;
}

}  // namespace sqxer
