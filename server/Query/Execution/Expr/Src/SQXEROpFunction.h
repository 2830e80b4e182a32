#pragma once

#include <array>
#include <concepts>
#include <optional>
#include <span>
#include <tuple>
#include <utility>

#include "SQXERBatchText.h"
#include "SQXERExprConvert.h"
#include "SQXERExprFunctionBase.h"
#include "SQXERMadeText.h"
#include "SQXERTypedVariant.h"

/// Functions of several operands of any types: an op becomes a node, by rows and by batches.

namespace sqxer {

/// An operand that is a text: Apply takes it as a RefLongVarChar or a ByteText.
struct TextOperand {};
/// One that counts: INTEGER, or DOUBLE or NUMERIC, truncated.
using CountOperand = int32;

/// What is known of an operand when a function is bound.
struct KnownOperand {
  /// The most characters of a text.
  uint32 length = 0;
  /// The value of a text or a count that is a constant.
  std::optional<RefLongVarChar> text;
  std::optional<int32> count;
};
using KnownOperands = std::span<const KnownOperand>;

/// An op of several operands. `Operands` is a tuple of TextOperand and of the types that nodes
/// compute with. An Apply that makes a text has a MadeText behind the operands, and gives nothing,
/// or false where the text needs characters of more than one byte and `made` has none. Any other
/// gives its result: a number, truth value, date, time, date-time or interval, or a part of one of
/// its texts; in a std::optional if it can be NULL. What it raises becomes an error of the row. It
/// may be a member of an op that keeps something between rows.
///
/// kIsPlain, true, says that Apply takes any numbers of fixed width without an error, so that
/// values of rows that do not count may be computed with.
///
/// kOnBytes says whether Apply takes texts of one byte a character. An op that makes a text says in
/// FindLongest(KnownOperands) how long it can be.
template <class Op>
concept FunctionOp = requires {
  typename Op::Operands;
  { Op::kName } -> std::convertible_to<const wchar_t*>;
};

/// The value of an operand as Apply takes it, where texts are of type Text.
template <class Operand, class Text>
using OperandValue = std::conditional_t<std::same_as<Operand, TextOperand>, Text, Operand>;

namespace detail {

template <class Operands, class Text>
struct ValuesOf;
template <class... Operands, class Text>
struct ValuesOf<std::tuple<Operands...>, Text> {
  using Type = std::tuple<OperandValue<Operands, Text>...>;
};

template <class T>
inline constexpr bool kIsOptional = false;
template <class T>
inline constexpr bool kIsOptional<std::optional<T>> = true;

/// The values of pairs of numbers that stand side by side in batches.
template <class Operands>
inline constexpr bool kIsPairOfNumbers = false;
template <class A, class B>
inline constexpr bool kIsPairOfNumbers<std::tuple<A, B>> =
    std::is_arithmetic_v<A>&& std::is_arithmetic_v<B>;

template <class T>
struct WithoutOptional {
  using Type = T;
};
template <class T>
struct WithoutOptional<std::optional<T>> {
  using Type = T;
};

template <class Op, class Values, class Character>
struct CallOf;
template <class Op, class... Values, class Character>
struct CallOf<Op, std::tuple<Values...>, Character> {
  static constexpr bool kMakesText =
      requires(Op & op, MadeText<Character>& made, const Values&... values) {
    op.Apply(values..., made);
  };
};

}  // namespace detail

template <class Op, class Text = RefLongVarChar>
using OperandValues = typename detail::ValuesOf<typename Op::Operands, Text>::Type;

/// Whether the results of an op are texts that it makes.
template <class Op>
inline constexpr bool kMakesText = detail::CallOf<Op, OperandValues<Op>, wchar_t>::kMakesText;

/// One operand's vector of texts, read as texts of one kind.
template <class Text>
class BatchTextReader {
 public:
  void Start(const BatchVector& vector) {
    vector_ = &vector;
    if (vector.isConstant && !vector.IsNull(0)) constant_ = Convert(vector.GetText(0));
  }
  /// Of a row that is not NULL; it holds until the next one.
  Text Get(uint32 row) { return vector_->isConstant ? constant_ : Convert(vector_->GetText(row)); }

 private:
  Text Convert(const BatchText& text) {
    if constexpr (std::same_as<Text, ByteText>) {
      return *TryBytes(text, vector_->form, bytes_);
    } else {
      if (vector_->form == ColumnForm::kText32) return AsWideText(text);
      wide_.assign(text.characters, text.characters + text.length);
      return {text.length, wide_.data()};
    }
  }

