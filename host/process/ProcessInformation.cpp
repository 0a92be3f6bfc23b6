// SPDX-License-Identifier: Apache-2.0
#include "process/ProcessInformation.h"

#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "value/Fd.h"

namespace vanto {
namespace {

// Newer than some systems' headers.
constexpr unsigned long processInformationCall = _IOWR(0xFF, 11, ProcessInformation);
constexpr std::uint64_t credentialsKnown = 2;

}  // namespace

std::optional<ProcessInformation> informationOf(int process) noexcept {
  ProcessInformation information{.mask = credentialsKnown};
  if (ioctl(process, processInformationCall, &information) != 0) return std::nullopt;
  if ((information.mask & credentialsKnown) == 0) return std::nullopt;
  return information;
}

bool hasProcessInformation() noexcept {
  // The descriptor is close-on-exec from birth.
  const Fd own(static_cast<int>(syscall(SYS_pidfd_open, getpid(), 0)));
  return informationOf(own.get()).has_value();
}

}  // namespace vanto
