// Sorting records of 24 bytes by one key: the sorter, within its usual memory and all in memory,
// and std::sort over pointers to the same records with a comparison written by hand.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "Utility/SqrtSorter.h"

namespace sqxer::bench {
namespace {

/// Records with one nullable key at the place where a layout of it and an integer would have it.
struct SortInput {
  XeRecordMetaData layout;
  KeySet keys;
  uint32 size = 0;
  uint32 at = 0;
  std::vector<uint8> records;

  SortInput(XeDataType type, uint32 length, std::size_t count) {
    layout.AddField(type, length, true, L"key");
    layout.GenerateAlignedFieldOffset();
    const XeFieldDescriptor& key = *layout.GetFieldDescriptor(0);
    keys.Add(KeyDesc(key, kAscending, kCompareCodePoints));
    size = std::max(layout.GetBinaryRecordSize(), uint32{24});
    at = key.GetDataOffset();
    records.resize(size * count);
    std::mt19937_64 random(11);
    for (std::size_t i = 0; i < count; ++i) {
      uint8* const value = records.data() + i * size + at;
      if (type == XeInt4Data) {
        const auto number = static_cast<int32>(random());
        std::memcpy(value, &number, sizeof number);
      } else if (type == XeDoubleData) {
        const double number = static_cast<double>(random()) * 1e-9;
        std::memcpy(value, &number, sizeof number);
      } else {
        const uint32 characters = length;
        std::memcpy(value, &characters, sizeof characters);
        auto* const text = reinterpret_cast<wchar_t*>(value + kLongVarPrefix);
        for (uint32 c = 0; c < characters; ++c)
          text[c] = L'a' + static_cast<wchar_t>(random() % 26);
      }
    }
  }
};

template <class T>
bool LessByHand(const uint8* a, const uint8* b) {
  T left;
  T right;
  std::memcpy(&left, a, sizeof left);
  std::memcpy(&right, b, sizeof right);
  return left < right;
}

bool LessTextByHand(const uint8* a, const uint8* b) {
  uint32 left;
  uint32 right;
  std::memcpy(&left, a, sizeof left);
  std::memcpy(&right, b, sizeof right);
  const int difference =
      std::wmemcmp(reinterpret_cast<const wchar_t*>(a + kLongVarPrefix),
                   reinterpret_cast<const wchar_t*>(b + kLongVarPrefix), std::min(left, right));
  return difference != 0 ? difference < 0 : left < right;
}

using Less = bool (*)(const uint8*, const uint8*);

/// std::sort of pointers, then a copy of every record in order, as GetRecord makes one.
template <Less less>
void StdSort(benchmark::State& state, XeDataType type, uint32 length) {
  const SortInput input(type, length, static_cast<std::size_t>(state.range(0)));
  std::vector<uint8> out(input.size);
  for (auto _ : state) {
    std::vector<uint8> copy = input.records;
    std::vector<const uint8*> pointers;
    for (std::size_t i = 0; i < copy.size(); i += input.size) pointers.push_back(&copy[i]);
    const uint32 at = input.at;
    std::sort(pointers.begin(), pointers.end(), [at](const uint8* a, const uint8* b) {
      if (a[1] != b[1]) return a[1] < b[1];
      return less(a + at, b + at);
    });
    for (const uint8* record : pointers) {
      std::memcpy(out.data(), record, input.size);
      benchmark::DoNotOptimize(out.data());
      benchmark::ClobberMemory();
    }
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void Sorter(benchmark::State& state, XeDataType type, uint32 length, std::size_t bufferBytes) {
  const SortInput input(type, length, static_cast<std::size_t>(state.range(0)));
  std::vector<uint8> out(input.size);
  const std::size_t before = SqrtSorter::GetInitialBufferBytes();
  SqrtSorter::SetInitialBufferBytes(bufferBytes);
  OperatorTimer timer;
  for (auto _ : state) {
    SqrtSorter sorter(input.size, timer);
    sorter.SetRowIdSorterMetadata(input.keys, input.layout);
    sorter.BeginInput();
    for (std::size_t i = 0; i < input.records.size(); i += input.size) {
      sorter.SortRecord(input.records.data() + i);
    }
    sorter.EndInput();
    while (sorter.GetRecord(out.data())) benchmark::ClobberMemory();
  }
  SqrtSorter::SetInitialBufferBytes(before);
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.counters["spilled"] =
      static_cast<double>(timer.GetSpilledBytes()) / static_cast<double>(state.iterations());
}

template <Less less>
void Register(const char* name, XeDataType type, uint32 length) {
  const std::string key = name;
  const auto add = [&](const std::string& title, std::initializer_list<int64_t> counts, auto run) {
    auto* const one = benchmark::RegisterBenchmark(title.c_str(), run);
    for (const int64_t count : counts) one->Arg(count);
    one->Unit(benchmark::kMillisecond);
  };
  add("Sort/" + key + "/std", {1'000'000, 4'000'000},
      [=](benchmark::State& state) { StdSort<less>(state, type, length); });
  add("Sort/" + key + "/in memory", {1'000'000},
      [=](benchmark::State& state) { Sorter(state, type, length, SqrtSorter::kMaxBufferBytes); });
  add("Sort/" + key + "/spilling", {1'000'000, 4'000'000},
      [=](benchmark::State& state) { Sorter(state, type, length, std::size_t{256} << 10); });
}

[[maybe_unused]] const bool registered = [] {
  Register<LessByHand<int32>>("Int4", XeInt4Data, 4);
  Register<LessByHand<double>>("Double", XeDoubleData, 8);
  Register<LessTextByHand>("VarChar3", XeVarCharData, 3);
  Register<LessTextByHand>("VarChar20", XeVarCharData, 20);
  return true;
}();

}  // namespace
}  // namespace sqxer::bench
