// SPDX-License-Identifier: Apache-2.0

// The ruleset comes before the filter. It can be refused for a reason that nothing tells beforehand: that the process
// is confined too often already. The filter comes into force unless there is no memory, so a process is never left with
// one of the two but then.
#include "sandbox/Enforcement.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "sandbox/Landlock.h"
#include "sandbox/ProfileWord.h"

namespace vanto {
namespace {

std::string failed(const std::string& what) {
  return what + ": " + std::strerror(errno);
}

/// Whether an error of open() is about the path, and not about this process.
bool isOfPath(int error) noexcept {
  return error != EMFILE && error != ENFILE && error != ENOMEM;
}

bool isDirectory(const Fd& place) noexcept {
  struct stat facts;
  return fstat(place.get(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

bool enterFilter(const std::vector<sock_filter>& filter) noexcept {
  const sock_fprog program{static_cast<unsigned short>(filter.size()), const_cast<sock_filter*>(filter.data())};
  return syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program) == 0;
}

}  // namespace

std::string Enforcement::prepare() {
  if (!hasRuleset()) return {};
  if (!ruleset_.create(plan_.fileBits, plan_.networkBits, plan_.scopeBits)) return failed("cannot make a ruleset");
  for (const PlannedPath& planned : plan_.paths) {
    std::string error = allowPath(planned);
    if (!error.empty()) return error;
  }
  for (const PlannedPort& planned : plan_.ports) {
    if (!ruleset_.allowPort(planned.port, planned.bits)) {
      return failed("cannot make a rule for port " + std::to_string(planned.port));
    }
  }
  return {};
}

std::string Enforcement::allowPath(const PlannedPath& planned) {
  const Fd place(open(planned.path.c_str(), O_PATH | O_CLOEXEC));
  if (!place) {
    if (!isOfPath(errno)) return failed("cannot open " + writtenWord(planned.path));
    if (planned.isOfProfile) absent_.push_back({planned.path, std::strerror(errno)});
    return {};
  }
  // Most are directories. For anything else the kernel takes no bits of directories, and no rule about nothing.
  if (ruleset_.allowPath(place.get(), planned.bits)) return {};
  const std::uint64_t bits = planned.bits & landlock::bitsOfFiles;
  if (errno == EINVAL && !isDirectory(place) && (bits == 0 || ruleset_.allowPath(place.get(), bits))) return {};
  return failed("cannot make a rule for " + writtenWord(planned.path));
}

std::string Enforcement::enter() const {
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return failed("cannot give up new privileges");
  if (hasRuleset() && !ruleset_.enter()) return failed("the ruleset is refused");
  if (plan_.filter.empty() || enterFilter(plan_.filter)) return {};
  std::string error = failed("the filter of system calls is refused");
  if (hasRuleset()) error += "; the rules for files, ports and other processes are in force";
  return error;
}

}  // namespace vanto
