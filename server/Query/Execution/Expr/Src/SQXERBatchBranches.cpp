#include "SQXERBatchBranches.h"

#include <algorithm>

#include "SQXERBatchArithmetic.h"

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

std::optional<WideBounds> BatchBranches::FindDecimalBounds(int scale) const {
  WideBounds all{0, 0};
  for (const Branch& branch : branches_) {
    if (!IsScaled(branch.values.form)) return {};
    BatchRows rows = rows_;
    rows.selected = takenRows_ + branch.first;
    rows.selectedCount = branch.last - branch.first;
    WideBounds bounds = FindScaledBounds(branch.values, rows);
    if (!ScaleBounds(scale - branch.values.scale, bounds)) return {};
    all = {std::min(all.least, bounds.least), std::max(all.greatest, bounds.greatest)};
  }
  return all;
}

template <class Stored>
void BatchBranches::GatherScaled(ColumnForm form, int scale, BatchVector& out) {
  Gather<Stored>(form, out, [&](const BatchVector& values, uint32 row) {
    const uint32 at = values.isConstant ? 0 : row;
    Stored value;
    if (std::same_as<Stored, int64> || values.form == ColumnForm::kDecimal64) {
      value = values.As<int64>()[at];
    } else {
      value = static_cast<Stored>(values.As<int128>()[at]);
    }
    for (int i = values.scale; i < scale; ++i) value *= 10;
    return value;
  });
  out.scale = static_cast<int16>(scale);
}

void BatchBranches::GatherDecimals(BatchVector& out) {
  int16 scale = 0;
  for (const Branch& branch : branches_) scale = std::max(scale, branch.values.scale);
  const std::optional<WideBounds> bounds = FindDecimalBounds(scale);
  const bool areWords = std::ranges::all_of(
      branches_, [](const Branch& branch) { return branch.values.form == ColumnForm::kDecimal64; });
  if (!bounds || !HaveDecimalDigits(*bounds)) {
    Gather<VelmarNumber>(ColumnForm::kNumber, out, [](const BatchVector& values, uint32 row) {
      return ReadBatchValue<VelmarNumber>(values, row);
    });
  } else if (areWords && AreWithin<int64>(*bounds)) {
    GatherScaled<int64>(ColumnForm::kDecimal64, scale, out);
    KnowBounds(*bounds, buffers_.Block(), out);
  } else {
    GatherScaled<int128>(ColumnForm::kDecimal128, scale, out);
    KnowWideBounds(*bounds, buffers_.Block(), out);
  }
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
  if (IsScaled(form) || form == ColumnForm::kNumber) {
    GatherDecimals(out);
    return true;
  }
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
    case sizeof(XeInterval):
      return gather(std::type_identity<XeInterval>());
    default:
      return gather(std::type_identity<uint64>());
  }
}

namespace {

/// Writes for each row whether a condition is true: all bits of a byte, or none.
void FindTaken(const BatchVector& condition, uint32 count, uint8* __restrict taken) {
  constexpr uint8 kAll = UINT8_MAX;
  if (condition.isConstant) {
    const bool isTrue = !condition.IsNull(0) && condition.values[0] == 1;
    std::fill_n(taken, count, isTrue ? kAll : 0);
    return;
  }
  const uint8* const truths = condition.values;
  for (uint32 row = 0; row < count; ++row) taken[row] = static_cast<uint8>(0 - truths[row]);
  ForEachNull(condition, count, [taken](uint32 row) { taken[row] = 0; });
}

/// Puts the values of the rows that take a branch over those that stand there. Both are read, and
/// one is taken by its bits: no row is branched to.
template <class Word>
void BlendValues(const BatchVector& values, const uint8* __restrict taken, uint32 count,
                 Word* __restrict blended) {
  const auto blend = [&](auto at) {
    for (uint32 row = 0; row < count; ++row) {
      const auto mask = static_cast<Word>(static_cast<int8>(taken[row]));
      blended[row] =
          static_cast<Word>((at(row) & mask) | (blended[row] & static_cast<Word>(~mask)));
    }
  };
  if (values.isConstant) {
    blend([word = *values.As<Word>()](uint32) { return word; });
  } else {
    blend([words = values.As<Word>()](uint32 row) { return words[row]; });
  }
}

/// Constants are brought to the scale of the others; false where the scales differ all the same.
bool AlignScales(std::span<BatchVector> results, std::span<int64> constants) {
  int16 scale = 0;
  for (const BatchVector& result : results) scale = std::max(scale, result.scale);
  for (std::size_t i = 0; i < results.size(); ++i) {
    BatchVector& result = results[i];
    if (result.scale == scale || (result.isConstant && result.IsNull(0))) continue;
    if (!result.isConstant) return false;
    constants[i] = *result.As<int64>();
    for (; result.scale < scale; ++result.scale) {
      if (__builtin_mul_overflow(constants[i], 10, &constants[i])) return false;
    }
    result.values = reinterpret_cast<const uint8*>(&constants[i]);
  }
  return true;
}

/// The result where one branch alone has values, and NULL wherever it is not taken.
void TakeOneBranch(const BatchVector& result, const uint8* taken, const BatchRows& rows,
                   BatchBuffers& buffers, BatchVector& out) {
  uint64* const validity = buffers.Validity();
  for (uint32 word = 0; word < (rows.count + 63) / 64; ++word) {
    const bool isFull = result.isConstant || result.validity == nullptr;
    const uint64 bits = PackTruths(taken + word * std::size_t{64});
    validity[word] = isFull ? bits : bits & result.validity[word];
  }
  out = result;
  out.validity = validity;
  out.block = nullptr;
  if (!result.isConstant) return;
  // Every row has the value, also those that have not taken it.
  const std::size_t width = WidthOfForm(result.form);
  const auto fill = [&]<class Word>(std::type_identity<Word>) {
    Word* const values = buffers.Values<Word>();
    std::fill_n(values, rows.count, *result.As<Word>());
    out.values = reinterpret_cast<const uint8*>(values);
  };
  width == 1   ? fill(std::type_identity<uint8>())
  : width == 2 ? fill(std::type_identity<uint16>())
  : width == 4 ? fill(std::type_identity<uint32>())
               : fill(std::type_identity<uint64>());
  out.isConstant = false;
}

}  // namespace

