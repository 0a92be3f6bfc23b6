// SPDX-License-Identifier: Apache-2.0
#include "code/OpenedFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vanto::code {
namespace {

constexpr int readingFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

OpenedFile refused(std::string problem) {
  return {std::nullopt, std::move(problem), false};
}

/// Empty when the file is as the rules want it.
std::string complaintOf(const struct stat& status, const FileRules& rules) {
  if (!S_ISREG(status.st_mode)) return "is no regular file";
  const bool isOwned =
      rules.owners.empty() || std::find(rules.owners.begin(), rules.owners.end(), status.st_uid) != rules.owners.end();
  if (!isOwned) return "belongs to user " + std::to_string(status.st_uid);
  if ((status.st_mode & rules.forbidden & 0444) != 0) return "can be read by others; chmod go= takes that away";
  if ((status.st_mode & rules.forbidden) != 0) return "can be written by others; chmod go-w takes that away";
  if (static_cast<std::uintmax_t>(status.st_size) > rules.mostBytes) {
    return "is larger than " + std::to_string(rules.mostBytes) + " bytes";
  }
  return {};
}

}  // namespace

OpenedFile OpenedFile::read(int descriptor, const FileRules& rules) {
  struct stat status;
  if (fstat(descriptor, &status) != 0) return refused(std::strerror(errno));
  if (std::string complaint = complaintOf(status, rules); !complaint.empty()) return refused(std::move(complaint));
  std::string contents;
  // One byte more than there should be, so that one read sees the end too.
  std::size_t room = static_cast<std::size_t>(status.st_size) + 1;
  while (contents.size() <= rules.mostBytes) {
    const std::size_t used = contents.size();
    contents.resize(used + room);
    const ssize_t received = pread(descriptor, contents.data() + used, room, static_cast<off_t>(used));
    const int error = errno;
    contents.resize(used + (received > 0 ? static_cast<std::size_t>(received) : 0));
    if (received == 0) return {std::move(contents), {}, false};
    if (received < 0 && error != EINTR) return refused(std::string("cannot be read: ") + std::strerror(error));
    room = std::size_t{4} << 10;
  }
  return refused("is larger than " + std::to_string(rules.mostBytes) + " bytes");
}

OpenedFile OpenedFile::open(int directory, const char* path, FileLinks links, const FileRules& rules) {
  const int extra = links == FileLinks::Refused ? O_NOFOLLOW : 0;
  const Fd file(openat(directory, path, readingFlags | extra));
  if (file) return read(file.get(), rules);
  if (errno == ELOOP && links == FileLinks::Refused) return refused("is a symbolic link");
  if (errno == ENXIO || errno == ENODEV) return refused("is no regular file");
  const bool isMissing = errno == ENOENT || errno == ENOTDIR;
  return {std::nullopt, isMissing ? "does not exist" : std::string("cannot be opened: ") + std::strerror(errno),
          isMissing};
}

Fd openBeneath(int directory, std::string_view path, int flags) noexcept {
  Fd step;
  for (;;) {
    const std::size_t slash = path.find('/');
    const std::string_view component = path.substr(0, slash);
    char name[256];
    if (component.empty() || component.size() >= sizeof name || component == "." || component == "..") {
      errno = EINVAL;
      return Fd();
    }
    *std::copy(component.begin(), component.end(), name) = '\0';
    const bool isLast = slash == path.npos;
    const int wanted = isLast ? flags : O_PATH | O_DIRECTORY;
    Fd next(openat(step ? step.get() : directory, name, wanted | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    // A link in the place of a directory is told as what is no directory.
    if (!next || isLast) return next;
    step = std::move(next);
    path.remove_prefix(slash + 1);
  }
}

}  // namespace vanto::code
