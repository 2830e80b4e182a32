#include "SQXERExprFunctionTextList.h"

#include <numeric>

#include "SQXEROpsTextMaking.h"

namespace sqxer {
namespace {

uint64 Total(std::span<const uint32> lengths) {
  return std::accumulate(lengths.begin(), lengths.end(), uint64{0});
}

/// What follows a percent sign.
struct Directive {
  /// From 1; 0 for the next text.
  uint32 number = 0;
  uint32 width = 0;
  bool isLeft = false;
  /// The width is a text: of that number, from 1, or the next one.
  bool hasWidthText = false;
  uint32 widthNumber = 0;
  wchar_t kind = 0;
};

/// The most characters that a directive may fill up to.
constexpr uint32 kMostWidth = 1'000'000;

/// Reads a directive behind its percent sign; `at` is then behind it. False where it is none.
template <class Text>
bool ReadDirective(const Text& format, uint32& at, Directive& out) {
  const auto digits = [&] {
    uint32 value = 0;
    while (at < format.length_ && format.buffer_[at] >= '0' && format.buffer_[at] <= '9') {
      value = std::min<uint32>(value * 10 + (format.buffer_[at++] - '0'), kMostWidth);
    }
    return value;
  };
  // A number and a dollar sign, or neither.
  const auto number = [&] {
    const uint32 first = at;
    const uint32 read = digits();
    if (read > 0 && at < format.length_ && format.buffer_[at] == '$') {
      ++at;
      return read;
    }
    at = first;
    return uint32{0};
  };
  const uint32 start = at;
  out.number = number();
  while (at < format.length_ && format.buffer_[at] == '-') {
    out.isLeft = true;
    ++at;
  }
  out.hasWidthText = at < format.length_ && format.buffer_[at] == '*';
  if (out.hasWidthText) {
    ++at;
    out.widthNumber = number();
  } else {
    out.width = digits();
  }
  if (at == format.length_) return false;
  out.kind = static_cast<wchar_t>(format.buffer_[at++]);
  return out.kind == L's' || out.kind == L'I' || out.kind == L'L' ||
         (out.kind == L'%' && at == start + 1);
}

/// The width that a text says, negative to fill up behind; false for what is no whole number.
template <class Text>
bool ReadWidth(const Text& text, Directive& out) {
  uint32 at = 0;
  const bool isNegative = text.length_ > 0 && text.buffer_[0] == '-';
  if (isNegative || (text.length_ > 0 && text.buffer_[0] == '+')) ++at;
  if (at == text.length_) return false;
  for (; at < text.length_; ++at) {
    if (text.buffer_[at] < '0' || text.buffer_[at] > '9') return false;
    out.width = std::min<uint32>(
        out.width * 10 + (static_cast<uint32>(text.buffer_[at]) - uint32{'0'}), kMostWidth);
  }
  out.isLeft = out.isLeft || isNegative;
  return true;
}

template <class Text>
[[noreturn]] void RefuseFormat(const Text& format, uint32 at) {
  SUGThrow(ErrorMessage(
      59036, {XeString(format.buffer_, format.buffer_ + format.length_), std::to_wstring(at)}));
}

}  // namespace

uint64 JoinOp::FindLongest(std::span<const uint32> lengths) { return Total(lengths); }

uint64 JoinWithSeparatorOp::FindLongest(std::span<const uint32> lengths) {
  return Total(lengths) + lengths.size() * lengths[0];
}

uint64 FormatOp::FindLongest(std::span<const uint32>) { return kMostMadeCharacters; }

template <class Text, class Made>
void FormatOp::Apply(ListedTexts<Text> texts, Made& made) {
  const Text format = *texts[0];
  uint32 next = 1;
  for (uint32 at = 0; at < format.length_;) {
    if (format.buffer_[at] != '%') {
      made.Append(static_cast<wchar_t>(format.buffer_[at++]));
      continue;
    }
    const uint32 place = ++at;
    Directive directive;
    if (!ReadDirective(format, at, directive)) RefuseFormat(format, place);
    if (directive.kind == L'%') {
      made.Append(L'%');
      continue;
    }
    if (directive.hasWidthText) {
      const uint32 number = directive.widthNumber == 0 ? next : directive.widthNumber;
      next = number + 1;
      if (number >= texts.size()) RefuseFormat(format, place);
      const std::optional<Text>& width = texts[number];
      if (width && !ReadWidth(*width, directive)) RefuseFormat(format, place);
    }
    if (directive.number == 0) directive.number = next;
    next = directive.number + 1;
    if (directive.number >= texts.size()) RefuseFormat(format, place);
    const std::optional<Text>& text = texts[directive.number];
    if (!text && directive.kind == L'I') RefuseFormat(format, place);
    const uint32 start = made.GetLength();
    if (directive.kind == L'L') {
      text ? QuoteLiteralOp::Apply(*text, made) : made.Append(std::string_view("NULL"));
    } else if (text) {
      directive.kind == L'I' ? QuoteIdentOp::Apply(*text, made) : made.Append(*text);
    }
    made.PadFrom(start, directive.width, directive.isLeft);
  }
}

template <class Op>
void TextListFunction<Op>::Bind(XeAListStream* stream, RExpression*& replacement,
                                MetaDataInfo& info) {
  replacement = nullptr;
  std::vector<uint32> lengths;
  bool isNullable = false;
  for (int i = 0; i < numOperands_; ++i) {
    const OperandShape shape = BindTextOperand(i, Op::kName, stream, replacement, info);
    lengths.push_back(shape.length);
    isNullable |= shape.nullable && static_cast<std::size_t>(i) < Op::kNeeded;
  }
  values_.resize(lengths.size());
  const auto length = static_cast<uint32>(std::min(Op::FindLongest(lengths), kMostCharacters));
  made_.SetLimit(length);
  madeBytes_.SetLimit(length);
  made_.Extend(std::min(length, kMostMadeCharacters));
  made_.Clear();
  SetResult(XeLongVarCharData, info, length);
  info.isNullable_ = isNullable;
}

template <class Op>
RExprReturn TextListFunction<Op>::Eval(void* out) {
  for (std::size_t i = 0; i < values_.size(); ++i) {
    RefLongVarChar text{};
    retCode_ = Slot(static_cast<int>(i))->Eval(&text);
    if (retCode_ != kTrue && (retCode_ != kUnknown || i < Op::kNeeded)) return retCode_;
    values_[i] = retCode_ == kTrue ? std::optional(text) : std::nullopt;
  }
  made_.Clear();
  AtSourcePosition([&] { Op::Apply(ListedTexts<RefLongVarChar>(values_), made_); });
  *static_cast<RefLongVarChar*>(out) = {made_.GetLength(), made_.GetCharacters()};
  return retCode_ = kTrue;
}

template <class Op>
bool TextListFunction<Op>::EvalBatch(const BatchRows& rows, BatchVector& out) {
  std::vector<BatchVector> operands(values_.size());
  bool areBytes = true;
  bool areConstant = true;
  for (std::size_t i = 0; i < operands.size(); ++i) {
    if (!EvaluateBatch(*Slot(static_cast<int>(i)), rows, operands[i])) return false;
    const bool isNull = operands[i].isConstant && operands[i].IsNull(0);
    areBytes = areBytes && (isNull || ByteTexts(operands[i]).IsSure());
    areConstant = areConstant && operands[i].isConstant;
  }
  out = BatchVector();
  out.isConstant = areConstant;
  if (Op::kNeeded > 0) out.validity = operands[0].validity;
  // A needed operand that is the same for all rows is NULL for all of them.
  if (Op::kNeeded > 0 && operands[0].isConstant && !areConstant) {
    if (operands[0].IsNull(0)) {
      out.isConstant = true;
    } else {
      out.validity = nullptr;
    }
  }
  out.texts = GetBatchBuffers().Texts();
  GetBatchBuffers().ClearTexts();
  const BatchRows wanted = RowsOfAll(out, rows);
  return areBytes ? FillBatch<ByteText>(operands, wanted, madeBytes_, out)
                  : FillBatch<RefLongVarChar>(operands, wanted, made_, out);
}

template <class Op>
template <class Text, class Character>
bool TextListFunction<Op>::FillBatch(const std::vector<BatchVector>& operands,
                                     const BatchRows& rows, MadeText<Character>& made,
                                     BatchVector& out) {
  out.form = sizeof(Character) == 1 ? ColumnForm::kText8 : ColumnForm::kText32;
  BatchBuffers& buffers = GetBatchBuffers();
  std::vector<BatchTextReader<Text>> readers(operands.size());
  for (std::size_t i = 0; i < operands.size(); ++i) readers[i].Start(operands[i]);
  std::vector<std::optional<Text>> texts(operands.size());
  std::size_t kept = 0;
  rows.ForEach([&](uint32 row) {
    if (kept > kMostKeptBytes || out.IsNull(row)) return;
    for (std::size_t i = 0; i < operands.size(); ++i) {
      texts[i] = operands[i].IsNull(row) ? std::nullopt : std::optional(readers[i].Get(row));
    }
    made.Clear();
    Op::Apply(ListedTexts<Text>(texts), made);
    kept += made.GetLength() * sizeof(Character);
    buffers.Texts()[row] = KeepMade(made, buffers);
  });
  return kept <= kMostKeptBytes;
}

template class TextListFunction<JoinOp>;
template class TextListFunction<JoinWithSeparatorOp>;
template class TextListFunction<FormatOp>;

}  // namespace sqxer
