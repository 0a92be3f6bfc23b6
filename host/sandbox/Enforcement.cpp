// SPDX-License-Identifier: Apache-2.0

// The ruleset comes before the filter. It can be refused for a reason that nothing tells beforehand: that the process
// is confined too often already. The filter comes into force unless there is no memory, so a process is never left with
// one of the two but then.
//
// Nothing about a path refuses the profile. What lies there is often the service's own doing, or another user's, and
// who can make a profile be refused is free of it at the next start.
#include "sandbox/Enforcement.h"

#include <cerrno>

#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "sandbox/KernelRefusal.h"
#include "sandbox/Landlock.h"
#include "sandbox/PlaceFinder.h"

namespace vanto {
namespace {

/// Why a path got no rule.
std::string reasonOf(const FoundPlace& found) {
  // Pipes, sockets and namespaces, to which the descriptors and links of /proc lead.
  if (found.error == EBADFD) return "the kernel takes no rule for what has no place among the files";
  return found.reason();
}

/// Of what base profiles and the platform name, no machine has everything.
bool isAbsence(int error) noexcept {
  return error == ENOENT || error == ENOTDIR;
}

bool enterFilter(const std::vector<sock_filter>& filter) noexcept {
  const sock_fprog program{static_cast<unsigned short>(filter.size()), const_cast<sock_filter*>(filter.data())};
  return syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program) == 0;
}

}  // namespace

std::string Enforcement::prepare() {
  if (!hasRuleset()) return {};
  if (!ruleset_.create(plan_.fileBits, plan_.networkBits, plan_.scopeBits))
    return kernelRefusal("cannot make a ruleset", errno);
  PlaceFinder finder(plan_);
  for (const PlannedPath& planned : plan_.paths) {
    FoundPlace found = finder.find(planned.path);
    if (found.place) found.error = allowPlace(found.place, planned.bits);
    if (found.error == 0 || (isAbsence(found.error) && !planned.isOfProfile)) continue;
    absent_.push_back({planned.path, reasonOf(found)});
  }
  for (const PlannedPort& planned : plan_.ports) {
    if (!ruleset_.allowPort(planned.port, planned.bits)) {
      return kernelRefusal(
          "cannot make a rule for port " + std::to_string(planned.port) + " of line " + std::to_string(planned.line),
          errno);
    }
  }
  return {};
}

int Enforcement::allowPlace(const Fd& place, std::uint64_t bits) const {
  // Most are directories. For anything else the kernel takes no bits of directories, and no rule about nothing.
  if (bits == 0 || ruleset_.allowPath(place.get(), bits)) return 0;
  const std::uint64_t bitsOfFile = bits & landlock::bitsOfFiles;
  if (errno != EINVAL || bitsOfFile == bits) return errno;
  return bitsOfFile == 0 || ruleset_.allowPath(place.get(), bitsOfFile) ? 0 : errno;
}

std::string Enforcement::enter() const {
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return kernelRefusal("cannot give up new privileges", errno);
  if (hasRuleset() && !ruleset_.enter()) return kernelRefusal("the ruleset is refused", errno);
  if (plan_.filter.empty() || enterFilter(plan_.filter)) return {};
  const int error = errno;
  const char* const what = "the filter of system calls is refused";
  return kernelRefusal(
      hasRuleset() ? std::string(what) + ", and the rules for files, ports and other processes are in force" : what,
      error);
}

}  // namespace vanto
