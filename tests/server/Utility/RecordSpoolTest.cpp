#include <gtest/gtest.h>

#include <cstring>

#include "Utility/RecordSpool.h"

namespace sqxer {
namespace {

TEST(RecordSpool, GivesRecordsBackInTheirOrderWithinAnyMemory) {
  for (const std::size_t memory : {std::size_t{0}, std::size_t{100}, std::size_t{1} << 20}) {
    OperatorTimer timer;
    RecordSpool spool(12, memory, timer);
    // A smaller input after a larger one must not show what is left of it.
    for (const uint32 count : {1000u, 0u, 3u, 64u, 65u}) {
      const uint64 spilledBefore = timer.GetSpilledBytes();
      spool.BeginInput();
      uint8 record[12] = {};
      for (uint32 i = 0; i < count; ++i) {
        std::memcpy(record + 8, &i, sizeof i);
        spool.Append(record);
      }
      spool.EndInput();
      EXPECT_EQ(spool.GetCount(), count);
      EXPECT_EQ(timer.GetSpilledBytes() - spilledBefore,
                count * 12 > memory && count > 1 ? count * 12 : 0);
      for (int pass = 0; pass < 2; ++pass) {
        for (uint32 i = 0; i < count; ++i) {
          const uint8* const next = spool.Next();
          ASSERT_NE(next, nullptr);
          ASSERT_EQ(std::memcmp(next + 8, &i, sizeof i), 0);
        }
        EXPECT_EQ(spool.Next(), nullptr);
        for (uint32 i = count; i-- > 0;) ASSERT_EQ(std::memcmp(spool.At(i) + 8, &i, sizeof i), 0);
        spool.Rewind();
      }
    }
  }
}

}  // namespace
}  // namespace sqxer
