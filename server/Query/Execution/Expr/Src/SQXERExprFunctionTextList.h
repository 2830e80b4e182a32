#pragma once

#include <optional>
#include <span>
#include <vector>

#include "SQXERBatchText.h"
#include "SQXERExprFunctionBase.h"
#include "SQXERMadeText.h"
#include "SQXEROpFunction.h"

namespace sqxer {

/// A text of a list, or NULL.
template <class Text>
using ListedTexts = std::span<const std::optional<Text>>;

/// A text made of any number of texts of which each may be NULL, but for the first ones that the op
/// needs (Op::kNeeded), which make the result NULL.
template <class Op>
class TextListFunction : public StringValueFunction {
 public:
  using StringValueFunction::StringValueFunction;
  /// Error 59001 (the op's name, type) for an operand that is no text.
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) final;
  RExprReturn Eval(void* out) final;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) final;
  bool GivesSameAs(RExpression&) final { return true; }
  bool HasBatchLoop() final { return true; }

 private:
  /// False for more texts than a batch holds.
  template <class Text, class Character>
  bool FillBatch(const std::vector<BatchVector>& operands, const BatchRows& rows,
                 MadeText<Character>& made, BatchVector& out);

  std::vector<std::optional<RefLongVarChar>> values_;
  MadeText<wchar_t> made_;
  MadeText<uint8> madeBytes_;
};

/// The texts one behind the other, without those that are NULL.
struct JoinOp {
  static constexpr const wchar_t* kName = L"ConcatAll";
  static constexpr std::size_t kNeeded = 0;
  static uint64 FindLongest(std::span<const uint32> lengths);
  template <class Text, class Made>
  static void Apply(ListedTexts<Text> texts, Made& made) {
    for (const auto& text : texts) {
      if (text) made.Append(*text);
    }
  }
};

/// The same with the first text between every two of the others.
struct JoinWithSeparatorOp {
  static constexpr const wchar_t* kName = L"ConcatWs";
  static constexpr std::size_t kNeeded = 1;
  static uint64 FindLongest(std::span<const uint32> lengths);
  template <class Text, class Made>
  static void Apply(ListedTexts<Text> texts, Made& made) {
    bool isFirst = true;
    for (const auto& text : texts.subspan(1)) {
      if (!text) continue;
      if (!isFirst) made.Append(*texts[0]);
      isFirst = false;
      made.Append(*text);
    }
  }
};

/// A format in which %s, %I and %L stand for the other texts in their order: as they are, as names
/// and as literals; %2$s for a certain one, %% for itself, and %10s or %-10s fills up with blanks
/// in front or behind, %*s and %*2$s to the width that a text says. NULL is nothing, and NULL as a
/// literal. Error 59036 (format, position) for what is none of this, for a text that is missing,
/// and for NULL as a name.
struct FormatOp {
  static constexpr const wchar_t* kName = L"Format";
  static constexpr std::size_t kNeeded = 1;
  static uint64 FindLongest(std::span<const uint32> lengths);
  template <class Text, class Made>
  static void Apply(ListedTexts<Text> texts, Made& made);
};

// One source makes them.
extern template class SQXEREXPR_API TextListFunction<JoinOp>;
extern template class SQXEREXPR_API TextListFunction<JoinWithSeparatorOp>;
extern template class SQXEREXPR_API TextListFunction<FormatOp>;

class SQXEREXPR_API ConcatAll final : public TextListFunction<JoinOp> {
 public:
  using TextListFunction::TextListFunction;
};
class SQXEREXPR_API ConcatWs final : public TextListFunction<JoinWithSeparatorOp> {
 public:
  using TextListFunction::TextListFunction;
};
class SQXEREXPR_API Format final : public TextListFunction<FormatOp> {
 public:
  using TextListFunction::TextListFunction;
};

}  // namespace sqxer
