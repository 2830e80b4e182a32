#include "CsvScan.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <limits>
#include <mutex>
#include <thread>

#include "ByteBlock.h"
#include "CsvDialect.h"
#include "CsvPieceReader.h"

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
constexpr uint64 kParityBytes = uint64{4} << 20;

bool IsTabFile(const std::string& path) {
  return path.ends_with(".tsv") || path.ends_with(".tsv.gz") || path.ends_with(".tsv.zst");
}

/// Of a sample, of which no error is raised.
class NoPlaces final : public RecordPlaces {
 public:
  explicit NoPlaces(const std::string& path) : path_(path) {}
  const std::string& GetPath() const override { return path_; }
  RecordPlace PlaceOf(const RecordSlice&, uint32) const override { return {L"line", 0}; }

 private:
  const std::string& path_;
};

/// Threads that do the same on parts of one task, in which an earlier part that fails or has enough
/// makes the later ones needless.
class Workers {
 public:
  explicit Workers(std::size_t count) : failures_(count), ended_(count) {}

  bool IsNeeded(std::size_t index) const { return index < ended_; }

  /// Calls work(i) for every worker, each on a thread of its own but the first; a false ends those
  /// behind it. `idle` is called now and then when the first is done. Throws what the first failed
  /// one has thrown.
  template <class Work, class Idle>
  void Run(Work&& work, Idle&& idle) {
    std::mutex mutex;
    std::condition_variable finished;
    std::size_t running = failures_.size() - 1;
    {
      std::vector<std::jthread> threads;
      for (std::size_t i = 1; i < failures_.size(); ++i) {
        threads.emplace_back([&, i] {
          RunOne(i, work);
          const std::lock_guard lock(mutex);
          --running;
          finished.notify_one();
        });
      }
      RunOne(0, work);
      std::unique_lock lock(mutex);
      while (!finished.wait_for(lock, kIdleTime, [&] { return running == 0; })) idle();
    }
    for (std::size_t i = 0; i < failures_.size() && i <= ended_; ++i) {
      if (failures_[i]) std::rethrow_exception(failures_[i]);
    }
  }

 private:
  static constexpr std::chrono::milliseconds kIdleTime{50};

  template <class Work>
  void RunOne(std::size_t index, Work&& work) noexcept {
    try {
      if (!work(index)) End(index);
    } catch (...) {
      failures_[index] = std::current_exception();
      End(index);
    }
  }

  void End(std::size_t index) {
    std::size_t ended = ended_;
    while (index < ended && !ended_.compare_exchange_weak(ended, index)) {
    }
  }

  std::vector<std::exception_ptr> failures_;
  /// The first worker that has ended early; no later one is needed.
  std::atomic<std::size_t> ended_;
};

}  // namespace

struct CsvScan::File {
  std::string path;
  std::optional<FileVersion> version;
  bool isRegular = false;
  bool isPlain = false;
  uint64 bytes = 0;
  /// Where the header ends: in the file when it is plain, else in its text.
  uint64 dataStart = 0;
  /// Open until it is scanned or, of several files, its header is known.
  std::unique_ptr<TextFile> text;
  /// What was read of it, whether that is all, and the header's part.
  std::optional<BlockBuffer> head;
  bool isHeadAll = false;
  std::size_t headerBytes = 0;
  /// Where pieces of the sample start.
  std::vector<uint64> guesses;

  std::string_view GetHeadRows() const { return head->GetText().substr(headerBytes); }
};

/// A piece that is being read.
struct CsvScan::OpenPiece {
  std::unique_ptr<TextFile> text;
  std::unique_ptr<CsvPieceReader> reader;
};

CsvScan::CsvScan(std::vector<std::string> paths, const CsvOptions& options) : options_(options) {
  bool areBytesKnown = true;
  for (std::string& path : paths) {
    files_.push_back(std::make_unique<File>());
    File& file = *files_.back();
    file.path = std::move(path);
    ReadHead(file);
    ReadHeader(file);
    bytes_ += file.bytes;
    areBytesKnown = areBytesKnown && file.isRegular;
    if (&file != files_.front().get()) file.head.reset();
    if (file.isPlain || (file.isRegular && paths.size() > 1)) file.text.reset();
  }
  if (!areBytesKnown) bytes_ = 0;
}

CsvScan::~CsvScan() = default;

bool CsvScan::IsRepeatable() const {
  return std::ranges::all_of(files_, [](const auto& file) { return file->isRegular; });
}

