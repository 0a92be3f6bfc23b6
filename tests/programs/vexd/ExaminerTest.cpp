// SPDX-License-Identifier: Apache-2.0
#include "vexd/Examiner.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <vector>

#include "programs/vexd/VexdFixture.h"
#include "vexd/limits.h"

namespace vanto::testing {
namespace {

using vexd::Examiner;
using vexd::Failure;
using vexd::Report;

class ExaminerTest : public ::testing::Test {
 protected:
  ExaminerTest() {
    std::filesystem::copy_file("/bin/sleep", program_);
    std::filesystem::create_directory(trust_);
    std::filesystem::permissions(trust_, std::filesystem::perms::owner_all);
    writeContents(trust_ + "/acme.plist", keyFile("acme", acme_).bytes);
  }

  static Report examine(Examiner& examiner, int process, bool isWanted = true) {
    auto promise = std::make_shared<std::promise<Report>>();
    examiner.examine(
        process, getuid(), [promise](const Report& report) { promise->set_value(report); },
        [isWanted] { return isWanted; });
    return promise->get_future().get();
  }
  [[nodiscard]] std::vector<vexd::TrustFiles::Place> places() const { return {{trust_, code::TrustOwner::User}}; }

  const TemporaryScope scope_;
  const test::TemporaryDirectory directory_;
  const std::string program_ = directory_ / "program";
  const std::string trust_ = directory_ / "trust";
  const code::KeyPair acme_ = keyPair(1);
};

TEST_F(ExaminerTest, ReportsWhatIsKnownOfAProcess) {
  Examiner examiner(VANTO_TEST_DIGESTER, places());
  const Sleeper sleeper(program_);
  EXPECT_EQ(examine(examiner, sleeper.process()).answer.reason, "it is not signed");
  signFile(program_, acme_, "org.example.sleep");
  const Report report = examine(examiner, sleeper.process());
  EXPECT_TRUE(report.answer.isValid) << report.answer.reason;
  EXPECT_EQ(report.answer.identifier, "org.example.sleep");
  EXPECT_NE(report.inode, 0U);
}

TEST_F(ExaminerTest, RefusesWhoIsGone) {
  Examiner examiner(VANTO_TEST_DIGESTER, places());
  Sleeper sleeper(program_);
  sleeper.end();
  EXPECT_EQ(examine(examiner, sleeper.process()).refusal.failure, Failure::Gone);
}

TEST_F(ExaminerTest, SaysSoWhenNothingCanBeDigested) {
  Examiner examiner("/nowhere/digester", places());
  const Sleeper sleeper(program_);
  EXPECT_EQ(examine(examiner, sleeper.process()).refusal.failure, Failure::Unavailable);
}

TEST_F(ExaminerTest, DigestsForNobodyWhoHasGivenUp) {
  Examiner examiner("/nowhere/digester", places());
  const Sleeper sleeper(program_);
  EXPECT_EQ(examine(examiner, sleeper.process(), false).refusal.failure, Failure::TimedOut);
}

TEST_F(ExaminerTest, DigestsAnExecutableOnceAndAgainWhenTrustChanges) {
  signFile(program_, acme_, "org.example.sleep");
  settle(program_ + ".Signature.plist");
  settle(trust_);
  const Sleeper sleeper(program_);
  Examiner examiner(VANTO_TEST_DIGESTER, places());
  EXPECT_TRUE(examine(examiner, sleeper.process()).answer.isValid);
  // What is kept is told to those too for whom nothing would be digested.
  EXPECT_TRUE(examine(examiner, sleeper.process(), false).answer.isValid);
  std::filesystem::remove(trust_ + "/acme.plist");
  EXPECT_EQ(examine(examiner, sleeper.process(), false).refusal.failure, Failure::TimedOut);
  EXPECT_FALSE(examine(examiner, sleeper.process()).answer.isValid);
}

TEST_F(ExaminerTest, TrustsNothingWhileItIsNotKnownWhatOneOfTheDirectoriesRevokes) {
  signFile(program_, acme_, "org.example.sleep");
  const Sleeper sleeper(program_);
  const std::string other = directory_ / "other";
  std::filesystem::create_directory(other);
  Examiner examiner(VANTO_TEST_DIGESTER, {{trust_, code::TrustOwner::User}, {other, code::TrustOwner::Either}});
  EXPECT_TRUE(examine(examiner, sleeper.process()).answer.isValid);
  const std::string revoked = other + "/revoked.plist";
  writeContents(revoked, code::Revocations{{acme_.publicKey}}.bytes());
  EXPECT_NE(examine(examiner, sleeper.process()).answer.reason.find("is revoked"), std::string::npos);
  chmod(revoked.c_str(), 0664);
  const std::string reason = "no key is trusted while it is not known which are revoked: " + other;
  EXPECT_EQ(examine(examiner, sleeper.process()).answer.reason,
            reason + ": revoked.plist can be written by others; chmod go-w takes that away");
  chmod(revoked.c_str(), 0644);
  writeContents(revoked, "junk");
  EXPECT_TRUE(
      examine(examiner, sleeper.process()).answer.reason.starts_with(reason + ": revoked.plist is no property"));
  std::filesystem::remove(revoked);
  EXPECT_TRUE(examine(examiner, sleeper.process()).answer.isValid);
}

TEST_F(ExaminerTest, DigestsOthersBesideALargeExecutableAndRefusesOneTooMany) {
  const std::string huge = directory_ / "huge";
  std::filesystem::copy_file("/bin/sleep", huge);
  std::filesystem::resize_file(huge, static_cast<std::uintmax_t>(vexd::limits::executableBytes));
  const Sleeper large(huge);
  const Sleeper small(program_);
  Examiner examiner(VANTO_TEST_DIGESTER, places());
  auto isWanted = std::make_shared<std::atomic<bool>>(true);
  std::vector<std::future<Report>> waiting;
  for (std::size_t i = 0; i < vexd::limits::waitingPerUser - 1; ++i) {
    auto promise = std::make_shared<std::promise<Report>>();
    waiting.push_back(promise->get_future());
    examiner.examine(
        large.process(), getuid(), [promise](const Report& report) { promise->set_value(report); },
        [isWanted] { return isWanted->load(); });
  }
  // Neither may the large one be over yet.
  EXPECT_EQ(examine(examiner, small.process()).answer.reason, "it is not signed");
  EXPECT_EQ(waiting.front().wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  auto last = std::make_shared<std::promise<Report>>();
  examiner.examine(
      large.process(), getuid(), [last](const Report& report) { last->set_value(report); },
      [isWanted] { return isWanted->load(); });
  EXPECT_EQ(examine(examiner, small.process()).refusal.failure, Failure::Busy);
  isWanted->store(false);
  EXPECT_EQ(last->get_future().get().refusal.failure, Failure::TimedOut);
  // Nobody waits for the first one, others do: it is ended.
  for (std::future<Report>& report : waiting) EXPECT_EQ(report.get().refusal.failure, Failure::TimedOut);
}

}  // namespace
}  // namespace vanto::testing
