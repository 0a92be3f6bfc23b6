// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>

#include <VantoService/PlistArray.h>
#include <VantoService/PlistData.h>
#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistNumber.h>
#include <VantoService/PlistString.h>
#include <VantoService/TemporaryScope.h>

namespace {

using vanto::Ref;

// Counted values, beside one of 48 bytes from the standard library.

void makeAndDropData(benchmark::State& state) {
  // 32 bytes of object and 16 of data: 48 bytes.
  const std::vector<std::uint8_t> bytes(16, 1);
  for ([[maybe_unused]] auto step : state) benchmark::DoNotOptimize(PlistData::create(bytes).get());
}
BENCHMARK(makeAndDropData);

void makeAndDropString(benchmark::State& state) {
  constexpr std::string_view text = "fifteen letters";
  for ([[maybe_unused]] auto step : state) benchmark::DoNotOptimize(PlistString::create(text).get());
}
BENCHMARK(makeAndDropString);

void makeAndDropNumber(benchmark::State& state) {
  for ([[maybe_unused]] auto step : state) benchmark::DoNotOptimize(PlistNumber::create(std::int64_t{7}).get());
}
BENCHMARK(makeAndDropNumber);

void makeAndDropSharedPointer(benchmark::State& state) {
  struct Value {
    std::byte content[32];
  };
  for ([[maybe_unused]] auto step : state) benchmark::DoNotOptimize(std::make_shared<Value>().get());
}
BENCHMARK(makeAndDropSharedPointer);

void retainAndRelease(benchmark::State& state) {
  const Ref<PlistString> string = PlistString::create("text");
  for ([[maybe_unused]] auto step : state) {
    string->retain();
    string->release();
  }
}
BENCHMARK(retainAndRelease);

// Temporaries.

void addTemporaries(benchmark::State& state) {
  const Ref<PlistString> string = PlistString::create("text");
  const auto count = state.range(0);
  for ([[maybe_unused]] auto step : state) {
    const vanto::TemporaryScope scope;
    for (std::int64_t index = 0; index < count; ++index) {
      benchmark::DoNotOptimize(Ref<PlistString>(string).asTemporary());
    }
  }
  state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(addTemporaries)->Arg(0)->Arg(1)->Arg(16)->Arg(1024);

// Dictionaries of keys like "Key000042".

std::vector<std::string> keyTexts(std::size_t count) {
  std::vector<std::string> texts;
  for (std::size_t index = 0; index < count; ++index) {
    char text[24];
    std::snprintf(text, sizeof text, "Key%06zu", index);
    texts.emplace_back(text);
  }
  return texts;
}

Ref<PlistMutableDictionary> makeDictionary(const std::vector<Ref<PlistString>>& keys) {
  Ref<PlistMutableDictionary> dictionary = PlistMutableDictionary::create();
  for (const Ref<PlistString>& key : keys) dictionary->setValueForKey(key.get(), key.get());
  return dictionary;
}

std::vector<Ref<PlistString>> makeKeys(std::size_t count) {
  std::vector<Ref<PlistString>> keys;
  for (const std::string& text : keyTexts(count)) keys.push_back(PlistString::create(text));
  return keys;
}

void lookUp(benchmark::State& state, const vanto::Class& dictionaryClass) {
  std::vector<std::string> texts = keyTexts(static_cast<std::size_t>(state.range(0)));
  const Ref<PlistDictionary> dictionary =
      PlistDictionary::createOfClass(dictionaryClass, *makeDictionary(makeKeys(texts.size())));
  std::shuffle(texts.begin(), texts.end(), std::mt19937(1));
  std::size_t next = 0;
  for ([[maybe_unused]] auto step : state) {
    benchmark::DoNotOptimize(dictionary->valueForKey(texts[next]));
    if (++next == texts.size()) next = 0;
  }
}

void lookUpImmutable(benchmark::State& state) {
  lookUp(state, PlistDictionary::classDescriptor());
}
BENCHMARK(lookUpImmutable)->Arg(8)->Arg(1000)->Arg(100'000);

void lookUpMutable(benchmark::State& state) {
  lookUp(state, PlistMutableDictionary::classDescriptor());
}
BENCHMARK(lookUpMutable)->Arg(8)->Arg(1000)->Arg(100'000);

void lookUpStandardMap(benchmark::State& state) {
  std::vector<std::string> texts = keyTexts(static_cast<std::size_t>(state.range(0)));
  std::map<std::string, int, std::less<>> map;
  for (const std::string& text : texts) map.emplace(text, 1);
  std::shuffle(texts.begin(), texts.end(), std::mt19937(1));
  std::size_t next = 0;
  for ([[maybe_unused]] auto step : state) {
    benchmark::DoNotOptimize(map.find(texts[next]));
    if (++next == texts.size()) next = 0;
  }
}
BENCHMARK(lookUpStandardMap)->Arg(8)->Arg(1000)->Arg(100'000);

enum class Order { Ascending, Descending, Random };

void fill(benchmark::State& state, Order order) {
  std::vector<Ref<PlistString>> keys = makeKeys(static_cast<std::size_t>(state.range(0)));
  if (order == Order::Descending) std::reverse(keys.begin(), keys.end());
  if (order == Order::Random) std::shuffle(keys.begin(), keys.end(), std::mt19937(1));
  for ([[maybe_unused]] auto step : state) benchmark::DoNotOptimize(makeDictionary(keys).get());
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void fillAscending(benchmark::State& state) {
  fill(state, Order::Ascending);
}
BENCHMARK(fillAscending)->Arg(8)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMicrosecond);

void fillDescending(benchmark::State& state) {
  fill(state, Order::Descending);
}
BENCHMARK(fillDescending)->Arg(8)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMicrosecond);

void fillRandom(benchmark::State& state) {
  fill(state, Order::Random);
}
BENCHMARK(fillRandom)->Arg(8)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
