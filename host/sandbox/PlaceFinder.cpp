// SPDX-License-Identifier: Apache-2.0
#include "sandbox/PlaceFinder.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <linux/magic.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "sandbox/Landlock.h"
#include "sandbox/ProfileWord.h"

namespace vanto {
namespace {

/// The text of the symbolic link `name`; empty, with errno, when it cannot be read.
std::string textOfLink(int directory, const char* name) {
  std::array<char, PATH_MAX> text;
  const ssize_t size = readlinkat(directory, name, text.data(), text.size());
  return size > 0 ? std::string(text.data(), static_cast<std::size_t>(size)) : std::string();
}

bool isLink(const Fd& place) noexcept {
  struct stat facts;
  return fstat(place.get(), &facts) == 0 && S_ISLNK(facts.st_mode);
}

/// In the kernel's own directories nobody makes links, and some of its links are more than their text.
bool isOfKernel(const Fd& directory) noexcept {
  struct statfs facts;
  return fstatfs(directory.get(), &facts) == 0 && facts.f_type == PROC_SUPER_MAGIC;
}

/// Whether a link in a directory like /tmp belongs to somebody else. Kernels that are set so do not follow those.
bool isOfStranger(const Fd& directory, const Fd& link) noexcept {
  struct stat around;
  struct stat facts;
  if (fstat(directory.get(), &around) != 0 || fstat(link.get(), &facts) != 0) return true;
  const bool isShared = (around.st_mode & S_ISVTX) != 0 && (around.st_mode & S_IWOTH) != 0;
  return isShared && facts.st_uid != geteuid() && facts.st_uid != around.st_uid;
}

/// Goes along one path, name by name.
class Walk {
 public:
  Walk(const DirectorySet& linkable, const std::string& path) : linkable_(linkable), rest_(path) {}

  [[nodiscard]] FoundPlace take();

 private:
  [[nodiscard]] std::string nextName();
  /// Each of these gives 0 or an errno value.
  [[nodiscard]] int startAtRoot();
  [[nodiscard]] int enter(const std::string& name);
  [[nodiscard]] int follow(const std::string& name, const Fd& link);
  [[nodiscard]] int enterAsKernel(const std::string& name, int flags);

  const DirectorySet& linkable_;
  std::string rest_;
  Fd here_;
  int linksFollowed_ = 0;
  std::string refusedLink_;
};

FoundPlace Walk::take() {
  int error = startAtRoot();
  while (error == 0) {
    const std::string name = nextName();
    if (name.empty()) return {std::move(here_), 0, {}};
    if (name != ".") error = enter(name);
  }
  return {Fd(), error, std::move(refusedLink_)};
}

std::string Walk::nextName() {
  rest_.erase(0, rest_.find_first_not_of('/'));
  std::string name = rest_.substr(0, rest_.find('/'));
  rest_.erase(0, name.size());
  return name;
}

int Walk::startAtRoot() {
  here_ = Fd(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
  return here_ ? 0 : errno;
}

int Walk::enterAsKernel(const std::string& name, int flags) {
  Fd next(openat(here_.get(), name.c_str(), O_PATH | O_CLOEXEC | flags));
  if (!next) return errno;
  here_ = std::move(next);
  return 0;
}

int Walk::enter(const std::string& name) {
  // What is mounted when somebody enters a directory is only mounted for who wants to have a directory.
  const bool isLast = rest_.find_first_not_of('/') == std::string::npos;
  if (!isLast && enterAsKernel(name, O_NOFOLLOW | O_DIRECTORY) == 0) return 0;
  Fd next(openat(here_.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!next) return errno;
  if (isLink(next)) return follow(name, next);
  here_ = std::move(next);
  return 0;
}

int Walk::follow(const std::string& name, const Fd& link) {
  // As many as the kernel follows.
  constexpr int mostLinks = 40;
  if (++linksFollowed_ > mostLinks) return ELOOP;
  if (isOfKernel(here_)) return enterAsKernel(name, 0);
  if (linkable_.covers(here_)) {
    refusedLink_ = textOfLink(AT_FDCWD, ("/proc/self/fd/" + std::to_string(here_.get())).c_str()) + '/' + name;
    return ELOOP;
  }
  if (isOfStranger(here_, link)) return EACCES;
  const std::string text = textOfLink(link.get(), "");
  if (text.empty()) return errno;
  rest_ = text + '/' + rest_;
  return text.front() == '/' ? startAtRoot() : 0;
}

/// Most paths have no links, and the kernel is quick to say so.
FoundPlace findWithoutLinks(const std::string& path) {
  open_how how{};
  how.flags = O_PATH | O_CLOEXEC;
  how.resolve = RESOLVE_NO_SYMLINKS;
  Fd place(static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how)));
  const int error = place ? 0 : errno;
  return {std::move(place), error, {}};
}

}  // namespace

std::string FoundPlace::reason() const {
  if (!link.empty())
    return "the profile lets links be made where " + writtenWord(link) + " is, so that it is not followed";
  return error == 0 ? std::string() : std::strerror(error);
}

PlaceFinder::PlaceFinder(const Plan& plan) {
  // Paths come before those beneath them, so a link in one is not followed to the next.
  for (const PlannedPath& planned : plan.paths) {
    if ((planned.bits & (landlock::makeSymbolicLink | landlock::refer)) == 0) continue;
    const FoundPlace found = find(planned.path);
    if (found.place) linkable_.add(found.place);
  }
}

FoundPlace PlaceFinder::find(const std::string& path) const {
  if (linkable_.isEmpty()) {
    Fd place(open(path.c_str(), O_PATH | O_CLOEXEC));
    const int error = place ? 0 : errno;
    return {std::move(place), error, {}};
  }
  FoundPlace found = findWithoutLinks(path);
  // The others are what a kernel or a filter says that does not know this way to open.
  const bool isUnanswered = found.error == ELOOP || found.error == ENOSYS || found.error == EPERM;
  return isUnanswered ? Walk(linkable_, path).take() : std::move(found);
}

}  // namespace vanto
