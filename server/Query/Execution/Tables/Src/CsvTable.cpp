#include "CsvTable.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "CsvRecord.h"

namespace sqxer {
namespace {

std::string_view FieldOf(const RecordSlice& slice, uint32 row, uint32 column) {
  const uint32 start = slice.GetStart(row, column);
  return {slice.text + start, slice.GetEnd(row, column) - start};
}

bool IsNullField(std::string_view field, const std::string& nullText) {
  return field.empty() || (!nullText.empty() && field == nullText);
}

/// Calls `use` with the text of each field of a column that is no NULL, from row `first` on.
template <class Use>
void ForEachText(const RecordSlice& slice, uint32 column, uint32 first, const std::string& nullText,
                 Use&& use) {
  for (uint32 row = first; row < slice.rows; ++row) {
    const std::string_view field = FieldOf(slice, row, column);
    if (IsNullField(field, nullText)) continue;
    if (slice.hasQuotes && field.front() == '"') {
      use(std::string_view(UnquoteField(field)));
    } else {
      use(field);
    }
  }
}

}  // namespace

/// A column to be read: what it is thought to be.
struct CsvTable::Column {
  uint32 index = 0;
  std::optional<ColumnInfo> declared;
  ColumnSurvey survey;
  /// Kept as texts first, whatever its values look like: they can be read once only, or nothing is
  /// known of them.
  bool asText = false;

  XeDataType GetType() const {
    return declared ? declared->type : asText ? XeVarCharData : survey.GetType();
  }
  std::unique_ptr<VectorBuilder> MakeBuilder(const std::string& nullText) const {
    return VectorBuilder::Make(
        GetType(), declared ? declared->length : VectorBuilder::kAnyLength,
        {declared ? VectorBuilder::Strictness::kDeclared : VectorBuilder::Strictness::kInferred,
         nullText});
  }
};

/// Reads columns over a stretch of the rows.
class CsvTable::Worker final : public SliceSink {
 public:
  /// A value that a declared type does not take.
  struct Refusal {
    VectorBuilder::Outcome outcome;
    std::string path;
    RecordPlace place;
    std::size_t column;
    std::string value;
  };

  Worker(const std::vector<Column>& columns, const std::string& nullText, uint64 mostRows)
      : nullText_(nullText), mostRows_(mostRows) {
    for (const Column& column : columns) {
      readings_.push_back({column.index,
                           column.GetType(),
                           column.declared.has_value(),
                           column.asText,
                           column.MakeBuilder(nullText),
                           {}});
    }
  }

  bool Take(const RecordSlice& taken, const RecordPlaces& places) override {
    RecordSlice slice = taken;
    slice.rows = static_cast<uint32>(std::min<uint64>(slice.rows, mostRows_ - rows_));
    // Behind a value that is refused only the structure is of interest.
    if (!refusal_) {
      uint32 firstRefused = slice.rows;
      for (std::size_t i = 0; i < readings_.size(); ++i) {
        firstRefused = std::min(firstRefused, Read(i, slice, places, firstRefused));
      }
    }
    rows_ += slice.rows;
    return rows_ < mostRows_;
  }

  uint64 GetRows() const { return rows_; }
  const std::optional<Refusal>& GetRefusal() const { return refusal_; }
  VectorBuilder& GetBuilder(std::size_t column) { return *readings_[column].builder; }
  /// Whether every value had the type that was thought.
  bool Fits(std::size_t column) const { return readings_[column].builder != nullptr; }
  /// What the values of a column can be read as.
  ColumnSurvey GetSurvey(std::size_t column) const {
    const Reading& reading = readings_[column];
    ColumnSurvey survey = reading.survey;
    if (reading.builder && !reading.asText) survey.AddValuesOf(reading.type, CountValues(reading));
    return survey;
  }

 private:
  struct Reading {
    uint32 index;
    XeDataType type;
    bool isDeclared;
    bool asText;
    /// Null once a value did not have the type.
    std::unique_ptr<VectorBuilder> builder;
    /// Of the values that the builder says nothing of.
    ColumnSurvey survey;
  };

  static uint64 CountValues(const Reading& reading) {
    return reading.builder->GetRows() - reading.builder->GetNulls();
  }

  /// Returns the first row with a value that is refused.
  uint32 Read(std::size_t column, const RecordSlice& slice, const RecordPlaces& places,
              uint32 firstRefused) {
    Reading& reading = readings_[column];
    uint32 row = 0;
    if (reading.builder) {
      const VectorBuilder::Outcome outcome =
          reading.builder->AppendSlice(slice, reading.index, row);
      const bool isTaken = outcome == VectorBuilder::Outcome::kTaken;
      if (isTaken && !reading.asText) return slice.rows;
      if (!isTaken && reading.isDeclared) {
        if (row < firstRefused) Refuse(outcome, column, slice, row, places);
        return row;
      }
      if (!isTaken) {
        reading.survey.AddValuesOf(reading.type, CountValues(reading));
        reading.builder.reset();
      }
    }
    ForEachText(slice, reading.index, reading.asText ? 0 : row, nullText_,
                [&](std::string_view text) { reading.survey.Add(text); });
    return slice.rows;
  }

