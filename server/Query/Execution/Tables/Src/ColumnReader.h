#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ColumnSurvey.h"
#include "ColumnTypes.h"
#include "CsvRecord.h"
#include "SliceSink.h"
#include "VectorBuilder.h"

namespace sqxer {

/// A column to be read: what it is thought to be.
struct FileColumn {
  uint32 index = 0;
  std::optional<ColumnInfo> declared;
  ColumnSurvey survey;
  /// Of the texts that were surveyed, the bytes of the longest.
  std::size_t longest = 0;
  /// Without a declared type, kept as texts first, whatever its values look like: they can be read
  /// once only, or nothing is known of them.
  bool asText = false;
  /// What the statement that reads it was told.
  std::optional<ColumnInfo> settled = {};

  XeDataType GetType() const {
    return declared  ? declared->type
           : asText  ? XeVarCharData
           : settled ? settled->type
                     : survey.GetType();
  }
  /// What its texts may be like was not declared, but settled.
  bool IsSettled() const { return settled && (!declared || IsOfAnyLength(*declared)); }
  std::unique_ptr<VectorBuilder> MakeBuilder(const std::string& nullText) const;
};

/// Which columns of a table are among some.
class ColumnSet {
 public:
  explicit ColumnSet(const std::vector<FileColumn>& columns) {
    for (const FileColumn& column : columns) Add(column.index);
  }
  void Add(uint32 column) {
    if (has_.size() <= column) has_.resize(column + 1);
    has_[column] = true;
  }
  bool Has(uint32 column) const { return column < has_.size() && has_[column]; }

 private:
  std::vector<bool> has_;
};

/// The field of a column of the table.
inline std::string_view FieldOf(const RecordSlice& slice, uint32 row, uint32 column) {
  const uint32 place = slice.GetPlace(column);
  const uint32 start = slice.GetStart(row, place);
  return {slice.text + start, slice.GetEnd(row, place) - start};
}

inline bool IsNullField(std::string_view field, const std::string& nullText) {
  return field.empty() || (!nullText.empty() && field == nullText);
}

/// What a field that is no NULL can be at most, whatever its text reads as.
inline unsigned KindsOfField(const RecordSlice& slice, std::string_view field) {
  return slice.quotedAreTexts && field.front() == '"' ? kQuotedKinds : kAllKinds;
}

/// Calls `use` with the text of each field of a column that is no NULL, from row `first` on, and
/// with the kinds that it can have.
template <class Use>
void ForEachText(const RecordSlice& slice, uint32 column, uint32 first, const std::string& nullText,
                 Use&& use) {
  for (uint32 row = first; row < slice.rows; ++row) {
    const std::string_view field = FieldOf(slice, row, column);
    if (IsNullField(field, nullText)) continue;
    const unsigned kinds = KindsOfField(slice, field);
    if (slice.hasQuotes && field.front() == '"') {
      use(std::string_view(UnquoteField(field)), kinds);
    } else {
      use(field, kinds);
    }
  }
}

/// How much text several readers may take together.
struct TextBudget {
  uint64 mostBytes;
  std::atomic<uint64> takenBytes = 0;
  bool IsUsedUp() const { return takenBytes > mostBytes; }
};

/// Reads columns over a stretch of the rows. One thread.
class ColumnReader final : public SliceSink {
 public:
  enum class Purpose {
    /// The values are kept. A column with one that is not of its type is looked through for what
    /// it is.
    kKeep,
    /// The same, but the values are dropped.
    kConfirm,
    /// The values are kept, and one that is not of its column's type is refused.
    kStream,
  };
  /// A value that a type does not take.
  struct Refusal {
    VectorBuilder::Outcome outcome;
    std::string path;
    RecordPlace place;
    /// Among those that are read.
    std::size_t column;
    std::string value;
  };

  /// Columns and text must outlive the reader.
  ColumnReader(const std::vector<FileColumn>& columns, const std::string& nullText, Purpose purpose,
               uint64 mostRows);

  /// So many rows are to be expected.
  void Expect(uint64 rows) {
    for (Reading& reading : readings_) reading.builder->Expect(rows);
  }
  /// A budget that is used up ends the reading. It must outlive the reader.
  void SetBudget(TextBudget& budget) { budget_ = &budget; }
  bool Take(const RecordSlice& taken, const RecordPlaces& places) override;
  bool Wants(uint32 column) const override { return wanted_.Has(column); }
  /// Takes a further column behind those that it was made with, NULL in the rows so far.
  void AddColumn();

  bool WantsRows() const {
    return rows_ < mostRows_ && (budget_ == nullptr || !budget_->IsUsedUp());
  }
  uint64 GetRows() const { return rows_; }
  /// Of the records, those of columns that are not read included.
  uint64 GetTextBytes() const { return textBytes_; }
  /// Behind it only the records were looked at.
  const std::optional<Refusal>& GetRefusal() const { return refusal_; }

  // Of one of the columns:
  /// Whether every value had the type that was thought.
  bool Fits(std::size_t column) const { return readings_[column].builder != nullptr; }
  /// The values of a column that fits, as far as they are kept; once.
  ColumnVector TakeVector(std::size_t column);
  /// Drops the values of a column, which does not fit then.
  void Forget(std::size_t column) { readings_[column].builder.reset(); }

  // Of one of the columns, whose values have been taken or did not fit:
  /// What the values can be read as.
  const ColumnSurvey& GetSurvey(std::size_t column) const { return readings_[column].survey; }
  uint64 GetNulls(std::size_t column) const { return readings_[column].nulls; }
  /// Characters of the longest text.
  uint32 GetLongest(std::size_t column) const { return readings_[column].longest; }

 private:
  struct Reading {
    /// Null once a value did not have the type.
    std::unique_ptr<VectorBuilder> builder;
    // Of the values that are not in the builder.
    ColumnSurvey survey;
    uint64 nulls = 0;
    uint32 longest = 0;
    /// Whether the survey has seen the values before they became texts.
    bool isSurveyed = false;
  };

  /// Returns the first row with a value that is refused.
  uint32 Read(std::size_t column, const RecordSlice& slice, const RecordPlaces& places,
              uint32 firstRefused);
  void Refuse(VectorBuilder::Outcome outcome, std::size_t column, const RecordSlice& slice,
              uint32 row, const RecordPlaces& places);
  void Drop(std::size_t column);

  const std::vector<FileColumn>& columns_;
  ColumnSet wanted_;
  const std::string& nullText_;
  const Purpose purpose_;
  const uint64 mostRows_;
  std::vector<Reading> readings_;
  uint64 rows_ = 0;
  uint64 textBytes_ = 0;
  std::optional<Refusal> refusal_;
  TextBudget* budget_ = nullptr;
};

}  // namespace sqxer
