#pragma once

#include <memory>
#include <span>

#include "Table.h"
#include "Utility/HugePages.h"

namespace sqxer {

/// A vector of values of a form, without NULLs.
template <class T>
ColumnVector MakeColumn(std::span<const T> numbers, ColumnForm form) {
  constexpr std::size_t kReadableBeyond = 64;
  auto values =
      std::make_shared<std::vector<T, ScatteredAllocator<T>>>(numbers.begin(), numbers.end());
  values->resize(numbers.size() + kReadableBeyond / sizeof(T));
  ColumnVector vector;
  vector.form = form;
  vector.rows = numbers.size();
  vector.values = reinterpret_cast<const uint8*>(values->data());
  vector.owner = std::move(values);
  return vector;
}

/// A vector of integers: kInt32, or kDecimal64 without digits behind the point.
template <class T>
ColumnVector MakeNumbers(std::span<const T> numbers) {
  static_assert(std::is_same_v<T, int32> || std::is_same_v<T, int64>);
  return MakeColumn(numbers,
                    std::is_same_v<T, int32> ? ColumnForm::kInt32 : ColumnForm::kDecimal64);
}

/// Adds a column with the numbers of the rows, from 0.
inline void AddRowNumbers(Table& table, const XeString& name) {
  table.schema.columns.push_back({name, XeInt4Data, sizeof(int32), 0, false});
  table.schema.origins.push_back({});
  int32 next = 0;
  for (TableChunk& chunk : table.chunks) {
    std::vector<int32> numbers(chunk.rows);
    for (int32& number : numbers) number = next++;
    chunk.columns.push_back(MakeNumbers<int32>(numbers));
  }
}

}  // namespace sqxer
