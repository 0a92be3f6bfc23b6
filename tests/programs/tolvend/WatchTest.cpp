// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Watch.h"

#include <cerrno>
#include <memory>

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include "programs/tolvend/EventChild.h"
#include "value/Fd.h"

namespace vanto::test {
namespace {

using manager::Watch;
using Lines = std::vector<std::string>;

TEST(Watch, TellsThatADescriptorIsReady) {
  EXPECT_EQ(runWithEvents([](const auto& report, auto&) {
              static const Fd event(eventfd(1, EFD_CLOEXEC));
              static Watch watch;
              EXPECT_EQ(watch.start(event.get(), EPOLLIN,
                                    [report](std::uint32_t events) {
                                      report(events == EPOLLIN ? "ready" : "something else");
                                      finish();
                                    }),
                        0);
              EXPECT_TRUE(watch.isStarted());
            }),
            Lines{"ready"});
}

TEST(Watch, MayEndInsideItsCall) {
  EXPECT_EQ(runWithEvents([](const auto& report, manager::Alarms& alarms) {
              static const Fd event(eventfd(1, EFD_CLOEXEC));
              static manager::Alarm end(alarms, [] { finish(); });
              static auto watch = std::make_unique<Watch>();
              static_cast<void>(watch->start(event.get(), EPOLLIN, [report](std::uint32_t) {
                report("once");
                watch.reset();
                end.set(0);
              }));
            }),
            Lines{"once"});
}

TEST(Watch, TellsNothingThatItIsNotAskedFor) {
  EXPECT_EQ(runWithEvents([](const auto& report, manager::Alarms& alarms) {
              static const Fd event(eventfd(1, EFD_CLOEXEC));
              static Watch watch;
              static_cast<void>(watch.start(event.get(), 0, [report](std::uint32_t) {
                report("asked");
                finish();
              }));
              static manager::Alarm ask(alarms, [report] {
                report("quiet");
                watch.change(EPOLLIN);
              });
              ask.set(0);
            }),
            (Lines{"quiet", "asked"}));
}

TEST(Watch, SaysWhyItCannotBe) {
  EXPECT_TRUE(runWithEvents([](const auto&, auto&) {
                Watch watch;
                EXPECT_EQ(watch.start(-1, EPOLLIN, [](std::uint32_t) {}), EBADF);
                EXPECT_FALSE(watch.isStarted());
                finish();
              }).empty());
}

}  // namespace
}  // namespace vanto::test
