// SPDX-License-Identifier: Apache-2.0
#include "vanto/CacheCheckCommand.h"

#include <filesystem>

#include "programs/vanto/ServiceFixture.h"

namespace vanto::tool {
namespace {

using test::BundleBuilder;
using testing::runTool;
using testing::ToolRun;

class CacheCheckCommandTest : public testing::ServiceFixture {
 protected:
  CacheCheckCommandTest() {
    BundleBuilder(directory_.path(), "B.vanto").identifier("b").service().build();
    EXPECT_EQ(runTool({"cache", "write", file_, directory_.path()}).status, ExitStatus::Fine);
  }

  const std::string file_ = directory_ / "cache";
};

TEST_F(CacheCheckCommandTest, IsSilentWhenNothingIsStale) {
  const ToolRun run = runTool({"cache", "check", file_});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(run.output + run.messages, "");
  EXPECT_EQ(runTool({"cache", "check", "--json", file_}).output, "[]\n");
}

TEST_F(CacheCheckCommandTest, SaysWhatIsStaleAndWhy) {
  bundle_.serviceEntry("RunLoopType", "<string>QelRunLoop</string>").build();
  std::filesystem::remove_all(directory_ / "B.vanto");
  BundleBuilder(directory_.path(), "C.vanto").identifier("c").service().build();
  const ToolRun run = runTool({"cache", "check", file_});
  EXPECT_EQ(run.status, ExitStatus::Found);
  std::string output = shortened(run.output);
  while (output.find("  ") != output.npos) output.erase(output.find("  "), 1);
  EXPECT_EQ(output,
            "BUNDLE STATE REASON\n"
            "DIR/A.vanto changed service dictionary differs (RunLoopType)\n"
            "DIR/B.vanto gone there is nothing any more\n"
            "DIR/C.vanto new the cache does not have it\n");
}

TEST_F(CacheCheckCommandTest, PrintsJsonForScripts) {
  std::filesystem::remove_all(directory_ / "B.vanto");
  EXPECT_EQ(shortened(runTool({"cache", "check", "--json", file_}).output),
            "[\n  {\n    \"bundle\": \"DIR/B.vanto\",\n    \"reason\": \"there is nothing any more\",\n    \"state\": "
            "\"gone\"\n  }\n]\n");
}

TEST_F(CacheCheckCommandTest, LooksForNewServicesWhereItIsTold) {
  BundleBuilder(directory_ / "more", "C.vanto").identifier("c").service().build();
  EXPECT_EQ(runTool({"cache", "check", file_}).status, ExitStatus::Fine);
  EXPECT_EQ(runTool({"cache", "check", file_, directory_ / "more"}).status, ExitStatus::Found);
}

TEST_F(CacheCheckCommandTest, TakesAPlaceForTheSameHoweverItIsWritten) {
  for (const char* detour : {"", "/", "/.", "//./"}) {
    EXPECT_EQ(runTool({"cache", "write", file_, directory_.path() + detour}).status, ExitStatus::Fine);
    const ToolRun run = runTool({"cache", "check", file_, directory_.path()});
    EXPECT_EQ(run.status, ExitStatus::Fine) << detour << run.output;
  }
}

TEST_F(CacheCheckCommandTest, FailsForWhatCannotBeRead) {
  EXPECT_EQ(runTool({"cache", "check", directory_ / "none"}).status, ExitStatus::Failed);
  EXPECT_EQ(runTool({"cache", "check", file_, directory_ / "none"}).status, ExitStatus::Failed);
}

}  // namespace
}  // namespace vanto::tool
