#pragma once

#include <array>
#include <string>
#include <vector>

#include "BenchRecord.h"
#include "SQXERBatch.h"
#include "Utility/VelmarNumber.h"

namespace sqxer::bench {

/// A batch of rows of two columns of each type, as a table keeps them and as the record of the same
/// layout: what nodes are timed over.
class NodeColumns final : public BatchSource {
 public:
  static constexpr uint32 kRows = kMostBatchRows;
  template <class T>
  using Column = std::array<T, kRows + 8>;  // read beyond its end

  NodeColumns() {
    Add(XeInt4Data, 4, L"i", ColumnForm::kInt32, i);
    Add(XeInt4Data, 4, L"j", ColumnForm::kInt32, j);
    Add(XeUInt4Data, 4, L"u", ColumnForm::kUInt32, u);
    Add(XeUInt4Data, 4, L"v", ColumnForm::kUInt32, v);
    Add(XeDoubleData, 8, L"x", ColumnForm::kFloat64, x);
    Add(XeDoubleData, 8, L"y", ColumnForm::kFloat64, y);
    Add(XeNumericData, 0, L"n", ColumnForm::kDecimal64, n);
    Add(XeNumericData, 0, L"m", ColumnForm::kDecimal64, m);
    AddTexts(L"s", s);
    AddTexts(L"t", t);
    Add(XeDateData, 6, L"d", ColumnForm::kDay32, d);
    Add(XeDateData, 6, L"e", ColumnForm::kDay32, e);
    Add(XeDateTimeData, 16, L"ts", ColumnForm::kTimeStamp64, ts);
    Add(XeDateTimeData, 16, L"tt", ColumnForm::kTimeStamp64, tt);
    Add(XeBoolean, 1, L"b", ColumnForm::kUInt8, b);
    Add(XeBoolean, 1, L"c", ColumnForm::kUInt8, c);
    Add(XeInt2Data, 2, L"small", ColumnForm::kInt16, small);
    Add(XeFloatData, 4, L"f", ColumnForm::kFloat32, f);
    fields_[6].scale = fields_[7].scale = kScale;
    for (uint32 row = 0; row < kRows; ++row) SetRow(row);
    FillRow(0);
    rows_.source = this;
    rows_.count = kRows;
  }

  BenchRecord& Record() { return record_; }
  const BatchRows& Rows() const { return rows_; }

  const BatchVector& GetField(uint32 field) override { return fields_[field]; }
  void FillRow(uint32 row) override {
    record_.Set(0, i[row]);
    record_.Set(1, j[row]);
    record_.Set(2, u[row]);
    record_.Set(3, v[row]);
    record_.Set(4, x[row]);
    record_.Set(5, y[row]);
    record_.Set(6, VelmarNumber::FromScaled(n[row], kScale));
    record_.Set(7, VelmarNumber::FromScaled(m[row], kScale));
    record_.SetText(8, std::wstring(s.at(row).begin(), s.at(row).end()).c_str());
    record_.SetText(9, std::wstring(t.at(row).begin(), t.at(row).end()).c_str());
    record_.Set(10, FromDay32(d[row]));
    record_.Set(11, FromDay32(e[row]));
    record_.Set(12, FromTimeStamp64(ts[row]));
    record_.Set(13, FromTimeStamp64(tt[row]));
    record_.Set(14, b[row]);
    record_.Set(15, c[row]);
    record_.Set(16, small[row]);
    record_.Set(17, f[row]);
  }
  bool IsNullable(uint32) const override { return true; }
  void FillField(uint32, int64, bool) override {}
  void RestoreField(uint32) override {}
  uint64 GetChunkRows() const override { return kRows; }
  bool GetDays(uint32, ColumnBounds<int64>&) const override { return false; }
  uint64 GetRun() const override { return 1; }

  static constexpr int16 kScale = 2;
  Column<int32> i{}, j{}, d{}, e{};
  Column<uint32> u{}, v{};
  Column<float64> x{}, y{};
  Column<int64> n{}, m{}, ts{}, tt{};
  Column<uint8> b{}, c{};
  Column<int16> small{};
  Column<float32> f{};
  std::vector<std::string> s, t;

 private:
  void Add(XeDataType type, uint32 length, const wchar_t* name, ColumnForm form,
           const auto& values) {
    record_.Add(type, length, true, name);
    BatchVector& field = fields_.emplace_back();
    field.form = form;
    field.values = reinterpret_cast<const uint8*>(values.data());
  }
  void AddTexts(const wchar_t* name, std::vector<std::string>& texts) {
    constexpr const char* kEnds[] = {"harrier", "mockingbird", "wren", "robin", "shrike"};
    record_.Add(XeVarCharData, 40, true, name);
    const std::size_t seed = fields_.size();
    std::vector<uint32>& offsets = offsets_[seed % 2];
    std::string& characters = characters_[seed % 2];
    offsets.push_back(0);
    for (uint32 row = 0; row < kRows; ++row) {
      texts.push_back(std::string("northern ") + kEnds[(row * seed) % std::size(kEnds)]);
      characters += texts.back();
      offsets.push_back(static_cast<uint32>(characters.size()));
    }
    characters.append(8, '\0');
    BatchVector& field = fields_.emplace_back();
    field.form = ColumnForm::kText8;
    field.values = reinterpret_cast<const uint8*>(characters.data());
    field.offsets = reinterpret_cast<const uint8*>(offsets.data());
  }
  void SetRow(uint32 row) {
    const auto spread = [row](uint32 factor, uint32 range) { return row * factor % range; };
    i[row] = static_cast<int32>(spread(7919, 5000));
    j[row] = static_cast<int32>(1 + spread(104729, 97));
    u[row] = spread(7919, 5000);
    v[row] = spread(104729, 97);
    x[row] = 12.5 + i[row];
    y[row] = 0.75 * j[row];
    n[row] = 1234 + i[row];
    m[row] = 750 + j[row];
    d[row] = 15000 + static_cast<int32>(spread(31, 700));
    e[row] = 15000 + static_cast<int32>(spread(37, 700));
    ts[row] = d[row] * int64{86'400'000'000} + i[row];
    tt[row] = e[row] * int64{86'400'000'000} + j[row];
    b[row] = spread(31, 3) == 0;
    c[row] = spread(37, 2) == 0;
    small[row] = static_cast<int16>(i[row]);
    f[row] = static_cast<float32>(j[row]) * 1.5f;
  }

  BenchRecord record_;
  std::vector<BatchVector> fields_;
  std::vector<uint32> offsets_[2];
  std::string characters_[2];
  BatchRows rows_;
};

}  // namespace sqxer::bench
