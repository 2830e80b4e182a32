#pragma once

/// The switch of the changes that `make mutants` writes into a copy of the sources.

namespace sqxer_mutants {

/// The number of the change that is on, from SQXER_MUTANT; 0: none.
extern int active;
/// A byte for each change, 1 once it was reached: a file that SQXER_MUTANTS_REACHED names, shared
/// by the processes of a test.
extern unsigned char* reached;

/// Whether a change is on. Where the compiler computes, it never is.
constexpr bool On(int number) noexcept {
  if (__builtin_is_constant_evaluated()) return false;
  reached[number] = 1;
  return active == number;
}

}  // namespace sqxer_mutants
