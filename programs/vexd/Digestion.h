// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vexd/DigestAnswer.h"
#include "vexd/DigestRequest.h"

namespace vanto::vexd {

/// Reads and judges the files of a request: the only place where bytes of others are understood.
[[nodiscard]] DigestAnswer answerTo(const DigestRequest& request);

}  // namespace vanto::vexd
