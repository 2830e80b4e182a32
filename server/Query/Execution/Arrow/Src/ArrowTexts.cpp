#include <algorithm>
#include <limits>

#include "ArrowColumn.h"
#include "ArrowError.h"
#include "VectorBuilder.h"

namespace sqxer {
namespace {

/// Texts as bytes side by side: row i has those from offset i up to the next.
template <class Offset>
struct Utf8Run {
  const uint8* offsets;
  const uint8* bytes;
  /// Offsets and bytes that are known to stand behind those of the rows.
  uint64 offsetsBehind;
  uint64 bytesBehind;

  Offset GetOffset(uint64 row) const {
    Offset offset;
    std::memcpy(&offset, offsets + row * sizeof(Offset), sizeof offset);
    return offset;
  }
  std::string_view Get(uint64 row) const {
    const Offset start = GetOffset(row);
    return {reinterpret_cast<const char*>(bytes) + start,
            static_cast<std::size_t>(GetOffset(row + 1) - start)};
  }
};

/// Whether no byte is a zero or above 0x7F.
bool IsPlainAscii(const uint8* bytes, uint64 count) {
  // Bytes with the highest bit keep it, and a zero less one gets it.
  const auto mark = [](uint8 byte) { return static_cast<uint8>(byte | (byte - 1)); };
  constexpr uint64 kStretch = 4096;
  while (count > 0) {
    const uint64 some = std::min(count, kStretch);
    uint8 marks = 0;
    for (uint64 i = 0; i < some; ++i) marks |= mark(bytes[i]);
    if ((marks & 0x80) != 0) return false;
    bytes += some;
    count -= some;
  }
  return true;
}

[[noreturn]] void RefuseText(const ArrowView& view, const ArrowReading& reading, uint64 row) {
  ThrowTableError(kArrowTextInvalid, {ArrowRowText(reading, row), view.field->path, reading.table});
}

/// Texts that are not all ASCII are decoded as those of files are.
template <class Get>
ArrowColumn BuildTexts(const ArrowView& view, const ArrowReading& reading, Get&& get) {
  const auto builder = VectorBuilder::Make(XeVarCharData, VectorBuilder::kAnyLength, {});
  builder->Expect(view.rows);
  for (uint64 row = 0; row < view.rows; ++row) {
    if (view.IsNull(row)) {
      builder->AppendNull();
      continue;
    }
    const std::string_view text = get(row);
    const bool hasZero = text.find('\0') != std::string_view::npos;
    if (hasZero || !BaseStringUtil::IsValidUtf8(text)) RefuseText(view, reading, row);
    builder->Append(text);
  }
  ArrowColumn column;
  column.longest = builder->GetLongest();
  column.vector = builder->Take();
  return column;
}

/// Of texts that ascend in one run: they are shared while they are ASCII.
template <class Offset>
ArrowColumn ReadRun(const ArrowView& view, const ArrowReading& reading, const Utf8Run<Offset>& run,
                    uint64 longest) {
  const auto start = static_cast<uint64>(run.GetOffset(0));
  const auto end = static_cast<uint64>(run.GetOffset(view.rows));
  if (!IsPlainAscii(run.bytes + start, end - start)) {
    return BuildTexts(view, reading, [&](uint64 row) { return run.Get(row); });
  }
  ArrowParts parts(reading);
  ArrowColumn column;
  ColumnVector& vector = column.vector;
  vector.form = ColumnForm::kText8;
  vector.isAscii = true;
  vector.offsetWidth = sizeof(Offset);
  column.longest = static_cast<uint32>(longest);
  const uint64 offsetBytes = (view.rows + 1) * sizeof(Offset);
  if (run.bytesBehind >= ColumnBuffer::kColumnPadding) {
    vector.values = parts.Share(run.bytes, end, run.bytesBehind, 1);
    vector.offsets =
        parts.Share(run.offsets, offsetBytes, run.offsetsBehind * sizeof(Offset), sizeof(Offset));
  } else {
    vector.values = parts.Share(run.bytes + start, end - start, 0, 1);
    auto* const offsets = reinterpret_cast<Offset*>(parts.MakeRoom(offsetBytes));
    for (uint64 row = 0; row <= view.rows; ++row) {
      offsets[row] = run.GetOffset(row) - run.GetOffset(0);
    }
    vector.offsets = reinterpret_cast<const uint8*>(offsets);
  }
  parts.Finish(view, vector);
  return column;
}

void CheckLongest(const ArrowView& view, const ArrowReading& reading, uint64 longest) {
  constexpr uint64 kMostBytes = uint64{1} << 30;
  if (longest < kMostBytes) return;
  RefuseArrowArray(*view.field, reading, L"a text takes " + std::to_wstring(longest) + L" bytes");
}

/// Texts with offsets, as signed integers.
template <class Offset>
ArrowColumn ReadOffsets(const ArrowView& view, const ArrowReading& reading) {
  const uint8* const bytes = view.GetBuffer(2);
  Utf8Run<Offset> run{view.GetBuffer(1) + view.first * sizeof(Offset), bytes,
                      view.end - view.first - view.rows, 0};
  const Offset first = run.GetOffset(0);
  bool ascends = first >= 0;
  Offset longest = 0;
  for (uint64 row = 0; row < view.rows; ++row) {
    const Offset start = run.GetOffset(row);
    const Offset end = run.GetOffset(row + 1);
    ascends &= start <= end;
    // Of offsets that do not ascend nothing is believed.
    longest =
        std::max(longest, static_cast<Offset>(static_cast<std::make_unsigned_t<Offset>>(end) -
                                              static_cast<std::make_unsigned_t<Offset>>(start)));
  }
  if (!ascends) RefuseArrowArray(*view.field, reading, L"its offsets do not ascend");
  const Offset last = run.GetOffset(view.rows);
  const Offset known = run.GetOffset(view.rows + run.offsetsBehind);
  if (bytes == nullptr && last > 0) RefuseArrowArray(*view.field, reading, L"a buffer is missing");
  CheckLongest(view, reading, static_cast<uint64>(longest));
  run.bytesBehind = known > last ? static_cast<uint64>(known - last) : 0;
  return ReadRun(view, reading, run, static_cast<uint64>(longest));
}

template <class Offset, class Get>
ArrowColumn PutSideBySide(const ArrowView& view, const ArrowReading& reading, Get&& get,
                          uint64 bytes, uint64 longest) {
  struct Kept {
    ColumnBuffer offsets;
    ColumnBuffer texts;
  };
  const auto kept = std::make_shared<Kept>();
  kept->offsets.Reserve((view.rows + 1) * sizeof(Offset));
  kept->texts.Reserve(std::max(bytes, uint64{1}));
  auto* const offsets = reinterpret_cast<Offset*>(kept->offsets.GetData());
  offsets[0] = 0;
  for (uint64 row = 0; row < view.rows; ++row) {
    const std::string_view text = get(row);
    if (!text.empty()) {
      std::memcpy(kept->texts.GetData() + offsets[row], text.data(), text.size());
    }
    offsets[row + 1] = offsets[row] + static_cast<Offset>(text.size());
  }
  ArrowReading own = reading;
  own.owner = kept;
  // What keeps the texts does not keep the array, so its validity is copied.
  ArrowView texts = view;
  texts.validity.behind = 0;
  const Utf8Run<Offset> run{kept->offsets.GetData(), kept->texts.GetData(),
                            ColumnBuffer::kColumnPadding / sizeof(Offset),
                            ColumnBuffer::kColumnPadding};
  return ReadRun(texts, own, run, longest);
}

/// Texts that stand anywhere.
template <class Get>
ArrowColumn ReadScattered(const ArrowView& view, const ArrowReading& reading, Get&& get) {
  uint64 bytes = 0;
  uint64 longest = 0;
  for (uint64 row = 0; row < view.rows; ++row) {
    const uint64 size = get(row).size();
    bytes += size;
    longest = std::max(longest, size);
  }
  CheckLongest(view, reading, longest);
  return bytes <= std::numeric_limits<int32>::max()
             ? PutSideBySide<int32>(view, reading, get, bytes, longest)
             : PutSideBySide<int64>(view, reading, get, bytes, longest);
}

/// Sixteen bytes: a length, then up to twelve bytes of text, or its first four, the buffer where it
/// stands and its place there.
ArrowColumn ReadViews(const ArrowView& view, const ArrowReading& reading) {
  constexpr int32 kMostInline = 12;
  constexpr uint64 kViewBytes = 16;
  constexpr uint64 kFirstByte = 4;
  constexpr int64 kFirstBuffer = 2;
  struct Place {
    int32 length;
    int32 prefix;
    int32 buffer;
    int32 offset;
  };
  const int64 count = view.array->n_buffers - 1 - kFirstBuffer;
  const auto sizeOf = [&](int32 buffer) {
    int64 size;
    std::memcpy(&size, view.GetBuffer(view.array->n_buffers - 1) + buffer * sizeof size,
                sizeof size);
    return size;
  };
  if (count > 0 && view.GetBuffer(view.array->n_buffers - 1) == nullptr) {
    RefuseArrowArray(*view.field, reading, L"a buffer is missing");
  }
  const auto get = [&](uint64 row) -> std::string_view {
    if (view.IsNull(row)) return {};
    const auto place = view.Get<Place>(1, row);
    if (place.length >= 0 && place.length <= kMostInline) {
      const uint8* const start = view.GetBuffer(1) + (view.first + row) * kViewBytes + kFirstByte;
      return {reinterpret_cast<const char*>(start), static_cast<std::size_t>(place.length)};
    }
    const bool isThere = place.length > 0 && place.buffer >= 0 && place.buffer < count &&
                         place.offset >= 0 &&
                         int64{place.offset} + place.length <= sizeOf(place.buffer) &&
                         view.GetBuffer(kFirstBuffer + place.buffer) != nullptr;
    if (!isThere) {
      RefuseArrowArray(*view.field, reading,
                       L"row " + ArrowRowText(reading, row) + L" points outside its buffers");
    }
    return {
        reinterpret_cast<const char*>(view.GetBuffer(kFirstBuffer + place.buffer)) + place.offset,
        static_cast<std::size_t>(place.length)};
  };
  return ReadScattered(view, reading, get);
}

ArrowColumn ReadFixed(const ArrowView& view, const ArrowReading& reading) {
  const auto width = static_cast<std::size_t>(view.field->width);
  return ReadScattered(view, reading, [&](uint64 row) -> std::string_view {
    if (view.IsNull(row) || width == 0) return {};
    return {reinterpret_cast<const char*>(view.GetBuffer(1)) + (view.first + row) * width, width};
  });
}

}  // namespace

ArrowColumn ReadArrowTexts(const ArrowView& view, const ArrowReading& reading) {
  static constexpr int64 kOneOffset = 0;
  switch (view.field->kind) {
    case ArrowKind::kBytesView:
      return ReadViews(view, reading);
    case ArrowKind::kFixedBytes:
      return ReadFixed(view, reading);
    default:
      break;
  }
  if (view.rows == 0) {
    // The buffer of the offsets may be missing.
    const Utf8Run<int64> none{reinterpret_cast<const uint8*>(&kOneOffset), nullptr, 0, 0};
    return ReadRun(view, reading, none, 0);
  }
  return view.field->kind == ArrowKind::kLargeBytes ? ReadOffsets<int64>(view, reading)
                                                    : ReadOffsets<int32>(view, reading);
}

}  // namespace sqxer
