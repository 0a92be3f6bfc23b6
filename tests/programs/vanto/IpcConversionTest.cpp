// SPDX-License-Identifier: Apache-2.0
#include "vanto/IpcConversion.h"

#include <gtest/gtest.h>

#include "programs/vanto/FakeManager.h"
#include "vanto/JsonText.h"

namespace vanto::tool {
namespace {

using test::Held;

std::string jsonOf(vanto_object_t object) {
  JsonProblem problem;
  return jsonLine(*createFromIpc(object), problem);
}

TEST(IpcConversion, KeepsEveryKind) {
  const std::string json = R"({"array":[1,-9223372036854775808,true,[]],"dictionary":{"":"x"},"real":0.5,"text":"a"})";
  EXPECT_EQ(jsonOf(testing::objectOf(json)), json + "\n");
  EXPECT_EQ(jsonOf(Held(vanto_data_create("abc", 3))), "{\"$data\":\"YWJj\"}\n");
  EXPECT_EQ(jsonOf(Held(vanto_data_create(nullptr, 0))), "{\"$data\":\"\"}\n");
}

TEST(IpcConversion, DescribesWhatIsNoValue) {
  const Held descriptor(vanto_fd_create(0));
  const Held array(vanto_array_create(nullptr, 0));
  vanto_array_append_value(array, descriptor);
  const std::string json = jsonOf(array);
  EXPECT_TRUE(json.starts_with("[\"")) << json;
  EXPECT_FALSE(createFromIpc(nullptr));
}

}  // namespace
}  // namespace vanto::tool
