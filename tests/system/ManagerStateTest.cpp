// SPDX-License-Identifier: Apache-2.0

// In which state services find themselves, and how the manager stands what is scarce or hostile.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>

#include "support/MemoryLimit.h"
#include "support/ResourceLimits.h"
#include "system/ManagerFixture.h"

namespace vanto::test {
namespace {

using ManagerState = ManagerFixture;
constexpr const char* echo = "org.example.echo";
constexpr const char* probe = "org.example.probe";

/// What a manager is given that its services are given too.
std::vector<std::string> handedOn(const std::string& runtimeDirectory) {
  return {"HOME=/home/of-the-test",
          "LANG=C.UTF-8",
          "LANGUAGE=de",
          "LC_ALL=C",
          "LC_TIME=C",
          "LOGNAME=somebody",
          "PATH=/usr/bin:/bin",
          "TMPDIR=/tmp",
          "TZ=UTC",
          "USER=somebody",
          "VANTO_TEST_KEPT=kept",
          "XDG_RUNTIME_DIR=" + runtimeDirectory,
          "XDG_SESSION_ID=of-the-test"};
}

/// What a process of this build finds besides, since the manager of every test is told to keep it.
std::vector<std::string> keptForTheBuild() {
  std::vector<std::string> variables;
  for (const char* name : {"ASAN_OPTIONS", "LLVM_PROFILE_FILE"}) {
    if (const char* value = getenv(name)) variables.push_back(std::string(name) + "=" + value);
  }
  return variables;
}

void dropLocale() {
  std::vector<std::string> names;
  for (char** variable = environ; *variable != nullptr; variable++) {
    const std::string entry = *variable;
    if (entry.starts_with("LC_")) names.push_back(entry.substr(0, entry.find('=')));
  }
  for (const std::string& name : names) unsetenv(name.c_str());
}

TEST_F(ManagerState, AServiceFindsWhatIsDocumentedAndNothingElse) {
  const std::vector<std::string> handed = handedOn(directory_ / "run");
  ManagerSetting changed = setting({"--keep", "VANTO_TEST_KEPT"});
  changed.prepare = [&handed] {
    dropLocale();
    for (const std::string& entry : handed) {
      const std::size_t equals = entry.find('=');
      setenv(entry.substr(0, equals).c_str(), entry.c_str() + equals + 1, 1);
    }
    for (const char* name : {"VANTO_TEST_DROPPED", "LD_LIBRARY_PATH", "VANTO_KEEP", "VANTO_EXEC_STATUS", "LISTEN_PID",
                             "LISTEN_FDNAMES", "LISTEN_PIDFDID", "BASH_ENV", "GCONV_PATH", "IFS"}) {
      setenv(name, "/nowhere", 1);
    }
    setenv("LISTEN_FDS", "9", 1);
    signal(SIGUSR1, SIG_IGN);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR2);
    sigprocmask(SIG_BLOCK, &blocked, nullptr);
    const rlimit limit{500, 900};
    setrlimit(RLIMIT_NOFILE, &limit);
    umask(0);
  };
  const ManagerProcess manager(changed);
  ASSERT_EQ(load("probe", probe), "");
  static_cast<void>(refusalOf(probe));
  std::vector<std::string> lines;
  ASSERT_TRUE(waitUntil([&] {
    lines = logOf(probe);
    return !lines.empty() && lines.back().starts_with("children");
  }));
  const auto with = [&](const std::string& word) {
    std::vector<std::string> found;
    for (const std::string& line : lines) {
      if (line.starts_with(word + " ")) found.push_back(line.substr(word.size() + 1));
    }
    return found;
  };
  const std::vector<std::string> descriptors = with("descriptor");
  ASSERT_EQ(descriptors.size(), 5U);
  EXPECT_EQ(descriptors[0], "0 /dev/null");
  for (std::size_t i = 1; i < 5; i++) {
    EXPECT_TRUE(descriptors[i].starts_with(std::to_string(i) + " socket:")) << descriptors[i];
  }
  const std::string pid = with("process").at(0).substr(0, with("process").at(0).find(' '));
  std::vector<std::string> expected = handed;
  std::ranges::copy(keptForTheBuild(), std::back_inserter(expected));
  expected.insert(expected.end(), {"LISTEN_FDS=2", "LISTEN_FDNAMES=org.example.probe:.manager", "LISTEN_PID=" + pid});
  std::vector<std::string> variables = with("variable");
  std::ranges::sort(expected);
  std::ranges::sort(variables);
  EXPECT_EQ(variables, expected);
  EXPECT_EQ(with("SigBlk:"), std::vector<std::string>{"0000000000000000"});
  EXPECT_EQ(with("SigIgn:"), std::vector<std::string>{"0000000000000000"});
  EXPECT_EQ(with("limit"), serviceLimitLines({500, 900}));
  EXPECT_EQ(with("directory"), std::vector<std::string>{"/"});
  EXPECT_EQ(with("mask"), std::vector<std::string>{"077"});
  EXPECT_EQ(with("process").at(0), pid + " group " + pid + " session " + pid);
  EXPECT_EQ(with("children"), std::vector<std::string>{"none"});
}

// The sanitizer looks at memory through pipes, which it cannot make without descriptors.
#ifndef VANTO_TEST_SANITIZED
TEST_F(ManagerState, WithoutDescriptorsClientsAreToldAndNothingSpins) {
  ManagerSetting scarce = setting();
  scarce.prepare = [] {
    const rlimit limit{40, 40};
    setrlimit(RLIMIT_NOFILE, &limit);
  };
  const ManagerProcess manager(scarce);
  ASSERT_TRUE(manager.isReady()) << manager.messages();
  ASSERT_EQ(load("echo", echo), "");
  // Connections for orders take most of the descriptors.
  std::vector<Held> orders;
  for (int i = 0; i < 40; i++) orders.push_back(connect("org.vanto.tolvend.user", 1'000'000'000));
  std::vector<Held> more;
  std::string last;
  int loaded = 0;
  for (int i = 0; i < 30 && last.empty(); i++) {
    const Held request(vanto_dictionary_create(nullptr, nullptr, 0));
    const std::string name = "org.example.more" + std::to_string(i);
    vanto_dictionary_set_value(request, "command", Held(vanto_string_create("load")));
    vanto_dictionary_set_value(request, "job", job(name, program("echo", name)));
    last = errorOf(Held(vanto_call(orders.front(), request, generous)));
    loaded += last.empty();
  }
  EXPECT_TRUE(last.ends_with("Too many open files (error 24)")) << last << ": there were descriptors for everything";
  const long before = manager.processorTicks();
  const std::string refusal = refusalOf(echo);
  EXPECT_TRUE(refusal.starts_with("15 org.example.echo: not started: resources: Too many open files")) << refusal;
  // One second of clients who wait is to cost next to nothing.
  for (int i = 0; i < 10; i++) static_cast<void>(connect(echo, 100'000'000));
  EXPECT_LT(manager.processorTicks() - before, sysconf(_SC_CLK_TCK) / 4);
  orders.clear();
  ASSERT_TRUE(waitUntil([&] { return tell(connect(echo), "pid").first > 0; }));
}
#endif

TEST_F(ManagerState, AnIdleManagerDoesNothing) {
  const ManagerProcess manager(setting());
  for (int i = 0; i < 100; i++) {
    ASSERT_EQ(load("echo", "org.example.echo" + std::to_string(i)), "") << i;
  }
  const auto switches = [&] {
    std::ifstream status("/proc/" + std::to_string(manager.pid()) + "/status");
    std::string all;
    for (std::string line; std::getline(status, line);) {
      if (line.find("ctxt_switches") != std::string::npos) all += line;
    }
    return all;
  };
  // The last connection's end, and a timer that was set before, may still come.
  std::this_thread::sleep_for(std::chrono::seconds(1));
  const std::string before = switches();
  ASSERT_NE(before, "");
  std::this_thread::sleep_for(std::chrono::seconds(2));
  EXPECT_EQ(switches(), before);
  std::ifstream rollup("/proc/" + std::to_string(manager.pid()) + "/smaps_rollup");
  long proportional = -1;
  for (std::string line; std::getline(rollup, line);) {
    if (line.starts_with("Pss:")) proportional = std::stol(line.substr(4));
  }
  RecordProperty("PssKiB", static_cast<int>(proportional));
#ifdef NDEBUG
  EXPECT_LT(proportional, 3 * 1024);
#endif
  EXPECT_GT(proportional, 0);
}

TEST_F(ManagerState, AServiceThatFloodsItsLogKeepsNobodyWaiting) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  ASSERT_EQ(load("echo", "org.example.other"), "");
  ASSERT_GT(call(echo, "flood"), 0);
  ASSERT_TRUE(waitUntil([&] { return logOf(echo).size() > 10; }));
  const auto newest = [] {
    const Held reply = order("logs", echo);
    const vanto_object_t lines = vanto_dictionary_get_value(reply, "lines");
    return number(vanto_array_get_value(lines, vanto_array_get_count(lines) - 1), "time");
  };
  const std::int64_t before = newest();
  std::chrono::steady_clock::duration longest{};
  for (int i = 0; i < 20; i++) {
    const auto begin = std::chrono::steady_clock::now();
    // A start, a client and an order.
    EXPECT_GT(call("org.example.other"), 0);
    EXPECT_EQ(errorOf(order("stop", "org.example.other")), "");
    longest = std::max(longest, std::chrono::steady_clock::now() - begin);
  }
  EXPECT_LT(longest, std::chrono::seconds(2));
  EXPECT_GT(newest(), before) << "it did not flood";
}

TEST_F(ManagerState, ALogIsBounded) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  const Held client = connect(echo);
  const std::string line = "say " + std::string(5'000, 'x') + "\n" + std::string(5'000, 'y');
  for (int i = 0; i < 200; i++) ASSERT_GT(tell(client, line).first, 0);
  ASSERT_TRUE(waitUntil([&] { return logOf(echo).size() > 10; }));
  std::size_t bytes = 0;
  for (const std::string& kept : logOf(echo)) {
    EXPECT_LE(kept.size(), 1'024U);
    bytes += kept.size();
  }
  EXPECT_LE(bytes, 64U << 10);
}

TEST_F(ManagerState, AServiceThatHasItsSocketBlockStopsNobodyElse) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("blocks", echo), "");
  const std::string refusal = refusalOf(echo);
  EXPECT_TRUE(refusal.starts_with("15 org.example.echo: not started: listening: exited with status 1")) << refusal;
  EXPECT_EQ(number(stateOf(echo), "failures"), 1);
}

