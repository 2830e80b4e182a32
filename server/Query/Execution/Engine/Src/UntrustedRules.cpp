#include "UntrustedRules.h"

#include <algorithm>
#include <filesystem>
#include <limits>

#include "EngineError.h"
#include "Utility/SystemUtility.h"

namespace sqxer::untrusted {
namespace {

namespace fs = std::filesystem;

/// A limit as a number that is greater the more it lets through.
struct Limit {
  const wchar_t* name;
  uint64 (*get)(const SUSystemConfig& switches);
};

uint64 AnyIfZero(uint64 limit) { return limit == 0 ? std::numeric_limits<uint64>::max() : limit; }

constexpr Limit kLimits[] = {
    {L"MemoryLimit", [](const SUSystemConfig& switches) { return switches.GetMemoryLimit(); }},
    {L"TempLimit", [](const SUSystemConfig& switches) { return switches.GetTempLimit(); }},
    {L"StatementLength", [](const SUSystemConfig& switches) { return switches.statementLength_; }},
    {L"StatementTimeout",
     [](const SUSystemConfig& switches) {
       return AnyIfZero(static_cast<uint64>(switches.statementTimeout_));
     }},
    {L"UnpackRatio",
     [](const SUSystemConfig& switches) { return static_cast<uint64>(switches.unpackRatio_); }},
};

bool IsWithin(const fs::path& path, const fs::path& folder) {
  return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first ==
         folder.end();
}

/// Whether links and all, it is a file of the folder, or nothing at all there.
bool IsReadable(const fs::path& path, const std::string& folder) {
  // Standard input.
  if (path == "-") return false;
  if (std::ranges::find(path, fs::path("..")) != path.end()) return false;
  std::error_code error;
  const fs::path root = fs::canonical(folder, error);
  SystemUtility::ThrowIfOutOfMemory(error);
  if (error) return false;
  const fs::path target = fs::weakly_canonical(path, error);
  SystemUtility::ThrowIfOutOfMemory(error);
  if (error || !IsWithin(fs::absolute(target), root)) return false;
  const fs::file_status status = fs::status(target, error);
  return status.type() == fs::file_type::not_found || fs::is_regular_file(status);
}

}  // namespace

SUSystemConfig Tighten(SUSystemConfig switches) {
  constexpr uint64 kMemory = uint64{1} << 30;
  constexpr uint64 kTemporary = uint64{4} << 30;
  constexpr uint64 kLength = uint64{1} << 20;
  constexpr int kMilliseconds = 60'000;
  constexpr int kRatio = 200;
  switches.memoryLimit_ = std::min(kMemory, switches.GetMemoryLimit());
  switches.tempLimit_ = std::min(kTemporary, switches.GetTempLimit());
  switches.statementLength_ = std::min(kLength, switches.statementLength_);
  if (switches.statementTimeout_ == 0 || switches.statementTimeout_ > kMilliseconds)
    switches.statementTimeout_ = kMilliseconds;
  switches.unpackRatio_ = std::min(kRatio, switches.unpackRatio_);
  return switches;
}

void CheckRead(const std::string& path, const std::string& folder) {
  if (!IsReadable(path, folder)) ThrowEngineError(kOutsideFolder, {Wide(path)});
}

void CheckSwitches(const SUSystemConfig& wanted, const SUSystemConfig& most) {
  for (const Limit& limit : kLimits) {
    if (limit.get(wanted) > limit.get(most)) ThrowEngineError(kLimitRaised, {limit.name});
  }
  if (wanted.tempDirectory_ != most.tempDirectory_)
    ThrowEngineError(kLimitRaised, {L"TempDirectory"});
}

}  // namespace sqxer::untrusted
