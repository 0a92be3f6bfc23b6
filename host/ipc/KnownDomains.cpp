// SPDX-License-Identifier: Apache-2.0

// A path that is kept is used without looking at the directories on it. So each of them has to belong to root or to
// this user, and not to be open to others: then nobody else can rename or replace what it leads to. A directory with
// the sticky bit may be open to others, since what lies in it can be renamed by its owner only. The path is the one
// that the kernel gives, without symbolic links.
#include "ipc/KnownDomains.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <mutex>

#include <sys/stat.h>
#include <unistd.h>

namespace vanto {

namespace {

/// What decides where a domain is.
struct Circumstances {
  static constexpr std::size_t textBytes = 128;

  uid_t user = 0;
  char runtime[textBytes] = {};
  char session[textBytes] = {};

  /// False when they are too long to be kept.
  [[nodiscard]] bool look() noexcept {
    user = geteuid();
    return copy("XDG_RUNTIME_DIR", runtime) && copy("XDG_SESSION_ID", session);
  }
  [[nodiscard]] bool operator==(const Circumstances& other) const noexcept {
    return user == other.user && std::strcmp(runtime, other.runtime) == 0 && std::strcmp(session, other.session) == 0;
  }

 private:
  static bool copy(const char* name, char* text) noexcept {
    const char* value = secure_getenv(name);
    if (value == nullptr) value = "";
    const std::size_t size = std::strlen(value) + 1;
    if (size <= textBytes) std::memcpy(text, value, size);
    return size <= textBytes;
  }
};

struct KnownDomain {
  Circumstances circumstances;
  /// Until when it is believed; 0 for a domain that is not known.
  std::uint64_t end = 0;
  /// Whether the directory exists, and whose it is.
  bool exists = false;
  uid_t owner = 0;
  /// Empty where it cannot be told or relied on.
  char path[KnownDomains::pathBytes] = {};

  [[nodiscard]] bool holds(const Circumstances& now, std::uint64_t time) const noexcept {
    return time < end && circumstances == now;
  }
};

constinit std::mutex mutex;
constinit KnownDomain knownDomains[std::size(domainsInOrder)];

KnownDomain& placeOf(Domain domain) noexcept {
  return knownDomains[static_cast<std::size_t>(domain)];
}

bool isClosedToOthers(const char* path, uid_t user) noexcept {
  struct stat facts;
  return lstat(path, &facts) == 0 && S_ISDIR(facts.st_mode) && (facts.st_uid == user || facts.st_uid == 0) &&
         ((facts.st_mode & 022) == 0 || (facts.st_mode & S_ISVTX) != 0);
}

/// Whether only `user` and root can have a path lead elsewhere. Shortens `path` and puts it together again.
bool isStable(char* path, uid_t user) noexcept {
  bool isGood = isClosedToOthers("/", user);
  for (char* end = path + 1; isGood && end[-1] != '\0'; end++) {
    if (*end != '/' && *end != '\0') continue;
    const char kept = *end;
    *end = '\0';
    isGood = isClosedToOthers(path, user);
    *end = kept;
  }
  return isGood;
}

/// The path of an open directory, if it can be relied on.
bool readPath(const Fd& directory, uid_t user, KnownDomain& known) noexcept {
  char link[32];
  std::snprintf(link, sizeof link, "/proc/self/fd/%d", directory.get());
  const ssize_t size = readlink(link, known.path, sizeof known.path - 1);
  if (size <= 0 || known.path[0] != '/') return false;
  known.path[size] = '\0';
  struct stat facts;
  struct stat here;
  // A path that was cut, or is of another root or of a removed directory, leads elsewhere.
  if (!isStable(known.path, user) || lstat(known.path, &facts) != 0 || fstat(directory.get(), &here) != 0) return false;
  known.owner = facts.st_uid;
  return facts.st_dev == here.st_dev && facts.st_ino == here.st_ino;
}

bool readAbsence(Domain domain, uid_t user, KnownDomain& known) noexcept {
  const std::string name = nameOfDomain(domain);
  const Fd base = name.empty() ? Fd() : openBaseOfDomains();
  if (!base || !readPath(base, user, known)) return false;
  const std::size_t size = std::strlen(known.path);
  const int added = std::snprintf(known.path + size, sizeof known.path - size, "/%s", name.c_str());
  return added > 0 && static_cast<std::size_t>(added) < sizeof known.path - size;
}

enum class Finding : std::uint8_t {
  Unknown,  ///< the domain is not known, or what is there needs a closer look
  Absent,   ///< there is nothing of that name
  Socket
};

/// The path of `file` in a domain; false where that is not known.
bool makePath(const KnownDomain& known, const std::string& file, char* path) noexcept {
  const std::size_t size = std::strlen(known.path);
  if (size == 0 || size + 1 + file.size() >= KnownDomains::pathBytes) return false;
  std::memcpy(path, known.path, size);
  path[size] = '/';
  std::memcpy(path + size + 1, file.c_str(), file.size() + 1);
  return true;
}

Finding findIn(Domain domain, const Circumstances& circumstances, const std::string& file, std::uint64_t now,
               char* path) noexcept {
  if (domain == Domain::Session && circumstances.session[0] == '\0') return Finding::Absent;
  bool exists;
  uid_t owner;
  {
    const std::lock_guard lock(mutex);
    const KnownDomain& known = placeOf(domain);
    if (!known.holds(circumstances, now) || !makePath(known, file, path)) return Finding::Unknown;
    exists = known.exists;
    owner = known.owner;
  }
  struct stat facts;
  if (lstat(path, &facts) != 0) return errno == ENOENT ? Finding::Absent : Finding::Unknown;
  return exists && S_ISSOCK(facts.st_mode) && facts.st_uid == owner ? Finding::Socket : Finding::Unknown;
}

}  // namespace

bool KnownDomains::find(const std::string& file, std::uint64_t now, char* path) noexcept {
  Circumstances circumstances;
  if (!circumstances.look()) return false;
  for (const Domain domain : domainsInOrder) {
    const Finding finding = findIn(domain, circumstances, file, now, path);
    if (finding != Finding::Absent) return finding == Finding::Socket;
  }
  return false;
}

void KnownDomains::keep(Domain domain, const Fd& directory, std::uint64_t now) noexcept {
  const bool isMissing = !directory && errno == ENOENT;
  KnownDomain known;
  if (!known.circumstances.look()) return;
  known.end = now + lifetime;
  known.exists = static_cast<bool>(directory);
  {
    const std::lock_guard lock(mutex);
    const KnownDomain& before = placeOf(domain);
    if (before.holds(known.circumstances, now) && before.exists == known.exists) return;
  }
  const uid_t user = known.circumstances.user;
  const bool isReliable =
      known.exists ? readPath(directory, user, known) : isMissing && readAbsence(domain, user, known);
  if (!isReliable) known.path[0] = '\0';
  const std::lock_guard lock(mutex);
  placeOf(domain) = known;
}

}  // namespace vanto
