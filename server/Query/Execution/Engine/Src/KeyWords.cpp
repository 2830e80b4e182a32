#include "KeyWords.h"

#include <algorithm>
#include <cwchar>

#include "ColumnTexts.h"
#include "RecordTexts.h"
#include "SQXERBatchLoops.h"
#include "SQXERBatchTextCompare.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "WorkRecord.h"

namespace sqxer {
namespace {

constexpr uint64 kSignBit = uint64{1} << 63;
constexpr uint64 kAllBits = ~uint64{0};

uint64 WordOfWhole(int64 value) { return static_cast<uint64>(value) ^ kSignBit; }

uint64 WordOfReal(float64 value) { return WordOfWhole(OrderedBits(value)); }

/// Rounding keeps the order, but for making some equal.
uint64 WordOfWide(int128 value) { return WordOfReal(static_cast<float64>(value)); }

/// The place of a text's beginning: neither 0 nor all bits, which are left to NULL.
uint64 WordOfPrefix(uint64 prefix) { return (prefix >> 1) + 1; }

const ColumnVector* DictionaryOf(const TableChunk& chunk, uint16 column) {
  return chunk.columns[column].dictionary.get();
}

/// The first eight of a text's characters, if all of them are their own UTF-8; else nothing.
std::optional<uint64> PlainPrefix(const BatchText& text) {
  if (text.length == 0) return 0;
  const uint64 prefix = FindTextPrefix(text.characters, text.length);
  return (prefix & 0x8080808080808080u) == 0 ? std::optional(prefix) : std::nullopt;
}

}  // namespace

const uint8* StoredText::Put(BatchText text, ColumnForm form, bool isFixed) {
  room_.resize(text.length + std::size_t{1});
  auto* const target = reinterpret_cast<uint8*>(room_.data());
  if (form == ColumnForm::kText8) {
    StoreVaryingText(text.characters, text.length, target);
  } else {
    StoreVaryingText(reinterpret_cast<const wchar_t*>(text.characters), text.length, target);
  }
  if (isFixed) {
    const auto* const characters = reinterpret_cast<const wchar_t*>(target + kLongVarPrefix);
    room_[0] = static_cast<uint32>(wcsnlen(characters, text.length));
  }
  return target;
}

KeyWords::KeyWords(XeDataType type, SortOrder_t order, NullOrder_t nulls, Place place)
    : type_(type),
      place_(place),
      flip_(order == kAscending ? 0 : kAllBits),
      null_(nulls == kNullsFirst ? 0 : kAllBits),
      isText_(SUXeDataTypeUtility::IsXeTextType(type)) {
  if (!isText_) return;
  const CharComparisonType_t comparison = KeyDesc::GetCharComparisonType();
  comparesCodePoints_ = comparison == kCompareCodePoints;
  const WorkRecord text({{L"text", XeLongVarCharData, 1, 0, false}});
  textKey_ = KeyDesc(text.GetField(0), kAscending, comparison).MovedTo(0, 0, false);
}

bool KeyWords::CanTake(XeDataType type, const Place& place) {
  switch (type) {
    case XeBinaryData:
    case XeVarBinaryData:
    case XeLongVarBinaryData:
      return false;
    default:
      return !SUXeDataTypeUtility::IsXeTextType(type) || place.table != nullptr;
  }
}

void KeyWords::Begin(uint64 mostRows) {
  words_.clear();
  words_.reserve(mostRows);
  form_.reset();
  hasNull_ = hasValue_ = false;
  least_ = greatest_ = 0;
  if (type_ == XeNumericData && place_.table != nullptr) {
    isExact_ = IsOfForm(ColumnForm::kDecimal64);
    isWide_ = IsOfForm(ColumnForm::kDecimal128);
  }
  if (!isText_ || !ranks_.empty()) return;
  isExact_ = std::ranges::all_of(place_.table->chunks, [this](const TableChunk& chunk) {
    return DictionaryOf(chunk, place_.column) != nullptr;
  });
  if (isExact_) return RankEntries();
  hasByteTexts_ = comparesCodePoints_ &&
                  std::ranges::all_of(place_.table->chunks, [this](const TableChunk& chunk) {
                    return chunk.columns[place_.column].form == ColumnForm::kText8;
                  });
}

bool KeyWords::IsOfForm(ColumnForm form) const {
  const std::vector<TableChunk>& chunks = place_.table->chunks;
  return std::ranges::all_of(chunks, [&](const TableChunk& chunk) {
    const ColumnVector& column = chunk.columns[place_.column];
    return column.form == form && column.scale == chunks.front().columns[place_.column].scale;
  });
}

void KeyWords::RankEntries() {
  struct Entry {
    std::size_t chunk;
    uint32 code;
    std::vector<uint32> stored;
  };
  std::vector<Entry> entries;
  const std::vector<TableChunk>& chunks = place_.table->chunks;
  for (std::size_t chunk = 0; chunk < chunks.size(); ++chunk) {
    const ColumnVector& texts = *DictionaryOf(chunks[chunk], place_.column);
    ranks_.emplace_back(texts.rows);
    for (uint32 code = 0; code < texts.rows; ++code) {
      const BatchText text = TextAt(texts, code);
      const uint8* const stored = stored_[0].Put(text, texts.form, type_ == XeCharData);
      const auto* const words = reinterpret_cast<const uint32*>(stored);
      entries.push_back({chunk, code, {words, words + 1 + text.length}});
    }
  }
  const auto compare = [this](const Entry& a, const Entry& b) {
    return textKey_.CompareValues(reinterpret_cast<const uint8*>(a.stored.data()),
                                  reinterpret_cast<const uint8*>(b.stored.data()));
  };
  std::ranges::sort(entries, [&](const Entry& a, const Entry& b) { return compare(a, b) < 0; });
  uint32 rank = 0;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (i > 0 && compare(entries[i - 1], entries[i]) != 0) ++rank;
    ranks_[entries[i].chunk][entries[i].code] = rank;
  }
}

