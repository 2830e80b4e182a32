#include "SQXERExprFunctionText.h"

namespace sqxer {

template class OpFunction<PadOp<true>>;
template class OpFunction<PadOp<false>>;
template class OpFunction<ReverseOp>;
template class OpFunction<TranslateOp>;
template class OpFunction<InitCapOp>;
template class OpFunction<HexOp>;
template class OpFunction<ToHexInt32Op>;
template class OpFunction<ToHexNumericOp>;
template class OpFunction<DigestOp<TextDigest::Kind::kMd5>>;
template class OpFunction<DigestOp<TextDigest::Kind::kSha256>>;
template class OpFunction<QuoteLiteralOp>;
template class OpFunction<QuoteIdentOp>;
template class OpFunction<StrPosOp>;
template class OpFunction<ContainsOp>;
template class OpFunction<StartsWithOp>;
template class OpFunction<EndsWithOp>;
template class OpFunction<SplitPartOp>;

void RaiseTextTooLong(uint64 limit) { SUGThrow(ErrorMessage(59034, {std::to_wstring(limit)})); }

}  // namespace sqxer
