// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdint>

#include <VantoService/KorFunctions.h>

#include "support/fakehost/HostState.h"
#include "value/platform/files.h"

using vanto::test::called;
using vanto::test::HostState;
using vanto::test::nullOr;
using vanto::test::textOf;

PlistString* KorStringCreateWithFileSystemRepresentation(const char* path) {
  if (!called("KorStringCreateWithFileSystemRepresentation", {textOf(path)})) return nullptr;
  return path == nullptr ? nullptr : PlistString::create(path).leak();
}

KorURL* KorURLCreateWithFileSystemPath(PlistString* path, int pathStyle, bool isDirectory) {
  if (!called("KorURLCreateWithFileSystemPath",
              {textOf(path), pathStyle == KorURLPOSIXPathStyle ? "POSIX" : std::to_string(pathStyle),
               isDirectory ? "directory" : "no directory"})) {
    return nullptr;
  }
  return path == nullptr ? nullptr : KorURL::create(*path, isDirectory).leak();
}

bool KorURLCreateDataAndPropertiesFromResource(KorURL* url, PlistData** data, KorFileTrust trust,
                                               std::size_t maximumSize, int* errorCode) {
  const auto fail = [errorCode](int error) {
    if (errorCode != nullptr) *errorCode = error;
    return false;
  };
  if (!called("KorURLCreateDataAndPropertiesFromResource",
              {url == nullptr ? "null" : textOf(url->path()),
               trust == KorFileTrustAdministrator ? "administrator" : "anyone", std::to_string(maximumSize),
               nullOr(errorCode != nullptr, "error")})) {
    return fail(EIO);
  }
  if (url == nullptr) return fail(EINVAL);
  const auto& files = HostState::shared().answers.files;
  const auto file = files.find(std::string(url->path()->text()));
  if (file == files.end()) return fail(ENOENT);
  if (file->second.size() > maximumSize) return fail(EFBIG);
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(file->second.data());
  *data = PlistData::create({bytes, file->second.size()}).leak();
  return true;
}