uint32 CsvScan::GetWorkers() const {
  uint64 bytes = 0;
  for (const auto& file : files_) bytes += file->bytes;
  // Only plain files can be cut.
  const bool canCut = std::ranges::any_of(files_, [](const auto& file) { return file->isPlain; }) ||
                      files_.size() > 1;
  const uint64 most = canCut ? bytes / std::max<uint64>(1, options_.leastPieceBytes) : 1;
  return static_cast<uint32>(std::clamp<uint64>(most, 1, std::max(1u, options_.threads)));
}

void CsvScan::ReadHead(File& file) const {
  file.text = std::make_unique<TextFile>(file.path, options_.encoding, options_.threads > 1);
  const TextFile& text = *file.text;
  const FileVersion version = text.GetFile().GetVersion();
  if (file.version) text.GetFile().CheckUnchanged(*file.version);
  file.version = version;
  file.isRegular = text.GetFile().IsRegular();
  file.isPlain = text.IsPlain();
  file.bytes = text.GetFile().GetSize();
  file.head.emplace(options_.blockBytes * (file.isPlain ? 1 : kHeadBlocks));
  file.isHeadAll = false;
  FillHead(file);
  // Of a file that is read again the header is known, and may be longer.
  while (!file.isHeadAll && file.head->GetText().size() < file.headerBytes) {
    file.head->Grow();
    FillHead(file);
  }
}

void CsvScan::FillHead(File& file) const {
  const TextFile& text = *file.text;
  while (!file.isHeadAll && !file.head->IsFull()) {
    const uint64 place = text.GetStart() + file.head->GetText().size();
    const std::size_t count = file.head->Fill([&](char* out, std::size_t room) {
      return file.isPlain ? text.GetFile().ReadAt(place, out, room) : file.text->Read(out, room);
    });
    file.isHeadAll = count == 0;
  }
}

char CsvScan::ChooseDelimiter(const File& file) const {
  if (options_.delimiter) return *options_.delimiter;
  return IsTabFile(file.path) ? '\t' : FindDelimiter(file.head->GetText(), file.isHeadAll);
}

void CsvScan::ReadHeader(File& file) {
  const bool isFirst = &file == files_.front().get();
  if (isFirst) delimiter_ = ChooseDelimiter(file);
  CsvRecord record;
  uint32 start = 0;
  for (;;) {
    const std::string_view head = file.head->GetText();
    if (file.isHeadAll && start == head.size()) ThrowTableError(kFileEmpty, {Wide(file.path)});
    ReadCsvRecord(head, start, delimiter_, file.isHeadAll, record);
    if (record.state == CsvRecord::State::kPartial) {
      if (head.size() == BlockBuffer::kMostBytes) ThrowHeader(file, start, kRecordTooLarge);
      file.head->Grow();
      FillHead(file);
      if (isFirst) delimiter_ = ChooseDelimiter(file);
    } else if (record.state == CsvRecord::State::kBad) {
      ThrowHeader(file, start, record.error);
    } else if (record.ends.size() == 1 && record.ends.front() == start) {
      start = record.next;
    } else {
      break;
    }
  }
  const std::string_view head = file.head->GetText();
  std::vector<XeString> names;
  if (options_.hasHeader) {
    names = ReadColumnNames(head, start, record.ends);
    file.headerBytes = record.next;
  } else {
    for (std::size_t i = 1; i <= record.ends.size(); ++i) {
      names.push_back(L"column" + std::to_wstring(i));
    }
    // Empty lines before the first record are rows of a table of one column.
    file.headerBytes = 0;
  }
  file.dataStart = (file.isPlain ? file.text->GetStart() : 0) + file.headerBytes;
  if (isFirst) {
    looksHeaderLikeData_ =
        options_.hasHeader && LooksLikeData(head.substr(start), file.isHeadAll, delimiter_);
    names_ = std::move(names);
  } else if (options_.hasHeader) {
    CheckHeader(file, names);
  }
}

void CsvScan::ThrowHeader(const File& file, uint32 start, int error) const {
  const std::string_view before = file.head->GetText().substr(0, start);
  const RecordPlace place{L"line", 1 + CountByte(before, '\n')};
  std::vector<XeString> arguments = {Wide(file.path), place.Text()};
  ThrowRecordError(*file.text, error, std::move(arguments));
}

void CsvScan::CheckHeader(const File& file, const std::vector<XeString>& names) const {
  if (names == names_) return;
  XeString difference =
      std::to_wstring(names.size()) + L" columns and not " + std::to_wstring(names_.size());
  if (names.size() == names_.size()) {
    const auto [first, other] = std::ranges::mismatch(names_, names);
    difference = L"\"" + *other + L"\" and not \"" + *first + L"\"";
  }
  ThrowTableError(kHeadersDiffer, {Wide(file.path), Wide(files_.front()->path), difference});
}

