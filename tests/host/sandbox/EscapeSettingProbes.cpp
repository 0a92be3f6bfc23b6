// SPDX-License-Identifier: Apache-2.0
#include <array>

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/timex.h>
#include <time.h>
#include <unistd.h>

#include "host/sandbox/EscapeScene.h"

// What belongs to the machine as a whole, or to memory of another process. As nothing may be changed by a test, the
// arguments are such that nothing is: what is looked at is whether a call gets as far as to see that.
namespace vanto::testing {
namespace {

// Newer than some systems' headers.
constexpr long adviseProcess = 440;
constexpr long releaseProcess = 448;

template <typename... Arguments>
int call(long number, Arguments... arguments) {
  return outcomeOf(syscall(number, arguments...));
}

int tryHangUp(EscapeScene&) {
  // So that it is nobody's terminal.
  if (setsid() < 0) return EINVAL;
  return call(SYS_vhangup);
}

int tryAdjustTime(EscapeScene&) {
  timex asking{};
  return call(SYS_adjtimex, &asking);
}

int tryAdjustClock(EscapeScene&) {
  timex asking{};
  return call(SYS_clock_adjtime, CLOCK_REALTIME, &asking);
}

constexpr auto table = std::to_array<NamedProbe>({
    {"host-name",
     [](EscapeScene&) {
       return call(SYS_sethostname, nullptr, -1);
     }},
    {"domain-name",
     [](EscapeScene&) {
       return call(SYS_setdomainname, nullptr, -1);
     }},
    {"time",
     [](EscapeScene&) {
       return call(SYS_settimeofday, nullptr, nullptr);
     }},
    {"clock",
     [](EscapeScene&) {
       return call(SYS_clock_settime, CLOCK_REALTIME, nullptr);
     }},
    {"adjust-time", &tryAdjustTime},
    {"adjust-clock", &tryAdjustClock},
    {"hang-up", &tryHangUp},
    {"watch-file-systems",
     [](EscapeScene&) {
       return call(SYS_fanotify_init, ~0U, 0);
     }},
    {"advise-process",
     [](EscapeScene&) {
       return call(adviseProcess, -1, nullptr, 0, 0, 0);
     }},
    {"release-process",
     [](EscapeScene&) {
       return call(releaseProcess, -1, 0);
     }},
});

}  // namespace

EscapeProbes settingProbes() {
  return {table.begin(), table.end()};
}

}  // namespace vanto::testing
