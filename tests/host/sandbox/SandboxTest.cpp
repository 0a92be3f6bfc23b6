// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Sandbox.h"

#include <fstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>

#include "host/sandbox/Reading.h"
#include "support/Child.h"
#include "support/TemporaryDirectory.h"
#include "value/Fd.h"
#include "value/platform/sandbox.h"

namespace vanto::testing {
namespace {

class Sandbox : public ::testing::Test {
 protected:
  Sandbox() { setenv("XDG_RUNTIME_DIR", directory_.path().c_str(), 1); }
  ~Sandbox() override { unsetenv("XDG_RUNTIME_DIR"); }

  void write(std::string_view text) const { std::ofstream(path_) << text; }

  /// What a process is told that enters the profile; empty when it is confined.
  [[nodiscard]] std::string errorOf(const char* path, std::uint64_t flags = SandboxProfileIsFile) const {
    const char* const parameters[] = {"VantoService_identifier", "org.example.s", "VantoService_path",
                                      directory_.path().c_str(), nullptr};
    char* errorText = nullptr;
    const int result = sandbox_init_with_parameters(path, flags, parameters, &errorText);
    EXPECT_EQ(result, errorText == nullptr ? 0 : -1);
    std::string error = errorText != nullptr ? errorText : "";
    sandbox_free_error(errorText);
    return error;
  }

  /// The same in a process of its own, which stays unconfined.
  [[nodiscard]] std::string refusalOf(const char* path, std::uint64_t flags = SandboxProfileIsFile) const {
    const ChildOutcome outcome = runInChild([&](const ChildReport& report) {
      report(errorOf(path, flags));
      EXPECT_TRUE(canRead("/"));
      EXPECT_EQ(prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0), 0);
      EXPECT_EQ(sandboxReceipt().substr(0, 17), "level none\nerror ");
    });
    EXPECT_EQ(outcome.end, "exit status 0");
    return outcome.lines.empty() ? "" : outcome.lines[0];
  }

  const test::TemporaryDirectory directory_;
  const std::string path_ = directory_ / "tight.sb";
};

TEST_F(Sandbox, ConfinesTheProcessByTheProfileAndItsParameters) {
  write("version 1\nallow read ${VantoService_path}\n");
  const ChildOutcome outcome = runInChild([&](const ChildReport&) {
    EXPECT_EQ(sandboxReceipt(), "");
    EXPECT_EQ(errorOf(path_.c_str()), "");
    EXPECT_TRUE(canRead(path_));
    EXPECT_FALSE(canRead("/etc/passwd"));
    const std::string receipt(sandboxReceipt());
    EXPECT_TRUE(receipt.starts_with("level reduced\nasked ") || receipt.starts_with("level full\nasked ")) << receipt;
    EXPECT_NE(receipt.find("\nwitness denied: "), std::string::npos) << receipt;
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST_F(Sandbox, RefusesAProfileThatDoesNotCompile) {
  write("version 1\nallow reed /a\nallow\n");
  const std::string error = refusalOf(path_.c_str());
  EXPECT_EQ(error.substr(0, path_.size() + 6), path_ + ":2:7: ");
  EXPECT_TRUE(error.ends_with(" (and 1 more)")) << error;
}

TEST_F(Sandbox, RefusesAParameterThatNobodyGives) {
  write("allow read ${VantoService_home}/a\n");
  EXPECT_EQ(refusalOf(path_.c_str()).substr(0, path_.size() + 7), path_ + ":1:12: ");
}

TEST_F(Sandbox, RefusesAFileThatCannotBeRead) {
  EXPECT_EQ(refusalOf(path_.c_str()),
            "cannot open it: No such file or directory; let the service read it, and search the directories above it");
}

TEST_F(Sandbox, RefusesWhatIsNoFile) {
  write("network none\n");
  EXPECT_EQ(refusalOf(path_.c_str(), 0), "unknown flags 0; 3 names a file");
  EXPECT_EQ(refusalOf(nullptr), "no profile is named");
}

TEST_F(Sandbox, RefusesAProfileWithoutSayingWhyWhereNobodyAsks) {
  const ChildOutcome outcome = runInChild([&](const ChildReport&) {
    EXPECT_EQ(sandbox_init_with_parameters(path_.c_str(), SandboxProfileIsFile, nullptr, nullptr), -1);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST_F(Sandbox, KeepsWhyNoProfileWasEnteredAsTheReceipt) {
  const ChildOutcome outcome = runInChild([&](const ChildReport& report) {
    vanto_sandbox_record_failure("there is none; add one\nlevel full");
    EXPECT_TRUE(canRead("/"));
    report(sandboxReceipt());
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  const std::vector<std::string> receipt = {
      "level none", "error there is none; add one?level full", "asked ", "enforced ", "witness untested", ""};
  EXPECT_EQ(outcome.lines, receipt);
}

TEST_F(Sandbox, FreesNothingForNull) {
  sandbox_free_error(nullptr);
}

}  // namespace
}  // namespace vanto::testing
