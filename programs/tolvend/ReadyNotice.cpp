// SPDX-License-Identifier: Apache-2.0
#include "tolvend/ReadyNotice.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <sys/socket.h>
#include <sys/un.h>

#include "value/Fd.h"

namespace vanto::manager {

void sendReadyNotice() noexcept {
  const char* name = getenv("NOTIFY_SOCKET");
  if (name == nullptr) return;
  constexpr std::string_view notice = "READY=1";
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::size_t length = std::strlen(name);
  const Fd socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (socket && (name[0] == '/' || name[0] == '@') && length < sizeof address.sun_path) {
    std::memcpy(address.sun_path, name, length);
    // A name that is no path begins with a NUL.
    if (name[0] == '@') address.sun_path[0] = '\0';
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
    static_cast<void>(sendto(socket.get(), notice.data(), notice.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                             reinterpret_cast<const sockaddr*>(&address), size));
  }
  unsetenv("NOTIFY_SOCKET");
}

}  // namespace vanto::manager
