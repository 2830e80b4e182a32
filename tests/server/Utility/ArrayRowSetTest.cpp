#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "Utility/ArrayRowSet.h"
#include "Utility/XeFieldDataBinder.h"
#include "Utility/XeMemory.h"
#include "UtilityTesting.h"

namespace sqxer {
namespace {

TEST(ArrayRowSet, UpdatesPackedRecordsThatBecomeLongerAndShorter) {
  XeRecordMetaData layout;
  layout.AddField(XeInt4Data, 4, false, L"id");
  layout.AddField(XeVarCharData, 1000, false, L"s");
  layout.GenerateAlignedFieldOffset();
  const RecordPacker packer(layout.GetBinaryRecordSize(), layout);
  KeySet byId, byText;
  byId.Add(KeyDesc(*layout.GetFieldDescriptor(0), kAscending, kCompareCodePoints));
  byText.Add(KeyDesc(*layout.GetFieldDescriptor(1), kAscending, kCompareCodePoints));
  byText.Add(KeyDesc(*layout.GetFieldDescriptor(0), kAscending, kCompareCodePoints));

  std::mt19937 random(5);
  const auto make = [&](int32 id, std::size_t longest) {
    TestRecord record(layout);
    record.Set(0, id);
    record.Set(1, XeString(random() % longest, L'a' + static_cast<wchar_t>(random() % 3)));
    return record;
  };
  const std::size_t before = MemoryGateway::BytesInUse();
  ArrayRowSet rows(packer, 16, 4096);
  std::vector<TestRecord> records;
  const auto check = [&] {
    rows.Sort(packer.PackKeys(byText));
    std::span<uint8*> list = rows.Finalize();
    ASSERT_EQ(list.size(), records.size());
    EXPECT_TRUE(std::ranges::is_sorted(list, [&, keys = packer.PackKeys(byText)](auto* a, auto* b) {
      return keys.Compare(a, b) < 0;
    }));
    rows.Sort(packer.PackKeys(byId));
    for (std::size_t i = 0; i < list.size(); ++i) {
      TestRecord record(layout);
      packer.Unpack(list[i], record.bytes());
      ASSERT_EQ(std::memcmp(record.bytes(), records[i].bytes(), layout.GetBinaryRecordSize()), 0);
    }
  };
  for (int32 id = 0; id < 300; ++id) {
    records.push_back(make(id, 30));
    id == 0 ? rows.AppendFirst(records[0].bytes()) : rows.Append(records.back().bytes());
    if (id % 7 != 0) continue;
    // The newest one, and any other.
    records.back() = make(id, 200);
    rows.Update(static_cast<uint32>(id), records.back().bytes());
    const std::size_t other = random() % records.size();
    records[other] = make(static_cast<int32>(other), 1000);
    rows.Update(static_cast<uint32>(other), records[other].bytes());
  }
  check();
  // Texts that take turns in being long do not add up.
  for (int round = 0; round < 40; ++round) {
    for (uint32 i = 0; i < 300; ++i) {
      records[i] = make(static_cast<int32>(i), i % 40 == static_cast<uint32>(round) ? 1000 : 30);
      rows.Update(i, records[i].bytes());
    }
    check();
  }
  EXPECT_LT(MemoryGateway::BytesInUse() - before, std::size_t{2} << 20);
}

TEST(XeFieldDataBinder, GathersColumnsOfAnyKind) {
  XeRecordMetaData input, row;
  const std::pair<XeDataType, uint32> kFields[] = {
      {XeVarCharData, 6}, {XeInt1Data, 1}, {XeCharData, 3}, {XeVarBinaryData, 4}};
  for (const auto& [type, length] : kFields) input.AddField(type, length, true, L"f");
  row.AddField(XeUInt4Data, 4, false, L"id");
  const UInt16Vector columns{3, 0, 2};
  for (const uint16 i : columns) row.AddField(kFields[i].first, kFields[i].second, true, L"f");
  input.GenerateAlignedFieldOffset();
  row.GenerateAlignedFieldOffset();
  XeFieldDataBinder binder(input, columns, row, 0, 1);

  TestRecord from(input), to(row), expected(row);
  from.Set(0, XeString(L"pear"));
  from.Set(2, XeString(L"abc"));
  from.SetNull(3);
  binder.MoveInputDataToFieldDataBinder(from.bytes(), 77, to.bytes());
  expected.Set(0, uint32{77});
  expected.SetNull(1);
  expected.Set(2, XeString(L"pear"));
  expected.Set(3, XeString(L"abc"));
  EXPECT_EQ(std::memcmp(to.bytes(), expected.bytes(), row.GetBinaryRecordSize()), 0);

  EXPECT_EQ(ErrorOf([&] { XeFieldDataBinder(input, {4}, row, 0, 1); }).substr(0, 6), "46030:");
}

}  // namespace
}  // namespace sqxer
