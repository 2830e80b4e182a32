#pragma once

#include "FaultCases.h"

namespace sqxer::faults {

/// What programs do beside statements: Arrow data in and out, streams, expressions over rows,
/// functions of their own, distributed plans, a session of its own.
void AddProgramCases(std::vector<Case>& cases);

}  // namespace sqxer::faults
