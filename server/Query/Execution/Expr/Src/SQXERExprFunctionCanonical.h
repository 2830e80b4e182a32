#pragma once

#include <functional>
#include <map>
#include <string_view>

#include "SQXERExprFunctionBase.h"
#include "Utility/Heap.h"
#include "Utility/XeAutoBuffer.h"

namespace sqxer {

/// Misspelt texts and their canonical ones, in the order of code points.
using TypoCharMap = std::map<XeString, XeString, std::less<>>;

/// A text, or the one that a table has in its place. Bind hands back the variant of the operand's
/// type; error 59001 ("Canonical", type) for an operand that is no text.
///
/// The table is a stream of at least two text fields, misspelt and canonical. It is read at the
/// first evaluation, once in the life of the node; the first record for a text counts. Records with
/// a NULL correct nothing. Errors then: 46030 (position, field count) for fewer fields, 59001
/// ("Canonical", type) for fields that are no texts, and those of the stream.
///
/// Texts match when they are equal character by character, letter case included. The blanks behind
/// a fixed text are its padding: they are no part of what is looked up.
class SQXEREXPR_API Canonical : public StringValueFunction {
 public:
  /// Takes over the stream, which must be there, and prepares it.
  Canonical(RExpression* operand, Heap<XeAListStream> mapStream);

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;

 protected:
  /// Reads the table, texts in the form of the result type.
  void RetrieveTypoMap();
  /// The canonical text, or null for a text that stays as it is.
  const XeString* FindCanonical(std::wstring_view text) const {
    const auto found = m_typoCorrectionMap.find(text);
    return found == m_typoCorrectionMap.end() ? nullptr : &found->second;
  }

  /// The last result; what Eval hands out points into it until the next evaluation.
  XeAutoBuffer<wchar_t, 128> result_;
  /// Whether the table has been read.
  bool bFirstRowEvaluated_ = false;
  Heap<XeAListStream> pCanonicalMapListStream_;
  TypoCharMap m_typoCorrectionMap;
};

/// Over a fixed text: a fixed text of the same length. A longer canonical text is cut to it; a
/// shorter one leaves behind it what the row before had there.
class SQXEREXPR_API CanonicalXeChar final : public Canonical {
 public:
  CanonicalXeChar(RExpression* operand, int declaredLength, Heap<XeAListStream> mapStream);
  RExprReturn Eval(void* out) override;

 private:
  wchar_t* charOperand_ = nullptr;
  int32 resultMaxLength_;
};

/// Over a long text: a long text, with no terminator. `declaredLength` is the room made beforehand.
class SQXEREXPR_API CanonicalLongVarXeChar final : public Canonical {
 public:
  CanonicalLongVarXeChar(RExpression* operand, int declaredLength, Heap<XeAListStream> mapStream);
  RExprReturn Eval(void* out) override;

 private:
  RefLongVarChar varCharOperand_{};
};

}  // namespace sqxer
