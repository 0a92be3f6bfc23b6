// SPDX-License-Identifier: Apache-2.0
// A job converted to job data and to an IPC object, each with its end, beside one malloc and free for each node. The
// limit is 15 times that.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include <VantoService/PlistArray.h>
#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistNumber.h>
#include <VantoService/PlistString.h>

#include "job/IPCObjectConversion.h"
#include "job/JobDataConversion.h"

namespace {

using vanto::Object;
using vanto::Ref;

/// Dictionaries, arrays and leaves of sampleJob().
constexpr std::size_t jobNodes = 9;
/// What the nodes take on average: a header, and a text or an entry.
constexpr std::size_t nodeBytes = 48;

Ref<PlistDictionary> sampleJob() {
  const auto text = [](const char* utf8) {
    return PlistString::create(utf8);
  };
  const Ref<PlistString> label = text("com.example.application.echo");
  const Ref<PlistString> keys[] = {text("MachServices"), text("ProgramArguments"), text("Label"),
                                   text("EnableTransactions"), text("VantoDomain")};
  const Ref<PlistString> program = text("/usr/libexec/vantoproxy");
  const Ref<PlistString> path = text("/opt/Example/Contents/VantoServices/Echo.vanto/Contents/Linux/Echo");
  const Ref<PlistString> domain = text("VantoPerUser");
  const PlistDictionary::Entry service{label.get(), PlistBoolean::of(true)};
  const Ref<PlistDictionary> services = PlistDictionary::create({&service, 1});
  Object* const words[] = {program.get(), path.get()};
  const Ref<PlistArray> arguments = PlistArray::create(words);
  const PlistDictionary::Entry entries[] = {{keys[0].get(), services.get()},
                                            {keys[1].get(), arguments.get()},
                                            {keys[2].get(), label.get()},
                                            {keys[3].get(), PlistBoolean::of(true)},
                                            {keys[4].get(), domain.get()}};
  return PlistDictionary::create(entries);
}

void allocateAndFreeForEachNode(benchmark::State& state) {
  for ([[maybe_unused]] auto step : state) {
    void* nodes[jobNodes];
    for (void*& node : nodes) {
      node = std::malloc(nodeBytes);
      benchmark::DoNotOptimize(node);
    }
    for (void* node : nodes) std::free(node);
  }
}
BENCHMARK(allocateAndFreeForEachNode);

void convertToJobData(benchmark::State& state) {
  const Ref<PlistDictionary> job = sampleJob();
  for ([[maybe_unused]] auto step : state) {
    tolven_data_t data = Kor2tolven_data(job.get());
    benchmark::DoNotOptimize(data);
    tolven_data_free(data);
  }
}
BENCHMARK(convertToJobData);

void convertToIPCObject(benchmark::State& state) {
  const Ref<PlistDictionary> job = sampleJob();
  for ([[maybe_unused]] auto step : state) {
    vanto_object_t object = Kor2Vanto_data(job.get());
    benchmark::DoNotOptimize(object);
    vanto_release(object);
  }
}
BENCHMARK(convertToIPCObject);

void packJobData(benchmark::State& state) {
  tolven_data_t data = Kor2tolven_data(sampleJob().get());
  for ([[maybe_unused]] auto step : state) {
    std::size_t length = 0;
    void* packed = tolven_data_pack(data, &length);
    benchmark::DoNotOptimize(packed);
    std::free(packed);
  }
  tolven_data_free(data);
}
BENCHMARK(packJobData);

void unpackJobData(benchmark::State& state) {
  tolven_data_t data = Kor2tolven_data(sampleJob().get());
  std::size_t length = 0;
  void* packed = tolven_data_pack(data, &length);
  tolven_data_free(data);
  for ([[maybe_unused]] auto step : state) tolven_data_free(tolven_data_unpack(packed, length));
  std::free(packed);
}
BENCHMARK(unpackJobData);

}  // namespace

BENCHMARK_MAIN();
