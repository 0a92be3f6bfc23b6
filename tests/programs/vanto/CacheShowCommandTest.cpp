// SPDX-License-Identifier: Apache-2.0
#include "vanto/CacheShowCommand.h"

#include <fstream>

#include "programs/vanto/ServiceFixture.h"

namespace vanto::tool {
namespace {

using testing::runTool;
using testing::ToolRun;

class CacheShowCommandTest : public testing::ServiceFixture {
 protected:
  [[nodiscard]] std::string fileWith(const std::string& contents) const {
    std::ofstream(directory_ / "cache") << contents;
    return directory_ / "cache";
  }
};

TEST_F(CacheShowCommandTest, ShowsWhatListShowed) {
  ASSERT_EQ(runTool({"cache", "write", directory_ / "cache", directory_.path()}).status, ExitStatus::Fine);
  EXPECT_EQ(runTool({"cache", "show", directory_ / "cache"}).output, runTool({"list", directory_.path()}).output);
  EXPECT_EQ(runTool({"cache", "show", "--json", directory_ / "cache"}).output,
            runTool({"list", "--json", directory_.path()}).output);
}

TEST_F(CacheShowCommandTest, TakesArchivesOfEveryKind) {
  const std::string kinds[] = {"1",
                               "\"x\"",
                               "[]",
                               "{}",
                               R"({"_serviceType": "x", "_serviceIdentifier": []})",
                               R"({"_serviceDictionary": 1, "_executablePath": {"$data": ""}})"};
  for (const std::string& kind : kinds) {
    const std::string file =
        fileWith(R"({"VantoServiceCacheVersion": 1, "Places": [], "Bundles": ["/a"], "Services": [)" + kind + "]}");
    const ToolRun run = runTool({"cache", "show", file});
    EXPECT_EQ(run.status, ExitStatus::Fine) << kind;
    EXPECT_EQ(run.output, "IDENTIFIER  TYPE  BUNDLE\n-           -     /a\n") << kind;
  }
}

TEST_F(CacheShowCommandTest, FailsForWhatIsNoCache) {
  EXPECT_EQ(runTool({"cache", "show", directory_ / "none"}).status, ExitStatus::Failed);
  EXPECT_EQ(runTool({"cache", "show", fileWith("[]")}).status, ExitStatus::Failed);
  EXPECT_EQ(runTool({"cache", "show", bundle_.infoPath()}).status, ExitStatus::Failed);
}

TEST_F(CacheShowCommandTest, CannotInjectControlCharacters) {
  const std::string file = fileWith(
      R"({"VantoServiceCacheVersion": 1, "Places": [], "Bundles": ["\u001b[2J"], "Services": [{"_serviceIdentifier": "\u009b\n"}]})");
  EXPECT_TRUE(testing::isHarmless(runTool({"cache", "show", file}).output));
  EXPECT_TRUE(testing::isHarmless(runTool({"cache", "show", "--json", file}).output));
  EXPECT_TRUE(testing::isHarmless(runTool({"cache", "check", file}).output));
}

}  // namespace
}  // namespace vanto::tool
