#pragma once

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "Table.h"
#include "TextRun.h"

namespace sqxer::test {

using Random = std::mt19937_64;

inline int Pick(Random& random, int count) {
  return static_cast<int>(random() % static_cast<uint64>(count));
}

/// A column of some values, NULL where there is none.
template <class T>
ColumnVector MakeFixed(ColumnForm form, int16 scale, const std::vector<std::optional<T>>& cells) {
  auto kept = std::make_shared<KeptBuffers>();
  kept->values.Reserve((cells.size() + 1) * sizeof(T));
  kept->validity.Reserve((cells.size() / 64 + 1) * sizeof(uint64));
  std::memset(kept->validity.GetData(), 0, (cells.size() / 64 + 1) * sizeof(uint64));
  bool hasNulls = false;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    T value;
    // What stands at a NULL is anything.
    std::memset(static_cast<void*>(&value), 0x5A, sizeof value);
    if (cells[i]) value = *cells[i];
    std::memcpy(kept->values.GetData() + i * sizeof(T), static_cast<void*>(&value), sizeof value);
    hasNulls = hasNulls || !cells[i];
    kept->validity.As<uint64>()[i / 64] |= uint64{cells[i].has_value()} << i % 64;
  }
  ColumnVector vector;
  vector.form = form;
  vector.scale = scale;
  vector.rows = cells.size();
  vector.values = kept->values.GetData();
  if (hasNulls) vector.validity = kept->validity.As<uint64>();
  vector.owner = kept;
  return vector;
}

inline ColumnVector MakeTexts(const std::vector<std::optional<std::u32string>>& cells, bool isWide,
                              uint8 offsetWidth) {
  std::vector<std::optional<uint64>> ends;
  uint64 end = 0;
  std::u32string all;
  std::vector<std::optional<uint8>> marks;
  for (const auto& cell : cells) {
    ends.push_back(end);
    if (cell) all += *cell;
    end = all.size();
    marks.push_back(cell ? std::optional<uint8>(1) : std::nullopt);
  }
  auto kept = std::make_shared<KeptBuffers>();
  kept->values.Reserve((all.size() + 1) * 4);
  kept->offsets.Reserve((cells.size() + 1) * 8);
  for (std::size_t i = 0; i < all.size(); ++i) {
    isWide ? void(kept->values.As<char32_t>()[i] = all[i])
           : void(kept->values.GetData()[i] = static_cast<uint8>(all[i]));
  }
  ends.push_back(end);
  for (std::size_t i = 0; i < ends.size(); ++i) {
    offsetWidth == 4 ? void(kept->offsets.As<uint32>()[i] = static_cast<uint32>(*ends[i]))
                     : void(kept->offsets.As<uint64>()[i] = *ends[i]);
  }
  // The validity bits, and who keeps them.
  ColumnVector vector = MakeFixed<uint8>(ColumnForm::kText8, 0, marks);
  vector.owner = std::make_shared<std::pair<std::shared_ptr<const void>, std::shared_ptr<void>>>(
      vector.owner, kept);
  if (isWide) vector.form = ColumnForm::kText32;
  vector.offsetWidth = offsetWidth;
  vector.values = kept->values.GetData();
  vector.offsets = kept->offsets.GetData();
  return vector;
}

/// The texts that cells are drawn from.
inline std::u32string TextOf(int choice, bool isWide) {
  static const std::u32string texts[] = {
      U"",          U" ",         U"a",
      U"a  ",       U"A",         U"abcdefgh",
      U"abcdefgh ", U"abcdefghi", U"a somewhat longer text that is not copied at once",
      U"\u00E4",    U"\u00E4 "};
  static const std::u32string wide[] = {U"\u03B1", U"\u03B1 ", U"a\u03B1"};
  constexpr int kNarrow = static_cast<int>(std::size(texts));
  return choice < kNarrow || !isWide ? texts[choice % kNarrow] : wide[choice % 3];
}

