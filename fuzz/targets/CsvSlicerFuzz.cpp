// Looks for a text that the fast reader of records takes for other records, or another error, than
// the plain one: the whole text at once, block by block, and in pieces by several workers.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <tuple>

#include "BlockBuffer.h"
#include "CsvScan.h"

namespace sqxer {
namespace {

/// What came out of a text: its rows, and the error of the first bad record.
struct Outcome {
  std::string rows;
  std::string error;
  bool operator==(const Outcome&) const = default;
};

void AppendRows(const RecordSlice& slice, std::string& rows) {
  for (uint32 row = 0; row < slice.rows; ++row) {
    for (uint32 column = 0; column < slice.columns; ++column) {
      const uint32 start = slice.GetStart(row, column);
      rows.append(slice.text + start, slice.GetEnd(row, column) - start);
      // No text has these bytes.
      rows += column + 1 == slice.columns ? '\xFE' : '\xFD';
    }
  }
}

class AppendingSink final : public SliceSink {
 public:
  bool Take(const RecordSlice& slice, const RecordPlaces&) override {
    AppendRows(slice, rows);
    return true;
  }
  std::string rows;
};

[[noreturn]] void Fail(const char* what, const Outcome& found, const Outcome& expected) {
  std::fprintf(stderr, "%s\nfound:    %s / %s\nexpected: %s / %s\n", what, found.rows.c_str(),
               found.error.c_str(), expected.rows.c_str(), expected.error.c_str());
  std::abort();
}

/// Block by block, with what the flags of each slice claim checked.
Outcome Slice(std::string_view text, char delimiter, uint32 columns, CsvSlicer::Way way,
              std::size_t blockBytes) {
  Outcome outcome;
  CsvSlicer slicer(delimiter, columns, way);
  BlockBuffer buffer(blockBytes);
  uint64 offset = 0;
  for (bool isLast = false; !isLast;) {
    buffer.Fill([&](char* out, std::size_t room) {
      const std::size_t count = text.copy(out, room);
      text.remove_prefix(count);
      return count;
    });
    isLast = text.empty();
    const std::string_view block = buffer.GetText();
    const uint32 consumed = slicer.Slice(block, isLast);
    const RecordSlice& slice = slicer.Get();
    AppendRows(slice, outcome.rows);
    const std::string_view records = block.substr(0, consumed);
    const bool isAscii =
        std::ranges::all_of(records, [](char c) { return static_cast<signed char>(c) >= 0; });
    const bool hasQuotes = records.find('"') != std::string_view::npos;
    if (slice.isAscii != isAscii || slice.hasQuotes != hasQuotes) std::abort();
    if (slicer.GetBadRecord()) {
      const BadRecord& bad = *slicer.GetBadRecord();
      outcome.error = std::to_string(bad.error) + " at " + std::to_string(offset + bad.start) +
                      " fields " + std::to_string(bad.fields);
      return outcome;
    }
    if (isLast && consumed != block.size()) std::abort();
    offset += consumed;
    buffer.Consume(consumed);
  }
  return outcome;
}

/// Of a file in memory, by several workers; the rows count when there is no error.
Outcome Scan(const std::string& path, char delimiter, uint32 workers, std::size_t blockBytes) {
  Outcome outcome;
  ScanOptions options;
  options.delimiter = delimiter;
  options.hasHeader = false;
  options.threads = workers;
  options.blockBytes = blockBytes;
  options.leastPieceBytes = 1;
  try {
    CsvScan scan({path}, options);
    std::vector<AppendingSink> sinks(workers);
    std::vector<SliceSink*> pointers;
    for (AppendingSink& sink : sinks) pointers.push_back(&sink);
    scan.Scan(pointers, nullptr);
    for (const AppendingSink& sink : sinks) outcome.rows += sink.rows;
  } catch (const ErrorMessage& error) {
    outcome.error = error.what();
  }
  return outcome;
}

constexpr char kDelimiters[] = {',', ';', '\t', ' '};

/// The first two bytes of an input say how the rest is read.
struct Reading {
  explicit Reading(const unsigned char* data)
      : delimiter(kDelimiters[data[0] % 4]),
        columns(1 + data[0] / 4 % 4),
        blockBytes(std::size_t{8} + data[1]) {}
  char delimiter;
  uint32 columns;
  std::size_t blockBytes;
};

/// Appends records as programs write them, a slip here and there, until the text is about `size`
/// long; one in sixteen is so long that what stands behind a slip is read fast again.
void AppendOrdinaryRecords(const Reading& reading, std::minstd_rand& random, std::size_t size,
                           std::string& text) {
  const auto oneIn = [&](uint32 count) { return random() % count == 0; };
  const auto word = [&](std::size_t longest) {
    static constexpr std::string_view kPieces[] = {"a",    "12",  "-0.5", "\xC3\xA4",
                                                   "word", "x/y", "."};
    for (std::size_t end = text.size() + random() % longest; text.size() < end;) {
      text += kPieces[random() % std::size(kPieces)];
    }
  };
  const char* const lineEnd = oneIn(2) ? "\n" : oneIn(4) ? "\r" : "\r\n";
  const uint32 quotedOneIn = oneIn(3) ? 1 : oneIn(2) ? 3 : 50;
  const uint32 slipOneIn = oneIn(4) ? 40 : 1'000'000;
  while (text.size() < size) {
    for (uint32 column = 0; column < reading.columns; ++column) {
      if (column != 0) text += reading.delimiter;
      const bool isQuoted = oneIn(quotedOneIn);
      if (isQuoted) text += '"';
      for (uint32 parts = isQuoted ? random() % 4 : 0; parts != 0; --parts) {
        word(6);
        text += oneIn(3)   ? std::string_view("\"\"")
                : oneIn(2) ? std::string_view(lineEnd)
                           : std::string_view(&reading.delimiter, 1);
      }
      word(oneIn(30) ? 400 : 12);
      if (isQuoted) text += '"';
      if (oneIn(slipOneIn)) text += "\"\r\n,"[random() % 4];
    }
    text += lineEnd;
  }
  // What stands before may be as long already, and end otherwise.
  if (oneIn(2) && text.ends_with(lineEnd)) text.resize(text.size() - std::strlen(lineEnd));
}

}  // namespace
}  // namespace sqxer

