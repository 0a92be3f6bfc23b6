// SPDX-License-Identifier: Apache-2.0
#include "vanto/ValueKind.h"

#include <gtest/gtest.h>

#include <VantoService/TemporaryScope.h>

#include "support/PropertyLists.h"
#include "support/Values.h"

namespace vanto::tool {
namespace {

TEST(ValueKind, HasANameWithItsArticle) {
  const std::pair<const char*, const char*> kinds[] = {{"<string/>", "a string"},
                                                       {"<true/>", "a boolean"},
                                                       {"<integer>1</integer>", "an integer"},
                                                       {"<real>1</real>", "a real"},
                                                       {"<array/>", "an array"},
                                                       {"<dict/>", "a dictionary"},
                                                       {"<data/>", "data"},
                                                       {"<date>2001-09-09T01:46:40Z</date>", "a date"}};
  for (const auto& [element, name] : kinds) EXPECT_STREQ(kindOf(testing::readElement(element).get()), name);
  EXPECT_STREQ(kindOf(nullptr), "nothing");
}

}  // namespace
}  // namespace vanto::tool
