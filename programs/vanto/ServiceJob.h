// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include <VantoService/PlistDictionary.h>

namespace vanto::tool {

/// The job of the bundle at `path`, a temporary; null with a visible text in `problem`.
[[nodiscard]] PlistDictionary* jobAt(const std::string& path, std::string& problem);

/// The path of the service's own executable in a job; empty where the job has none.
[[nodiscard]] std::string_view executableOfJob(const PlistDictionary& job);

}  // namespace vanto::tool
