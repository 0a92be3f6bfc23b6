// SPDX-License-Identifier: Apache-2.0
// Confined services and a real socket of a system log, which this test brings along: it stands at the usual place in a
// mount namespace of the service's own.
#include <array>
#include <cerrno>
#include <fstream>

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "support/Child.h"
#include "system/ServiceBundles.h"

namespace vanto::test {
namespace {

constexpr std::array devices{"null", "zero", "full", "random", "urandom"};

/// False when this process may not have mounts of its own.
bool leaveMounts() {
  return unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

class LoggingService : public ServiceBundles {
 protected:
  LoggingService() {
    mkdir(place_.c_str(), 0755);
    for (const char* device : devices) std::ofstream(place_ + "/" + device) << "";
  }

  void SetUp() override {
    const auto outcome = testing::runInChild([](const testing::ChildReport& report) {
      if (!leaveMounts()) report("refused");
    });
    if (!outcome.lines.empty()) GTEST_SKIP() << "a process may not have mounts of its own here";
  }

  /// Listens as the daemon of a log does.
  void listenAt(const std::string& path) {
    collector_.reset(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof address.sun_path);
    path.copy(address.sun_path, path.size());
    ASSERT_EQ(bind(collector_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }

  /// The next message, or empty when none comes in time.
  [[nodiscard]] std::string collected() const {
    constexpr int patienceMilliseconds = 10'000;
    pollfd waiting{collector_.get(), POLLIN, 0};
    std::array<char, 1024> message;
    if (poll(&waiting, 1, patienceMilliseconds) != 1) return {};
    const ssize_t size = recv(collector_.get(), message.data(), message.size(), 0);
    return size > 0 ? std::string(message.data(), static_cast<std::size_t>(size)) : std::string();
  }

  /// Starts a service with `profile`, which finds place_ where devices are.
  [[nodiscard]] std::unique_ptr<ServiceProcess> startWith(const std::string& profile) const {
    BundleBuilder bundle = serviceBundle(VANTO_TEST_LOGGING_SERVICE);
    bundle.serviceEntry("_SandboxProfile", BundleBuilder::string("tight")).resource("tight.sb", profile).build();
    return std::make_unique<ServiceProcess>(bundle.executablePath("service"), std::vector<std::string>{"obeying"},
                                            ServiceProcess::Traced::No, [this] { replaceDevices(); });
  }

  [[nodiscard]] static std::int64_t outcomeOf(const ServiceProcess& service, const std::string& order) {
    constexpr std::uint64_t patience = 30'000'000'000;
    const vanto_object_t connection = service.connect(name);
    const vanto_object_t request = vanto_string_create(order.c_str());
    const vanto_object_t reply = vanto_call(connection, request, patience);
    const std::int64_t outcome = vanto_kind(reply) == VANTO_KIND_INT64 ? vanto_int64_get_value(reply) : -1;
    for (const vanto_object_t object : {reply, request, connection}) vanto_release(object);
    return outcome;
  }

  void expectThatItLogs(const std::string& profile) const {
    const auto service = startWith(profile);
    EXPECT_EQ(outcomeOf(*service, "socket"), EPERM);
    EXPECT_EQ(outcomeOf(*service, "log"), 0);
    const std::string message = collected();
    EXPECT_TRUE(message.starts_with("<14>")) << message;
    EXPECT_TRUE(message.ends_with(": a line of a service")) << message;
  }

  const std::string place_ = directory_ / "dev";
  Fd collector_;

 private:
  /// In the process of the service.
  void replaceDevices() const {
    bool isDone = leaveMounts();
    for (const char* device : devices) {
      const std::string real = std::string("/dev/") + device;
      isDone = isDone && mount(real.c_str(), (place_ + "/" + device).c_str(), nullptr, MS_BIND, nullptr) == 0;
    }
    if (!isDone || mount(place_.c_str(), "/dev", nullptr, MS_BIND | MS_REC, nullptr) != 0) _exit(120);
  }
};

TEST_F(LoggingService, LogsThroughTheBaseProfile) {
  listenAt(place_ + "/log");
  expectThatItLogs("version 1\ninclude base\nnetwork none\n");
}

TEST_F(LoggingService, LogsToASocketThatALinkLeadsTo) {
  mkdir((directory_ / "run").c_str(), 0755);
  listenAt(directory_ / "run/log");
  ASSERT_EQ(symlink((directory_ / "run/log").c_str(), (place_ + "/log").c_str()), 0);
  expectThatItLogs("version 1\ninclude base\nnetwork none\n");
}

TEST_F(LoggingService, LogsWithoutAWordInItsProfile) {
  listenAt(place_ + "/log");
  expectThatItLogs("network none\n");
}

TEST_F(LoggingService, TellsTheLogWhyItIsNotConfined) {
  listenAt(place_ + "/log");
  const auto service = startWith("allow nothing\n");
  EXPECT_EQ(outcomeOf(*service, "socket"), 0);
  const std::string message = collected();
  EXPECT_TRUE(message.starts_with("<11>")) << message;
  EXPECT_NE(message.find(": sandbox_init_with_parameters() profile "), std::string::npos) << message;
}

TEST_F(LoggingService, GoesOnWhereNobodyReadsTheLog) {
  const auto service = startWith("version 1\ninclude base\nnetwork none\n");
  EXPECT_EQ(outcomeOf(*service, "log"), 0);
  EXPECT_EQ(outcomeOf(*service, "socket"), EPERM);
}

}  // namespace
}  // namespace vanto::test
