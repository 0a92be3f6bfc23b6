// SPDX-License-Identifier: Apache-2.0

// The life cycles have tests of their own, and real processes theirs; here is what lies between.
#include "tolvend/JobController.h"

#include <cerrno>
#include <csignal>
#include <filesystem>

#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include "ipc/Frame.h"
#include "ipc/FrameSocket.h"
#include "ipc/Refusal.h"
#include "programs/tolvend/ManagerWorld.h"
#include "support/MemoryLimit.h"

namespace vanto::test {
namespace {

using namespace manager;
using Lines = std::vector<std::string>;

/// A controller whose changes `look` is told of.
JobController& controllerOf(ManagerWorld& world, const Job& job, std::function<void(JobController&)> look,
                            ConfinementLevel floor = ConfinementLevel::None) {
  static JobSurroundings surroundings = world.surroundings();
  surroundings.floor = floor;
  static JobController* made = nullptr;
  static const auto told = std::move(look);
  made = new JobController(job, surroundings, [] { told(*made); });
  EXPECT_EQ(made->open(world.domain.get(), PublishedSocket::Access::Owner, PublishedSocket::Rival::Respect), "");
  return *made;
}

TEST(JobController, AStartThatFailsIsKnownWithItsProcess) {
  EXPECT_EQ(runWithEvents([](const auto& report, Alarms& alarms) {
              static ManagerWorld world(alarms);
              JobController& job = controllerOf(world, world.job("org.example.echo"), [report](JobController& self) {
                if (self.failures() == 0 || !self.isEmpty()) return;
                report(failureText(*self.lastFailure()).substr(0, 37));
                EXPECT_GT(self.pidOf(*self.lastFailure()), 0);
                EXPECT_TRUE(world.children.empty());
                EXPECT_TRUE(world.records.read().empty());
                EXPECT_EQ(self.starts(), 1U);
                finish();
              });
              job.begin();
              job.start();
              EXPECT_EQ(world.children.size(), 1U);
            }),
            Lines{"executable: No such file or directory"});
}

TEST(JobController, AProcessThatCannotBeWrittenDownIsKilled) {
  EXPECT_EQ(runWithEvents([](const auto& report, Alarms& alarms) {
              static ManagerWorld world(alarms);
              std::filesystem::create_directory(world.directory / "processes/.new");
              JobController& job = controllerOf(world, world.job("org.example.echo", world.speaker("listening\n")),
                                                [](JobController&) {});
              job.begin();
              job.start();
              EXPECT_EQ(job.failures(), 1U);
              report(failureText(*job.lastFailure()));
              EXPECT_EQ(job.starts(), 0U);
              EXPECT_TRUE(job.isEmpty());
              EXPECT_TRUE(world.children.empty());
              EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a process is left";
              EXPECT_EQ(errno, ECHILD);
              finish();
            }),
            Lines{"resources: Is a directory (error 21)"});
}

TEST(JobController, BeforeItBeginsItIsHeldAtOnceAndStartsNothing) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                static ManagerWorld world(alarms);
                JobController& job = controllerOf(world, world.job("org.example.echo"), [](JobController&) {});
                job.hold();
                EXPECT_FALSE(job.hasBegun());
                EXPECT_EQ(job.state(), LifeCycle::State::Held);
                job.start();
                EXPECT_EQ(job.state(), LifeCycle::State::Stopping);
                EXPECT_EQ(job.starts(), 0U);
                job.begin();
                EXPECT_TRUE(job.hasBegun());
                EXPECT_EQ(job.starts(), 1U);
                job.retire(StartFailure::Stage::Removed);
                EXPECT_FALSE(world.client("org.example.echo"));
                finish();
              }).empty());
}

