#include "SortedRows.h"

#include <algorithm>
#include <compare>
#include <limits>
#include <numeric>

#include "SQXERExprExtract.h"
#include "Utility/Cancellation.h"
#include "Utility/SqrtSorter.h"

namespace sqxer {
namespace {

/// With a limit so many rows more are taken before those beyond it are dropped.
constexpr uint64 kLeastDropped = 4096;

/// Ties that are looked into cost less than wider words as long as they are as rare as this.
constexpr uint64 kLeastPerTie = 16;
/// How many places ahead words are fetched.
constexpr uint64 kPlacesAhead = 16;
/// How many rows are compared between checks for a wish that the statement end.
constexpr uint32 kComparedPerCheck = 4096;
/// Of so many ties each text is looked up once.
constexpr uint64 kLeastByTexts = 16;

KeyWords::Place PlaceOf(RExpression& tree, const Table& table, const std::vector<uint16>& columns) {
  auto* const column = dynamic_cast<Extract*>(&tree);
  if (column == nullptr || !column->ReadsRecord()) return {};
  const auto field = static_cast<std::size_t>(column->GetFieldIndex());
  // Behind the columns stand the results of windows.
  if (field >= columns.size()) return {};
  return {&table, columns[field]};
}

}  // namespace

SortedRows::SortedRows(const std::vector<Key>& keys, std::optional<std::size_t> groupKeys,
                       const Table& table, const std::vector<uint16>& columns)
    : groupKeys_(groupKeys), mostRows_(table.rowCount) {
  keys_.reserve(keys.size());
  for (const Key& key : keys) {
    keys_.push_back(
        {key.tree, KeyWords(key.type, key.order, key.nulls, PlaceOf(*key.tree, table, columns))});
  }
}

bool SortedRows::CanTake(const std::vector<Key>& keys, const Table& table,
                         const std::vector<uint16>& columns) {
  return !keys.empty() && table.rowCount <= std::numeric_limits<uint32>::max() &&
         std::ranges::all_of(keys, [&](const Key& key) {
           return KeyWords::CanTake(key.type, PlaceOf(*key.tree, table, columns));
         });
}

uint64 SortedRows::CountBytes() const {
  // Keys with words and spare ones, or without keys wide words and spare ones.
  const uint64 words =
      std::max(keys_.size() * sizeof(uint64) + 2 * sizeof(uint64), 2 * sizeof(WideWord));
  return CountKeptRows() * (words + 2 * sizeof(uint32) + sizeof(uint8));
}

uint64 SortedRows::CountKeptRows() const {
  return limit_ == 0 ? mostRows_ : std::min(mostRows_, 2 * limit_ + kLeastDropped);
}

uint64 SortedRows::GetMostBytes(uint64 groupMemory) {
  constexpr uint64 kGrowth = 64;
  constexpr uint64 kTimes = 4;
  const uint64 buffer = SqrtSorter::GetInitialBufferBytes();
  return std::min(buffer * (buffer / kGrowth), std::max(groupMemory, groupMemory * kTimes));
}

void SortedRows::Begin() {
  for (BoundKey& key : keys_) key.words.Begin(CountKeptRows());
  worst_.reset();
  if (limit_ != 0) candidates_.resize(kMostBatchRows);
  rows_.Clear();
  order_.clear();
  starts_.clear();
}

bool SortedRows::Add(const BatchRows& rows, uint64 firstRow) {
  if (rows.GetWanted() == 0) return true;
  BatchRows added = rows;
  for (BoundKey& key : keys_) {
    if (added.GetWanted() == 0) break;
    BatchVector vector;
    if (!EvaluateBatch(*key.tree, added, vector)) return false;
    const bool selects = &key == &keys_.front() && worst_;
    // Nothing is added of a block whose best row is not wanted.
    if (selects && key.words.AreBeyond(*worst_, vector)) return true;
    if (!key.words.Add(vector, added)) return false;
    if (selects) SelectCandidates(added, firstRow);
  }
  const bool isFirst = rows_.GetCount() == 0;
  rows_.Add(added, firstRow);
  if (isFirst && AreMostlyTied()) return false;
  if (limit_ != 0 && rows_.GetCount() >= limit_ + std::max(limit_, kLeastDropped))
    DropBeyondLimit();
  return true;
}

bool SortedRows::AreMostlyTied() const {
  constexpr uint64 kLeastRows = 256;
  const auto inexact =
      std::ranges::find_if(keys_, [](const BoundKey& key) { return !key.words.IsExact(); });
  if (inexact == keys_.end() || inexact->words.HasByteTexts()) return false;
  const uint64 count = rows_.GetCount();
  if (count < kLeastRows) return false;
  std::vector<uint32> order(count);
  std::iota(order.begin(), order.end(), uint32{0});
  const auto compare = [&](uint32 a, uint32 b) {
    for (auto key = keys_.begin(); key <= inexact; ++key) {
      const auto result = key->words.Get(a) <=> key->words.Get(b);
      if (result != 0) return result;
    }
    return std::strong_ordering::equal;
  };
  std::ranges::sort(order, [&](uint32 a, uint32 b) { return compare(a, b) < 0; });
  uint64 ties = 0;
  for (uint64 i = 1; i < count; ++i) {
    const bool isNull = inexact->words.Get(order[i]) == inexact->words.GetNull();
    ties += !isNull && compare(order[i - 1], order[i]) == 0;
  }
  return ties > count / 8 * 7;
}

void SortedRows::SelectCandidates(BatchRows& rows, uint64 firstRow) {
  KeyWords& words = keys_.front().words;
  const uint64 before = rows_.GetCount();
  uint64* const added = words.From(before);
  uint32 selected = 0;
  const uint32 wanted = rows.GetWanted();
  const auto select = [&](auto isWanted) {
    for (uint32 i = 0; i < wanted; ++i) {
      const uint64 word = added[i];
      const uint32 row = rows.GetRow(i);
      added[selected] = word;
      candidates_[selected] = static_cast<uint16>(row);
      selected += isWanted(word, row);
    }
  };
  const uint64 worst = *worst_;
  if (words.IsExact() || worst == words.GetNull()) {
    select([worst](uint64 word, uint32) { return word <= worst; });
  } else {
    select([&](uint64 word, uint32 row) {
      return word < worst || (word == worst && words.CompareValues(firstRow + row, worstRow_) <= 0);
    });
  }
  words.Resize(before + selected);
  rows.selected = candidates_.data();
  rows.selectedCount = selected;
}

void SortedRows::DropBeyondLimit() {
  RowArray<uint32> best(rows_.GetCount());
  std::iota(best.begin(), best.end(), uint32{0});
  const auto end = best.begin() + static_cast<std::ptrdiff_t>(limit_);
  std::ranges::nth_element(best, end, [this](uint32 a, uint32 b) { return ComesFirst(a, b, 0); });
  best.erase(end, best.end());
  std::ranges::sort(best);
  const uint32 worst = *std::ranges::max_element(
      best, [this](uint32 a, uint32 b) { return Compare(0, 1, a, b) < 0; });
  worst_ = keys_.front().words.Get(worst);
  worstRow_ = rows_.Get(worst);
  for (std::size_t i = 0; i < best.size(); ++i) {
    for (BoundKey& key : keys_) *key.words.From(i) = key.words.Get(best[i]);
  }
  for (BoundKey& key : keys_) key.words.Resize(limit_);
  rows_.Keep(best);
}

int SortedRows::Compare(std::size_t firstKey, std::size_t endKey, uint32 a, uint32 b) {
  for (std::size_t i = firstKey; i < endKey; ++i) {
    KeyWords& words = keys_[i].words;
    const uint64 wordA = words.Get(a);
    const uint64 wordB = words.Get(b);
    if (wordA != wordB) return wordA < wordB ? -1 : 1;
    if (words.IsExact() || wordA == words.GetNull()) continue;
    const int result = words.CompareValues(rows_.Get(a), rows_.Get(b));
    if (result != 0) return result;
  }
  return 0;
}

bool SortedRows::ComesFirst(uint32 a, uint32 b, std::size_t firstKey) {
  const int result = Compare(firstKey, keys_.size(), a, b);
  return result != 0 ? result < 0 : a < b;
}

SortedRows::Packing SortedRows::ChoosePacking(int wordBits) const {
  const uint64 count = rows_.GetCount();
  Packing packing;
  packing.rowBits = std::bit_width(count == 0 ? 0 : count - 1);
  const int room = wordBits - packing.rowBits;
  for (const BoundKey& key : keys_) {
    const int bits = key.words.CountBits();
    if (packing.keyBits == room) break;
    packing.bits.push_back(std::min(bits, room - packing.keyBits));
    packing.keyBits += packing.bits.back();
    // What comes behind a beginning must not decide before the rest of that does.
    if (!key.words.IsExact() || packing.bits.back() < bits) break;
    ++packing.decided;
  }
  return packing;
}

void SortedRows::Sort() {
  // Shifts by all bits of a word have no meaning.
  constexpr int kBits = 63;
  constexpr int kWideBits = 127;
  const uint64 count = rows_.GetCount();
  const Packing packing = ChoosePacking(kBits);
  const Packing wide = ChoosePacking(kWideBits);
  const bool isEnough = packing.keyBits == wide.keyBits;
  // The beginnings of keys mostly tell them apart.
  if (!SortWords<uint64>(packing, isEnough ? count : count / kLeastPerTie)) {
    SortWords<WideWord>(wide, count);
  }
  ReleaseKeys();
}

void SortedRows::ReleaseKeys() {
  for (BoundKey& key : keys_) key.words.Release();
}

void SortedRows::Release() {
  ReleaseKeys();
  rows_.Release();
  order_ = {};
  starts_ = {};
}

template <class Word>
bool SortedRows::SortWords(const Packing& packing, uint64 mostTies) {
  const uint64 count = rows_.GetCount();
  RowArray<Word> words(count);
  for (std::size_t key = 0; key < packing.bits.size(); ++key) {
    const int bits = packing.bits[key];
    const uint64* const from = keys_[key].words.From(0);
    const auto squeeze = keys_[key].words.GetSqueezer(bits);
    InCancellableStretches(count, [&](uint64 first, uint64 end) {
      for (uint64 i = first; i < end; ++i) words[i] = words[i] << bits | squeeze(from[i]);
    });
  }
  for (uint64 i = 0; i < count; ++i) words[i] = words[i] << packing.rowBits | i;
  const bool leavesTies = packing.decided < keys_.size();
  if (!leavesTies) ReleaseKeys();
  {
    RowArray<Word> spare(count);
    WordSort<Word>::Sort(words, spare, packing.rowBits, packing.rowBits + packing.keyBits,
                         threads_);
  }
  const auto keyAt = [&](uint64 place) { return words[place] >> packing.rowBits; };
  const Word rowMask = (Word{1} << packing.rowBits) - 1;
  order_.resize(count);
  for (uint64 i = 0; i < count; ++i) order_[i] = static_cast<uint32>(words[i] & rowMask);
  if (mostTies < count && EstimateUndecided(packing, keyAt) > mostTies) return false;
  const bool isOneLeft =
      packing.decided + 1 == keys_.size() && keys_[packing.decided].words.IsExact();
  RowArray<uint64> left;
  if (isOneLeft) left.resize(count);
  const auto readLeft = [&](uint64 from, uint64 to) {
    KeyWords& key = keys_[packing.decided].words;
    for (uint64 i = from; i < to; ++i) {
      Prefetch(key.From(order_[std::min(i + kPlacesAhead, count - 1)]));
      left[i] = key.Get(order_[i]);
    }
  };
  if (isOneLeft) readLeft(0, count);
  for (uint64 from = 0; leavesTies && from < count;) {
    Cancellation::Check();
    uint64 to = from + 1;
    bool areEqual = isOneLeft;
    for (; to < count && keyAt(to) == keyAt(from); ++to) {
      areEqual = areEqual && left[to] == left[from];
    }
    if (!areEqual) {
      SortTies(from, to, packing.decided);
      if (isOneLeft) readLeft(from, to);
    }
    from = to;
  }
  if (limit_ != 0) order_.resize(std::min(count, limit_));
  if (groupKeys_) NoteStarts(packing, left, keyAt);
  return true;
}

void SortedRows::SortTies(uint64 from, uint64 to, std::size_t firstKey) {
  if (to - from < 2 || firstKey == keys_.size()) return;
  if (to - from >= kLeastByTexts && keys_[firstKey].words.HasByteTexts()) {
    return SortByTexts(from, to, firstKey);
  }
  const auto begin = order_.begin() + static_cast<std::ptrdiff_t>(from);
  const auto end = order_.begin() + static_cast<std::ptrdiff_t>(to);
  uint32 compared = 0;
  const auto comesFirst = [&](uint32 a, uint32 b) {
    if (++compared % kComparedPerCheck == 0) [[unlikely]]
      Cancellation::Check();
    return ComesFirst(a, b, firstKey);
  };
  // Those of equal rows are in order.
  if (!std::is_sorted(begin, end, comesFirst)) std::sort(begin, end, comesFirst);
}

template <class KeyAt>
uint64 SortedRows::EstimateUndecided(const Packing& packing, KeyAt keyAt) {
  constexpr uint64 kSample = 1024;
  const uint64 count = order_.size();
  uint64 ties = 0;
  for (uint64 i = 1; i < count; ++i) ties += keyAt(i) == keyAt(i - 1);
  const uint64 step = ties / kSample + 1;
  uint64 compared = 0;
  uint64 different = 0;
  uint64 tie = 0;
  for (uint64 i = 1; i < count; ++i) {
    if (keyAt(i) != keyAt(i - 1) || tie++ % step != 0) continue;
    ++compared;
    different += Compare(packing.decided, keys_.size(), order_[i - 1], order_[i]) != 0;
  }
  return compared == 0 ? 0 : ties * different / compared;
}

void SortedRows::SortByTexts(uint64 from, uint64 to, std::size_t key) {
  const KeyWords& words = keys_[key].words;
  RowArray<TextSort::Text> texts;
  texts.reserve(to - from);
  std::vector<uint32> nulls;
  for (uint64 place = from; place < to; ++place) {
    if (place % kComparedPerCheck == 0) [[unlikely]]
      Cancellation::Check();
    const uint32 ordinal = order_[place];
    if (words.Get(ordinal) == words.GetNull()) {
      nulls.push_back(ordinal);
    } else {
      const BatchText text = words.FindByteText(rows_.Get(ordinal));
      texts.push_back({text.characters, text.length, ordinal});
    }
  }
  const std::vector<TextSort::Range> equals = TextSort::Sort(texts, words.Descends(), threads_);
  const bool areNullsFirst = words.GetNull() == 0;
  const uint64 firstNull = areNullsFirst ? from : from + texts.size();
  const uint64 firstText = areNullsFirst ? from + nulls.size() : from;
  std::ranges::copy(nulls, order_.begin() + static_cast<std::ptrdiff_t>(firstNull));
  for (std::size_t i = 0; i < texts.size(); ++i) order_[firstText + i] = texts[i].ordinal;
  texts = {};
  SortTies(firstNull, firstNull + nulls.size(), key + 1);
  for (const auto& [first, end] : equals) {
    Cancellation::Check();
    SortTies(firstText + first, firstText + end, key + 1);
  }
}

void SortedRows::KeepFirstOfGroups() {
  uint64 kept = 0;
  for (uint64 place = 0; place < order_.size(); ++place) {
    if (starts_[place] == kNewGroup) order_[kept++] = order_[place];
  }
  order_.resize(kept);
}

template <class KeyAt>
void SortedRows::NoteStarts(const Packing& packing, const RowArray<uint64>& left, KeyAt keyAt) {
  const std::size_t all = keys_.size();
  const std::size_t decided = packing.decided;
  // Behind the keys of groups so many bits of the words are left.
  int otherBits = packing.keyBits;
  for (std::size_t key = 0; key < std::min(*groupKeys_, decided); ++key) {
    otherBits -= packing.bits[key];
  }
  starts_.resize(order_.size());
  for (uint64 place = 0; place < order_.size(); ++place) {
    if (place % kComparedPerCheck == 0) [[unlikely]]
      Cancellation::Check();
    if (place == 0) {
      starts_[place] = kNewGroup;
      continue;
    }
    const auto before = keyAt(place - 1);
    const auto key = keyAt(place);
    const auto differs = [&](std::size_t endKey) {
      if (decided >= endKey) return false;
      if (!left.empty()) return left[place - 1] != left[place];
      return Compare(decided, endKey, order_[place - 1], order_[place]) != 0;
    };
    const bool isNewGroup = before >> otherBits != key >> otherBits || differs(*groupKeys_);
    const bool isNewPeer = before != key || differs(all);
    starts_[place] = isNewGroup ? kNewGroup : isNewPeer ? kNewPeer : kTie;
  }
}

}  // namespace sqxer
