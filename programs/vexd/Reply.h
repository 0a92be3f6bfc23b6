// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/vanto.h>

#include "vexd/Report.h"

namespace vanto::vexd {

/// The reply to a request, as docs/formats/code-facts.md has it. Owned by the caller.
[[nodiscard]] vanto_object_t createReply(const Report& report);

/// The descriptor of the process that a request is about, owned by the caller; -1 for what is no request.
[[nodiscard]] int copyProcessOf(vanto_object_t request) noexcept;

}  // namespace vanto::vexd
