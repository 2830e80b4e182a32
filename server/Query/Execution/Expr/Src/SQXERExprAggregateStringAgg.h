#pragma once

#include "SQXERExprAggregateBase.h"
#include "SQXERMadeText.h"

namespace sqxer {

/// STRING_AGG, and LISTAGG with a delimiter: the group's texts as one, before each but the first
/// the delimiter of its row, which is the second column; NULL when there is no text. NULL is left
/// out, and its delimiter with it; a delimiter that is NULL is empty. Empty texts and blanks count.
/// Takes stored texts of varying length, four bytes a character (59001 for others). Error 59034 for
/// a list of more than kMostLength characters.
///
/// SetSourceOffset moves the text; the delimiter stays where it is.
class SQXEREXPR_API StringAgg final : public SingleResultAggregate {
 public:
  /// The result's length in characters at most.
  static constexpr uint32 kMostLength = uint32{1} << 20;

  StringAgg(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
            UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate);

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  void Output(unsigned char* record) override;
  bool GoesOnAfterOutput() override { return true; }
  bool SkipsNulls() const override { return true; }

 private:
  void Append(const uint8* text);

  bool nullIndicator_ = true;
  uint32 delimiterOffset_ = 0;
  uint32 delimiterNullOffset_ = 0;
  MadeText<wchar_t> list_;
};

}  // namespace sqxer
