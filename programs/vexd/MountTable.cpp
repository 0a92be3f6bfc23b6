// SPDX-License-Identifier: Apache-2.0

// A line of a table is "36 35 98:0 /root /place options ...": the mount, the one that it is on, and the device. The
// places are written so that they hold no blanks and ends of lines.
#include "vexd/MountTable.h"

#include <algorithm>

#include <fcntl.h>
#include <sys/stat.h>

#include "vexd/ProcessState.h"

namespace vanto::vexd {
namespace {

constexpr unsigned statxMount = 0x1000;

/// Takes the part up to a character, and that.
std::string_view takeUntil(std::string_view& text, char end) noexcept {
  const std::string_view part = text.substr(0, text.find(end));
  text.remove_prefix(std::min(text.size(), part.size() + 1));
  return part;
}

struct Mount {
  std::string_view number;
  std::string_view device;
};

Mount takeMount(std::string_view& table) noexcept {
  std::string_view line = takeUntil(table, '\n');
  Mount mount;
  mount.number = takeUntil(line, ' ');
  takeUntil(line, ' ');
  mount.device = takeUntil(line, ' ');
  return mount;
}

}  // namespace

std::string_view deviceOfMount(std::string_view table, std::uint64_t mount) noexcept {
  const std::string number = std::to_string(mount);
  while (!table.empty()) {
    const Mount next = takeMount(table);
    if (next.number == number) return next.device;
  }
  return {};
}

bool hasDevice(std::string_view table, std::string_view device) noexcept {
  while (!table.empty()) {
    if (takeMount(table).device == device) return true;
  }
  return false;
}

bool isMountedHere(int descriptor, pid_t pid) {
  struct statx facts;
  if (statx(descriptor, "", AT_EMPTY_PATH, statxMount, &facts) != 0 || (facts.stx_mask & statxMount) == 0) return false;
  const std::string table = contentsOf(directoryOf(pid) + "/mountinfo");
  const std::string_view device = deviceOfMount(table, facts.stx_mnt_id);
  return !device.empty() && hasDevice(contentsOf("/proc/self/mountinfo"), device);
}

}  // namespace vanto::vexd
