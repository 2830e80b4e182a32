#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "QueryPlan.h"
#include "Table.h"

namespace sqxer {

/// The texts of a column of a table.
class TextColumn {
 public:
  explicit TextColumn(std::size_t column) : column_(column) {}

  /// Goes to a chunk of the table, which must stay until the next one is entered.
  void Enter(const TableChunk& chunk) { vector_ = &chunk.columns[column_]; }
  /// Makes a row of the chunk the current one, from 0. False when it is NULL.
  bool Read(uint64 row);
  /// The current row's text, valid until the next one is read.
  std::wstring_view Get() const { return text_; }

 private:
  std::size_t column_;
  const ColumnVector* vector_ = nullptr;
  std::wstring_view text_;
  /// Holds texts that are not kept in the server's characters.
  XeString wide_;
};

/// Gives the JSON documents of a row to those who read their values.
class JsonScan {
 public:
  explicit JsonScan(const std::vector<PlanDocuments>& documents);

  /// Goes to a chunk of the table, which must stay until the next one is entered.
  void Enter(const TableChunk& chunk) {
    for (auto& [texts, holder] : documents_) texts.Enter(chunk);
  }
  /// Makes a row of the chunk the current one, from 0.
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
