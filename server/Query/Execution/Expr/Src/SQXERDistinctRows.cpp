#include "SQXERDistinctRows.h"

#include <algorithm>
#include <array>
#include <bit>
#include <numeric>

#include "SQXERBatchStore.h"
#include "Utility/KeySet.h"
#include "Utility/TrimmedText.h"

namespace sqxer {
namespace {

constexpr std::size_t kFirstRows = 256;
constexpr std::size_t kSlotsPerRow = 2;
constexpr std::size_t kTextBlockBytes = std::size_t{1} << 16;
constexpr uint64 kSignBit = uint64{1} << 63;

/// Rows on their way to their order.
struct Placed {
  uint64 key;
  uint32 group;
  uint32 row;
};

constexpr uint32 kDigitBits = 11;
constexpr std::size_t kDigits = std::size_t{1} << kDigitBits;

/// Sorts by the digit of each, keeping the order of equal ones.
template <class Digit>
void SortByDigit(std::vector<Placed>& rows, std::vector<Placed>& other, Digit&& digit) {
  std::array<uint32, kDigits + 1> starts{};
  for (const Placed& row : rows) ++starts[digit(row) + 1];
  std::partial_sum(starts.begin(), starts.end(), starts.begin());
  for (const Placed& row : rows) other[starts[digit(row)]++] = row;
  rows.swap(other);
}

/// The same by all bits of a number that are not those of every row.
template <class Number>
void SortByNumber(std::vector<Placed>& rows, std::vector<Placed>& other, Number&& numberOf) {
  uint64 some = 0;
  uint64 all = ~uint64{0};
  for (const Placed& row : rows) {
    some |= numberOf(row);
    all &= numberOf(row);
  }
  for (uint32 shift = 0; shift < 64; shift += kDigitBits) {
    if (((some ^ all) >> shift & (kDigits - 1)) == 0) continue;
    SortByDigit(rows, other, [&](const Placed& row) {
      return static_cast<std::size_t>(numberOf(row) >> shift & (kDigits - 1));
    });
  }
}

}  // namespace

bool DistinctRows::FindKind(const XeFieldDescriptor& field, bool isWide, bool joinsEqual,
                            Kind& kind) {
  const XeDataType type = field.GetDataType();
  if (SUXeDataTypeUtility::IsXeTextType(type)) {
    kind = Kind::kText;
    const bool isComparedByCharacters = KeyDesc::GetCharComparisonType() == kCompareCodePoints;
    return isWide && type != XeCharData && (!joinsEqual || isComparedByCharacters);
  }
  bool isKnown = false;
  WithStoredType(type, [&]<class T>(std::type_identity<T>) {
    isKnown = !std::same_as<T, XeInterval>;
    kind = std::floating_point<T>          ? Kind::kReal
           : std::same_as<T, VelmarNumber> ? Kind::kDecimal
                                           : Kind::kWhole;
  });
  return isKnown;
}

bool DistinctRows::Takes(const XeRecordMetaData& layout, std::size_t fields, bool joinsEqual) {
  Kind kind;
  for (std::size_t i = 0; i < fields; ++i) {
    const XeFieldDescriptor& field = *layout.GetFieldDescriptor(static_cast<int>(i));
    if (!FindKind(field, field.IsUnicode(layout.IsUnicodeRecord()), joinsEqual, kind)) return false;
  }
  return true;
}

DistinctRows::DistinctRows(const XeRecordMetaData& layout, std::size_t fields, bool joinsEqual,
                           HeldMemory& memory)
    : memory_(memory), joinsEqual_(joinsEqual), stride_(kHead + fields) {
  for (std::size_t i = 0; i < fields; ++i) {
    const XeFieldDescriptor& field = *layout.GetFieldDescriptor(static_cast<int>(i));
    Field& added = fields_.emplace_back();
    added.type = field.GetDataType();
    added.offset = field.GetDataOffset();
    added.nullOffset = field.GetNullOffset();
    FindKind(field, true, joinsEqual, added.kind);
    words_.push_back(std::make_unique<uint64[]>(kMostBatchRows));
    usesPlaces_ = usesPlaces_ && added.kind != Kind::kReal;
  }
  bounds_.resize(fields);
}

DistinctRows::~DistinctRows() { memory_.GiveBack(taken_); }

bool DistinctRows::TryTake(uint64 bytes) {
  if (!memory_.HasRoomFor(bytes)) return false;
  memory_.Take(bytes);
  taken_ += bytes;
  return true;
}

void DistinctRows::Widen(Slots& slots) {
  Slots old(slots.size() * 2);
  old.swap(slots);
  for (const Slot& slot : old) {
    if (slot.number != 0) *Find(slots, slot.tag, [](uint32) { return false; }) = slot;
  }
}

bool DistinctRows::HasRoom() {
  const auto bytesOf = [this](std::size_t rows) {
    return rows * (stride_ * sizeof(uint64) + kSlotsPerRow * sizeof(Slot));
  };
  if (capacity_ == 0) {
    // So many there are in any case.
    memory_.Take(bytesOf(kFirstRows));
    taken_ += bytesOf(kFirstRows);
    capacity_ = kFirstRows;
    if (!usesPlaces_) slots_.resize(kFirstRows * kSlotsPerRow);
    rows_.resize(kFirstRows * stride_);
    return true;
  }
  // The old rows stand beside the new ones for a moment.
  if (!memory_.HasRoomFor(2 * bytesOf(capacity_)) || !TryTake(bytesOf(capacity_))) return false;
  capacity_ *= 2;
  rows_.resize(capacity_ * stride_);
  if (!isAppending_ && !usesPlaces_) Widen(slots_);
  return true;
}

bool DistinctRows::ReachPlaces(uint32 groups) {
  if (places_.Reaches(groups, bounds_)) return true;
  const uint64 bytes = places_.CountBytes();
  // What there is makes room for what comes.
  usesPlaces_ = places_.Widen(groups, bounds_) && TryTake(places_.CountBytes() - bytes);
  if (usesPlaces_) {
    PlaceRows();
    return true;
  }
  memory_.GiveBack(bytes);
  taken_ -= bytes;
  places_ = DistinctPlaces();
  slots_.assign(capacity_ * kSlotsPerRow, Slot());
  for (std::size_t row = 0; row < used_; ++row) {
    const uint32 tag =
        TagOf(GroupOf(row), [&](std::size_t field) { return At(row)[kHead + field]; });
    *Find(slots_, tag, [](uint32) { return false; }) = {tag, static_cast<uint32>(row + 1)};
  }
  return false;
}

void DistinctRows::PlaceRows() {
  // Of equal rows the last one still counts.
  for (std::size_t row = 0; row < used_; ++row) {
    places_.At(places_.PlaceOf(GroupOf(row), {At(row) + kHead, fields_.size()})) =
        static_cast<uint32>(row + 1);
  }
}

void DistinctRows::LookBack(uint32 looked, std::size_t usedBefore) {
  // A table that fits the caches is not worth the question.
  constexpr std::size_t kLeastRows = std::size_t{1} << 15;
  if (joinsEqual_ || used_ < kLeastRows || used_ < usedBefore) return;
  isAppending_ = used_ - usedBefore > looked / 2;
}

void DistinctRows::Clear() {
  // As many as there would be had they grown with the rows.
  slots_.assign(usesPlaces_ ? 0 : capacity_ * kSlotsPerRow, Slot());
  places_.Clear();
  isAppending_ = false;
  used_ = 0;
  std::ranges::fill(counts_, 0u);
  isFull_ = isFull_ || !texts_.empty();
}

void DistinctRows::MakeRoom() {
  Clear();
  isFull_ = false;
  for (Field& field : fields_) {
    field.dictionary.reset();
    field.codes.clear();
  }
  uint64 bytes = textSlots_.size() * sizeof(Slot);
  for (const auto& block : blocks_) bytes += block.size();
  memory_.GiveBack(bytes);
  taken_ -= bytes;
  textSlots_.clear();
  texts_.clear();
  blocks_.clear();
}

bool DistinctRows::Admits(std::span<const BatchVector* const> columns, std::size_t needed,
                          const BatchRows& rows) {
  counting_ = *columns[0];
  for (std::size_t i = 1; i < needed; ++i) {
    BatchVector both;
    IntersectValidity(counting_, *columns[i], rows, validity_, both);
    counting_.isConstant = both.isConstant;
    counting_.validity = both.validity;
  }
  // None of the rows counts.
  if (counting_.isConstant && counting_.IsNull(0)) return true;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (i >= needed && columns[i]->validity != nullptr) return false;
    if (!ReadWords(i, *columns[i], rows)) return false;
  }
  return true;
}