// The sanitizer looks at memory through pipes, which it cannot make without descriptors.
#ifndef VANTO_TEST_SANITIZED
TEST(JobController, AClientForWhomThereIsNoDescriptorIsTold) {
  EXPECT_EQ(runWithEvents([](const auto& report, Alarms& alarms) {
              static ManagerWorld world(alarms);
              static const Fd client = [] {
                Job multiple = ManagerWorld::job("org.example.echo");
                multiple.isMultiple = true;
                controllerOf(world, multiple, [](JobController&) {}).begin();
                return world.client("org.example.echo");
              }();
              static Watch watch;
              EXPECT_EQ(watch.start(client.get(), EPOLLIN,
                                    [report](std::uint32_t) {
                                      FrameBuffer buffer;
                                      ReceivedFrame frame;
                                      Refusal refusal;
                                      EXPECT_EQ(receiveFrame(client.get(), Waiting::Never, buffer, nullptr, frame),
                                                ReceiveResult::Frame);
                                      EXPECT_TRUE(decodeRefusal(frame.payload, refusal));
                                      report(std::string(refusal.text));
                                      finish();
                                    }),
                        0);
              const int next = dup(0);
              close(next);
              const rlimit limit{static_cast<rlim_t>(next), static_cast<rlim_t>(next)};
              EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
            }),
            Lines{"org.example.echo: not started: resources: Too many open files (error 24)"});
}
#endif

TEST(JobController, PublishesItsSocketAgainWhereItIsLost) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                static ManagerWorld world(alarms);
                JobController& job = controllerOf(world, world.job("org.example.echo"), [](JobController&) {});
                const std::string path = world.directory / "org.example.echo";
                const Fd waiting = world.client("org.example.echo");
                job.lookAfterSocket();
                EXPECT_EQ(job.socketLoss(), nullptr) << "it was not lost";
                std::filesystem::remove(path);
                job.lookAfterSocket();
                ASSERT_NE(job.socketLoss(), nullptr);
                EXPECT_TRUE(job.socketLoss()->isMended);
                EXPECT_TRUE(world.client("org.example.echo"));
                // Whoever waited still does, since it is the same socket.
                char byte = 0;
                EXPECT_EQ(recv(waiting.get(), &byte, 1, MSG_DONTWAIT), -1);
                std::filesystem::remove(path);
                job.lookAfterSocket();
                EXPECT_EQ(job.log().lines().size(), 1U) << "told twice within a moment";
                EXPECT_EQ(job.log().last()->text,
                          "the listening socket was removed or replaced by somebody, and is published again");
                finish();
              }).empty());
}

TEST(JobController, SaysWhatIsInTheWayOfItsSocket) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                static ManagerWorld world(alarms);
                JobController& job = controllerOf(world, world.job("org.example.echo"), [](JobController&) {});
                const std::string path = world.directory / "org.example.echo";
                std::filesystem::remove(path);
                std::ofstream(path) << "text";
                job.lookAfterSocket();
                job.lookAfterSocket();
                EXPECT_FALSE(job.socketLoss()->isMended);
                EXPECT_EQ(job.log().lines().size(), 1U);
                EXPECT_EQ(job.log().last()->text, "the listening socket was removed or replaced by somebody; move " +
                                                      path + " away, which is none");
                EXPECT_EQ(std::filesystem::file_size(path), 4U);
                std::filesystem::remove(path);
                job.lookAfterSocket();
                EXPECT_TRUE(job.socketLoss()->isMended);
                EXPECT_TRUE(world.client("org.example.echo"));
                finish();
              }).empty());
}

TEST(JobController, BindsAnotherSocketWhereTheOldOneCannotBeFound) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                static ManagerWorld world(alarms);
                JobController& job = controllerOf(world, world.job("org.example.echo"), [](JobController&) {});
                const Fd waiting = world.client("org.example.echo");
                std::filesystem::remove(world.directory / "org.example.echo");
                world.sockets.remove("org.example.echo");
                job.lookAfterSocket();
                EXPECT_TRUE(job.socketLoss()->isMended);
                EXPECT_EQ(job.failures(), 0U);
                EXPECT_TRUE(world.client("org.example.echo"));
                EXPECT_TRUE(world.sockets.has("org.example.echo"));
                char byte = 0;
                EXPECT_EQ(recv(waiting.get(), &byte, 1, MSG_DONTWAIT), 0) << "it would wait for ever";
                finish();
              }).empty());
}

