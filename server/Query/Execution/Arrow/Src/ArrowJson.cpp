#include <algorithm>
#include <charconv>
#include <cmath>

#include "ArrowColumn.h"
#include "TableError.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/DateTimeMetaData.h"
#include "Utility/JsonText.h"
#include "Utility/NumberText.h"
#include "VectorBuilder.h"

namespace sqxer {
namespace {

/// A value of each row as JSON. NULLs are null, and so are numbers that JSON has not.
class JsonPart {
 public:
  virtual ~JsonPart() = default;
  virtual void Append(uint64 row, std::string& out) const = 0;
};
using JsonPartPtr = std::unique_ptr<const JsonPart>;

JsonPartPtr MakePart(const ArrowView& view, const ArrowReading& reading);

class JsonLeaf final : public JsonPart {
 public:
  JsonLeaf(const ArrowView& view, const ArrowReading& reading)
      : vector_(ReadArrowColumn(view, reading).vector),
        isTruth_(TypeOfArrowField(*view.field, reading.takesBinaryAsText) == XeBoolean) {}

  void Append(uint64 row, std::string& out) const override {
    if (vector_.IsNull(row)) {
      out += "null";
    } else if (isTruth_) {
      out += vector_.values[row] != 0 ? "true" : "false";
    } else if (IsTextForm(vector_.form)) {
      AppendText(row, out);
    } else {
      AppendValue(row, out);
    }
  }

 private:
  template <class T>
  T Get(uint64 row) const {
    return reinterpret_cast<const T*>(vector_.values)[row];
  }

  void AppendText(uint64 row, std::string& out) const {
    const ColumnVector& texts = vector_.dictionary ? *vector_.dictionary : vector_;
    const uint64 entry = vector_.dictionary ? vector_.GetCode(row) : row;
    const uint64 start = texts.GetOffset(entry);
    const uint64 length = texts.GetOffset(entry + 1) - start;
    if (texts.form == ColumnForm::kText8) {
      const uint8* const characters = texts.values + start;
      JSon::AppendText(BaseStringUtil::StringToUtf8(XeString(characters, characters + length)),
                       out);
    } else {
      const auto* const characters = reinterpret_cast<const wchar_t*>(texts.values) + start;
      JSon::AppendText(BaseStringUtil::StringToUtf8({characters, length}), out);
    }
  }

  static void AppendAscii(const XeString& text, std::string& out) {
    out += BaseStringUtil::StringToUtf8(text);
  }
  static void AppendQuotedAscii(const XeString& text, std::string& out) {
    out += '"';
    AppendAscii(text, out);
    out += '"';
  }

  void AppendValue(uint64 row, std::string& out) const {
    switch (vector_.form) {
      case ColumnForm::kDay32:
        return AppendQuotedAscii(DateText(FromDay32(Get<int32>(row))), out);
      case ColumnForm::kTime64:
        return AppendQuotedAscii(TimeText(FromTime64(Get<int64>(row))), out);
      case ColumnForm::kTimeStamp64:
        return AppendQuotedAscii(DateTimeText(FromTimeStamp64(Get<int64>(row))), out);
      case ColumnForm::kDateTime:
        return AppendQuotedAscii(DateTimeText(Get<XeDateTime>(row)), out);
      case ColumnForm::kInterval:
        return AppendQuotedAscii(IntervalText(Get<XeInterval>(row)), out);
      case ColumnForm::kDecimal64:
        return AppendAscii(VelmarNumber::FromScaled(Get<int64>(row), vector_.scale).asString(),
                           out);
      case ColumnForm::kDecimal128:
        return AppendAscii(VelmarNumber::FromScaled(Get<int128>(row), vector_.scale).asString(),
                           out);
      case ColumnForm::kNumber:
        return AppendAscii(Get<VelmarNumber>(row).asString(), out);
      default:
        WithNumberType(vector_.form, [&]<class T>(std::type_identity<T>) {
          const T value = Get<T>(row);
          if constexpr (std::is_floating_point_v<T>) {
            out += std::isfinite(value) ? RealText(value).Get() : "null";
          } else {
            out += std::to_string(value);
          }
        });
    }
  }

  ColumnVector vector_;
  bool isTruth_;
};

/// What values of several parts share: the rows that are NULL.
class JsonNested : public JsonPart {
 public:
  void Append(uint64 row, std::string& out) const final {
    if (IsNull(row)) {
      out += "null";
    } else {
      AppendParts(row, out);
    }
  }

