#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "QueryPlan.h"
#include "Table.h"

namespace sqxer {

/// The texts of a column of a table. The table must outlive it.
class TextColumn {
 public:
  TextColumn(const Table& table, std::size_t column) : table_(&table), column_(column) {}

  /// Makes a row the current one, from 0. False when it is NULL.
  bool Read(uint64 row);
  /// The current row's text, valid until the next one is read.
  std::wstring_view Get() const { return text_; }

 private:
  void Enter(uint64 row);

  const Table* table_;
  std::size_t column_;
  const ColumnVector* vector_ = nullptr;
  uint64 firstRow_ = 0;
  uint64 rows_ = 0;
  std::wstring_view text_;
  /// Holds texts that are not kept in the server's characters.
  XeString wide_;
};

/// Gives the JSON documents of a row to those who read their values.
class JsonScan {
 public:
  JsonScan(const Table& table, const std::vector<PlanDocuments>& documents);

  /// Makes a row the current one, from 0.
  void Fill(uint64 row) {
    for (auto& [texts, holder] : documents_) {
      if (texts.Read(row)) {
        holder->SetDocument(texts.Get());
      } else {
        holder->SetNoDocument();
      }
    }
  }

 private:
  std::vector<std::pair<TextColumn, JSonValuesHolderRef>> documents_;
};

}  // namespace sqxer
