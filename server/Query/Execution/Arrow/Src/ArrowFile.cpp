#include "ArrowFile.h"

#include <flatbuffers/flatbuffers.h>

#include <bit>
#include <charconv>
#include <cstring>
#include <utility>

#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

static_assert(std::endian::native == std::endian::little);

// The tables of the format's messages: the numbers of their fields, of unions and of enumerations,
// as published with the format.
constexpr short kVersion = 4;
constexpr uint8 kSchemaMessage = 1;
constexpr uint8 kBatchMessage = 3;
constexpr char kMagic[] = "ARROW1\0\0";
constexpr std::size_t kMagicBytes = 6;
/// What a message starts with.
constexpr uint32 kContinued = 0xFFFFFFFF;
constexpr int64 kAlignment = 8;

enum class Type : uint8 {
  kInt = 2,
  kFloatingPoint = 3,
  kUtf8 = 5,
  kBool = 6,
  kDecimal = 7,
  kDate = 8,
  kTime = 9,
  kTimestamp = 10,
  kInterval = 11,
  kLargeUtf8 = 20,
};

using Offset = flatbuffers::Offset<void>;

/// The place of a table's field among those that it has.
constexpr flatbuffers::voffset_t At(int field) {
  return static_cast<flatbuffers::voffset_t>(4 + 2 * field);
}

int64 Padded(int64 bytes) { return (bytes + kAlignment - 1) / kAlignment * kAlignment; }

/// How a column's values lie, beside their validity.
struct Buffers {
  /// Bits of a value; 0 for texts.
  int bits = 0;
  /// Bytes of a text's offset.
  int offsetBytes = 0;
};

Buffers BuffersOf(std::string_view format) {
  switch (format[0]) {
    case 'b':
      return {1};
    case 'c':
    case 'C':
      return {8};
    case 's':
    case 'S':
      return {16};
    case 'i':
    case 'I':
    case 'f':
      return {32};
    case 'd':
      return {128};
    case 'u':
      return {0, 4};
    case 'U':
      return {0, 8};
    case 't':
      return {format == "tdD" ? 32 : format == "tin" ? 128 : 64};
    default:
      // Of int64 and double.
      return {64};
  }
}

struct Span {
  const void* bytes;
  int64 count;
};

/// What a column consists of: its validity, then its values.
std::vector<Span> ListBuffers(const ArrowArray& array, const Buffers& layout) {
  const int64 rows = array.length;
  const void* const validity = array.null_count == 0 ? nullptr : array.buffers[0];
  std::vector<Span> spans = {{validity, validity == nullptr ? 0 : (rows + 7) / 8}};
  if (layout.bits != 0) {
    spans.push_back({array.buffers[1], (rows * layout.bits + 7) / 8});
    return spans;
  }
  spans.push_back({array.buffers[1], (rows + 1) * layout.offsetBytes});
  int64 end = 0;
  if (layout.offsetBytes == 8) {
    end = static_cast<const int64*>(array.buffers[1])[rows];
  } else {
    end = static_cast<const int32*>(array.buffers[1])[rows];
  }
  spans.push_back({array.buffers[2], end});
  return spans;
}

int64 CountNulls(const ArrowArray& array) {
  if (array.null_count >= 0 || array.buffers[0] == nullptr)
    return std::max<int64>(array.null_count, 0);
  const auto* const bits = static_cast<const uint8*>(array.buffers[0]);
  int64 nulls = 0;
  for (int64 row = 0; row < array.length; ++row) nulls += (bits[row / 8] >> row % 8 & 1) == 0;
  return nulls;
}

}  // namespace

/// Makes the metadata of messages.
class ArrowFile::Builder {
 public:
  std::string MakeSchema(const std::vector<Field>& fields) {
    const Offset schema = AddSchema(fields);
    return MakeMessage(kSchemaMessage, schema, 0);
  }

