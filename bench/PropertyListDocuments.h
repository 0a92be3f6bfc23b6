// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

namespace vanto::bench {

/// An Info document as a service bundle has one, of about 1.8 KB.
[[nodiscard]] std::string infoDocument();

/// A document of about `bytes` bytes: a list of descriptions of services, no two of them the same.
[[nodiscard]] std::string listDocument(std::size_t bytes);

}  // namespace vanto::bench
