// SPDX-License-Identifier: Apache-2.0
// Profiles that are learned from real commands: the command does the same under its profile, and nothing else.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/MemoryLimit.h"
#include "support/TemporaryDirectory.h"
#include "system/ToolProcess.h"
#include "value/Fd.h"

namespace vanto::test {
namespace {

using Words = std::vector<std::string>;

class ProfileLearning : public testing::Test {
 protected:
  /// The same files each time: a file, a script, and a directory with nothing in it.
  void prepare() const {
    std::filesystem::remove_all(directory_ / "w");
    std::filesystem::create_directories(directory_ / "w/in");
    std::filesystem::create_directories(directory_ / "w/out");
    std::ofstream(directory_ / "w/in/f") << "contents\n";
    std::ofstream(directory_ / "w/in/script") << "#!/bin/sh\necho script\n";
    std::filesystem::permissions(directory_ / "w/in/script", std::filesystem::perms::owner_all);
  }

  ToolOutcome tool(Words arguments, const Words& command) const {
    arguments.emplace_back("--");
    arguments.insert(arguments.end(), command.begin(), command.end());
    ToolSetting setting;
    setting.prepare = [this] {
      if (chdir((directory_ / "w").c_str()) != 0) _exit(126);
    };
    return runToolProcess(arguments, setting);
  }

  ToolOutcome learn(const Words& command) const {
    prepare();
    return tool({"profile", "learn", "--force", "--out", profile_}, command);
  }
  ToolOutcome run(const Words& command) const {
    prepare();
    return tool({"profile", "run", profile_}, command);
  }

  /// Learns from the command, and lets it run again under what was learned.
  void expectTheSameUnderItsProfile(const Words& command) const {
    const ToolOutcome first = learn(command);
    const std::string& name = command.back();
    EXPECT_EQ(first.messages.find("vanto: "), std::string::npos) << first.messages;
    EXPECT_EQ(runToolProcess({"profile", "check", profile_}).end, "exit status 0") << name;
    const ToolOutcome second = run(command);
    EXPECT_EQ(second.end, first.end) << name << second.messages << text();
    EXPECT_EQ(second.output, first.output) << name << second.messages << text();
  }

  std::string text() const {
    std::ifstream file(profile_);
    return "\n" + std::string(std::istreambuf_iterator<char>(file), {});
  }
  bool says(const std::string& line) const { return text().find("\n" + line + "\n") != std::string::npos; }

  TemporaryDirectory directory_;
  std::string profile_ = directory_ / "learned.sb";
};

TEST_F(ProfileLearning, IsEnoughForCommandsAboutFiles) {
  for (const Words& command :
       std::vector<Words>{{"cat", "in/f"},
                          {"cp", "in/f", "out/g"},
                          {"mv", "in/f", "out/g"},
                          {"ln", "in/f", "out/g"},
                          {"in/script"},
                          {"sh", "-c", "mkdir -p a/b && touch a/b/c && mv a out && cat out/a/b/c && rm -r out/a"},
                          {"sh", "-c", "mv in/f out/g && cat out/g && echo more >> out/g && mv out/g in/f && cat in/f"},
                          {"sh", "-c", "cd in && ./script && cd .. && ln -s f in/l && cat in/l && rm in/l"},
                          {"sh", "-c", "truncate -s 3 in/f; cat in/f; mkfifo out/p; rm out/p; ls out"},
                          {"sh", "-c", "echo x > /dev/null; cat /dev/stdin < in/f; sed -i s/c/C/ in/f; cat in/f"}}) {
    expectTheSameUnderItsProfile(command);
  }
}

TEST_F(ProfileLearning, IsEnoughForCommandsAboutProcesses) {
  expectTheSameUnderItsProfile(
      {"sh", "-c", "mkfifo out/p; (echo >out/p; read x <out/p) & read y <out/p; kill $!; wait $!; echo $?"});
  EXPECT_TRUE(says("allow processes"));
  EXPECT_FALSE(says("allow signal"));
  expectTheSameUnderItsProfile({"sh", "-c", "kill -0 $PPID; echo $?"});
  EXPECT_TRUE(says("allow signal"));
  expectTheSameUnderItsProfile({"sh", "-c", "cat /proc/$$/comm; (cat in/f; exit 3)"});
}

TEST_F(ProfileLearning, IsEnoughForPathsWhateverTheyHold) {
  expectTheSameUnderItsProfile({"sh", "-c",
                                "for n in 'a b' '\"q\"' '${VantoService_path}' '#c' \"$(printf 'n\\nl\\\\\\377')\"; do"
                                " mkdir \"out/$n\"; echo \"$n\" > \"out/$n/x\"; cat \"out/$n/x\"; done"});
  const std::string odd = "in/\xff \"\n$";
  const Words read{"cat", odd};
  prepare();
  std::ofstream(directory_ / ("w/" + odd)) << "odd";
  EXPECT_EQ(tool({"profile", "learn", "--force", "--out", profile_}, read).output, "odd");
  EXPECT_NE(text().find("/in/\\xff \\\"\\n\\$\"\n"), std::string::npos) << text();
  EXPECT_EQ(tool({"profile", "run", profile_}, read).output, "odd");
}

TEST_F(ProfileLearning, IsEnoughForATcpConnection) {
  const Fd listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), size), 0);
  ASSERT_EQ(listen(listener.get(), 8), 0);
  ASSERT_EQ(getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
  const std::string port = std::to_string(ntohs(address.sin_port));
  const Words command{"/usr/bin/python3", "-I", "-S", "-c",
                      "import socket; socket.create_connection(('127.0.0.1', " + port + ")); print('connected')"};
  expectTheSameUnderItsProfile(command);
  EXPECT_TRUE(says("allow connect tcp " + port)) << text();
  EXPECT_FALSE(says("allow network"));
}

