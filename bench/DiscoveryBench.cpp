// SPDX-License-Identifier: Apache-2.0
// Listing the services of a host bundle, beside the system calls that no listing can do without: reading the directory,
// and an open, status, read and close of each Info file. The rounds of the two alternate, so that both meet the same
// state of the machine; the files are in the cache for both.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceDiscovery.h>

#include "support/BundleBuilder.h"

namespace {

using vanto::test::BundleBuilder;

constexpr std::size_t serviceCount = 10'000;
constexpr std::size_t rounds = 31;
constexpr double limit = 1.8;

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "%s\n", what);
  std::exit(1);
}

std::size_t buildService(const std::string& directory, std::size_t index) {
  const std::string number = std::to_string(index);
  BundleBuilder builder(directory, "Service" + number + ".vanto");
  builder.identifier("com.example.host.service" + number)
      .executable("Service" + number, "")
      .entry("KorBundleVersion", BundleBuilder::string("1.0"))
      .serviceEntry("ServiceType", BundleBuilder::string("User"))
      .serviceEntry("RunLoopType", BundleBuilder::string("dispatch_main"))
      .serviceEntry("_SandboxProfile", BundleBuilder::string("Service" + number))
      .serviceEntry("_MultipleInstances", BundleBuilder::boolean(false))
      .serviceEntry("_AllowedClients", BundleBuilder::array({BundleBuilder::string("identifier com.example.host")}))
      .build();
  struct stat status;
  require(stat(builder.infoPath().c_str(), &status) == 0, "an Info file is missing");
  return static_cast<std::size_t>(status.st_size);
}

// Processor time, the kernel's included, so that what else runs on the machine counts little.
double processorNanoseconds() {
  timespec now;
  require(clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now) == 0, "no clock of processor time");
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/// The number of bytes in all Info files.
std::size_t readBare(const std::string& directory) {
  std::size_t total = 0;
  std::array<char, 4096> buffer;
  std::array<char, 4096> path;
  DIR* stream = opendir(directory.c_str());
  require(stream != nullptr, "the directory cannot be read");
  while (const dirent* entry = readdir(stream)) {
    if (entry->d_name[0] == '.') continue;
    std::snprintf(path.data(), path.size(), "%s/%s/Contents/Info.plist", directory.c_str(), entry->d_name);
    const int file = open(path.data(), O_RDONLY | O_CLOEXEC);
    struct stat status;
    require(file >= 0 && fstat(file, &status) == 0, "an Info file cannot be opened");
    const ssize_t size = read(file, buffer.data(), buffer.size());
    require(size == status.st_size, "an Info file cannot be read");
    total += static_cast<std::size_t>(size);
    close(file);
  }
  closedir(stream);
  return total;
}

std::size_t list(const Bundle& host) {
  const vanto::TemporaryScope scope;
  return VantoServiceBundles(host)->count();
}

double median(std::vector<double>& times) {
  std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
  return times[rounds / 2];
}

}  // namespace

int main() {
  const vanto::test::TemporaryDirectory directory;
  const vanto::TemporaryScope scope;
  BundleBuilder host(directory.path(), "Host.app");
  const std::string path = host.build();
  std::size_t bytes = 0;
  for (std::size_t index = 0; index < serviceCount; ++index) bytes += buildService(host.servicesPath(), index);
  const vanto::Ref<Bundle> bundle = Bundle::create(*PlistString::create(path));
  require(static_cast<bool>(bundle), "there is no host bundle");

  std::vector<double> bare;
  std::vector<double> ours;
  for (std::size_t round = 0; round < rounds; ++round) {
    const double start = processorNanoseconds();
    require(readBare(host.servicesPath()) == bytes, "not all Info files were read");
    const double between = processorNanoseconds();
    require(list(*bundle) == serviceCount, "not all services were listed");
    bare.push_back(between - start);
    ours.push_back(processorNanoseconds() - between);
  }
  const double listing = median(ours) / serviceCount;
  const double calls = median(bare) / serviceCount;
  std::printf(
      "list one of %zu services, Info files of %zu bytes: %.0f ns, bare system calls %.0f ns: %.2f times, "
      "at most %.1f wanted: %s\n",
      serviceCount, bytes / serviceCount, listing, calls, listing / calls, limit,
      listing / calls <= limit ? "met" : "MISSED");
}
