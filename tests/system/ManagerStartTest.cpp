// SPDX-License-Identifier: Apache-2.0

// How services come up through a real manager and the real proxy, and what clients are told when they do not.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <linux/unix_diag.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include "ipc/Domain.h"
#include "ipc/PublishedSocket.h"
#include "system/ManagerFixture.h"

namespace vanto::test {
namespace {

using ManagerStart = ManagerFixture;
constexpr const char* echo = "org.example.echo";

/// Whether the kernel tells who waits at a socket, so that a manager can see that others have come.
bool hasSocketDiagnosis() {
  struct {
    nlmsghdr header;
    unix_diag_req request;
  } question{};
  question.header.nlmsg_len = sizeof question;
  question.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  question.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  question.request.sdiag_family = AF_UNIX;
  nlmsghdr answer{};
  const Fd kernel(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
  if (send(kernel.get(), &question, sizeof question, 0) != sizeof question) return false;
  return recv(kernel.get(), &answer, sizeof answer, 0) > 0 && answer.nlmsg_type != NLMSG_ERROR;
}

TEST_F(ManagerStart, TheFirstClientStartsTheService) {
  const ManagerProcess manager(setting());
  ASSERT_TRUE(manager.isReady()) << manager.messages();
  ASSERT_EQ(load("echo", echo), "");
  EXPECT_EQ(starts(echo), 0U);
  EXPECT_EQ(text(stateOf(echo), "state"), "resting");
  const std::int64_t pid = call(echo);
  EXPECT_GT(pid, 0);
  EXPECT_EQ(call(echo), pid);
  EXPECT_EQ(starts(echo), 1U);
  const Held state = stateOf(echo);
  EXPECT_EQ(text(state, "state"), "running");
  EXPECT_EQ(number(state, "starts"), 1);
  EXPECT_EQ(number(state, "failures"), 0);
  const vanto_object_t instance = vanto_array_get_value(vanto_dictionary_get_value(state, "instances"), 0);
  EXPECT_EQ(number(instance, "pid"), pid);
  EXPECT_EQ(text(instance, "state"), "running");
  EXPECT_EQ(manager.messages(), "");
}

TEST_F(ManagerStart, AServiceThatIsKilledIsStartedAgain) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  const std::int64_t first = call(echo);
  ASSERT_EQ(kill(static_cast<pid_t>(first), SIGKILL), 0);
  ASSERT_TRUE(waitUntil([&] { return number(stateOf(echo), "failures") == 1; }));
  const std::int64_t second = call(echo);
  EXPECT_GT(second, 0);
  EXPECT_NE(second, first);
  const Held failure = Held::share(vanto_dictionary_get_value(stateOf(echo), "failure"));
  EXPECT_EQ(text(failure, "stage"), "serving");
  EXPECT_EQ(number(failure, "signal"), SIGKILL);
  EXPECT_EQ(number(failure, "pid"), first);
  EXPECT_GT(number(failure, "ran"), 0);
}

TEST_F(ManagerStart, AClientIsToldWhatCannotBeExecuted) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(loadJob(job(echo, directory_ / "missing")), "");
  const auto isRefusedWith = [&](const std::string& reason) {
    return refusalOf(echo).starts_with("15 org.example.echo: not started: " + reason);
  };
  EXPECT_TRUE(isRefusedWith("executable: No such file or directory (error 2)"));
  ASSERT_EQ(loadJob(job(echo, directory_.path())), "");
  EXPECT_TRUE(isRefusedWith("executable: Is a directory (error 21)"));
  std::ofstream(directory_ / "text") << "no program\n";
  ASSERT_EQ(loadJob(job(echo, directory_ / "text")), "");
  const std::string refusal = refusalOf(echo);
  EXPECT_TRUE(refusal.starts_with("15 org.example.echo: not started: execut")) << refusal;
  EXPECT_NE(refusal.find("Permission denied (error 13)"), std::string::npos) << refusal;
  // What is put right works at once.
  ASSERT_EQ(load("echo", echo), "");
  EXPECT_GT(call(echo), 0);
}

TEST_F(ManagerStart, AClientIsToldThatThereIsNoProxy) {
  ManagerSetting without;
  without.arguments = {"--proxy", directory_ / "no-proxy"};
  const ManagerProcess manager(without);
  ASSERT_EQ(load("echo", echo), "");
  EXPECT_EQ(refusalOf(echo), "15 org.example.echo: not started: proxy: No such file or directory (error 2)");
  EXPECT_TRUE(vanto_array_get_count(vanto_dictionary_get_value(stateOf(echo), "instances")) == 0);
}

TEST_F(ManagerStart, AClientIsToldOfAServiceThatEndsAtOnce) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("exits-3", echo), "");
  const std::string refusal = refusalOf(echo);
  EXPECT_TRUE(refusal.starts_with("15 org.example.echo: not started: listening: exited with status 3")) << refusal;
  EXPECT_TRUE(refusal.ends_with("cannot go on")) << refusal;
  ASSERT_EQ(load("exits-0", "org.example.other"), "");
  EXPECT_TRUE(refusalOf("org.example.other").starts_with("15 org.example.other: not started: listening: "));
  const Held why = order("why", echo);
  EXPECT_EQ(number(vanto_dictionary_get_value(why, "failure"), "status"), 3);
  EXPECT_EQ(logOf(echo).at(0), "cannot go on");
}

