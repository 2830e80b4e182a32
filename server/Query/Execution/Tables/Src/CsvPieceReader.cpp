#include "CsvPieceReader.h"

#include <algorithm>

#include "ByteBlock.h"

namespace sqxer {

CsvPieceReader::CsvPieceReader(TextFile& text, const FileVersion& version, const CsvLayout& layout,
                               uint64 begin, uint64 end)
    : text_(text),
      version_(version),
      layout_(layout),
      isPlain_(true),
      offset_(begin),
      end_(end),
      buffer_(layout.blockBytes),
      slicer_(layout.delimiter, layout.columns) {}

CsvPieceReader::CsvPieceReader(TextFile& text, const FileVersion& version, const CsvLayout& layout,
                               BlockBuffer head, std::size_t headerBytes)
    : text_(text),
      version_(version),
      layout_(layout),
      isPlain_(false),
      offset_(headerBytes),
      end_(0),
      lines_(CountByte(head.GetText().substr(0, headerBytes), '\n')),
      buffer_(std::move(head)),
      slicer_(layout.delimiter, layout.columns) {
  buffer_.Consume(headerBytes);
}

bool CsvPieceReader::Read(SliceSink& sink, const OnBlock& onBlock) {
  for (;;) {
    const std::size_t fileBytes = FillBlock();
    const std::string_view text = buffer_.GetText();
    const uint32 consumed = slicer_.Slice(text, isEnd_);
    RecordSlice& slice = slicer_.Get();
    slice.fileOffset = offset_;
    CheckGuesses(slice, consumed);
    if (slice.rows != 0 && !sink.Take(slice, *this)) return false;
    if (slicer_.GetBadRecord()) ThrowBadRecord(*slicer_.GetBadRecord());
    const bool isWanted = onBlock(fileBytes);
    if (isEnd_) break;
    if (!isPlain_) lines_ += CountByte(text.substr(0, consumed), '\n');
    offset_ += consumed;
    buffer_.Consume(consumed);
    if (buffer_.GetText().size() == BlockBuffer::kMostBytes) {
      ThrowBadRecord({0, kRecordTooLarge, 0});
    }
    if (!isWanted) return false;
  }
  text_.GetFile().CheckUnchanged(version_);
  return true;
}

std::size_t CsvPieceReader::FillBlock() {
  if (!isPlain_) {
    // A head that is full is a block already.
    if (!buffer_.IsFull()) {
      isEnd_ =
          buffer_.Fill([&](char* out, std::size_t room) { return text_.Read(out, room); }) == 0;
    }
    const uint64 before = readBytes_;
    readBytes_ = text_.GetFile().GetReadBytes();
    return readBytes_ - before;
  }
  const uint64 place = offset_ + buffer_.GetText().size();
  const std::size_t count = buffer_.Fill([&](char* out, std::size_t room) {
    return text_.GetFile().ReadAt(place, out, std::min<uint64>(room, end_ - place));
  });
  // A file that has shrunk ends before; what comes of it is seen at the end.
  isEnd_ = count == 0 || place + count == end_;
  return count;
}

void CsvPieceReader::CheckGuesses(const RecordSlice& slice, uint32 consumed) {
  for (const uint64 guess : guesses_) {
    if (guess < offset_ || guess >= offset_ + consumed) continue;
    const uint32 position = static_cast<uint32>(guess - offset_);
    if (!std::binary_search(slice.rowStarts, slice.rowStarts + slice.rows, position)) {
      *isRefuted_ = true;
    }
  }
}

RecordPlace CsvPieceReader::PlaceAt(uint32 position) const {
  if (!isPlain_) {
    return {L"line", 1 + lines_ + CountByte(buffer_.GetText().substr(0, position), '\n')};
  }
  uint64 lines = 1;
  std::string block(std::size_t{256} << 10, '\0');
  const uint64 until = offset_ + position;
  for (uint64 place = 0; place < until;) {
    const std::size_t count =
        text_.GetFile().ReadAt(place, block.data(), std::min<uint64>(block.size(), until - place));
    if (count == 0) break;
    lines += CountByte(std::string_view(block).substr(0, count), '\n');
    place += count;
  }
  return {L"line", lines};
}

void CsvPieceReader::ThrowBadRecord(const BadRecord& bad) const {
  // What is written meanwhile is read in halves.
  text_.GetFile().CheckUnchanged(version_);
  std::vector<XeString> arguments = {Wide(GetPath()), PlaceAt(bad.start).Text()};
  int error = bad.error;
  if (error == kFieldCount) {
    if (!layout_.hasHeader) error = kFieldCountOfFirst;
    arguments.push_back(std::to_wstring(bad.fields));
    arguments.push_back(std::to_wstring(layout_.columns));
  }
  ThrowRecordError(text_, error, std::move(arguments));
}

void ThrowRecordError(TextFile& text, int error, std::vector<XeString> arguments) {
  // Data that are damaged can unpack to anything; their checksum comes at the end.
  if (text.IsPacked()) text.ReadToEnd();
  if (error == kInvalidUtf8 && !text.GetEncoding().empty()) {
    error = kInvalidEncoding;
    arguments.push_back(Wide(text.GetEncoding()));
  }
  ThrowTableError(error, std::move(arguments));
}

}  // namespace sqxer
