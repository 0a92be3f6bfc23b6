// SPDX-License-Identifier: Apache-2.0
#include "ipc/Domain.h"

#include <cerrno>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>

#include "ipc/SocketName.h"

namespace vanto {

namespace {

// Only passed through, which a confined process may do where it may not list.
constexpr int passedFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;
constexpr int directoryFlags = passedFlags | O_NOFOLLOW;
// Who binds names locks the directory, which takes a right to list it.
constexpr int lockableFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

constexpr char systemDirectory[] = "/run/vanto";

enum class Missing : std::uint8_t { Fail, Create };

/// `directory` if it belongs to `owner` and nobody of the kinds in `others` has rights on it; else none with EACCES.
Fd checked(Fd directory, uid_t owner, mode_t others) noexcept {
  struct stat facts;
  if (!directory || fstat(directory.get(), &facts) != 0) return {};
  if (facts.st_uid == owner && (facts.st_mode & others) == 0) return directory;
  errno = EACCES;
  return {};
}

Fd openOwn(int parent, const char* name, Missing missing, int flags = directoryFlags) noexcept {
  // The mode may be cut by the umask, never widened.
  if (missing == Missing::Create && mkdirat(parent, name, 0700) != 0 && errno != EEXIST) return {};
  return checked(Fd(openat(parent, name, flags)), geteuid(), 077);
}

/// The directory for what lives as long as the user is logged in; where none is named, the usual one.
Fd openRuntimeDirectory() noexcept {
  const char* named = secure_getenv("XDG_RUNTIME_DIR");
  const std::string usual = "/run/user/" + std::to_string(geteuid());
  const char* path = named != nullptr && named[0] == '/' ? named : usual.c_str();
  // The path is the user's own choice, and may lead through symbolic links.
  return checked(Fd(open(path, passedFlags)), geteuid(), 022);
}

/// The directory that holds those of the domains: in the run-time directory, or one of the user's own where there is
/// none.
Fd openBase(Missing missing) noexcept {
  if (const Fd runtime = openRuntimeDirectory()) return openOwn(runtime.get(), "vanto", missing);
  const Fd temporary(open("/tmp", passedFlags));
  if (!temporary) return {};
  return openOwn(temporary.get(), ("vanto-" + std::to_string(geteuid())).c_str(), missing);
}

Fd openInBase(const std::string& name, Missing missing) noexcept {
  const Fd base = openBase(missing);
  return base ? openOwn(base.get(), name.c_str(), missing, missing == Missing::Create ? lockableFlags : directoryFlags)
              : Fd();
}

Fd openSession(Missing missing) noexcept {
  const std::string name = nameOfDomain(Domain::Session);
  errno = EINVAL;
  return name.empty() ? Fd() : openInBase(name, missing);
}

Fd openSystem() noexcept {
  Fd directory(open(systemDirectory, directoryFlags));
  struct stat facts;
  if (!directory || fstat(directory.get(), &facts) != 0) return {};
  // The manager may have an account of its own, which only root can have given it the directory for.
  return (facts.st_mode & 022) == 0 ? std::move(directory) : Fd();
}

Fd openOrCreateSystem() noexcept {
  const bool isNew = mkdir(systemDirectory, 0755) == 0;
  if (!isNew && errno != EEXIST) return {};
  Fd directory = checked(Fd(open(systemDirectory, lockableFlags)), geteuid(), 022);
  // The file mode mask may have kept clients out.
  return !isNew || !directory || fchmod(directory.get(), 0755) == 0 ? std::move(directory) : Fd();
}

}  // namespace

Fd openDomain(Domain domain) noexcept {
  switch (domain) {
    case Domain::Session:
      return openSession(Missing::Fail);
    case Domain::User:
      return openInBase(nameOfDomain(domain), Missing::Fail);
    case Domain::System:
      return openSystem();
  }
  return {};
}

Fd openBaseOfDomains() noexcept {
  return openBase(Missing::Fail);
}

std::string nameOfDomain(Domain domain) noexcept {
  if (domain == Domain::System) return {};
  if (domain == Domain::User) return "user";
  const char* session = secure_getenv("XDG_SESSION_ID");
  std::string file = session != nullptr ? socketFileName(session) : std::string();
  return file.empty() ? file : "session-" + file;
}

int checkRuntimeDirectory() noexcept {
  const char* named = secure_getenv("XDG_RUNTIME_DIR");
  if (named == nullptr || named[0] != '/' || openRuntimeDirectory()) return 0;
  return errno;
}

Fd openOrCreateDomain(Domain domain) noexcept {
  switch (domain) {
    case Domain::Session:
      return openSession(Missing::Create);
    case Domain::User:
      return openOrCreateUserDomain();
    case Domain::System:
      return openOrCreateSystem();
  }
  return {};
}

Fd openOrCreateUserDomain() noexcept {
  return openInBase(nameOfDomain(Domain::User), Missing::Create);
}

}  // namespace vanto
