#pragma once

#include <string>

#include "CsvRecord.h"
#include "VectorBuilder.h"

namespace sqxer {

/// The loops of a builder around its reading of one value. `Derived` has Reserve(rows),
/// TakeText(text), which stores the value of row rows_ or says why not, and TakeNull(), which
/// stores something there.
template <class Derived>
class TypedBuilder : public VectorBuilder {
 public:
  void Expect(uint64 rows) override {
    if (rows > rows_) Self().Reserve(rows - rows_);
  }

  void AppendNull() final {
    Self().Reserve(1);
    AddNull();
  }

  Outcome Append(std::string_view text) final {
    Self().Reserve(1);
    const Outcome outcome = Self().TakeText(Pad(text));
    if (outcome == Outcome::kTaken) EndValue();
    return outcome;
  }

  Outcome AppendSlice(const RecordSlice& slice, uint32 column, uint32& row) final {
    Self().Reserve(slice.rows - row);
    for (; row < slice.rows; ++row) {
      const uint32 start = slice.GetStart(row, column);
      std::string_view text(slice.text + start, slice.GetEnd(row, column) - start);
      if (IsNullText(text)) {
        AddNull();
        continue;
      }
      if (slice.hasQuotes && text.front() == '"') text = Unquote(text);
      const Outcome outcome = Self().TakeText(text);
      if (outcome != Outcome::kTaken) return outcome;
      EndValue();
    }
    return Outcome::kTaken;
  }

 protected:
  using VectorBuilder::VectorBuilder;

 private:
  Derived& Self() { return static_cast<Derived&>(*this); }
  void AddNull() {
    Self().TakeNull();
    EndNull();
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
};

}  // namespace sqxer