  const BatchVector* vector_ = nullptr;
  Text constant_{};
  std::string bytes_;
  XeString wide_;
};

/// A copy of a text in the buffers of a node, until they let go of their copies.
template <class Text>
BatchText KeepText(const Text& text, BatchBuffers& buffers) {
  const std::size_t bytes = text.length_ * sizeof *text.buffer_;
  uint8* const kept = buffers.KeepBytes(bytes);
  if (bytes > 0) std::memcpy(kept, text.buffer_, bytes);
  return {kept, text.length_};
}
template <class Character>
BatchText KeepMade(MadeText<Character>& made, BatchBuffers& buffers) {
  using Text = std::conditional_t<sizeof(Character) == 1, ByteText, RefLongVarChar>;
  return KeepText(Text{made.GetLength(), made.GetCharacters()}, buffers);
}

/// The node of an op.
template <FunctionOp Op>
class OpFunction : public ValueFunction {
 public:
  using ValueFunction::ValueFunction;
  /// `op` says how it computes.
  OpFunction(RExpression* operand, const ExpressionVector& params, Op op)
      : ValueFunction(operand, params), op_(std::move(op)) {}

  /// Error 59001 (the op's name, type) for an operand of a type that it does not take.
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override {
    replacement = nullptr;
    std::array<KnownOperand, kCount> known;
    ForEachOperand([&]<class Operand>(std::type_identity<Operand>, std::size_t i) {
      known[i] = BindOperandAs<Operand>(static_cast<int>(i), stream, replacement, info);
    });
    if constexpr (requires { op_.Prepare(KnownOperands(known)); }) {
      AtSourcePosition([&] { op_.Prepare(KnownOperands(known)); });
    }
    uint32 length = 0;
    if constexpr (kMakesText<Op>) {
      length = static_cast<uint32>(std::min(Op::FindLongest(known), kMostCharacters));
      made_.SetLimit(length);
      madeBytes_.SetLimit(length);
      // Room that short texts will not need is not taken.
      made_.Extend(std::min(length, kMostMadeCharacters));
      made_.Clear();
    } else if constexpr (std::same_as<Result, RefLongVarChar>) {
      for (const KnownOperand& operand : known) length = std::max(length, operand.length);
    }
    SetResult(kTypeOfResult, info, length);
    if constexpr (kCanBeNull) info.isNullable_ = true;
  }

  RExprReturn Eval(void* out) final {
    OperandValues<Op> values;
    std::apply([this](auto&... value) { this->EvalOperands(&value...); }, values);
    if (retCode_ == kTrue)
      AtSourcePosition([&] { Write(Call<RefLongVarChar>(values, made_), out); });
    return retCode_;
  }

  bool EvalBatch(const BatchRows& rows, BatchVector& out) override {
    OperandVectors operands;
    return EvaluateOperands(rows, operands) && ComputeBatch(operands, rows, out);
  }
  bool GivesSameAs(RExpression&) override { return true; }
  bool HasBatchLoop() final { return true; }
  RExprType GetExpressionType() final {
    return std::same_as<Result, RefLongVarChar> ? kStringValueFunction : kNumericValueFunction;
  }

 protected:
  static constexpr std::size_t kCount = std::tuple_size_v<typename Op::Operands>;
  using OperandVectors = std::array<BatchVector, kCount>;

  const Op& GetOp() const { return op_; }
  // The two steps of EvalBatch.
  bool EvaluateOperands(const BatchRows& rows, OperandVectors& operands) {
    for (std::size_t i = 0; i < kCount; ++i) {
      if (!EvaluateBatch(*Slot(static_cast<int>(i)), rows, operands[i])) return false;
    }
    return true;
  }
  bool ComputeBatch(const OperandVectors& operands, const BatchRows& rows, BatchVector& out) {
    out = BatchVector();
    FindValidRows(operands, rows, out);
    const BatchRows wanted = RowsOfAll(out, rows);
    if constexpr (requires { Op::kIsPlain; }) {
      MapPlain(operands, wanted, out);
      return true;
    }
    if constexpr (Op::kOnBytes) {
      if (AreBytes(operands) && FillBatch<ByteText>(operands, wanted, out)) return true;
    }
    return FillBatch<RefLongVarChar>(operands, wanted, out);
  }
  /// Which rows of `out` have a value: those where every operand has one, as far as is known.
  void FindValidRows(const OperandVectors& operands, const BatchRows& rows, BatchVector& out) {
    uint64* const words = GetBatchBuffers().Validity();
    BatchVector both = operands[0];
    for (std::size_t i = 1; i < kCount; ++i) {
      BatchVector next;
      IntersectValidity(both, operands[i], rows, words, next);
      both.validity = next.validity;
      both.isConstant = next.isConstant;
    }
    out.isConstant = both.isConstant;
    out.validity = both.validity;
    if constexpr (kCanBeNull) {
      // Rows lose their value below.
      if (both.validity == nullptr) {
        std::fill_n(words, kMostBatchWords, ~uint64{0});
      } else if (both.validity != words) {
        std::copy_n(both.validity, both.isConstant ? 1 : (rows.count + 63) / 64, words);
      }
      out.validity = words;
    }
  }

