#pragma once

#include <functional>

#include "BlockBuffer.h"
#include "SliceSink.h"
#include "TextFile.h"

namespace sqxer {

/// Raises the error of a record, whose arguments start with file and place: that bytes are no UTF-8
/// is said of the file's own encoding. Damaged packed data are the error rather than what they
/// hold.
[[noreturn]] void ThrowRecordError(TextFile& text, int error, std::vector<XeString> arguments);

/// Reads a stretch of whole records of one text, block by block.
class PieceReader : public RecordPlaces {
 public:
  /// What goes on meanwhile: called after each block with the bytes of the file that it took; false
  /// ends the reading.
  using OnBlock = std::function<bool(uint64 fileBytes)>;

  /// False when the sink or `onBlock` ended it; when that was `onBlock`, another call reads on.
  /// Errors: see the scans.
  bool Read(SliceSink& sink, const OnBlock& onBlock);

  /// Where in the text the blocks before the last one end.
  uint64 GetOffset() const { return offset_; }

  const std::string& GetPath() const override { return text_.GetFile().GetPath(); }

 protected:
  /// A stretch of a plain file.
  PieceReader(TextFile& text, const FileVersion& version, std::size_t blockBytes, uint64 begin,
              uint64 end);
  /// All of another text: `head` holds what has been read of it, of which the first `headerBytes`
  /// are left out.
  PieceReader(TextFile& text, const FileVersion& version, BlockBuffer head,
              std::size_t headerBytes);

  enum class Going {
    kOn,
    /// The sink wants no more.
    kEnded,
    /// Another call of Read goes on.
    kPaused,
  };
  /// Hands the records of a block to the sink, and says how many bytes they have. With `isEnd`
  /// nothing comes behind them.
  virtual Going TakeBlock(std::string_view block, bool isEnd, SliceSink& sink,
                          uint32& consumed) = 0;
  /// A record is longer than any block.
  [[noreturn]] virtual void ThrowTooLarge() = 0;
  /// All was read without an error.
  virtual void OnEnd() {}

  /// The line of a position in the block.
  RecordPlace PlaceAt(uint32 position) const;
  /// As the function of that name, for a record at a position in the block: its arguments are file,
  /// place and `more`.
  [[noreturn]] void ThrowBadRecordAt(uint32 position, int error, std::vector<XeString> more) const;

  TextFile& text_;

 private:
  std::size_t FillBlock();

  FileVersion version_;
  bool isPlain_;
  /// Where the block starts in the text, and up to where a plain file is to be read.
  uint64 offset_;
  uint64 end_ = 0;
  /// Line feeds before the block; not counted in a plain file, which can be read again.
  uint64 lines_ = 0;
  /// Of the file, at the last call of `onBlock`.
  uint64 readBytes_ = 0;
  bool isEnd_ = false;
  BlockBuffer buffer_;
};

}  // namespace sqxer
