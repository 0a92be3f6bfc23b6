// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/KorURL.h>
#include <VantoService/PlistData.h>

/// Files by name, as the readers of machine-wide settings use them. Results are owned by the caller, who drops them
/// with KorRelease().

/// Whom a file must belong to for its contents to be believed.
enum KorFileTrust {
  KorFileTrustAnyone,
  /// Root, or the owner of the root directory where user namespaces hide root; and neither group nor others may write
  /// it.
  KorFileTrustAdministrator
};

extern "C" {

/// A string of a NUL-terminated path as the file system has it; null when that is not valid UTF-8.
PlistString* KorStringCreateWithFileSystemRepresentation(const char* path);

/// The URL of the file at `path`; null for an empty path.
KorURL* KorURLCreateWithFileSystemPath(PlistString* path, int pathStyle, bool isDirectory);

/// Reads the whole file that `url` names into `data`. True on success. False, with `data` untouched and a cause in
/// `errorCode` (errno's value; it may be null), when it is not a regular file, is larger than `maximumSize` bytes, does
/// not belong to whom `trust` demands, or cannot be read. Never waits for a writer of a FIFO.
bool KorURLCreateDataAndPropertiesFromResource(KorURL* url, PlistData** data, KorFileTrust trust,
                                               std::size_t maximumSize, int* errorCode);
}
