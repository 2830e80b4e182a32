#pragma once

#include <string_view>
#include <utility>
#include <vector>

#include "QueryPlan.h"
#include "Table.h"

namespace sqxer {

/// The texts of a column of a table, read where they stand. The table must outlive it.
class TextColumn {
 public:
  explicit TextColumn(const TableColumn& column);

  bool IsNull(uint64 row) const { return nulls_ != nullptr && nulls_[row] != 0; }
  /// Meaningful where the row is not NULL. Fixed texts keep their blanks.
  std::wstring_view Get(uint64 row) const {
    if (offsets_ == nullptr) return {characters_ + row * length_, length_};
    return {characters_ + offsets_[row], offsets_[row + 1] - offsets_[row]};
  }

 private:
  const uint8* nulls_;
  const wchar_t* characters_;
  /// Null for texts of fixed length.
  const uint64* offsets_;
  uint64 length_;
};

/// Gives the JSON documents of a row to those who read their values.
class JsonScan {
 public:
  JsonScan(const Table& table, const std::vector<PlanDocuments>& documents);

  /// Makes a row the current one, from 0.
  void Fill(uint64 row) {
    for (auto& [texts, holder] : documents_) {
      if (texts.IsNull(row)) {
        holder->SetNoDocument();
      } else {
        holder->SetDocument(texts.Get(row));
      }
    }
  }

 private:
  std::vector<std::pair<TextColumn, JSonValuesHolderRef>> documents_;
};

}  // namespace sqxer