bool DistinctRows::ReadWords(std::size_t index, const BatchVector& column, const BatchRows& rows) {
  Field& field = fields_[index];
  uint64* const words = words_[index].get();
  if (field.kind == Kind::kText) {
    if (!IsTextForm(column.form) || !ReadTexts(field, column, rows, words)) return false;
    const auto first = static_cast<int64>(words[0]);
    bounds_[index] = column.isConstant ? ColumnBounds<int64>{first, first}
                                       : ColumnBounds<int64>{1, static_cast<int64>(texts_.size())};
    return true;
  }
  if (field.kind == Kind::kDecimal) {
    if (column.form != ColumnForm::kDecimal64) return false;
    if (field.scale < 0) field.scale = column.scale;
    if (field.scale != column.scale) return false;
  }
  return WithNumberType(column.form, [&]<class T>(std::type_identity<T>) {
    const T* const values = column.As<T>();
    if constexpr (std::integral<T>) {
      if (usesPlaces_) bounds_[index] = FindBounds<T>(column, rows);
    }
    [[maybe_unused]] const bool joinsEqual = joinsEqual_;
    const auto wordOf = [&](T value) {
      if constexpr (std::floating_point<T>) {
        const auto real = static_cast<float64>(value);
        return joinsEqual ? static_cast<uint64>(OrderedBits(real)) : std::bit_cast<uint64>(real);
      } else {
        return static_cast<uint64>(static_cast<int64>(value));
      }
    };
    if (column.isConstant) {
      std::fill_n(words, rows.count, wordOf(values[0]));
    } else if (rows.IsDense()) {
      for (uint32 row = 0; row < rows.count; ++row) words[row] = wordOf(values[row]);
    } else {
      rows.ForEach([&](uint32 row) { words[row] = wordOf(values[row]); });
    }
  });
}

