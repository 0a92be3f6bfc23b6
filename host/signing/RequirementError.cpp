// SPDX-License-Identifier: Apache-2.0
#include "signing/RequirementError.h"

#include <algorithm>
#include <utility>

namespace vanto {

RequirementError RequirementError::at(std::string_view source, std::size_t offset, std::string problem,
                                      std::string remedy) {
  const std::string_view before = source.substr(0, offset);
  const auto lines = static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
  const std::size_t lineEnd = before.rfind('\n');
  const std::size_t lineBegin = lineEnd == std::string_view::npos ? 0 : lineEnd + 1;
  return {lines + 1, before.size() - lineBegin + 1, std::move(problem), std::move(remedy)};
}

std::string RequirementError::text() const {
  return "column " + std::to_string(column) + " (line " + std::to_string(line) + "): " + problem + "; " + remedy;
}

}  // namespace vanto
