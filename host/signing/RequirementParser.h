// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string_view>

#include "signing/Requirement.h"
#include "signing/RequirementError.h"

namespace vanto {

/// The requirement that `text` says, in the language of docs/formats/requirement.md. Null when it says none; `error`,
/// if given, then says why and is otherwise untouched. Takes time in proportion to the text, and no stack that a text
/// could choose.
[[nodiscard]] std::shared_ptr<const Requirement> compileRequirement(std::string_view text,
                                                                    RequirementError* error = nullptr);

}  // namespace vanto