TEST_F(ManagerStart, AClientIsToldTheLastLinesOfTheLog) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("explains", echo), "");
  const std::string refusal = refusalOf(echo);
  EXPECT_TRUE(refusal.starts_with("15 org.example.echo: not started: listening: exited with status 3")) << refusal;
  EXPECT_TRUE(refusal.ends_with("; its log ends with: line 7: no such word | see the manual | cannot go on"))
      << refusal;
}

TEST_F(ManagerStart, AClientIsToldOfAServiceThatNeverListens) {
  const ManagerProcess manager(impatient());
  ASSERT_EQ(load("silent", echo), "");
  const std::string refusal = refusalOf(echo);
  EXPECT_TRUE(refusal.starts_with("15 org.example.echo: not started: listening: ")) << refusal;
  ASSERT_TRUE(
      waitUntil([&] { return vanto_array_get_count(vanto_dictionary_get_value(stateOf(echo), "instances")) == 0; }));
}

TEST_F(ManagerStart, ABusyServiceWithoutTheLibraryIsLeftAlone) {
  if (!hasSocketDiagnosis()) GTEST_SKIP() << "this kernel has no diagnosis of Unix sockets";
  const ManagerProcess manager(impatient());
  ASSERT_EQ(load("labours", echo), "");
  // Four clients who come again at once, so that somebody always waits, for several times half a second.
  constexpr int requests = 300;
  std::atomic<int> begun = 0;
  std::atomic<int> served = 0;
  std::vector<std::thread> clients;
  for (int i = 0; i < 4; i++) {
    clients.emplace_back([&] {
      while (begun++ < requests) {
        const Fd client = connectToSocket(openDomain(Domain::User).get(), echo, UINT64_MAX);
        char answer[2];
        if (recv(client.get(), answer, sizeof answer, MSG_WAITALL) == 1 && answer[0] == 'x') served++;
      }
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(served, requests);
  EXPECT_EQ(starts(echo), 1U);
  EXPECT_EQ(number(stateOf(echo), "failures"), 0);
}

TEST_F(ManagerStart, AServiceThatDiesOfEachClientTellsThem) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("crashes-when-greeted", echo), "");
  // The client was greeted before, so its first call finds the connection closed.
  const auto [pid, error] = tell(connect(echo), "pid");
  EXPECT_EQ(pid, -1);
  EXPECT_NE(error, "");
  ASSERT_TRUE(waitUntil([&] { return number(stateOf(echo), "failures") == 1; }));
  EXPECT_EQ(number(vanto_dictionary_get_value(stateOf(echo), "failure"), "signal"), SIGABRT);
}

TEST_F(ManagerStart, AClientThatCannotWaitGetsItsTimeOutInTime) {
  using std::chrono::milliseconds;
  constexpr milliseconds bound{50};
  // The manager would have it wait for ten seconds.
  constexpr milliseconds slack{4'000};
  const auto timeOf = [](const auto& work) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(vanto_error_get_code(work()), VANTO_ERROR_TIMED_OUT);
    return std::chrono::steady_clock::now() - begin;
  };
  const auto nanoseconds = static_cast<std::uint64_t>(std::chrono::nanoseconds(bound).count());
  const ManagerProcess manager(setting());
  for (const bool hasInstances : {false, true}) {
    const std::string name = hasInstances ? "org.example.instances" : echo;
    ASSERT_EQ(load("silent", name, {{"MultipleInstances", Held(vanto_bool_create(hasInstances))}}), "");
    const auto connecting = timeOf([&] { return connect(name, nanoseconds); });
    EXPECT_GE(connecting, bound);
    EXPECT_LT(connecting, bound + slack);
    const Held request(vanto_string_create("pid"));
    const auto calling = timeOf([&] { return Held(vanto_call_service(name.c_str(), request, nanoseconds)); });
    EXPECT_GE(calling, bound);
    EXPECT_LT(calling, bound + slack);
  }
}

TEST_F(ManagerStart, AServiceThatAcceptsNobodyFailsThoseWhoWaitHoweverLongItRuns) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("feigns", echo), "");
  const std::string refusal = refusalOf(echo);
  EXPECT_TRUE(refusal.starts_with("15 org.example.echo: not started: greeting: exited with status 0 after 1.1"))
      << refusal;
  EXPECT_EQ(number(stateOf(echo), "failures"), 1);
}

