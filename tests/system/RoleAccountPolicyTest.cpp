// SPDX-License-Identifier: Apache-2.0

// The policy file of a machine, read by real services on the real host, confined and not. Each service has a root
// directory of its own, in which the file lies; only root has what that takes.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <functional>

#include <sys/stat.h>
#include <unistd.h>

#include "system/CodeClients.h"
#include "system/OwnRoot.h"

namespace vanto::test {
namespace {

constexpr const char* policyPath = "/Library/Preferences/org.vanto.security.vanto.plist";
constexpr const char* relaxedLine = "3 Role Account Security Policy: Relaxed";
constexpr const char* admittedLine = "5 Relaxed security policy: allowing connection for all clients.";
const std::string unreadLine = std::string(
                                   "3 in useRestrictiveRoleAccountSecurityPolicy(): could not create "
                                   "KorURLCreateDataAndPropertiesFromResource() for: ") +
                               policyPath;

/// For a decision, the start of the client included.
#ifdef __SANITIZE_ADDRESS__
constexpr double mostMilliseconds = 1000;
#else
constexpr double mostMilliseconds = 100;
#endif
constexpr int tries = 20;

enum class Confined : std::uint8_t { No, Yes };

std::string document(const std::string& root) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + root + "</plist>";
}
std::string policy(const std::string& value) {
  return document("<dict><key>RestrictRoleAccountServices</key>" + value + "</dict>");
}
/// A policy that would admit everybody, in so many bytes.
std::string relaxedOf(std::size_t bytes) {
  const std::string text = policy("<false/>");
  return text + std::string(bytes - text.size(), '\n');
}

class RoleAccountPolicy : public CodeClients {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "needs root";
  }

  /// Starts a service that admits the trusted program, after `make` has made the policy file.
  void startWith(const std::function<bool()>& make, Confined confined) {
    service_.reset();
    BundleBuilder bundle = serviceBundle();
    std::filesystem::remove_all(bundle.path());
    std::filesystem::remove(socketOf(name));
    bundle.serviceEntry("_AllowedClients", BundleBuilder::array({BundleBuilder::string("signer \"acme\"")}));
    if (confined == Confined::Yes) {
      bundle.serviceEntry("_SandboxProfile", BundleBuilder::string("tight"))
          .resource("tight.sb", "version 1\ninclude base\nnetwork none\nrequire read write network processes\n");
    }
    bundle.build();
    const std::string root = directory_ / "root";
    std::filesystem::create_directories(root);
    service_ = std::make_unique<ServiceProcess>(bundle.executablePath("service"), std::vector<std::string>{"echo"},
                                                ServiceProcess::Traced::No, [&] {
                                                  if (!enterOwnRoot(root) || !make()) _exit(95);
                                                });
    awaitSocket(name);
    awaitSocket("org.vanto.vexd");
  }

  /// How the service decides for a program that it is not to admit, and how it does for one that it is. In between it
  /// has read the file. How long the first of the two took, in milliseconds, which it prints as well.
  double expectDecision(const char* what, bool isRelaxed, const Lines& read) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(callBy(stranger_), isRelaxed ? "served" : refusedCode) << what;
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    std::printf("%-24s %6.1f ms from the start of the client to the decision\n", what, time.count());
    EXPECT_EQ(callBy(trusted_), "served") << what;
    Lines lines = read;
    if (isRelaxed) lines.insert(lines.end(), {relaxedLine, admittedLine, admittedLine});
    EXPECT_EQ(service_->log(), lines) << what;
    return time.count();
  }
  void expectRestrictive(const char* what, const Lines& read, const std::function<bool()>& make) {
    for (const Confined confined : {Confined::No, Confined::Yes}) {
      double least = HUGE_VAL;
      // A busy machine can delay any one; a file that is waited for, or too large to be read, delays them all.
      for (int i = 0; i < tries && least > mostMilliseconds; i++) {
        startWith(make, confined);
        least = std::min(least, expectDecision(what, false, read));
      }
      EXPECT_LE(least, mostMilliseconds) << what;
    }
  }

  /// Makes the file with these contents and permissions.
  static std::function<bool()> file(std::string contents, mode_t mode = 0644, uid_t owner = 0) {
    return [contents = std::move(contents), mode, owner] {
      if (!makeDirectory()) return false;
      std::ofstream(policyPath) << contents;
      return chmod(policyPath, mode) == 0 && chown(policyPath, owner, 0) == 0;
    };
  }
  static bool makeDirectory() { return mkdir("/Library", 0755) == 0 && mkdir("/Library/Preferences", 0755) == 0; }
};

TEST_F(RoleAccountPolicy, AdmitsEverybodyWhenItSaysSo) {
  for (const Confined confined : {Confined::No, Confined::Yes}) {
    startWith(file(policy("<false/>")), confined);
    expectDecision("relaxed", true, {});
    startWith(file(relaxedOf(std::size_t{1} << 20)), confined);
    expectDecision("relaxed, 1 MiB", true, {});
  }
}

TEST_F(RoleAccountPolicy, IsRestrictiveWithoutAFile) {
  expectRestrictive("no directory", {}, [] { return true; });
  expectRestrictive("no file", {}, makeDirectory);
}

TEST_F(RoleAccountPolicy, IsRestrictiveWithoutAWordWhenTheFileDoesNotRelaxIt) {
  expectRestrictive("true", {}, file(policy("<true/>")));
  expectRestrictive("the string NO", {}, file(policy("<string>NO</string>")));
  expectRestrictive("the number 0", {}, file(policy("<integer>0</integer>")));
  expectRestrictive("an array", {}, file(document("<array/>")));
  expectRestrictive("another key", {}, file(document("<dict><key>Other</key><false/></dict>")));
}

TEST_F(RoleAccountPolicy, IsRestrictiveWithALineWhenTheFileIsNotBelieved) {
  const Lines unread{unreadLine};
  expectRestrictive("a FIFO", unread, [] { return makeDirectory() && mkfifo(policyPath, 0644) == 0; });
  expectRestrictive("a directory", unread, [] { return makeDirectory() && mkdir(policyPath, 0755) == 0; });
  expectRestrictive("1 MiB and a byte", unread, file(relaxedOf((std::size_t{1} << 20) + 1)));
  expectRestrictive("2 MiB", unread, file(relaxedOf(std::size_t{2} << 20)));
  expectRestrictive("not root's", unread, file(policy("<false/>"), 0644, 65534));
  expectRestrictive("writable by its group", unread, file(policy("<false/>"), 0664));
  expectRestrictive("writable by others", unread, file(policy("<false/>"), 0646));
  expectRestrictive("cut", unread, file(policy("<false/>").substr(0, 100)));
  expectRestrictive("no property list", unread, file("RestrictRoleAccountServices = NO"));
  expectRestrictive("empty", unread, file(""));
}

TEST_F(RoleAccountPolicy, IsReadOnce) {
  startWith(file(policy("<true/>")), Confined::No);
  expectDecision("before a change", false, {});
  // Through the root directory of the service.
  const std::string seen = "/proc/" + std::to_string(service_->pid()) + "/root" + policyPath;
  std::ofstream(seen) << policy("<false/>");
  expectDecision("after a change", false, {});
}

}  // namespace
}  // namespace vanto::test