  void Refuse(VectorBuilder::Outcome outcome, std::size_t column, const RecordSlice& slice,
              uint32 row, const RecordPlaces& places) {
    const std::string_view field = FieldOf(slice, row, readings_[column].index);
    refusal_ = {outcome, places.GetPath(), places.PlaceOf(slice, row), column,
                field.starts_with('"') ? UnquoteField(field) : std::string(field)};
  }

  const std::string& nullText_;
  const uint64 mostRows_;
  std::vector<Reading> readings_;
  uint64 rows_ = 0;
  std::optional<Refusal> refusal_;
};

/// Looks at the values of columns without keeping them.
class CsvTable::Surveyor final : public SliceSink {
 public:
  Surveyor(std::vector<Column>& columns, const std::string& nullText)
      : columns_(columns), nullText_(nullText) {}

  bool Take(const RecordSlice& slice, const RecordPlaces&) override {
    for (Column& column : columns_) {
      if (column.declared) continue;
      ForEachText(slice, column.index, 0, nullText_,
                  [&](std::string_view text) { column.survey.Add(text); });
    }
    return true;
  }

 private:
  std::vector<Column>& columns_;
  const std::string& nullText_;
};

/// Looks for the value that made a column text.
class CsvTable::ReasonFinder final : public SliceSink {
 public:
  ReasonFinder(uint32 column, uint64 mostRows, const std::string& nullText, bool hasOneFile)
      : column_(column), mostRows_(mostRows), nullText_(nullText), hasOneFile_(hasOneFile) {}

  bool Take(const RecordSlice& slice, const RecordPlaces& places) override {
    for (uint32 row = 0; row < slice.rows && rows_ < mostRows_; ++row, ++rows_) {
      const std::string_view field = FieldOf(slice, row, column_);
      if (IsNullField(field, nullText_)) continue;
      const bool hadKind = survey_.HasKind();
      const std::string text = field.front() == '"' ? UnquoteField(field) : std::string(field);
      survey_.Add(text);
      if (survey_.HasKind()) continue;
      // A column that is text from its first value on needs no reason.
      if (hadKind) {
        reason_ = DescribeTextReason(text, places.PlaceOf(slice, row),
                                     hasOneFile_ ? std::string() : places.GetPath());
      }
      return false;
    }
    return rows_ < mostRows_;
  }

  const XeString& GetReason() const { return reason_; }

