#pragma once

#include <functional>
#include <span>

#include "BlockBuffer.h"
#include "SliceSink.h"
#include "TextFile.h"

namespace sqxer {

/// What the records of a table have in common.
struct CsvLayout {
  char delimiter;
  uint32 columns;
  /// For the sentence about a record that has not as many fields.
  bool hasHeader;
  std::size_t blockBytes;
};

/// Raises the error of a record, whose arguments start with file and place: that bytes are no UTF-8
/// is said of the file's own encoding. Damaged packed data are the error rather than what they
/// hold.
[[noreturn]] void ThrowRecordError(TextFile& text, int error, std::vector<XeString> arguments);

/// Reads a stretch of whole records of one text, block by block.
class CsvPieceReader final : public RecordPlaces {
 public:
  /// What goes on meanwhile: called after each block with the bytes of the file that it took; false
  /// ends the reading.
  using OnBlock = std::function<bool(uint64 fileBytes)>;

  /// A stretch of a plain file.
  CsvPieceReader(TextFile& text, const FileVersion& version, const CsvLayout& layout, uint64 begin,
                 uint64 end);
  /// All of another text: `head` holds what has been read of it, of which the first `headerBytes`
  /// are left out.
  CsvPieceReader(TextFile& text, const FileVersion& version, const CsvLayout& layout,
                 BlockBuffer head, std::size_t headerBytes);

  /// Places that are said to be starts of records; `isRefuted` becomes true for one that is none.
  void SetGuesses(std::span<const uint64> places, std::atomic<bool>& isRefuted) {
    guesses_ = places;
    isRefuted_ = &isRefuted;
  }

  /// False when the sink or `onBlock` ended it; when that was `onBlock`, another call reads on.
  /// Errors: see CsvScan.
  bool Read(SliceSink& sink, const OnBlock& onBlock);

  /// Where in the text the blocks before the last one end.
  uint64 GetOffset() const { return offset_; }

  const std::string& GetPath() const override { return text_.GetFile().GetPath(); }
  RecordPlace PlaceOf(const RecordSlice& slice, uint32 row) const override {
    return PlaceAt(slice.rowStarts[row]);
  }

 private:
  std::size_t FillBlock();
  void CheckGuesses(const RecordSlice& slice, uint32 consumed);
  RecordPlace PlaceAt(uint32 position) const;
  [[noreturn]] void ThrowBadRecord(const BadRecord& bad) const;

  TextFile& text_;
  FileVersion version_;
  CsvLayout layout_;
  bool isPlain_;
  /// Where the block starts in the text, and up to where a plain file is to be read.
  uint64 offset_;
  uint64 end_;
  /// Line feeds before the block; not counted in a plain file, which can be read again.
  uint64 lines_ = 0;
  /// Of the file, at the last call of `onBlock`.
  uint64 readBytes_ = 0;
  bool isEnd_ = false;
  BlockBuffer buffer_;
  CsvSlicer slicer_;
  std::span<const uint64> guesses_;
  std::atomic<bool>* isRefuted_ = nullptr;
};

}  // namespace sqxer
