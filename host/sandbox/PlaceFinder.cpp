// SPDX-License-Identifier: Apache-2.0
#include "sandbox/PlaceFinder.h"

#include <cerrno>
#include <climits>
#include <cstring>

#include <fcntl.h>
#include <linux/magic.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "sandbox/Landlock.h"
#include "sandbox/ProfileWord.h"

namespace vanto {
namespace {

/// The text of the symbolic link `name`; empty, with errno, when it cannot be read.
std::string textOfLink(int directory, const char* name) {
  // Most are short, and memory that is not touched costs nothing.
  for (std::size_t room = 128;; room *= 4) {
    std::string text(room, '\0');
    const ssize_t size = readlinkat(directory, name, text.data(), text.size());
    if (size == static_cast<ssize_t>(room) && room < PATH_MAX) continue;
    text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return text;
  }
}

/// In the kernel's own directories nobody makes links, and some of its links are more than their text.
bool isOfKernel(const Fd& directory, dev_t device) noexcept {
  // No device holds them.
  if (major(device) != 0) return false;
  struct statfs facts;
  return fstatfs(directory.get(), &facts) == 0 && facts.f_type == PROC_SUPER_MAGIC;
}

/// Whether a link in a directory like /tmp belongs to somebody else. Kernels that are set so do not follow those.
bool isOfStranger(const Fd& directory, uid_t owner) noexcept {
  if (owner == geteuid()) return false;
  struct stat around;
  if (fstat(directory.get(), &around) != 0) return true;
  const bool isShared = (around.st_mode & S_ISVTX) != 0 && (around.st_mode & S_IWOTH) != 0;
  return isShared && owner != around.st_uid;
}

/// Most paths have no links, and the kernel is quick to say so. Relative paths begin at `directory`.
Fd openWithoutLinks(int directory, const char* path) noexcept {
  open_how how{};
  how.flags = O_PATH | O_CLOEXEC;
  how.resolve = RESOLVE_NO_SYMLINKS;
  return Fd(static_cast<int>(syscall(SYS_openat2, directory, path, &how, sizeof how)));
}

/// Goes along one path, name by name.
class Walk {
 public:
  /// From `root` on.
  Walk(DirectorySet& linkable, const Fd& root, const std::string& path)
      : linkable_(linkable), root_(root), rest_(path) {}

  [[nodiscard]] FoundPlace take();

 private:
  [[nodiscard]] std::string nextName();
  [[nodiscard]] const Fd& here() const noexcept { return here_ ? here_ : root_; }
  /// Each of these gives 0 or an errno value.
  [[nodiscard]] int enter(const std::string& name);
  [[nodiscard]] int follow(const std::string& name, const Fd& link, const struct stat& facts);
  [[nodiscard]] int enterAsKernel(const std::string& name, int flags);

  DirectorySet& linkable_;
  const Fd& root_;
  std::string rest_;
  /// None at the root.
  Fd here_;
  int linksFollowed_ = 0;
  std::string refusedLink_;
};

FoundPlace Walk::take() {
  int error = 0;
  while (error == 0) {
    const std::string name = nextName();
    if (name.empty() && here_) return {std::move(here_), 0, {}};
    if (name.empty()) error = enterAsKernel("/", 0);
    if (!name.empty() && name != ".") error = enter(name);
  }
  return {Fd(), error, std::move(refusedLink_)};
}

std::string Walk::nextName() {
  rest_.erase(0, rest_.find_first_not_of('/'));
  std::string name = rest_.substr(0, rest_.find('/'));
  rest_.erase(0, name.size());
  return name;
}

int Walk::enterAsKernel(const std::string& name, int flags) {
  Fd next(openat(here().get(), name.c_str(), O_PATH | O_CLOEXEC | flags));
  if (!next) return errno;
  here_ = std::move(next);
  return 0;
}

int Walk::enter(const std::string& name) {
  // What is mounted when somebody enters a directory is only mounted for who wants to have a directory.
  const bool isLast = rest_.find_first_not_of('/') == std::string::npos;
  if (!isLast && enterAsKernel(name, O_NOFOLLOW | O_DIRECTORY) == 0) return 0;
  Fd next(openat(here().get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!next) return errno;
  struct stat facts;
  if (fstat(next.get(), &facts) != 0) return errno;
  if (S_ISLNK(facts.st_mode)) return follow(name, next, facts);
  here_ = std::move(next);
  return 0;
}

int Walk::follow(const std::string& name, const Fd& link, const struct stat& facts) {
  // As many as the kernel follows.
  constexpr int mostLinks = 40;
  if (++linksFollowed_ > mostLinks) return ELOOP;
  if (isOfKernel(here(), facts.st_dev)) return enterAsKernel(name, 0);
  if (linkable_.covers(here())) {
    refusedLink_ = textOfLink(AT_FDCWD, ("/proc/self/fd/" + std::to_string(here().get())).c_str()) + '/' + name;
    return ELOOP;
  }
  if (isOfStranger(here(), facts.st_uid)) return EACCES;
  const std::string text = textOfLink(link.get(), "");
  if (text.empty()) return errno;
  rest_ = text + rest_;
  if (Fd end = openWithoutLinks(here().get(), rest_.c_str()); end) {
    here_ = std::move(end);
    rest_.clear();
    return 0;
  }
  if (text.front() == '/') here_.reset();
  return 0;
}

}  // namespace

std::string FoundPlace::reason() const {
  if (!link.empty())
    return "the profile lets links be made where " + writtenWord(link) + " is, so that it is not followed";
  return error == 0 ? std::string() : std::strerror(error);
}

PlaceFinder::PlaceFinder(const Plan& plan) : root_(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC)) {
  // Paths come before those beneath them, so a link in one is not followed to the next.
  for (const PlannedPath& planned : plan.paths) {
    if ((planned.bits & (landlock::makeSymbolicLink | landlock::refer)) == 0) continue;
    const FoundPlace found = find(planned.path);
    if (found.place) linkable_.add(found.place);
  }
}

FoundPlace PlaceFinder::find(const std::string& path) {
  if (linkable_.isEmpty()) {
    Fd place(open(path.c_str(), O_PATH | O_CLOEXEC));
    const int error = place ? 0 : errno;
    return {std::move(place), error, {}};
  }
  Fd place = openWithoutLinks(AT_FDCWD, path.c_str());
  if (place) return {std::move(place), 0, {}};
  // The others are what a kernel or a filter says that does not know this way to open.
  const bool isUnanswered = errno == ELOOP || errno == ENOSYS || errno == EPERM;
  return isUnanswered ? Walk(linkable_, root_, path).take() : FoundPlace{Fd(), errno, {}};
}

}  // namespace vanto