TEST_F(ManagerState, AServiceThatShutsItsSocketDownIsStartedAgainWithANewOne) {
  ManagerProcess manager(impatient());
  ASSERT_EQ(load("echo", echo), "");
  ASSERT_EQ(load("shuts-down", "org.example.other"), "");
  const Held client = connect(echo);
  const std::int64_t first = tell(client, "pid").first;
  // The reply may be lost, as the service is asked to end then.
  static_cast<void>(tell(client, "shut down"));
  ASSERT_TRUE(waitUntil([&] { return number(stateOf(echo), "failures") == 1; }));
  EXPECT_TRUE(waitUntil([&] { return !isAlive(static_cast<pid_t>(first)); }));
  EXPECT_NE(call(echo), first);
  const Held why = order("why", echo);
  EXPECT_TRUE(text(vanto_dictionary_get_value(why, "failure"), "text")
                  .starts_with("serving: shut down the socket that it was handed"))
      << text(vanto_dictionary_get_value(why, "failure"), "text");
  const std::vector<std::string> log = logOf(echo);
  EXPECT_EQ(std::count(log.begin(), log.end(), "the listening socket was shut down by a process, and is replaced"), 1);
  // A pause that grows is what keeps this from happening without end, and nothing is to spin meanwhile.
  const long before = manager.processorTicks();
  for (int i = 0; i < 10; i++) static_cast<void>(connect("org.example.other", 100'000'000));
  EXPECT_LT(manager.processorTicks() - before, sysconf(_SC_CLK_TCK) / 4);
  EXPECT_LE(starts("org.example.other"), 5U);
  // The next manager knows the new socket as its own.
  manager.signal(SIGKILL);
  EXPECT_EQ(manager.waitForEnd(), "signal 9");
  const ManagerProcess next(impatient());
  EXPECT_EQ(next.messages(), "");
  EXPECT_GT(call(echo), 0);
}

