// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListFile.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <span>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

#include "value/Fd.h"
#include "value/GrowingBytes.h"
#include "value/limits.h"

namespace vanto {

namespace {

using Kind = PropertyListFileError::Kind;

bool fail(PropertyListFileError& error, Kind kind, int number = 0) {
  error.kind = kind;
  error.number = number;
  return false;
}

ssize_t readSome(int descriptor, char* to, std::size_t count) noexcept {
  ssize_t received;
  do {
    received = read(descriptor, to, count);
  } while (received < 0 && errno == EINTR);
  return received;
}

// Reads up to the end of the file, which should be `size` bytes away; it may grow or shrink meanwhile.
bool readContents(int descriptor, std::size_t size, GrowingBytes& contents, PropertyListFileError& error) {
  constexpr std::size_t step = std::size_t{64} << 10;
  // One byte more than there should be, so that a single read also sees that nothing follows.
  std::size_t wanted = size + 1;
  while (contents.size() <= limits::propertyListFileBytes) {
    const ssize_t received = readSome(descriptor, contents.reserve(wanted), wanted);
    if (received < 0) return fail(error, Kind::Unreadable, errno);
    contents.advance(static_cast<std::size_t>(received));
    if (received == 0 || contents.size() == size) return true;
    wanted = contents.size() < size ? size + 1 - contents.size() : step;
  }
  return fail(error, Kind::TooLarge);
}

bool readFile(int directory, const char* path, GrowingBytes& contents, PropertyListFileError& error) {
  // Not blocking, so that a FIFO without a writer does not hold us up; not to become a controlling terminal either.
  const Fd file(openat(directory, path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file) {
    const bool isMissing = errno == ENOENT || errno == ENOTDIR;
    // What open() says of a socket, and of a device without a driver.
    const bool isSpecial = errno == ENXIO || errno == ENODEV;
    if (isSpecial) return fail(error, Kind::NotRegular);
    return fail(error, isMissing ? Kind::Missing : Kind::Unreadable, errno);
  }
  struct stat status;
  if (fstat(file.get(), &status) != 0) return fail(error, Kind::Unreadable, errno);
  if (!S_ISREG(status.st_mode)) return fail(error, Kind::NotRegular);
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > limits::propertyListFileBytes) return fail(error, Kind::TooLarge);
  return readContents(file.get(), size, contents, error);
}

}  // namespace

Ref<PlistValue> createPropertyListFromFile(int directory, const char* path, PropertyListFileError* error) {
  PropertyListFileError ignored;
  PropertyListFileError& failure = error != nullptr ? *error : ignored;
  GrowingBytes contents;
  if (!readFile(directory, path, contents, failure)) return nullptr;
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(contents.data());
  PropertyListError mistake;
  Ref<PlistValue> value = createPropertyList({bytes, contents.size()}, &mistake);
  if (!value) {
    fail(failure, Kind::Malformed);
    failure.contents = std::move(mistake);
  }
  return value;
}

std::string describe(const PropertyListFileError& error) {
  switch (error.kind) {
    case Kind::Missing:
      return "no such file";
    case Kind::NotRegular:
      return "not a regular file";
    case Kind::TooLarge:
      return "larger than " + std::to_string(limits::propertyListFileBytes >> 20) + " MiB";
    case Kind::Unreadable:
      return std::generic_category().message(error.number);
    case Kind::Malformed:
      break;
  }
  const std::string column = std::to_string(error.contents.column);
  // The binary form has no lines.
  const std::string place = error.contents.line == 0
                                ? "byte " + column
                                : "line " + std::to_string(error.contents.line) + ", column " + column;
  return place + ": " + error.contents.message;
}

}  // namespace vanto
