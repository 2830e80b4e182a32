#include "SQXERExprFunctionSearch.h"

#include "SQXERBatchText.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/Settings.h"

namespace sqxer {
namespace {

/// The position, from 1, of a text in another one at or behind a start, which may lie anywhere.
int32 FindFrom(const RefLongVarChar& needle, const RefLongVarChar& haystack, int64 start,
               bool isCaseSensitive) {
  if (start < 0) {
    const int64 fromEnd = start + haystack.length_ + 1;
    if (fromEnd < 1) return 0;
    const uint32 index = BaseStringUtil::ReversePatternMatch(
        haystack, needle, static_cast<uint32>(fromEnd), isCaseSensitive);
    return index < haystack.length_ ? static_cast<int32>(index) + 1 : 0;
  }
  const int64 skipped = start > 0 ? start - 1 : 0;
  if (skipped > haystack.length_) return 0;
  const int32 index = ConfiguredCharComparison::FindString(
      haystack.buffer_ + skipped, haystack.length_ - static_cast<uint32>(skipped), needle.buffer_,
      needle.length_, isCaseSensitive);
  return index < 0 ? 0 : static_cast<int32>(index + skipped + 1);
}

/// The positions of a batch, from 1, 0 for nowhere; false where not all texts are known to have
/// one-byte characters.
bool FindInBatch(RExpression& needle, RExpression& haystack, const BatchRows& rows,
                 BatchBuffers& buffers, BatchVector& out) {
  const auto find = [&](const BatchVector& needles, const BatchVector& haystacks,
                        const BatchRows& wanted, BatchVector& result) {
    ByteTexts sought(needles);
    ByteTexts texts(haystacks);
    if (!sought.IsSure() || !texts.IsSure()) return false;
    int32* const positions = buffers.Values<int32>();
    result.form = ColumnForm::kInt32;
    result.values = reinterpret_cast<const uint8*>(positions);
    wanted.ForEach([&](uint32 row) {
      if (!result.IsNull(row)) positions[row] = FindBytes(*texts.Get(row), *sought.Get(row)) + 1;
    });
    return true;
  };
  return EvalPairBatch(needle, haystack, rows, buffers, out, find);
}

}  // namespace

std::atomic<bool> ConfiguredCharComparison::isCaseSensitiveCompare{true};
std::atomic<bool> ConfiguredCharComparison::isSubstringUsingVelmarCompliance{false};

void ConfiguredCharComparison::Initialize() {
  const SettingsRef settings = Settings::Current();
  const SUSystemConfig& switches = settings->GetSwitches();
  isCaseSensitiveCompare = switches.caseSensitiveCompare_;
  isSubstringUsingVelmarCompliance = switches.substringCompliance_;
}

int32 ConfiguredCharComparison::FindString(const wchar_t* haystack, uint32 haystackLength,
                                           const wchar_t* needle, uint32 needleLength,
                                           bool isCaseSensitive) {
  const RefLongVarChar text{haystackLength, const_cast<wchar_t*>(haystack)};
  const RefLongVarChar pattern{needleLength, const_cast<wchar_t*>(needle)};
  const uint32 index = BaseStringUtil::PatternMatch(text, pattern, 0, isCaseSensitive);
  return index < haystackLength ? static_cast<int32>(index) : -1;
}

void TextSearchFunction::BindTexts(const wchar_t* name, XeAListStream* stream,
                                   RExpression*& replacement, MetaDataInfo& info) {
  isCaseSensitive_ = Settings::Current()->GetSwitches().caseSensitiveCompare_;
  BindTextOperand(0, name, stream, replacement, info);
  BindTextOperand(1, name, stream, replacement, info);
}

bool TextSearchFunction::EvalBatch(const BatchRows& rows, BatchVector& out) {
  return (HasSearchLoop() && FindInBatch(*operand_, *params_[0], rows, GetBatchBuffers(), out)) ||
         RExpression::EvalBatch(rows, out);
}

void Position::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindTexts(L"Position", stream, replacement, info);
  SetResult(XeInt4Data, info);
}

RExprReturn Position::Eval(void* out) {
  if (EvalOperands(&varCharOperand_, &varCharParam_) != kTrue) return retCode_;
  *static_cast<int32*>(out) =
      ConfiguredCharComparison::FindString(varCharParam_.buffer_, varCharParam_.length_,
                                           varCharOperand_.buffer_, varCharOperand_.length_,
                                           isCaseSensitive_) +
      1;
  return kTrue;
}

void Locate::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindTexts(L"Locate", stream, replacement, info);
  if (HasStart()) {
    BindIthOperand(2, stream, replacement, info);
    ConvertIthOperand(2, ParameterType::kInt32, L"Locate");
  }
  SetResult(XeInt4Data, info);
}

RExprReturn Locate::Eval(void* out) {
  if (EvalOperands(&varCharOperand_, &varCharParam_) != kTrue) return retCode_;
  if (HasStart()) {
    retCode_ = params_[1]->Eval(&start_);
    if (retCode_ != kTrue) return retCode_;
  }
  *static_cast<int32*>(out) = FindFrom(varCharOperand_, varCharParam_, start_, isCaseSensitive_);
  return kTrue;
}

}  // namespace sqxer
