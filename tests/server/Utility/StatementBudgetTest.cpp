// What counts with a statement's budget, and what happens at its end.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "Utility/ColumnBuffer.h"
#include "Utility/ErrorMessage.h"
#include "Utility/HugePages.h"
#include "Utility/SUSystemConfig.h"
#include "Utility/StatementBudget.h"
#include "Utility/XeMemory.h"

namespace sqxer::test {
namespace {

constexpr uint64 kMiB = uint64{1} << 20;

/// The code that an action throws; 0 for none.
template <class Action>
int CodeOf(Action&& action) {
  try {
    action();
  } catch (const ErrorMessage& error) {
    EXPECT_TRUE(error.IsOfStatement());
    return error.GetCode();
  }
  return 0;
}

class StatementBudgets : public testing::Test {
 protected:
  StatementBudget::Owner budget_ = StatementBudget::Make();
  BudgetScope scope_{budget_.get()};
};

TEST_F(StatementBudgets, CountWhatIsTakenByBlocks) {
  {
    const std::vector<uint64, ScatteredAllocator<uint64>> numbers(1 << 20);
    EXPECT_GE(budget_->GetUsed(), 8 * kMiB);
    EXPECT_LT(budget_->GetUsed(), 9 * kMiB);
  }
  EXPECT_EQ(budget_->GetUsed(), 0);
  void* const block = MemoryGateway::Allocate(kMiB, std::source_location::current());
  EXPECT_EQ(budget_->GetUsed(), kMiB);
  MemoryGateway::Free(block);
  void* const small = MemoryGateway::Allocate(100, std::source_location::current());
  EXPECT_EQ(budget_->GetUsed(), 0);
  MemoryGateway::Free(small);
  EXPECT_GE(budget_->GetPeak(), 8 * kMiB);
}

TEST_F(StatementBudgets, CountColumnsWhileTheyGrowMoveAndShrink) {
  ColumnBuffer column;
  for (std::size_t bytes = 1000; bytes < 40 * kMiB; bytes = bytes * 3 / 2) {
    column.Reserve(bytes);
    const uint64 used = budget_->GetUsed();
    EXPECT_GE(used, bytes >= StatementBudget::kLeastBytes ? bytes : 0);
    EXPECT_LE(used, 2 * bytes + 4 * kMiB);
  }
  column.Shrink(10 * kMiB);
  EXPECT_GE(budget_->GetUsed(), 10 * kMiB);
  EXPECT_LT(budget_->GetUsed(), 11 * kMiB);
  column.Reserve(30 * kMiB);
  ColumnBuffer other = std::move(column);
  other.Shrink(100 << 10);
  EXPECT_LT(budget_->GetUsed(), kMiB);
  other.Release();
  EXPECT_EQ(budget_->GetUsed(), 0);
  // One that has begun without a budget counts whole when it grows with one.
  {
    const BudgetScope none(static_cast<StatementBudget*>(nullptr));
    column.Reserve(20 * kMiB);
  }
  EXPECT_EQ(budget_->GetUsed(), 0);
  column.Reserve(60 * kMiB);
  EXPECT_GE(budget_->GetUsed(), 60 * kMiB);
}

TEST_F(StatementBudgets, RefuseWhatIsTooMuchAndSayWhatItWasFor) {
  budget_->SetLimits(16 * kMiB, StatementBudget::kNoLimit);
  ColumnBuffer column;
  column.Reserve(8 * kMiB);
  column.As<uint8>()[5] = 7;
  const uint64 used = budget_->GetUsed();
  const auto grow = [&] { column.Reserve(64 * kMiB); };
  EXPECT_EQ(CodeOf(grow), 57174);
  {
    const BudgetScope use(MemoryUse::kTable, L"big");
    EXPECT_EQ(CodeOf(grow), 57175);
    try {
      grow();
    } catch (const ErrorMessage& error) {
      EXPECT_NE(std::string(error.what())
                    .find("the rows read of \"big\" need more memory than the "
                          "switch MemoryLimit gives, 16MiB"),
                std::string::npos);
    }
  }
  for (int use = 0; use <= static_cast<int>(MemoryUse::kInnerRows); ++use) {
    const BudgetScope scope(static_cast<MemoryUse>(use));
    EXPECT_EQ(CodeOf([] { AllocateScattered(32 * kMiB); }), 57174 + use);
    EXPECT_EQ(CodeOf([] { MemoryGateway::Allocate(32 * kMiB, std::source_location::current()); }),
              57174 + use);
  }
  EXPECT_EQ(CodeOf([] { AllocateScattered(SIZE_MAX / 2); }), 57174);
  EXPECT_EQ(budget_->GetUsed(), used);
  EXPECT_EQ(column.As<uint8>()[5], 7);
  // A part of what is left.
  EXPECT_EQ(StatementBudget::CapShare(kMiB, 2), kMiB);
  EXPECT_EQ(StatementBudget::CapShare(64 * kMiB, 2), (16 * kMiB - used) / 2);
}

TEST_F(StatementBudgets, CountTemporaryBytes) {
  budget_->SetLimits(StatementBudget::kNoLimit, 1000);
  budget_->TakeTemporary(900);
  EXPECT_EQ(CodeOf([&] { budget_->TakeTemporary(101); }), 57183);
  budget_->TakeTemporary(100);
  budget_->GiveBackTemporary(1000);
  EXPECT_EQ(CodeOf([&] { budget_->TakeTemporary(1000); }), 0);
  budget_->GiveBackTemporary(1000);
}

TEST_F(StatementBudgets, OutliveTheirOwnersAsLongAsSomethingCounts) {
  StatementBudget::Owner owner = StatementBudget::Make();
  std::vector<ColumnBuffer> kept(8);
  {
    std::vector<std::jthread> threads;
    for (ColumnBuffer& column : kept) {
      threads.emplace_back([&, context = StatementBudget::Context{.budget = owner.get()}] {
        const BudgetScope scope(context);
        for (int i = 1; i <= 64; ++i) column.Reserve(static_cast<std::size_t>(i) * kMiB / 8);
      });
    }
  }
  EXPECT_GE(owner->GetUsed(), 8 * 8 * kMiB);
  owner.reset();
  // Whoever frees the last one frees the budget: a leak otherwise, which sanitizers tell.
  kept.clear();
}

TEST(MemoryLimits, AreSizesOrShares) {
  SUSystemConfig switches;
  EXPECT_EQ(switches.Get("MemoryLimit"), "80%");
  const uint64 machine = GetMachineMemory();
  EXPECT_GT(machine, 64 * kMiB);
  EXPECT_EQ(switches.GetMemoryLimit(), machine / 100 * 80);
  switches.Set("MemoryLimit", "512MiB");
  EXPECT_EQ(switches.Get("memorylimit"), "512MiB");
  EXPECT_EQ(switches.GetMemoryLimit(), 512 * kMiB);
  switches.Set("MemoryLimit", "5%");
  EXPECT_EQ(switches.GetMemoryLimit(), machine / 100 * 5);
  for (const char* const wrong : {"0", "0%", "101%", "x", "", "5 %", "-1"}) {
    EXPECT_THROW(switches.Set("MemoryLimit", wrong), ErrorMessage) << wrong;
  }
  EXPECT_EQ(switches.Get("TempLimit"), "0");
  EXPECT_EQ(switches.GetTempLimit(), StatementBudget::kNoLimit);
  switches.Set("TempLimit", "1GiB");
  EXPECT_EQ(switches.GetTempLimit(), 1024 * kMiB);
  switches.Set("TempLimit", "0");
  EXPECT_EQ(switches.Get("TempLimit"), "0");
}

}  // namespace
}  // namespace sqxer::test
