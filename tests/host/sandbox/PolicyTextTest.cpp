// SPDX-License-Identifier: Apache-2.0
#include "sandbox/PolicyText.h"

#include "host/sandbox/Compiled.h"

namespace {

using vanto::testing::compiled;

TEST(PolicyText, CompilesToTheSamePolicy) {
  for (const char* text : {
           "",
           "include base\ninclude temporary\ninclude network-client\nallow connect tcp 80 443\nallow signal\n",
           "allow write,truncate /a\nallow truncate /b\nallow ioctl,execute \"/ \\\"\\\\\\$\\n\\t\\x01\\xff #\" "
           "\"/#\"\n",
           "allow network\nallow processes\nallow abstract\nrequire all\n",
           "allow bind tcp 0-63\nallow read /\n",
       }) {
    const std::string first = vanto::textOf(compiled(text));
    EXPECT_EQ(vanto::textOf(compiled(first)), first) << text;
  }
}

TEST(PolicyText, WritesWhatIsAllowedInAFixedOrder) {
  EXPECT_EQ(vanto::textOf(compiled("require signal\nallow processes\nallow connect tcp 9\nallow bind tcp 10\n"
                                   "allow rename,read \"/b c\"\nallow write /a\n")),
            "version 1\nallow write /a\nallow read,rename \"/b c\"\nallow bind tcp 10\nallow connect tcp 9\n"
            "allow processes\nrequire signal\n");
}

}  // namespace
