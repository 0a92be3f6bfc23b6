// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <VantoService/PropertyList.h>

namespace vanto {

/// Why a file gave no property list.
struct PropertyListFileError {
  enum class Kind : unsigned char {
    Missing,     ///< there is no such file
    NotRegular,  ///< a directory, a FIFO, a device, a socket
    TooLarge,    ///< more than limits::propertyListFileBytes
    Unreadable,  ///< another error of the system
    Malformed    ///< the contents are no property list
  };

  Kind kind = Kind::Missing;
  /// The system's error number for Missing and Unreadable, else 0.
  int number = 0;
  /// For Malformed: where and why.
  PropertyListError contents;
};

/// The property list in the regular file at `path`, which is relative to the directory that `directory` is open on
/// (AT_FDCWD: the working directory); symbolic links are followed. It costs one open, status, read and close. Never
/// waits for the other end of a FIFO or for a device, and leaves no descriptor open. Null on failure; `error`, if
/// given, then says why and is otherwise untouched.
[[nodiscard]] Ref<PlistValue> createPropertyListFromFile(int directory, const char* path,
                                                         PropertyListFileError* error = nullptr);

/// One line about `error`, for people.
[[nodiscard]] std::string describe(const PropertyListFileError& error);

}  // namespace vanto
