// SPDX-License-Identifier: Apache-2.0
#include "vantoproxy/ProxyPlace.h"

#include <climits>
#include <cstddef>
#include <cstdlib>

#include <unistd.h>

namespace vanto {

std::string proxyOf(const std::string& executable, const std::string& usual) {
  if (access(usual.c_str(), F_OK) == 0) return usual;
  const std::string beside = executable.substr(0, executable.rfind('/') + 1) + VANTO_PROXY_FROM_PROGRAMS;
  char found[PATH_MAX];
  return realpath(beside.c_str(), found) != nullptr ? found : usual;
}

std::string installedProxy() {
  char self[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", self, sizeof self);
  // Without an executable to look beside there is the usual place alone.
  return length > 0 ? proxyOf(std::string(self, static_cast<std::size_t>(length))) : proxyPath;
}

}  // namespace vanto
