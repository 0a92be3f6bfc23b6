// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include <gtest/gtest.h>

#include <VantoService/TemporaryScope.h>

namespace vanto::testing {

/// Runs each test inside a temporary-object scope, and fails one after which the number of living objects is not what
/// it was before (in builds that count them).
class ObjectCounter : public ::testing::EmptyTestEventListener {
 private:
  void OnTestStart(const ::testing::TestInfo& test) override;
  void OnTestEnd(const ::testing::TestInfo& test) override;

  std::optional<TemporaryScope> scope_;
  std::int64_t countBefore_ = 0;
};

}  // namespace vanto::testing
