#include "GatheredTexts.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_map>

#include "Utility/HugePages.h"

namespace sqxer {
namespace {

constexpr uint32 kTextsAhead = 16;

struct PlacedText {
  const uint8* characters;
  uint64 length;
  bool isWide;
};

PlacedText PlaceOf(const ColumnVector& texts, uint64 row) {
  const BatchText text = TextAt(texts, row);
  return {text.characters, text.length, texts.form == ColumnForm::kText32};
}

/// Copies a text of one byte a character. Beyond both ends is room for 64 bytes.
void CopyNarrow(const uint8* from, uint64 length, uint8* to) {
  constexpr uint64 kShort = 16;
  if (length <= kShort) {
    __builtin_memcpy(to, from, kShort);
  } else {
    std::memcpy(to, from, length);
  }
}

/// Makes texts side by side of many, which stand anywhere.
void WriteSideBySide(const std::vector<PlacedText>& texts, bool isWide, ColumnVector& vector,
                     KeptBuffers& kept) {
  uint64 characters = 0;
  for (const PlacedText& text : texts) characters += text.length;
  vector.form = isWide ? ColumnForm::kText32 : ColumnForm::kText8;
  vector.offsetWidth = characters <= std::numeric_limits<uint32>::max() ? 4 : 8;
  kept.offsets.Reserve((texts.size() + 1) * vector.offsetWidth);
  kept.values.Reserve(std::max<uint64>(1, characters * WidthOfForm(vector.form)));
  const auto write = [&](auto* offsets, auto* target) {
    using Offset = std::remove_pointer_t<decltype(offsets)>;
    uint64 at = 0;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      const PlacedText& text = texts[i];
      offsets[i] = static_cast<Offset>(at);
      if (i + kTextsAhead < texts.size()) Prefetch(texts[i + kTextsAhead].characters);
      if constexpr (sizeof(*target) == 1) {
        CopyNarrow(text.characters, text.length, target + at);
      } else if (text.isWide) {
        std::memcpy(target + at, text.characters, text.length * sizeof(*target));
      } else {
        std::copy_n(text.characters, text.length, target + at);
      }
      at += text.length;
    }
    offsets[texts.size()] = static_cast<Offset>(at);
  };
  const auto writeTo = [&](auto* target) {
    vector.offsetWidth == 4 ? write(kept.offsets.As<uint32>(), target)
                            : write(kept.offsets.As<uint64>(), target);
  };
  isWide ? writeTo(kept.values.As<uint32>()) : writeTo(kept.values.GetData());
  vector.values = kept.values.GetData();
  vector.offsets = kept.offsets.GetData();
}

template <class Use>
void WithCodeWidth(uint8 width, Use&& use) {
  if (width == 1) {
    use(uint8());
  } else if (width == 2) {
    use(uint16());
  } else {
    use(uint32());
  }
}

uint8 WidthForEntries(uint64 entries) { return entries <= 0x100 ? 1 : entries <= 0x10000 ? 2 : 4; }

/// Sets the codes of a vector: codeAt(chunk, row) gives them.
template <class CodeAt>
void PutCodes(const GatherPlaces& places, uint8 width, CodeAt&& codeAt, ColumnVector& vector,
              KeptBuffers& kept) {
  vector.codeWidth = width;
  vector.form = vector.dictionary->form;
  vector.isAscii = vector.dictionary->isAscii;
  kept.values.Reserve(std::size_t{places.GetCount()} * width);
  WithCodeWidth(width, [&]<class Code>(Code) {
    Code* const codes = kept.values.As<Code>();
    places.ForEach([&](uint32 i, std::size_t chunk, uint32 row) {
      codes[i] = static_cast<Code>(codeAt(chunk, row));
    });
  });
  vector.values = kept.values.GetData();
}

}  // namespace

void GatheredTexts::Gather(const GatherPlaces& places, ColumnVector& vector, KeptBuffers& kept) {
  if (GatherCodes(places, vector, kept) || ShowRows(places, vector, kept) ||
      GatherFew(places, vector, kept))
    return;
  WriteTexts(places, vector, kept);
}