TEST_F(ProfileLearning, IsEnoughForUnixSockets) {
  expectTheSameUnderItsProfile({"/usr/bin/python3", "-I", "-S", "-c", R"(import socket
for name in 'out/s', '\0vanto-learning':
  s = socket.socket(socket.AF_UNIX); s.bind(name); s.listen()
  socket.socket(socket.AF_UNIX).connect(name)
print('connected'))"});
  EXPECT_FALSE(says("allow abstract"));
}

TEST_F(ProfileLearning, IsEnoughForPathsThroughDescriptors) {
  expectTheSameUnderItsProfile({"/usr/bin/python3", "-I", "-S", "-c", R"(import os, socket
out = '/proc/self/fd/%d' % os.open('out', os.O_RDONLY)
s = socket.socket(socket.AF_UNIX); s.bind(out + '/s'); s.listen()
socket.socket(socket.AF_UNIX).connect(out + '/s')
os.mkdir(out + '/d'); os.rename(out + '/d', out + '/e'); os.rmdir(out + '/e'); os.unlink(out + '/s')
os.chdir(out); os.mkdir('f')
print('done'))"});
  EXPECT_TRUE(says("allow read,create,remove,socket " + (directory_ / "w/out"))) << text();
  EXPECT_EQ(text().find("/proc/self/fd", text().find("\nversion ")), std::string::npos) << text();
}

TEST_F(ProfileLearning, IsEnoughToGiveAFileANameInAnotherDirectory) {
  expectTheSameUnderItsProfile({"/usr/bin/python3", "-I", "-S", "-c", R"(import os
file = os.open('in', os.O_TMPFILE | os.O_WRONLY)
os.link('/proc/self/fd/%d' % file, 'out/g', src_dir_fd=file, follow_symlinks=True)
print('done'))"});
  EXPECT_TRUE(says("allow write,rename " + (directory_ / "w/in"))) << text();
  EXPECT_TRUE(says("allow create,rename " + (directory_ / "w/out"))) << text();
}

TEST_F(ProfileLearning, AllowsNothingElse) {
  ASSERT_EQ(learn({"cat", "in/f"}).output, "contents\n");
  EXPECT_EQ(run({"cat", "in/f"}).output, "contents\n");
  EXPECT_EQ(run({"cat", "in/script"}).output, "");
  EXPECT_EQ(run({"sh", "-c", "cat in/f"}).output, "");
  const bool isSanitized =
#ifdef VANTO_TEST_SANITIZED
      true;
#else
      false;
#endif
  // Sanitizers cannot look for leaks in who is confined, and say so by a status of their own.
  EXPECT_EQ(run({"cp", "in/f", "out/g"}).end, isSanitized ? "exit status 1" : "exit status 2");
  EXPECT_FALSE(std::filesystem::exists(directory_ / "w/out/g"));
}

TEST_F(ProfileLearning, LeavesTheInputToTheCommand) {
  prepare();
  ToolSetting setting;
  setting.input = "input";
  const ToolOutcome outcome =
      runToolProcess({"profile", "learn", "--out", profile_, "--", "sh", "-c", "cat; echo message >&2"}, setting);
  EXPECT_EQ(outcome.output, "input");
  EXPECT_EQ(outcome.messages, "message\n");
}

TEST_F(ProfileLearning, WritesWhatItSawWhenItIsInterrupted) {
  const std::string temporary = directory_ / "tmp";
  std::filesystem::create_directory(temporary);
  ToolSetting setting;
  setting.prepare = [&] {
    setenv("TMPDIR", temporary.c_str(), 1);
    setpgid(0, 0);
  };
  const Words command{"profile", "learn", "--out", profile_,
                      "--",      "sh",    "-c",    "cat /etc/hostname; kill -INT 0; sleep 60"};
  EXPECT_EQ(runToolProcess(command, setting).end, "signal " + std::to_string(SIGINT));
  EXPECT_TRUE(says("allow read /etc/hostname")) << text();
  EXPECT_TRUE(std::filesystem::is_empty(temporary));
}

}  // namespace
}  // namespace vanto::test
