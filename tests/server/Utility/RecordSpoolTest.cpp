#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "Utility/RecordSpool.h"
#include "UtilityTesting.h"

namespace sqxer {
namespace {

/// The same for records of fixed size and for packed ones, of which number 500 is long.
class SpooledRecords {
 public:
  explicit SpooledRecords(bool arePacked) : arePacked_(arePacked) {
    if (arePacked) layout_.AddField(XeVarCharData, 3000, true, L"s");
    layout_.AddField(XeUInt4Data, 4, false, L"number");
    layout_.GenerateAlignedFieldOffset();
    packer = RecordPacker(layout_.GetBinaryRecordSize(), layout_);
  }

  TestRecord Make(uint32 number) const {
    TestRecord record(layout_);
    if (arePacked_) record.Set(0, TextOf(number));
    if (arePacked_ && number % 7 == 3) record.SetNull(0);
    record.Set(arePacked_ ? 1 : 0, number);
    return record;
  }
  void Append(RecordSpool& spool, uint32 number) const { spool.Append(Make(number).bytes()); }
  bool IsNumber(const uint8* record, uint32 number) const {
    KeySet keys;
    for (int i = 0; i < layout_.GetFieldCount(); ++i) {
      keys.Add(KeyDesc(*layout_.GetFieldDescriptor(i), kAscending, kCompareCodePoints));
    }
    return keys.Compare(record, Make(number).bytes()) == 0;
  }
  TestRecord MakeRoom() const { return TestRecord(layout_); }

  RecordPacker packer;

 private:
  static std::wstring TextOf(uint32 number) {
    return number == 500 ? std::wstring(3000, L'x') : L"text " + std::to_wstring(number);
  }

  const bool arePacked_;
  XeRecordMetaData layout_;
};

TEST(RecordSpool, GivesRecordsBackInTheirOrderWithinAnyMemory) {
  for (const bool arePacked : {false, true}) {
    const SpooledRecords records(arePacked);
    ASSERT_EQ(records.packer.IsPacking(), arePacked);
    for (const std::size_t memory : {std::size_t{0}, std::size_t{100}, std::size_t{1} << 20}) {
      OperatorTimer timer;
      RecordSpool spool(records.packer, memory, timer);
      // A smaller input after a larger one must not show what is left of it.
      for (const uint32 count : {1000u, 0u, 3u, 64u, 65u}) {
        const uint64 spilledBefore = timer.GetSpilledBytes();
        spool.BeginInput();
        std::vector<uint64> places;
        for (uint32 i = 0; i < count; ++i) {
          places.push_back(spool.GetNextPlace());
          records.Append(spool, i);
        }
        const uint64 bytes = spool.GetNextPlace();
        spool.EndInput();
        EXPECT_EQ(spool.GetCount(), count);
        // A long record makes no other one longer. The block stays as large as it needed.
        EXPECT_LE(bytes, count * (arePacked ? 80u : 16u) + (count > 500 ? 12000 : 0));
        const uint64 spilled = timer.GetSpilledBytes() - spilledBefore;
        EXPECT_TRUE(spilled == 0 || spilled == bytes);
        EXPECT_TRUE(spilled == 0 || bytes > memory);
        EXPECT_TRUE(spilled == bytes || count < 1000 || memory > bytes);
        TestRecord room = records.MakeRoom();
        for (int pass = 0; pass < 2; ++pass) {
          for (uint32 i = 0; i < count; ++i) {
            ASSERT_TRUE(spool.Read(room.bytes()));
            ASSERT_TRUE(records.IsNumber(room.bytes(), i)) << i;
          }
          EXPECT_EQ(spool.Next(), nullptr);
          for (uint32 i = count; i-- > 0;) {
            spool.ReadAt(places[i], room.bytes());
            ASSERT_TRUE(records.IsNumber(room.bytes(), i)) << i;
          }
          spool.Rewind();
        }
      }
    }
  }
}

}  // namespace
}  // namespace sqxer
