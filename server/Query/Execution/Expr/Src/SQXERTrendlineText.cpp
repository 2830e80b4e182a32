#include "SQXERTrendlineText.h"

#include <charconv>
#include <limits>

namespace sqxer {

namespace {

XeString GenericHead(TrendlineParameter::ModelType modelType) {
  XeString head = LR"({"analyticmodel": {"identifier": "001", "name": "trendline", "type": ")";
  head += kTrendlineTypeWords[modelType];
  return head;
}

/// The number behind the sign that it has or needs.
XeString Signed(const VelmarNumber& number) {
  return (number.isNegative() ? L"" : S_PLUS) + number.asString();
}

XeString LinearFormula(const VelmarNumber& slope, const VelmarNumber& intercept) {
  return slope.asString() + L"*x" + Signed(intercept);
}

XeString ExponentialFormula(const VelmarNumber& a, const VelmarNumber& b) {
  const XeString base = b.asString();
  return a.asString() + L"*" + (b.isNegative() ? L"(" + base + L")" : base) + L"^x";
}

XeString PolynomialFormula(std::span<const VelmarNumber> coefficients) {
  XeString formula;
  for (std::size_t k = coefficients.size(); k-- > 0;) {
    formula += formula.empty() ? coefficients[k].asString() : Signed(coefficients[k]);
    formula += L"*x^" + std::to_wstring(k);
  }
  return formula;
}

/// With five decimals ("%.5f", in no locale).
XeString StatisticText(float64 value) {
  if (value == TrendlineStatistics::kNone) return L"NA";
  // A sign, the digits of any double, the point and the decimals.
  std::array<char, std::numeric_limits<float64>::max_exponent10 + 9> text;
  const char* const end =
      std::to_chars(text.begin(), text.end(), value, std::chars_format::fixed, 5).ptr;
  return XeString(text.cbegin(), end);
}

void AppendEscaped(XeString& json, std::wstring_view text) {
  for (const wchar_t c : text) {
    if (c == L'"' || c == L'\\') {
      json += L'\\';
      json += c;
    } else if (static_cast<uint32>(c) < L' ') {
      json += L"\\u00";
      json += c < 16 ? L'0' : L'1';
      json += L"0123456789abcdef"[c % 16];
    } else {
      json += c;
    }
  }
}

}  // namespace

XeString ConstructModelResult(TrendlineParameter::ModelType modelType,
                              std::span<const VelmarNumber> parameters,
                              const TrendlineStatistics& statistics) {
  XeString formula;
  switch (modelType) {
    case TrendlineParameter::kLinear:
      formula = LinearFormula(parameters[0], parameters[1]);
      break;
    case TrendlineParameter::kExponential:
      formula = ExponentialFormula(parameters[0], parameters[1]);
      break;
    case TrendlineParameter::kPolynomial:
      formula = PolynomialFormula(parameters);
      break;
    default:
      // There is nothing to say of a model without a fit.
      break;
  }
  XeString text;
  if (!formula.empty()) text = GenericHead(modelType) + LR"(", "formula": ")" + formula + L"\",";
  // Readers of the text rely on "degree" being the degrees of freedom.
  text += LR"( "degree": ")" + std::to_wstring(statistics.degreesOfFreedom);
  text += LR"(", "std error": ")" + StatisticText(statistics.standardError);
  text += LR"(", "R-squared": ")" + StatisticText(statistics.rSquared);
  text += LR"("}})";
  return text;
}

XeString ConstructModelErrorMsg(TrendlineParameter::ModelType modelType,
                                std::wstring_view errorText) {
  XeString text = GenericHead(modelType) + LR"(", "error": ")";
  AppendEscaped(text, errorText);
  text += LR"("}})";
  return text;
}

}  // namespace sqxer