bool BlendBranches(std::span<const BatchVector> conditions, std::span<const BatchVector> given,
                   const BatchRows& rows, BatchBuffers& buffers, BatchVector& out) {
  std::vector<BatchVector> results(given.begin(), given.end());
  std::vector<int64> constants(results.size());
  const auto isNull = [](const BatchVector& result) {
    return result.isConstant && result.IsNull(0);
  };
  const auto typed = std::ranges::find_if_not(results, isNull);
  if (typed == results.end()) return false;
  const ColumnForm form = typed->form;
  const bool isOneForm = std::ranges::all_of(
      results, [&](const BatchVector& result) { return isNull(result) || result.form == form; });
  if (!isOneForm || IsTextForm(form) || WidthOfForm(form) > sizeof(uint64)) return false;
  if (conditions.size() == 1 && !isNull(results[0]) &&
      (results.size() == 1 || isNull(results[1]))) {
    uint8 taken[kMostBatchRows];
    FindTaken(conditions[0], rows.count, taken);
    TakeOneBranch(results[0], taken, rows, buffers, out);
    return true;
  }
  // NULL says nothing of the form.
  for (BatchVector& result : results) {
    if (isNull(result)) result.scale = typed->scale;
  }
  if (form == ColumnForm::kDecimal64 && !AlignScales(results, constants)) return false;

  const uint32 words = (rows.count + 63) / 64;
  uint64* const validity = buffers.Validity();
  std::fill_n(validity, words, 0);
  uint8 taken[kMostBatchRows];
  const auto blend = [&]<class Word>(std::type_identity<Word>) {
    Word* const blended = buffers.Values<Word>();
    const auto put = [&](const BatchVector& result) {
      if (!isNull(result)) BlendValues(result, taken, rows.count, blended);
      for (uint32 word = 0; word < words; ++word) {
        const uint64 valid = isNull(result)               ? 0
                             : result.isConstant          ? ~uint64{0}
                             : result.validity == nullptr ? ~uint64{0}
                                                          : result.validity[word];
        const uint64 bits = PackTruths(taken + word * std::size_t{64});
        validity[word] = (validity[word] & ~bits) | (valid & bits);
      }
    };
    // From the last branch to the first, which is what counts.
    std::fill_n(taken, rows.count, uint8{UINT8_MAX});
    if (results.size() > conditions.size()) put(results.back());
    for (std::size_t i = conditions.size(); i-- > 0;) {
      FindTaken(conditions[i], rows.count, taken);
      put(results[i]);
    }
    out = BatchVector();
    out.form = form;
    out.scale = typed->scale;
    out.values = reinterpret_cast<const uint8*>(blended);
    out.validity = validity;
  };
  switch (WidthOfForm(form)) {
    case 1:
      blend(std::type_identity<uint8>());
      break;
    case 2:
      blend(std::type_identity<uint16>());
      break;
    case 4:
      blend(std::type_identity<uint32>());
      break;
    default:
      blend(std::type_identity<uint64>());
      break;
  }
  return true;
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