bool KeyWords::Add(const BatchVector& vector, const BatchRows& rows) {
  const uint64 before = words_.size();
  words_.resize(before + rows.GetWanted());
  uint64* const words = words_.data() + before;
  if (vector.isConstant && vector.IsNull(0)) {
    std::fill(words, words + rows.GetWanted(), null_);
    hasNull_ = hasNull_ || rows.GetWanted() > 0;
    return true;
  }
  const bool isAdded = !isText_         ? AddValues(vector, rows, words)
                       : ranks_.empty() ? AddTexts(vector, rows, words)
                                        : AddEntries(vector, rows, words);
  return isAdded && NoteBounds(vector, rows, words);
}

template <class Value, class ToWord>
void KeyWords::Fill(const BatchVector& vector, const BatchRows& rows, uint64* words,
                    ToWord toWord) const {
  const Value* const values = vector.As<Value>();
  if (vector.isConstant) {
    std::fill(words, words + rows.GetWanted(), toWord(values[0]) ^ flip_);
  } else if (rows.selected == nullptr) {
    for (uint32 row = 0; row < rows.count; ++row) words[row] = toWord(values[row]) ^ flip_;
  } else {
    for (uint32 i = 0; i < rows.selectedCount; ++i) {
      words[i] = toWord(values[rows.selected[i]]) ^ flip_;
    }
  }
}

bool KeyWords::AddDecimals(const BatchVector& vector, const BatchRows& rows, uint64* words) {
  if (isWide_) {
    Fill<int128>(vector, rows, words, WordOfWide);
    return true;
  }
  uint32 at = 0;
  rows.ForEach([&](uint32 row) {
    uint64& word = words[at++];
    if (vector.IsNull(row)) return;
    word = WordOfReal(ReadBatchValue<VelmarNumber>(vector, row).asDouble()) ^ flip_;
  });
  return true;
}

bool KeyWords::AddValues(const BatchVector& vector, const BatchRows& rows, uint64* words) {
  if (!isExact_) return AddDecimals(vector, rows, words);
  if (!form_) {
    form_ = vector.form;
    scale_ = vector.scale;
  }
  if (vector.form != *form_ || vector.scale != scale_) return false;
  return WithNumberType(vector.form, [&]<class T>(std::type_identity<T>) {
    if constexpr (std::floating_point<T>) {
      Fill<T>(vector, rows, words, WordOfReal);
    } else {
      Fill<T>(vector, rows, words, WordOfWhole);
    }
  });
}

bool KeyWords::AddEntries(const BatchVector& vector, const BatchRows& rows, uint64* words) {
  if (vector.dictionary == nullptr) return false;
  const std::vector<TableChunk>& chunks = place_.table->chunks;
  const auto chunk = std::ranges::find_if(chunks, [&](const TableChunk& one) {
    return DictionaryOf(one, place_.column) == vector.dictionary->get();
  });
  if (chunk == chunks.end()) return false;
  const std::vector<uint32>& ranks = ranks_[static_cast<std::size_t>(chunk - chunks.begin())];
  // What stands at a NULL may have no entry.
  const auto toWord = [&](uint32 code) {
    return WordOfWhole(code < ranks.size() ? ranks[code] : 0);
  };
  if (vector.codeWidth == 1) {
    Fill<uint8>(vector, rows, words, toWord);
  } else if (vector.codeWidth == 2) {
    Fill<uint16>(vector, rows, words, toWord);
  } else {
    Fill<uint32>(vector, rows, words, toWord);
  }
  return true;
}

BatchText KeyWords::CutEnd(BatchText text) const {
  if (type_ == XeCharData) CutAtZero(text);
  TrimBlanks(text);
  return text;
}

