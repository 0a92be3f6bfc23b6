// SPDX-License-Identifier: Apache-2.0
#include "sandbox/ProfileParser.h"

#include "host/sandbox/Compiled.h"
#include "sandbox/PolicyText.h"

namespace {

using vanto::testing::compiled;
using vanto::testing::refusal;

constexpr const char* rightsThere =
    "; write one of read, write, create, remove, truncate, rename, execute, ioctl, socket, bind, connect, network, "
    "abstract, signal, processes, system";

TEST(ProfileParser, ReadsEachStatement) {
  struct Row {
    const char* text;
    const char* policy;
  };
  for (const Row& row : {
           Row{"", "network none\n"},
           Row{"# nothing\n\n", "network none\n"},
           Row{"version 1\n", "network none\n"},
           Row{"network none\nnetwork none\n", "network none\n"},
           Row{"allow read /b /a", "allow read /a\nallow read /b\nnetwork none\n"},
           Row{"allow read /a\nallow create,remove /a/", "allow read,create,remove /a\nnetwork none\n"},
           Row{"allow truncate,write /a", "allow write /a\nnetwork none\n"},
           Row{"allow read,read /a /a", "allow read /a\nnetwork none\n"},
           Row{"allow read,write,create,remove,truncate,rename,execute,ioctl,socket /a",
               "allow read,write,create,remove,rename,execute,ioctl,socket /a\nnetwork none\n"},
           Row{"\"allow\" \"read\" \"/a b\"", "allow read \"/a b\"\nnetwork none\n"},
           Row{"allow connect tcp 443 80-81", "allow connect tcp 80\nallow connect tcp 81\nallow connect tcp 443\n"},
           Row{"allow bind tcp 0\nallow connect tcp 0", "allow bind tcp 0\nallow connect tcp 0\n"},
           Row{"allow network", "allow network\n"},
           Row{"allow connect tcp 1\nallow network", "allow connect tcp 1\nallow network\n"},
           Row{"allow processes\nallow signal\nallow abstract\nallow signal",
               "network none\nallow abstract\nallow signal\nallow processes\n"},
           Row{"require write read\nrequire system,read", "network none\nrequire read write system\n"},
           Row{"require all",
               "network none\nrequire read write create remove truncate rename execute ioctl socket bind connect "
               "network abstract signal processes system\n"},
           Row{"version 1\ninclude temporary",
               "allow read,write,create,remove,rename /tmp\nallow read,write,create,remove,rename /var/tmp\n"
               "network none\n"},
       }) {
    EXPECT_EQ(vanto::textOf(compiled(row.text)), std::string("version 1\n") + row.policy) << row.text;
  }
}

TEST(ProfileParser, SaysWhatIsWrongAndWhere) {
  struct Row {
    const char* text;
    std::string error;
  };
  for (const Row& row : {
           Row{"alow read /a", "1:1: unknown statement \"alow\"; write version, include, allow, network or require"},
           Row{"Allow read /a", "1:1: unknown statement \"Allow\"; write version, include, allow, network or require"},
           Row{"\"\"", "1:1: unknown statement \"\"; write version, include, allow, network or require"},
           Row{"${A} read /a",
               "1:1: a parameter can stand in paths only; write version, include, allow, network or require"},
           Row{"version", "1:8: a word is missing; write 1"},
           Row{"version 2", "1:9: version \"2\" of the language is not known; write 1"},
           Row{"version 1 x", "1:11: the word \"x\" is one too many; write it in a statement of its own"},
           Row{"network none\nversion 1", "2:1: the version stands behind another statement; write it first"},
           Row{"version 1\nversion 1", "2:1: the version stands behind another statement; write it first"},
           Row{"include", "1:8: a word is missing; write base, network-client, temporary"},
           Row{"include x", "1:9: unknown base profile \"x\"; write one of base, network-client, temporary"},
           Row{"include base temporary",
               "1:14: the word \"temporary\" is one too many; write it in a statement of its own"},
           Row{"include base\n\n include base", "3:10: included before, in line 1; write each base profile once"},
           Row{"include ${A}", "1:9: a parameter can stand in paths only; write base, network-client, temporary"},
           Row{"allow", "1:6: a word is missing; write rights between commas"},
           Row{"allow ${A} /a", "1:7: a parameter can stand in paths only; write rights between commas"},
           Row{"allow read", "1:11: the paths are missing; write at least one"},
           Row{"allow reed /a", std::string("1:7: unknown right \"reed\"") + rightsThere},
           Row{"allow read, write /a", std::string("1:7: unknown right \"\"") + rightsThere},
           Row{"allow all /a", std::string("1:7: unknown right \"all\"") + rightsThere},
           Row{"allow read,signal,bind /a", "1:7: no right to a path: bind, signal; write a statement of its own"},
           Row{"allow system", "1:7: no profile allows system; write require system to have it denied for certain"},
           Row{"allow read a", "1:12: the path \"a\" is relative; write an absolute path"},
           Row{"allow read /a /b/..", "1:15: the path has the component \"..\"; write the path without it"},
           Row{"allow read /${B}", "1:13: unknown parameter \"B\"; write one of A"},
           Row{"allow signal /a", "1:14: the word \"/a\" is one too many; write it in a statement of its own"},
           Row{"allow network ${A}", "1:15: the word \"\\${A}\" is one too many; write it in a statement of its own"},
           Row{"allow connect", "1:14: a word is missing; write tcp"},
           Row{"allow connect 80",
               "1:15: unknown protocol \"80\"; write tcp, for paths of Unix sockets \"allow socket\", for all else "
               "\"allow network\""},
           Row{"allow bind tcp", "1:15: the ports are missing; write at least one"},
           Row{"allow bind tcp ${A}", "1:16: a parameter can stand in paths only; write the port"},
           Row{"allow bind tcp 80 http",
               "1:19: \"http\" is no port; write a number from 0 to 65535, or two with - between them"},
           Row{"allow bind tcp 1-65", "1:16: more than 64 ports in one range; write allow network, or smaller ranges"},
           Row{"network", "1:8: a word is missing; write none"},
           Row{"network all", "1:9: unknown word \"all\"; write network none, or allow network for all of it"},
           Row{"network none 1", "1:14: the word \"1\" is one too many; write it in a statement of its own"},
           Row{"network none\nallow network", "2:1: contradicts line 1, as there is no network or some; remove one"},
           Row{"\nallow bind tcp 1\nnetwork none",
               "3:1: contradicts line 2, as there is no network or some; remove one"},
           Row{"network none\nallow connect tcp 1",
               "2:1: contradicts line 1, as there is no network or some; remove one"},
           Row{"require", "1:8: a word is missing; write rights, or all"},
           Row{"require reed", std::string("1:9: unknown right \"reed\"") + rightsThere},
           Row{"require read ${A}", "1:14: a parameter can stand in paths only; write the rights"},
           Row{"require ${A}", "1:9: a parameter can stand in paths only; write rights, or all"},
           Row{"require read all,write", std::string("1:14: unknown right \"all\"") + rightsThere},
       }) {
    EXPECT_EQ(refusal(row.text, {{"A", "/a"}}), "p:" + row.error) << row.text;
  }
}

TEST(ProfileParser, TakesTheLargestRangeOfPorts) {
  EXPECT_EQ(compiled("allow bind tcp 1-64").ports.size(), 64U);
}

TEST(ProfileParser, FindsAllErrors) {
  const vanto::ProfileResult result =
      vanto::compileProfile("alow\nallow read a /b c\n\"\nallow signal x y\nversion 3\n", {});
  std::string lines;
  for (const auto& error : result.errors.kept()) {
    lines += std::to_string(error.position.line) + ":" + std::to_string(error.position.column) + " ";
  }
  EXPECT_EQ(lines, "1:1 2:12 2:17 3:1 4:14 5:1 5:9 ");
  EXPECT_FALSE(result.policy.has_value());
}

TEST(ProfileParser, KnowsTheLineOfEachGrant) {
  const vanto::Policy policy = compiled("allow read /tmp\n\ninclude temporary\nallow read /tmp /tmp\n");
  ASSERT_EQ(policy.paths.front().path, "/tmp");
  std::string lines;
  for (const vanto::Grant& grant : policy.paths.front().grants) {
    lines += std::string(grant.line.base) + ":" + std::to_string(grant.line.line) + " ";
  }
  EXPECT_EQ(lines, ":1 temporary:3 :4 :4 ");
}

}  // namespace
