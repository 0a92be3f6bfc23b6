// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace vanto::manager {

/// Has this process go on as the user `name`, with that user's groups, HOME, USER and LOGNAME, for good, and gives that
/// user the directory of the system's domain. Only root can do that for another user. An empty text, or what is wrong
/// and what to do.
[[nodiscard]] std::string becomeAccount(const std::string& name);

}  // namespace vanto::manager