inline ColumnVector RandomTexts(Random& random, std::size_t rows, bool hasNulls) {
  const bool isWide = Pick(random, 2) == 0;
  const bool isCoded = Pick(random, 2) == 0;
  const uint8 offsetWidth = Pick(random, 2) == 0 ? 4 : 8;
  std::vector<std::optional<std::u32string>> cells;
  const std::size_t count = isCoded ? 1 + random() % 12 : rows;
  for (std::size_t i = 0; i < count; ++i) {
    const bool isNull = !isCoded && hasNulls && Pick(random, 5) == 0;
    cells.push_back(isNull ? std::nullopt : std::optional(TextOf(Pick(random, 14), isWide)));
  }
  ColumnVector texts = MakeTexts(cells, isWide, offsetWidth);
  if (!isCoded) return texts;
  const auto codes = [&]<class Code>(Code) {
    std::vector<std::optional<Code>> chosen;
    for (std::size_t i = 0; i < rows; ++i) {
      const bool isNull = hasNulls && Pick(random, 5) == 0;
      chosen.push_back(isNull ? std::nullopt : std::optional(static_cast<Code>(random() % count)));
    }
    return MakeFixed<Code>(texts.form, 0, chosen);
  };
  const int width = Pick(random, 3);
  ColumnVector vector = width == 0   ? codes(uint8())
                        : width == 1 ? codes(uint16())
                                     : codes(uint32());
  vector.codeWidth = static_cast<uint8>(1 << width);
  vector.dictionary = std::make_shared<const ColumnVector>(texts);
  return vector;
}

/// `spread`: the values lie that far apart.
inline ColumnVector RandomDecimals(Random& random, std::size_t rows, bool hasNulls, int64 spread) {
  const int form = Pick(random, 4);
  const auto scale = static_cast<int16>(Pick(random, 4));
  int64 factor = 1;
  for (int i = 0; i < scale; ++i) factor *= 10;
  const auto make = [&]<class T>(ColumnForm of, auto convert, T) {
    std::vector<std::optional<T>> cells;
    for (std::size_t i = 0; i < rows; ++i) {
      const int64 value = (Pick(random, 9) - 4) * spread * factor / (scale > 1 ? 4 : 1);
      const bool isNull = hasNulls && Pick(random, 5) == 0;
      cells.push_back(isNull ? std::nullopt : std::optional<T>(convert(value)));
    }
    return MakeFixed<T>(of, scale, cells);
  };
  if (form == 2)
    return make(
        ColumnForm::kDecimal128, [](int64 v) { return int128{v}; }, int128());
  if (form == 3) {
    ColumnVector numbers = make(
        ColumnForm::kNumber, [&](int64 v) { return VelmarNumber::FromScaled(v, scale); },
        VelmarNumber());
    numbers.scale = 0;
    return numbers;
  }
  return make(
      ColumnForm::kDecimal64, [](int64 v) { return v; }, int64());
}

/// Some rows of a column of a type, in one of its forms. Few different values that lie `spread`
/// apart.
inline ColumnVector RandomColumn(Random& random, XeDataType type, std::size_t rows, bool hasNulls,
                                 int64 spread) {
  const auto make = [&]<class T>(ColumnForm form, auto convert, T) {
    std::vector<std::optional<T>> cells;
    for (std::size_t i = 0; i < rows; ++i) {
      const bool isNull = hasNulls && Pick(random, 5) == 0;
      cells.push_back(isNull ? std::nullopt
                             : std::optional<T>(convert((Pick(random, 9) - 4) * spread)));
    }
    return MakeFixed<T>(form, 0, cells);
  };
  const auto real = [&](int64 value) {
    const int kind = Pick(random, 8);
    if (kind == 0) return std::numeric_limits<double>::quiet_NaN();
    if (kind == 1) return -0.0;
    return static_cast<double>(value) / 2;
  };
  switch (type) {
    case XeInt2Data:
      return make(
          ColumnForm::kInt16, [](int64 v) { return static_cast<int16>(v); }, int16());
    case XeUInt4Data:
      return make(
          ColumnForm::kUInt32, [](int64 v) { return static_cast<uint32>(v); }, uint32());
    case XeInt4Data:
      return make(
          ColumnForm::kInt32, [](int64 v) { return static_cast<int32>(v); }, int32());
    case XeFloatData:
      return make(
          ColumnForm::kFloat32, [&](int64 v) { return static_cast<float32>(real(v)); }, float32());
    case XeDoubleData:
      return make(ColumnForm::kFloat64, real, float64());
    case XeDateData:
      return make(
          ColumnForm::kDay32, [](int64 v) { return static_cast<int32>(v % 9000); }, int32());
    case XeTimeData:
      return make(
          ColumnForm::kTime64, [](int64 v) { return v < 0 ? -v : v; }, int64());
    case XeTimeStampData: {
      if (Pick(random, 2) == 0)
        return make(
            ColumnForm::kTimeStamp64, [](int64 v) { return v; }, int64());
      return make(
          ColumnForm::kDateTime,
          [&](int64 v) {
            XeDateTime value = FromTimeStamp64(v);
            if (Pick(random, 3) == 0) value.SetNanosecond(value.GetNanosecond() + 7);
            return value;
          },
          XeDateTime());
    }
    case XeIntervalData:
      // Some are equal though their parts are not.
      return make(
          ColumnForm::kInterval,
          [&](int64 v) {
            const auto count = static_cast<int32>(v % 1000);
            return Pick(random, 2) == 0 ? XeInterval{count, -30, v}
                                        : XeInterval{0, count * 30 - 30, v};
          },
          XeInterval());
    case XeNumericData:
      return RandomDecimals(random, rows, hasNulls, spread);
    default:
      return RandomTexts(random, rows, hasNulls);
  }
}

