#pragma once

#include <atomic>
#include <cstddef>
#include <memory>

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// What memory is taken for: the error of a limit names it.
enum class MemoryUse : uint8 {
  kStatement,
  /// Rows of a table; the subject is its name.
  kTable,
  kGroups,
  /// Values that an aggregate holds of its groups; the subject is what it is called.
  kValues,
  kJoin,
  kSort,
  kWindow,
  kResult,
  /// Rows of a subquery, a view or a query of WITH.
  kInnerRows,
};

/// Counts what a session's statements hold of memory and of temporary files, within the limits of
/// the running one. What they leave behind (tables that are kept, results not yet released) stays
/// counted until it is freed, by whatever thread, also behind the session's end.
///
/// Memory counts where it is taken by blocks: columns (ColumnBuffer), tables of groups, joins and
/// sorts (AllocateScattered) and blocks of the memory gateway. Small blocks do not count. A block
/// knows the budget that it counts with.
class XEUTILITY_API StatementBudget {
 public:
  /// Blocks of fewer bytes do not count.
  static constexpr std::size_t kLeastBytes = 4096;

  struct Leave {
    void operator()(StatementBudget* budget) const noexcept { budget->GiveBack(kOwned); }
  };
  using Owner = std::unique_ptr<StatementBudget, Leave>;
  /// A budget without limits. It stays until the owner has gone and nothing counts with it.
  static Owner Make();
  StatementBudget(const StatementBudget&) = delete;
  StatementBudget& operator=(const StatementBudget&) = delete;

  /// In bytes; kNoLimit for any number.
  static constexpr uint64 kNoLimit = uint64{1} << 62;
  void SetLimits(uint64 memory, uint64 temporary) noexcept;

  /// Counts bytes that are about to be taken. An error, and nothing is counted, when they are more
  /// than is left: 57174 and the following codes, one for each MemoryUse (limit, subject).
  void Take(uint64 bytes);
  void GiveBack(uint64 bytes) noexcept;
  uint64 GetUsed() const noexcept { return held_.load(std::memory_order_relaxed) & (kOwned - 1); }
  uint64 GetLimit() const noexcept { return memoryLimit_.load(std::memory_order_relaxed); }
  /// What is wanted, but no more than one of so many parts of what the thread's budget has left.
  static uint64 CapShare(uint64 wanted, uint64 parts) noexcept;
  /// The most that was held at once since the last SetLimits.
  uint64 GetPeak() const noexcept { return peak_.load(std::memory_order_relaxed); }

  /// The same for bytes of temporary files. Error 57183 (limit).
  void TakeTemporary(uint64 bytes);
  void GiveBackTemporary(uint64 bytes) noexcept;

  /// Counts a block with the thread's budget: that one; null, and nothing is counted, where the
  /// thread has none or the block is small. Whoever frees the block gives the bytes back.
  static StatementBudget* CountBlock(std::size_t bytes);

  /// What a thread counts with and for.
  struct Context {
    StatementBudget* budget = nullptr;
    MemoryUse use = MemoryUse::kStatement;
    /// UTF-32, zero at the end; empty for none.
    const wchar_t* subject = L"";
  };
  /// That of the thread's innermost scopes, for scopes of threads that share its work.
  static Context OfThread() noexcept;

 private:
  friend class BudgetScope;
  static constexpr uint64 kOwned = uint64{1} << 63;

  StatementBudget() = default;
  ~StatementBudget() = default;
  [[noreturn]] void ThrowTooMuch() const;

  /// Bytes, and the owner.
  std::atomic<uint64> held_ = kOwned;
  std::atomic<uint64> temporary_ = 0;
  std::atomic<uint64> peak_ = 0;
  std::atomic<uint64> memoryLimit_ = kNoLimit;
  std::atomic<uint64> temporaryLimit_ = kNoLimit;
};

/// Makes the thread count with a budget, or for a use, as long as it lives. Budget and subject must
/// outlive it.
class XEUTILITY_API BudgetScope {
 public:
  explicit BudgetScope(StatementBudget* budget);
  explicit BudgetScope(const StatementBudget::Context& context);
  explicit BudgetScope(MemoryUse use, const wchar_t* subject = L"");
  ~BudgetScope();
  BudgetScope(const BudgetScope&) = delete;
  BudgetScope& operator=(const BudgetScope&) = delete;

 private:
  const StatementBudget::Context outer_;
};

/// The memory that this process may take: that of the machine, or of its control group if that is
/// less. 0 where it cannot be told.
XEUTILITY_API uint64 GetMachineMemory();

}  // namespace sqxer
