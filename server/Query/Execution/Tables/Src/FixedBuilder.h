#pragma once

#include <memory>

#include "TextRun.h"
#include "TypedBuilder.h"
#include "ValueReader.h"

namespace sqxer {

/// A builder of values side by side. `Derived` has ReadText(text, value): the common notation read
/// at once, everything else by the general readers.
template <class Derived, class Stored>
class FixedBuilder : public TypedBuilder<Derived> {
 public:
  using Outcome = VectorBuilder::Outcome;

  void Reserve(uint64 more) { values_.Reserve((this->rows_ + more) * sizeof(Stored)); }
  [[gnu::always_inline]] Outcome TakeText(std::string_view text, uint64 row) {
    Stored value;
    if (!static_cast<Derived*>(this)->ReadText(text, value)) return Outcome::kUnreadable;
    Values()[row] = value;
    return Outcome::kTaken;
  }
  void TakeNull(uint64 row) { Values()[row] = Stored(); }

 protected:
  FixedBuilder(const VectorBuilder::Options& options, ColumnForm form)
      : TypedBuilder<Derived>(options), form_(form) {}

  /// Whether the general readers may be asked: a column of an inferred type takes only what has its
  /// kind.
  bool HasKind(std::string_view text, unsigned kind) const {
    return !this->IsInferred() || (ClassifyText(text) & kind) != 0;
  }

  Stored* Values() { return values_.template As<Stored>(); }

  ColumnVector ShowValues() const override {
    ColumnVector vector;
    vector.form = form_;
    vector.rows = this->rows_;
    vector.values = values_.GetData();
    return vector;
  }
  ColumnVector TakeValues() override {
    Reserve(1);
    auto kept = std::make_shared<KeptBuffers>();
    values_.Shrink(this->rows_ * sizeof(Stored));
    kept->values = std::move(values_);
    values_ = ColumnBuffer();
    ColumnVector vector;
    vector.form = form_;
    vector.values = kept->values.GetData();
    vector.owner = std::move(kept);
    return vector;
  }

 private:
  ColumnForm form_;
  ColumnBuffer values_;
};

}  // namespace sqxer