 private:
  const uint32 column_;
  const uint64 mostRows_;
  const std::string& nullText_;
  const bool hasOneFile_;
  uint64 rows_ = 0;
  ColumnSurvey survey_;
  XeString reason_;
};

CsvTable::CsvTable(const std::vector<std::string>& paths, const XeString& name,
                   const DeclaredTypes& declared, const CsvTableOptions& options)
    : path_(paths.front()),
      hasOneFile_(paths.size() == 1),
      options_(options),
      scan_(paths, options.file),
      names_(path_, scan_.GetNames(), declared),
      isLoaded_(names_.GetCount()) {
  table_.schema.name = name;
  for (std::size_t i = 0; i < names_.GetCount(); ++i) {
    ColumnInfo column;
    column.name = names_.GetName(i);
    table_.schema.columns.push_back(std::move(column));
  }
}

const TableSchema& CsvTable::Require(const TableRequest& request, LoadProgress progress) {
  std::vector<uint32> wanted;
  for (uint32 i = 0; i < isLoaded_.size(); ++i) {
    if (!isLoaded_[i] && request.Wants(names_.GetName(i))) wanted.push_back(i);
  }
  const bool isRead = !table_.chunks.empty() || hasAllRows_;
  const bool hasRows = hasAllRows_ || (request.mostRows && *request.mostRows <= table_.rowCount);
  if (isRead && hasRows && wanted.empty()) return table_.schema;
  if (isRead && !scan_.IsRepeatable()) ThrowTableError(kReadAlready, {Wide(path_)});
  if (!scan_.IsRepeatable() && !request.mostRows) {
    // Nobody can read it again for the columns that are not wanted yet.
    wanted.resize(isLoaded_.size());
    std::iota(wanted.begin(), wanted.end(), 0u);
  }
  Load(wanted, request.mostRows, progress);
  return table_.schema;
}

XeString CsvTable::FindTextReason(std::size_t column) {
  const bool isInferredText = isLoaded_[column] && !names_.GetDeclared(column) &&
                              table_.schema.columns[column].type == XeVarCharData;
  if (!isInferredText || !scan_.IsRepeatable()) return {};
  ReasonFinder finder(static_cast<uint32>(column), table_.rowCount, options_.nullText, hasOneFile_);
  SliceSink* const sink = &finder;
  scan_.Scan({&sink, 1}, nullptr);
  return finder.GetReason();
}

void CsvTable::Load(const std::vector<uint32>& wanted, std::optional<uint64> mostRows,
                    LoadProgress progress) {
  const bool isRepeatable = scan_.IsRepeatable();
  std::vector<Column> columns;
  for (const uint32 column : wanted) {
    columns.push_back({column, names_.GetDeclared(column), {}, !isRepeatable});
  }
  if (isRepeatable) {
    Surveyor surveyor(columns, options_.nullText);
    scan_.Sample(surveyor);
    for (Column& column : columns) column.asText = column.survey.GetValues() == 0;
  }
  Loaded loaded;
  loaded.columns.resize(names_.GetCount());
  std::vector<Column> misfits = Read(columns, mostRows, progress, loaded);
  if (isRepeatable && !mostRows && !scan_.IsSampleConfirmed()) {
    AddMisguessed(columns, progress, misfits);
  }
  while (!misfits.empty()) misfits = Read(misfits, mostRows, progress, loaded);
  Keep(std::move(loaded), mostRows);
}

std::vector<CsvTable::Column> CsvTable::Read(const std::vector<Column>& columns,
                                             std::optional<uint64> mostRows, LoadProgress progress,
                                             Loaded& loaded) {
  const uint64 most = mostRows.value_or(std::numeric_limits<uint64>::max());
  const uint32 count = mostRows ? 1 : scan_.GetWorkers();
  std::vector<std::unique_ptr<Worker>> workers;
  std::vector<SliceSink*> sinks;
  for (uint32 i = 0; i < count; ++i) {
    workers.push_back(std::make_unique<Worker>(columns, options_.nullText, most));
    sinks.push_back(workers.back().get());
  }
  if (most > 0) scan_.Scan(sinks, progress);

  std::vector<uint64> rows;
  for (const auto& worker : workers) {
    if (const auto& refusal = worker->GetRefusal()) {
      const Column& column = columns[refusal->column];
      ColumnInfo info = *column.declared;
      info.name = names_.GetName(column.index);
      ThrowRefusedValue(refusal->outcome, refusal->path, refusal->place, info, refusal->value);
    }
    rows.push_back(worker->GetRows());
  }
  // The stretches of the workers are found in the file, so they are always the same.
  if (!loaded.rows.empty() && loaded.rows != rows) ThrowTableError(kFileChanged, {Wide(path_)});
  loaded.rows = rows;

  std::vector<Column> misfits;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    Column column = columns[i];
    column.survey = ColumnSurvey();
    bool fits = true;
    for (const auto& worker : workers) {
      column.survey.Add(worker->GetSurvey(i));
      fits = fits && worker->Fits(i);
    }
    if (!fits) {
      misfits.push_back(std::move(column));
      continue;
    }
    std::vector<std::unique_ptr<VectorBuilder>> typed;
    uint32 longest = 0;
    uint64 nulls = 0;
    std::vector<ColumnVector> vectors;
    for (const auto& worker : workers) {
      VectorBuilder& builder = worker->GetBuilder(i);
      longest = std::max(longest, builder.GetLongest());
      nulls += builder.GetNulls();
      vectors.push_back(builder.Take());
    }
    column.asText = false;
    const XeDataType type = column.GetType();
    if (columns[i].asText && !column.declared && type != XeVarCharData) {
      for (ColumnVector& vector : vectors) vector = ConvertTexts(vector, type);
    }
    loaded.columns[column.index] = {
        DescribeColumn(names_.GetName(column.index), column.declared, type, longest, nulls > 0),
        std::move(vectors)};
  }
  return misfits;
}

void CsvTable::AddMisguessed(const std::vector<Column>& columns, LoadProgress progress,
                             std::vector<Column>& misfits) {
  std::vector<Column> surveyed = columns;
  for (Column& column : surveyed) column.survey = ColumnSurvey();
  Surveyor surveyor(surveyed, options_.nullText);
  SliceSink* const sink = &surveyor;
  scan_.Scan({&sink, 1}, progress);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const bool isKnown =
        std::ranges::find(misfits, columns[i].index, &Column::index) != misfits.end();
    if (!isKnown && surveyed[i].GetType() != columns[i].GetType()) misfits.push_back(surveyed[i]);
  }
}

void CsvTable::Keep(Loaded loaded, std::optional<uint64> mostRows) {
  const uint64 rows = std::accumulate(loaded.rows.begin(), loaded.rows.end(), uint64{0});
  if (table_.chunks.empty()) {
    for (const uint64 count : loaded.rows) {
      table_.chunks.push_back({count, std::vector<ColumnVector>(names_.GetCount())});
    }
    table_.rowCount = table_.schema.mostRows = rows;
    hasAllRows_ = !mostRows || rows < *mostRows;
  } else if (rows != table_.rowCount || loaded.rows.size() != table_.chunks.size()) {
    ThrowTableError(kFileChanged, {Wide(path_)});
  }
  for (std::size_t i = 0; i < loaded.columns.size(); ++i) {
    auto& [info, vectors] = loaded.columns[i];
    if (vectors.empty()) continue;
    for (std::size_t chunk = 0; chunk < vectors.size(); ++chunk) {
      table_.chunks[chunk].columns[i] = std::move(vectors[chunk]);
    }
    table_.schema.columns[i] = std::move(info);
    isLoaded_[i] = true;
  }
}

}  // namespace sqxer