TEST_F(ManagerState, ACommandHasAManagerOfItsOwn) {
  const std::string place = directory_ / "ephemeral";
  const auto run = [&](const std::string& command) {
    ManagerProcess manager(setting({"--ephemeral", place, "--", "sh", "-c", command}));
    return manager.waitForEnd();
  };
  EXPECT_EQ(
      run("test -S $XDG_RUNTIME_DIR/vanto/user/org.vanto.tolvend.user && test $(ulimit -n) = " + std::to_string([] {
            rlimit limit{};
            getrlimit(RLIMIT_NOFILE, &limit);
            return limit.rlim_cur;
          }())),
      "exit status 0");
  EXPECT_NE(access(place.c_str(), F_OK), 0);
  EXPECT_EQ(run("exit 7"), "exit status 7");
  // What the command leaves to the manager while it runs goes on; each end of a process has the manager look.
  EXPECT_EQ(run("p=$(sleep 777 >&- & echo $!); for i in 1 2 3 4 5; do (true &); sleep 0.05; done; kill -9 $p"),
            "exit status 0");
  EXPECT_EQ(run("kill -9 $$"), "exit status 137");
  EXPECT_EQ(run("exec /nowhere/nothing"), "exit status 127");
  ASSERT_EQ(mkdir(place.c_str(), 0700), 0);
  EXPECT_EQ(run("exit 0"), "exit status 0");
  EXPECT_EQ(access(place.c_str(), F_OK), 0);
  EXPECT_NE(access((place + "/run").c_str(), F_OK), 0);
}

