#include "CsvPieceReader.h"

#include <algorithm>

namespace sqxer {

PieceReader::Going CsvPieceReader::TakeBlock(std::string_view block, bool isEnd, SliceSink& sink,
                                             uint32& consumed) {
  consumed = slicer_.Slice(block, isEnd);
  RecordSlice& slice = slicer_.Get();
  slice.fileOffset = GetOffset();
  CheckGuesses(slice, consumed);
  if (slice.rows != 0 && !sink.Take(slice, *this)) return Going::kEnded;
  if (slicer_.GetBadRecord()) ThrowBadRecord(*slicer_.GetBadRecord());
  return Going::kOn;
}

void CsvPieceReader::CheckGuesses(const RecordSlice& slice, uint32 consumed) {
  for (const uint64 guess : guesses_) {
    if (guess < GetOffset() || guess >= GetOffset() + consumed) continue;
    const uint32 position = static_cast<uint32>(guess - GetOffset());
    if (!std::binary_search(slice.rowStarts, slice.rowStarts + slice.rows, position)) {
      *isRefuted_ = true;
    }
  }
}

void CsvPieceReader::ThrowBadRecord(const BadRecord& bad) const {
  int error = bad.error;
  std::vector<XeString> counts;
  if (error == kFieldCount) {
    if (!layout_.hasHeader) error = kFieldCountOfFirst;
    counts = {std::to_wstring(bad.fields), std::to_wstring(layout_.columns)};
  }
  ThrowBadRecordAt(bad.start, error, std::move(counts));
}

}  // namespace sqxer
