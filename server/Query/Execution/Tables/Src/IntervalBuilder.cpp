#include "TextRun.h"
#include "TypedBuilder.h"
#include "VectorBuilders.h"

namespace sqxer {
namespace {

/// Intervals, of columns that are declared to hold them.
class IntervalBuilder final : public TypedBuilder<IntervalBuilder> {
 public:
  static constexpr bool kTakesQuoted = true;
  explicit IntervalBuilder(const Options& options) : TypedBuilder(options) {}

  void Reserve(uint64 more) { values_.Reserve((rows_ + more) * sizeof(XeInterval)); }
  Outcome TakeText(std::string_view text, uint64 row) {
    wide_.assign(text.begin(), text.end());
    const bool isRead =
        ReadInterval(wide_, values_.As<XeInterval>()[row]) == IntervalReading::kRead;
    return isRead ? Outcome::kTaken : Outcome::kUnreadable;
  }
  void TakeNull(uint64 row) { values_.As<XeInterval>()[row] = XeInterval(); }

 private:
  ColumnVector ShowValues() const override {
    ColumnVector vector;
    vector.form = ColumnForm::kInterval;
    vector.values = values_.GetData();
    vector.rows = rows_;
    return vector;
  }
  ColumnVector TakeValues() override {
    Reserve(1);
    auto kept = std::make_shared<KeptBuffers>();
    values_.Shrink(rows_ * sizeof(XeInterval));
    ColumnVector vector = ShowValues();
    kept->values = std::move(values_);
    vector.values = kept->values.GetData();
    vector.owner = std::move(kept);
    return vector;
  }

  ColumnBuffer values_;
  XeString wide_;
};

}  // namespace

std::unique_ptr<VectorBuilder> MakeIntervalBuilder(const VectorBuilder::Options& options) {
  return std::make_unique<IntervalBuilder>(options);
}

}  // namespace sqxer
