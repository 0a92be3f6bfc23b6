// SPDX-License-Identifier: Apache-2.0
#include "tolvend/JobStore.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "JobSamples.h"
#include "support/Child.h"
#include "support/OpenDescriptors.h"
#include "support/TemporaryDirectory.h"
#include "tolvend/JobIntake.h"
#include "value/limits.h"

namespace vanto::manager {
namespace {

Job job(const char* label = "org.example.echo", const char* program = "/opt/echo.vanto/echo") {
  const OwnedJobData data = goodJob(label);
  tolven_data_dict_insert(data.get(), "ProgramArguments", programData(program));
  Job taken;
  EXPECT_EQ(takeJob(data.get(), Domain::User, taken), "");
  return taken;
}

class JobStoreTest : public ::testing::Test {
 protected:
  [[nodiscard]] JobStore newStore() const {
    return JobStore(Fd(open(directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
  }
  /// All files in both folders.
  [[nodiscard]] std::set<std::string> files() const {
    std::set<std::string> found;
    for (const char* folder : {"jobs", "held"}) {
      for (const auto& entry : std::filesystem::directory_iterator(directory / folder)) {
        found.insert(std::string(folder) + "/" + entry.path().filename().string());
      }
    }
    return found;
  }
  void write(std::string_view name, std::string_view bytes) const { std::ofstream(directory / name) << bytes; }
  /// The damages, each with its reason.
  [[nodiscard]] std::set<std::string> damages() const {
    std::set<std::string> found;
    for (const auto& [file, reason] : newStore().read(Domain::User).damages) found.insert(file + ": " + reason);
    return found;
  }

  vanto::test::TemporaryDirectory directory;
};

TEST_F(JobStoreTest, GivesBackWhatWasPut) {
  JobStore store = newStore();
  ASSERT_FALSE(store.prepare());
  EXPECT_FALSE(store.putJob(job("org.example.b")));
  EXPECT_FALSE(store.putJob(job("org.example.a")));
  EXPECT_FALSE(store.putHeld("org.example.b"));
  EXPECT_FALSE(store.putHeld("org.example.b"));
  JobStore next = newStore();
  ASSERT_FALSE(next.prepare());
  const JobStore::Contents contents = next.read(Domain::User);
  ASSERT_EQ(contents.jobs.size(), 2U);
  EXPECT_EQ(contents.jobs[0].job.label, "org.example.a");
  EXPECT_FALSE(contents.jobs[0].isHeld);
  EXPECT_EQ(contents.jobs[1].job.data, job("org.example.b").data);
  EXPECT_TRUE(contents.jobs[1].isHeld);
  EXPECT_TRUE(contents.damages.empty());
}

TEST_F(JobStoreTest, NamesFilesAsTheSocketAndHidesThemFromOthers) {
  JobStore store = newStore();
  ASSERT_FALSE(store.prepare());
  EXPECT_FALSE(store.putJob(job("a/b")));
  EXPECT_EQ(files(), std::set<std::string>{"jobs/a%2Fb"});
  struct stat status {};
  ASSERT_EQ(stat((directory / "jobs/a%2Fb").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  ASSERT_EQ(stat((directory / "jobs").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST_F(JobStoreTest, KeepsAJobWithTheLongestName) {
  const std::string label(limits::ipcSocketNameBytes, 'x');
  JobStore store = newStore();
  ASSERT_FALSE(store.prepare());
  EXPECT_FALSE(store.putJob(job(label.c_str())));
  EXPECT_EQ(store.read(Domain::User).jobs.size(), 1U);
}

TEST_F(JobStoreTest, ReplacesAndRemoves) {
  JobStore store = newStore();
  ASSERT_FALSE(store.prepare());
  EXPECT_FALSE(store.putJob(job()));
  EXPECT_FALSE(store.putJob(job("org.example.echo", "/opt/new")));
  EXPECT_FALSE(store.putHeld("org.example.echo"));
  EXPECT_EQ(store.read(Domain::User).jobs.at(0).job.program, "/opt/new");
  EXPECT_FALSE(store.removeHeld("org.example.echo"));
  EXPECT_FALSE(store.read(Domain::User).jobs.at(0).isHeld);
  EXPECT_FALSE(store.putHeld("org.example.echo"));
  EXPECT_FALSE(store.removeJob("org.example.echo"));
  EXPECT_FALSE(store.removeJob("org.example.echo"));
  EXPECT_TRUE(files().empty());
}

TEST_F(JobStoreTest, TakesAwayWhatACrashLeftBehind) {
  JobStore store = newStore();
  ASSERT_FALSE(store.prepare());
  EXPECT_FALSE(store.putJob(job()));
  EXPECT_FALSE(store.putHeld("org.example.echo"));
  write("jobs/.unfinished", "half a job");
  write("held/.unfinished", "");
  write("held/org.example.gone", "");
  ASSERT_FALSE(newStore().prepare());
  EXPECT_EQ(files(), (std::set<std::string>{"jobs/org.example.echo", "held/org.example.echo"}));
}

TEST_F(JobStoreTest, NamesWhatIsDamagedAndLeavesItAlone) {
  ASSERT_FALSE(newStore().prepare());
  const std::string good = job().data;
  write("jobs/empty", "");
  write("jobs/cut", good.substr(0, good.size() - 1));
  write("jobs/other", good);
  write("jobs/large", std::string(limits::jobDataBytes + 1, '\0'));
  write("jobs/shared", good);
  std::filesystem::permissions(directory / "jobs/shared", std::filesystem::perms(0622));
  std::filesystem::create_directory(directory / "jobs/folder");
  std::filesystem::create_symlink("other", directory / "jobs/org.example.echo");
  ASSERT_EQ(mkfifo((directory / "jobs/pipe").c_str(), 0600), 0);
  const std::string noData = ": the bytes are no job data; give those that pack a job";
  EXPECT_EQ(damages(),
            (std::set<std::string>{"jobs/empty" + noData, "jobs/cut" + noData,
                                   "jobs/other: is the job of another label", "jobs/large: File too large (error 27)",
                                   "jobs/shared: can be written by others", "jobs/folder: is no regular file",
                                   "jobs/org.example.echo: is no regular file", "jobs/pipe: is no regular file"}));
  EXPECT_EQ(files().size(), 8U);
  EXPECT_TRUE(newStore().read(Domain::User).jobs.empty());
}

TEST_F(JobStoreTest, LeavesDirectoriesAloneAndNamesThem) {
  ASSERT_FALSE(newStore().prepare());
  EXPECT_FALSE(newStore().putJob(job()));
  for (const char* name : {"jobs/.unfinished", "held/.unfinished", "held/org.example.echo", "held/org.example.gone"}) {
    std::filesystem::create_directories(directory / name);
  }
  ASSERT_FALSE(newStore().prepare());
  EXPECT_EQ(damages(),
            (std::set<std::string>{"jobs/.unfinished: is no regular file", "held/.unfinished: is a directory",
                                   "held/org.example.echo: is a directory", "held/org.example.gone: is a directory"}));
  const JobStore::Contents contents = newStore().read(Domain::User);
  ASSERT_EQ(contents.jobs.size(), 1U);
  EXPECT_FALSE(contents.jobs[0].isHeld);
}

TEST_F(JobStoreTest, KeepsAJobWhoseMarkCannotBeRemoved) {
  JobStore store = newStore();
  ASSERT_FALSE(store.prepare());
  EXPECT_FALSE(store.putJob(job()));
  std::filesystem::create_directory(directory / "held/org.example.echo");
  EXPECT_EQ(storeFailureText(store.removeJob("org.example.echo")), "held/org.example.echo: Is a directory (error 21)");
  EXPECT_EQ(files(), (std::set<std::string>{"jobs/org.example.echo", "held/org.example.echo"}));
  EXPECT_EQ(store.read(Domain::User).jobs.size(), 1U);
}

TEST_F(JobStoreTest, NamesTheFilesOfOthers) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  ASSERT_FALSE(newStore().prepare());
  write("jobs/org.example.echo", job().data);
  ASSERT_EQ(chown((directory / "jobs/org.example.echo").c_str(), 4711, 0), 0);
  EXPECT_EQ(damages(), std::set<std::string>{"jobs/org.example.echo: belongs to user 4711"});
}

TEST_F(JobStoreTest, NamesAJobOfAnotherDomain) {
  JobStore store = newStore();
  ASSERT_FALSE(store.prepare());
  Job systemJob;
  ASSERT_EQ(takeJob(jobWith("VantoDomain", stringData("VantoSystem")).get(), Domain::System, systemJob), "");
  EXPECT_FALSE(store.putJob(systemJob));
  EXPECT_EQ(damages().size(), 1U);
  EXPECT_EQ(store.read(Domain::System).jobs.size(), 1U);
}

TEST_F(JobStoreTest, KeepsTheOldJobWhenTheNewOneCannotBeWritten) {
  JobStore store = newStore();
  ASSERT_FALSE(store.prepare());
  ASSERT_FALSE(store.putJob(job()));
  const auto outcome = vanto::testing::runInChild([&](const vanto::testing::ChildReport& report) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{20, 20};
    setrlimit(RLIMIT_FSIZE, &limit);
    report(storeFailureText(store.putJob(job("org.example.echo", "/opt/new"))));
  });
  EXPECT_EQ(outcome.lines, std::vector<std::string>{"jobs/org.example.echo: File too large (error 27)"});
  EXPECT_EQ(store.read(Domain::User).jobs.at(0).job.program, "/opt/echo.vanto/echo");
  EXPECT_EQ(files(), std::set<std::string>{"jobs/org.example.echo"});
}

TEST_F(JobStoreTest, TellsThatItsFoldersAreNone) {
  write("jobs", "");
  EXPECT_EQ(newStore().prepare().error, ENOTDIR);
  EXPECT_EQ(newStore().putJob(job()).error, ENOTDIR);
  EXPECT_EQ(damages(),
            (std::set<std::string>{"jobs: Not a directory (error 20)", "held: No such file or directory (error 2)"}));
}

TEST_F(JobStoreTest, TellsThatItsDirectoryIsGone) {
  JobStore store = newStore();
  std::filesystem::remove(directory.path());
  const StoreFailure failure = store.prepare();
  EXPECT_EQ(storeFailureText(failure), "jobs: No such file or directory (error 2)");
  std::filesystem::create_directory(directory.path());
}

TEST_F(JobStoreTest, TellsThatItMayNotWrite) {
  JobStore store = newStore();
  ASSERT_FALSE(store.prepare());
  ASSERT_FALSE(store.putJob(job()));
  const auto outcome = vanto::testing::runInChild([&](const vanto::testing::ChildReport& report) {
    std::filesystem::permissions(directory / "jobs", std::filesystem::perms(0500));
    // Root may write everywhere.
    if (geteuid() == 0 && (chown((directory / "jobs").c_str(), 4711, 4711) != 0 || seteuid(4711) != 0)) return;
    report(storeFailureText(store.putJob(job())));
    report(storeFailureText(store.removeJob("org.example.echo")));
  });
  EXPECT_EQ(outcome.lines, (std::vector<std::string>{"jobs/org.example.echo: Permission denied (error 13)",
                                                     "jobs/org.example.echo: Permission denied (error 13)"}));
}

TEST_F(JobStoreTest, LeavesNoDescriptorOpen) {
  const auto before = vanto::test::openDescriptors();
  {
    JobStore store = newStore();
    ASSERT_FALSE(store.prepare());
    EXPECT_FALSE(store.putJob(job()));
    write("jobs/damaged", "");
    EXPECT_EQ(store.read(Domain::User).jobs.size(), 1U);
  }
  EXPECT_EQ(vanto::test::openDescriptors(), before);
}

}  // namespace
}  // namespace vanto::manager
