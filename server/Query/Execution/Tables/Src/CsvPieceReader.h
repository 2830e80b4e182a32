#pragma once

#include <atomic>
#include <span>

#include "CsvSlicer.h"
#include "PieceReader.h"

namespace sqxer {

/// What the records of a table have in common.
struct CsvLayout {
  char delimiter;
  uint32 columns;
  /// For the sentence about a record that has not as many fields.
  bool hasHeader;
  std::size_t blockBytes;
};

/// Reads the records of CSV.
class CsvPieceReader final : public PieceReader {
 public:
  /// A stretch of a plain file.
  CsvPieceReader(TextFile& text, const FileVersion& version, const CsvLayout& layout, uint64 begin,
                 uint64 end)
      : PieceReader(text, version, layout.blockBytes, begin, end),
        layout_(layout),
        slicer_(layout.delimiter, layout.columns) {}
  /// All of another text, as PieceReader has it.
  CsvPieceReader(TextFile& text, const FileVersion& version, const CsvLayout& layout,
                 BlockBuffer head, std::size_t headerBytes)
      : PieceReader(text, version, std::move(head), headerBytes),
        layout_(layout),
        slicer_(layout.delimiter, layout.columns) {}

  /// Places that are said to be starts of records; `isRefuted` becomes true for one that is none.
  void SetGuesses(std::span<const uint64> places, std::atomic<bool>& isRefuted) {
    guesses_ = places;
    isRefuted_ = &isRefuted;
  }

  RecordPlace PlaceOf(const RecordSlice& slice, uint32 row) const override {
    return PlaceAt(slice.rowStarts[row]);
  }

 private:
  Going TakeBlock(std::string_view block, bool isEnd, SliceSink& sink, uint32& consumed) override;
  [[noreturn]] void ThrowTooLarge() override { ThrowBadRecord({0, kRecordTooLarge, 0}); }
  void CheckGuesses(const RecordSlice& slice, uint32 consumed);
  [[noreturn]] void ThrowBadRecord(const BadRecord& bad) const;

  CsvLayout layout_;
  CsvSlicer slicer_;
  std::span<const uint64> guesses_;
  std::atomic<bool>* isRefuted_ = nullptr;
};

}  // namespace sqxer
