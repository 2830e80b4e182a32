// Arrow data by hand whose structures lie, where a reader can tell: lengths, counts of NULLs,
// buffers and children, offsets, codes, layouts, and bytes that are no text. Buffers end where the
// array says, so that the sanitizers see whoever goes further; all must be released.
#include "ArrowReader.h"
#include "Input.h"
#include "server/Query/Execution/Arrow/ArrowSpec.h"

namespace {

using namespace sqxer;
using test::Bytes;
using test::Spec;

constexpr const char* kFormats[] = {
    "n",   "b",      "c",       "C",      "s",     "S",         "i",   "I",     "l",        "L",
    "e",   "f",      "g",       "u",      "U",     "z",         "Z",   "vu",    "vz",       "w:3",
    "w:0", "d:10,2", "d:38,38", "d:19,4", "d:5,9", "tdD",       "tdm", "tts",   "ttm",      "ttu",
    "ttn", "tss:",   "tsm:UTC", "tsu:",   "tsn:",  "tiM",       "tiD", "tin",   "tDs",      "tDm",
    "+l",  "+L",     "+s",      "+w:2",   "+m",    "+vl",       "+r",  "+ud:0", "d:7,2,32", "",
    "q",   "d:x",    "w:-1",    "ts",     "d:0,0", "d:76,2,256"};

/// Bytes of one value, in an array of a format; 0 for bits, -1 for what is of no fixed width.
int WidthOf(const std::string& format) {
  static constexpr std::pair<const char*, int> kWidths[] = {
      {"tdD", 4}, {"tdm", 8}, {"tts", 4}, {"ttm", 4},  {"ttu", 8}, {"ttn", 8},
      {"ts", 8},  {"tiM", 4}, {"tiD", 8}, {"tin", 16}, {"tD", 8},  {"b", 0},
      {"c", 1},   {"C", 1},   {"s", 2},   {"S", 2},    {"i", 4},   {"I", 4},
      {"l", 8},   {"L", 8},   {"e", 2},   {"f", 4},    {"g", 8}};
  if (format.starts_with("d:")) {
    return format.ends_with(",32") ? 4 : format.ends_with(",256") ? 32 : 16;
  }
  if (format.starts_with("w:")) return std::max(0, std::atoi(format.c_str() + 2));
  for (const auto& [start, width] : kWidths) {
    if (format.starts_with(start)) return width;
  }
  return -1;
}

/// So many bytes of the input, over and over.
std::string Fill(fuzz::Input& input, std::size_t bytes) {
  std::string filled(input.Take(bytes));
  if (filled.empty()) filled = "a";
  while (filled.size() < bytes) filled += filled;
  filled.resize(bytes);
  return filled;
}

/// Offsets that ascend up to the end of the text, of which one may do otherwise within it.
template <class Offset>
Bytes Offsets(fuzz::Input& input, std::size_t count, std::size_t most) {
  std::vector<Offset> offsets(count + 1);
  for (std::size_t i = 1; i <= count; ++i) {
    offsets[i] = static_cast<Offset>(most * i / count);
  }
  if (input.Byte() % 4 == 0) {
    offsets[input.Byte() % offsets.size()] =
        static_cast<Offset>(input.Byte() % (most + 2)) - static_cast<Offset>(input.Byte() % 2);
    // What ends behind the text cannot be told.
    for (Offset& offset : offsets) offset = std::min(offset, static_cast<Offset>(most));
  }
  return test::Raw(offsets);
}

Spec MakeColumn(fuzz::Input& input, int64 rows, int depth) {
  Spec column;
  column.format = kFormats[input.Byte() % std::size(kFormats)];
  const std::string& format = column.format;
  column.offset = input.Byte() % 8 == 0 ? input.Byte() % 4 : 0;
  column.length = rows;
  const auto count = static_cast<std::size_t>(rows + column.offset);
  const bool hasValidity = input.Byte() % 2 == 0;
  const Bytes validity = hasValidity ? Bytes(Fill(input, count / 8 + 1)) : Bytes();
  const std::size_t bytes = input.Byte() % 64;
  const auto child = [&](int64 childRows) {
    column.children.push_back(MakeColumn(input, childRows, depth - 1));
  };
  if (format == "n") {
  } else if (format.starts_with("+") && depth == 0) {
    column.format = "n";
  } else if (format == "+s") {
    column.buffers = {validity};
    for (unsigned left = input.Byte() % 3; left > 0; --left) child(static_cast<int64>(count));
  } else if (format == "+l" || format == "+m") {
    column.buffers = {validity, Offsets<int32>(input, count, bytes)};
    child(static_cast<int64>(bytes));
  } else if (format == "+L") {
    column.buffers = {validity, Offsets<int64>(input, count, bytes)};
    child(static_cast<int64>(bytes));
  } else if (format == "+w:2") {
    column.buffers = {validity};
    child(static_cast<int64>(2 * count));
  } else if (format == "u" || format == "z") {
    column.buffers = {validity, Offsets<int32>(input, count, bytes), Fill(input, bytes)};
  } else if (format == "U" || format == "Z") {
    column.buffers = {validity, Offsets<int64>(input, count, bytes), Fill(input, bytes)};
  } else if (format.starts_with("v")) {
    // Views of at most twelve bytes stand by themselves; others name a place in a buffer.
    std::string views = Fill(input, count * 16);
    for (std::size_t i = 0; i < count; ++i) {
      int32 words[4];
      std::memcpy(words, &views[i * 16], 16);
      words[0] = words[0] % 20;
      if (words[0] > 12) {
        words[2] = words[2] % 3;
        words[3] = words[3] % 20;
      }
      std::memcpy(&views[i * 16], words, 16);
    }
    const std::vector<int64> sizes = {40};
    column.buffers = {validity, views, Fill(input, 40), test::Raw(sizes)};
  } else if (const int width = WidthOf(format); width >= 0) {
    const std::size_t size =
        width == 0 && format == "b" ? count / 8 + 1 : count * static_cast<std::size_t>(width);
    column.buffers = {validity, Fill(input, size)};
    const bool isCode = std::string("cCsSiIlL").find(format) != std::string::npos;
    if (isCode && depth > 0 && input.Byte() % 4 == 0) {
      column.dictionary.push_back(MakeColumn(input, input.Byte() % 20, 0));
    }
  }
  // The lies.
  switch (input.Byte() % 16) {
    case 0:
      column.length = input.Byte() % 2 == 0 ? -1 : INT64_MAX;
      break;
    case 1:
      column.nulls = static_cast<int64>(input.Byte()) - 4;
      break;
    case 2:
      if (!column.buffers.empty()) column.buffers.pop_back();
      break;
    case 3:
      if (!column.buffers.empty()) column.buffers[input.Byte() % column.buffers.size()] = Bytes();
      break;
    case 4:
      column.offset = -1;
      break;
    case 5:
      if (!column.children.empty()) column.children.pop_back();
      break;
    case 6:
      column.flags = 0;
      break;
    case 7:
      column.length = rows / 2;
      break;
    default:
      break;
  }
  return column;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  fuzz::Input input(data, size);
  const bool takesBinary = input.Byte() % 2 == 0;
  const int64 rows = input.Byte() % 40;
  std::vector<Spec> columns;
  for (unsigned left = 1 + input.Byte() % 3; left > 0; --left) {
    columns.push_back(MakeColumn(input, rows, 2));
  }
  const Spec table = test::TableOf(std::move(columns), rows);
  try {
    ArrowArrayStream stream = test::MakeStream({table, table});
    const Table read = ReadArrowTable(&stream, {L"t", takesBinary});
    if (read.rowCount != static_cast<uint64>(2 * rows)) std::abort();
  } catch (const ErrorMessage&) {
    // It was found out.
  }
  if (test::Live::All() != 0) std::abort();
  return 0;
}