/// A value as text, the same for all forms of its type; nothing for NULL.
inline std::optional<std::u32string> ReadCell(const ColumnVector& vector, uint64 row) {
  if (vector.IsNull(row)) return std::nullopt;
  if (vector.dictionary) return ReadCell(*vector.dictionary, vector.GetCode(row));
  const auto text = [](const auto& characters) {
    return std::u32string(characters.begin(), characters.end());
  };
  const uint8* const at = vector.values + row * WidthOfForm(vector.form);
  const auto bytesOf = [](const auto& value) {
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), static_cast<const void*>(&value), sizeof value);
    return std::u32string(bytes.begin(), bytes.end());
  };
  switch (vector.form) {
    case ColumnForm::kText8:
      return std::u32string(vector.values + vector.GetOffset(row),
                            vector.values + vector.GetOffset(row + 1));
    case ColumnForm::kText32: {
      const auto* const wide = reinterpret_cast<const char32_t*>(vector.values);
      return std::u32string(wide + vector.GetOffset(row), wide + vector.GetOffset(row + 1));
    }
    case ColumnForm::kDecimal64:
      return text(
          VelmarNumber::FromScaled(*reinterpret_cast<const int64*>(at), vector.scale).asString());
    case ColumnForm::kDecimal128:
      return text(
          VelmarNumber::FromScaled(*reinterpret_cast<const int128*>(at), vector.scale).asString());
    case ColumnForm::kNumber:
      return text(reinterpret_cast<const VelmarNumber*>(at)->asString());
    case ColumnForm::kTimeStamp64:
      return bytesOf(FromTimeStamp64(*reinterpret_cast<const int64*>(at)));
    case ColumnForm::kDateTime:
      return bytesOf(*reinterpret_cast<const XeDateTime*>(at));
    case ColumnForm::kInterval:
      return bytesOf(*reinterpret_cast<const XeInterval*>(at));
    default:
      break;
  }
  std::u32string cell;
  WithNumberType(vector.form, [&]<class T>(std::type_identity<T>) {
    cell = text(std::to_string(*reinterpret_cast<const T*>(at)));
  });
  return cell;
}

/// A table of `rows` rows in some chunks, which may be empty.
inline Table RandomTable(Random& random, const std::vector<XeDataType>& types, std::size_t rows,
                         int64 spread) {
  Table table;
  for (const XeDataType type : types) {
    table.schema.columns.push_back(
        {L"c" + std::to_wstring(table.schema.columns.size()), type, 64, 10, true});
  }
  table.rowCount = rows;
  for (std::size_t left = rows; left != 0;) {
    const std::size_t count = Pick(random, 3) == 0 ? left : random() % (left + 1);
    TableChunk chunk;
    chunk.rows = count;
    const bool hasNulls = Pick(random, 3) != 0;
    for (const XeDataType type : types) {
      chunk.columns.push_back(RandomColumn(random, type, count, hasNulls, spread));
    }
    table.chunks.push_back(std::move(chunk));
    left -= count;
  }
  return table;
}

/// The cells of a column, chunk by chunk.
inline std::vector<std::optional<std::u32string>> ReadCells(const Table& table,
                                                            std::size_t column) {
  std::vector<std::optional<std::u32string>> cells;
  for (const TableChunk& chunk : table.chunks) {
    for (uint64 row = 0; row < chunk.rows; ++row) {
      cells.push_back(ReadCell(chunk.columns[column], row));
    }
  }
  return cells;
}

}  // namespace sqxer::test
