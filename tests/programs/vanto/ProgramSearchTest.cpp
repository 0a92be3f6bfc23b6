// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProgramSearch.h"

#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/TemporaryDirectory.h"

namespace vanto::tool {
namespace {

/// PATH is as before at the end.
class ProgramSearchTest : public ::testing::Test {
 protected:
  ProgramSearchTest() : before_(std::getenv("PATH")) {}
  ~ProgramSearchTest() override { setenv("PATH", before_.c_str(), 1); }

  std::string program(const std::string& name, mode_t mode) const {
    std::ofstream(directory_ / name) << "#!/bin/sh\n";
    chmod((directory_ / name).c_str(), mode);
    return directory_ / name;
  }

  test::TemporaryDirectory directory_;
  std::string before_;
};

TEST_F(ProgramSearchTest, FindsTheFirstProgramThatCanBeExecuted) {
  const std::string found = program("here", 0755);
  setenv("PATH", ("/no/such/directory:" + directory_.path() + ":/usr/bin").c_str(), 1);
  EXPECT_EQ(programNamed("here"), found);
  EXPECT_EQ(programNamed("env"), "/usr/bin/env");
}

TEST_F(ProgramSearchTest, FindsNothingThatIsNoProgram) {
  static_cast<void>(program("text", 0644));
  setenv("PATH", directory_.path().c_str(), 1);
  EXPECT_EQ(programNamed("text"), "");
  EXPECT_EQ(programNamed("none"), "");
  setenv("PATH", "", 1);
  EXPECT_EQ(programNamed("env"), "");
}

TEST_F(ProgramSearchTest, TakesAPathAsItIs) {
  EXPECT_EQ(programNamed("./none"), "./none");
  unsetenv("PATH");
  EXPECT_EQ(programNamed("env"), "/usr/bin/env");
}

}  // namespace
}  // namespace vanto::tool
