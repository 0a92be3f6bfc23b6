// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "vexd/DigestAnswer.h"
#include "vexd/DigestRequest.h"

namespace vanto::vexd {

/// Reads and judges the files of a request: the only place where bytes of others are understood. Goes on with a long
/// executable only while `isWanted` says so.
[[nodiscard]] DigestAnswer answerTo(const DigestRequest& request, const std::function<bool()>& isWanted);

}  // namespace vanto::vexd