void CsvScan::Sample(SliceSink& sink) {
  File& first = *files_.front();
  if (!first.head) ReadHead(first);
  const bool isSpread =
      first.isPlain && !first.isHeadAll && bytes_ > kSpreadFrom * options_.blockBytes;
  CsvSlicer slicer(delimiter_, static_cast<uint32>(names_.size()));
  slicer.Slice(first.GetHeadRows(), first.isHeadAll);
  RecordSlice slice = slicer.Get();
  slice.fileOffset = first.dataStart;
  slice.rows = std::min(slice.rows, isSpread ? kHeadRows : kSampleRows);
  bool isWanted = slice.rows == 0 || sink.Take(slice, NoPlaces(first.path));
  for (uint64 i = 1; isSpread && isWanted && i <= kSamplePieces; ++i) {
    isWanted = SampleAt(bytes_ / (kSamplePieces + 1) * i, sink);
  }
}

bool CsvScan::SampleAt(uint64 place, SliceSink& sink) {
  auto file = files_.begin();
  while ((*file)->bytes <= place) place -= (*file++)->bytes;
  File& sampled = **file;
  if (!sampled.isPlain || place < sampled.dataStart) return true;
  const InputFile input(sampled.path);
  BlockBuffer block(std::min<std::size_t>(kSamplePieceBytes, options_.blockBytes));
  block.Fill([&](char* out, std::size_t room) { return input.ReadAt(place, out, room); });
  const std::size_t feed = block.GetText().find('\n');
  if (feed == std::string_view::npos) return true;
  block.Consume(feed + 1);
  CsvSlicer slicer(delimiter_, static_cast<uint32>(names_.size()));
  slicer.Slice(block.GetText(), false);
  // A piece that starts inside a quotation is irregular sooner or later.
  if (slicer.GetBadRecord() || slicer.Get().rows == 0) return true;
  RecordSlice slice = slicer.Get();
  slice.fileOffset = place + feed + 1;
  slice.rows = std::min(slice.rows, (kSampleRows - kHeadRows) / static_cast<uint32>(kSamplePieces));
  sampled.guesses.push_back(slice.fileOffset + slice.rowStarts[0]);
  return sink.Take(slice, NoPlaces(sampled.path));
}

void CsvScan::Scan(std::span<SliceSink* const> sinks, LoadProgress progress) {
  std::atomic<uint64> done = 0;
  ReadPieces(PlanPieces(sinks.size()), sinks, done, progress);
}

void CsvScan::ReadPieces(const std::vector<std::vector<Piece>>& pieces,
                         std::span<SliceSink* const> sinks, std::atomic<uint64>& done,
                         LoadProgress progress) {
  Workers workers(pieces.size());
  workers.Run(
      [&](std::size_t index) {
        const auto onBlock = [&](uint64 fileBytes) {
          done += fileBytes;
          if (index == 0) Tell(done, progress);
          return workers.IsNeeded(index);
        };
        for (const Piece& piece : pieces[index]) {
          if (!ReadPiece(piece, *sinks[index], onBlock)) return false;
        }
        return true;
      },
      [&] { Tell(done, progress); });
  Tell(done, progress);
}

void CsvScan::Tell(uint64 done, LoadProgress progress) const {
  if (progress != nullptr && bytes_ != 0) progress(std::min(done, bytes_), bytes_);
}

bool CsvScan::ReadPiece(const Piece& piece, SliceSink& sink,
                        const std::function<bool(uint64)>& onBlock) {
  return Open(piece).reader->Read(sink, onBlock);
}

CsvScan::OpenPiece CsvScan::Open(const Piece& piece) {
  const CsvLayout layout{delimiter_, static_cast<uint32>(names_.size()), options_.hasHeader,
                         options_.blockBytes};
  File& file = *files_[piece.file];
  OpenPiece open;
  if (file.isPlain) {
    open.text = std::make_unique<TextFile>(file.path, options_.encoding, false);
    open.text->GetFile().CheckUnchanged(*file.version);
    open.reader =
        std::make_unique<CsvPieceReader>(*open.text, *file.version, layout, piece.begin, piece.end);
    open.reader->SetGuesses(file.guesses, isSampleRefuted_);
    return open;
  }
  if (!file.text || !file.head) ReadHead(file);
  // What is read of a pipe is gone then; any other file is opened again for another scan.
  open.text = std::move(file.text);
  BlockBuffer head = std::move(*file.head);
  file.head.reset();
  open.reader = std::make_unique<CsvPieceReader>(*open.text, *file.version, layout, std::move(head),
                                                 file.headerBytes);
  return open;
}

