#pragma once

#include <map>

#include "TableJoin.h"
#include "server/Query/Execution/Engine/RandomColumns.h"

namespace sqxer::test {

/// The types that keys are tried with.
inline const std::vector<XeDataType> kKeyTypes = {
    XeInt4Data, XeInt2Data,      XeUInt4Data,    XeFloatData,   XeDoubleData,  XeDateData,
    XeTimeData, XeTimeStampData, XeIntervalData, XeNumericData, XeVarCharData, XeCharData};

/// What equal keys have in common, by cell and type; nothing where a cell equals nothing.
inline std::optional<std::u32string> KeyOf(std::optional<std::u32string> cell, XeDataType type) {
  if (!cell) return cell;
  if (type == XeDoubleData || type == XeFloatData) {
    if (cell->find(U"nan") != std::u32string::npos) return std::nullopt;
    if (*cell == U"-0.000000") return U"0.000000";
  }
  if (type == XeIntervalData) {
    const std::string bytes(cell->begin(), cell->end());
    XeInterval value;
    std::memcpy(static_cast<void*>(&value), bytes.data(), sizeof value);
    const std::string span = std::to_string(static_cast<int64>(value.GetSpan()));
    return std::u32string(span.begin(), span.end());
  }
  if (type == XeVarCharData || type == XeCharData) {
    while (cell->ends_with(U' ')) cell->pop_back();
  }
  return cell;
}

/// Numbers of the combined keys of both sides' rows, equal where these are; -1 where they equal
/// nothing.
inline std::vector<std::vector<int>> NumberKeys(const JoinSide& left, const JoinSide& right) {
  std::map<std::vector<std::u32string>, int> numbers;
  std::vector<std::vector<int>> result;
  for (const JoinSide* const side : {&left, &right}) {
    std::vector<std::vector<std::optional<std::u32string>>> columns;
    for (const std::size_t key : side->keys) columns.push_back(ReadCells(*side->table, key));
    auto& rows = result.emplace_back();
    for (uint64 row = 0; row < side->table->rowCount; ++row) {
      std::vector<std::u32string> keys;
      for (std::size_t i = 0; i < columns.size(); ++i) {
        const XeDataType type = side->table->schema.columns[side->keys[i]].type;
        if (const auto key = KeyOf(columns[i][row], type)) keys.push_back(*key);
      }
      const bool isWhole = keys.size() == columns.size();
      rows.push_back(
          isWhole ? numbers.try_emplace(keys, static_cast<int>(numbers.size())).first->second : -1);
    }
  }
  return result;
}

}  // namespace sqxer::test
