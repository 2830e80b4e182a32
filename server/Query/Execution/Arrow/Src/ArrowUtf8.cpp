#include "ArrowUtf8.h"

#include <limits>

#include "ArrowError.h"

namespace sqxer {
namespace {

constexpr uint64 kMostSmall = static_cast<uint64>(std::numeric_limits<int32>::max());

uint64 BytesOf(uint8 character) { return character < 0x80 ? 1 : 2; }
uint64 BytesOf(wchar_t character) {
  return character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
}

uint8* Encode(uint32 character, uint8* out) {
  constexpr uint32 kRest = 0x3F;
  const auto put = [&](uint32 byte) { *out++ = static_cast<uint8>(byte); };
  if (character < 0x80) {
    put(character);
    return out;
  }
  if (character < 0x800) {
    put(0xC0 | character >> 6);
  } else {
    if (character < 0x10000) {
      put(0xE0 | character >> 12);
    } else {
      put(0xF0 | character >> 18);
      put(0x80 | (character >> 12 & kRest));
    }
    put(0x80 | (character >> 6 & kRest));
  }
  put(0x80 | (character & kRest));
  return out;
}

/// The characters of the text of a row that is not NULL.
template <class Character>
struct Text {
  const Character* first;
  const Character* end;

  Text(const ColumnVector& vector, uint64 row) {
    const ColumnVector& texts = vector.dictionary ? *vector.dictionary : vector;
    const uint64 entry = vector.dictionary ? vector.GetCode(row) : row;
    const auto* const characters = reinterpret_cast<const Character*>(texts.values);
    first = characters + texts.GetOffset(entry);
    end = characters + texts.GetOffset(entry + 1);
  }
  uint64 CountBytes() const {
    uint64 bytes = 0;
    for (const Character* at = first; at != end; ++at) bytes += BytesOf(*at);
    return bytes;
  }
};

template <class Offset, class Character>
void EncodeTexts(const ColumnVector& texts, const XeString& column, ArrowHeldArray& held) {
  auto* const offsets = reinterpret_cast<Offset*>(held.MakeRoom((texts.rows + 1) * sizeof(Offset)));
  uint64 bytes = 0;
  offsets[0] = 0;
  for (uint64 row = 0; row < texts.rows; ++row) {
    if (!texts.IsNull(row)) bytes += Text<Character>(texts, row).CountBytes();
    if (sizeof(Offset) == sizeof(int32) && bytes > kMostSmall) {
      ThrowTableError(kArrowTextsTooLarge, {column});
    }
    offsets[row + 1] = static_cast<Offset>(bytes);
  }
  uint8* const first = held.MakeRoom(bytes);
  uint8* out = first;
  for (uint64 row = 0; row < texts.rows; ++row) {
    if (texts.IsNull(row)) continue;
    const Text<Character> text(texts, row);
    for (const Character* at = text.first; at != text.end; ++at) {
      out = Encode(static_cast<uint32>(*at), out);
    }
  }
  held.buffers[1] = offsets;
  held.buffers[2] = first;
}

}  // namespace

bool MayBeLargeUtf8(const ColumnVector& texts) {
  if (texts.dictionary || texts.rows == 0) return false;
  const uint64 bytesEach = texts.isAscii ? 1 : texts.form == ColumnForm::kText8 ? 2 : 4;
  return texts.GetOffset(texts.rows) > kMostSmall / bytesEach;
}

void WriteUtf8(const ColumnVector& texts, bool large, const XeString& column,
               ArrowHeldArray& held) {
  const bool isShared = texts.isAscii && !texts.dictionary && texts.offsets != nullptr &&
                        texts.offsetWidth == (large ? sizeof(int64) : sizeof(int32)) &&
                        (large || texts.GetOffset(texts.rows) <= kMostSmall);
  if (isShared) {
    held.buffers[1] = texts.offsets;
    held.buffers[2] = texts.values;
  } else if (texts.form == ColumnForm::kText8) {
    large ? EncodeTexts<int64, uint8>(texts, column, held)
          : EncodeTexts<int32, uint8>(texts, column, held);
  } else {
    large ? EncodeTexts<int64, wchar_t>(texts, column, held)
          : EncodeTexts<int32, wchar_t>(texts, column, held);
  }
}

}  // namespace sqxer