 protected:
  explicit JsonNested(const ArrowView& view) {
    if (view.MayHaveNulls()) CopyArrowValidity(view, validity_);
  }
  virtual void AppendParts(uint64 row, std::string& out) const = 0;

  bool IsNull(uint64 row) const {
    return validity_.GetData() != nullptr &&
           (validity_.As<uint64>()[row / 64] >> row % 64 & 1) == 0;
  }
  /// A part of the same rows; what stands in it at a NULL of this value is not looked at.
  ArrowView Mask(ArrowView part) const {
    if (validity_.GetData() != nullptr) part.parentValidity = {validity_.GetData(), 0, 0};
    return part;
  }

 private:
  ColumnBuffer validity_;
};

class JsonStruct final : public JsonNested {
 public:
  JsonStruct(const ArrowView& view, const ArrowReading& reading) : JsonNested(view) {
    for (std::size_t i = 0; i < view.field->children.size(); ++i) {
      const ArrowView child = OpenArrowChild(view, i, view.first, view.rows, reading);
      std::string key;
      JSon::AppendText(BaseStringUtil::StringToUtf8(child.field->name), key);
      members_.push_back({std::move(key), MakePart(Mask(child), reading)});
    }
  }

 protected:
  void AppendParts(uint64 row, std::string& out) const override {
    out += '{';
    for (const Member& member : members_) {
      if (&member != members_.data()) out += ',';
      out += member.key;
      out += ':';
      member.part->Append(row, out);
    }
    out += '}';
  }

 private:
  struct Member {
    std::string key;
    JsonPartPtr part;
  };
  std::vector<Member> members_;
};

/// Stretches of another array's rows, one for each row.
class Stretches {
 public:
  struct Stretch {
    uint64 first;
    uint64 end;
  };

  Stretches(const ArrowView& view, const ArrowReading& reading) {
    stretches_.reserve(view.rows);
    switch (view.field->kind) {
      case ArrowKind::kLargeList:
        AddOffsets<int64>(view, reading);
        break;
      case ArrowKind::kListView:
        AddViews<int32>(view, reading);
        break;
      case ArrowKind::kLargeListView:
        AddViews<int64>(view, reading);
        break;
      case ArrowKind::kFixedList:
        AddFixed(view, reading);
        break;
      default:
        AddOffsets<int32>(view, reading);
        break;
    }
  }

  /// From the first row of the other array that is in some stretch, and how many to the last one.
  uint64 GetFirst() const { return first_ > end_ ? 0 : first_; }
  uint64 GetCount() const { return first_ > end_ ? 0 : end_ - first_; }
  /// Counted from GetFirst.
  Stretch Get(uint64 row) const {
    const Stretch& stretch = stretches_[row];
    if (stretch.first == stretch.end) return {0, 0};
    return {stretch.first - GetFirst(), stretch.end - GetFirst()};
  }

 private:
  void Add(uint64 first, uint64 end) {
    stretches_.push_back({first, end});
    if (first == end) return;
    first_ = std::min(first_, first);
    end_ = std::max(end_, end);
  }

  template <class Offset>
  void AddOffsets(const ArrowView& view, const ArrowReading& reading) {
    for (uint64 row = 0; row < view.rows; ++row) {
      const auto first = view.Get<Offset>(1, row);
      const auto end = view.Get<Offset>(1, row + 1);
      if (first < 0 || end < first) {
        RefuseArrowArray(*view.field, reading, L"its offsets do not ascend");
      }
      Add(static_cast<uint64>(first), static_cast<uint64>(end));
    }
  }

  template <class Offset>
  void AddViews(const ArrowView& view, const ArrowReading& reading) {
    if (view.rows > 0 && view.GetBuffer(2) == nullptr) {
      RefuseArrowArray(*view.field, reading, L"a buffer is missing");
    }
    for (uint64 row = 0; row < view.rows; ++row) {
      const auto first = view.Get<Offset>(1, row);
      const auto size = view.Get<Offset>(2, row);
      if (view.IsNull(row)) {
        Add(0, 0);
        continue;
      }
      if (first < 0 || size < 0) {
        RefuseArrowArray(*view.field, reading,
                         L"row " + ArrowRowText(reading, row) + L" points outside its items");
      }
      Add(static_cast<uint64>(first), static_cast<uint64>(first) + static_cast<uint64>(size));
    }
  }

