// SPDX-License-Identifier: Apache-2.0
#include "process/Contents.h"

#include <cerrno>

#include <unistd.h>

namespace vanto {

int readContents(int descriptor, std::size_t maximumSize, GrowingBytes& contents) noexcept {
  constexpr std::size_t step = std::size_t{64} << 10;
  std::size_t left = maximumSize;
  for (;;) {
    // One byte more than there may be, to see that there is no more.
    const std::size_t wanted = left < step ? left + 1 : step;
    const ssize_t received = read(descriptor, contents.reserve(wanted), wanted);
    if (received == 0) return 0;
    if (received < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    if (static_cast<std::size_t>(received) > left) return EFBIG;
    left -= static_cast<std::size_t>(received);
    contents.advance(static_cast<std::size_t>(received));
  }
}

}  // namespace vanto
