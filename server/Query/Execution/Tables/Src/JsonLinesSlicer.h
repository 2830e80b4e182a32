#pragma once

#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "JsonKeys.h"
#include "JsonLineReader.h"
#include "RecordSlice.h"

namespace sqxer {

/// More columns than these have no place in a table.
inline constexpr uint32 kMostKeys = std::numeric_limits<uint16>::max();

/// Whether a column of the table is wanted.
using ColumnFilter = std::function<bool(uint32 column)>;

/// Makes records of lines with a JSON object each. The keys are the columns; of each record the
/// slice has those that are wanted. Strings are quoted fields, other values stand as in the line;
/// null, and a key that the object has not, is an empty field. Empty lines are nothing.
class JsonLinesSlicer final : private JsonLineReader::MemberSink {
 public:
  /// A line that is no record.
  struct BadLine {
    /// kNoJsonObject, kNulByte, kNulEscape, kInvalidUtf8, kDuplicateKey, kTooManyColumns,
    /// kLineTooLarge or kTooManyLevels.
    int error;
    /// Where it starts.
    uint32 start;
    /// What the error quotes: the line, or a key.
    std::string quoted;
  };

  /// The keys that are known already; what is met of others is told by GetNewKeys. They must
  /// outlive the slicer, and may only grow when GetNewKeys is forgotten.
  explicit JsonLinesSlicer(const JsonKeys& known) : known_(known) {}

  /// Whether a slice ends before the line in which a new key is met.
  void StopAtNewKeys(bool stops) { stopsAtNewKeys_ = stops; }

  /// Reads the whole lines of a text, with the last one of `isLast`, up to a bad one, and returns
  /// how many bytes they have. The text may be read JsonLineReader::kPadding bytes beyond its end.
  uint32 Slice(std::string_view text, bool isLast, const ColumnFilter& isWanted);
  /// What the last Slice has made; valid until the next one, and independent of its text.
  const RecordSlice& Get() const { return slice_; }
  /// Where in the text the line of a row starts.
  uint32 GetLineStart(uint32 row) const { return lineStarts_[row]; }
  const std::optional<BadLine>& GetBadLine() const { return badLine_; }

  const JsonKeys& GetNewKeys() const { return newKeys_; }
  void ForgetNewKeys() { newKeys_ = JsonKeys(); }

 private:
  static constexpr uint32 kNotWanted = ~uint32{0};
  static constexpr std::size_t kPadding = 64;

  struct Member {
    std::string_view text;
    bool isString = false;
  };

  void Begin(const ColumnFilter& isWanted);
  /// False when the slice ends before the line.
  bool ReadLine(std::string_view line, uint32 start);
  void Take(std::string_view key, JsonLineReader::Kind kind, std::string_view text) override;
  uint32 FindKey(std::string_view key);
  const std::string& GetKey(uint32 index) const {
    return index < known_.GetCount() ? known_.Get(index) : newKeys_.Get(index - known_.GetCount());
  }
  void SetFault(int error, std::string_view quoted);
  void AppendRow();
  void AppendQuoted(std::string_view text);
  void End();

  const JsonKeys& known_;
  JsonKeys newKeys_;
  bool stopsAtNewKeys_ = false;
  JsonLineReader reader_;
  /// Of the line that is being read: its number, which the keys that it has had bear; the key
  /// that comes next if it has those of the line before; what is wrong.
  uint64 line_ = 0;
  std::vector<uint64> lineOfKey_;
  uint32 nextKey_ = 0;
  std::optional<BadLine> fault_;

  /// By key that is known: where its column stands in the slice.
  std::vector<uint32> places_;
  /// By column of the slice, without text where the line has none.
  std::vector<Member> members_;
  std::size_t memberBytes_ = 0;

  std::vector<char> text_;
  std::size_t textSize_ = 0;
  std::vector<uint32> rowStarts_;
  std::vector<uint32> fieldEnds_;
  std::vector<uint32> lineStarts_;
  RecordSlice slice_;
  std::optional<BadLine> badLine_;
};

}  // namespace sqxer
