// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iostream>
#include <string>

#include <gtest/gtest.h>

namespace vanto::testing {

/// Announces what the running test has not tried, as this machine or user has no such thing: in the output, and as the
/// property `name` of the test.
inline void announceUntried(const char* name, const std::string& what) {
  std::cout << "[ UNTRIED  ] " << name << ": " << what << "\n";
  ::testing::Test::RecordProperty(name, what);
}

}  // namespace vanto::testing
