// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdlib>
#include <memory>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "value/GrowingBytes.h"
#include "value/platform/process.h"

namespace {

constexpr char ownExecutable[] = "/proc/self/exe";

PlistString* temporaryString(std::string_view text) {
  return PlistString::create(text).asTemporary();
}

/// The text of a symbolic link; false with errno when it cannot be read.
bool readLink(const char* path, vanto::GrowingBytes& target) noexcept {
  for (std::size_t room = 256;; room *= 2) {
    char* const buffer = target.reserve(room);
    const ssize_t length = readlink(path, buffer, room);
    if (length < 0) return false;
    // A link that fills the whole buffer may have been cut.
    if (static_cast<std::size_t>(length) == room) continue;
    target.advance(static_cast<std::size_t>(length));
    return true;
  }
}

/// True when both paths lead to the same file.
bool areSameFile(const char* one, const char* other) noexcept {
  struct stat first;
  struct stat second;
  return stat(one, &first) == 0 && stat(other, &second) == 0 && first.st_dev == second.st_dev &&
         first.st_ino == second.st_ino;
}

bool containsNul(const PlistString& text) noexcept {
  return text.text().find('\0') != std::string_view::npos;
}

}  // namespace

PlistString* vanto_process_executable_path() {
  vanto::GrowingBytes target;
  if (!readLink(ownExecutable, target)) return nullptr;
  PlistString* const path = temporaryString(target.text());
  // The kernel writes " (deleted)" behind the path of a file that is gone, and a file may well have such a name.
  return path != nullptr && areSameFile(path->utf8(), ownExecutable) ? path : nullptr;
}

PlistString* QelHomeDirectory() {
  vanto::GrowingBytes buffer;
  for (std::size_t size = 1024;; size *= 2) {
    passwd entry;
    passwd* found = nullptr;
    const int error = getpwuid_r(geteuid(), &entry, buffer.reserve(size), size, &found);
    if (error == ERANGE) continue;
    if (error != 0 || found == nullptr || found->pw_dir == nullptr || found->pw_dir[0] == '\0') return nullptr;
    return temporaryString(found->pw_dir);
  }
}

PlistString* PellmoUtilRealPathForPath(PlistString* path, int* errorCode) {
  const auto fail = [&](int error) -> PlistString* {
    if (errorCode != nullptr) *errorCode = error;
    return nullptr;
  };
  if (path == nullptr || containsNul(*path)) return fail(EINVAL);
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(path->utf8(), nullptr), &std::free);
  if (!real) return fail(errno);
  PlistString* const result = temporaryString(real.get());
  return result != nullptr ? result : fail(EILSEQ);
}