  std::string MakeBatch(int64 rows, const std::vector<int64>& nulls, const std::vector<Span>& spans,
                        int64 bodyBytes) {
    struct Node {
      int64 length;
      int64 nulls;
    };
    struct Place {
      int64 offset;
      int64 length;
    };
    std::vector<Node> nodes;
    for (const int64 count : nulls) nodes.push_back({rows, count});
    std::vector<Place> places;
    int64 offset = 0;
    for (const Span& span : spans) {
      places.push_back({offset, span.count});
      offset += Padded(span.count);
    }
    const Offset nodeList = AddStructs(nodes);
    const Offset placeList = AddStructs(places);
    const auto start = builder_.StartTable();
    builder_.AddElement<int64>(At(0), rows, 0);
    builder_.AddOffset(At(1), nodeList);
    builder_.AddOffset(At(2), placeList);
    return MakeMessage(kBatchMessage, Offset(builder_.EndTable(start)), bodyBytes);
  }

  std::string MakeFooter(const std::vector<Field>& fields, const std::vector<Block>& blocks) {
    struct Place {
      int64 offset;
      int64 metadataBytes;
      int64 bodyBytes;
    };
    std::vector<Place> places;
    for (const Block& block : blocks) {
      places.push_back({block.offset, block.metadataBytes, block.bodyBytes});
    }
    const Offset schema = AddSchema(fields);
    const Offset none = AddStructs(std::vector<Place>());
    const Offset batches = AddStructs(places);
    const auto start = builder_.StartTable();
    builder_.AddElement<short>(At(0), kVersion, 0);
    builder_.AddOffset(At(1), schema);
    builder_.AddOffset(At(2), none);
    builder_.AddOffset(At(3), batches);
    return Finish(Offset(builder_.EndTable(start)));
  }

 private:
  std::string Finish(Offset root) {
    builder_.Finish(root);
    return {reinterpret_cast<const char*>(builder_.GetBufferPointer()), builder_.GetSize()};
  }

  std::string MakeMessage(uint8 kind, Offset header, int64 bodyBytes) {
    const auto start = builder_.StartTable();
    builder_.AddElement<int64>(At(3), bodyBytes, 0);
    builder_.AddOffset(At(2), header);
    builder_.AddElement<short>(At(0), kVersion, 0);
    builder_.AddElement<uint8>(At(1), kind, 0);
    return Finish(Offset(builder_.EndTable(start)));
  }

  /// A vector of structs of 64-bit numbers.
  template <class Struct>
  Offset AddStructs(const std::vector<Struct>& structs) {
    builder_.StartVector(structs.size() * sizeof(Struct) / 8, 8);
    builder_.PushBytes(reinterpret_cast<const uint8*>(structs.data()),
                       structs.size() * sizeof(Struct));
    return Offset(builder_.EndVector(structs.size()));
  }

  Offset AddSchema(const std::vector<Field>& fields) {
    std::vector<Offset> made;
    for (const Field& field : fields) {
      const auto name = builder_.CreateString(field.name);
      const auto [type, description] = AddType(field.format);
      const Offset children = Offset(builder_.CreateVector(std::vector<Offset>()).o);
      const auto start = builder_.StartTable();
      builder_.AddOffset(At(0), name);
      builder_.AddElement<uint8>(At(1), field.isNullable, 0);
      builder_.AddElement<uint8>(At(2), static_cast<uint8>(type), 0);
      builder_.AddOffset(At(3), description);
      builder_.AddOffset(At(5), children);
      made.emplace_back(builder_.EndTable(start));
    }
    const auto list = builder_.CreateVector(made);
    const auto start = builder_.StartTable();
    builder_.AddOffset(At(1), list);
    return Offset(builder_.EndTable(start));
  }

  Offset AddTable(auto&& addFields) {
    const auto start = builder_.StartTable();
    addFields();
    return Offset(builder_.EndTable(start));
  }
  Offset AddInt(int bits, bool isSigned) {
    return AddTable([&] {
      builder_.AddElement<int>(At(0), bits, 0);
      builder_.AddElement<uint8>(At(1), isSigned, 0);
    });
  }
  /// A table of one enumeration, whose value is written even if it is the default.
  Offset AddUnit(short unit) {
    return AddTable([&] { builder_.AddElement<short>(At(0), unit, -1); });
  }

