#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <random>

#include "../server/Utility/Src/SpillFile.h"
#include "SortTesting.h"
#include "Utility/ErrorMessage.h"
#include "Utility/SqrtSorter.h"
#include "Utility/XeAssert.h"
#include "Utility/XeMemory.h"

namespace sqxer {
namespace {

class BufferSizeScope {
 public:
  explicit BufferSizeScope(std::size_t bytes) { SqrtSorter::SetInitialBufferBytes(bytes); }
  ~BufferSizeScope() { SqrtSorter::SetInitialBufferBytes(saved_); }

 private:
  const std::size_t saved_ = SqrtSorter::GetInitialBufferBytes();
};

/// An empty folder for temporary files, configured as such, gone at the end.
class SpillFolder {
 public:
  SpillFolder() {
    std::string name = testing::TempDir() + "/sorter-test-XXXXXX";
    path_ = mkdtemp(name.data());
    config_->tempDirectory_ = path_;
  }
  ~SpillFolder() { std::filesystem::remove_all(path_); }
  bool IsEmpty() const { return std::filesystem::is_empty(path_); }
  const std::string& path() const { return path_; }

 private:
  ConfigScope config_;
  std::string path_;
};

std::size_t CountOpenFiles() {
  const std::filesystem::directory_iterator files("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

using Bytes = std::vector<uint8>;

/// Records of an integer, a text, a double and a number of their own, with the keys to sort by.
class Input {
 public:
  enum Shape { kRandom, kFewDistinct, kAscendingInput, kDescendingInput, kAllEqual };

  Input(Shape shape, const std::vector<int>& keyFields, std::size_t count) {
    layout_.AddField(XeInt4Data, 4, true, L"i");
    layout_.AddField(XeVarCharData, 12, false, L"s");
    layout_.AddField(XeDoubleData, 8, true, L"x");
    layout_.AddField(XeUInt4Data, 4, false, L"number");
    layout_.GenerateAlignedFieldOffset();
    for (const int field : keyFields) {
      keys_.Add(KeyDesc(*layout_.GetFieldDescriptor(std::abs(field) - 1),
                        field > 0 ? kAscending : kDescending, kCompareCodePoints));
    }
    std::mt19937 random(static_cast<unsigned>(count) + shape);
    for (std::size_t i = 0; i < count; ++i) {
      const auto place = static_cast<int32>(i);
      int32 value = 0;
      switch (shape) {
        case kRandom:
          value = static_cast<int32>(random());
          break;
        case kFewDistinct:
          value = static_cast<int32>(random() % 17) - 8;
          break;
        case kAscendingInput:
          value = place / 2;
          break;
        case kDescendingInput:
          value = -place;
          break;
        case kAllEqual:
          break;
      }
      TestRecord record(layout_);
      record.Set(0, value);
      if (value % 16 == 5) record.SetNull(0);
      record.Set(1, L"common " + std::to_wstring(value % 1000));
      record.Set(2, value * 0.25);
      if (value % 16 == 7) record.SetNull(2);
      record.Set(3, static_cast<uint32>(i));
      records_.emplace_back(record.bytes(), record.bytes() + layout_.GetBinaryRecordSize());
    }
  }

  const std::vector<Bytes>& records() const { return records_; }
  const KeySet& keys() const { return keys_; }
  const XeRecordMetaData& layout() const { return layout_; }
  uint32 size() const { return layout_.GetBinaryRecordSize(); }

  /// What a sorter that keeps the input's order must return.
  std::vector<Bytes> Sorted(bool unique, uint64 limit) const {
    std::vector<Bytes> sorted = records_;
    std::ranges::stable_sort(sorted, [&](const Bytes& a, const Bytes& b) {
      return keys_.Compare(a.data(), b.data()) < 0;
    });
    if (unique) {
      const auto rest = std::ranges::unique(sorted, [&](const Bytes& a, const Bytes& b) {
        return keys_.Compare(a.data(), b.data()) == 0;
      });
      sorted.erase(rest.begin(), rest.end());
    }
    if (limit != 0 && sorted.size() > limit) sorted.resize(limit);
    return sorted;
  }

 private:
  XeRecordMetaData layout_;
  KeySet keys_;
  std::vector<Bytes> records_;
};

struct Options {
  bool unique = false;
  bool keepOrder = true;
  uint64 limit = 0;
};

std::unique_ptr<SqrtSorter> MakeSorter(const Input& input, OperatorTimer& timer, Options options) {
  auto sorter =
      std::make_unique<SqrtSorter>(input.size(), timer, options.unique, options.keepOrder);
  sorter->SetRowIdSorterMetadata(input.keys(), input.layout());
  sorter->SetRecordLimit(options.limit);
  return sorter;
}

void Feed(SqrtSorter& sorter, const Input& input) {
  sorter.BeginInput();
  for (const Bytes& record : input.records()) sorter.SortRecord(record.data());
  sorter.EndInput();
}

std::vector<Bytes> ReadAll(SqrtSorter& sorter, uint32 size) {
  std::vector<Bytes> result;
  Bytes record(size);
  while (sorter.GetRecord(record.data())) result.push_back(record);
  EXPECT_FALSE(sorter.GetRecord(record.data()));
  return result;
}

void ExpectSorted(const std::vector<Bytes>& actual, const Input& input, Options options) {
  const std::vector<Bytes> expected = input.Sorted(options.unique, options.limit);
  ASSERT_EQ(actual.size(), expected.size());
  if (options.keepOrder) {
    for (std::size_t i = 0; i < actual.size(); ++i) ASSERT_EQ(actual[i], expected[i]) << i;
    return;
  }
  for (std::size_t i = 0; i < actual.size(); ++i) {
    ASSERT_EQ(input.keys().Compare(actual[i].data(), expected[i].data()), 0) << i;
  }
  if (options.unique || options.limit != 0) return;
  std::vector<Bytes> in = input.records();
  std::vector<Bytes> out = actual;
  std::ranges::sort(in);
  std::ranges::sort(out);
  ASSERT_EQ(in, out);
}

TEST(SqrtSorter, AgreesWithAStableSort) {
  const SpillFolder folder;
  const std::vector<std::vector<int>> keySets = {{1}, {-3}, {2, -1}, {-1, 2, 3}, {}};
  for (const auto shape : {Input::kRandom, Input::kFewDistinct, Input::kAscendingInput,
                           Input::kDescendingInput, Input::kAllEqual}) {
    for (const auto& keys : keySets) {
      const Input input(shape, keys, 1200);
      for (const std::size_t buffer : {1u << 10, 5u << 10, 64u << 10, 1u << 20}) {
        const BufferSizeScope size(buffer);
        for (const bool unique : {false, true}) {
          for (const uint64 limit : {0, 1, 50, 900, 5000}) {
            const Options options{unique, (limit + keys.size() + unique) % 3 != 0, limit};
            SCOPED_TRACE(testing::Message()
                         << "shape " << shape << " keys " << keys.size() << " buffer " << buffer
                         << " unique " << unique << " order " << options.keepOrder << " limit "
                         << limit);
            OperatorTimer timer;
            const auto sorter = MakeSorter(input, timer, options);
            Feed(*sorter, input);
            ExpectSorted(ReadAll(*sorter, input.size()), input, options);
            if (testing::Test::HasFatalFailure()) return;
            // All that is kept fits half the buffer.
            const std::size_t kept = input.Sorted(unique, limit).size();
            if (buffer == 1u << 20 || (kept + 1) * (input.size() + 16) * 2 <= buffer) {
              ASSERT_EQ(timer.GetSpilledBytes(), 0u);
            } else if (!unique && limit == 0) {
              ASSERT_GE(timer.GetSpilledBytes(), 1200u * input.size());
            }
          }
        }
      }
    }
  }
}

TEST(SqrtSorter, ServesRoundAfterRoundAndForgetsTheOneBefore) {
  const SpillFolder folder;
  const BufferSizeScope size(2048);
  OperatorTimer timer;
  const Input large(Input::kRandom, {1}, 2000);
  const Input small(Input::kDescendingInput, {1}, 5);
  const Input none(Input::kRandom, {1}, 0);
  const auto sorter = MakeSorter(large, timer, {});
  for (const Input* input : {&large, &small, &none, &large, &none, &small}) {
    Feed(*sorter, *input);
    ExpectSorted(ReadAll(*sorter, input->size()), *input, {});
    // Left in the middle of the output, then in the middle of the input.
    Feed(*sorter, large);
    Bytes record(large.size());
    for (int i = 0; i < 100; ++i) ASSERT_TRUE(sorter->GetRecord(record.data()));
    sorter->BeginInput();
    for (int i = 0; i < 1500; ++i) sorter->SortRecord(large.records()[0].data());
  }
  EXPECT_GT(timer.GetElapsed().count(), 0);
}

TEST(SqrtSorter, LeavesNoFileAndNoMemory) {
  const SpillFolder folder;
  const BufferSizeScope size(4096);
  const std::size_t files = CountOpenFiles();
  const std::size_t memory = MemoryGateway::BytesInUse();
  const Input input(Input::kRandom, {2}, 20000);
  {
    OperatorTimer timer;
    const auto sorter = MakeSorter(input, timer, {});
    sorter->BeginInput();
    sorter->SortRecord(input.records()[0].data());
    EXPECT_LE(MemoryGateway::BytesInUse() - memory, 16u * (input.size() + 16));
    std::size_t most = 0;
    for (const Bytes& record : input.records()) {
      sorter->SortRecord(record.data());
      most = std::max(most, MemoryGateway::BytesInUse() - memory);
    }
    EXPECT_EQ(CountOpenFiles(), files + 1);
    EXPECT_TRUE(folder.IsEmpty());
    sorter->EndInput();
    most = std::max(most, MemoryGateway::BytesInUse() - memory);
    // 20,000 records are some 2 MB; the root of twice that over 4 KiB is 32 runs.
    EXPECT_LT(most, 32u * 4096 * 5 / 4 + 8192);
    Bytes record(input.size());
    EXPECT_TRUE(sorter->GetRecord(record.data()));
    EXPECT_TRUE(folder.IsEmpty());
  }
  EXPECT_EQ(CountOpenFiles(), files);
  EXPECT_EQ(MemoryGateway::BytesInUse(), memory);
  EXPECT_TRUE(folder.IsEmpty());
}

/// What the replaced system calls do.
struct Fault {
  ssize_t bytesUntilFull = -1;
  bool failReads = false;
  bool stutter = false;
};
Fault fault;
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
  if (fault.bytesUntilFull >= 0) {
    if (offset >= fault.bytesUntilFull) return errno = ENOSPC, -1;
    count = std::min(count, static_cast<std::size_t>(fault.bytesUntilFull - offset));
  }
  return realCalls.write(file, bytes, count, offset);
}

ssize_t FaultyRead(int file, void* bytes, std::size_t count, off_t offset) {
  if (Stutter(count)) return errno = EINTR, -1;
  if (fault.failReads) return errno = EIO, -1;
  return realCalls.read(file, bytes, count, offset);
}

class SqrtSorterFaults : public testing::Test {
 protected:
  SqrtSorterFaults() {
    fault = {};
    realCalls = SpillFile::SetCalls(SpillFile::Calls());
    SpillFile::SetCalls({realCalls.open, &FaultyWrite, &FaultyRead});
  }
  ~SqrtSorterFaults() override { SpillFile::SetCalls(realCalls); }

  /// The sentence of the error that one round ends with.
  std::string FailingRound(SqrtSorter& sorter) {
    try {
      Feed(sorter, input_);
      ReadAll(sorter, input_.size());
    } catch (const ErrorMessage& error) {
      EXPECT_EQ(error.GetCode(), 59180);
      return error.what();
    }
    return "no error";
  }
  std::string Sentence(const std::string& reason) const {
    return "sorting cannot write temporary files in \"" + folder_.path() + "\": " + reason;
  }

  SpillFolder folder_;
  const BufferSizeScope size_{1024};
  const Input input_{Input::kRandom, {1, 2}, 3000};
  OperatorTimer timer_;
  std::unique_ptr<SqrtSorter> sorter_ = MakeSorter(input_, timer_, {});
};

TEST_F(SqrtSorterFaults, FullDiskIsAnErrorAndTheSorterWorksAgainWithRoom) {
  const std::size_t files = CountOpenFiles();
  // Full at once, within a run, in the last run, and in the passes of merging.
  for (const ssize_t room : {0, 1000, 30000, 239000, 300000}) {
    fault.bytesUntilFull = room;
    EXPECT_EQ(FailingRound(*sorter_), Sentence("No space left on device")) << room;
    EXPECT_TRUE(folder_.IsEmpty());
  }
  fault = {};
  Feed(*sorter_, input_);
  ExpectSorted(ReadAll(*sorter_, input_.size()), input_, {});
  fault.bytesUntilFull = 1000;
  FailingRound(*sorter_);
  sorter_.reset();
  EXPECT_EQ(CountOpenFiles(), files);
}

TEST_F(SqrtSorterFaults, FailedReadIsAnError) {
  fault.failReads = true;
  EXPECT_EQ(FailingRound(*sorter_), Sentence("Input/output error"));
}

TEST_F(SqrtSorterFaults, MissingFolderIsAnError) {
  ConfigScope config;
  config->tempDirectory_ = folder_.path() + "/missing";
  EXPECT_EQ(FailingRound(*sorter_), "sorting cannot write temporary files in \"" + folder_.path() +
                                        "/missing\": No such file or directory");
}

TEST_F(SqrtSorterFaults, InterruptedAndPartialCallsAreContinued) {
  fault.stutter = true;
  Feed(*sorter_, input_);
  ExpectSorted(ReadAll(*sorter_, input_.size()), input_, {});
}

TEST(SqrtSorter, TakesTheSystemsFolderWhenNoneIsConfigured) {
  ConfigScope config;
  config->tempDirectory_.clear();
  const BufferSizeScope size(1024);
  const Input input(Input::kRandom, {1}, 500);
  const char* const before = std::getenv("TMPDIR");
  const std::optional<std::string> saved =
      before == nullptr ? std::nullopt : std::optional<std::string>(before);
  for (const auto& [folder, fails] : {std::pair{"/nowhere", true}, {"", false}}) {
    setenv("TMPDIR", folder, 1);
    OperatorTimer timer;
    const auto sorter = MakeSorter(input, timer, {});
    if (fails) {
      EXPECT_THROW(Feed(*sorter, input), ErrorMessage);
    } else {
      Feed(*sorter, input);
      ExpectSorted(ReadAll(*sorter, input.size()), input, {});
    }
  }
  if (saved) {
    setenv("TMPDIR", saved->c_str(), 1);
  } else {
    unsetenv("TMPDIR");
  }
}

TEST(SqrtSorter, WrongOrderOfCallsIsABrokenInvariant) {
  const auto before = XeAssert::SetHandler(
      [](const char*, int, const char* text) { throw std::logic_error(text); });
  const Input input(Input::kRandom, {1}, 3);
  OperatorTimer timer;
  const auto sorter = MakeSorter(input, timer, {});
  Bytes record(input.size());
  EXPECT_THROW(sorter->SortRecord(record.data()), std::logic_error);
  EXPECT_THROW(sorter->EndInput(), std::logic_error);
  EXPECT_THROW(sorter->GetRecord(record.data()), std::logic_error);
  EXPECT_THROW(SqrtSorter(input.size(), timer).BeginInput(), std::logic_error);
  sorter->BeginInput();
  EXPECT_THROW(sorter->GetRecord(record.data()), std::logic_error);
  EXPECT_THROW(sorter->SetRecordLimit(3), std::logic_error);
  XeAssert::SetHandler(before);
}

TEST(SqrtSorter, InitialBufferComesFromTheEnvironment) {
  // The size is read once, at load, so every case is this test in a process of its own.
  if (std::getenv("SORTER_TEST_PRINTS") != nullptr) {
    std::printf("initial buffer: %zu\n", SqrtSorter::GetInitialBufferBytes());
    return;
  }
  const std::string self = std::filesystem::read_symlink("/proc/self/exe");
  const std::size_t usual = std::size_t{256} << 10;
  const std::pair<const char*, std::size_t> cases[] = {
      {"-u RUN_BUFFER_SIZE", usual},
      {"RUN_BUFFER_SIZE=4", 4096},
      {"RUN_BUFFER_SIZE=1000000", SqrtSorter::kMaxBufferBytes},
      {"RUN_BUFFER_SIZE=", usual},
      {"RUN_BUFFER_SIZE=0", usual},
      {"RUN_BUFFER_SIZE=-4", usual},
      {"RUN_BUFFER_SIZE=4KiB", usual},
      {"RUN_BUFFER_SIZE=99999999999999999999", usual},
  };
  for (const auto& [environment, expected] : cases) {
    const std::string command = std::string("env ") + environment + " SORTER_TEST_PRINTS=1 '" +
                                self +
                                "' --gtest_filter=SqrtSorter.InitialBufferComesFromTheEnvironment";
    FILE* const pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string output;
    std::array<char, 4096> part;
    while (std::fgets(part.data(), part.size(), pipe) != nullptr) output += part.data();
    EXPECT_EQ(pclose(pipe), 0);
    EXPECT_NE(output.find("initial buffer: " + std::to_string(expected) + "\n"), std::string::npos)
        << environment << "\n"
        << output;
  }
}

}  // namespace
}  // namespace sqxer
