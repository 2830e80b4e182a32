// Trees that read one column of few different values are evaluated once for each of them.

#include "SQXERBatchFewValues.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "SQXERBatchLoops.h"
#include "SQXERBatchOperands.h"
#include "SQXERExprExtract.h"
#include "SQXERExpression.h"
#include "Utility/FixedWidths.h"

namespace sqxer {

/// The results of a tree for the values that its only column has in a part of the table.
struct BatchBuffers::FewValues {
  enum class State { kUnknown, kUsable, kUseless };

  /// The only field that the tree reads, if it reads one and nothing else that changes.
  std::optional<uint32> field;
  bool isFieldKnown = false;

  /// It reads none: its value is the same in every row.
  bool isConstant = false;

  /// What the results belong to.
  uint64 run = 0;
  std::shared_ptr<const ColumnVector> dictionary;
  ColumnBounds<int64> days{0, -1};
  State state = State::kUnknown;

  /// For each value, and last for NULL: the vector of the results, in memory of their own.
  ColumnForm form = ColumnForm::kInt32;
  int16 scale = 0;
  bool isAlwaysValid = true;
  /// Of every value there is a result, and of NULL there is none.
  bool isNullWithColumn = true;
  std::vector<uint8> values;
  std::vector<BatchText> texts;
  std::vector<uint8> isValid;
  std::vector<std::unique_ptr<uint8[]>> characters;
  /// What all results tell of those of any batch.
  ColumnBlock known;
};

BatchBuffers::BatchBuffers() = default;
BatchBuffers::~BatchBuffers() = default;

bool IsSameInEveryRow(RExpression& tree) {
  switch (tree.GetExpressionType()) {
    case kParamExpression:
    case kConstantExpression:
    case kConstantNumberExpression:
    case kConstantNullExpression:
    case kConstantLongVarXeCharExpression:
      return true;
    default:
      break;
  }
  if (tree.CountOperands() == 0 || tree.IsVolatile()) return false;
  for (int i = 0; i < tree.CountOperands(); ++i) {
    RExpression* const operand = tree.GetIthOperand(i);
    if (operand != nullptr && !IsSameInEveryRow(*operand)) return false;
  }
  return true;
}

/// Evaluates trees over a column of few different values once for each of them.
class FewValuesEvaluation {
 public:
  FewValuesEvaluation(RExpression& tree, const BatchRows& rows)
      : tree_(tree), rows_(rows), buffers_(tree.GetBatchBuffers()) {
    if (!buffers_.fewValues_) buffers_.fewValues_ = std::make_unique<BatchBuffers::FewValues>();
    few_ = buffers_.fewValues_.get();
  }

  /// Whether `out` now has the values for the rows.
  bool Try(BatchVector& out) {
    if (!few_->isFieldKnown) {
      bool isVarying = false;
      FindFields(tree_, isVarying);
      few_->isConstant = IsSameInEveryRow(tree_);
      if (isVarying) few_->field.reset();
      few_->isFieldKnown = true;
    }
    if (few_->isConstant && rows_.GetWanted() != 0 && tree_.EvalOnce(rows_, out)) return true;
    if (!few_->field) return false;
    const BatchVector& column = rows_.source->GetField(*few_->field);
    if (column.dictionary != nullptr) {
      if (few_->run != rows_.source->GetRun() || few_->dictionary != *column.dictionary) {
        few_->dictionary = *column.dictionary;
        Prepare((*column.dictionary)->rows, 0);
      }
    } else if (column.form == ColumnForm::kDay32 && !column.isConstant) {
      ColumnBounds<int64> days;
      if (!rows_.source->GetDays(*few_->field, days) || days.greatest < days.least) return false;
      if (few_->run != rows_.source->GetRun() || few_->dictionary ||
          few_->days.least != days.least || few_->days.greatest != days.greatest) {
        few_->dictionary.reset();
        few_->days = days;
        Prepare(static_cast<uint64>(days.greatest - days.least) + 1, days.least);
      }
    } else {
      return false;
    }
    if (few_->state != BatchBuffers::FewValues::State::kUsable) return false;
    Spread(column, out);
    return true;
  }

 private:
  using State = BatchBuffers::FewValues::State;

  /// More results than this are not worth their memory.
  static constexpr uint64 kMostValues = 8192;
  /// So many rows are to share a result.
  static constexpr uint64 kLeastShared = 4;

