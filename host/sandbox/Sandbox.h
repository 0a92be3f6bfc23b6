// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace vanto {

/// The receipt of the last attempt to confine this process, as docs/formats/profile.md describes it, or of the failure
/// that kept it from one; empty before the first. It lives as long as the process. Any thread, as attempts are made
/// while there is one.
[[nodiscard]] std::string_view sandboxReceipt() noexcept;

}  // namespace vanto
