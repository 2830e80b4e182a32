#pragma once

#include <optional>
#include <string_view>

#include "SQXERExprAggregateBase.h"
#include "Utility/XeFieldDataBinder.h"

namespace sqxer {

/// What stands between the values of a list: "; ".
SQXEREXPR_API extern const wchar_t* const S_AGG_DELIMETER;

/// LISTAGG: the group's values as one text, with "; " between them, NULL when there is none. NULL
/// and texts that are empty or all blanks are left out, their delimiters with them; trailing blanks
/// of a value go. Takes texts and all that has a text: numbers, bits, booleans, days and times.
/// DISTINCT lists every value once, in ascending order of the values (not of their texts), and
/// takes those types that have an order.
class SQXEREXPR_API ListAgg : public SingleResultAggregate {
 public:
  /// The result's length in characters at most.
  static constexpr uint32 kMostCharacters = 4000;

  ListAgg(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
          UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, bool isDistinctHandled);

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  RExprReturn Finalize() override;
  /// Writes a text of varying length, four bytes a character, cut to what the field takes.
  void Output(unsigned char* record) override;
  bool GoesOnAfterOutput() override { return !isDistinctHandled_; }

 protected:
  /// Each converter serves one of the conversions.
  struct ConvertParams {
    std::optional<XeFieldConverter> text;
    XeFieldDataBinder value;
    uint32 valueSize = 0;
  };
  /// Makes the stored long text of a stored value.
  using ListConvert_t = void (*)(const ConvertParams& params, const uint8* value, uint8* text);

  /// Null for an input that is a stored long text of four bytes a character.
  ListConvert_t fieldConvert_ = nullptr;
  ConvertParams cvtParams_;
  /// What the result takes of the list so far. Grows with the longest list, and is kept.
  XeAutoBuffer<wchar_t, 511> result_;
  XeAutoBuffer<uint8, 1> tempListAggOutput_;

 private:
  void BindConverter(const XeFieldDescriptor& field);
  void ComputeAndAppendToResult(const uint8* value);
  void Append(std::wstring_view text);

  uint32 resultLength_ = 0;
  /// The longest text of a value, in characters.
  uint32 objectLength_ = 0;
};

}  // namespace sqxer
