#include "BatchDisguise.h"

#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <vector>

#include "SQXERExpression.h"
#include "Utility/DecimalPowers.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeDateTime.h"

namespace sqxer::test {
namespace {

/// What the vectors of a node point to.
struct Room {
  std::vector<int128> values;
  std::vector<BatchText> texts;
  std::vector<wchar_t> characters;
  std::shared_ptr<const ColumnVector> dictionary;
};

std::map<const RExpression*, Room> rooms;

bool Counts(const BatchRows& rows, const BatchVector& vector, uint32 row) {
  bool isWanted = rows.selected == nullptr;
  for (uint32 i = 0; i < rows.selectedCount && !isWanted; ++i) isWanted = rows.selected[i] == row;
  return isWanted && !vector.IsNull(row);
}

/// Values that would be noticed, were they used.
void Spoil(ColumnForm form, uint8* value, uint32 row) {
  const VelmarNumber number(row % 2 == 0 ? 9e120 : -1e-20);
  const XeDateTime moment = FromTimeStamp64(row % 2 == 0 ? 253402300799999999 : -62135596800000000);
  if (form == ColumnForm::kNumber) {
    std::memcpy(value, static_cast<const void*>(&number), sizeof number);
  } else if (form == ColumnForm::kDecimal128) {
    const int128 wide = PowerOfTen128(38) * (row % 2 == 0 ? 1 : -1);
    std::memcpy(value, &wide, sizeof wide);
  } else if (form == ColumnForm::kInterval) {
    const XeInterval span = row % 2 == 0 ? XeInterval{INT32_MIN, INT32_MIN, INT64_MIN}
                                         : XeInterval{INT32_MAX, INT32_MAX, INT64_MAX};
    std::memcpy(value, static_cast<const void*>(&span), sizeof span);
  } else if (form == ColumnForm::kDateTime) {
    std::memcpy(value, static_cast<const void*>(&moment), sizeof moment);
  } else {
    const uint64 bits = row % 3 == 0   ? 0x7FFFFFFFFFFFFFFF
                        : row % 3 == 1 ? 0x8000000080000000
                                       : 0xFFF8000001010101;
    std::memcpy(value, &bits, WidthOfForm(form));
  }
}

void AddGarbage(RExpression& node, const BatchRows& rows, BatchVector& out) {
  if (out.isConstant || rows.count == 0) return;
  Room& room = rooms[&node];
  if (out.dictionary != nullptr) {
    const std::size_t bytes = std::size_t{rows.count} * out.codeWidth;
    std::vector<int128> codes(bytes / sizeof(int128) + 5, ~int128{0});
    auto* const to = reinterpret_cast<uint8*>(codes.data());
    for (uint32 row = 0; row < rows.count; ++row) {
      if (!Counts(rows, out, row)) continue;
      std::memcpy(to + row * out.codeWidth, out.values + row * out.codeWidth, out.codeWidth);
    }
    room.values.swap(codes);
    out.values = reinterpret_cast<const uint8*>(room.values.data());
  } else if (out.offsets == nullptr && out.texts == nullptr) {
    const uint32 width = WidthOfForm(out.form);
    std::vector<int128> values(std::size_t{rows.count} * width / sizeof(int128) + 5);
    auto* const to = reinterpret_cast<uint8*>(values.data());
    for (uint32 row = 0; row < rows.count; ++row) {
      if (Counts(rows, out, row)) {
        std::memcpy(to + row * width, out.values + row * width, width);
      } else {
        Spoil(out.form, to + row * width, row);
      }
    }
    room.values.swap(values);
    out.values = reinterpret_cast<const uint8*>(room.values.data());
  } else if (out.offsets == nullptr || node.GetResultDataType() != XeCharData) {
    // What fills fixed texts up is not there where they come from a column.
    std::vector<BatchText> texts(rows.count);
    static const std::vector<wchar_t> garbage(100, L'%');
    for (uint32 row = 0; row < rows.count; ++row) {
      texts[row] = Counts(rows, out, row)
                       ? out.GetText(row)
                       : BatchText{reinterpret_cast<const uint8*>(garbage.data()), row % 20};
    }
    room.texts.swap(texts);
    out.texts = room.texts.data();
    out.offsets = nullptr;
  }
}

void MakeConstant(const BatchRows& rows, BatchVector& out) {
  if (rows.count == 1 && out.dictionary == nullptr) out.isConstant = true;
}

/// Columns alone: nodes give no dictionaries.
void MakeDictionary(RExpression& node, const BatchRows& rows, BatchVector& out) {
  if (!IsTextForm(out.form) || out.isConstant || out.dictionary != nullptr) return;
  if (node.CountOperands() != 0) return;
  Room& room = rooms[&node];
  const uint32 width = WidthOfForm(out.form);
  auto texts = std::make_shared<std::vector<uint8>>();
  auto offsets = std::make_shared<std::vector<uint32>>(1);
  std::vector<int128> codes(rows.count / 4 + 5, ~int128{0});
  for (uint32 row = 0; row < rows.count; ++row) {
    if (!Counts(rows, out, row)) continue;
    const BatchText text = out.GetText(row);
    reinterpret_cast<uint32*>(codes.data())[row] = static_cast<uint32>(offsets->size() - 1);
    texts->insert(texts->end(), text.characters,
                  text.characters + std::size_t{text.length} * width);
    offsets->push_back(static_cast<uint32>(texts->size() / width));
  }
  auto dictionary = std::make_shared<ColumnVector>();
  dictionary->form = out.form;
  dictionary->rows = offsets->size() - 1;
  texts->resize(texts->size() + 64);
  dictionary->values = texts->data();
  dictionary->offsets = reinterpret_cast<const uint8*>(offsets->data());
  dictionary->owner =
      std::make_shared<std::pair<decltype(texts), decltype(offsets)>>(texts, offsets);
  room.dictionary = dictionary;
  room.values.swap(codes);
  out.dictionary = &room.dictionary;
  out.codeWidth = sizeof(uint32);
  out.values = reinterpret_cast<const uint8*>(room.values.data());
  out.offsets = nullptr;
  out.texts = nullptr;
}

}  // namespace

BatchDisguise::BatchDisguise(As as) {
  SetBatchProbe(as == As::kGarbage    ? &AddGarbage
                : as == As::kConstant ? [](RExpression&, const BatchRows& rows,
                                           BatchVector& out) { MakeConstant(rows, out); }
                                      : &MakeDictionary);
}

BatchDisguise::~BatchDisguise() {
  SetBatchProbe(nullptr);
  rooms.clear();
}

}  // namespace sqxer::test
