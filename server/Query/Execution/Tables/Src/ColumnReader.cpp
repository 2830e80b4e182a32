#include "ColumnReader.h"

#include <algorithm>

namespace sqxer {

std::unique_ptr<VectorBuilder> FileColumn::MakeBuilder(const std::string& nullText) const {
  const std::optional<ColumnInfo>& known = settled ? settled : declared;
  return VectorBuilder::Make(
      GetType(), MostCharacters(known),
      {declared ? VectorBuilder::Strictness::kDeclared : VectorBuilder::Strictness::kInferred,
       nullText, known && known->isBigint});
}

ColumnReader::ColumnReader(const std::vector<FileColumn>& columns, const std::string& nullText,
                           Purpose purpose, uint64 mostRows)
    : columns_(columns),
      wanted_(columns),
      nullText_(nullText),
      purpose_(purpose),
      mostRows_(mostRows) {
  for (const FileColumn& column : columns) {
    readings_.emplace_back();
    readings_.back().builder = column.MakeBuilder(nullText);
  }
}

void ColumnReader::AddColumn() {
  const FileColumn& column = columns_[readings_.size()];
  wanted_.Add(column.index);
  readings_.emplace_back();
  readings_.back().builder = column.MakeBuilder(nullText_);
  for (uint64 row = 0; row < rows_; ++row) readings_.back().builder->AppendNull();
}

bool ColumnReader::Take(const RecordSlice& taken, const RecordPlaces& places) {
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
  if (slice.rows > 0 && slice.columns > 0) {
    const uint64 bytes = slice.GetEnd(slice.rows - 1, slice.columns - 1) - slice.rowStarts[0] + 1;
    textBytes_ += bytes;
    if (budget_ != nullptr) budget_->takenBytes += bytes;
  }
  return WantsRows();
}

ColumnVector ColumnReader::TakeVector(std::size_t column) {
  Reading& reading = readings_[column];
  VectorBuilder& builder = *reading.builder;
  const uint64 values = builder.GetRows() - builder.GetNulls();
  reading.nulls += builder.GetNulls();
  reading.longest = std::max(reading.longest, builder.GetLongest());
  ColumnVector vector = builder.Take();
  if (columns_[column].asText) {
    if (!reading.isSurveyed) reading.survey.AddTexts(vector);
  } else {
    reading.survey.AddValuesOf(columns_[column].GetType(), values);
  }
  return vector;
}

uint32 ColumnReader::Read(std::size_t column, const RecordSlice& slice, const RecordPlaces& places,
                          uint32 firstRefused) {
  Reading& reading = readings_[column];
  const FileColumn& thought = columns_[column];
  const auto survey = [&](uint32 first) {
    ForEachText(slice, thought.index, first, nullText_,
                [&](std::string_view text, unsigned kinds) { reading.survey.Add(text, kinds); });
  };
  uint32 row = 0;
  if (reading.builder) {
    // Among texts nobody could tell any more which of them were quoted.
    if (thought.asText && slice.quotedAreTexts) {
      reading.isSurveyed = true;
      survey(0);
    }
    const VectorBuilder::Outcome outcome =
        reading.builder->AppendSlice(slice, slice.GetPlace(thought.index), row);
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
  survey(row);
  return slice.rows;
}

void ColumnReader::Refuse(VectorBuilder::Outcome outcome, std::size_t column,
                          const RecordSlice& slice, uint32 row, const RecordPlaces& places) {
  const std::string_view field = FieldOf(slice, row, columns_[column].index);
  refusal_ = {outcome, places.GetPath(), places.PlaceOf(slice, row), column,
              field.starts_with('"') ? UnquoteField(field) : std::string(field)};
}

void ColumnReader::Drop(std::size_t column) {
  constexpr uint64 kLeastRows = uint64{1} << 16;
  Reading& reading = readings_[column];
  if (reading.builder->GetRows() < kLeastRows) return;
  TakeVector(column);
  reading.builder = columns_[column].MakeBuilder(nullText_);
}

}  // namespace sqxer