  void AddFixed(const ArrowView& view, const ArrowReading& reading) {
    const auto width = static_cast<uint64>(view.field->width);
    uint64 items;
    if (__builtin_mul_overflow(view.end, width, &items)) {
      RefuseArrowArray(*view.field, reading, L"it has more items than can be counted");
    }
    for (uint64 row = view.first; row < view.first + view.rows; ++row) {
      Add(row * width, (row + 1) * width);
    }
  }

  std::vector<Stretch> stretches_;
  uint64 first_ = UINT64_MAX;
  uint64 end_ = 0;
};

class JsonList final : public JsonNested {
 public:
  JsonList(const ArrowView& view, const ArrowReading& reading)
      : JsonNested(view), stretches_(view, reading) {
    ArrowReading items = reading;
    items.rowsBefore = 0;
    items_ = MakePart(
        OpenArrowChild(view, 0, stretches_.GetFirst(), stretches_.GetCount(), reading), items);
  }

 protected:
  void AppendParts(uint64 row, std::string& out) const override {
    const Stretches::Stretch stretch = stretches_.Get(row);
    out += '[';
    for (uint64 item = stretch.first; item < stretch.end; ++item) {
      if (item != stretch.first) out += ',';
      items_->Append(item, out);
    }
    out += ']';
  }

 private:
  Stretches stretches_;
  JsonPartPtr items_;
};

/// An object; its names are the texts of the keys.
class JsonMap final : public JsonNested {
 public:
  JsonMap(const ArrowView& view, const ArrowReading& reading)
      : JsonNested(view), stretches_(view, reading) {
    ArrowReading items = reading;
    items.rowsBefore = 0;
    const ArrowView pairs =
        OpenArrowChild(view, 0, stretches_.GetFirst(), stretches_.GetCount(), reading);
    keys_ = MakePart(OpenArrowChild(pairs, 0, pairs.first, pairs.rows, items), items);
    values_ = MakePart(OpenArrowChild(pairs, 1, pairs.first, pairs.rows, items), items);
  }

 protected:
  void AppendParts(uint64 row, std::string& out) const override {
    const Stretches::Stretch stretch = stretches_.Get(row);
    std::string key;
    out += '{';
    for (uint64 pair = stretch.first; pair < stretch.end; ++pair) {
      if (pair != stretch.first) out += ',';
      key.clear();
      keys_->Append(pair, key);
      if (key.starts_with('"')) {
        out += key;
      } else {
        JSon::AppendText(key, out);
      }
      out += ':';
      values_->Append(pair, out);
    }
    out += '}';
  }

 private:
  Stretches stretches_;
  JsonPartPtr keys_;
  JsonPartPtr values_;
};

JsonPartPtr MakePart(const ArrowView& view, const ArrowReading& reading) {
  if (view.field->dictionary) return std::make_unique<JsonLeaf>(view, reading);
  switch (view.field->kind) {
    case ArrowKind::kStruct:
      return std::make_unique<JsonStruct>(view, reading);
    case ArrowKind::kMap:
      return std::make_unique<JsonMap>(view, reading);
    case ArrowKind::kList:
    case ArrowKind::kLargeList:
    case ArrowKind::kListView:
    case ArrowKind::kLargeListView:
    case ArrowKind::kFixedList:
      return std::make_unique<JsonList>(view, reading);
    default:
      return std::make_unique<JsonLeaf>(view, reading);
  }
}

}  // namespace

ArrowColumn ReadArrowJson(const ArrowView& view, const ArrowReading& reading) {
  const JsonPartPtr values = MakePart(view, reading);
  const auto builder = VectorBuilder::Make(XeVarCharData, VectorBuilder::kAnyLength, {});
  builder->Expect(view.rows);
  std::string text;
  for (uint64 row = 0; row < view.rows; ++row) {
    if (view.IsNull(row)) {
      builder->AppendNull();
      continue;
    }
    text.clear();
    values->Append(row, text);
    builder->Append(text);
  }
  ArrowColumn column;
  column.longest = builder->GetLongest();
  column.vector = builder->Take();
  return column;
}

}  // namespace sqxer
