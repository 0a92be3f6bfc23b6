// SPDX-License-Identifier: Apache-2.0
#include "vantoproxy/Executable.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/TemporaryDirectory.h"
#include "value/Fd.h"

namespace vanto::test {
namespace {

constexpr const char* noVariables[] = {nullptr};

TEST(Executable, WantsOneAbsolutePath) {
  char name[] = "vantoproxy";
  char path[] = "/bin/true";
  char relative[] = "bin/true";
  char* arguments[] = {name, path, path, nullptr};
  EXPECT_FALSE(checkCall(2, arguments));
  EXPECT_EQ(checkCall(0, arguments + 3).stage, ExecStage::Call);
  EXPECT_EQ(checkCall(1, arguments).error, EINVAL);
  EXPECT_EQ(checkCall(3, arguments).error, EINVAL);
  arguments[1] = relative;
  EXPECT_EQ(checkCall(2, arguments).error, EINVAL);
}

TEST(Executable, LooksAtTheKindOfTheFileAndNotAtItsRights) {
  EXPECT_FALSE(checkExecutable(VANTO_TEST_PROBE));
  EXPECT_FALSE(checkExecutable("/etc/passwd"));
  EXPECT_EQ(checkExecutable("/etc").error, EISDIR);
  EXPECT_EQ(checkExecutable("/etc/missing").error, ENOENT);
}

TEST(Executable, DoesNotWaitForAWriterOfANamedPipe) {
  const TemporaryDirectory directory;
  ASSERT_EQ(mkfifo((directory / "pipe").c_str(), 0700), 0);
  EXPECT_EQ(checkExecutable((directory / "pipe").c_str()).error, EACCES);
}

TEST(Executable, TakesAnEmptyFileForNoScript) {
  const TemporaryDirectory directory;
  const std::string empty = directory / "empty";
  Fd(open(empty.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0700)).reset();
  EXPECT_FALSE(checkExecutable(empty.c_str()));
  EXPECT_EQ(execute(empty.c_str(), noVariables).error, ENOEXEC);
}

TEST(Executable, TellsWhyTheSystemRefuses) {
  const TemporaryDirectory directory;
  const std::string busy = directory / "busy";
  const Fd writing(open(busy.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0700));
  const Failure failure = execute(busy.c_str(), noVariables);
  EXPECT_EQ(failure.stage, ExecStage::Execution);
  EXPECT_EQ(failure.error, ETXTBSY);
  EXPECT_STREQ(failure.reason, "is open for writing");
}

TEST(Executable, TellsALoaderThatIsMissingFromAFileThatIs) {
  const TemporaryDirectory directory;
  const std::string script = directory / "script";
  Fd writing(open(script.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0700));
  const std::string text = "#!/missing/loader\n";
  ASSERT_EQ(write(writing.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  EXPECT_EQ(checkExecutable(script.c_str()).error, ENOEXEC);
  writing.reset();
  const Failure failure = execute(script.c_str(), noVariables);
  EXPECT_EQ(failure.error, ENOENT);
  EXPECT_STREQ(failure.reason, "needs a loader that is not there");
  EXPECT_EQ(exitStatusOf(failure), 126);
}

}  // namespace
}  // namespace vanto::test
