// SPDX-License-Identifier: Apache-2.0
#include "vanto/ManagerDomain.h"

#include <gtest/gtest.h>

#include "support/Values.h"

namespace vanto::tool {
namespace {

using testing::dictionary;
using testing::number;
using testing::string;

std::optional<ManagerDomain> domainOf(Object* value, std::string& problem) {
  return domainOfJob(*dictionary({{string("VantoDomain"), value}}), problem);
}

TEST(ManagerDomain, HasAManagerOfItsOwn) {
  EXPECT_EQ(managerServiceOf(ManagerDomain::Session), "org.vanto.tolvend.session");
  EXPECT_EQ(managerServiceOf(ManagerDomain::User), "org.vanto.tolvend.user");
  EXPECT_EQ(managerServiceOf(ManagerDomain::System), "org.vanto.tolvend.system");
}

TEST(ManagerDomain, IsThatOfTheJob) {
  std::string problem;
  EXPECT_EQ(domainOf(string("VantoPerSession"), problem), ManagerDomain::Session);
  EXPECT_EQ(domainOf(string("VantoPerUser"), problem), ManagerDomain::User);
  EXPECT_EQ(domainOf(string("VantoSystem"), problem), ManagerDomain::System);
  EXPECT_EQ(domainOfJob(*dictionary({}), problem), ManagerDomain::User);
  EXPECT_EQ(problem, "");
}

TEST(ManagerDomain, IsNoneForAJobThatNamesNone) {
  std::string problem;
  EXPECT_FALSE(domainOf(string("\x1b"), problem));
  EXPECT_EQ(problem,
            "its \"VantoDomain\" is \\x1b, which is no domain; it can be VantoPerSession, VantoPerUser or VantoSystem");
  EXPECT_FALSE(domainOf(number(1), problem));
  EXPECT_EQ(problem, "its \"VantoDomain\" is no string");
}

}  // namespace
}  // namespace vanto::tool