 private:
  /// What Apply gives over texts of one kind.
  template <class Text>
  static decltype(auto) CallOver(Op& op, const OperandValues<Op, Text>& values, auto& made) {
    return std::apply(
        [&](const auto&... value) -> decltype(auto) {
          if constexpr (kMakesText<Op>) {
            return op.Apply(value..., made);
          } else {
            return op.Apply(value...);
          }
        },
        values);
  }
  using Given = decltype(CallOver<RefLongVarChar>(std::declval<Op&>(),
                                                  std::declval<const OperandValues<Op>&>(),
                                                  std::declval<MadeText<wchar_t>&>()));
  static constexpr bool kCanBeNull = detail::kIsOptional<Given>;
  /// The C++ type of results.
  using Result = std::conditional_t<kMakesText<Op>, RefLongVarChar,
                                    typename detail::WithoutOptional<Given>::Type>;
  static constexpr XeDataType kTypeOfResult =
      std::same_as<Result, bool> ? XeBoolean : kTypeOfValue<Result>;
  static_assert(kTypeOfResult != XeUnknown);

  template <class Use>
  static void ForEachOperand(Use&& use) {
    [&]<std::size_t... i>(std::index_sequence<i...>) {
      (use(std::type_identity<std::tuple_element_t<i, typename Op::Operands>>(), i), ...);
    }
    (std::make_index_sequence<kCount>());
  }
  template <class Operand>
  KnownOperand BindOperandAs(int index, XeAListStream* stream, RExpression*& replacement,
                             MetaDataInfo& info) {
    KnownOperand known;
    if constexpr (std::same_as<Operand, TextOperand>) {
      known.length = BindTextOperand(index, Op::kName, stream, replacement, info).length;
      known.text = ReadConstant<RefLongVarChar>(index);
    } else {
      const OperandShape shape = BindIthOperand(index, stream, replacement, info);
      RExpression*& slot = Slot(index);
      const XeDataType type = slot->GetResultDataType();
      if constexpr (std::same_as<Operand, int32>) {
        ConvertIthOperand(index, ParameterType::kInt32, Op::kName);
        known.count = ReadConstant<int32>(index);
      } else if constexpr (std::same_as<Operand, float64>) {
        ConvertIthOperand(index, ParameterType::kDouble, Op::kName);
      } else if constexpr (std::same_as<Operand, VelmarNumber>) {
        ConvertIthOperand(index, ParameterType::kNumeric, Op::kName);
      } else if constexpr (std::same_as<Operand, XeDateTime>) {
        CheckDataTypeAndThrowError(slot, {XeDateData, XeTimeData, XeDateTimeData}, Op::kName);
        slot = Convert::AddConversionExpression(XeDateTimeData, type, slot, shape.length);
      } else {
        CheckDataTypeAndThrowError(slot, {kTypeOfValue<Operand>}, Op::kName);
      }
    }
    return known;
  }
  template <class T>
  std::optional<T> ReadConstant(int index) {
    RExpression& operand = *Slot(index);
    T value{};
    if (operand.GetExpressionType() != kConstantExpression || operand.Eval(&value) != kTrue) {
      return std::nullopt;
    }
    return value;
  }

  /// Calls the op; a text that it makes is then in `made`. True where it gives nothing.
  template <class Text, class Character>
  auto Call(const OperandValues<Op, Text>& values, MadeText<Character>& made) {
    if constexpr (kMakesText<Op>) made.Clear();
    if constexpr (std::same_as<Given, void>) {
      CallOver<Text>(op_, values, made);
      return true;
    } else {
      return CallOver<Text>(op_, values, made);
    }
  }
  /// Writes what a row gave.
  template <class Value>
  void Write(const Value& given, void* out) {
    if constexpr (kMakesText<Op>) {
      *static_cast<RefLongVarChar*>(out) = {made_.GetLength(), made_.GetCharacters()};
    } else if constexpr (kCanBeNull) {
      if (given) {
        *static_cast<Result*>(out) = *given;
      } else {
        retCode_ = kUnknown;
      }
    } else {
      *static_cast<Result*>(out) = given;
    }
  }

  static bool AreBytes(const OperandVectors& operands) {
    bool areBytes = true;
    ForEachOperand([&]<class Operand>(std::type_identity<Operand>, std::size_t i) {
      if constexpr (std::same_as<Operand, TextOperand>) {
        areBytes = areBytes && ByteTexts(operands[i]).IsSure();
      }
    });
    return areBytes;
  }