TEST(JobController, ListsItsInstancesAndTheirLines) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                static ManagerWorld world(alarms);
                JobController& job =
                    controllerOf(world, world.job("org.example.echo", VANTO_TEST_PROBE), [](JobController& self) {
                      if (self.isEmpty() && self.starts() == 1) finish();
                    });
                job.begin();
                job.start();
                const std::vector<JobController::Instance> instances = job.instances();
                ASSERT_EQ(instances.size(), 1U);
                EXPECT_EQ(instances[0].state, InstanceRecord::State::Starting);
                EXPECT_FALSE(instances[0].isExecuted);
                job.addToLog(instances[0].pid, "its line");
                job.addToLog(getpid(), "another's");
                ASSERT_EQ(job.log().lines().size(), 1U);
                EXPECT_EQ(job.log().last()->text, "its line");
              }).empty());
}

/// What becomes of a service that does as its `lines` say, where it must be confined so far: its level and receipt once
/// it runs, or its failure.
Lines fateOf(const char* lines, ConfinementLevel floor, bool isMultiple = false) {
  return runWithEvents([=](const auto& report, Alarms& alarms) {
    static ManagerWorld world(alarms);
    static Fd client;
    Job served = world.job("org.example.echo", world.speaker(lines));
    served.isMultiple = isMultiple;
    JobController& job = controllerOf(
        world, served,
        [report](JobController& self) {
          if (self.failures() != 0 && self.isEmpty()) {
            report(failureText(*self.lastFailure()));
            EXPECT_GT(self.pidOf(*self.lastFailure()), 0);
            finish();
          }
          for (const JobController::Instance& instance : self.instances()) {
            if (instance.state != InstanceRecord::State::Running) continue;
            report(instance.confinement ? nameOf(*instance.confinement) : "unknown");
            report(instance.receipt);
            kill(instance.pid, SIGKILL);
            finish();
          }
        },
        floor);
    job.begin();
    client = world.client("org.example.echo");
  });
}

TEST(JobController, KeepsTheFirstReceiptOfAnInstance) {
  constexpr auto none = ConfinementLevel::None;
  const char* const twice = "level reduced\nmissing ioctl: x\n\nlevel full\n\nlistening\n";
  EXPECT_EQ(fateOf(twice, none), (Lines{"reduced", "level reduced", "missing ioctl: x", ""}));
  EXPECT_EQ(fateOf("listening\n", none), (Lines{"none", ""}));
  EXPECT_EQ(fateOf("nonsense\n\nlistening\n", none), (Lines{"none", ""}));
}

TEST(JobController, EndsWhatIsConfinedTooLittle) {
  constexpr auto full = ConfinementLevel::Full;
  for (const bool isMultiple : {false, true}) {
    EXPECT_EQ(fateOf("level full\n\nlistening\n", full, isMultiple), (Lines{"full", "level full", ""}));
    const Lines reduced = fateOf("level reduced\nmissing ioctl: too old\n\nlistening\n", full, isMultiple);
    ASSERT_EQ(reduced.size(), 1U);
    EXPECT_TRUE(reduced[0].starts_with(
        "confinement: confined in part (the manager demands full): missing ioctl: too old; next attempt in 0."))
        << reduced[0];
    const Lines none = fateOf("listening\n", ConfinementLevel::Reduced, isMultiple);
    ASSERT_EQ(none.size(), 1U);
    EXPECT_TRUE(none[0].starts_with("confinement: not confined (the manager demands reduced): no profile")) << none[0];
  }
}

}  // namespace
}  // namespace vanto::test
