// SPDX-License-Identifier: Apache-2.0
#include "tolvend/ManagerDirectory.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "runtime/LogText.h"
#include "tolvend/ErrorNumber.h"
#include "tolvend/JobIntake.h"

namespace vanto::manager {

namespace {

constexpr char ownName[] = ".tolvend";

/// A second in all.
constexpr int lockAttempts = 101;
constexpr timespec betweenAttempts{0, 10'000'000};

ManagerDirectory unusable(std::string error) {
  ManagerDirectory directory;
  directory.error = std::move(error);
  return directory;
}

std::string reasonOf(int error) {
  switch (error) {
    case EACCES:
      return "it is not this user's, or others may change it";
    case ELOOP:
    case ENOTDIR:
      return "it leads through a symbolic link, or is no directory";
    default:
      return errorNumberText(error);
  }
}

std::string domainProblem(Domain domain, int error) {
  if (domain == Domain::Session && error == EINVAL) {
    return "there is no session; set XDG_SESSION_ID, or use --domain user";
  }
  return std::string("the directory of the ") + domainWord(domain) + " domain cannot be used: " + reasonOf(error);
}

Fd openOwn(int domain) {
  if (mkdirat(domain, ownName, 0700) != 0 && errno != EEXIST) return {};
  Fd own(openat(domain, ownName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat facts;
  if (!own || fstat(own.get(), &facts) != 0) return {};
  if (facts.st_uid == geteuid() && (facts.st_mode & 077) == 0) return own;
  errno = EACCES;
  return {};
}

bool lock(const Fd& file, const std::function<void(timespec)>& pause) {
  for (int attempts = 1;; attempts++) {
    if (flock(file.get(), LOCK_EX | LOCK_NB) == 0) return true;
    if (errno != EWOULDBLOCK || attempts == lockAttempts) return false;
    pause(betweenAttempts);
  }
}

/// Whether what `path` leads to is surely not what is open.
bool leadsElsewhere(int at, const char* path, const Fd& open) noexcept {
  struct stat there;
  struct stat here;
  if (fstatat(at, path, &there, 0) != 0) return errno == ENOENT || errno == ENOTDIR;
  return fstat(open.get(), &here) == 0 && (there.st_dev != here.st_dev || there.st_ino != here.st_ino);
}

}  // namespace

bool isLost(const ManagerDirectory& directory) noexcept {
  if (!directory.path.empty() && leadsElsewhere(AT_FDCWD, directory.path.c_str(), directory.domain)) return true;
  return leadsElsewhere(directory.domain.get(), ownName, directory.own);
}

ManagerDirectory takeDirectory(Domain domain, const std::function<void(timespec)>& pause) {
  if (const int error = domain == Domain::System ? 0 : checkRuntimeDirectory(); error != 0) {
    return unusable(std::string("XDG_RUNTIME_DIR, ") + LogText(getenv("XDG_RUNTIME_DIR")).utf8() +
                    ", cannot be used: " + reasonOf(error));
  }
  ManagerDirectory directory;
  directory.domain = openOrCreateDomain(domain);
  if (!directory.domain) return unusable(domainProblem(domain, errno));
  std::error_code unknown;
  directory.path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(directory.domain.get()), unknown);
  directory.own = openOwn(directory.domain.get());
  if (!directory.own)
    return unusable(std::string("the manager's directory .tolvend cannot be used: ") + reasonOf(errno));
  directory.lock.reset(openat(directory.own.get(), "lock", O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!directory.lock) return unusable("the file .tolvend/lock cannot be opened: " + reasonOf(errno));
  if (!lock(directory.lock, pause)) {
    const bool isInUse = errno == EWOULDBLOCK;
    ManagerDirectory failed = unusable("the file .tolvend/lock cannot be locked: " + reasonOf(errno));
    if (!isInUse) return failed;
    failed.state = ManagerDirectory::State::InUse;
    failed.error = std::string("there is a manager of the ") + domainWord(domain) + " domain already";
    return failed;
  }
  directory.state = ManagerDirectory::State::Taken;
  return directory;
}

}  // namespace vanto::manager