bool CsvScan::ScanNext(std::span<SliceSink* const> sinks, uint64 bytes, LoadProgress progress) {
  if (nextFile_ == files_.size()) return false;
  const bool isCut = files_[nextFile_]->isPlain && sinks.size() > 1;
  if (!(isCut ? ReadWindow(sinks, bytes, progress) : ReadOn(*sinks.front(), bytes, progress))) {
    ++nextFile_;
    nextPlace_ = 0;
  }
  return nextFile_ < files_.size();
}

bool CsvScan::ReadWindow(std::span<SliceSink* const> sinks, uint64 bytes, LoadProgress progress) {
  const File& file = *files_[nextFile_];
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

bool CsvScan::ReadOn(SliceSink& sink, uint64 bytes, LoadProgress progress) {
  if (!openPiece_) {
    const File& file = *files_[nextFile_];
    openPiece_ = std::make_unique<OpenPiece>(Open({nextFile_, file.dataStart, file.bytes}));
  }
  const CsvPieceReader& reader = *openPiece_->reader;
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

std::vector<std::vector<CsvScan::Piece>> CsvScan::PlanPieces(std::size_t workers) {
  std::vector<std::vector<Piece>> pieces(workers);
  uint64 bytes = 0;
  for (const auto& file : files_) bytes += file->bytes;
  uint64 before = 0;
  for (std::size_t index = 0; index < files_.size(); ++index) {
    const File& file = *files_[index];
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

std::vector<CsvScan::Piece> CsvScan::CutFile(std::size_t index, uint64 begin,
                                             const std::vector<uint64>& places,
                                             std::size_t threads) const {
  const File& file = *files_[index];
  std::vector<uint64> cuts = places;
  while (!cuts.empty() && cuts.back() == file.bytes) cuts.pop_back();
  const std::vector<bool> parities = FindParities(file, begin, cuts, threads);
  std::vector<Piece> pieces;
  for (std::size_t i = 0; i < places.size(); ++i) {
    const uint64 end = i < cuts.size() ? FindRecordStart(file, cuts[i], parities[i]) : file.bytes;
    pieces.push_back({index, begin, std::max(begin, end)});
    begin = std::max(begin, end);
  }
  return pieces;
}

std::vector<bool> CsvScan::FindParities(const File& file, uint64 begin,
                                        const std::vector<uint64>& places,
                                        std::size_t threads) const {
  if (places.empty()) return {};
  // Chunks that end at the places, small enough that all threads have some.
  struct Chunk {
    uint64 begin;
    uint64 end;
    uint64 marks;
  };
  std::vector<Chunk> chunks;
  for (const uint64 place : places) {
    while (begin < place) {
      const uint64 end = std::min(place, begin + kParityBytes);
      chunks.push_back({begin, end, 0});
      begin = end;
    }
  }
  const InputFile input(file.path);
  input.CheckUnchanged(*file.version);
  std::atomic<std::size_t> next = 0;
  Workers(threads).Run(
      [&](std::size_t) {
        std::string block(options_.blockBytes, '\0');
        for (std::size_t taken; (taken = next++) < chunks.size();) {
          Chunk& chunk = chunks[taken];
          for (uint64 place = chunk.begin; place < chunk.end;) {
            const std::size_t count = input.ReadAt(
                place, block.data(), std::min<uint64>(block.size(), chunk.end - place));
            if (count == 0) break;
            chunk.marks += CountByte(std::string_view(block).substr(0, count), '"');
            place += count;
          }
        }
        return true;
      },
      [] {});
  std::vector<bool> parities;
  uint64 marks = 0;
  std::size_t chunk = 0;
  for (const uint64 place : places) {
    for (; chunk < chunks.size() && chunks[chunk].end <= place; ++chunk)
      marks += chunks[chunk].marks;
    parities.push_back(marks % 2 != 0);
  }
  return parities;
}

uint64 CsvScan::FindRecordStart(const File& file, uint64 place, bool isInQuotation) const {
  const InputFile input(file.path);
  std::string block(options_.blockBytes, '\0');
  bool isAfterReturn = false;
  for (;;) {
    const std::size_t count = input.ReadAt(place, block.data(), block.size());
    if (count == 0) return file.bytes;
    for (const char c : std::string_view(block).substr(0, count)) {
      // Of CR LF both belong to the record before.
      if (isAfterReturn) return place + (c == '\n' ? 1 : 0);
      if (c == '"') isInQuotation = !isInQuotation;
      ++place;
      if (!isInQuotation && c == '\n') return place;
      isAfterReturn = !isInQuotation && c == '\r';
    }
  }
}

}  // namespace sqxer