  void FindFields(RExpression& node, bool& isVarying) {
    if (isVarying) return;
    if (IsSameInEveryRow(node)) return;
    if (auto* const column = dynamic_cast<Extract*>(&node)) {
      if (column->ReadsRecord()) {
        const auto field = static_cast<uint32>(column->GetFieldIndex());
        isVarying = few_->field && *few_->field != field;
        few_->field = field;
      } else {
        isVarying = true;
      }
      return;
    }
    if (node.CountOperands() == 0) isVarying = true;
    for (int i = 0; i < node.CountOperands(); ++i) {
      if (RExpression* const operand = node.GetIthOperand(i)) FindFields(*operand, isVarying);
    }
  }

  /// A record with one value after the other, and NULL last.
  class Entries final : public BatchSource {
   public:
    Entries(BatchSource& source, uint32 field, uint64 values, int64 first)
        : source_(source), field_(field), values_(values), first_(first) {}
    ~Entries() override { source_.RestoreField(field_); }

    void Start(uint64 at) { at_ = at; }
    const BatchVector& GetField(uint32) override { XeLogicError("a column of entries"); }
    void FillRow(uint32 row) override {
      const uint64 entry = at_ + row;
      source_.FillField(field_, first_ + static_cast<int64>(entry), entry == values_);
    }
    void FillField(uint32, int64, bool) override { XeLogicError("an entry of entries"); }
    void RestoreField(uint32) override {}
    bool IsNullable(uint32 field) const override { return source_.IsNullable(field); }
    uint64 GetChunkRows() const override { return 0; }
    bool GetDays(uint32, ColumnBounds<int64>&) const override { return false; }
    uint64 GetRun() const override { return source_.GetRun(); }

   private:
    BatchSource& source_;
    const uint32 field_;
    const uint64 values_;
    const int64 first_;
    uint64 at_ = 0;
  };

  void Prepare(uint64 values, int64 first) {
    few_->run = rows_.source->GetRun();
    few_->state = State::kUseless;
    if (values > kMostValues || values * kLeastShared > rows_.source->GetChunkRows()) return;
    few_->values.clear();
    few_->texts.clear();
    few_->isValid.clear();
    few_->characters.clear();
    Entries entries(*rows_.source, *few_->field, values, first);
    const bool hasNull = rows_.source->GetField(*few_->field).validity != nullptr ||
                         rows_.source->IsNullable(*few_->field);
    const uint64 all = values + (hasNull ? 1 : 0);
    for (uint64 at = 0; at < all; at += kMostBatchRows) {
      entries.Start(at);
      BatchRows rows;
      rows.source = &entries;
      rows.count = static_cast<uint32>(std::min<uint64>(kMostBatchRows, all - at));
      BatchVector results;
      try {
        // By rows: the values of all of them would not pay for more.
        if (!tree_.EvalByRows(rows, results)) return;
      } catch (...) {
        // Some value that no row may have is refused, perhaps by a function of the program's.
        return;
      }
      Append(rows.count, results);
    }
    const auto firstInvalid = std::ranges::find(few_->isValid, uint8{0});
    few_->isAlwaysValid = firstInvalid == few_->isValid.end();
    few_->isNullWithColumn = hasNull && firstInvalid == few_->isValid.end() - 1;
    Simplify();
    Describe();
    few_->state = State::kUsable;
  }

  void Describe() {
    few_->known = ColumnBlock();
    if (IsTextForm(few_->form)) return;
    const std::size_t count = few_->isValid.size();
    std::vector<uint64> validity(count / 64 + 1);
    for (std::size_t i = 0; i < count; ++i) validity[i / 64] |= uint64{few_->isValid[i]} << i % 64;
    ColumnVector results;
    results.form = few_->form;
    results.rows = count;
    results.values = few_->values.data();
    results.validity = validity.data();
    few_->known = DescribeBlock(results, 0, count, false);
    few_->known.rows = few_->known.nulls = 0;
  }

  /// Decimals get a fast form if one scale and 64 or 128 bits hold them all.
  void Simplify() {
    if (few_->form != ColumnForm::kNumber) return;
    const auto* const numbers = reinterpret_cast<const VelmarNumber*>(few_->values.data());
    int scale = 0;
    for (std::size_t i = 0; i < few_->isValid.size(); ++i) {
      if (few_->isValid[i] != 0) scale = std::max(scale, numbers[i].decimalPlaces());
    }
    if (scale <= kMostScale64 && TryScale<int64>(ColumnForm::kDecimal64, scale)) return;
    if (scale <= kDecimalDigits) TryScale<int128>(ColumnForm::kDecimal128, scale);
  }

