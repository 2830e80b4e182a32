#pragma once

namespace sqxer {

/// What may flow to a SELECT: rows of joins over tables in memory, and those of files that are too
/// large to be kept. `canStartAgain`: see TableRequest.
struct FlowRules {
  bool tables = false;
  bool files = false;
  bool canStartAgain = false;
};

}  // namespace sqxer
