// SPDX-License-Identifier: Apache-2.0
#include "soak/Soak.h"

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>

namespace vanto::soak {

namespace {

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
/// A pause after failures that is longer is ended by an order.
constexpr std::int64_t longestPause = nanosecondsPerSecond / 4;
/// Runs between two looks at what the manager holds.
constexpr int runsBetweenLooks = 8;
/// After this part the manager is replaced no more, so that one lives long enough to show that it grows.
constexpr double replacingPart = 0.5;
/// What a manager may take more of once it is quiet: log lines, and memory that the allocator keeps.
constexpr long mostKilobytes = 512;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isMemoryJudged = false;
#else
constexpr bool isMemoryJudged = true;
#endif

std::int64_t now() {
  return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

Soak::Soak(const Site::Programs& programs, Length length, std::uint64_t seed)
    : length_(length), begin_(now()), site_(programs), random_(seed) {}

double Soak::progress() const {
  const double ofRuns = length_.runs > 0 ? static_cast<double>(runs_) / length_.runs : 0;
  const double seconds = static_cast<double>(now() - begin_) / nanosecondsPerSecond;
  return std::max({ofRuns, length_.seconds > 0 ? seconds / length_.seconds : 0, tally_.isFull() ? 1.0 : 0.0});
}

bool Soak::run() {
  note(site_.begin());
  if (faults_.empty()) {
    Load load(tally_);
    Scene scene{site_, load, tally_, random_, told_};
    note(recover(scene));
    runAll(scene);
  }
  note(site_.end());
  note(site_.sanitizerReport());
  return report();
}

/// From a shuffled deck, so that each thing happens soon and in any order.
const Disturbance& Soak::draw() {
  if (deck_.empty()) {
    for (const Disturbance& each : disturbances()) {
      const bool mayHappen = !each.replacesManager || progress() < replacingPart;
      deck_.insert(deck_.end(), mayHappen ? each.weight : 0, &each);
    }
    std::shuffle(deck_.begin(), deck_.end(), random_);
  }
  const Disturbance* const drawn = deck_.back();
  deck_.pop_back();
  return *drawn;
}

void Soak::runAll(Scene& scene) {
  while (faults_.empty() && progress() < 1) {
    runOnce(scene, draw());
    if (++runs_ % runsBetweenLooks == 0) compareHoldings(scene);
  }
  if (faults_.empty()) compareHoldings(scene);
}

void Soak::runOnce(Scene& scene, const Disturbance& disturbance) {
  if (disturbance.replacesManager) hasFirst_ = false;
  std::string fault = disturbance.run(scene);
  site_.restore();
  const std::int64_t restored = now();
  if (fault.empty()) fault = recover(scene);
  if (fault.empty()) fault = site_.sanitizerReport();
  Row& row = rows_[disturbance.name];
  row.runs++;
  row.longestRecovery = std::max(row.longestRecovery, static_cast<double>(now() - restored) / 1e6);
  if (!fault.empty()) note(std::string(disturbance.name) + ": " + fault);
}

std::string Soak::recover(Scene& scene) const {
  for (const Service service : services) {
    const bool isBack = site_.waitUntil([this, &scene, service] {
      if (site_.state(service).retry > longestPause) static_cast<void>(site_.order("start", service));
      return scene.load.request(service, 0);
    });
    if (!isBack) return std::string(nameOf(service)) + " did not answer again; it is " + site_.state(service).state;
  }
  return {};
}

/// With nothing to do, and no process of the services.
void Soak::compareHoldings(Scene& scene) {
  scene.load.pause();
  note(site_.order("stop"));
  Site::Holdings held = site_.holdings();
  if (hasFirst_) {
    // The manager may not have noticed yet that the last client has closed.
    static_cast<void>(site_.waitUntil([this, &held] {
      held = site_.holdings();
      return held.descriptors <= first_.descriptors;
    }));
    mostNewDescriptors_ = std::max(mostNewDescriptors_, held.descriptors - first_.descriptors);
    mostNewKilobytes_ = std::max(mostNewKilobytes_, held.kilobytes - first_.kilobytes);
  } else {
    first_ = held;
    hasFirst_ = true;
  }
  scene.load.resume();
}

void Soak::note(const std::string& fault) {
  if (!fault.empty()) faults_.push_back(fault);
}

bool Soak::reportHoldings() const {
  const bool isMemoryGood = !isMemoryJudged || mostNewKilobytes_ <= mostKilobytes;
  std::printf("  %-48s %10d%s\n", "descriptors more in the manager", mostNewDescriptors_,
              mostNewDescriptors_ == 0 ? "" : "   WRONG");
  std::printf("  %-48s %10ld%s\n", "KiB of memory more in the manager", mostNewKilobytes_,
              isMemoryGood ? (isMemoryJudged ? "" : "   (sanitizer)") : "   WRONG");
  return mostNewDescriptors_ == 0 && isMemoryGood;
}

bool Soak::report() {
  std::printf("  %-36s %5s  %s\n", "what happened", "runs", "answers again within, ms");
  for (const auto& [name, row] : rows_) {
    std::printf("  %-36s %5d  %8.0f\n", name.c_str(), row.runs, row.longestRecovery);
  }
  std::printf("\n");
  bool good = told_.report();
  const double seconds = static_cast<double>(now() - begin_) / nanosecondsPerSecond;
  good = tally_.report(site_.ledger()) && good;
  good = reportHoldings() && good;
  for (const Service service : services) {
    const std::string starts = std::string("starts of ") + nameOf(service);
    std::printf("  %-48s %10" PRIu64 "\n", starts.c_str(), site_.ledger().starts(service));
    std::printf("  %-48s %10" PRIu64 "\n", "of which ended by themselves", site_.ledger().exits(service));
  }
  std::printf("  %-48s %10zu%s\n", "faults", faults_.size(), faults_.empty() ? "" : "   WRONG");
  for (const std::string& fault : faults_) std::printf("    %s\n", fault.c_str());
  std::printf("%d runs in %.1f s: %s\n", runs_, seconds, good && faults_.empty() ? "good" : "WRONG");
  return good && faults_.empty();
}

}  // namespace vanto::soak