bool DistinctRows::ReadTexts(Field& field, const BatchVector& column, const BatchRows& rows,
                             uint64* words) {
  bool hasRoom = true;
  const auto numberOf = [&](uint32 row) {
    const BatchText text = column.GetText(row);
    uint32 length = text.length;
    if (joinsEqual_) {
      length = column.form == ColumnForm::kText8
                   ? TrimmedLength(text.characters, length)
                   : TrimmedLength(reinterpret_cast<const uint32*>(text.characters), length);
    }
    const uint32 number = NumberOfText(TextBytes::Of(text.characters, length, column.form, room_));
    hasRoom = hasRoom && number != 0;
    return number;
  };
  if (column.isConstant) {
    std::fill_n(words, rows.count, uint64{numberOf(0)});
    return hasRoom;
  }
  const auto isRead = [&](uint32 row) { return hasRoom && !counting_.IsNull(row); };
  if (column.dictionary == nullptr) {
    rows.ForEach([&](uint32 row) {
      if (isRead(row)) words[row] = numberOf(row);
    });
    return hasRoom;
  }
  if (field.dictionary != *column.dictionary) {
    field.dictionary = *column.dictionary;
    field.codes.assign(field.dictionary->rows, 0);
  }
  rows.ForEach([&](uint32 row) {
    if (!isRead(row)) return;
    uint32& number = field.codes[column.GetCode(row)];
    if (number == 0) number = numberOf(row);
    words[row] = number;
  });
  return hasRoom;
}

