#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>

#include "../server/Utility/Src/SpillFile.h"
#include "Utility/SqrtSorter.h"
#include "Utility/XeMemory.h"
#include "UtilityTesting.h"

namespace sqxer {
namespace {

/// An initial buffer size, and an empty folder for temporary files that is gone at the end.
struct SpillScope {
  explicit SpillScope(std::size_t bufferBytes) {
    SqrtSorter::SetInitialBufferBytes(bufferBytes);
    config->tempDirectory_ = mkdtemp(path.data());
  }
  ~SpillScope() {
    SqrtSorter::SetInitialBufferBytes(saved);
    std::filesystem::remove_all(path);
  }
  bool IsEmpty() const { return std::filesystem::is_empty(path); }

  ConfigScope config;
  const std::size_t saved = SqrtSorter::GetInitialBufferBytes();
  std::string path = testing::TempDir() + "/sorter-test-XXXXXX";
};

auto CountOpenFiles() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

using Bytes = std::vector<uint8>;
enum Shape { kRandom, kFewDistinct, kAscendingInput, kDescendingInput, kAllEqual };

/// Records of an integer, a text and a number of their own, and sorters by some of these. Texts
/// that are declared wider than they are: all but one in a hundred, which is as long as it may be.
class Input {
 public:
  static constexpr uint32 kNarrow = 12;

  Input(Shape shape, const std::vector<int>& keyFields, std::size_t count,
        uint32 textLength = kNarrow) {
    layout_.AddField(XeInt4Data, 4, true, L"i");
    layout_.AddField(XeVarCharData, textLength, false, L"s");
    layout_.AddField(XeUInt4Data, 4, false, L"number");
    layout_.GenerateAlignedFieldOffset();
    size = layout_.GetBinaryRecordSize();
    for (const int field : keyFields) {
      keys_.Add(KeyDesc(*layout_.GetFieldDescriptor(std::abs(field) - 1),
                        field > 0 ? kAscending : kDescending, kCompareCodePoints));
    }
    std::mt19937 random(static_cast<unsigned>(count) + shape);
    for (uint32 i = 0; i < count; ++i) {
      const auto place = static_cast<int32>(i);
      const auto any = static_cast<int32>(random());
      const int32 value = std::array{any, any % 9, place / 2, -place, 0}[shape];
      TestRecord record(layout_);
      record.Set(0, value);
      if (value % 16 == 5) record.SetNull(0);
      std::wstring text = L"common " + std::to_wstring(value % 1000);
      if (i % 100 == 50) text.resize(textLength == kNarrow ? text.size() : textLength, L'x');
      record.Set(1, text);
      record.Set(2, i);
      records.emplace_back(record.bytes(), record.bytes() + size);
    }
  }

  std::unique_ptr<SqrtSorter> MakeSorter(OperatorTimer& timer, bool unique = false,
                                         bool keepOrder = true, uint64 limit = 0) const {
    auto sorter = std::make_unique<SqrtSorter>(size, timer, unique, keepOrder);
    sorter->SetRowIdSorterMetadata(keys_, layout_);
    sorter->SetRecordLimit(limit);
    return sorter;
  }

  void Feed(SqrtSorter& sorter) const {
    sorter.BeginInput();
    for (const Bytes& record : records) sorter.SortRecord(record.data());
    sorter.EndInput();
  }

  /// Feeds a sorter and compares what it returns to a stable sort.
  void Check(SqrtSorter& sorter, bool unique = false, bool keepOrder = true,
             uint64 limit = 0) const {
    std::vector<Bytes> expected = records;
    const auto compare = [&](const Bytes& a, const Bytes& b) {
      return keys_.Compare(a.data(), b.data());
    };
    std::ranges::stable_sort(expected, [&](auto& a, auto& b) { return compare(a, b) < 0; });
    if (unique) {
      const auto equal = [&](auto& a, auto& b) { return compare(a, b) == 0; };
      expected.erase(std::ranges::unique(expected, equal).begin(), expected.end());
    }
    if (limit != 0 && expected.size() > limit) expected.resize(limit);
    Feed(sorter);
    std::vector<Bytes> actual;
    for (Bytes record(size); sorter.GetRecord(record.data()); record.assign(size, 0)) {
      actual.push_back(record);
    }
    EXPECT_FALSE(sorter.GetRecord(Bytes(size).data()));
    EXPECT_TRUE(std::ranges::equal(actual, expected, [&](auto& a, auto& b) {
      return keepOrder ? a == b : compare(a, b) == 0;
    }));
    // Without order every record still comes once.
    std::ranges::sort(actual);
    EXPECT_TRUE(unique || std::ranges::adjacent_find(actual) == actual.end());
  }

  std::vector<Bytes> records;
  uint32 size = 0;

