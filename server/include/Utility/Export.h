#pragma once

/// XEUTILITY_API marks what libxeutility.so exports, SQXEREXPR_API what libsqxerexpr.so exports.
/// Everything else stays hidden inside its library (-fvisibility=hidden).
#if defined(__GNUC__)
#define XEUTILITY_API __attribute__((visibility("default")))
#define SQXEREXPR_API __attribute__((visibility("default")))
#else
#define XEUTILITY_API
#define SQXEREXPR_API
#endif
