// SPDX-License-Identifier: Apache-2.0
#include "vexd/FileIdentity.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <iterator>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>

#include "vexd/limits.h"

namespace vanto::vexd {
namespace {

// Not in the headers of every system.
constexpr long xfsMagic = 0x58465342;
constexpr long erofsMagic = static_cast<long>(0xE0F5E1E2);
constexpr long overlayMagic = 0x794c7630;
constexpr unsigned statxMount = 0x1000;
constexpr unsigned statxUniqueMount = 0x4000;
constexpr unsigned wanted = STATX_BASIC_STATS | statxMount | statxUniqueMount;

/// File systems of the kernel on devices and memory of this machine.
constexpr long localSystems[] = {EXT4_SUPER_MAGIC, xfsMagic,     BTRFS_SUPER_MAGIC, F2FS_SUPER_MAGIC,
                                 TMPFS_MAGIC,      overlayMagic, SQUASHFS_MAGIC,    erofsMagic};

bool isOnLocalSystem(int descriptor) noexcept {
  struct statfs system;
  return fstatfs(descriptor, &system) == 0 && std::find(std::begin(localSystems), std::end(localSystems),
                                                        static_cast<long>(system.f_type)) != std::end(localSystems);
}

std::int64_t nanoseconds(std::int64_t seconds, std::int64_t rest) noexcept {
  return seconds * 1'000'000'000 + rest;
}

bool isSettled(std::int64_t changed) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return nanoseconds(now.tv_sec, now.tv_nsec) - changed >= limits::settledNanoseconds;
}

FileIdentity identityOf(const struct statx& facts) noexcept {
  FileIdentity identity;
  identity.device = std::uint64_t{facts.stx_dev_major} << 32 | facts.stx_dev_minor;
  identity.inode = facts.stx_ino;
  // A number of a device can be that of another mount later; where the kernel tells, the mount's own number never is.
  if ((facts.stx_mask & (statxMount | statxUniqueMount)) != 0) identity.mount = facts.stx_mnt_id;
  identity.size = static_cast<std::int64_t>(facts.stx_size);
  identity.changed = nanoseconds(facts.stx_ctime.tv_sec, facts.stx_ctime.tv_nsec);
  return identity;
}

}  // namespace

bool FileIdentity::of(int descriptor, FileIdentity& identity) noexcept {
  identity = {};
  if (descriptor < 0) return true;
  struct statx facts;
  if (statx(descriptor, "", AT_EMPTY_PATH, wanted, &facts) != 0) return false;
  identity = identityOf(facts);
  return isSettled(identity.changed) && isOnLocalSystem(descriptor);
}

bool FileIdentity::at(const char* path, Links links, FileIdentity& identity) noexcept {
  identity = {};
  struct statx facts;
  if (statx(AT_FDCWD, path, links == Links::Themselves ? AT_SYMLINK_NOFOLLOW : 0, wanted, &facts) != 0) {
    return errno == ENOENT || errno == ENOTDIR;
  }
  identity = identityOf(facts);
  return (facts.stx_mask & statxUniqueMount) != 0;
}

dev_t FileIdentity::kernelDevice() const noexcept {
  return makedev(static_cast<unsigned>(device >> 32), static_cast<unsigned>(device));
}

}  // namespace vanto::vexd
