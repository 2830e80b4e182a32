#include "RunProfile.h"

#include <algorithm>
#include <cwchar>

namespace sqxer {

thread_local RunProfile* RunProfile::current = nullptr;

RunProfile::RunProfile(bool nodes) : outer_(std::exchange(current, this)) {
  if (!nodes) return;
  nodes_.emplace();
  nodeScope_.emplace(*nodes_);
}

RunProfile::~RunProfile() { current = outer_; }

void RunProfile::BeginRow() {
  isQuiet_ = row_++ % kRowsOfSample != 0;
  if (isQuiet_) return;
  // What came before counts once.
  Switch(step_);
  base_ = step_;
  weight_ = static_cast<int>(kRowsOfSample);
}

void RunProfile::EndRow() {
  if (!isQuiet_) Switch(step_);
  isQuiet_ = false;
  weight_ = 1;
}

std::vector<XeString> RunProfile::Describe() {
  Switch(step_);
  constexpr const wchar_t* kNames[kSteps] = {L"scan",   L"filter", L"join",    L"group",
                                             L"having", L"window", L"outputs", L"distinct",
                                             L"sort",   L"write",  L"the rest"};
  const auto milliseconds = [](Clock::duration time) {
    return std::max(std::chrono::duration<double, std::milli>(time).count(), 0.0);
  };
  const double whole = milliseconds(since_ - start_);
  std::vector<XeString> lines;
  wchar_t line[160];
  for (std::size_t i = 0; i < kSteps; ++i) {
    const Taken& taken = taken_[i];
    if (taken.time.count() == 0 && taken.in == 0 && taken.out == 0) continue;
    const double time = milliseconds(taken.time);
    const double share = whole > 0 ? 100 * time / whole : 0;
    if (static_cast<Step>(i) == Step::kOther) {
      std::swprintf(line, std::size(line), L"%ls: %.3f ms (%.0f %%)", kNames[i], time, share);
    } else {
      std::swprintf(line, std::size(line), L"%ls: %llu rows in, %llu out, %.3f ms (%.0f %%)",
                    kNames[i], static_cast<unsigned long long>(taken.in),
                    static_cast<unsigned long long>(taken.out), time, share);
    }
    lines.emplace_back(line);
  }
  std::swprintf(line, std::size(line), L"in all: %.3f ms", whole);
  lines.emplace_back(line);
  return lines;
}

}  // namespace sqxer
