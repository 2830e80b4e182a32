#include "JsonLinesSlicer.h"

#include <algorithm>
#include <cstring>

#include "ByteBlock.h"
#include "CsvRecord.h"
#include "TableError.h"
#include "ValueReader.h"

namespace sqxer {
namespace {

constexpr std::size_t kMaxLineBytes = kMaxFieldBytes;
/// What a field has beside its text: quotation marks and the byte behind it.
constexpr std::size_t kFieldExtra = 3;

bool IsBlank(std::string_view line) {
  return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

bool IsAscii(std::string_view text) {
  std::size_t at = 0;
  for (; at + ByteBlock::kBytes <= text.size(); at += ByteBlock::kBytes) {
    if (ByteBlock(text.data() + at).FindNonAscii() != 0) return false;
  }
  return std::all_of(text.begin() + static_cast<std::ptrdiff_t>(at), text.end(),
                     [](char c) { return static_cast<signed char>(c) >= 0; });
}

}  // namespace

uint32 JsonLinesSlicer::Slice(std::string_view text, bool isLast, const ColumnFilter& isWanted) {
  Begin(isWanted);
  uint32 start = 0;
  while (start < text.size() && !badLine_) {
    const std::size_t feed = text.find('\n', start);
    const bool isWhole = feed != std::string_view::npos;
    const std::size_t end = isWhole ? feed : text.size();
    if (end - start > kMaxLineBytes) {
      badLine_ = BadLine{kLineTooLarge, start, {}};
      break;
    }
    if (!isWhole && !isLast) break;
    std::string_view line = text.substr(start, end - start);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (!IsBlank(line) && !ReadLine(line, start)) break;
    start = static_cast<uint32>(end + (isWhole ? 1 : 0));
  }
  End();
  return start;
}

void JsonLinesSlicer::Begin(const ColumnFilter& isWanted) {
  places_.assign(known_.GetCount(), kNotWanted);
  uint32 columns = 0;
  for (uint32 key = 0; key < places_.size(); ++key) {
    if (isWanted(key)) places_[key] = columns++;
  }
  members_.assign(columns, {});
  slice_ = {};
  slice_.columns = columns;
  slice_.quotedAreTexts = true;
  rowStarts_.clear();
  fieldEnds_.clear();
  lineStarts_.clear();
  textSize_ = kPadding;
  badLine_.reset();
}

void JsonLinesSlicer::End() {
  text_.resize(std::max(text_.size(), textSize_ + kPadding));
  slice_.text = text_.data() + kPadding;
  slice_.columnPlaces = places_.data();
  slice_.rows = static_cast<uint32>(rowStarts_.size());
  slice_.rowStarts = rowStarts_.data();
  slice_.fieldEnds = fieldEnds_.data();
  slice_.isAscii = IsAscii({slice_.text, textSize_ - kPadding});
}

bool JsonLinesSlicer::ReadLine(std::string_view line, uint32 start) {
  ++line_;
  nextKey_ = 0;
  memberBytes_ = 0;
  fault_.reset();
  std::ranges::fill(members_, Member());
  using Outcome = JsonLineReader::Outcome;
  if (const Outcome outcome = reader_.Read(line, *this); outcome != Outcome::kRead && !fault_) {
    SetFault(line.find('\0') != std::string_view::npos ? kNulByte
             : !BaseStringUtil::IsValidUtf8(line)      ? kInvalidUtf8
             : outcome == Outcome::kTooDeep            ? kTooManyLevels
                                                       : kNoJsonObject,
             TrimBlanks(line));
  }
  if (fault_) {
    badLine_ = std::move(fault_);
    badLine_->start = start;
    return false;
  }
  if (stopsAtNewKeys_ && newKeys_.GetCount() != 0) return false;
  lineStarts_.push_back(start);
  AppendRow();
  return true;
}

void JsonLinesSlicer::Take(std::string_view key, JsonLineReader::Kind kind, std::string_view text) {
  if (fault_) return;
  const uint32 index = FindKey(key);
  if (fault_) return;
  if (lineOfKey_.size() <= index) lineOfKey_.resize(index + 1);
  if (lineOfKey_[index] == line_) return SetFault(kDuplicateKey, key);
  lineOfKey_[index] = line_;
  if (text.find('\0') != std::string_view::npos) return SetFault(kNulEscape, {});
  if (kind == JsonLineReader::Kind::kNull) return;
  if (index >= places_.size() || places_[index] == kNotWanted) return;
  members_[places_[index]] = {text, kind == JsonLineReader::Kind::kString};
  memberBytes_ += text.size();
}

uint32 JsonLinesSlicer::FindKey(std::string_view key) {
  const uint32 count = known_.GetCount() + newKeys_.GetCount();
  // Most objects have the keys of the one before, in its order.
  if (nextKey_ < count && GetKey(nextKey_) == key) return nextKey_++;
  std::optional<uint32> index = known_.Find(key);
  if (!index) {
    index = newKeys_.Find(key);
    if (index) *index += known_.GetCount();
  }
  if (!index) {
    index = count;
    if (count == kMostKeys) SetFault(kTooManyColumns, {});
    if (key.find('\0') != std::string_view::npos) SetFault(kNulEscape, {});
    if (!fault_) newKeys_.Add(key);
  }
  nextKey_ = *index + 1;
  return *index;
}

void JsonLinesSlicer::SetFault(int error, std::string_view quoted) {
  if (!fault_) fault_ = BadLine{error, 0, std::string(quoted)};
}

void JsonLinesSlicer::AppendRow() {
  // Every character of a string may be a quotation mark.
  const std::size_t most = 2 * memberBytes_ + kFieldExtra * members_.size() + kPadding;
  if (text_.size() < textSize_ + most) text_.resize(std::max(textSize_ + most, 2 * text_.size()));
  rowStarts_.push_back(static_cast<uint32>(textSize_ - kPadding));
  for (const Member& member : members_) {
    if (member.isString) {
      AppendQuoted(member.text);
    } else if (!member.text.empty()) {
      std::memcpy(text_.data() + textSize_, member.text.data(), member.text.size());
      textSize_ += member.text.size();
    }
    fieldEnds_.push_back(static_cast<uint32>(textSize_ - kPadding));
    text_[textSize_++] = '\n';
  }
}

void JsonLinesSlicer::AppendQuoted(std::string_view text) {
  slice_.hasQuotes = true;
  char* out = text_.data() + textSize_;
  *out++ = '"';
  while (!text.empty()) {
    const std::size_t mark = text.find('"');
    const std::size_t count = std::min(text.size(), mark == text.npos ? mark : mark + 1);
    std::memcpy(out, text.data(), count);
    out += count;
    if (mark != text.npos) *out++ = '"';
    text.remove_prefix(count);
  }
  *out++ = '"';
  textSize_ = static_cast<std::size_t>(out - text_.data());
}

}  // namespace sqxer