  template <class Stored>
  bool TryScale(ColumnForm form, int scale) {
    const auto* const numbers = reinterpret_cast<const VelmarNumber*>(few_->values.data());
    const std::size_t count = few_->isValid.size();
    std::vector<Stored> scaled(count);
    for (std::size_t i = 0; i < count; ++i) {
      if (few_->isValid[i] != 0 && !numbers[i].TryScaled(scale, scaled[i])) return false;
    }
    few_->form = form;
    few_->scale = static_cast<int16>(scale);
    few_->values.resize(count * sizeof(Stored));
    std::memcpy(few_->values.data(), scaled.data(), few_->values.size());
    return true;
  }

  void Append(uint32 count, const BatchVector& results) {
    few_->form = results.form;
    few_->scale = results.scale;
    for (uint32 row = 0; row < count; ++row) {
      few_->isValid.push_back(!results.IsNull(row));
    }
    if (!IsTextForm(results.form)) {
      few_->values.insert(few_->values.end(), results.values,
                          results.values + std::size_t{count} * WidthOfForm(results.form));
      return;
    }
    for (uint32 row = 0; row < count; ++row) {
      BatchText text;
      if (!results.IsNull(row)) text = results.GetText(row);
      const std::size_t bytes = text.length * std::size_t{WidthOfForm(results.form)};
      few_->characters.push_back(std::make_unique_for_overwrite<uint8[]>(bytes));
      std::copy_n(text.characters, bytes, few_->characters.back().get());
      few_->texts.push_back({few_->characters.back().get(), text.length});
    }
  }

  /// The place of a row's result.
  template <class Use>
  void WithPlaces(const BatchVector& column, Use&& use) {
    if (column.dictionary == nullptr) {
      const int32* const days = column.As<int32>();
      const auto least = static_cast<int32>(few_->days.least);
      use([days, least](uint32 row) { return static_cast<uint32>(days[row] - least); });
    } else if (column.codeWidth == 1) {
      use([codes = column.values](uint32 row) { return uint32{codes[row]}; });
    } else if (column.codeWidth == 2) {
      use([codes = column.As<uint16>()](uint32 row) { return uint32{codes[row]}; });
    } else {
      use([codes = column.As<uint32>()](uint32 row) { return codes[row]; });
    }
  }

  template <class T>
  void SpreadValues(const T* results, T* __restrict values, const BatchVector& column) {
    const auto last = static_cast<uint32>(few_->isValid.size() - 1);
    WithPlaces(column, [&](auto place) {
      if (column.validity == nullptr || few_->isNullWithColumn) {
        // What stands at a NULL may be no value that there is.
        rows_.ForEach([&](uint32 row) { values[row] = results[std::min(place(row), last)]; });
      } else {
        rows_.ForEach(
            [&](uint32 row) { values[row] = results[column.IsNull(row) ? last : place(row)]; });
      }
    });
  }

  void Spread(const BatchVector& column, BatchVector& out) {
    out = BatchVector();
    out.form = few_->form;
    out.scale = few_->scale;
    if (IsTextForm(few_->form)) {
      BatchText* const texts = buffers_.Texts();
      SpreadValues(few_->texts.data(), texts, column);
      out.texts = texts;
    } else {
      WithFixedWidth(WidthOfForm(few_->form), [&](auto width) {
        using Bytes = BytesOf<width>;
        Bytes* const values = buffers_.Values<Bytes>();
        SpreadValues(reinterpret_cast<const Bytes*>(few_->values.data()), values, column);
        out.values = reinterpret_cast<const uint8*>(values);
      });
      out.block = &few_->known;
    }
    if (few_->isAlwaysValid) return;
    if (few_->isNullWithColumn) {
      out.validity = column.validity;
      return;
    }
    uint8 isValid[kMostBatchRows];
    SpreadValues(few_->isValid.data(), isValid, column);
    uint64* const validity = buffers_.Validity();
    std::fill_n(validity, kMostBatchWords, 0);
    rows_.ForEach([&](uint32 row) { validity[row / 64] |= uint64{isValid[row]} << row % 64; });
    out.validity = validity;
  }

  template <std::size_t width>
  struct [[gnu::may_alias]] BytesOf {
    uint8 bytes[width];
  };
  RExpression& tree_;
  const BatchRows& rows_;
  BatchBuffers& buffers_;
  BatchBuffers::FewValues* few_;
};

bool EvaluateFewValues(RExpression& tree, const BatchRows& rows, BatchVector& out) {
  // What is free is computed before it is looked up.
  return tree.CountOperands() > 0 && tree.GetBatchCost() != BatchCost::kFree &&
         FewValuesEvaluation(tree, rows).Try(out);
}

}  // namespace sqxer
