// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "learning/RunObserver.h"

namespace vanto::testing {

[[nodiscard]] inline std::string hexadecimal(std::string_view bytes) {
  constexpr const char* digits = "0123456789abcdef";
  std::string text;
  for (const char character : bytes) {
    const auto byte = static_cast<unsigned char>(character);
    text += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
  }
  return text;
}

/// `line` as a tracer writes it: what stands between quotes, and paths between angles, in hexadecimal.
[[nodiscard]] inline std::string traced(std::string_view line) {
  std::string text;
  while (!line.empty()) {
    const bool isPath = line.starts_with("</");
    text += line.front();
    const char opener = line.front();
    line.remove_prefix(1);
    if (opener != '"' && !isPath) continue;
    const std::size_t end = line.find_first_of(isPath ? "<>" : "\"");
    text += hexadecimal(line.substr(0, end)) + line[end];
    line.remove_prefix(end + 1);
  }
  return text;
}

/// What an observer says of a run that begins in /w and whose trace is `lines`, each through traced().
[[nodiscard]] inline learning::RunFacts observed(std::initializer_list<std::string_view> lines) {
  learning::RunObserver observer("/w");
  for (const std::string_view line : lines) {
    EXPECT_EQ(observer.take(traced(line)), learning::RunObserver::Outcome::Taken) << line;
  }
  return observer.finish();
}

}  // namespace vanto::testing
