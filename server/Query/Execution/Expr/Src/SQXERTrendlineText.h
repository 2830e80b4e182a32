#pragma once

#include <array>
#include <span>
#include <string_view>

#include "SQXEROpsTrendline.h"

namespace sqxer {

inline constexpr const wchar_t* S_PLUS = L"+";

/// What the model types are called, by ModelType.
inline constexpr std::array<std::wstring_view, 6> kTrendlineTypeWords = {
    L"linear", L"power", L"exponential", L"logarithmic", L"polynomial", L"movingaverage"};

/// The JSON text of a model: what it is, its formula and its statistics. `parameters` are slope and
/// intercept, the a and b of a * b^x, or the coefficients of the powers from 0 on. Numbers of the
/// formula are written by VelmarNumber::asString, the number format TM9; a polynomial has a term
/// for every power, 1 and 0 too: "2*x^2-1*x^1+0.5*x^0". A model type without a fit has no head.
SQXEREXPR_API XeString ConstructModelResult(TrendlineParameter::ModelType modelType,
                                            std::span<const VelmarNumber> parameters,
                                            const TrendlineStatistics& statistics);

/// The JSON text in place of a model that has no fit; any error text may stand in it.
SQXEREXPR_API XeString ConstructModelErrorMsg(TrendlineParameter::ModelType modelType,
                                              std::wstring_view errorText);

}  // namespace sqxer
