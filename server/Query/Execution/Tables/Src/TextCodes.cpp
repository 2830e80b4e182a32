#include "TextCodes.h"

#include <memory>
#include <string_view>
#include <utility>

#include "TextDictionary.h"
#include "Utility/ColumnBuffer.h"

namespace sqxer {
namespace {

constexpr uint64 kLeastRows = 4096;
/// What codes of a byte tell apart.
constexpr uint32 kMostTexts = 256;

}  // namespace

ColumnVector CodeFewTexts(const ColumnVector& texts) {
  const bool isAscii = texts.form == ColumnForm::kText8 && texts.isAscii;
  if (!isAscii || texts.dictionary || texts.rows < kLeastRows) return texts;
  struct Kept {
    ColumnBuffer codes;
    /// Of the validity bits.
    std::shared_ptr<const void> owner;
  };
  auto kept = std::make_shared<Kept>();
  kept->codes.Reserve(texts.rows);
  uint8* const codes = kept->codes.GetData();
  TextDictionary dictionary;
  for (uint64 row = 0; row < texts.rows; ++row) {
    codes[row] = 0;
    if (texts.IsNull(row)) continue;
    const uint64 start = texts.GetOffset(row);
    const std::string_view text(reinterpret_cast<const char*>(texts.values) + start,
                                texts.GetOffset(row + 1) - start);
    const TextDictionary::Key key(text);
    int32 code = dictionary.Find(text, key);
    if (code < 0) {
      code = static_cast<int32>(dictionary.GetCount());
      if (dictionary.GetCount() == kMostTexts ||
          !dictionary.Add(text, key, static_cast<uint32>(text.size()))) {
        return texts;
      }
    }
    codes[row] = static_cast<uint8>(code);
  }
  kept->owner = texts.owner;
  ColumnVector coded = texts;
  coded.values = codes;
  coded.offsets = nullptr;
  coded.codeWidth = 1;
  coded.dictionary = std::make_shared<ColumnVector>(dictionary.Take());
  coded.blocks.clear();
  coded.owner = std::move(kept);
  return coded;
}

}  // namespace sqxer
