// SPDX-License-Identifier: Apache-2.0

// Units that the tool makes, judged by systemd, and services that its socket activation starts by them.
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>

#include <sys/wait.h>
#include <unistd.h>

#include "support/BundleBuilder.h"
#include "system/ManagerFixture.h"
#include "system/ToolProcess.h"

namespace vanto::test {
namespace {

constexpr const char* echo = "org.vanto.example.echo";

class SystemdUnits : public ManagerFixture {
 protected:
  SystemdUnits() { std::filesystem::create_directory(units_); }

  /// Makes the units of a bundle, with the proxy of this build or another one.
  void make(const std::string& bundle, const std::string& proxy = VANTO_TEST_PROXY) const {
    const ToolOutcome outcome = runToolProcess({"units", "--proxy", proxy, "--output", units_, bundle});
    ASSERT_EQ(outcome.end, "exit status 0") << outcome.messages;
  }
  /// A copy of the example that admits everybody, since nothing here judges clients; `entries` are added to what its
  /// Info file says of the service. The path of the service's bundle.
  [[nodiscard]] std::string copyExample(const std::string& entries) const {
    std::filesystem::copy(VANTO_TEST_ECHO_HOST, application_, std::filesystem::copy_options::recursive);
    const std::string bundle = application_ + "/Contents/VantoServices/" + echo + ".vanto";
    const std::string info = bundle + "/Contents/Info.plist";
    const std::string open =
        std::regex_replace(contentsOf(info), std::regex("<key>_AllowedClients</key>\\s*<array>[^]*?</array>"), entries);
    EXPECT_EQ(open.find("_AllowedClients"), open.npos);
    std::ofstream(info) << open;
    return bundle;
  }
  static std::string contentsOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  /// What systemd has to say about all units; empty when nothing.
  [[nodiscard]] std::string judgement() const {
    const std::string command = "cd '" + units_ + "' && SYSTEMD_UNIT_PATH='" + units_ +
                                ":' systemd-analyze --user --man=no verify ./* 2>&1 || echo failed";
    FILE* pipe = popen(command.c_str(), "re");
    std::string text(10'000, '\0');
    text.resize(fread(text.data(), 1, text.size(), pipe));
    EXPECT_EQ(pclose(pipe), 0);
    return text;
  }
  /// The value of the line `key` in a unit, with what systemd expands expanded.
  [[nodiscard]] std::string valueIn(const std::string& unit, const std::string& key) const {
    std::smatch match;
    const std::string contents = contentsOf(units_ + "/" + unit);
    EXPECT_TRUE(std::regex_search(contents, match, std::regex("\n" + key + "=(.*)\n"))) << contents;
    return std::regex_replace(match[1].str(), std::regex("%t"), directory_ / "run");
  }
  /// Starts the service by its units, with `options` for what stands in the socket's.
  [[nodiscard]] pid_t activate(const std::string& service, const std::string& options) const {
    const std::string socket = valueIn(std::string(echo) + ".socket", "ListenSequentialPacket");
    std::filesystem::create_directories(std::filesystem::path(socket).parent_path());
    std::filesystem::permissions(directory_ / "run/vanto", std::filesystem::perms::owner_all);
    std::filesystem::permissions(directory_ / "run/vanto/user", std::filesystem::perms::owner_all);
    const std::string command = "exec systemd-socket-activate --seqpacket " + options + " --fdname='" +
                                valueIn(std::string(echo) + ".socket", "FileDescriptorName") + "' -l '" + socket +
                                "' " + valueIn(service, "ExecStart") + " 2>/dev/null";
    const pid_t pid = fork();
    if (pid == 0) {
      execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
      _exit(127);
    }
    EXPECT_TRUE(waitUntil([&] { return isListening(socket); }));
    return pid;
  }
  /// A socket has its name before it listens; to connect would start a process already.
  static bool isListening(const std::string& socket) {
    std::ifstream sockets("/proc/net/unix");
    for (std::string line; std::getline(sockets, line);) {
      const bool acceptsConnections = line.find(" 00010000 ") != std::string::npos;
      if (acceptsConnections && line.ends_with(' ' + socket)) return true;
    }
    return false;
  }
  /// How often the process that answers has answered.
  static std::int64_t answered() {
    const Held connection = connectTo(echo);
    const Held reply = callWith(connection, test::text("hello"));
    EXPECT_EQ(vanto_kind(reply), VANTO_KIND_DICTIONARY);
    return number(reply, "answered");
  }
  static std::string ended(pid_t pid) {
    EXPECT_EQ(kill(pid, SIGTERM), 0);
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    return WIFEXITED(status) ? "exit status " + std::to_string(WEXITSTATUS(status))
                             : "signal " + std::to_string(WTERMSIG(status));
  }

  const std::string units_ = directory_ / "units";
  const std::string application_ = directory_ / "EchoHost.app";
};

TEST_F(SystemdUnits, StartTheEchoService) {
  static_cast<void>(copyExample(""));
  make(application_);
  EXPECT_EQ(judgement(), "");
  const pid_t pid = activate(std::string(echo) + ".service", "");
  EXPECT_EQ(answered(), 1);
  EXPECT_EQ(answered(), 2);
  EXPECT_EQ(ended(pid), "exit status 0");
}

TEST_F(SystemdUnits, StartAnInstanceForEachConnection) {
  make(copyExample("<key>_MultipleInstances</key><true/>"));
  EXPECT_EQ(judgement(), "");
  EXPECT_EQ(valueIn(std::string(echo) + ".socket", "Accept"), "yes");
  const pid_t pid = activate(std::string(echo) + "@.service", "--accept");
  EXPECT_EQ(answered(), 1);
  EXPECT_EQ(answered(), 1);
  EXPECT_EQ(ended(pid), "signal 15");
}

TEST_F(SystemdUnits, AreTakenWhateverIsInNamesAndPaths) {
  const std::string path = directory_ / "a b%h$HOME\"'\\\n;\x1b.vanto";
  BundleBuilder(directory_.path(), "a b%h$HOME\"'\\\n;\x1b.vanto")
      .identifier("a b%h/\u202e@$x")
      .executable("c %t")
      .serviceEntry("ServiceType", BundleBuilder::string("User"))
      .build();
  const std::string proxy = directory_ / "proxy %h$HOME${X};\u00e4";
  std::filesystem::copy(VANTO_TEST_PROXY, proxy);
  make(path, proxy);
  EXPECT_EQ(judgement(), "");
}

}  // namespace
}  // namespace vanto::test
