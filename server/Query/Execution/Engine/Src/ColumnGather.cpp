#include "ColumnGather.h"

#include <algorithm>
#include <optional>

#include "ChunkBuilder.h"
#include "GatherPlaces.h"
#include "GatheredTexts.h"
#include "SQXERBatchLoops.h"
#include "TableBatch.h"
#include "Utility/Cancellation.h"
#include "Utility/FixedWidths.h"
#include "Utility/XeAssert.h"
#include "WorkRecord.h"

namespace sqxer {

/// Copies one column of a table to other chunks.
class GatheredColumn {
 public:
  GatheredColumn(const Table& table, std::size_t column, uint64 rows)
      : table_(table), column_(column), texts_(table, column, rows) {}

  ColumnVector Gather(const GatherPlaces& places);

 private:
  const ColumnVector& In(std::size_t chunk) const { return table_.chunks[chunk].columns[column_]; }
  ColumnVector MakeNulls(uint32 rows) const;
  /// The rows of one chunk from one on that begins a word of validity bits.
  ColumnVector ShareRun(const ColumnVector& source, uint64 first, uint32 rows) const;
  void GatherValidity(const GatherPlaces& places, ColumnVector& vector, KeptBuffers& kept) const;
  /// Values of one form and scale.
  void GatherFixed(const GatherPlaces& places, ColumnVector& vector, KeptBuffers& kept) const;
  /// Decimals or timestamps of several.
  void GatherMixed(const GatherPlaces& places, ColumnVector& vector, KeptBuffers& kept) const;
  template <class Stored>
  bool GatherScaled(const GatherPlaces& places, int16 scale, ColumnVector& vector,
                    KeptBuffers& kept) const;
  template <class Value>
  void GatherRead(const GatherPlaces& places, ColumnVector& vector, KeptBuffers& kept) const;

