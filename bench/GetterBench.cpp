// SPDX-License-Identifier: Apache-2.0
// What a getter of a service bundle costs once its value is computed, beside a getter written by hand in a shared
// library of its own. Both are called through their libraries. The rounds of the two alternate, and the fastest round
// of each counts: whatever makes a round slower is the machine's, not the getter's.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <time.h>

#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>

#include "GetterByHand.h"
#include "support/BundleBuilder.h"

namespace {

using vanto::bench::GetterByHand;
using vanto::test::BundleBuilder;

constexpr int rounds = 400;
constexpr int callsPerRound = 100'000;
constexpr double limit = 1.2;

double processorNanoseconds() {
  timespec now;
  if (clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now) != 0) std::abort();
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

template <typename Call>
double nanosecondsPerCall(Call call) {
  const double start = processorNanoseconds();
  for (int i = 0; i < callsPerRound; ++i) benchmark::DoNotOptimize(call());
  return (processorNanoseconds() - start) / callsPerRound;
}

/// Prints one line.
template <typename Ours>
void compare(const char* name, GetterByHand& byHand, Ours ours) {
  double fastest = 1e9;
  double fastestByHand = 1e9;
  for (int round = 0; round < rounds; ++round) {
    fastest = std::min(fastest, nanosecondsPerCall(ours));
    fastestByHand = std::min(fastestByHand, nanosecondsPerCall([&] { return byHand.value(); }));
  }
  const double ratio = fastest / fastestByHand;
  std::printf("%-18s %6.3f ns, by hand %6.3f ns: %.2f times, at most %.1f wanted: %s\n", name, fastest, fastestByHand,
              ratio, limit, ratio <= limit ? "met" : "MISSED");
}

VantoServiceBundle& serviceIn(const vanto::test::TemporaryDirectory& directory) {
  const std::string path = BundleBuilder(directory.path(), "Echo.vanto")
                               .identifier("com.example.echo")
                               .executable("Echo")
                               .serviceEntry("ServiceType", BundleBuilder::string("System"))
                               .build();
  VantoServiceBundle* service = VantoServiceBundle::VantoServiceBundleAtPath(PlistString::create(path).get());
  if (service == nullptr || service->identifier() == nullptr || service->executablePath() == nullptr) std::abort();
  return *service;
}

}  // namespace

int main() {
  const vanto::test::TemporaryDirectory directory;
  const vanto::TemporaryScope scope;
  VantoServiceBundle& service = serviceIn(directory);
  GetterByHand byHand(&service);
  compare("serviceDictionary", byHand, [&] { return service.serviceDictionary(); });
  compare("serviceType", byHand, [&] { return service.serviceType(); });
  compare("identifier", byHand, [&] { return service.identifier(); });
  compare("executablePath", byHand, [&] { return service.executablePath(); });
}
