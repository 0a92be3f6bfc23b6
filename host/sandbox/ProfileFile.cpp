// SPDX-License-Identifier: Apache-2.0
#include "sandbox/ProfileFile.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

#include "process/Contents.h"
#include "value/Fd.h"
#include "value/limits.h"

namespace vanto {
namespace {

constexpr const char* tooLarge = "the file is larger than 1 MiB; make the profile shorter";
constexpr const char* changed = "it has changed while it was read; try again";

ProfileFile refused(std::string reason) {
  return {{}, std::move(reason)};
}

bool isSame(const timespec& left, const timespec& right) noexcept {
  return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

bool isUnchanged(const struct stat& before, const struct stat& after, std::size_t size) noexcept {
  return before.st_size == after.st_size && static_cast<std::size_t>(after.st_size) == size &&
         isSame(before.st_mtim, after.st_mtim) && isSame(before.st_ctim, after.st_ctim);
}

}  // namespace

ProfileFile readProfileFile(const char* path) {
  // Not blocking, so that a FIFO without a writer does not hold us up.
  const Fd file(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat before;
  if (!file || fstat(file.get(), &before) != 0) {
    return refused(std::string("cannot open it: ") + std::strerror(errno) +
                   "; let the service read it, and search the directories above it");
  }
  if (!S_ISREG(before.st_mode)) return refused("it is no regular file; a profile is one");
  if (static_cast<std::uintmax_t>(before.st_size) > limits::profileBytes) return refused(tooLarge);
  GrowingBytes contents;
  // No room for more: most profiles are short, and a large buffer costs a start more than reading them does.
  const int error = readContents(file.get(), static_cast<std::size_t>(before.st_size), contents);
  if (error == EFBIG) return refused(changed);
  struct stat after;
  if (error != 0 || fstat(file.get(), &after) != 0) {
    return refused(std::string("cannot read it: ") + std::strerror(error != 0 ? error : errno) +
                   "; look at the file system that it is on");
  }
  if (!isUnchanged(before, after, contents.size())) return refused(changed);
  return {std::string(contents.text()), {}};
}

}  // namespace vanto
