#include "RowLookup.h"

#include "SQXERExprExtract.h"

namespace sqxer {
namespace {

/// Marks the fields that a bound tree reads.
void MarkFields(RExpression& tree, std::vector<bool>& fields) {
  if (auto* const column = dynamic_cast<Extract*>(&tree); column && column->ReadsRecord()) {
    const auto field = static_cast<std::size_t>(column->GetFieldIndex());
    if (field < fields.size()) fields[field] = true;
  }
  for (int i = 0; i < tree.CountOperands(); ++i) {
    if (RExpression* const operand = tree.GetIthOperand(i)) MarkFields(*operand, fields);
  }
}

}  // namespace

RowLookup::RowLookup(const Table& table, const std::vector<uint16>& columns, WorkRecord& target,
                     const std::vector<FieldWriter*>& readers)
    : table_(table) {
  std::vector<bool> fields(columns.size());
  for (FieldWriter* const reader : readers) MarkFields(reader->GetTree(), fields);
  for (const TableChunk& chunk : table.chunks) {
    scans_.emplace_back(table.schema, columns, target, fields);
    scans_.back().Enter(chunk);
    hasTexts_ = hasTexts_ || scans_.back().HasTexts();
  }
}

const TableScan& RowLookup::FindScan(uint64& row) const {
  std::size_t chunk = 0;
  for (; row >= table_.chunks[chunk].rows; ++chunk) row -= table_.chunks[chunk].rows;
  return scans_[chunk];
}

void RowLookup::PrefetchTexts(uint64 row) const {
  const TableScan& scan = FindScan(row);
  scan.PrefetchTexts(row);
}

void RowLookup::Enter(uint64 row) {
  const TableChunk& chunk = FindChunk(table_, row, firstRow_);
  rows_ = chunk.rows;
  scan_ = &scans_[static_cast<std::size_t>(&chunk - table_.chunks.data())];
  scan_->Resume();
}

void LateWriters::FindDoubtful(std::vector<FieldWriter>& writers, WorkRecord& target) {
  for (std::size_t i = 0; i < writers.size(); ++i) {
    RExpression& tree = writers[i].GetTree();
    // A column fits the field that was made for it.
    if (dynamic_cast<Extract*>(&tree) == nullptr) doubtful_.push_back({&tree, {target, i}});
  }
}

bool LateWriters::Admit(const BatchRows& rows) {
  if (rows.GetWanted() == 0) return true;
  for (Doubtful& one : doubtful_) {
    BatchVector vector;
    if (!EvaluateBatch(*one.tree, rows, vector) || !one.field.Use(vector, rows)) return false;
  }
  return true;
}

}  // namespace sqxer