bool GatheredTexts::GatherCodes(const GatherPlaces& places, ColumnVector& vector,
                                KeptBuffers& kept) {
  const std::vector<std::size_t>& chunks = places.GetChunks();
  const ColumnVector& first = In(chunks.front());
  if (std::ranges::any_of(chunks, [&](std::size_t c) { return In(c).dictionary == nullptr; })) {
    return false;
  }
  const bool isOne = std::ranges::all_of(chunks, [&](std::size_t chunk) {
    return In(chunk).dictionary == first.dictionary && In(chunk).codeWidth == first.codeWidth;
  });
  if (isOne) {
    vector.dictionary = first.dictionary;
    WithCodeWidth(first.codeWidth, [&]<class Code>(Code) {
      std::vector<const Code*> codes(table_.chunks.size());
      for (const std::size_t c : chunks) codes[c] = reinterpret_cast<const Code*>(In(c).values);
      const auto codeAt = [&](std::size_t chunk, uint32 row) { return codes[chunk][row]; };
      PutCodes(places, sizeof(Code), codeAt, vector, kept);
    });
    return true;
  }
  if (!MergeDictionaries()) return false;
  vector.dictionary = merged_;
  std::vector<const std::vector<uint32>*> codes(table_.chunks.size());
  for (const std::size_t c : chunks) codes[c] = &mergedCodes_.at(In(c).dictionary.get());
  const auto codeAt = [&](std::size_t chunk, uint32 row) {
    const uint64 code = In(chunk).GetCode(row);
    // What stands at a NULL may have no entry.
    return code < codes[chunk]->size() ? (*codes[chunk])[code] : 0;
  };
  PutCodes(places, WidthForEntries(merged_->rows), codeAt, vector, kept);
  return true;
}

bool GatheredTexts::MergeDictionaries() {
  if (triedToMerge_) return merged_ != nullptr;
  triedToMerge_ = true;
  uint64 entries = 0;
  for (std::size_t c = 0; c < table_.chunks.size(); ++c) {
    const ColumnVector* const dictionary = In(c).dictionary.get();
    if (dictionary == nullptr || mergedCodes_.contains(dictionary)) continue;
    entries += dictionary->rows;
    if (entries > kMostEntries) return false;
    mergedCodes_[dictionary];
  }
  std::vector<PlacedText> texts;
  std::unordered_map<std::u32string, uint32> codesOfTexts;
  bool isWide = false;
  auto merged = std::make_shared<ColumnVector>();
  merged->isAscii = true;
  for (auto& [dictionary, codes] : mergedCodes_) {
    isWide = isWide || dictionary->form == ColumnForm::kText32;
    merged->isAscii = merged->isAscii && dictionary->isAscii;
    for (uint64 entry = 0; entry < dictionary->rows; ++entry) {
      const PlacedText text = PlaceOf(*dictionary, entry);
      const auto* const wide = reinterpret_cast<const char32_t*>(text.characters);
      std::u32string key(text.isWide ? wide : nullptr, text.isWide ? text.length : 0);
      if (!text.isWide) key.assign(text.characters, text.characters + text.length);
      const auto [at, isNew] =
          codesOfTexts.try_emplace(std::move(key), static_cast<uint32>(texts.size()));
      if (isNew) texts.push_back(text);
      codes.push_back(at->second);
    }
  }
  auto kept = std::make_shared<KeptBuffers>();
  merged->rows = texts.size();
  WriteSideBySide(texts, isWide, *merged, *kept);
  merged->owner = std::move(kept);
  merged_ = std::move(merged);
  return true;
}

bool GatheredTexts::ShowRows(const GatherPlaces& places, ColumnVector& vector, KeptBuffers& kept) {
  const std::size_t chunk = places.GetChunks().front();
  const ColumnVector& texts = In(chunk);
  const bool applies = places.GetChunks().size() == 1 && texts.dictionary == nullptr &&
                       texts.validity == nullptr && texts.rows <= kMostShownRows &&
                       rows_ / kRowsPerShown >= texts.rows && table_.chunks.size() == 1;
  if (!applies) return false;
  if (shown_ == nullptr) {
    auto shown = std::make_shared<ColumnVector>(texts);
    shown->blocks.clear();
    shown_ = std::move(shown);
  }
  vector.dictionary = shown_;
  PutCodes(
      places, WidthForEntries(texts.rows), [](std::size_t, uint32 row) { return row; }, vector,
      kept);
  return true;
}

