// SPDX-License-Identifier: Apache-2.0
#include "soak/Ledger.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "value/Fd.h"

namespace vanto::soak {

Ledger::Ledger(const std::string& path) {
  const Fd file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  void* memory = MAP_FAILED;
  // Most of it is a hole.
  if (file && ftruncate(file.get(), sizeof(Contents)) == 0) {
    memory = mmap(nullptr, sizeof(Contents), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_NORESERVE, file.get(), 0);
  }
  if (memory == MAP_FAILED) {
    std::perror(path.c_str());
    std::exit(1);
  }
  contents_ = static_cast<Contents*>(memory);
}

void Ledger::carryOut(Service service, std::uint64_t number) noexcept {
  page(service).requests++;
  if (number < capacity) contents_->carriedOut[number]++;
}

unsigned Ledger::timesCarriedOut(std::uint64_t number) const noexcept {
  return number < capacity ? contents_->carriedOut[number].load() : 0;
}

void Ledger::noteFailure(Service service) noexcept {
  Page& noted = page(service);
  const std::uint64_t index = noted.failures++;
  noted.failureTimes[index % rememberedFailures] = monotonicTime();
}

std::vector<std::int64_t> Ledger::failuresSince(Service service, std::int64_t time) const {
  std::vector<std::int64_t> times;
  for (const std::atomic<std::int64_t>& each : page(service).failureTimes) {
    if (each >= time) times.push_back(each);
  }
  std::sort(times.begin(), times.end());
  return times;
}

std::int64_t monotonicTime() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * std::int64_t{1'000'000'000} + time.tv_nsec;
}

}  // namespace vanto::soak
