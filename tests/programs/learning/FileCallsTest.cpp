// SPDX-License-Identifier: Apache-2.0
#include "learning/FileCalls.h"

#include "programs/learning/Traced.h"

namespace vanto::learning {
namespace {

using testing::observed;
using Paths = std::set<std::string>;
using Moves = std::set<std::pair<std::string, std::string>>;

RightSet rightsOf(std::string_view call, const std::string& path) {
  const RunFacts facts = observed({call});
  const auto found = facts.used.find(path);
  return found == facts.used.end() ? RightSet() : found->second;
}

TEST(FileCalls, GiveWhatAFileIsOpenedFor) {
  EXPECT_EQ(rightsOf("5 openat(-100</w>, \"a\", 0) = 3</w/a>", "/w/a"), Right::Read);
  EXPECT_EQ(rightsOf("5 openat(-100</w>, \"a\", 0x1) = 3</w/a>", "/w/a"), Right::Write);
  EXPECT_EQ(rightsOf("5 openat(-100</w>, \"a\", 0x2) = 3</w/a>", "/w/a"), RightSet(Right::Read) | Right::Write);
  EXPECT_EQ(rightsOf("5 openat(-100</w>, \"a\", 0x200) = 3</w/a>", "/w/a"), RightSet(Right::Read) | Right::Truncate);
  EXPECT_EQ(rightsOf("5 open(\"a\", 0) = 3", "/w/a"), Right::Read);
  EXPECT_EQ(rightsOf("5 openat2(3</d>, \"a\", {flags=0x1, mode=0, resolve=0x8}, 24) = 4</d/a>", "/d/a"), Right::Write);
  EXPECT_EQ(rightsOf("5 creat(\"a\", 0666) = 3</w/a>", "/w/a"), RightSet(Right::Write) | Right::Truncate);
  EXPECT_EQ(rightsOf("5 truncate(\"a\", 0) = 0", "/w/a"), Right::Truncate);
}

TEST(FileCalls, NameTheFileThatWasReachedNotTheWay) {
  const RunFacts facts = observed({"5 openat(-100</w>, \"link/../a\", 0) = 3</x/a>"});
  EXPECT_EQ(facts.used.size(), 1U);
  EXPECT_TRUE(facts.used.contains("/x/a"));
}

TEST(FileCalls, GiveNothingForWhatFailedOrHasNoPath) {
  const RunFacts facts =
      observed({"5 openat(-100</w>, \"a\", 0) = -1 ENOENT (No such file or directory)",
                "5 openat(-100</w>, \"/proc/self/fd/1\", 0) = 3<TCP:[1]>",
                "5 openat(-100</w>, \"/proc/self/fd/1\", 0) = 3</memfd:x>(deleted)",
                "5 openat(-100</w>, \"a\", 0x200000) = 3</w/a>", "5 mkdir(\"a\", 0777) = -1 EEXIST (File exists)",
                "5 openat(-100</w>, \"a\", 0 <unfinished ...>", "5 <... openat resumed>) = ? ERESTARTSYS"});
  EXPECT_EQ(facts.count(), 0U);
}

TEST(FileCalls, TellMadeFilesFromThoseThatMayHaveBeenThere) {
  const RunFacts facts =
      observed({"5 openat(-100</w>, \"a\", 0x41, 0666) = 3</w/a>", "5 openat(-100</w>, \"b\", 0xc1, 0666) = 3</w/b>"});
  EXPECT_EQ(facts.openedOrMade, (Paths{"/w/a", "/w/b"}));
  EXPECT_EQ(facts.made, Paths{"/w/b"});
}

TEST(FileCalls, NoteFilesWithoutAName) {
  const RunFacts facts = observed({"5 openat(-100</w>, \".\", 0x410001, 0600) = 3</w/#12>(deleted)",
                                   "5 linkat(-100</w>, \"/proc/self/fd/3\", 4</w>, \"a\", 0x400) = 0",
                                   "5 linkat(3</w/#12>(deleted), \"\", 4</w>, \"b\", 0x1000) = 0"});
  EXPECT_EQ(facts.nameless, Paths{"/w/#12"});
  EXPECT_EQ(facts.made, (Paths{"/w/a", "/w/b"}));
  EXPECT_EQ(facts.moved, (Moves{{"/w/#12", "/w/a"}}));
}

TEST(FileCalls, NoteNamesThatAreMade) {
  const RunFacts facts = observed({"5 mkdir(\"a\", 0777) = 0", "5 mkdirat(3</d>, \"b\", 0777) = 0",
                                   "5 mknod(\"c\", 010666) = 0", "5 mknodat(3</d>, \"d\", 0140666) = 0",
                                   "5 symlink(\"to\", \"e\") = 0", "5 symlinkat(\"to\", 3</d>, \"f\") = 0"});
  EXPECT_EQ(facts.made, (Paths{"/w/a", "/d/b", "/w/c", "/d/d", "/w/e", "/d/f"}));
  EXPECT_TRUE(facts.remarks.empty());
}

TEST(FileCalls, MakeNoDevices) {
  const RunFacts facts = observed({"5 mknod(\"a\", 020666, 0x103) = 0", "5 mknodat(-100</w>, \"b\", 060666, 1) = 0"});
  EXPECT_TRUE(facts.made.empty());
  EXPECT_EQ(facts.remarks, Paths{"making a device node was used, which no profile allows"});
}

TEST(FileCalls, NoteNamesThatAreTakenAway) {
  const RunFacts facts = observed({"5 unlink(\"a\") = 0", "5 rmdir(\"b\") = 0", "5 unlinkat(3</d>, \"c\", 0) = 0"});
  EXPECT_EQ(facts.removed, (Paths{"/w/a", "/w/b", "/d/c"}));
}

TEST(FileCalls, TellDirectoriesThatAreTakenAway) {
  const RunFacts facts = observed({"5 unlink(\"a\") = 0", "5 rmdir(\"b\") = 0", "5 unlinkat(3</d>, \"c\", 0) = 0",
                                   "5 unlinkat(3</d>, \"e\", 0x200) = 0", "5 rename(\"f\", \"g\") = 0"});
  EXPECT_EQ(facts.removedDirectories, (Paths{"/w/b", "/d/e", "/w/f", "/w/g"}));
}

TEST(FileCalls, GoThroughDescriptors) {
  const RunFacts facts =
      observed({"5 openat(-100</w>, \"d\", 0x10000) = 7</w/d>", "5 mkdir(\"/proc/self/fd/7/a\", 0777) = 0",
                "5 rename(\"/proc/self/fd/7/a\", \"/proc/self/fd/7/b\") = 0", "5 rmdir(\"/proc/self/fd/7/b\") = 0",
                "5 dup2(7</w/d>, 9</w/e>) = 9</w/d>", "5 truncate(\"/dev/fd/9/c\", 0) = 0"});
  EXPECT_EQ(facts.made, (Paths{"/w/d/a", "/w/d/b"}));
  EXPECT_EQ(facts.moved, (Moves{{"/w/d/a", "/w/d/b"}}));
  EXPECT_EQ(facts.used.at("/w/d/c"), Right::Truncate);
  EXPECT_TRUE(facts.remarks.empty());
}

TEST(FileCalls, FollowASocketThatIsRenamed) {
  constexpr const char* bound = "5 bind(3<UNIX:[1]>, {sa_family=0x1, sun_path=\"a\"}, 4) = 0";
  const RunFacts facts = observed({bound, "5 rename(\"a\", \"b\") = 0"});
  EXPECT_EQ(facts.sockets, (Paths{"/w/a", "/w/b"}));
  EXPECT_EQ(facts.removed, (Paths{"/w/a", "/w/b"}));
  EXPECT_TRUE(facts.removedDirectories.empty());
  const RunFacts kept = observed({bound, "5 renameat2(-100</w>, \"a\", -100</w>, \"b\", 0x1) = 0"});
  EXPECT_EQ(kept.removed, Paths{"/w/a"});
  const RunFacts exchanged = observed({bound, "5 renameat2(-100</w>, \"a\", -100</w>, \"b\", 0x2) = 0"});
  EXPECT_TRUE(exchanged.sockets.empty());
  EXPECT_EQ(exchanged.removedDirectories, (Paths{"/w/a", "/w/b"}));
}

TEST(FileCalls, NoteWhatIsMovedAndLinked) {
  const RunFacts facts = observed({"5 rename(\"a\", \"/d/b\") = 0", "5 link(\"c\", \"/d/e\") = 0"});
  EXPECT_EQ(facts.moved, (Moves{{"/w/a", "/d/b"}, {"/w/c", "/d/e"}}));
  EXPECT_EQ(facts.made, (Paths{"/d/b", "/d/e"}));
  EXPECT_EQ(facts.removed, (Paths{"/w/a", "/d/b"}));
}

TEST(FileCalls, ReplaceNothingWhereThatIsExcluded) {
  const RunFacts facts = observed({"5 renameat2(3</a>, \"x\", 4</b>, \"y\", 0x1) = 0"});
  EXPECT_EQ(facts.removed, Paths{"/a/x"});
  EXPECT_EQ(facts.made, Paths{"/b/y"});
}

TEST(FileCalls, ExchangeBothWays) {
  const RunFacts facts = observed({"5 renameat2(3</a>, \"x\", 4</b>, \"y\", 0x2) = 0"});
  EXPECT_EQ(facts.moved, (Moves{{"/a/x", "/b/y"}, {"/b/y", "/a/x"}}));
  EXPECT_EQ(facts.made, (Paths{"/a/x", "/b/y"}));
  EXPECT_EQ(facts.removed, (Paths{"/a/x", "/b/y"}));
}

}  // namespace
}  // namespace vanto::learning