bool KeyWords::AddTexts(const BatchVector& vector, const BatchRows& rows, uint64* words) {
  if (!IsTextForm(vector.form)) return false;
  const bool isFixed = type_ == XeCharData;
  uint32 at = 0;
  rows.ForEach([&](uint32 row) {
    uint64& word = words[at++];
    if (vector.IsNull(row)) return;
    BatchText text = vector.GetText(row);
    std::optional<uint64> prefix;
    if (comparesCodePoints_ && vector.form == ColumnForm::kText8) {
      text = CutEnd(text);
      prefix = PlainPrefix(text);
    }
    if (!prefix) prefix = textKey_.SortPrefix(stored_[0].Put(text, vector.form, isFixed));
    word = WordOfPrefix(*prefix) ^ flip_;
  });
  return true;
}

bool KeyWords::AreBeyond(uint64 word, const BatchVector& vector) const {
  const ColumnBlock* const block = vector.block;
  if (!isText_ && isWide_ && block != nullptr && block->hasBounds) {
    if (vector.validity != nullptr && null_ <= word) return false;
    return (WordOfWide(flip_ == 0 ? block->wide.least : block->wide.greatest) ^ flip_) > word;
  }
  const bool isComparable = form_ && vector.form == *form_ && vector.scale == scale_;
  if (isText_ || !isComparable || block == nullptr || !block->hasBounds) return false;
  if (vector.validity != nullptr && null_ <= word) return false;
  const bool isReal = *form_ == ColumnForm::kFloat32 || *form_ == ColumnForm::kFloat64;
  const bool ascends = flip_ == 0;
  const uint64 best = isReal ? WordOfReal(ascends ? block->real.least : block->real.greatest)
                             : WordOfWhole(ascends ? block->whole.least : block->whole.greatest);
  return (best ^ flip_) > word;
}

bool KeyWords::NoteBounds(const BatchVector& vector, const BatchRows& rows, uint64* words) {
  const uint32 count = rows.GetWanted();
  uint64 least = kAllBits;
  uint64 greatest = 0;
  bool hasNull = false;
  if (vector.validity == nullptr || vector.isConstant) {
    for (uint32 i = 0; i < count; ++i) {
      least = std::min(least, words[i]);
      greatest = std::max(greatest, words[i]);
    }
  } else {
    uint32 at = 0;
    rows.ForEach([&](uint32 row) {
      const bool isNull = vector.IsNull(row);
      const uint64 word = words[at];
      least = std::min(least, isNull ? kAllBits : word);
      greatest = std::max(greatest, isNull ? 0 : word);
      words[at++] = isNull ? null_ : word;
      hasNull |= isNull;
    });
  }
  hasNull_ = hasNull_ || hasNull;
  if (least > greatest) return true;
  least_ = hasValue_ ? std::min(least_, least) : least;
  greatest_ = hasValue_ ? std::max(greatest_, greatest) : greatest;
  hasValue_ = true;
  return least_ != 0 && greatest_ != kAllBits;
}

BatchText KeyWords::FindText(uint64 row, ColumnForm& form) const {
  uint64 firstRow;
  const TableChunk& chunk = FindChunk(*place_.table, row, firstRow);
  const ColumnVector& column = chunk.columns[place_.column];
  form = column.form;
  const uint64 at = row - firstRow;
  return column.dictionary ? TextAt(*column.dictionary, column.GetCode(at)) : TextAt(column, at);
}

BatchText KeyWords::FindByteText(uint64 row) const {
  ColumnForm form;
  return CutEnd(FindText(row, form));
}

int KeyWords::CompareValues(uint64 rowA, uint64 rowB) {
  int result;
  if (isText_) {
    result = CompareTexts(rowA, rowB);
  } else {
    const auto find = [this](uint64 row) {
      uint64 firstRow;
      const TableChunk& chunk = FindChunk(*place_.table, row, firstRow);
      const ColumnVector& column = chunk.columns[place_.column];
      BatchVector values;
      values.form = column.form;
      values.scale = column.scale;
      values.values = column.values + (row - firstRow) * WidthOfForm(column.form);
      return ReadBatchValue<VelmarNumber>(values, 0);
    };
    result = VelmarNumber::compare(find(rowA), find(rowB));
  }
  return flip_ == 0 ? result : -result;
}

int KeyWords::CompareTexts(uint64 rowA, uint64 rowB) {
  const bool isFixed = type_ == XeCharData;
  ColumnForm formA;
  ColumnForm formB;
  const BatchText a = FindText(rowA, formA);
  const BatchText b = FindText(rowB, formB);
  if (comparesCodePoints_ && formA == ColumnForm::kText8 && formB == ColumnForm::kText8) {
    return CompareByteTexts(CutEnd(a), CutEnd(b));
  }
  return textKey_.CompareValues(stored_[0].Put(a, formA, isFixed),
                                stored_[1].Put(b, formB, isFixed));
}

}  // namespace sqxer
