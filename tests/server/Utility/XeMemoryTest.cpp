#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Utility/XeMemory.h"

namespace sqxer {
namespace {

struct Tracked : XeGatewayObject {
  explicit Tracked(bool fail = false) {
    if (fail) throw std::runtime_error("refused");
  }
  virtual ~Tracked() = default;
  char content[24] = {};
};

TEST(MemoryGateway, CountsBlocksAndBytesOfObjects) {
  const std::size_t bytes = MemoryGateway::BytesInUse();
  const std::size_t blocks = MemoryGateway::BlocksInUse();
  {
    const std::unique_ptr<Tracked> one(new Tracked);
    const std::unique_ptr<Tracked> two(new Tracked);
    EXPECT_EQ(MemoryGateway::BytesInUse() - bytes, 2 * sizeof(Tracked));
    EXPECT_EQ(MemoryGateway::BlocksInUse() - blocks, 2u);
    EXPECT_THROW(new Tracked(true), std::runtime_error);
    EXPECT_EQ(MemoryGateway::BlocksInUse() - blocks, 2u);
  }
  MemoryGateway::Free(nullptr);
  EXPECT_EQ(MemoryGateway::BytesInUse(), bytes);
  EXPECT_EQ(MemoryGateway::BlocksInUse(), blocks);
}

TEST(MemoryGateway, AlignsBlocksAndRefusesImpossibleSizes) {
  for (std::size_t size : {0, 1, 15, 16, 17, 4097}) {
    void* const block = MemoryGateway::Allocate(size, std::source_location::current());
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0u);
    MemoryGateway::Free(block);
  }
  EXPECT_THROW(MemoryGateway::Allocate(SIZE_MAX - 4, std::source_location::current()),
               std::bad_alloc);
}

TEST(MemoryGateway, KeepsCountAcrossThreads) {
  const std::size_t bytes = MemoryGateway::BytesInUse();
  const std::size_t blocks = MemoryGateway::BlocksInUse();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < 2000; ++i) delete new Tracked;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(MemoryGateway::BytesInUse(), bytes);
  EXPECT_EQ(MemoryGateway::BlocksInUse(), blocks);
}

TEST(MemoryGateway, PrintsTotalsAndInTrackingBuildsThePlaceOfEachNew) {
  const std::unique_ptr<Tracked> live(new Tracked);
  std::ostringstream text;
  StreamPrinter printer(text);
  MemoryGateway::PrintLiveBlocks(printer);
  const std::string totals = std::to_string(MemoryGateway::BlocksInUse()) + " blocks in use, " +
                             std::to_string(MemoryGateway::BytesInUse()) + " bytes\n";
  EXPECT_TRUE(text.str().ends_with(totals)) << text.str();
#ifdef XE_TRACK_MEMORY
  EXPECT_NE(text.str().find("XeMemoryTest.cpp:"), std::string::npos) << text.str();
#endif
}

}  // namespace
}  // namespace sqxer
