#pragma once

#include "SQXEROpFunction.h"
#include "SQXEROpsTextMaking.h"
#include "SQXEROpsTextParts.h"

namespace sqxer {

// One source makes them.
extern template class SQXEREXPR_API OpFunction<PadOp<true>>;
extern template class SQXEREXPR_API OpFunction<PadOp<false>>;
extern template class SQXEREXPR_API OpFunction<ReverseOp>;
extern template class SQXEREXPR_API OpFunction<TranslateOp>;
extern template class SQXEREXPR_API OpFunction<InitCapOp>;
extern template class SQXEREXPR_API OpFunction<HexOp>;
extern template class SQXEREXPR_API OpFunction<ToHexInt32Op>;
extern template class SQXEREXPR_API OpFunction<ToHexNumericOp>;
extern template class SQXEREXPR_API OpFunction<DigestOp<TextDigest::Kind::kMd5>>;
extern template class SQXEREXPR_API OpFunction<DigestOp<TextDigest::Kind::kSha256>>;
extern template class SQXEREXPR_API OpFunction<QuoteLiteralOp>;
extern template class SQXEREXPR_API OpFunction<QuoteIdentOp>;
extern template class SQXEREXPR_API OpFunction<StrPosOp>;
extern template class SQXEREXPR_API OpFunction<ContainsOp>;
extern template class SQXEREXPR_API OpFunction<StartsWithOp>;
extern template class SQXEREXPR_API OpFunction<EndsWithOp>;
extern template class SQXEREXPR_API OpFunction<SplitPartOp>;

// Functions of texts whose meaning is that of their op; see there. NULL if an operand is.

class SQXEREXPR_API LPad final : public OpFunction<PadOp<true>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API RPad final : public OpFunction<PadOp<false>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API Reverse final : public OpFunction<ReverseOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API Translate final : public OpFunction<TranslateOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API InitCap final : public OpFunction<InitCapOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API Hex final : public OpFunction<HexOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API ToHexInt32 final : public OpFunction<ToHexInt32Op> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API ToHexNumeric final : public OpFunction<ToHexNumericOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API Md5 final : public OpFunction<DigestOp<TextDigest::Kind::kMd5>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API Sha256 final : public OpFunction<DigestOp<TextDigest::Kind::kSha256>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API QuoteLiteral final : public OpFunction<QuoteLiteralOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API QuoteIdent final : public OpFunction<QuoteIdentOp> {
 public:
  using OpFunction::OpFunction;
};

class SQXEREXPR_API StrPos final : public OpFunction<StrPosOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API Contains final : public OpFunction<ContainsOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API StartsWith final : public OpFunction<StartsWithOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API EndsWith final : public OpFunction<EndsWithOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API SplitPart final : public OpFunction<SplitPartOp> {
 public:
  using OpFunction::OpFunction;
};

}  // namespace sqxer
