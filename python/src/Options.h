#pragma once

#include <nanobind/nanobind.h>

#include <string>

#include "Engine/Engine.h"

namespace sqxer::python {

inline engine::ResultOptions MakeOptions(const std::string& numerics, bool keepsDictionaries) {
  using Numerics = engine::ResultOptions::Numerics;
  engine::ResultOptions options;
  options.keepsDictionaries = keepsDictionaries;
  if (numerics == "decimal") {
    options.numerics = Numerics::kDecimal;
  } else if (numerics == "double") {
    options.numerics = Numerics::kDouble;
  } else if (numerics != "settled") {
    throw nb::value_error("numerics is one of 'settled', 'decimal' and 'double'");
  }
  return options;
}

}  // namespace sqxer::python