  const Table& table_;
  const std::size_t column_;
  GatheredTexts texts_;
};

ColumnVector GatheredColumn::Gather(const GatherPlaces& places) {
  if (places.GetChunks().empty()) return MakeNulls(places.GetCount());
  const ColumnVector& first = In(places.GetChunks().front());
  if (places.AreRun() && places.GetFirst() % 64 == 0) {
    return ShareRun(first, places.GetFirst(), places.GetCount());
  }
  ColumnVector vector;
  vector.rows = places.GetCount();
  auto kept = std::make_shared<KeptBuffers>();
  if (IsTextForm(first.form)) {
    texts_.Gather(places, vector, *kept);
  } else if (std::ranges::all_of(places.GetChunks(), [&](std::size_t chunk) {
               return In(chunk).form == first.form && In(chunk).scale == first.scale;
             })) {
    GatherFixed(places, vector, *kept);
  } else {
    GatherMixed(places, vector, *kept);
  }
  GatherValidity(places, vector, *kept);
  vector.owner = std::move(kept);
  return vector;
}

ColumnVector GatheredColumn::MakeNulls(uint32 rows) const {
  ColumnInfo info = table_.schema.columns[column_];
  info.nullable = true;
  const WorkRecord record({info});
  const auto appender = ColumnAppender::Make(record.GetField(0));
  const uint64 noBits = 0;
  BatchVector null;
  null.isConstant = true;
  null.validity = &noBits;
  for (uint32 done = 0; done < rows;) {
    BatchRows batch;
    batch.count = std::min(rows - done, kMostBatchRows);
    appender->AppendVector(null, batch);
    done += batch.count;
  }
  return appender->Take();
}

ColumnVector GatheredColumn::ShareRun(const ColumnVector& source, uint64 first, uint32 rows) const {
  ColumnVector vector = source;
  vector.rows = rows;
  if (source.offsets != nullptr) {
    vector.offsets += first * source.offsetWidth;
  } else {
    vector.values += first * (source.dictionary ? source.codeWidth : WidthOfForm(source.form));
  }
  if (source.validity != nullptr) vector.validity += first / 64;
  vector.blocks.clear();
  const uint64 end = first + rows;
  const bool hasBlocks = !source.blocks.empty() && first % kColumnBlockRows == 0 &&
                         (end % kColumnBlockRows == 0 || end == source.rows);
  if (hasBlocks) {
    const auto block = [&](uint64 row) {
      return source.blocks.begin() +
             static_cast<std::ptrdiff_t>((row + kColumnBlockRows - 1) / kColumnBlockRows);
    };
    vector.blocks.assign(block(first), block(end));
  }
  return vector;
}

void GatheredColumn::GatherValidity(const GatherPlaces& places, ColumnVector& vector,
                                    KeptBuffers& kept) const {
  std::vector<const uint64*> bits(table_.chunks.size());
  bool hasNulls = places.HasNone();
  for (const std::size_t chunk : places.GetChunks()) {
    bits[chunk] = In(chunk).validity;
    hasNulls = hasNulls || bits[chunk] != nullptr;
  }
  if (!hasNulls) return;
  const std::size_t words = (vector.rows + 63) / 64;
  kept.validity.Reserve(words * sizeof(uint64));
  uint64* const target = kept.validity.As<uint64>();
  const auto gather = [&places, target, sources = bits.data()](auto hasNone) {
    const uint32 count = places.GetCount();
    for (uint32 first = 0; first < count; first += 64) {
      const uint32 end = std::min(count, first + 64);
      // Each bit comes in at the top.
      uint64 word = 0;
      places.ForEach(first, end, [&](uint32 i, std::size_t chunk, uint32 row) {
        const uint64* const source = sources[chunk];
        uint64 bit = source == nullptr ? 1 : source[row / 64] >> row % 64;
        if constexpr (hasNone) bit &= static_cast<uint64>(!places.IsNone(i));
        word = word >> 1 | bit << 63;
      });
      target[first / 64] = word >> (64 - (end - first));
    }
  };
  places.HasNone() ? gather(std::true_type()) : gather(std::false_type());
  vector.validity = target;
}

void GatheredColumn::GatherFixed(const GatherPlaces& places, ColumnVector& vector,
                                 KeptBuffers& kept) const {
  const ColumnVector& first = In(places.GetChunks().front());
  vector.form = first.form;
  vector.scale = first.scale;
  const uint32 width = WidthOfForm(first.form);
  kept.values.Reserve(std::size_t{places.GetCount()} * width);
  vector.values = kept.values.GetData();
  std::vector<const uint8*> values(table_.chunks.size());
  for (const std::size_t chunk : places.GetChunks()) values[chunk] = In(chunk).values;
  const uint8* const* const sources = values.data();
  uint8* const target = kept.values.GetData();
  // Values that others have lent need not be aligned.
  WithFixedWidth(width, [&](auto bytes) {
    places.ForEach([=](uint32 i, std::size_t chunk, uint32 row) {
      __builtin_memcpy(target + i * bytes, sources[chunk] + row * bytes, bytes);
    });
  });
}

template <class Stored>
bool GatheredColumn::GatherScaled(const GatherPlaces& places, int16 scale, ColumnVector& vector,
                                  KeptBuffers& kept) const {
  std::vector<Stored> factors(table_.chunks.size(), 1);
  for (const std::size_t chunk : places.GetChunks()) {
    for (int i = In(chunk).scale; i < scale; ++i) {
      if (__builtin_mul_overflow(factors[chunk], Stored{10}, &factors[chunk])) return false;
    }
  }
  kept.values.Reserve(std::size_t{places.GetCount()} * sizeof(Stored));
  Stored* const target = kept.values.As<Stored>();
  bool fits = true;
  places.ForEach([&](uint32 i, std::size_t chunk, uint32 row) {
    const ColumnVector& source = In(chunk);
    target[i] = 0;
    if (source.IsNull(row)) return;
    Stored value;
    if (source.form == ColumnForm::kDecimal64) {
      value = reinterpret_cast<const int64*>(source.values)[row];
    } else {
      value = static_cast<Stored>(reinterpret_cast<const int128*>(source.values)[row]);
    }
    fits = fits && !__builtin_mul_overflow(value, factors[chunk], &target[i]);
    if constexpr (sizeof(Stored) == sizeof(int128)) fits = fits && HasDecimalDigits(target[i]);
  });
  vector.form = sizeof(Stored) == sizeof(int64) ? ColumnForm::kDecimal64 : ColumnForm::kDecimal128;
  vector.scale = scale;
  vector.values = kept.values.GetData();
  return fits;
}

template <class Value>
void GatheredColumn::GatherRead(const GatherPlaces& places, ColumnVector& vector,
                                KeptBuffers& kept) const {
  kept.values.Reserve(std::size_t{places.GetCount()} * sizeof(Value));
  Value* const target = kept.values.As<Value>();
  places.ForEach([&](uint32 i, std::size_t chunk, uint32 row) {
    const ColumnVector& source = In(chunk);
    target[i] = source.IsNull(row) ? Value() : ReadBatchValue<Value>(ViewOf(source, row), 0);
  });
  vector.form = std::same_as<Value, VelmarNumber> ? ColumnForm::kNumber : ColumnForm::kDateTime;
  vector.scale = 0;
  vector.values = kept.values.GetData();
}

void GatheredColumn::GatherMixed(const GatherPlaces& places, ColumnVector& vector,
                                 KeptBuffers& kept) const {
  int16 scale = 0;
  bool isNumber = false;
  bool isWide = false;
  for (const std::size_t chunk : places.GetChunks()) {
    const ColumnForm form = In(chunk).form;
    if (form == ColumnForm::kTimeStamp64 || form == ColumnForm::kDateTime) {
      return GatherRead<XeDateTime>(places, vector, kept);
    }
    isNumber = isNumber || form == ColumnForm::kNumber;
    isWide = isWide || form == ColumnForm::kDecimal128;
    scale = std::max(scale, In(chunk).scale);
  }
  if (!isNumber && !isWide && scale <= kMostScale64 &&
      GatherScaled<int64>(places, scale, vector, kept)) {
    return;
  }
  if (!isNumber && GatherScaled<int128>(places, scale, vector, kept)) return;
  GatherRead<VelmarNumber>(places, vector, kept);
}

ColumnGather::ColumnGather(const Table& table, std::span<const std::size_t> wanted, uint64 rows)
    : places_(std::make_unique<GatherPlaces>(table)) {
  for (const std::size_t column : wanted) {
    columns_.push_back(std::make_unique<GatheredColumn>(table, column, rows));
  }
}

ColumnGather::~ColumnGather() = default;

void ColumnGather::Append(std::span<const uint32> rows, TableChunk& chunk) {
  XE_ASSERT(chunk.columns.empty() || chunk.rows == rows.size());
  chunk.rows = rows.size();
  places_->Find(rows);
  for (const auto& column : columns_) {
    Cancellation::Check();
    chunk.columns.push_back(column->Gather(*places_));
  }
}

void GatherColumns(const Table& table, std::span<const std::size_t> wanted,
                   std::span<const uint32> rows, Table& into) {
  const std::size_t chunks = (rows.size() + kMostGatheredRows - 1) / kMostGatheredRows;
  if (into.chunks.empty()) {
    into.chunks.resize(chunks);
    into.rowCount = rows.size();
  }
  XE_ASSERT(into.chunks.size() == chunks && into.rowCount == rows.size());
  ColumnGather gather(table, wanted, rows.size());
  for (std::size_t i = 0; i < chunks; ++i) {
    const std::size_t first = i * kMostGatheredRows;
    const auto count = std::min<std::size_t>(kMostGatheredRows, rows.size() - first);
    gather.Append(rows.subspan(first, count), into.chunks[i]);
  }
}

}  // namespace sqxer
