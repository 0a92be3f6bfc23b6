// SPDX-License-Identifier: Apache-2.0
#include "vanto/JobDocument.h"

#include <gtest/gtest.h>

#include "programs/vanto/FakeManager.h"
#include "vanto/JsonText.h"

namespace vanto::tool {
namespace {

TEST(JobDocument, HasAllThatWasToldAndTheDomain) {
  JsonProblem problem;
  const test::Held job = testing::objectOf(R"({"label": "a", "new": [1], "domain": "made up"})");
  EXPECT_EQ(jsonLine(*createJobDocument(job, ManagerDomain::System), problem),
            "{\"domain\":\"system\",\"label\":\"a\",\"new\":[1]}\n");
}

}  // namespace
}  // namespace vanto::tool
