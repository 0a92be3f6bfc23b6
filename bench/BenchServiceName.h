// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vanto::bench {

/// The service that ManagerBench starts and calls.
inline constexpr const char* benchServiceName = "org.example.bench";

}  // namespace vanto::bench
