// SPDX-License-Identifier: Apache-2.0
#include "tolvend/JobListener.h"

#include <filesystem>

#include <sys/socket.h>

#include "ipc/Frame.h"
#include "ipc/FrameSocket.h"
#include "ipc/Refusal.h"
#include "programs/tolvend/ManagerWorld.h"

namespace vanto::test {
namespace {

using namespace manager;
using Lines = std::vector<std::string>;
using Access = PublishedSocket::Access;
using Rival = PublishedSocket::Rival;

std::string refusalAt(const Fd& client) {
  FrameBuffer buffer;
  ReceivedFrame frame;
  Refusal refusal;
  if (receiveFrame(client.get(), Waiting::Never, buffer, nullptr, frame) != ReceiveResult::Frame) return "nothing";
  EXPECT_EQ(frame.header.kind, FrameKind::Refusal);
  EXPECT_TRUE(decodeRefusal(frame.payload, refusal));
  return std::to_string(refusal.code) + " " + std::string(refusal.text);
}

TEST(JobListener, TellsOfClientsWhileItIsWatched) {
  EXPECT_EQ(runWithEvents([](const auto& report, Alarms& alarms) {
              static ManagerWorld world(alarms);
              static JobListener* self = nullptr;
              static JobListener listener(alarms, world.spare, [report] {
                EXPECT_TRUE(self->isAnybodyWaiting());
                EXPECT_TRUE(self->accept().socket);
                EXPECT_FALSE(self->isAnybodyWaiting());
                report("waiting");
                finish();
              });
              self = &listener;
              EXPECT_EQ(listener.open(world.domain.get(), "name", Access::Owner, Rival::Respect), "");
              static const Fd client = world.client("name");
              static Alarm later(alarms, [report] {
                report("not watched");
                listener.watch(true);
              });
              later.set(0);
            }),
            (Lines{"not watched", "waiting"}));
}

TEST(JobListener, RefusesAllWhoWait) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                ManagerWorld world(alarms);
                JobListener listener(alarms, world.spare, [] {});
                EXPECT_EQ(listener.open(world.domain.get(), "name", Access::Owner, Rival::Respect), "");
                const Fd one = world.client("name");
                const Fd other = world.client("name");
                listener.refuseAll({VANTO_ERROR_START, "a reason", "; a secret"});
                EXPECT_EQ(refusalAt(one), "15 a reason; a secret");
                EXPECT_EQ(refusalAt(other), "15 a reason; a secret");
                EXPECT_FALSE(listener.isAnybodyWaiting());
                finish();
              }).empty());
}

TEST(JobListener, NamesWhatIsNoSocketAndLeavesItAlone) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                ManagerWorld world(alarms);
                std::ofstream(world.directory / "name") << "text";
                JobListener listener(alarms, world.spare, [] {});
                for (const Rival rival : {Rival::Respect, Rival::Replace}) {
                  EXPECT_EQ(listener.open(world.domain.get(), "name", Access::Owner, rival),
                            world.directory / "name" + " is no socket; move it away");
                }
                listener.close();
                EXPECT_EQ(std::filesystem::file_size(world.directory / "name"), 4U);
                finish();
              }).empty());
}

TEST(JobListener, KnowsAClientWhoHasLeft) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                ManagerWorld world(alarms);
                JobListener listener(alarms, world.spare, [] {});
                EXPECT_EQ(listener.open(world.domain.get(), "name", Access::Owner, Rival::Respect), "");
                Fd client = world.client("name");
                const Fd accepted = listener.accept().socket;
                EXPECT_FALSE(JobListener::hasLeft(accepted.get()));
                EXPECT_EQ(write(client.get(), "x", 1), 1);
                EXPECT_FALSE(JobListener::hasLeft(accepted.get()));
                client.reset();
                EXPECT_TRUE(JobListener::hasLeft(accepted.get()));
                finish();
              }).empty());
}

TEST(JobListener, RespectsOrReplacesARival) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                ManagerWorld world(alarms);
                PublishedSocket rival;
                EXPECT_EQ(rival.open(world.openAt(""), "name"), VANTO_ERROR_NONE);
                JobListener listener(alarms, world.spare, [] {});
                EXPECT_EQ(listener.open(world.domain.get(), "name", Access::Owner, Rival::Respect),
                          "another process already serves this name; end it first");
                EXPECT_EQ(listener.open(world.domain.get(), "name", Access::Owner, Rival::Replace), "");
                rival.close();
                const Fd client = world.client("name");
                EXPECT_TRUE(listener.isAnybodyWaiting());
                listener.close();
                EXPECT_FALSE(world.client("name"));
                EXPECT_TRUE(listener.open(-1, "name", Access::Owner, Rival::Respect).starts_with("the socket"));
                finish();
              }).empty());
}

TEST(JobListener, ReplacesASocketThatWasShutDown) {
  EXPECT_EQ(runWithEvents([](const auto& report, Alarms& alarms) {
              static ManagerWorld world(alarms);
              static JobListener* self = nullptr;
              static Fd left;
              static Fd client;
              static JobListener listener(
                  alarms, world.spare,
                  [report] {
                    EXPECT_TRUE(self->accept().socket);
                    report("waiting");
                    finish();
                  },
                  [report] {
                    report("replaced");
                    char byte = 0;
                    EXPECT_EQ(recv(left.get(), &byte, 1, MSG_DONTWAIT), 0) << "one who waited is not let go";
                    EXPECT_FALSE(self->isAnybodyWaiting());
                    client = world.client("name");
                    EXPECT_TRUE(client);
                  });
              self = &listener;
              EXPECT_EQ(listener.open(world.domain.get(), "name", Access::Owner, Rival::Respect), "");
              left = world.client("name");
              EXPECT_EQ(shutdown(listener.descriptor(), SHUT_RD), 0);
              static Alarm later(alarms, [] { listener.watch(true); });
              later.set(1);
            }),
            (Lines{"replaced", "waiting"}));
}

TEST(JobListener, TakesItsNameBackFromWhoHasItsSocketShutDown) {
  EXPECT_EQ(runWithEvents([](const auto& report, Alarms& alarms) {
              static ManagerWorld world(alarms);
              static JobListener listener(
                  alarms, world.spare, [] {},
                  [report] {
                    report("replaced");
                    const Fd client = world.client("name");
                    EXPECT_TRUE(listener.isAnybodyWaiting()) << "the client is at the rival's";
                    finish();
                  });
              EXPECT_EQ(listener.open(world.domain.get(), "name", Access::Owner, Rival::Respect), "");
              static PublishedSocket rival;
              EXPECT_EQ(rival.open(world.openAt(""), "name", Access::Owner, Rival::Replace), VANTO_ERROR_NONE);
              EXPECT_EQ(shutdown(listener.descriptor(), SHUT_RD), 0);
            }),
            Lines{"replaced"});
}

}  // namespace
}  // namespace vanto::test
