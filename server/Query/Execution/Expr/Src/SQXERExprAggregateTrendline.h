#pragma once

#include <array>
#include <vector>

#include "SQXERAggregateVariant.h"
#include "SQXEROpsTrendline.h"

namespace sqxer {

class Trendline;

/// What Trendline and TrendlineRef share: writing one of the results of a fitted group. That of a
/// row is NULL where the row's x or y is; everything is NULL in a group with fewer than two rows
/// that have both.
class SQXEREXPR_API TrendlineResult : public SingleResultAggregate {
 public:
  /// Of the text of a model; every text fits.
  static constexpr uint32 kMostCharacters = 4000;

  bool IsFunctionalAggr() override { return resultType_ != TrendlineParameter::kModel; }

 protected:
  TrendlineResult(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                  UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
                  TrendlineParameter::ResultType resultType)
      : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                              isCumulativeAggregate, false),
        resultType_(resultType) {}

  /// Has `trendline` compute the result, and describes it.
  void BindResult(Trendline& trendline, MetaDataInfo& info);
  /// The next result is that of the group's first row.
  void RestartOutput() { xIndex_ = outputValueIndex_ = 0; }
  /// Writes the text of the model, or the result of the next row.
  void OutputResult(const Trendline& trendline, unsigned char* record);

  TrendlineParameter::ResultType resultType_;
  /// The next of the fitted values, and the next row: only a row that is not NULL has a value.
  std::size_t outputValueIndex_ = 0;
  std::size_t xIndex_ = 0;
};

/// A trend line through the points (x, y) of a group, the first two aggregate columns, by least
/// squares. The points are kept in memory, 17 bytes a row and 8 more for a fitted value; the room
/// of the largest group serves the next ones.
///
/// kValue gives, per row, the fitted y as a double; kSequence gives the fitted y at the row's
/// number in the group instead, NULL rows counted; kModel gives, per group, the JSON text of the
/// model as a varying text. Takes what Sum takes. SetSourceOffset moves x; y stays where it is.
///
/// Points without a fit are no error of the query: values are 0, and the text tells why. That holds
/// for errors 59164, 59165, 59167 and 59168, and for 59161: coefficients are decimals, which end at
/// 1e128 (one below 1e-128 reads 0 in the text).
class SQXEREXPR_API Trendline : public TrendlineResult {
 public:
  /// See Aggregate for the vectors; `aggregateColumns` has x and y.
  Trendline(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
            UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
            TrendlineParameter parameter);

  using Aggregate::Bind;
  /// Error 59150 for a model or a result that there is not, 59166 (degree) for a polynomial of
  /// another degree than 1 to 6; 46030 and 59001 for x and y.
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  /// Error 59149 for a model type that is none of linear, exponential and polynomial, unless there
  /// are fewer than two points.
  RExprReturn Finalize() override;
  /// With a result per row: call once for each row, in input order.
  void Output(unsigned char* record) override;

  // For those that write the results, from Finalize on.

  /// Has the result computed, besides the own one. Before the first group.
  void RequireResult(TrendlineParameter::ResultType type) { isRequired_[type] = true; }
  bool HasResult() const { return count_ >= kFewestPoints; }
  /// Rows of the group.
  std::size_t GetRowCount() const { return nullIndicators_.size(); }
  bool IsRowNull(std::size_t row) const { return nullIndicators_[row] != 0; }
  /// In the order of the rows that are not NULL.
  float64 GetOutputValue(std::size_t index) const { return outputValues_[index]; }
  float64 GetSequenceValue(std::size_t row) const { return sequenceValues_[row]; }
  const XeString& GetModelText() const { return modelText_; }

 protected:
  static constexpr uint32 kFewestPoints = 2;

  /// Computes what the model gives for every point, and for every number when that is required.
  template <class Model>
  void SetOutputValues(const Model& model);
  void FitLinear();
  void FitExponential();
  void FitPolynomial();
  /// Makes the error the result of the group.
  void HandleError(const ErrorMessage& error);
  void SetOutputValuesZero();

  Float64Input x_;
  Float64Input y_;
  uint32 yOffset_ = 0;
  uint32 yNullOffset_ = 0;
  std::vector<float64> xList_;
  std::vector<float64> yList_;
  std::vector<float64> outputValues_;
  std::vector<VelmarNumber> outputParameters_;
  uint32 count_ = 0;
  TrendlineParameter::ModelType modelType_;
  /// 1 for a model that is no polynomial.
  uint32 numOfDegrees_;
  /// A byte per row, of those left out too.
  std::vector<uint8> nullIndicators_;

 private:
  /// Fills outputParameters_ and the values. Chosen when bound; null for a model without a fit.
  using Fit_t = void (Trendline::*)();
  Fit_t ChooseFit() const;

  Fit_t fit_ = nullptr;
  /// By row.
  std::vector<float64> sequenceValues_;
  XeString modelText_;
  /// The results that somebody writes, by type.
  std::array<bool, 3> isRequired_{};
};

/// Another result of a Trendline of the same group: it neither collects nor fits, so that value and
/// model of one trend line cost one fit.
///
/// The owner binds the Trendline first, drives both through every group, and outputs a group after
/// the Trendline's Finalize and before its next Initialize.
class SQXEREXPR_API TrendlineRef : public TrendlineResult {
 public:
  /// `trendline` is not owned and must outlive this.
  TrendlineRef(Trendline* trendline, TrendlineParameter::ResultType resultType)
      : TrendlineResult(nullptr, nullptr, nullptr, false, resultType), trendline_(trendline) {}

  using Aggregate::Bind;
  /// Error 59169 without a bound Trendline, 59150 for a result that there is not.
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void Initialize(bool) override { RestartOutput(); }
  RExprReturn Compute(unsigned char*, unsigned int) override { return kTrue; }
  void Output(unsigned char* record) override { OutputResult(*trendline_, record); }

 protected:
  Trendline* trendline_;
};

}  // namespace sqxer
