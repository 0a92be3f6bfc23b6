// SPDX-License-Identifier: Apache-2.0
#include "sandbox/CallList.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <vector>

#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "sandbox/FilterProgram.h"

namespace vanto {
namespace {

std::string failed(const char* what) {
  return std::string(what) + ": " + std::strerror(errno);
}

}  // namespace

std::string leaveOnlyCalls(std::span<const std::uint32_t> numbers) {
  const std::optional<Machine> machine = thisMachine();
  if (!machine) return "no filter of system calls is written for this machine";
  std::vector<sock_filter> filter = filterProgramOfOnly(numbers, *machine);
  if (filter.size() > BPF_MAXINSNS) return "the list of calls is too long";
  const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return failed("cannot give up new privileges");
  const bool isEntered = syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program) == 0;
  return isEntered ? std::string() : failed("the list of calls is refused");
}

}  // namespace vanto