 private:
  XeRecordMetaData layout_;
  KeySet keys_;
};

TEST(SqrtSorter, AgreesWithAStableSort) {
  const std::vector<std::vector<int>> keySets = {{1}, {-2}, {2, -1}, {-1, 2, 3}, {}};
  const auto check = [](const std::string& what, const Input& input, std::size_t buffer, int choice,
                        bool keepOrder) {
    SCOPED_TRACE(testing::Message() << what << " buffer " << buffer << " choice " << choice);
    const SpillScope folder(buffer);
    const bool unique = choice < 0;
    const auto limit = static_cast<uint64>(std::abs(choice) % 10000);
    OperatorTimer timer;
    input.Check(*input.MakeSorter(timer, unique, keepOrder, limit), unique, keepOrder, limit);
    return timer.GetSpilledBytes();
  };
  for (const Shape shape : {kRandom, kFewDistinct, kAscendingInput, kDescendingInput, kAllEqual}) {
    for (const auto& keys : keySets) {
      const std::string what =
          "shape " + std::to_string(shape) + " keys " + std::to_string(keys.size());
      const Input input(shape, keys, 1200);
      for (const std::size_t buffer : {1u << 10, 5u << 10, 64u << 10, 1u << 20}) {
        for (const int choice : {0, 1, 50, 900, 5000, -10000, -1, -50, -900}) {
          const std::size_t limit = static_cast<std::size_t>(std::abs(choice)) % 10000;
          const bool keepOrder = (limit + keys.size() + (choice < 0)) % 3 != 0;
          const uint64 spilled = check(what, input, buffer, choice, keepOrder);
          if (testing::Test::HasFailure()) return;
          const bool inMemory = buffer == 1u << 20 || limit == 1;
          ASSERT_TRUE(!inMemory || spilled == 0);
          ASSERT_TRUE(inMemory || choice != 0 || spilled >= 1200u * input.size);
          // What comes in order is written once.
          ASSERT_TRUE(shape != kAllEqual || spilled <= 1200u * (input.size + 8));
        }
      }
      if (shape > kAscendingInput || keys.size() < 2) continue;
      // Records of many sizes.
      const Input uneven(shape, keys, 700, 900);
      for (const std::size_t buffer : {1u << 10, 20u << 10, 4u << 20}) {
        for (const int choice : {0, 50, -10000, -50}) {
          check(what + " uneven", uneven, buffer, choice, true);
          if (testing::Test::HasFailure()) return;
        }
      }
    }
  }
}

TEST(SqrtSorter, LongTextsCostWhatTheyHold) {
  const SpillScope folder(16 << 10);
  const std::size_t before = MemoryGateway::BytesInUse();
  const auto measure = [&](uint32 textLength) {
    const Input input(kRandom, {2}, 10000, textLength);
    OperatorTimer timer;
    const auto sorter = input.MakeSorter(timer);
    std::size_t most = 0;
    sorter->BeginInput();
    for (const Bytes& record : input.records) {
      sorter->SortRecord(record.data());
      most = std::max(most, MemoryGateway::BytesInUse() - before);
    }
    sorter->EndInput();
    return std::pair(timer.GetSpilledBytes(), std::max(most, MemoryGateway::BytesInUse() - before));
  };
  const auto [narrowBytes, narrowMemory] = measure(Input::kNarrow);
  // A hundred texts of 4,000 bytes among ten thousand of 44.
  const auto [wideBytes, wideMemory] = measure(1000);
  EXPECT_GT(narrowBytes, 0u);
  EXPECT_LT(wideBytes, 2 * narrowBytes + 100 * 4000);
  EXPECT_LT(wideMemory, 2 * narrowMemory + 16 * 4000);
}

TEST(SqrtSorter, ServesRoundAfterRoundAndForgetsTheOneBefore) {
  const SpillScope folder(2048);
  OperatorTimer timer;
  const Input large(kRandom, {1}, 2000);
  const Input small(kDescendingInput, {1}, 1);
  const auto sorter = large.MakeSorter(timer);
  for (const Input* input : {&large, &small, &large, &small}) {
    input->Check(*sorter);
    // Left in the middle of the output, then in the middle of the input.
    large.Feed(*sorter);
    Bytes record(large.size);
    for (int i = 0; i < 100; ++i) ASSERT_TRUE(sorter->GetRecord(record.data()));
    sorter->BeginInput();
    for (int i = 0; i < 1500; ++i) sorter->SortRecord(large.records[0].data());
  }
}

TEST(SqrtSorter, LeavesNoFileAndNoMemory) {
  const SpillScope folder(4096);
  const std::size_t files = CountOpenFiles();
  const std::size_t memory = MemoryGateway::BytesInUse();
  const Input input(kRandom, {2}, 20000);
  {
    OperatorTimer timer;
    const auto sorter = input.MakeSorter(timer);
    std::size_t most = 0;
    sorter->BeginInput();
    for (const Bytes& record : input.records) {
      sorter->SortRecord(record.data());
      most = std::max(most, MemoryGateway::BytesInUse() - memory);
    }
    EXPECT_EQ(CountOpenFiles(), files + 1);
    sorter->EndInput();
    // 20,000 records are some 2 MB; the root of twice that over 4 KiB is 32 runs.
    EXPECT_LT(std::max(most, MemoryGateway::BytesInUse() - memory), 32u * 4096 * 5 / 4 + 8192);
    EXPECT_TRUE(sorter->GetRecord(Bytes(input.size).data()));
    EXPECT_TRUE(folder.IsEmpty());
  }
  EXPECT_EQ(CountOpenFiles(), files);
  EXPECT_EQ(MemoryGateway::BytesInUse(), memory);
}

/// What the replaced system calls do.
struct {
  ssize_t bytesUntilFull = INT64_MAX;
  bool failReads = false;
  bool stutter = false;
} fault;
SpillFile::Calls realCalls;

/// One call in three is interrupted, the others do part of the work.
bool Stutter(std::size_t& count) {
  static unsigned calls = 0;
  if (!fault.stutter) return false;
  count = std::max<std::size_t>(count / 3, 1);
  return ++calls % 3 == 0;
}

ssize_t FaultyWrite(int file, const void* bytes, std::size_t count, off_t offset) {
  if (Stutter(count)) return errno = EINTR, -1;
  if (offset >= fault.bytesUntilFull) return errno = ENOSPC, -1;
  count = std::min(count, static_cast<std::size_t>(fault.bytesUntilFull - offset));
  return realCalls.write(file, bytes, count, offset);
}

ssize_t FaultyRead(int file, void* bytes, std::size_t count, off_t offset) {
  if (Stutter(count)) return errno = EINTR, -1;
  if (fault.failReads) return errno = EIO, -1;
  return realCalls.read(file, bytes, count, offset);
}

TEST(SqrtSorter, FailingFilesAreErrorsAndTheSorterWorksAgainWithoutThem) {
  realCalls = SpillFile::SetCalls(SpillFile::Calls());
  SpillFile::SetCalls({realCalls.open, &FaultyWrite, &FaultyRead});
  const SpillScope folder(1024);
  const Input input(kRandom, {1, 2}, 3000);
  const std::size_t files = CountOpenFiles();
  OperatorTimer timer;
  auto sorter = input.MakeSorter(timer);
  const auto expectError = [&](const std::string& path, const std::string& reason) {
    EXPECT_EQ(ErrorOf([&] { input.Check(*sorter); }),
              "59180: sorting cannot write temporary files in \"" + path + "\": " + reason);
    EXPECT_TRUE(folder.IsEmpty());
  };
  // Full at once, within a run, in the last run, and in the passes of merging.
  for (const ssize_t room : {0, 1000, 30000, 239000, 300000}) {
    fault = {room};
    expectError(folder.path, "No space left on device");
  }
  fault = {.stutter = true};
  input.Check(*sorter);
  fault = {.failReads = true};
  expectError(folder.path, "Input/output error");
  fault = {};
  sorter.reset();
  EXPECT_EQ(CountOpenFiles(), files);
  // Without a folder of its own it takes the system's.
  SUSystemConfig::GetSystemConfig().tempDirectory_.clear();
  setenv("TMPDIR", "/nowhere", 1);
  sorter = input.MakeSorter(timer);
  expectError("/nowhere", "No such file or directory");
  unsetenv("TMPDIR");
  input.Check(*sorter);
  SpillFile::SetCalls(realCalls);
}

TEST(SpillFile, IsNeverTakenForAStandardStream) {
  const int input = dup(STDIN_FILENO);
  const std::size_t files = CountOpenFiles();
  close(STDIN_FILENO);
  {
    SpillFile file("");
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
    EXPECT_EQ(CountOpenFiles(), files);
    const uint8 bytes[] = {1, 2, 3};
    file.Append(bytes, sizeof bytes);
    uint8 read[3] = {};
    file.Read(0, read, sizeof read);
    EXPECT_EQ(std::memcmp(read, bytes, sizeof bytes), 0);
  }
  dup2(input, STDIN_FILENO);
  close(input);
}

TEST(SqrtSorter, InitialBufferComesFromTheEnvironment) {
  // The size is read once, at load, so every case is this test in a process of its own.
  if (std::getenv("SORTER_TEST_EXPECTS") != nullptr) {
    std::exit(std::to_string(SqrtSorter::GetInitialBufferBytes()) !=
              std::getenv("SORTER_TEST_EXPECTS"));
  }
  for (const std::string& one :
       Split("4 4096|1000000 " + std::to_string(SqrtSorter::kMaxBufferBytes) +
             "| 262144|0 262144|-4 262144|4KiB 262144|99999999999999999999 262144")) {
    const auto parts = Split(one, ' ');
    const std::string command = "RUN_BUFFER_SIZE=" + parts[0] + " SORTER_TEST_EXPECTS=" + parts[1] +
                                " /proc/$PPID/exe --gtest_filter=*InitialBufferComes* > /dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
  }
}

}  // namespace
}  // namespace sqxer
