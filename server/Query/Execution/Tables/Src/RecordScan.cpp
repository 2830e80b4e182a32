#include "RecordScan.h"

#include <algorithm>

#include "Utility/Cancellation.h"
#include "Workers.h"

namespace sqxer {
namespace {

/// What is read first of a file that is not plain: all that there will be for a sample.
constexpr std::size_t kHeadBlocks = 4;
constexpr uint32 kSampleRows = 10000;
constexpr uint32 kHeadRows = 4000;
/// Files of more blocks have pieces of the sample elsewhere.
constexpr uint64 kSpreadFrom = 8;
constexpr uint64 kSamplePieces = 8;
constexpr uint64 kSamplePieceBytes = uint64{64} << 10;

}  // namespace

/// A piece that is being read.
struct RecordScan::OpenPiece {
  std::unique_ptr<TextFile> text;
  std::unique_ptr<PieceReader> reader;
};

std::unique_ptr<ScanFile> RecordScan::OpenFile(const std::string& path,
                                               const ScanOptions& options) {
  auto file = std::make_unique<ScanFile>();
  file->path = path;
  ReadHead(*file, options);
  return file;
}

RecordScan::RecordScan(const ScanOptions& options) : options_(options) {}

RecordScan::~RecordScan() = default;

ScanFile& RecordScan::AddFile(std::unique_ptr<ScanFile> file) {
  bytes_ += file->bytes;
  files_.push_back(std::move(file));
  return *files_.back();
}

void RecordScan::EndOpening(ScanFile& file) const {
  // One that can be opened again need not stay open beside others.
  const bool isFirst = &file == files_.front().get();
  if (!isFirst && file.isRegular) file.head.reset();
  if (file.isPlain || (!isFirst && file.isRegular)) file.text.reset();
}

uint64 RecordScan::GetBytes() const { return IsRepeatable() ? bytes_ : 0; }

uint64 RecordScan::GetTextBytes() const {
  uint64 bytes = 0;
  for (const auto& file : files_) bytes += file->textBytes;
  return IsRepeatable() ? bytes : 0;
}

void RecordScan::ReadHead(ScanFile& file, const ScanOptions& options) {
  file.text = std::make_unique<TextFile>(file.path, options.encoding, options.threads > 1);
  const TextFile& text = *file.text;
  const FileVersion version = text.GetFile().GetVersion();
  if (file.version) text.GetFile().CheckUnchanged(*file.version);
  file.version = version;
  file.isRegular = text.GetFile().IsRegular();
  file.isPlain = text.IsPlain();
  file.bytes = file.textBytes = text.GetFile().GetSize();
  if (text.IsPacked()) file.textBytes = std::max(file.bytes, TellUnpackedBytes(text.GetFile()));
  file.head.emplace(options.blockBytes * (file.isPlain ? 1 : kHeadBlocks));
  file.isHeadAll = false;
  FillHead(file);
  // Of a file that is read again the header is known, and may be longer.
  while (!file.isHeadAll && file.head->GetText().size() < file.headerBytes) {
    file.head->Grow();
    FillHead(file);
  }
}

void RecordScan::FillHead(ScanFile& file) {
  const TextFile& text = *file.text;
  while (!file.isHeadAll && !file.head->IsFull()) {
    const uint64 place = text.GetStart() + file.head->GetText().size();
    const std::size_t count = file.head->Fill([&](char* out, std::size_t room) {
      return file.isPlain ? text.GetFile().ReadAt(place, out, room) : file.text->Read(out, room);
    });
    file.isHeadAll = count == 0;
  }
}

bool RecordScan::IsRepeatable() const {
  return std::ranges::all_of(files_, [](const auto& file) { return file->isRegular; });
}

uint32 RecordScan::GetWorkers() const {
  uint64 bytes = 0;
  for (const auto& file : files_) bytes += file->bytes;
  // Only plain files can be cut.
  const bool canCut = std::ranges::any_of(files_, [](const auto& file) { return file->isPlain; }) ||
                      files_.size() > 1;
  const uint64 most = canCut ? bytes / std::max<uint64>(1, options_.leastPieceBytes) : 1;
  return static_cast<uint32>(std::clamp<uint64>(most, 1, std::max(1u, options_.threads)));
}

void RecordScan::Sample(SliceSink& sink) {
  ScanFile& first = *files_.front();
  if (!first.head) ReadHead(first, options_);
  const bool isSpread =
      first.isPlain && !first.isHeadAll && GetBytes() > kSpreadFrom * options_.blockBytes;
  bool isWanted = SampleText(first,
                             {.text = first.GetHeadRows(),
                              .isLast = first.isHeadAll,
                              .isHead = true,
                              .mostRows = isSpread ? kHeadRows : kSampleRows,
                              .place = first.dataStart},
                             sink);
  for (uint64 i = 1; isSpread && isWanted && i <= kSamplePieces; ++i) {
    isWanted = SampleAt(GetBytes() / (kSamplePieces + 1) * i, sink);
  }
}

bool RecordScan::SampleAt(uint64 place, SliceSink& sink) {
  auto file = files_.begin();
  while ((*file)->bytes <= place) place -= (*file++)->bytes;
  ScanFile& sampled = **file;
  if (!sampled.isPlain || place < sampled.dataStart) return true;
  const InputFile input(sampled.path);
  BlockBuffer block(std::min<std::size_t>(kSamplePieceBytes, options_.blockBytes));
  block.Fill([&](char* out, std::size_t room) { return input.ReadAt(place, out, room); });
  const std::size_t feed = block.GetText().find('\n');
  if (feed == std::string_view::npos) return true;
  block.Consume(feed + 1);
  return SampleText(sampled,
                    {.text = block.GetText(),
                     .isLast = false,
                     .isHead = false,
                     .mostRows = (kSampleRows - kHeadRows) / static_cast<uint32>(kSamplePieces),
                     .place = place + feed + 1},
                    sink);
}

void RecordScan::Scan(std::span<SliceSink* const> sinks, const LoadProgress& progress) {
  std::atomic<uint64> done = 0;
  if (ReadPieces(PlanPieces(sinks.size()), sinks, done, progress)) OnAllRead();
}

bool RecordScan::ReadPieces(const std::vector<std::vector<Piece>>& pieces,
                            std::span<SliceSink* const> sinks, std::atomic<uint64>& done,
                            const LoadProgress& progress) {
  Workers workers(pieces.size());
  workers.Run(
      [&](std::size_t index) {
        const auto onBlock = [&](uint64 fileBytes) {
          done += fileBytes;
          if (index == 0) Tell(done, progress);
          return workers.IsNeeded(index);
        };
        for (const Piece& piece : pieces[index]) {
          if (!Open(piece).reader->Read(*sinks[index], onBlock)) return false;
        }
        return true;
      },
      [&] { Tell(done, progress); });
  Tell(done, progress);
  return workers.AreAllDone();
}

void RecordScan::Tell(uint64 done, const LoadProgress& progress) const {
  Cancellation::Check();
  if (progress == nullptr) return;
  const bool isKnown = GetBytes() != 0;
  progress(isKnown ? std::min(done, bytes_) : done, isKnown ? bytes_ : 0, false);
}

RecordScan::OpenPiece RecordScan::Open(const Piece& piece) {
  ScanFile& file = *files_[piece.file];
  OpenPiece open;
  if (file.isPlain) {
    open.text = std::make_unique<TextFile>(file.path, options_.encoding, false);
    open.text->GetFile().CheckUnchanged(*file.version);
    open.reader = MakeReader(piece, *open.text);
    return open;
  }
  if (!file.text || !file.head) ReadHead(file, options_);
  // What is read of a pipe is gone then; any other file is opened again for another scan.
  open.text = std::move(file.text);
  BlockBuffer head = std::move(*file.head);
  file.head.reset();
  open.reader = MakeReader(piece, *open.text, std::move(head));
  return open;
}

bool RecordScan::ScanNext(std::span<SliceSink* const> sinks, uint64 bytes,
                          const LoadProgress& progress) {
  if (nextFile_ == files_.size()) return false;
  const bool isCut = files_[nextFile_]->isPlain && sinks.size() > 1;
  if (!(isCut ? ReadWindow(sinks, bytes, progress) : ReadOn(*sinks.front(), bytes, progress))) {
    ++nextFile_;
    nextPlace_ = 0;
    if (nextFile_ == files_.size()) OnAllRead();
  }
  return nextFile_ < files_.size();
}

bool RecordScan::ReadWindow(std::span<SliceSink* const> sinks, uint64 bytes,
                            const LoadProgress& progress) {
  const ScanFile& file = *files_[nextFile_];
  const uint64 begin = std::max(nextPlace_, file.dataStart);
  const uint64 step = std::max(bytes / sinks.size() + 1, options_.leastPieceBytes);
  std::vector<uint64> places;
  while (places.size() < sinks.size()) {
    const uint64 place = begin + step * (places.size() + 1);
    places.push_back(std::min(place, file.bytes));
    if (place >= file.bytes) break;
  }
  std::vector<std::vector<Piece>> pieces;
  for (const Piece& piece : CutFile(nextFile_, begin, places, places.size())) {
    nextPlace_ = piece.end;
    pieces.push_back({piece});
  }
  if (!pieces.empty()) ReadPieces(pieces, sinks, doneBytes_, progress);
  return !pieces.empty() && nextPlace_ < file.bytes;
}

bool RecordScan::ReadOn(SliceSink& sink, uint64 bytes, const LoadProgress& progress) {
  if (!openPiece_) {
    const ScanFile& file = *files_[nextFile_];
    openPiece_ = std::make_unique<OpenPiece>(Open({nextFile_, file.dataStart, file.bytes}));
  }
  const PieceReader& reader = *openPiece_->reader;
  const uint64 end = reader.GetOffset() + bytes;
  const auto onBlock = [&](uint64 fileBytes) {
    doneBytes_ += fileBytes;
    Tell(doneBytes_, progress);
    return reader.GetOffset() < end;
  };
  const bool isEnd = openPiece_->reader->Read(sink, onBlock);
  if (isEnd) openPiece_.reset();
  return !isEnd;
}

std::vector<std::vector<RecordScan::Piece>> RecordScan::PlanPieces(std::size_t workers) {
  std::vector<std::vector<Piece>> pieces(workers);
  uint64 bytes = 0;
  for (const auto& file : files_) bytes += file->bytes;
  uint64 before = 0;
  for (std::size_t index = 0; index < files_.size(); ++index) {
    const ScanFile& file = *files_[index];
    const auto workerAt = [&](uint64 place) {
      return static_cast<std::size_t>(
          bytes == 0 ? 0 : std::min<uint64>(workers - 1, place / (bytes / workers + 1)));
    };
    std::size_t worker = workerAt(before);
    if (!file.isPlain) {
      pieces[worker].push_back({index, 0, 0});
    } else {
      std::vector<uint64> places;
      for (std::size_t next = worker + 1; next < workers; ++next) {
        const uint64 cut = next * (bytes / workers + 1);
        if (cut - before >= file.bytes) break;
        places.push_back(std::max(cut - before, file.dataStart));
      }
      places.push_back(file.bytes);
      for (const Piece& piece : CutFile(index, file.dataStart, places, workers)) {
        if (piece.begin < piece.end) pieces[worker].push_back(piece);
        ++worker;
      }
    }
    before += file.bytes;
  }
  return pieces;
}

std::vector<RecordScan::Piece> RecordScan::CutFile(std::size_t index, uint64 begin,
                                                   const std::vector<uint64>& places,
                                                   std::size_t threads) const {
  const ScanFile& file = *files_[index];
  std::vector<uint64> cuts = places;
  while (!cuts.empty() && cuts.back() == file.bytes) cuts.pop_back();
  const std::vector<uint64> starts = FindRecordStarts(file, begin, cuts, threads);
  std::vector<Piece> pieces;
  for (std::size_t i = 0; i < places.size(); ++i) {
    const uint64 end = i < cuts.size() ? starts[i] : file.bytes;
    pieces.push_back({index, begin, std::max(begin, end)});
    begin = std::max(begin, end);
  }
  return pieces;
}

}  // namespace sqxer
