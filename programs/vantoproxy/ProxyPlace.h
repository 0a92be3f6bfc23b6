// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace vanto {

/// Where the proxy is by its interface, and what each job names.
inline constexpr char proxyPath[] = "/usr/libexec/vantoproxy";

/// The file that is executed as the proxy: `usual`, or else, where nothing is there, the one that was installed
/// together with the program `executable`, an absolute path. `usual` again where neither is.
[[nodiscard]] std::string proxyOf(const std::string& executable, const std::string& usual = proxyPath);

/// That of the running program.
[[nodiscard]] std::string installedProxy();

}  // namespace vanto
