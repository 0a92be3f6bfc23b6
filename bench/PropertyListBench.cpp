// SPDX-License-Identifier: Apache-2.0
// Reading property lists, beside what libexpat takes for scanning the same bytes without making anything of them, and
// writing them. The rounds of the things compared alternate, so that all meet the same state of the machine.

#include <benchmark/benchmark.h>
#include <expat.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include <VantoService/PropertyList.h>

#include "Medians.h"
#include "PropertyListDocuments.h"

namespace {

using vanto::bench::infoDocument;
using vanto::bench::listDocument;
using vanto::bench::medians;
using vanto::bench::require;

std::span<const std::uint8_t> bytesOf(const std::string& document) {
  return {reinterpret_cast<const std::uint8_t*>(document.data()), document.size()};
}

void readTree(const std::string& document) {
  vanto::Ref<PlistValue> tree = vanto::createPropertyList(bytesOf(document));
  require(static_cast<bool>(tree), "the document was refused");
  benchmark::DoNotOptimize(tree.get());
}

// One parser for all rounds: making it is not what is measured.
void scanWithExpat(const std::string& document) {
  static const XML_Parser parser = XML_ParserCreate(nullptr);
  require(XML_ParserReset(parser, nullptr) == XML_TRUE, "libexpat cannot begin anew");
  XML_SetElementHandler(
      parser, [](void*, const XML_Char*, const XML_Char**) {}, [](void*, const XML_Char*) {});
  XML_SetCharacterDataHandler(parser, [](void*, const XML_Char*, int) {});
  const XML_Status status = XML_Parse(parser, document.data(), static_cast<int>(document.size()), 1);
  require(status == XML_STATUS_OK, "libexpat refused the document");
}

void writeTree(const PlistValue& tree) {
  vanto::Ref<PlistData> data = vanto::createPropertyListXML(tree);
  require(static_cast<bool>(data), "the tree could not be written");
  benchmark::DoNotOptimize(data.get());
}

void printRatio(const char* what, double ours, double theirs, double limit) {
  std::printf("%-44s %12.0f ns, libexpat %12.0f ns: %5.2f times faster, at least %.1f wanted: %s\n", what, ours, theirs,
              theirs / ours, limit, theirs / ours >= limit ? "met" : "MISSED");
}

void compareWithExpat() {
  const std::string info = infoDocument();
  const std::vector<double> small = medians({[&] { readTree(info); },
                                             [&] {
                                               scanWithExpat(info);
                                             }},
                                            {2000, 500}, 51);
  const std::string name = "typed tree from " + std::to_string(info.size()) + " bytes";
  printRatio(name.c_str(), small[0], small[1], 3.0);

  const std::string list = listDocument(10'000'000);
  const std::vector<double> large = medians({[&] { readTree(list); },
                                             [&] {
                                               scanWithExpat(list);
                                             }},
                                            {1, 1}, 21);
  printRatio("typed tree from 10 MB", large[0], large[1], 2.0);
}

void compareWritingWithReading() {
  constexpr std::size_t judged = 10'000'000;
  for (const std::size_t size : {std::size_t{1'000'000}, judged, std::size_t{40'000'000}}) {
    const std::string list = listDocument(size);
    const vanto::Ref<PlistValue> tree = vanto::createPropertyList(bytesOf(list));
    const std::vector<double> times = medians({[&] { readTree(list); },
                                               [&] {
                                                 writeTree(*tree);
                                               }},
                                              {1, 1}, 21);
    const char* verdict = size != judged         ? ""
                          : times[1] <= times[0] ? ", at most 1.0 wanted: met"
                                                 : ", at most 1.0 wanted: MISSED";
    std::printf("writing %8zu bytes: %12.0f ns, reading %12.0f ns: %5.2f times%s\n", list.size(), times[1], times[0],
                times[1] / times[0], verdict);
  }
}

void compareSizes() {
  const std::vector<std::string> documents = {listDocument(1'000'000), listDocument(10'000'000),
                                              listDocument(40'000'000)};
  std::vector<std::function<void()>> works;
  for (const std::string& document : documents) works.emplace_back([&document] { readTree(document); });
  const std::vector<double> times = medians(works, {10, 1, 1}, 15);
  double least = 0;
  double most = 0;
  for (std::size_t index = 0; index < documents.size(); ++index) {
    const double perByte = times[index] / static_cast<double>(documents[index].size());
    least = index == 0 ? perByte : std::min(least, perByte);
    most = std::max(most, perByte);
    std::printf("typed tree from %8zu bytes: %6.3f ns a byte, %5.0f MB/s\n", documents[index].size(), perByte,
                1000 / perByte);
  }
  std::printf("slowest by fastest size: %.2f, at most 1.15 wanted: %s\n", most / least,
              most / least <= 1.15 ? "met" : "MISSED");
}

void benchReadInfo(benchmark::State& state) {
  const std::string document = infoDocument();
  for (auto _ : state) readTree(document);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * document.size()));
}
BENCHMARK(benchReadInfo)->Name("read/info");

void benchExpatInfo(benchmark::State& state) {
  const std::string document = infoDocument();
  for (auto _ : state) scanWithExpat(document);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * document.size()));
}
BENCHMARK(benchExpatInfo)->Name("libexpat/info");

void benchWriteInfo(benchmark::State& state) {
  const std::string document = infoDocument();
  vanto::Ref<PlistValue> tree = vanto::createPropertyList(bytesOf(document));
  for (auto _ : state) writeTree(*tree);
}
BENCHMARK(benchWriteInfo)->Name("write/info");

void benchReadList(benchmark::State& state) {
  const std::string document = listDocument(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) readTree(document);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * document.size()));
}
BENCHMARK(benchReadList)->Name("read/list")->Arg(1'000'000)->Arg(10'000'000)->Arg(40'000'000);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  compareWithExpat();
  compareWritingWithReading();
  compareSizes();
}
