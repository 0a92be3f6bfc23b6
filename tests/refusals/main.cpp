// SPDX-License-Identifier: Apache-2.0

// code_refusals --clients N: has N clients refused by a real service, and compares what all processes hold before and
// after. Ends with status 0 when nobody was judged wrongly and nothing has grown.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "refusals/Holdings.h"
#include "refusals/Site.h"
#include "refusals/Strangers.h"

namespace vanto::refusals {
namespace {

using Clock = std::chrono::steady_clock;

/// What is needed once for all clients has been made by then: threads, caches, connections.
constexpr std::int64_t warmUp = 3'000;

struct Subject {
  std::string name;
  pid_t process;
  Holdings before;
};

std::vector<Subject> lookAt(const Site& site) {
  std::vector<Subject> subjects;
  for (auto& [name, process] : site.processes()) subjects.push_back({name, process, Holdings::of(process)});
  return subjects;
}

std::string textOf(long before, long after) {
  return before < 0 ? "not visible" : std::to_string(before) + " -> " + std::to_string(after);
}

/// What has grown, once the last clients are gone, or after ten seconds.
std::string growthOf(const Subject& subject, Holdings& after) {
  const Clock::time_point deadline = Clock::now() + std::chrono::seconds(10);
  for (;;) {
    after = Holdings::of(subject.process);
    std::string growth = after.growthSince(subject.before);
    if (growth.empty() || Clock::now() > deadline) return growth;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

bool compare(const std::vector<Subject>& subjects) {
  bool isFlat = true;
  std::printf("%-14s %-16s %-20s %s\n", "", "descriptors", "PSS (KiB)", "memory of its own (KiB)");
  for (const Subject& subject : subjects) {
    Holdings after;
    const std::string growth = growthOf(subject, after);
    const Holdings& before = subject.before;
    std::printf("%-14s %-16s %-20s %-20s %s\n", subject.name.c_str(),
                textOf(before.descriptors, after.descriptors).c_str(),
                textOf(before.proportionalKilobytes, after.proportionalKilobytes).c_str(),
                textOf(before.anonymousKilobytes, after.anonymousKilobytes).c_str(), growth.c_str());
    isFlat = isFlat && growth.empty();
  }
  return isFlat;
}

bool run(Site& site, const Strangers& strangers, std::int64_t clients) {
  const Strangers::Outcome first = strangers.call(warmUp);
  const std::vector<Subject> subjects = lookAt(site);
  const Clock::time_point begin = Clock::now();
  const Strangers::Outcome outcome = strangers.call(clients);
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  const std::int64_t wrong = first.wrong + outcome.wrong;
  std::printf("%lld clients refused, %lld served, %lld judged wrongly; %.0f s, %.0f clients/s\n",
              static_cast<long long>(outcome.refused), static_cast<long long>(outcome.served),
              static_cast<long long>(wrong), seconds, static_cast<double>(clients) / seconds);
  return compare(subjects) && wrong == 0;
}

int judge(const std::string& program, std::int64_t clients) {
  Site site({VANTO_REFUSALS_MANAGER, VANTO_REFUSALS_PROXY, VANTO_REFUSALS_TOOL, VANTO_REFUSALS_VEXD,
             VANTO_REFUSALS_SERVICE, program});
  std::string problem = site.begin();
  const bool isFine = problem.empty() && run(site, {program, site.friendProgram(), site.directory()}, clients);
  if (problem.empty()) problem = site.end();
  if (!problem.empty()) std::fprintf(stderr, "code_refusals: %s\n", problem.c_str());
  return isFine && problem.empty() ? 0 : 1;
}

}  // namespace
}  // namespace vanto::refusals

int main(int count, char** words) {
  const std::string_view option = count > 1 ? words[1] : "";
  if (option == "--call") return vanto::refusals::Strangers::callOnce();
  const long long clients = option == "--clients" && count == 3 ? std::atoll(words[2]) : 0;
  if (clients <= 0) {
    std::fprintf(stderr, "usage: code_refusals --clients N\n");
    return 2;
  }
  return vanto::refusals::judge(std::filesystem::read_symlink("/proc/self/exe"), clients);
}