TEST_F(ManagerState, ACommandThatDoesNotEndIsKilled) {
  const std::string asked = directory_ / "asked";
  const auto stubborn = [&] {
    return std::vector<std::string>{
        "--ephemeral", directory_ / "ephemeral",
        "--",          "sh",
        "-c",          "trap 'echo >> " + asked + "' TERM; echo >> " + asked + "; while :; do sleep 0.05; done"};
  };
  const auto lines = [&] {
    std::ifstream file(asked);
    return std::count(std::istreambuf_iterator<char>(file), {}, '\n');
  };
  ManagerProcess patient(setting(stubborn()));
  ASSERT_TRUE(waitUntil([&] { return lines() == 1; }));
  patient.signal(SIGTERM);
  ASSERT_TRUE(waitUntil([&] { return lines() == 2; }));
  const auto before = std::chrono::steady_clock::now();
  patient.signal(SIGINT);
  EXPECT_EQ(patient.waitForEnd(), "exit status 137");
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(15));
  ManagerProcess once(impatient(stubborn()));
  ASSERT_TRUE(waitUntil([&] { return lines() == 3; }));
  EXPECT_EQ(once.terminate(), "exit status 137");
}

TEST_F(ManagerState, AServiceThatTalksToItWithoutEndCostsNextToNothing) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  ASSERT_EQ(load("silent", "org.example.other"), "");
  EXPECT_GT(call(echo, "chatter"), 0);
  ASSERT_TRUE(waitUntil([] { return !logOf(echo).empty(); }));
  const long before = manager.processorTicks();
  for (int i = 0; i < 10; i++) static_cast<void>(connect("org.example.other", 100'000'000));
  EXPECT_LT(manager.processorTicks() - before, sysconf(_SC_CLK_TCK) / 4);
  EXPECT_EQ(logOf(echo).size(), 1U);
  EXPECT_EQ(errorOf(order("stop", echo)), "");
}

}  // namespace
}  // namespace vanto::test
