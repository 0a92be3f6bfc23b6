// SPDX-License-Identifier: Apache-2.0
// The binary form of property lists: a cache of service archives beside the files that it stands for, and the values of
// a large document.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <span>
#include <string>
#include <vector>

#include <fcntl.h>

#include <VantoService/PlistArray.h>
#include <VantoService/PlistDictionary.h>
#include <VantoService/PropertyList.h>

#include "Medians.h"
#include "PropertyListDocuments.h"
#include "support/TemporaryDirectory.h"
#include "value/PropertyListFile.h"

namespace {

using vanto::Ref;
using vanto::bench::medians;
using vanto::bench::require;

Ref<PlistValue> treeOf(const std::string& document) {
  Ref<PlistValue> tree =
      vanto::createPropertyList({reinterpret_cast<const std::uint8_t*>(document.data()), document.size()});
  require(static_cast<bool>(tree), "the document was refused");
  return tree;
}

Ref<PlistData> binaryOf(const PlistValue& tree) {
  Ref<PlistData> data = vanto::createPropertyListBinary(tree);
  require(static_cast<bool>(data), "the tree could not be written");
  return data;
}

void readTree(std::span<const std::uint8_t> bytes) {
  const Ref<PlistValue> tree = vanto::createPropertyList(bytes);
  require(static_cast<bool>(tree), "the document was refused");
  benchmark::DoNotOptimize(tree.get());
}

/// The values of a tree, keys not counted.
std::size_t countValues(vanto::Object* value) {
  std::size_t count = 1;
  if (const auto* array = vanto::as<PlistArray>(value)) {
    for (vanto::Object* element : array->elements()) count += countValues(element);
  }
  if (const auto* dictionary = vanto::as<PlistDictionary>(value)) {
    PlistDictionary::Cursor cursor(*dictionary);
    for (PlistDictionary::Entry entry{}; cursor.next(entry);) count += countValues(entry.value);
  }
  return count;
}

Ref<PlistData> archives(std::size_t count) {
  return binaryOf(*treeOf(vanto::bench::archivesDocument(count)));
}

/// A directory with the Info files of services.
class InfoFiles {
 public:
  explicit InfoFiles(std::size_t count) {
    for (std::size_t number = 0; number < count; ++number) {
      paths_.push_back(directory_ / (std::to_string(number) + ".plist"));
      std::ofstream(paths_.back()) << vanto::bench::infoDocument(number);
    }
  }

  void readAll() const {
    for (const std::string& path : paths_) {
      const Ref<PlistValue> tree = vanto::createPropertyListFromFile(AT_FDCWD, path.c_str());
      require(static_cast<bool>(tree), "a file was refused");
      benchmark::DoNotOptimize(tree.get());
    }
  }

 private:
  vanto::test::TemporaryDirectory directory_;
  std::vector<std::string> paths_;
};

void compareWithFiles() {
  constexpr std::size_t count = 10'000;
  const InfoFiles files(count);
  const Ref<PlistData> cache = archives(count);
  const std::vector<double> times = medians({[&] { readTree(cache->bytes()); },
                                             [&] {
                                               files.readAll();
                                             }},
                                            {1, 1}, 15);
  const double ratio = times[1] / times[0];
  std::printf("%zu archives from %zu bytes: %.0f ns each; opening, reading and parsing a file: %.0f ns\n", count,
              cache->length(), times[0] / count, times[1] / count);
  std::printf("%.1f times faster, at least 5.0 wanted: %s\n", ratio, ratio >= 5 ? "met" : "MISSED");
}

void compareCounts() {
  const std::vector<std::size_t> counts = {1000, 10'000, 50'000};
  std::vector<Ref<PlistData>> caches;
  std::vector<std::function<void()>> works;
  for (const std::size_t count : counts) caches.push_back(archives(count));
  for (const Ref<PlistData>& cache : caches) works.emplace_back([&cache] { readTree(cache->bytes()); });
  const std::vector<double> times = medians(works, {20, 3, 1}, 15);
  double least = times[0] / static_cast<double>(counts[0]);
  double most = least;
  for (std::size_t index = 0; index < counts.size(); ++index) {
    const double each = times[index] / static_cast<double>(counts[index]);
    std::printf("%6zu archives: %5.0f ns each\n", counts[index], each);
    least = std::min(least, each);
    most = std::max(most, each);
  }
  std::printf("slowest by fastest count: %.2f, at most 1.5 wanted: %s\n", most / least,
              most <= 1.5 * least ? "met" : "MISSED");
}

void measureValues() {
  const std::vector<std::pair<const char*, std::string>> documents = {
      {"Info document", vanto::bench::infoDocument()},
      {"list of 10 MB of XML", vanto::bench::listDocument(10'000'000)}};
  for (const auto& [name, document] : documents) {
    const Ref<PlistValue> tree = treeOf(document);
    const Ref<PlistData> data = binaryOf(*tree);
    const int calls = document.size() < 100'000 ? 2000 : 1;
    const std::vector<double> times = medians({[&] { readTree(data->bytes()); },
                                               [&] {
                                                 benchmark::DoNotOptimize(binaryOf(*tree).get());
                                               }},
                                              {calls, calls}, 21);
    const double each = times[0] / static_cast<double>(countValues(tree.get()));
    std::printf("%s: %zu bytes of XML, %zu binary; reading %.0f ns, %.1f ns a value, %.0f MB/s; writing %.0f ns\n",
                name, document.size(), data->length(), times[0], each,
                static_cast<double>(data->length()) / times[0] * 1000, times[1]);
    std::printf("at most 40 ns a value wanted: %s\n", each <= 40 ? "met" : "MISSED");
  }
}

void benchReadArchives(benchmark::State& state) {
  const Ref<PlistData> cache = archives(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) readTree(cache->bytes());
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * cache->length()));
}
BENCHMARK(benchReadArchives)->Name("read/archives")->Arg(1000)->Arg(10'000);

void benchWriteArchives(benchmark::State& state) {
  const Ref<PlistValue> tree = treeOf(vanto::bench::archivesDocument(static_cast<std::size_t>(state.range(0))));
  for (auto _ : state) benchmark::DoNotOptimize(binaryOf(*tree).get());
}
BENCHMARK(benchWriteArchives)->Name("write/archives")->Arg(1000)->Arg(10'000);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  compareWithFiles();
  compareCounts();
  measureValues();
}
