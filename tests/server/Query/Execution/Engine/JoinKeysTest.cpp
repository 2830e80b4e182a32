#include <gtest/gtest.h>

#include "JoinKeys.h"
#include "server/Query/Execution/Engine/JoinTesting.h"

namespace sqxer::test {
namespace {

/// The words of the rows of a side, nothing for those that join nothing.
std::vector<std::optional<uint64>> ReadWords(JoinKeys& keys, JoinColumn::Side side, uint64 rows) {
  std::vector<std::optional<uint64>> words(rows);
  for (const bool descends : {false, true}) {
    std::vector<std::optional<uint64>> found(rows);
    keys.ForEachBatch(side, descends, [&](const JoinBatch& batch) {
      for (uint32 i = 0; i < batch.count; ++i) found[batch.rows[i]] = batch.words[i];
    });
    EXPECT_TRUE(!descends || found == words);
    words = found;
  }
  return words;
}

TEST(JoinKeys, TellsEqualKeysByWordsAndValues) {
  Random random(17);
  int exact = 0;
  for (int round = 0; round < 90; ++round) {
    std::vector<XeDataType> types = {kKeyTypes[static_cast<std::size_t>(round) % kKeyTypes.size()]};
    if (round >= 45) types.push_back(kKeyTypes[random() % kKeyTypes.size()]);
    const int64 spread = std::vector<int64>{1, 1000, 100'000'000}[random() % 3];
    const Table build = RandomTable(random, types, 1 + random() % 40, spread);
    const Table probe = RandomTable(random, types, 1 + random() % 40, spread);
    std::vector<std::size_t> places = {0};
    if (types.size() > 1) places.push_back(1);
    JoinKeys keys({&build, places}, {&probe, places});
    exact += keys.AreExact();
    const auto numbers = NumberKeys({&build, places}, {&probe, places});
    const auto built = ReadWords(keys, JoinColumn::kBuild, build.rowCount);
    const auto probed = ReadWords(keys, JoinColumn::kProbe, probe.rowCount);
    for (uint32 b = 0; b < built.size(); ++b) {
      ASSERT_EQ(built[b].has_value(), numbers[0][b] >= 0) << round;
      if (!built[b]) continue;
      ASSERT_TRUE(!keys.AreExact() || *built[b] <= keys.GetMostWord()) << round;
      for (uint32 p = 0; p < probed.size(); ++p) {
        const bool areEqual = numbers[0][b] == numbers[1][p];
        ASSERT_EQ(built[b] == probed[p], areEqual) << round;
        ASSERT_TRUE(numbers[1][p] < 0 || keys.AreEqual(b, p) == areEqual) << round;
      }
    }
  }
  EXPECT_GT(exact, 20);
  EXPECT_LT(exact, 80);
}

}  // namespace
}  // namespace sqxer::test