  std::pair<Type, Offset> AddType(std::string_view format) {
    switch (format[0]) {
      case 'b':
        return {Type::kBool, AddTable([] {})};
      case 'f':
        return {Type::kFloatingPoint, AddUnit(1)};
      case 'g':
        return {Type::kFloatingPoint, AddUnit(2)};
      case 'u':
        return {Type::kUtf8, AddTable([] {})};
      case 'U':
        return {Type::kLargeUtf8, AddTable([] {})};
      case 'd':
        return {Type::kDecimal, AddDecimal(format)};
      case 't':
        break;
      default: {
        const bool isSigned = format[0] >= 'a';
        return {Type::kInt, AddInt(BuffersOf(format).bits, isSigned)};
      }
    }
    if (format == "tdD") return {Type::kDate, AddUnit(0)};
    constexpr short kMicroseconds = 2;
    constexpr short kNanoseconds = 3;
    if (format == "ttn") {
      return {Type::kTime, AddTable([&] {
                builder_.AddElement<int>(At(1), 64, 0);
                builder_.AddElement<short>(At(0), kNanoseconds, 0);
              })};
    }
    if (format == "tin") return {Type::kInterval, AddUnit(2)};
    return {Type::kTimestamp, AddUnit(format[2] == 'n' ? kNanoseconds : kMicroseconds)};
  }

  /// Of "d:precision,scale".
  Offset AddDecimal(std::string_view format) {
    int precision = 0;
    int scale = 0;
    const auto read = std::from_chars(format.data() + 2, format.data() + format.size(), precision);
    std::from_chars(read.ptr + 1, format.data() + format.size(), scale);
    return AddTable([&] {
      builder_.AddElement<int>(At(0), precision, 0);
      builder_.AddElement<int>(At(1), scale, 0);
      builder_.AddElement<int>(At(2), 128, 0);
    });
  }

  flatbuffers::FlatBufferBuilder builder_;
};

ArrowFile::ArrowFile(const ArrowSchema& schema, Write write) : write_(std::move(write)) {
  for (int64 i = 0; i < schema.n_children; ++i) {
    const ArrowSchema& field = *schema.children[i];
    fields_.push_back({field.name, field.format, (field.flags & ARROW_FLAG_NULLABLE) != 0});
  }
  Put(kMagic, kAlignment);
  PutMessage(Builder().MakeSchema(fields_), 0);
}

void ArrowFile::Put(const void* bytes, std::size_t count) {
  if (count == 0) return;
  write_({static_cast<const char*>(bytes), count});
  written_ += static_cast<int64>(count);
}

void ArrowFile::Pad() {
  constexpr char kZeros[kAlignment] = {};
  Put(kZeros, static_cast<std::size_t>(Padded(written_) - written_));
}

ArrowFile::Block ArrowFile::PutMessage(std::string_view metadata, int64 bodyBytes) {
  const int64 start = written_;
  const auto bytes = static_cast<int32>(Padded(static_cast<int64>(metadata.size())));
  Put(&kContinued, sizeof kContinued);
  Put(&bytes, sizeof bytes);
  Put(metadata.data(), metadata.size());
  Pad();
  return {start, static_cast<int32>(written_ - start), bodyBytes};
}

void ArrowFile::Add(const ArrowArray& rows) {
  std::vector<Span> spans;
  std::vector<int64> nulls;
  for (int64 i = 0; i < rows.n_children; ++i) {
    const ArrowArray& column = *rows.children[i];
    if (column.offset != 0) XeLogicError("an array that is written starts within its buffers");
    const Buffers layout = BuffersOf(fields_[static_cast<std::size_t>(i)].format);
    for (const Span& span : ListBuffers(column, layout)) spans.push_back(span);
    nulls.push_back(CountNulls(column));
  }
  int64 bodyBytes = 0;
  for (const Span& span : spans) bodyBytes += Padded(span.count);
  blocks_.push_back(
      PutMessage(Builder().MakeBatch(rows.length, nulls, spans, bodyBytes), bodyBytes));
  for (const Span& span : spans) {
    Put(span.bytes, static_cast<std::size_t>(span.count));
    Pad();
  }
}

void ArrowFile::End() {
  constexpr int32 kNoMore = 0;
  Put(&kContinued, sizeof kContinued);
  Put(&kNoMore, sizeof kNoMore);
  const std::string footer = Builder().MakeFooter(fields_, blocks_);
  const auto bytes = static_cast<int32>(footer.size());
  Put(footer.data(), footer.size());
  Put(&bytes, sizeof bytes);
  Put(kMagic, kMagicBytes);
}

}  // namespace sqxer
