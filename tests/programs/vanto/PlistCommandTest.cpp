// SPDX-License-Identifier: Apache-2.0
#include "vanto/PlistCommand.h"

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "programs/vanto/CapturedConsole.h"
#include "support/TemporaryDirectory.h"

namespace vanto::tool {
namespace {

using testing::runTool;
using testing::ToolRun;

class PlistCommandTest : public ::testing::Test {
 protected:
  [[nodiscard]] std::string file(const char* name, const std::string& contents) const {
    std::ofstream(directory_ / name) << contents;
    return directory_ / name;
  }
  static std::string contentsOf(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
  }

  const test::TemporaryDirectory directory_;
  const std::string xml_ =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n\t<key>a</key>\n\t<real>1</real>\n"
      "\t<key>b</key>\n\t<data>AQID</data>\n</dict>\n</plist>\n";
};

TEST_F(PlistCommandTest, PrintsForPeople) {
  const ToolRun run = runTool({"plist", file("a", xml_)});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(run.output, "a: 1.0\nb: 3 bytes 010203\n");
}

TEST_F(PlistCommandTest, ConvertsThereAndBack) {
  const std::string xml = file("a.plist", xml_);
  for (const char* form : {"binary", "json", "xml"}) {
    const std::string path = directory_ / form;
    EXPECT_EQ(runTool({"plist", xml, "--to", form, "-o", path}).status, ExitStatus::Fine);
    EXPECT_EQ(runTool({"plist", "--to", "xml", path}).output, xml_) << form;
  }
  EXPECT_EQ(contentsOf(directory_ / "json"), "{\n  \"a\": 1.0,\n  \"b\": {\n    \"$data\": \"AQID\"\n  }\n}\n");
}

TEST_F(PlistCommandTest, MayReplaceWhatItReads) {
  const std::string path = file("a", xml_);
  EXPECT_EQ(runTool({"plist", "-t", "binary", path, "-o", path}).status, ExitStatus::Fine);
  EXPECT_NE(contentsOf(path), xml_);
  EXPECT_EQ(runTool({"plist", "-t", "xml", path}).output, xml_);
}

TEST_F(PlistCommandTest, TellsWhereItIsWrong) {
  const std::string path = file("a", "{\"a\": nul}");
  const ToolRun run = runTool({"plist", path});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_TRUE(run.messages.starts_with("vanto: " + path + ":1:10: no JSON: ")) << run.messages;
  EXPECT_EQ(run.output, "");
}

TEST_F(PlistCommandTest, NamesTheKeyThatAFormCannotCarryAndKeepsTheOldFile) {
  const std::string path = file("a", "{\"a\": [\"\\u0001\"]}");
  const std::string output = file("out", "old");
  const ToolRun run = runTool({"plist", "--to", "xml", path, "-o", output});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_TRUE(run.messages.starts_with("vanto: " + path + ": no XML can carry it: a[0]: ")) << run.messages;
  EXPECT_EQ(contentsOf(output), "old");
}

TEST_F(PlistCommandTest, WritesNoBinaryToATerminal) {
  const ToolRun run = runTool({"plist", "--to", "binary", file("a", xml_)}, testing::plainTerminal);
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(runTool({"plist", "--to", "binary", file("a", xml_)}).status, ExitStatus::Fine);
}

TEST_F(PlistCommandTest, CannotInjectControlCharacters) {
  const std::string path =
      file("a\x1b", "<plist><dict><key>\u009b\u202e</key><string>\x7f&#x9b;\n</string></dict></plist>");
  for (const char* form : {"", "json", "xml"}) {
    std::vector<std::string> arguments{"plist", path};
    if (*form != '\0') arguments.insert(arguments.end(), {"--to", form});
    const ToolRun run = runTool(arguments);
    EXPECT_EQ(run.status, ExitStatus::Fine);
    for (const char c : run.output) EXPECT_TRUE(c == '\n' || c == '\t' || (c >= ' ' && c <= '~')) << form;
  }
  const ToolRun run = runTool({"plist", file("b\x1b", "\x1b]0;x\x07")});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  for (const char c : run.messages) EXPECT_TRUE(c == '\n' || (c >= ' ' && c <= '~')) << run.messages;
}

TEST_F(PlistCommandTest, WritesEscapedXmlThatIsTheSameValue) {
  const std::string path = file("a", "<plist><string>\u009b\u202e</string></plist>");
  const std::string escaped = file("b", runTool({"plist", "--to", "xml", path}).output);
  EXPECT_EQ(runTool({"plist", "--to", "json", escaped}).output, runTool({"plist", "--to", "json", path}).output);
}

}  // namespace
}  // namespace vanto::tool
