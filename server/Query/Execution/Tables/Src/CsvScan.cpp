#include "CsvScan.h"

#include <algorithm>
#include <atomic>

#include "ByteBlock.h"
#include "CsvDialect.h"
#include "CsvPieceReader.h"
#include "Workers.h"

namespace sqxer {
namespace {

constexpr uint64 kParityBytes = uint64{4} << 20;

bool IsTabFile(const std::string& path) {
  return path.ends_with(".tsv") || path.ends_with(".tsv.gz") || path.ends_with(".tsv.zst");
}

}  // namespace

CsvScan::CsvScan(const std::vector<std::string>& paths, const ScanOptions& options,
                 std::unique_ptr<ScanFile> first)
    : RecordScan(options) {
  for (const std::string& path : paths) {
    ScanFile& file = AddFile(first ? std::move(first) : OpenFile(path, options));
    ReadHeader(file);
    EndOpening(file);
  }
}

std::unique_ptr<PieceReader> CsvScan::MakeReader(const Piece& piece, TextFile& text) {
  const ScanFile& file = GetFile(piece.file);
  auto reader =
      std::make_unique<CsvPieceReader>(text, *file.version, GetLayout(), piece.begin, piece.end);
  reader->SetGuesses(file.guesses, isSampleRefuted_);
  return reader;
}

std::unique_ptr<PieceReader> CsvScan::MakeReader(const Piece& piece, TextFile& text,
                                                 BlockBuffer head) {
  const ScanFile& file = GetFile(piece.file);
  return std::make_unique<CsvPieceReader>(text, *file.version, GetLayout(), std::move(head),
                                          file.headerBytes);
}

CsvLayout CsvScan::GetLayout() const {
  return {delimiter_, static_cast<uint32>(names_.size()), options_.hasHeader, options_.blockBytes};
}

std::vector<uint64> CsvScan::FindRecordStarts(const ScanFile& file, uint64 begin,
                                              const std::vector<uint64>& places,
                                              std::size_t threads) const {
  const std::vector<bool> parities = FindParities(file, begin, places, threads);
  std::vector<uint64> starts;
  for (std::size_t i = 0; i < places.size(); ++i) {
    starts.push_back(FindRecordStart(file, places[i], parities[i]));
  }
  return starts;
}

char CsvScan::ChooseDelimiter(const ScanFile& file) const {
  if (options_.delimiter) return *options_.delimiter;
  return IsTabFile(file.path) ? '\t' : FindDelimiter(file.head->GetText(), file.isHeadAll);
}

void CsvScan::ReadHeader(ScanFile& file) {
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

void CsvScan::ThrowHeader(const ScanFile& file, uint32 start, int error) const {
  const std::string_view before = file.head->GetText().substr(0, start);
  const RecordPlace place{L"line", 1 + CountByte(before, '\n')};
  std::vector<XeString> arguments = {Wide(file.path), place.Text()};
  ThrowRecordError(*file.text, error, std::move(arguments));
}

void CsvScan::CheckHeader(const ScanFile& file, const std::vector<XeString>& names) const {
  if (names == names_) return;
  XeString difference =
      std::to_wstring(names.size()) + L" columns and not " + std::to_wstring(names_.size());
  if (names.size() == names_.size()) {
    const auto [first, other] = std::ranges::mismatch(names_, names);
    difference = L"\"" + *other + L"\" and not \"" + *first + L"\"";
  }
  ThrowTableError(kHeadersDiffer, {Wide(file.path), Wide(files_.front()->path), difference});
}

bool CsvScan::SampleText(ScanFile& file, const SampledText& sampled, SliceSink& sink) {
  CsvSlicer slicer(delimiter_, static_cast<uint32>(names_.size()));
  slicer.Slice(sampled.text, sampled.isLast);
  RecordSlice slice = slicer.Get();
  // A piece that starts inside a quotation is irregular sooner or later.
  const bool isRefused = !sampled.isHead && slicer.GetBadRecord();
  if (isRefused || slice.rows == 0) return true;
  slice.fileOffset = sampled.place;
  slice.rows = std::min(slice.rows, sampled.mostRows);
  if (!sampled.isHead) file.guesses.push_back(slice.fileOffset + slice.rowStarts[0]);
  return sink.Take(slice, NoPlaces(file.path));
}

std::vector<bool> CsvScan::FindParities(const ScanFile& file, uint64 begin,
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

uint64 CsvScan::FindRecordStart(const ScanFile& file, uint64 place, bool isInQuotation) const {
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
