// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace vanto::tool {

/// What `--help` prints of one command.
struct HelpTopic {
  /// Such as "list" or "cache write".
  std::string_view command;
  std::string_view text;
};

}  // namespace vanto::tool
