// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileExplainCommand.h"

#include <filesystem>

#include "programs/vanto/ProfileFixture.h"

namespace vanto::tool {
namespace {

using testing::runTool;
using testing::ToolRun;

class ProfileExplainCommandTest : public testing::ProfileFixture {
 protected:
  ToolRun explain(const std::string& text, const std::vector<std::string>& asked) const {
    std::vector<std::string> arguments{"profile", "explain", profile(text)};
    arguments.insert(arguments.end(), asked.begin(), asked.end());
    ToolRun run = runTool(arguments);
    run.output = shortened(run.output);
    return run;
  }
};

TEST_F(ProfileExplainCommandTest, NamesTheLineThatDecidesAndTheOthers) {
  const ToolRun run = explain("allow read /  # all\n  allow read,write /etc\n", {"read", "/etc/b"});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(run.output, "allowed by DIR/a.sb:2: allow read,write /etc\nalso by    DIR/a.sb:1: allow read /\n");
}

TEST_F(ProfileExplainCommandTest, NamesBaseProfilesByTheLineThatIncludesThem) {
  EXPECT_EQ(explain("\ninclude base\n", {"read", "/etc/passwd"}).output,
            "allowed by DIR/a.sb:2: include base (read /etc/passwd)\n");
}

TEST_F(ProfileExplainCommandTest, SaysThatItIsDeniedAndWhichKernelsDoNot) {
  const ToolRun path = explain("", {"read", "/etc/shadow"});
  EXPECT_EQ(path.status, ExitStatus::Found);
  EXPECT_EQ(path.output, "denied: no statement of DIR/a.sb allows it\nbut Linux before 5.13 leaves it open\n");
  EXPECT_EQ(explain("", {"network"}).output,
            "denied: no statement of DIR/a.sb allows it\nbut Linux before 5.13 leaves it open\n");
}

TEST_F(ProfileExplainCommandTest, AsksForReadingToo) {
  const ToolRun both = explain("allow execute /usr/bin\nallow read /usr\n", {"execute", "/usr/bin/env"});
  EXPECT_EQ(both.status, ExitStatus::Fine);
  EXPECT_EQ(both.output,
            "allowed by DIR/a.sb:1: allow execute /usr/bin\nwith read, allowed by DIR/a.sb:2: allow read /usr\n");
  const ToolRun alone = explain("allow execute /usr/bin\n", {"execute", "/usr/bin/env"});
  EXPECT_EQ(alone.status, ExitStatus::Found);
  EXPECT_EQ(alone.output,
            "denied: no statement of DIR/a.sb allows read there, and executing needs both\n"
            "but Linux before 5.13 leaves it open\n");
  EXPECT_EQ(explain("allow read /usr\n", {"execute", "/usr/bin/env"}).output,
            "denied: no statement of DIR/a.sb allows it\n"
            "but Linux before 5.13 leaves it open\n");
  EXPECT_EQ(explain("", {"execute", "/usr/bin/env"}).output,
            "denied: no statement of DIR/a.sb allows read or execute there, and executing needs both\n"
            "but Linux before 5.13 leaves it open\n");
}

TEST_F(ProfileExplainCommandTest, SaysWhenWhatIsAllowedGetsNoRule) {
  const ToolRun absent = explain("allow write /no/such/place\n", {"write", "/no/such/place/x"});
  EXPECT_EQ(absent.status, ExitStatus::Unsettled);
  EXPECT_EQ(absent.output,
            "would be allowed by DIR/a.sb:1: allow write /no/such/place\n"
            "but /no/such/place is not there, and what is absent when the profile is entered gets no rule\n");
  const ToolRun file = explain("allow create " + directory_ / "a.sb" + "\n", {"create", directory_ / "a.sb"});
  EXPECT_EQ(file.status, ExitStatus::Unsettled);
  EXPECT_EQ(file.output,
            "would be allowed by DIR/a.sb:1: allow create DIR/a.sb\n"
            "but DIR/a.sb is a file, where create is without effect\n");
  EXPECT_EQ(explain("allow execute /no/such\nallow read /\n", {"execute", "/no/such/x"}).status, ExitStatus::Unsettled);
}

TEST_F(ProfileExplainCommandTest, AllowsByAnyStatementThatGetsARule) {
  const ToolRun run = explain("allow read /\nallow read /no/such/place\n", {"read", "/no/such/place"});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(run.output, "allowed by DIR/a.sb:1: allow read /\n");
}

TEST_F(ProfileExplainCommandTest, ExplainsPortsAndRightsWithoutSubject) {
  EXPECT_EQ(explain("allow connect tcp 80-90", {"connect", "85"}).output,
            "allowed by DIR/a.sb:1: allow connect tcp 80-90\n");
  EXPECT_EQ(explain("allow connect tcp 80-90", {"bind", "85"}).status, ExitStatus::Found);
  EXPECT_EQ(explain("allow signal", {"signal"}).output, "allowed by DIR/a.sb:1: allow signal\n");
}

TEST_F(ProfileExplainCommandTest, FollowsLinksOnBothSides) {
  std::filesystem::create_directory(directory_ / "real");
  std::filesystem::create_directory_symlink(directory_ / "real", directory_ / "link");
  EXPECT_EQ(explain("allow read " + directory_ / "link", {"read", directory_ / "real/x"}).status, ExitStatus::Fine);
  EXPECT_EQ(explain("allow read " + directory_ / "real", {"read", directory_ / "link/x"}).status, ExitStatus::Fine);
}

TEST_F(ProfileExplainCommandTest, DoesNotFollowLinksThatTheServiceCanMake) {
  std::filesystem::create_directories(directory_ / "own");
  std::filesystem::create_directory(directory_ / "secret");
  std::filesystem::create_directory_symlink("../secret", directory_ / "own/link");
  const std::string text = "allow read,create " + directory_ / "own" + "\nallow read " + directory_ / "own/link" + "\n";
  for (const char* asked : {"own/link", "own/link/x", "secret/x"}) {
    const ToolRun run = explain(text, {"read", directory_ / asked});
    EXPECT_EQ(run.status, ExitStatus::Unsettled);
    EXPECT_EQ(run.output,
              "would be allowed by DIR/a.sb:2: allow read DIR/own/link\n"
              "but DIR/own/link gets no rule: the profile lets links be made where DIR/own/link is, so that it is not "
              "followed\n");
  }
  EXPECT_EQ(explain(text, {"write", directory_ / "own/link"}).status, ExitStatus::Found);
  EXPECT_EQ(explain(text + "allow read " + directory_ / "secret", {"read", directory_ / "own/link"}).status,
            ExitStatus::Fine);
}

TEST_F(ProfileExplainCommandTest, AsksTheDirectoryOfWhatIsRemoved) {
  std::filesystem::create_directory(directory_ / "d");
  std::filesystem::create_directory_symlink("/usr", directory_ / "d/link");
  const std::string text = "allow create,remove " + directory_ / "d\n";
  const ToolRun itself = explain(text, {"remove", directory_ / "d"});
  EXPECT_EQ(itself.status, ExitStatus::Found);
  EXPECT_EQ(itself.output,
            "denied: no statement of DIR/a.sb allows remove in DIR\nbut Linux before 5.13 leaves it open\n");
  EXPECT_EQ(explain(text, {"remove", directory_ / "d/x"}).status, ExitStatus::Fine);
  EXPECT_EQ(explain(text, {"create", directory_ / "d"}).status, ExitStatus::Fine);
  // The link goes, and not what it leads to.
  EXPECT_EQ(explain(text, {"remove", directory_ / "d/link"}).status, ExitStatus::Fine);
  EXPECT_EQ(explain(text, {"remove", directory_ / "d/link/bin"}).status, ExitStatus::Found);
  EXPECT_EQ(explain("allow remove /\n", {"remove", "/"}).status, ExitStatus::Found);
}

TEST_F(ProfileExplainCommandTest, AsksForCreateAndRemoveWithRename) {
  std::filesystem::create_directory(directory_ / "d");
  const auto renameWith = [this](const char* rights) {
    return explain("allow " + std::string(rights) + " " + directory_ / "d", {"rename", directory_ / "d/x"});
  };
  const std::string line = "DIR/a.sb:1: allow rename,create,remove DIR/d\n";
  EXPECT_EQ(renameWith("rename,create,remove").status, ExitStatus::Fine);
  EXPECT_EQ(renameWith("rename,create,remove").output,
            "allowed by " + line + "with create, allowed by " + line + "with remove, allowed by " + line);
  const std::string denied = "denied: no statement of DIR/a.sb allows ";
  const std::string end = "but Linux before 5.13 leaves it open\n";
  EXPECT_EQ(renameWith("rename,remove").status, ExitStatus::Found);
  EXPECT_EQ(renameWith("rename,remove").output,
            denied + "create in DIR/d\nthings can be moved and linked from there, and none to there\n" + end);
  EXPECT_EQ(renameWith("rename,create").output,
            denied + "remove in DIR/d\nthings can be moved and linked to there, and only linked from there\n" + end);
  EXPECT_EQ(renameWith("rename").output,
            denied + "create or remove in DIR/d\nthings can be linked from there, and no more\n" + end);
  EXPECT_EQ(renameWith("create,remove").output, denied + "rename in DIR/d\n" + end);
}

TEST_F(ProfileExplainCommandTest, NamesWhereNothingCanBeRenamedTo) {
  for (const char* name : {"a", "b"}) std::filesystem::create_directory(directory_ / name);
  const std::string text = "allow rename,create,remove " + directory_ / "a " + directory_ / "b" +
                           "\nallow read,execute " + directory_ / "b\n";
  EXPECT_NE(explain(text, {"rename", directory_ / "a/x"})
                .output.find("\nbut not to DIR/b, which has more: read, execute (EXDEV)\n"),
            std::string::npos);
  EXPECT_NE(explain(text, {"rename", directory_ / "b/x"})
                .output.find("\nbut not from DIR/a, which lacks read, execute (EXDEV)\n"),
            std::string::npos);
  const std::string newer =
      "allow rename,create,remove " + directory_ / "a " + directory_ / "b" + "\nallow truncate " + directory_ / "b\n";
  EXPECT_NE(explain(newer, {"rename", directory_ / "a/x"})
                .output.find("has more: truncate (EXDEV; Linux before 6.2 does not mind)\n"),
            std::string::npos);
}

TEST_F(ProfileExplainCommandTest, SaysWhenTheAnswerHangsOnAParameter) {
  const std::string text = "allow read ${VantoService_path}\n";
  EXPECT_EQ(explain(text, {"read", "/opt/x"}).messages,
            "vanto: unless it is beneath what VantoService_path stands for; say with --bundle\n");
  EXPECT_EQ(explain(text, {"write", "/opt/x"}).messages, "");
  EXPECT_EQ(explain(text, {"read", "/opt/x", "--parameter", "VantoService_path=/opt"}).status, ExitStatus::Fine);
  EXPECT_EQ(explain(text, {"read", bundle_.path() + "/Contents", "--bundle", bundle_.path()}).status, ExitStatus::Fine);
}

TEST_F(ProfileExplainCommandTest, FailsForQuestionsThatMakeNoSense) {
  for (const std::vector<std::string>& asked : std::vector<std::vector<std::string>>{
           {"nonsense"}, {"read"}, {"connect"}, {"connect", "80-90"}, {"connect", "x"}, {"signal", "x"}}) {
    EXPECT_EQ(explain("", asked).status, ExitStatus::Failed) << asked[0];
  }
  EXPECT_EQ(explain("nonsense", {"signal"}).status, ExitStatus::Failed);
}

}  // namespace
}  // namespace vanto::tool
