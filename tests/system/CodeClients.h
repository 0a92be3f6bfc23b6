// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <VantoService/TemporaryScope.h>

#include "programs/code/SignedFiles.h"
#include "system/ServiceBundles.h"

namespace vanto::test {

/// A process of the program codeclient.cpp, killed with its object.
class CodeClient {
 public:
  /// `pid` is one that it is to have; 0 for any. Then only root can, and hasStarted() tells whether.
  CodeClient(std::string program, std::vector<std::string> arguments, pid_t pid = 0) {
    int output[2];
    int input[2];
    EXPECT_EQ(pipe2(output, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(input, O_CLOEXEC), 0);
    output_.reset(output[0]);
    input_.reset(input[1]);
    const Fd theirOutput(output[1]);
    const Fd theirInput(input[0]);
    arguments.insert(arguments.begin(), program);
    std::vector<char*> vector;
    for (std::string& argument : arguments) vector.push_back(argument.data());
    vector.push_back(nullptr);
    pid_ = pid == 0 ? fork() : forkAs(pid);
    if (pid_ != 0) return;
    dup2(theirOutput.get(), STDOUT_FILENO);
    dup2(theirInput.get(), STDIN_FILENO);
    execv(vector[0], vector.data());
    _exit(126);
  }
  ~CodeClient() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    awaitEnd();
  }
  CodeClient(const CodeClient&) = delete;
  CodeClient& operator=(const CodeClient&) = delete;

  [[nodiscard]] bool hasStarted() const { return pid_ > 0; }
  [[nodiscard]] pid_t pid() const { return pid_; }

  /// The next line that it, or a child of it, reports; empty at the end of all of them, or after a minute.
  [[nodiscard]] std::string line() const {
    std::string text;
    char character = 0;
    pollfd set{output_.get(), POLLIN, 0};
    while (poll(&set, 1, 60'000) == 1 && read(output_.get(), &character, 1) == 1 && character != '\n') {
      text += character;
    }
    return text;
  }

  /// Lets it go on where it waits.
  void tell() { input_.reset(); }

  void awaitEnd() {
    while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
    }
    pid_ = 0;
  }

 private:
  static pid_t forkAs(pid_t pid) {
    struct {
      std::uint64_t flags, pidfd, childTid, parentTid, exitSignal, stack, stackSize, tls, setTid, setTidSize, cgroup;
    } arguments{};
    arguments.exitSignal = SIGCHLD;
    arguments.setTid = reinterpret_cast<std::uint64_t>(&pid);
    arguments.setTidSize = 1;
    return static_cast<pid_t>(syscall(SYS_clone3, &arguments, sizeof arguments));
  }

  pid_t pid_ = 0;
  Fd output_;
  Fd input_;
};

/// A test with a code-signing service, a trusted program and one that is not, and a service that admits clients.
class CodeClients : public ServiceBundles {
 protected:
  CodeClients() {
    // There before the first service, so that its socket can be waited for.
    mkdir((directory_ / "vanto").c_str(), 0700);
    mkdir(domain_.c_str(), 0700);
    std::filesystem::create_directories(trust_);
    std::filesystem::permissions(trust_, std::filesystem::perms::owner_all);
    setenv("XDG_CONFIG_HOME", (directory_ / "config").c_str(), 1);
    vanto::testing::writeContents(trust_ + "/acme.plist", vanto::testing::keyFile("acme", acme_).bytes);
    std::filesystem::copy_file(VANTO_TEST_CODE_CLIENT, trusted_);
    std::filesystem::copy_file(VANTO_TEST_CODE_CLIENT, stranger_);
    const Ref<PlistMutableDictionary> entitlements = PlistMutableDictionary::create();
    entitlements->setValueForKey(PlistString::create("granted").get(), PlistString::create("org.vanto.test").get());
    vanto::testing::signFile(trusted_, acme_, "org.vanto.test.client", entitlements);
    startVexd();
  }

  void startVexd() { vexd_ = std::make_unique<ServiceProcess>(VANTO_TEST_VEXD, std::vector<std::string>{}); }

  /// Ends the service that runs, and describes one with these requirement texts.
  [[nodiscard]] BundleBuilder nextService(const std::vector<std::string>& texts) {
    service_.reset();
    BundleBuilder bundle = serviceBundle();
    std::filesystem::remove_all(bundle.path());
    std::filesystem::remove(socketOf(name));
    std::vector<std::string> elements;
    for (const std::string& text : texts) elements.push_back(BundleBuilder::string(text));
    bundle.serviceEntry("_AllowedClients", BundleBuilder::array(elements));
    return bundle;
  }

  /// Starts a service with these requirement texts.
  void startService(const std::vector<std::string>& texts, const char* kind = "echo") {
    BundleBuilder bundle = nextService(texts);
    service_ = start(bundle, {kind});
    awaitSocket(name);
    awaitSocket("org.vanto.vexd");
  }

  [[nodiscard]] std::string socketOf(const std::string& service) const { return domain_ + "/" + service; }
  /// Until the service of that name listens.
  void awaitSocket(const char* awaited) const {
    const Fd events(inotify_init1(IN_CLOEXEC));
    ASSERT_GE(inotify_add_watch(events.get(), domain_.c_str(), IN_CREATE | IN_MOVED_TO), 0);
    pollfd set{events.get(), POLLIN, 0};
    while (!std::filesystem::exists(socketOf(awaited))) {
      ASSERT_EQ(poll(&set, 1, 60'000), 1) << awaited;
      char bytes[4096];
      ASSERT_GT(read(events.get(), bytes, sizeof bytes), 0);
    }
  }
  /// Ends the code-signing service, and takes its name away.
  void endVexd() {
    vexd_.reset();
    std::filesystem::remove(socketOf("org.vanto.vexd"));
  }

  /// What a call by the program came to.
  [[nodiscard]] static std::string callBy(const std::string& program) {
    const CodeClient client(program, {"call", name});
    return client.line();
  }

  const TemporaryScope scope_;
  const std::string domain_ = directory_ / "vanto/user";
  const std::string trust_ = directory_ / "config/vanto/trust";
  const std::string trusted_ = directory_ / "trusted";
  const std::string stranger_ = directory_ / "stranger";
  const code::KeyPair acme_ = vanto::testing::keyPair(1);
  std::unique_ptr<ServiceProcess> vexd_;
  std::unique_ptr<ServiceProcess> service_;
};

inline const std::string refusedCode = std::to_string(VANTO_ERROR_REFUSED);

}  // namespace vanto::test
