#pragma once

#include <nanobind/nanobind.h>

namespace sqxer::python {

/// Adds the class of statements over tables in parts.
void AddPlan(nanobind::module_& module);

}  // namespace sqxer::python
