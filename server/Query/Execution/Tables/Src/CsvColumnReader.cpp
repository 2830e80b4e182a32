#include "CsvColumnReader.h"

#include <algorithm>

namespace sqxer {

std::unique_ptr<VectorBuilder> CsvColumn::MakeBuilder(const std::string& nullText) const {
  const std::optional<ColumnInfo>& known = declared ? declared : settled;
  return VectorBuilder::Make(
      GetType(), known ? known->length : VectorBuilder::kAnyLength,
      {declared ? VectorBuilder::Strictness::kDeclared : VectorBuilder::Strictness::kInferred,
       nullText});
}

CsvColumnReader::CsvColumnReader(const std::vector<CsvColumn>& columns, const std::string& nullText,
                                 Purpose purpose, uint64 mostRows)
    : columns_(columns), nullText_(nullText), purpose_(purpose), mostRows_(mostRows) {
  for (const CsvColumn& column : columns) {
    readings_.emplace_back();
    readings_.back().builder = column.MakeBuilder(nullText);
  }
}

bool CsvColumnReader::Take(const RecordSlice& taken, const RecordPlaces& places) {
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
  if (slice.rows > 0) {
    const uint64 bytes = slice.GetEnd(slice.rows - 1, slice.columns - 1) - slice.rowStarts[0] + 1;
    textBytes_ += bytes;
    if (budget_ != nullptr) budget_->takenBytes += bytes;
  }
  return WantsRows();
}

ColumnVector CsvColumnReader::TakeVector(std::size_t column) {
  Reading& reading = readings_[column];
  VectorBuilder& builder = *reading.builder;
  const uint64 values = builder.GetRows() - builder.GetNulls();
  reading.nulls += builder.GetNulls();
  reading.longest = std::max(reading.longest, builder.GetLongest());
  ColumnVector vector = builder.Take();
  if (columns_[column].asText) {
    reading.survey.AddTexts(vector);
  } else {
    reading.survey.AddValuesOf(columns_[column].GetType(), values);
  }
  return vector;
}

uint32 CsvColumnReader::Read(std::size_t column, const RecordSlice& slice,
                             const RecordPlaces& places, uint32 firstRefused) {
  Reading& reading = readings_[column];
  const CsvColumn& thought = columns_[column];
  uint32 row = 0;
  if (reading.builder) {
    const VectorBuilder::Outcome outcome = reading.builder->AppendSlice(slice, thought.index, row);
    const bool isTaken = outcome == VectorBuilder::Outcome::kTaken;
    if (!isTaken && (thought.declared || purpose_ == Purpose::kStream)) {
      if (row < firstRefused) Refuse(outcome, column, slice, row, places);
      return row;
    }
    if (isTaken) {
      if (purpose_ == Purpose::kConfirm) Drop(column);
      return slice.rows;
    }
    TakeVector(column);
    reading.builder.reset();
  }
  ForEachText(slice, thought.index, row, nullText_,
              [&](std::string_view text) { reading.survey.Add(text); });
  return slice.rows;
}

void CsvColumnReader::Refuse(VectorBuilder::Outcome outcome, std::size_t column,
                             const RecordSlice& slice, uint32 row, const RecordPlaces& places) {
  const std::string_view field = FieldOf(slice, row, columns_[column].index);
  refusal_ = {outcome, places.GetPath(), places.PlaceOf(slice, row), column,
              field.starts_with('"') ? UnquoteField(field) : std::string(field)};
}

void CsvColumnReader::Drop(std::size_t column) {
  constexpr uint64 kLeastRows = uint64{1} << 16;
  Reading& reading = readings_[column];
  if (reading.builder->GetRows() < kLeastRows) return;
  TakeVector(column);
  reading.builder = columns_[column].MakeBuilder(nullText_);
}

}  // namespace sqxer
