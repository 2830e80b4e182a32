#pragma once

#include <functional>

#include "Oracles.h"

namespace sqxer::fuzz {

/// A case with what it is run over.
struct Finding {
  Case asked;
  Surroundings surroundings;
};

/// Makes a finding smaller as long as it fails: clauses, outputs and keys go, operands stand in the
/// place of their calls, and rows, columns and switches are left out. Gives up after some time.
Finding Shrink(Finding finding, const std::function<bool(const Finding&)>& fails);

/// The finding as a file of tests/sql has it, with what was found as comments.
std::string TestText(const Finding& finding, const Verdict& verdict);

}  // namespace sqxer::fuzz
