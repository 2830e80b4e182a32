#include <gtest/gtest.h>

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
  char content[24] = {};
};

TEST(MemoryGateway, CountsBlocksAndBytesOfObjectsAcrossThreads) {
  const std::size_t bytes = MemoryGateway::BytesInUse();
  const std::size_t blocks = MemoryGateway::BlocksInUse();
  {
    const std::unique_ptr<Tracked> one(new Tracked);
    EXPECT_THROW(new Tracked(true), std::runtime_error);
    std::ostringstream text;
    StreamPrinter printer(text);
    MemoryGateway::PrintLiveBlocks(printer);
    const std::string totals = std::to_string(blocks + 1) + " blocks in use, " +
                               std::to_string(bytes + sizeof(Tracked)) + " bytes\n";
    EXPECT_TRUE(text.str().ends_with(totals)) << text.str();
// clang has a new expression's default arguments stand where they are declared.
#if defined(XE_TRACK_MEMORY) && !defined(__clang__)
    EXPECT_NE(text.str().find("XeMemoryTest.cpp:"), std::string::npos) << text.str();
#endif
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([] {
        for (int i = 0; i < 2000; ++i) delete new Tracked;
      });
    }
  }
  EXPECT_EQ(MemoryGateway::BytesInUse(), bytes);
  EXPECT_EQ(MemoryGateway::BlocksInUse(), blocks);
}

TEST(MemoryGateway, AlignsBlocksAndRefusesImpossibleSizes) {
  const auto here = std::source_location::current();
  for (std::size_t size : {0, 1, 15, 16, 17, 4097}) {
    void* const block = MemoryGateway::Allocate(size, here);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0u);
    MemoryGateway::Free(block);
  }
  EXPECT_THROW(MemoryGateway::Allocate(SIZE_MAX - 4, here), std::bad_alloc);
}

}  // namespace
}  // namespace sqxer
