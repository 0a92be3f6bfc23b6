// SPDX-License-Identifier: Apache-2.0
#include "value/platform/files.h"

#include <cerrno>
#include <cstdint>

#include <fcntl.h>
#include <sys/stat.h>

#include <VantoService/KorFunctions.h>

#include "process/Contents.h"
#include "value/Assertion.h"
#include "value/Fd.h"

namespace {

/// True when only an administrator can have written the file. In a user namespace that does not map root, root's files
/// seem to belong to whoever owns the root directory.
bool isAdministrators(const struct stat& file) noexcept {
  if ((file.st_mode & (S_IWGRP | S_IWOTH)) != 0) return false;
  struct stat root;
  return file.st_uid == 0 || (stat("/", &root) == 0 && file.st_uid == root.st_uid);
}

/// 0, or a number of errno that says what is wrong with the file.
int checkFile(int descriptor, KorFileTrust trust, std::size_t maximumSize) noexcept {
  struct stat status;
  if (fstat(descriptor, &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  if (trust != KorFileTrustAnyone && !isAdministrators(status)) return EPERM;
  return static_cast<std::uintmax_t>(status.st_size) > maximumSize ? EFBIG : 0;
}

int readFile(const PlistString& path, KorFileTrust trust, std::size_t maximumSize,
             vanto::GrowingBytes& contents) noexcept {
  if (path.text().find('\0') != std::string_view::npos) return EINVAL;
  // Not blocking, so that a FIFO without a writer does not hold us up.
  const vanto::Fd file(open(path.utf8(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file) return errno;
  const int error = checkFile(file.get(), trust, maximumSize);
  return error != 0 ? error : vanto::readContents(file.get(), maximumSize, contents);
}

}  // namespace

PlistString* KorStringCreateWithFileSystemRepresentation(const char* path) {
  return path != nullptr ? PlistString::create(path).leak() : nullptr;
}

KorURL* KorURLCreateWithFileSystemPath(PlistString* path, int pathStyle, bool isDirectory) {
  if (path == nullptr || pathStyle != KorURLPOSIXPathStyle) return nullptr;
  return KorURL::create(*path, isDirectory).leak();
}

bool KorURLCreateDataAndPropertiesFromResource(KorURL* url, PlistData** data, KorFileTrust trust,
                                               std::size_t maximumSize, int* errorCode) {
  VANTO_ASSERT(data != nullptr);
  vanto::GrowingBytes contents;
  const int error = url != nullptr ? readFile(*url->path(), trust, maximumSize, contents) : EINVAL;
  if (error != 0) {
    if (errorCode != nullptr) *errorCode = error;
    return false;
  }
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(contents.data());
  *data = PlistData::create({bytes, contents.size()}).leak();
  return true;
}
