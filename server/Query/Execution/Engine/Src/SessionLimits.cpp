// What a session's statements may take and do.
#include "Session.h"
#include "UntrustedRules.h"

namespace sqxer {

void Session::Set(const std::string& name, const std::string& value) {
  const auto with = [&](const Settings& settings) {
    SUSystemConfig switches = settings.GetSwitches();
    switches.Set(name, value);
    return std::make_shared<const Settings>(switches);
  };
  settings_ = with(*settings_);
  // What the program wants is what RESET goes back to, and what no untrusted statement gets beyond.
  firstSettings_ = with(*firstSettings_);
}

void Session::CheckReadable(const std::string& path) const {
  if (isUntrusted_) untrusted::CheckRead(path, directory_);
}

void Session::SetUntrusted() {
  isUntrusted_ = true;
  settings_ = std::make_shared<const Settings>(untrusted::Tighten(settings_->GetSwitches()));
  firstSettings_ = settings_;
}

StatementBudget* Session::BeginBudget() {
  const SUSystemConfig& switches = settings_->GetSwitches();
  const uint64 limit = switches.GetMemoryLimit();
  budget_->SetLimits(limit, switches.GetTempLimit());
  // Tables of files can be read again: they give way where they would leave less than half.
  if (budget_->GetUsed() > limit / 2) {
    std::erase_if(tables_, [&](const auto& kept) {
      return openedPaths_.contains(kept.first) && kept.second->IsRepeatable();
    });
  }
  return budget_.get();
}

}  // namespace sqxer
