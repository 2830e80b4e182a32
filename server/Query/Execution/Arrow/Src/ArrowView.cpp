#include "ArrowView.h"

#include <algorithm>

#include "ArrowError.h"

namespace sqxer {
namespace {

constexpr uint64 kWordBits = 64;
/// No buffer of values of any width reaches as far as that, nor does a sum of two such numbers.
constexpr int64 kMostRows = int64{1} << 55;

/// 64 bits, of which `count` are wanted; nothing is read behind the byte of the last one.
uint64 LoadBits(const ArrowBits& source, uint64 row, uint64 count) {
  if (source.bits == nullptr) return ~uint64{0};
  const uint64 bit = source.first + row;
  const uint8* const start = source.bits + bit / 8;
  const uint64 shift = bit % 8;
  const uint64 bytes = (shift + count + 7) / 8;
  uint64 word = 0;
  std::memcpy(&word, start, std::min<uint64>(bytes, sizeof word));
  word >>= shift;
  if (bytes > sizeof word) word |= uint64{start[sizeof word]} << (kWordBits - shift);
  return word;
}

/// The buffer that must be there for arrays with rows, or -1.
int64 NeededBuffer(const ArrowField& field) {
  const int64 count = CountArrowBuffers(field.kind);
  const bool takesNothing = field.kind == ArrowKind::kFixedBytes && field.width == 0;
  return count >= 2 && !takesNothing ? 1 : -1;
}

void CheckBuffers(const ArrowField& field, const ArrowArray& array, const ArrowReading& reading) {
  const int64 count = CountArrowBuffers(field.kind);
  const bool isEnough = field.kind == ArrowKind::kBytesView ? array.n_buffers >= count
                        : field.kind == ArrowKind::kNull    ? array.n_buffers >= 0
                                                            : array.n_buffers == count;
  if (!isEnough) {
    RefuseArrowArray(field, reading,
                     L"it has " + std::to_wstring(array.n_buffers) + L" buffers and not " +
                         std::to_wstring(count));
  }
  if (count > 0 && array.buffers == nullptr) RefuseArrowArray(field, reading, L"it has no buffers");
  const int64 needed = NeededBuffer(field);
  if (array.offset + array.length > 0 && needed >= 0 && array.buffers[needed] == nullptr) {
    RefuseArrowArray(field, reading, L"a buffer is missing");
  }
}

}  // namespace

ArrowView ArrowView::Slice(uint64 from, uint64 count) const {
  ArrowView view = *this;
  view.first += from;
  view.rows = count;
  for (ArrowBits* const bits : {&view.validity, &view.parentValidity}) {
    bits->first += from;
    bits->behind += rows - from - count;
  }
  return view;
}

ArrowView OpenArrowArray(const ArrowField& field, const ArrowArray& array,
                         const ArrowReading& reading) {
  const auto refuse = [&](const XeString& what) { RefuseArrowArray(field, reading, what); };
  if (array.release == nullptr) refuse(L"it has been released");
  if (array.length < 0 || array.length > kMostRows) {
    refuse(L"its length is " + std::to_wstring(array.length));
  }
  if (array.offset < 0 || array.offset > kMostRows) {
    refuse(L"its offset is " + std::to_wstring(array.offset));
  }
  if (array.null_count < -1 || array.null_count > array.length) {
    refuse(L"of " + std::to_wstring(array.length) + L" rows it counts " +
           std::to_wstring(array.null_count) + L" NULLs");
  }
  CheckBuffers(field, array, reading);
  if (array.n_children != static_cast<int64>(field.children.size())) {
    refuse(L"it has " + std::to_wstring(array.n_children) + L" children and not " +
           std::to_wstring(field.children.size()));
  }
  for (int64 i = 0; i < array.n_children; ++i) {
    if (array.children == nullptr || array.children[i] == nullptr) refuse(L"a child is missing");
  }
  if ((array.dictionary != nullptr) != (field.dictionary != nullptr)) {
    refuse(array.dictionary == nullptr ? L"it has no dictionary" : L"it has a dictionary");
  }

  ArrowView view;
  view.field = &field;
  view.array = &array;
  view.first = static_cast<uint64>(array.offset);
  view.rows = static_cast<uint64>(array.length);
  view.end = view.first + view.rows;
  if (HasArrowValidity(field.kind) && array.null_count != 0) {
    if (array.buffers[0] != nullptr) {
      view.validity = {view.GetBuffer(0), view.first, 0};
    } else if (array.null_count > 0) {
      refuse(L"it counts NULLs and does not say which");
    }
  }
  return view;
}

ArrowView OpenArrowChild(const ArrowView& parent, std::size_t child, uint64 first, uint64 rows,
                         const ArrowReading& reading) {
  const ArrowField& field = parent.field->children[child];
  const ArrowView view = OpenArrowArray(field, *parent.array->children[child], reading);
  if (first > view.rows || rows > view.rows - first) {
    RefuseArrowArray(field, reading,
                     L"its length is " + std::to_wstring(view.rows) + L" where " +
                         std::to_wstring(first + rows) + L" are needed");
  }
  return view.Slice(first, rows);
}

void RefuseArrowArray(const ArrowField& field, const ArrowReading& reading, const XeString& what) {
  ThrowTableError(kArrowArrayBroken, {field.path, reading.table, what});
}

void RefuseArrowValue(const ArrowView& view, const ArrowReading& reading, uint64 row,
                      const XeString& type, const XeString& value) {
  ThrowTableError(kArrowValueUnknown,
                  {ArrowRowText(reading, row), view.field->path, reading.table, type, value});
}

XeString ArrowRowText(const ArrowReading& reading, uint64 row) {
  return std::to_wstring(reading.rowsBefore + row + 1);
}

void CopyArrowValidity(const ArrowView& view, ColumnBuffer& target) {
  target.Reserve((view.rows + kWordBits - 1) / kWordBits * sizeof(uint64));
  uint64* const words = target.As<uint64>();
  for (uint64 row = 0; row < view.rows; row += kWordBits) {
    const uint64 count = std::min(view.rows - row, kWordBits);
    const uint64 word =
        LoadBits(view.validity, row, count) & LoadBits(view.parentValidity, row, count);
    words[row / kWordBits] = count < kWordBits ? word & ((uint64{1} << count) - 1) : word;
  }
}

}  // namespace sqxer
