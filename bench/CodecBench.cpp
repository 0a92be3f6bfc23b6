// SPDX-License-Identifier: Apache-2.0
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "ipc/Codec.h"

using vanto::EncodedObject;
using vanto::Ref;

namespace {

Ref<vanto_object> own(vanto_object_t object) {
  return Ref<vanto_object>::adopt(object);
}

/// A request as services see it: five entries.
Ref<vanto_object> smallDictionary() {
  Ref<vanto_object> dictionary = own(vanto_dictionary_create(nullptr, nullptr, 0));
  vanto_dictionary_set_value(dictionary.get(), "operation", own(vanto_string_create("resize")).get());
  vanto_dictionary_set_value(dictionary.get(), "width", own(vanto_int64_create(640)).get());
  vanto_dictionary_set_value(dictionary.get(), "height", own(vanto_int64_create(480)).get());
  vanto_dictionary_set_value(dictionary.get(), "quality", own(vanto_double_create(0.8)).get());
  vanto_dictionary_set_value(dictionary.get(), "keepRatio", own(vanto_bool_create(true)).get());
  return dictionary;
}

void buildSmallDictionary(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(smallDictionary().get());
}
BENCHMARK(buildSmallDictionary);

void encodeSmallDictionary(benchmark::State& state) {
  const Ref<vanto_object> dictionary = smallDictionary();
  EncodedObject encoded;
  for (auto _ : state) {
    if (encoded.encode(dictionary.get()) != VANTO_ERROR_NONE) return state.SkipWithError("not encoded");
    benchmark::DoNotOptimize(encoded.bytes().data());
  }
  state.counters["bytes"] = static_cast<double>(encoded.bytes().size());
}
BENCHMARK(encodeSmallDictionary);

void decodeSmallDictionary(benchmark::State& state) {
  EncodedObject encoded;
  if (encoded.encode(smallDictionary().get()) != VANTO_ERROR_NONE) return state.SkipWithError("not encoded");
  for (auto _ : state) {
    const Ref<vanto_object> decoded = vanto::decodeObject(encoded.bytes(), {});
    benchmark::DoNotOptimize(decoded.get());
  }
}
BENCHMARK(decodeSmallDictionary);

/// What a service does with a request: decode, read every entry, free.
void decodeReadAndFreeSmallDictionary(benchmark::State& state) {
  EncodedObject encoded;
  if (encoded.encode(smallDictionary().get()) != VANTO_ERROR_NONE) return state.SkipWithError("not encoded");
  for (auto _ : state) {
    const Ref<vanto_object> decoded = vanto::decodeObject(encoded.bytes(), {});
    vanto_object_t dictionary = decoded.get();
    benchmark::DoNotOptimize(vanto_string_get_text(vanto_dictionary_get_value(dictionary, "operation")));
    benchmark::DoNotOptimize(vanto_int64_get_value(vanto_dictionary_get_value(dictionary, "width")));
    benchmark::DoNotOptimize(vanto_int64_get_value(vanto_dictionary_get_value(dictionary, "height")));
    benchmark::DoNotOptimize(vanto_double_get_value(vanto_dictionary_get_value(dictionary, "quality")));
    benchmark::DoNotOptimize(vanto_bool_get_value(vanto_dictionary_get_value(dictionary, "keepRatio")));
  }
}
BENCHMARK(decodeReadAndFreeSmallDictionary);

Ref<vanto_object> mebibyte() {
  const std::string contents(std::size_t{1} << 20, 'x');
  return own(vanto_data_create(contents.data(), contents.size()));
}

void encodeMebibyte(benchmark::State& state) {
  const Ref<vanto_object> data = mebibyte();
  EncodedObject encoded;
  for (auto _ : state) {
    if (encoded.encode(data.get()) != VANTO_ERROR_NONE) return state.SkipWithError("not encoded");
    benchmark::DoNotOptimize(encoded.bytes().data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) << 20);
}
BENCHMARK(encodeMebibyte);

void decodeMebibyte(benchmark::State& state) {
  EncodedObject encoded;
  if (encoded.encode(mebibyte().get()) != VANTO_ERROR_NONE) return state.SkipWithError("not encoded");
  for (auto _ : state) benchmark::DoNotOptimize(vanto::decodeObject(encoded.bytes(), {}).get());
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) << 20);
}
BENCHMARK(decodeMebibyte);

/// The limit beside decodeMebibyte: one copy into reused memory.
void copyMebibyte(benchmark::State& state) {
  const std::string contents(std::size_t{1} << 20, 'x');
  std::string copy(contents.size(), ' ');
  for (auto _ : state) {
    contents.copy(copy.data(), copy.size());
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) << 20);
}
BENCHMARK(copyMebibyte);

/// Keys in ascending order, in descending order, and in an order that jumps about.
void setKeys(benchmark::State& state) {
  constexpr std::size_t count = 100'000;
  std::vector<std::string> keys;
  for (std::size_t number = 0; number < count; ++number) {
    const std::size_t place = state.range(0) == 0   ? number
                              : state.range(0) == 1 ? count - number
                                                    : number * 7919 % count;
    keys.push_back("key " + std::to_string(1'000'000 + place));
  }
  const Ref<vanto_object> value = own(vanto_bool_create(true));
  for (auto _ : state) {
    const Ref<vanto_object> dictionary = own(vanto_dictionary_create(nullptr, nullptr, 0));
    for (const std::string& key : keys) vanto_dictionary_set_value(dictionary.get(), key.c_str(), value.get());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * count));
}
BENCHMARK(setKeys)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
