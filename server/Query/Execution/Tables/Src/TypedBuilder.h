#pragma once

#include <algorithm>
#include <string>

#include "CsvRecord.h"
#include "VectorBuilder.h"

namespace sqxer {

/// The loops of a builder around its reading of one value. `Derived` has Reserve(rows),
/// TakeText(text, row), which stores the value of the row behind all others or says why not, and
/// TakeNull(row), which stores something there.
template <class Derived>
class TypedBuilder : public VectorBuilder {
 public:
  void Expect(uint64 rows) override {
    if (rows > rows_) Self().Reserve(rows - rows_);
  }

  void AppendNull() final {
    Self().Reserve(1);
    AddNull(rows_);
    EndRows(1);
  }

  Outcome Append(std::string_view text) final {
    Self().Reserve(1);
    isAscii_ = false;
    const Outcome outcome = Self().TakeText(Pad(text), rows_);
    if (outcome == Outcome::kTaken) EndRows(1);
    return outcome;
  }

  Outcome AppendSlice(const RecordSlice& slice, uint32 column, uint32& row) final {
    Self().Reserve(slice.rows - row);
    isAscii_ = slice.isAscii;
    ColumnFields fields(slice, column, row);
    const std::string_view nullText = GetNullText();
    const bool refusesQuoted = slice.quotedAreTexts && IsInferred() && !Derived::kTakesQuoted;
    Outcome outcome = Outcome::kTaken;
    while (row < slice.rows && outcome == Outcome::kTaken) {
      const uint64 first = rows_;
      const uint32 count = std::min(slice.rows - row, GetRoomOfBlock());
      uint32 taken = 0;
      for (; taken < count; ++taken) {
        std::string_view text = fields.Next();
        if (text.empty() || text == nullText) {
          AddNull(first + taken);
          continue;
        }
        if (slice.hasQuotes && text.front() == '"') {
          if (refusesQuoted) {
            outcome = Outcome::kUnreadable;
            break;
          }
          text = Unquote(text);
        }
        outcome = Self().TakeText(text, first + taken);
        if (outcome != Outcome::kTaken) break;
      }
      row += taken;
      EndRows(taken);
    }
    return outcome;
  }

 protected:
  using VectorBuilder::VectorBuilder;

  /// Whether a field that says by its quotation marks that it is no number and no truth value can
  /// be a value of the type.
  static constexpr bool kTakesQuoted = false;

  /// Whether the texts that are being taken are known to be ASCII.
  bool AreKnownAscii() const { return isAscii_; }

 private:
  Derived& Self() { return static_cast<Derived&>(*this); }
  void AddNull(uint64 row) {
    Self().TakeNull(row);
    MarkNull(row);
  }
  std::string_view Unquote(std::string_view field) {
    const std::string_view inside = field.substr(1, field.size() - 2);
    return inside.find('"') == std::string_view::npos ? inside : Pad(UnquoteField(field));
  }
  /// Builders read words, so beyond the end of a text.
  std::string_view Pad(std::string_view text) {
    padded_.assign(text);
    padded_.append(ColumnBuffer::kColumnPadding, '\0');
    return {padded_.data(), text.size()};
  }

  std::string padded_;
  bool isAscii_ = false;
};

}  // namespace sqxer