extern "C" std::size_t LLVMFuzzerMutate(unsigned char* data, std::size_t size, std::size_t room);

/// Every other input is ordinary records, or what stands in the input with such records behind.
extern "C" std::size_t LLVMFuzzerCustomMutator(unsigned char* data, std::size_t size,
                                               std::size_t room, unsigned seed) {
  using namespace sqxer;
  std::minstd_rand random(seed);
  random.discard(2);
  if (size < 2 || random() % 2 == 0) {
    // Short texts find most, and are fast.
    return LLVMFuzzerMutate(data, size, std::min(room, std::max<std::size_t>(size, 512)));
  }
  for (const int at : {0, 1}) data[at] = static_cast<unsigned char>(random() >> 8);
  std::string text;
  if (random() % 4 == 0) text.assign(reinterpret_cast<const char*>(data + 2), size - 2);
  const std::size_t length = random() % 16 == 0 ? 12'000 : 1 + random() % 400;
  AppendOrdinaryRecords(Reading(data), random, std::min(room, length), text);
  return 2 + text.copy(reinterpret_cast<char*>(data + 2), room - 2);
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace sqxer;
  if (size < 3) return 0;
  const auto [delimiter, columns, blockBytes] = Reading(data);
  const std::string text(reinterpret_cast<const char*>(data + 2), size - 2);

  const std::size_t wholeBytes = text.size() + 1;
  const Outcome expected = Slice(text, delimiter, columns, CsvSlicer::Way::kPlain, wholeBytes);
  for (const auto& [what, way, bytes] :
       {std::tuple("whole, fast", CsvSlicer::Way::kFast, wholeBytes),
        std::tuple("blocks, fast", CsvSlicer::Way::kFast, blockBytes),
        std::tuple("blocks, plain", CsvSlicer::Way::kPlain, blockBytes)}) {
    const Outcome found = Slice(text, delimiter, columns, way, bytes);
    if (found != expected) Fail(what, found, expected);
  }

  // Threads cost more than all else: a few of the texts, whatever the first bytes say.
  if (std::hash<std::string>()(text) % 64 == 0) {
    const int file = memfd_create("text", MFD_CLOEXEC);
    if (write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size())) std::abort();
    const std::string path = "/proc/self/fd/" + std::to_string(file);
    const Outcome one = Scan(path, delimiter, 1, wholeBytes);
    for (const uint32 workers : {1, 2, 4}) {
      const Outcome found = Scan(path, delimiter, workers, blockBytes);
      if (found != one) Fail("workers", found, one);
    }
    close(file);
  }
  return 0;
}
