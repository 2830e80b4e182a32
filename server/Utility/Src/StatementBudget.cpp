#include "Utility/StatementBudget.h"

#include <algorithm>
#include <string>
#include <utility>

#include "Utility/ErrorMessage.h"
#include "Utility/SUSystemConfig.h"

namespace sqxer {
namespace {

constexpr int kFirstMemoryError = 57174;
constexpr int kTemporaryError = 57183;

thread_local StatementBudget::Context ofThread;

XeString TextOfSize(uint64 bytes) {
  const std::string text = SUSystemConfig::TextOfSize(bytes);
  return {text.begin(), text.end()};
}

[[noreturn]] void ThrowOfStatement(int code, std::vector<XeString> arguments) {
  ErrorMessage error(code, std::move(arguments));
  error.SetOfStatement();
  SUGThrow(std::move(error));
}

}  // namespace

StatementBudget::Owner StatementBudget::Make() { return Owner(new StatementBudget); }

void StatementBudget::SetLimits(uint64 memory, uint64 temporary) noexcept {
  memoryLimit_.store(std::min(memory, kNoLimit), std::memory_order_relaxed);
  temporaryLimit_.store(std::min(temporary, kNoLimit), std::memory_order_relaxed);
  peak_.store(GetUsed(), std::memory_order_relaxed);
}

void StatementBudget::Take(uint64 bytes) {
  const uint64 limit = memoryLimit_.load(std::memory_order_relaxed);
  if (bytes > limit) ThrowTooMuch();
  const uint64 used = (held_.fetch_add(bytes, std::memory_order_relaxed) & (kOwned - 1)) + bytes;
  if (used > limit) {
    // Whose budget it is keeps it.
    held_.fetch_sub(bytes, std::memory_order_relaxed);
    ThrowTooMuch();
  }
  uint64 peak = peak_.load(std::memory_order_relaxed);
  while (used > peak && !peak_.compare_exchange_weak(peak, used, std::memory_order_relaxed)) {
  }
}

void StatementBudget::GiveBack(uint64 bytes) noexcept {
  if (held_.fetch_sub(bytes, std::memory_order_acq_rel) == bytes) delete this;
}

uint64 StatementBudget::CapShare(uint64 wanted, uint64 parts) noexcept {
  if (ofThread.budget == nullptr) return wanted;
  const uint64 limit = ofThread.budget->GetLimit();
  const uint64 used = std::min(limit, ofThread.budget->GetUsed());
  return std::min(wanted, std::max((limit - used) / parts, uint64{1}));
}

void StatementBudget::TakeTemporary(uint64 bytes) {
  const uint64 limit = temporaryLimit_.load(std::memory_order_relaxed);
  if (temporary_.fetch_add(bytes, std::memory_order_relaxed) + bytes <= limit) return;
  GiveBackTemporary(bytes);
  ThrowOfStatement(kTemporaryError, {TextOfSize(limit)});
}

void StatementBudget::GiveBackTemporary(uint64 bytes) noexcept {
  temporary_.fetch_sub(bytes, std::memory_order_relaxed);
}

StatementBudget* StatementBudget::CountBlock(std::size_t bytes) {
  if (bytes < kLeastBytes) return nullptr;
  StatementBudget* const budget = ofThread.budget;
  if (budget == nullptr) return nullptr;
  budget->Take(bytes);
  return budget;
}

StatementBudget::Context StatementBudget::OfThread() noexcept { return ofThread; }

void StatementBudget::ThrowTooMuch() const {
  const int code = kFirstMemoryError + static_cast<int>(ofThread.use);
  const XeString limit = TextOfSize(memoryLimit_.load(std::memory_order_relaxed));
  // What is raised must not count.
  const BudgetScope none(static_cast<StatementBudget*>(nullptr));
  std::vector<XeString> arguments = {limit};
  if (*ofThread.subject != L'\0') arguments.emplace_back(ofThread.subject);
  ThrowOfStatement(code, std::move(arguments));
}

BudgetScope::BudgetScope(StatementBudget* budget) : outer_(ofThread) { ofThread.budget = budget; }

BudgetScope::BudgetScope(const StatementBudget::Context& context)
    : outer_(std::exchange(ofThread, context)) {}

BudgetScope::BudgetScope(MemoryUse use, const wchar_t* subject) : outer_(ofThread) {
  ofThread.use = use;
  ofThread.subject = subject;
}

BudgetScope::~BudgetScope() { ofThread = outer_; }

}  // namespace sqxer
