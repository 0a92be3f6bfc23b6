// SPDX-License-Identifier: Apache-2.0
// The new contents are written to a file without a name, which vanishes with this process whatever ends it, and are on
// the disk before the file gets a name. Since a name that exists cannot be given to it at once, it gets a temporary one
// first, beside the old file, and is then renamed; where an old one would be kept, the name is given at once. A process
// that is killed between those two calls leaves a whole file behind under the temporary name; the next one that writes
// the same file takes it away. Of two that write at the same time, one wins. File systems without files that have no
// name are served by a file that is named from the start.
#include "vanto/ReplacedFile.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "value/Fd.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

/// Another one that writes the same file can take our temporary name for one that was left behind.
constexpr int mostAttempts = 100;

struct Free {
  void operator()(char* text) const noexcept { std::free(text); }
};

/// Where the file is to be.
struct Place {
  Fd directory;
  std::string name;
};

/// Without a directory, with errno set, where it cannot be opened.
Place placeOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string directory = slash == path.npos ? "." : path.substr(0, slash + 1);
  return {Fd(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)), path.substr(slash + 1)};
}

/// That of the file to which a link at `path` leads.
Place placeBehindLinks(const std::string& path) {
  const std::unique_ptr<char, Free> resolved(realpath(path.c_str(), nullptr));
  return placeOf(resolved ? resolved.get() : path);
}

/// 0, or errno.
int writeAll(int file, std::string_view bytes) noexcept {
  while (!bytes.empty()) {
    const ssize_t written = write(file, bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return errno;
    if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return fsync(file) == 0 ? 0 : errno;
}

/// The replacement of one file. Takes the temporary name away where it does not come to a good end.
class Replacement {
 public:
  explicit Replacement(Place place) : place_(std::move(place)), temporary_("." + place_.name + ".vanto-new") {}
  ~Replacement() {
    if (isNamed_) unlinkat(place_.directory.get(), temporary_.c_str(), 0);
  }
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;

  /// 0, or errno.
  int perform(std::string_view bytes, mode_t mode, Existing existing) {
    if (!place_.directory) return errno;
    if (const int error = openTemporary(); error != 0) return error;
    if (const int error = writeAll(file_.get(), bytes); error != 0) return error;
    if (fchmod(file_.get(), mode) != 0) return errno;
    if (const int error = takePlace(existing); error != 0) return error;
    isNamed_ = false;
    return fsync(place_.directory.get()) == 0 ? 0 : errno;
  }

 private:
  int openTemporary() {
    file_.reset(openat(place_.directory.get(), ".", O_WRONLY | O_TMPFILE | O_CLOEXEC, 0600));
    if (file_) return 0;
    if (errno != EOPNOTSUPP && errno != EISDIR && errno != ENOENT && errno != EINVAL) return errno;
    temporary_ += "-" + std::to_string(getpid());
    file_.reset(openat(place_.directory.get(), temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    isNamed_ = static_cast<bool>(file_);
    return isNamed_ ? 0 : errno;
  }

  int takePlace(Existing existing) {
    // Then nobody can be in the way under the temporary name.
    if (existing == Existing::Kept && !isNamed_) return linkAs(place_.name);
    if (const int error = nameTemporary(); error != 0) return error;
    const int directory = place_.directory.get();
    const unsigned flags = existing == Existing::Kept ? RENAME_NOREPLACE : 0;
    const bool isDone = renameat2(directory, temporary_.c_str(), directory, place_.name.c_str(), flags) == 0;
    return isDone ? 0 : errno;
  }

  int nameTemporary() {
    if (isNamed_) return 0;
    // What stands under the name was left behind.
    unlinkat(place_.directory.get(), temporary_.c_str(), 0);
    const int error = linkAs(temporary_);
    isNamed_ = error == 0;
    return error;
  }

  int linkAs(const std::string& name) {
    const std::string file = "/proc/self/fd/" + std::to_string(file_.get());
    const int directory = place_.directory.get();
    return linkat(AT_FDCWD, file.c_str(), directory, name.c_str(), AT_SYMLINK_FOLLOW) == 0 ? 0 : errno;
  }

  Place place_;
  std::string temporary_;
  Fd file_;
  bool isNamed_ = false;
};

/// `findPlace` gives a place each time.
template <typename FindPlace>
int replace(const FindPlace& findPlace, std::string_view bytes, mode_t mode, Existing existing) {
  int error = 0;
  for (int attempt = 0; attempt < mostAttempts; ++attempt) {
    error = Replacement(findPlace()).perform(bytes, mode, existing);
    if (error != ENOENT && error != EEXIST) break;
  }
  return error;
}

std::string outcomeText(const std::string& name, int error, bool exists) {
  if (error == 0) return {};
  return name + ": cannot be written: " + std::strerror(error) + (exists ? "; the old file is as it was" : "");
}

/// The permissions that a file gets when it is made.
mode_t modeOfNewFiles() noexcept {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

}  // namespace

std::string replaceFile(const std::string& path, std::string_view bytes) {
  const std::string name = visible(path);
  struct stat status {};
  const bool exists = stat(path.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) return name + ": is no regular file; to write to a pipe, use - and >";
  const mode_t mode = exists ? status.st_mode & 07777 : modeOfNewFiles();
  return outcomeText(name, replace([&] { return placeBehindLinks(path); }, bytes, mode, Existing::Replaced), exists);
}

std::string replaceFileIn(int directory, const std::string& name, std::string_view bytes, const std::string& path) {
  struct stat status {};
  const bool exists = fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
  if (exists && !S_ISREG(status.st_mode)) return visible(path) + ": is no regular file";
  const mode_t mode = exists ? status.st_mode & 0777 : modeOfNewFiles();
  const auto place = [&] {
    return Place{Fd(fcntl(directory, F_DUPFD_CLOEXEC, 0)), name};
  };
  return outcomeText(visible(path), replace(place, bytes, mode, Existing::Replaced), exists);
}

std::string writeFile(const std::string& path, std::string_view bytes, mode_t mode, Existing existing) {
  const std::string name = visible(path);
  struct stat status {};
  const bool exists = lstat(path.c_str(), &status) == 0;
  if (exists && existing == Existing::Kept) return name + ": exists already";
  if (exists && !S_ISREG(status.st_mode)) return name + ": is no regular file";
  return outcomeText(name, replace([&] { return placeOf(path); }, bytes, mode, existing), exists);
}

}  // namespace vanto::tool