TEST_F(ManagerStart, AnIdleServiceLeavesAndComesBack) {
  const ManagerProcess manager(setting({"--idle", "1"}));
  ASSERT_EQ(load("tracked", echo), "");
  const std::int64_t first = call(echo);
  ASSERT_TRUE(waitUntil([&] { return !isAlive(static_cast<pid_t>(first)); }));
  ASSERT_TRUE(waitUntil([&] { return text(stateOf(echo), "state") == "resting"; }));
  EXPECT_EQ(number(stateOf(echo), "failures"), 0);
  EXPECT_NE(call(echo), first);
}

TEST_F(ManagerStart, EachConnectionHasAProcessWhereTheJobSaysSo) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo, {{"MultipleInstances", Held(vanto_bool_create(true))}}), "");
  const Held one = connect(echo);
  const Held other = connect(echo);
  const std::int64_t first = tell(one, "pid").first;
  const std::int64_t second = tell(other, "pid").first;
  EXPECT_GT(first, 0);
  EXPECT_GT(second, 0);
  EXPECT_NE(first, second);
  EXPECT_EQ(vanto_array_get_count(vanto_dictionary_get_value(stateOf(echo), "instances")), 2U);
  vanto_close(one);
  EXPECT_TRUE(waitUntil([&] { return !isAlive(static_cast<pid_t>(first)); }));
  EXPECT_EQ(tell(other, "pid").first, second);
  EXPECT_EQ(number(stateOf(echo), "failures"), 0);
}

TEST_F(ManagerStart, ClientsWhoComeAndGoPutNobodyOff) {
  const ManagerProcess manager(setting());
  const Held yes(vanto_bool_create(true));
  const auto comeAndGo = [] {
    for (int i = 0; i < 8; i++) ASSERT_TRUE(connectToSocket(openDomain(Domain::User).get(), echo, UINT64_MAX));
  };
  ASSERT_EQ(load("echo", echo, {{"MultipleInstances", yes}}), "");
  comeAndGo();
  // The socket's queue keeps the order: who is served here comes after those eight.
  EXPECT_GT(call(echo), 0);
  EXPECT_LE(starts(echo), 9U);
  ASSERT_EQ(load("exits-3", echo, {{"MultipleInstances", yes}}), "");
  comeAndGo();
  // The same service fails a client who stays, and nobody else.
  EXPECT_TRUE(refusalOf(echo).starts_with("15 org.example.echo: not started: listening: exited with status 3"));
  EXPECT_EQ(number(stateOf(echo), "failures"), 1);
}

TEST_F(ManagerStart, BeyondSixteenInstancesClientsAreRefused) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo, {{"MultipleInstances", Held(vanto_bool_create(true))}}), "");
  std::vector<Held> connections;
  for (int i = 0; i < 16; i++) {
    connections.push_back(connect(echo));
    ASSERT_GT(tell(connections.back(), "pid").first, 0) << i;
  }
  const std::string refusal = refusalOf(echo);
  EXPECT_TRUE(refusal.starts_with("9 org.example.echo: not started: limit")) << refusal;
}

}  // namespace
}  // namespace vanto::test
