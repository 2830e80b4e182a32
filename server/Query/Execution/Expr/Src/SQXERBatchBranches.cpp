#include "SQXERBatchBranches.h"

#include <algorithm>

#include "SQXERBatchLoops.h"

namespace sqxer {

BatchBranches::BatchBranches(const BatchRows& rows, BatchBuffers& buffers)
    : rows_(rows), buffers_(buffers), takenRows_(buffers.Rows()), otherRows_(buffers.OtherRows()) {}

template <class Value, class Read>
void BatchBranches::Gather(ColumnForm form, BatchVector& out, Read&& read) {
  Value* const values = buffers_.Values<Value>();
  for (const Branch& branch : branches_) {
    for (uint32 i = branch.first; i < branch.last; ++i) {
      const uint32 row = takenRows_[i];
      if (!branch.values.IsNull(row)) values[row] = read(branch.values, row);
    }
  }
  out.form = form;
  out.values = reinterpret_cast<const uint8*>(values);
}

bool BatchBranches::GatherDecimals(BatchVector& out) {
  int16 scale = 0;
  for (const Branch& branch : branches_) scale = std::max(scale, branch.values.scale);
  ColumnBounds<int64> all{0, 0};
  const bool isPlain = std::ranges::all_of(branches_, [&](const Branch& branch) {
    if (branch.values.form != ColumnForm::kDecimal64) return false;
    BatchRows rows = rows_;
    rows.selected = takenRows_ + branch.first;
    rows.selectedCount = branch.last - branch.first;
    ColumnBounds<int64> bounds = FindBounds<int64>(branch.values, rows);
    for (int i = branch.values.scale; i < scale; ++i) {
      if (__builtin_mul_overflow(bounds.least, 10, &bounds.least) ||
          __builtin_mul_overflow(bounds.greatest, 10, &bounds.greatest)) {
        return false;
      }
    }
    all = {std::min(all.least, bounds.least), std::max(all.greatest, bounds.greatest)};
    return true;
  });
  if (!isPlain) {
    Gather<VelmarNumber>(ColumnForm::kNumber, out, [](const BatchVector& values, uint32 row) {
      return ReadBatchValue<VelmarNumber>(values, row);
    });
    return true;
  }
  Gather<int64>(ColumnForm::kDecimal64, out, [&](const BatchVector& values, uint32 row) {
    int64 value = values.As<int64>()[values.isConstant ? 0 : row];
    for (int i = values.scale; i < scale; ++i) value *= 10;
    return value;
  });
  out.scale = scale;
  buffers_.Block() = ColumnBlock();
  buffers_.Block().hasBounds = true;
  buffers_.Block().whole = all;
  out.block = &buffers_.Block();
  return true;
}

bool BatchBranches::Finish(BatchVector& out) {
  out = BatchVector();
  // Every row of a branch that is NULL throughout says nothing of the form.
  std::erase_if(branches_, [](const Branch& branch) {
    return branch.values.isConstant && branch.values.IsNull(0);
  });
  uint64* const validity = buffers_.Validity();
  std::fill_n(validity, kMostBatchWords, 0);
  for (const Branch& branch : branches_) {
    for (uint32 i = branch.first; i < branch.last; ++i) {
      const uint32 row = takenRows_[i];
      validity[row / 64] |= uint64{!branch.values.IsNull(row)} << row % 64;
    }
  }
  out.validity = validity;
  if (branches_.empty()) {
    // NULL in every row: its first bit says so.
    out.isConstant = true;
    out.values = reinterpret_cast<const uint8*>(buffers_.Values<VelmarNumber>());
    return true;
  }
  const ColumnForm form = branches_.front().values.form;
  if (form == ColumnForm::kDecimal64 || form == ColumnForm::kNumber) return GatherDecimals(out);
  if (form == ColumnForm::kTimeStamp64 || form == ColumnForm::kDateTime) {
    Gather<XeDateTime>(ColumnForm::kDateTime, out, [](const BatchVector& values, uint32 row) {
      return ReadBatchValue<XeDateTime>(values, row);
    });
    return true;
  }
  const bool isOneForm = std::ranges::all_of(
      branches_, [form](const Branch& branch) { return branch.values.form == form; });
  if (IsTextForm(form)) {
    BatchText* const texts = buffers_.Texts();
    buffers_.ClearTexts();
    for (const Branch& branch : branches_) {
      for (uint32 i = branch.first; i < branch.last; ++i) {
        const uint32 row = takenRows_[i];
        if (branch.values.IsNull(row)) continue;
        if (isOneForm || branch.values.form == ColumnForm::kText32) {
          texts[row] = branch.values.GetText(row);
        } else {
          const RefLongVarChar wide = buffers_.Widen(branch.values, row, 0);
          texts[row] = buffers_.Keep(wide.buffer_, wide.length_);
        }
      }
    }
    out.form = isOneForm ? form : ColumnForm::kText32;
    out.texts = texts;
    return true;
  }
  if (!isOneForm) return false;
  const auto gather = [&]<class Value>(std::type_identity<Value>) {
    Gather<Value>(form, out, [](const BatchVector& values, uint32 row) {
      return values.As<Value>()[values.isConstant ? 0 : row];
    });
    return true;
  };
  switch (WidthOfForm(form)) {
    case 1:
      return gather(std::type_identity<uint8>());
    case 2:
      return gather(std::type_identity<uint16>());
    case 4:
      return gather(std::type_identity<uint32>());
    default:
      return gather(std::type_identity<uint64>());
  }
}

bool EvalFirstValue(std::span<RExpression* const> trees, const BatchRows& rows,
                    BatchBuffers& buffers, BatchVector& out) {
  BatchBranches branches(rows, buffers);
  for (RExpression* const tree : trees) {
    if (!branches.HasRows()) break;
    BatchVector values;
    if (!EvaluateBatch(*tree, branches.GetRows(), values)) return false;
    branches.Take(values, [&](uint32 row) { return !values.IsNull(row); });
  }
  return branches.Finish(out);
}

}  // namespace sqxer
