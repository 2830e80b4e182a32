#include "PieceReader.h"

#include <algorithm>

#include "ByteBlock.h"

namespace sqxer {

PieceReader::PieceReader(TextFile& text, const FileVersion& version, std::size_t blockBytes,
                         uint64 begin, uint64 end)
    : text_(text),
      version_(version),
      isPlain_(true),
      offset_(begin),
      end_(end),
      buffer_(blockBytes) {}

PieceReader::PieceReader(TextFile& text, const FileVersion& version, BlockBuffer head,
                         std::size_t headerBytes)
    : text_(text),
      version_(version),
      isPlain_(false),
      offset_(headerBytes),
      lines_(CountByte(head.GetText().substr(0, headerBytes), '\n')),
      buffer_(std::move(head)) {
  buffer_.Consume(headerBytes);
}

bool PieceReader::Read(SliceSink& sink, const OnBlock& onBlock) {
  for (;;) {
    const std::size_t fileBytes = isEnd_ ? 0 : FillBlock();
    const std::string_view text = buffer_.GetText();
    uint32 consumed = 0;
    const Going going = TakeBlock(text, isEnd_, sink, consumed);
    if (going == Going::kEnded) return false;
    const bool isWanted = onBlock(fileBytes);
    if (isEnd_ && consumed == text.size()) break;
    if (!isPlain_) lines_ += CountByte(text.substr(0, consumed), '\n');
    offset_ += consumed;
    buffer_.Consume(consumed);
    if (buffer_.GetText().size() == BlockBuffer::kMostBytes) ThrowTooLarge();
    if (!isWanted || going == Going::kPaused) return false;
  }
  text_.GetFile().CheckUnchanged(version_);
  OnEnd();
  return true;
}

std::size_t PieceReader::FillBlock() {
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

RecordPlace PieceReader::PlaceAt(uint32 position) const {
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

void PieceReader::ThrowBadRecordAt(uint32 position, int error, std::vector<XeString> more) const {
  // What is written meanwhile is read in halves.
  text_.GetFile().CheckUnchanged(version_);
  std::vector<XeString> arguments = {Wide(GetPath()), PlaceAt(position).Text()};
  arguments.insert(arguments.end(), more.begin(), more.end());
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
