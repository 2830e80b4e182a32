#pragma once

#include <optional>
#include <string_view>

#include "Table.h"
#include "TableError.h"
#include "ValueReader.h"

namespace sqxer {

/// What a first pass over a file finds out about a column: its type where none is declared, and how
/// much room its values take, so that the second pass fills vectors of exactly the right size.
class ColumnSurvey {
 public:
  void AddNull() { ++nulls_; }
  /// A valid UTF-8 text.
  void Add(std::string_view text);
  /// A value whose kinds are known (0 for text).
  void Add(std::string_view text, unsigned kinds);

  /// Name and type: the declared one if given, else the inferred one.
  ColumnInfo Describe(const XeString& name, const std::optional<ColumnInfo>& declared) const;
  uint64 GetNulls() const { return nulls_; }
  uint64 GetCharacters() const { return characters_; }

 private:
  unsigned kinds_ = kAllKinds;
  uint64 values_ = 0;
  uint64 nulls_ = 0;
  uint64 characters_ = 0;
  uint32 longest_ = 0;
};

/// Takes the values of a column as texts, row by row.
class ColumnBuilder {
 public:
  /// The survey has seen what is going to come, `rows` rows.
  ColumnBuilder(ColumnInfo info, const ColumnSurvey& survey, uint64 rows);

  void AppendNull();
  /// A valid UTF-8 text. Error 57010 or 57011 (file, place, column, type, value) when the column's
  /// type does not take it.
  void Append(std::string_view text, const std::string& file, const RecordPlace& place) {
    const Outcome outcome = AppendIfTaken(text);
    if (outcome != Outcome::kTaken) Refuse(outcome, text, file, place);
  }
  /// The same; false when the type does not take it.
  bool TryAppend(std::string_view text) { return AppendIfTaken(text) == Outcome::kTaken; }
  /// The column; the builder is empty afterwards.
  TableColumn Take() { return std::move(column_); }

 private:
  enum class Outcome { kTaken, kTooLong, kUnreadable };
  using AppendFunction = Outcome (*)(ColumnBuilder&, std::string_view);

  Outcome AppendIfTaken(std::string_view text) {
    const Outcome outcome = append_(*this, text);
    if (outcome != Outcome::kTaken) return outcome;
    if (!column_.nulls.empty()) column_.nulls.push_back(0);
    ++rows_;
    return outcome;
  }
  static AppendFunction ChooseAppend(XeDataType type);
  template <class Stored, class Read>
  static Outcome AppendFixed(ColumnBuilder& builder, std::string_view text);
  static Outcome AppendFixedText(ColumnBuilder& builder, std::string_view text);
  static Outcome AppendVaryingText(ColumnBuilder& builder, std::string_view text);
  [[noreturn]] void Refuse(Outcome outcome, std::string_view text, const std::string& file,
                           const RecordPlace& place) const;

  AppendFunction append_;
  uint32 width_;
  uint64 rows_ = 0;
  uint64 expectedRows_;
  TableColumn column_;
};

}  // namespace sqxer