uint32 DistinctRows::NumberOfText(const TextBytes& text) {
  if (textSlots_.empty() || texts_.size() * kSlotsPerRow >= textSlots_.size()) {
    constexpr std::size_t kFirstSlots = kFirstRows * kSlotsPerRow;
    const std::size_t more = textSlots_.empty() ? kFirstSlots : textSlots_.size();
    if (!TryTake(more * sizeof(Slot))) {
      isFull_ = true;
      return 0;
    }
    if (textSlots_.empty()) {
      textSlots_.resize(more);
    } else {
      Widen(textSlots_);
    }
  }
  const auto tag = static_cast<uint32>(text.Hash() >> 32);
  Slot* const slot = Find(textSlots_, tag, [&](uint32 known) { return texts_[known] == text; });
  if (slot->number != 0) return slot->number;
  const std::size_t bytes = text.count + sizeof(TextBytes);
  if (blocks_.empty() || blocks_.back().size() - blockEnd_ < bytes) {
    const std::size_t block = std::max(kTextBlockBytes, bytes);
    if (!TryTake(block)) {
      isFull_ = true;
      return 0;
    }
    blocks_.emplace_back(block);
    blockEnd_ = 0;
  }
  // What describes the text counts with it, though it stands elsewhere.
  uint8* const kept = blocks_.back().data() + blockEnd_;
  std::copy_n(text.bytes, text.count, kept);
  blockEnd_ += bytes;
  texts_.push_back({kept, text.count, text.isWide});
  *slot = {tag, static_cast<uint32>(texts_.size())};
  return slot->number;
}

void DistinctRows::Store(std::size_t row, uint8* record) const {
  const uint64* const words = At(row) + kHead;
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    const Field& field = fields_[i];
    uint8* const target = record + field.offset;
    if (field.nullOffset != 0) record[field.nullOffset] = 0;
    if (field.kind == Kind::kText) {
      const TextBytes& text = texts_[words[i] - 1];
      StoreValue(target, text.GetLength());
      text.Widen(target + kLongVarPrefix);
      continue;
    }
    WithStoredType(field.type, [&]<class T>(std::type_identity<T>) {
      if constexpr (std::floating_point<T>) {
        const float64 real = joinsEqual_ ? FromOrderedBits(static_cast<int64>(words[i]))
                                         : std::bit_cast<float64>(words[i]);
        StoreValue(target, static_cast<T>(real));
      } else if constexpr (std::integral<T>) {
        StoreValue(target, static_cast<T>(words[i]));
      } else if constexpr (!std::same_as<T, XeInterval>) {
        // A vector of one value, in the form that the word has it from.
        const auto day = static_cast<int32>(words[i]);
        BatchVector value;
        value.isConstant = true;
        value.values = std::same_as<T, XeDate> ? reinterpret_cast<const uint8*>(&day)
                                               : reinterpret_cast<const uint8*>(&words[i]);
        value.form = std::same_as<T, VelmarNumber> ? ColumnForm::kDecimal64
                     : std::same_as<T, XeDateTime> ? ColumnForm::kTimeStamp64
                     : std::same_as<T, XeDate>     ? ColumnForm::kDay32
                                                   : ColumnForm::kTime64;
        value.scale = static_cast<int16>(field.scale);
        const T stored = ReadBatchValue<T>(value, 0);
        std::memcpy(target, static_cast<const void*>(&stored), sizeof stored);
      }
    });
  }
}

uint64 DistinctRows::OrderOf(std::size_t field, std::size_t row) const {
  const uint64 word = At(row)[kHead + field];
  const bool isReal = fields_[field].kind == Kind::kReal && !joinsEqual_;
  return (isReal ? static_cast<uint64>(OrderedBits(std::bit_cast<float64>(word))) : word) ^
         kSignBit;
}

bool DistinctRows::TrySort(std::size_t field, bool descends, std::vector<uint32>& rows) {
  // For a moment the rows that are sorted stand there twice.
  if (!memory_.HasRoomFor(used_ * 2 * sizeof(Placed))) return false;
  std::vector<Placed> placed(used_);
  for (std::size_t row = 0; row < used_; ++row) {
    const uint64 key = OrderOf(field, row);
    placed[row] = {descends ? ~key : key, GroupOf(row), static_cast<uint32>(row)};
  }
  constexpr std::size_t kFew = 1024;
  if (used_ <= kFew) {
    std::stable_sort(placed.begin(), placed.end(), [](const Placed& a, const Placed& b) {
      return a.group != b.group ? a.group < b.group : a.key < b.key;
    });
  } else {
    std::vector<Placed> other(used_);
    SortByNumber(placed, other, [](const Placed& row) { return row.key; });
    SortByNumber(placed, other, [](const Placed& row) { return uint64{row.group}; });
  }
  rows.resize(used_);
  std::ranges::transform(placed, rows.begin(), &Placed::row);
  return true;
}

}  // namespace sqxer