bool GatheredTexts::GatherFew(const GatherPlaces& places, ColumnVector& vector, KeptBuffers& kept) {
  if (rows_ / kRowsPerEncoded < table_.rowCount || !EncodeRows()) return false;
  vector.dictionary = few_;
  const auto codeAt = [&](std::size_t chunk, uint32 row) { return codesOfRows_[chunk][row]; };
  PutCodes(places, WidthForEntries(few_->rows), codeAt, vector, kept);
  return true;
}

bool GatheredTexts::EncodeRows() {
  if (triedToEncode_) return few_ != nullptr;
  triedToEncode_ = true;
  std::vector<PlacedText> texts;
  // By their bytes; a text in both forms has two entries.
  std::unordered_map<std::string_view, uint32> codesOfTexts[2];
  bool isWide = false;
  auto few = std::make_shared<ColumnVector>();
  few->isAscii = true;
  uint64 read = 0;
  codesOfRows_.resize(table_.chunks.size());
  for (std::size_t c = 0; c < table_.chunks.size(); ++c) {
    const ColumnVector& source = In(c);
    isWide = isWide || source.form == ColumnForm::kText32;
    few->isAscii = few->isAscii && (source.dictionary ? *source.dictionary : source).isAscii;
    std::vector<uint32>& codes = codesOfRows_[c];
    codes.resize(source.rows);
    for (uint64 row = 0; row < source.rows; ++row, ++read) {
      if (source.IsNull(row)) continue;
      const PlacedText text = source.dictionary ? PlaceOf(*source.dictionary, source.GetCode(row))
                                                : PlaceOf(source, row);
      const std::string_view bytes(reinterpret_cast<const char*>(text.characters),
                                   text.length * (text.isWide ? sizeof(wchar_t) : 1));
      const auto [at, isNew] =
          codesOfTexts[text.isWide].try_emplace(bytes, static_cast<uint32>(texts.size()));
      if (isNew) texts.push_back(text);
      codes[row] = at->second;
      const uint64 most = read < kFirstRows ? kFirstRows / kRowsPerText : kMostEntries;
      if (texts.size() > most) {
        codesOfRows_.clear();
        return false;
      }
    }
  }
  auto kept = std::make_shared<KeptBuffers>();
  few->rows = texts.size();
  WriteSideBySide(texts, isWide, *few, *kept);
  few->owner = std::move(kept);
  few_ = std::move(few);
  return true;
}

void GatheredTexts::WriteTexts(const GatherPlaces& places, ColumnVector& vector,
                               KeptBuffers& kept) {
  std::vector<const ColumnVector*> vectors(table_.chunks.size());
  bool isWide = false;
  vector.isAscii = true;
  for (const std::size_t chunk : places.GetChunks()) {
    vectors[chunk] = &In(chunk);
    isWide = isWide || In(chunk).form == ColumnForm::kText32;
    const ColumnVector* const dictionary = In(chunk).dictionary.get();
    vector.isAscii = vector.isAscii && (dictionary ? *dictionary : In(chunk)).isAscii;
  }
  std::vector<PlacedText> texts(places.GetCount());
  places.ForEach([&](uint32 i, std::size_t chunk, uint32 row) {
    const ColumnVector& source = *vectors[chunk];
    if (places.IsNone(i) || source.IsNull(row)) {
      // Something that can be read.
      texts[i] = {source.values, 0, false};
    } else {
      texts[i] = source.dictionary ? PlaceOf(*source.dictionary, source.GetCode(row))
                                   : PlaceOf(source, row);
    }
  });
  WriteSideBySide(texts, isWide, vector, kept);
}

}  // namespace sqxer