  /// One loop that the compiler can vectorise.
  void MapPlain(const OperandVectors& operands, const BatchRows& rows,
                BatchVector& out) requires detail::kIsPairOfNumbers<typename Op::Operands> {
    using A = std::tuple_element_t<0, typename Op::Operands>;
    using B = std::tuple_element_t<1, typename Op::Operands>;
    StoredResult* const values = GetBatchBuffers().template Values<StoredResult>();
    MapPairs(operands[0].template As<A>(), operands[0].isConstant, operands[1].template As<B>(),
             operands[1].isConstant, values, rows,
             [](A a, B b) { return static_cast<StoredResult>(Op::Apply(a, b)); });
    out.form = FormOfResult();
    out.values = reinterpret_cast<const uint8*>(values);
  }

  template <class Text>
  bool FillBatch(const OperandVectors& operands, const BatchRows& rows, BatchVector& out) {
    constexpr bool kBytes = std::same_as<Text, ByteText>;
    using Character = std::conditional_t<kBytes, uint8, wchar_t>;
    BatchBuffers& buffers = GetBatchBuffers();
    std::array<BatchTextReader<Text>, kCount> readers;
    ForEachOperand([&]<class Operand>(std::type_identity<Operand>, std::size_t i) {
      if constexpr (std::same_as<Operand, TextOperand>) readers[i].Start(operands[i]);
    });
    const auto read = [&](uint32 row) {
      return [&]<std::size_t... i>(std::index_sequence<i...>) {
        return OperandValues<Op, Text>{[&] {
          using Operand = std::tuple_element_t<i, typename Op::Operands>;
          if constexpr (std::same_as<Operand, TextOperand>) {
            return readers[i].Get(row);
          } else {
            return ReadBatchValue<Operand>(operands[i], row);
          }
        }()...};
      }
      (std::make_index_sequence<kCount>());
    };
    if constexpr (std::same_as<Result, RefLongVarChar>) {
      out.form = kBytes ? ColumnForm::kText8 : ColumnForm::kText32;
      out.texts = buffers.Texts();
      buffers.ClearTexts();
    } else {
      out.form = FormOfResult();
      out.scale = 0;
      out.values = reinterpret_cast<const uint8*>(buffers.Values<StoredResult>());
    }
    MadeText<Character>& made = GetMadeText<Character>();
    bool isDone = true;
    std::size_t kept = 0;
    rows.ForEach([&](uint32 row) {
      if (!isDone || out.IsNull(row)) return;
      const OperandValues<Op, Text> values = read(row);
      if constexpr (kMakesText<Op>) {
        // Texts of such a size are not held for many rows at once.
        kept += made.GetLength() * sizeof(Character);
        isDone = Call<Text>(values, made) && kept < kMostKeptBytes;
        buffers.Texts()[row] = KeepMade(made, buffers);
      } else {
        const auto given = Call<Text>(values, made);
        if constexpr (kCanBeNull) {
          if (given) {
            Keep(*given, row);
          } else {
            buffers.Validity()[row / 64] &= ~(uint64{1} << row % 64);
          }
        } else {
          Keep(given, row);
        }
      }
    });
    return isDone;
  }

  /// As results stand in a batch.
  using StoredResult = std::conditional_t<std::same_as<Result, bool>, uint8, Result>;
  static constexpr ColumnForm FormOfResult() {
    if constexpr (std::same_as<Result, VelmarNumber>) {
      return ColumnForm::kNumber;
    } else if constexpr (std::same_as<Result, XeDateTime>) {
      return ColumnForm::kDateTime;
    } else if constexpr (std::same_as<Result, RefLongVarChar>) {
      return ColumnForm::kText32;
    } else {
      return BatchFormOf<StoredResult>::kForm;
    }
  }
  template <class Value>
  void Keep(const Value& value, uint32 row) {
    BatchBuffers& buffers = GetBatchBuffers();
    if constexpr (requires { AsBatchText(value); }) {
      // A part of a text that was only converted for this row would not stay.
      buffers.Texts()[row] = KeepText(value, buffers);
    } else if constexpr (std::same_as<Value, XeDate>) {
      buffers.Values<int32>()[row] = ToDay32(value);
    } else if constexpr (std::same_as<Value, XeTime>) {
      buffers.Values<int64>()[row] = ToTime64(value);
    } else {
      buffers.Values<StoredResult>()[row] = static_cast<StoredResult>(value);
    }
  }

  template <class Character>
  MadeText<Character>& GetMadeText() {
    if constexpr (std::same_as<Character, wchar_t>) {
      return made_;
    } else {
      return madeBytes_;
    }
  }

  Op op_;
  MadeText<wchar_t> made_;
  MadeText<uint8> madeBytes_;
};

}  // namespace sqxer
