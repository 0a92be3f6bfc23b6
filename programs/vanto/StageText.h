// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace vanto::tool {

/// What the stage of a failure means, and what to do, in plain words.
struct StageText {
  std::string_view stage;
  std::string_view meaning;
  std::string_view remedy;

  /// Of the stage of that name; one without a name for a stage that this tool does not know.
  [[nodiscard]] static const StageText& of(std::string_view stage) noexcept;
};

}  // namespace vanto::tool
