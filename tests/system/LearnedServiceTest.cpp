// SPDX-License-Identifier: Apache-2.0
// A profile that is learned from a service while a client calls it: the service works under it, and it names nothing
// that is allowed anyway.
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include <sys/socket.h>
#include <sys/un.h>

#include "host/ipc/IPCFixture.h"
#include "system/ServiceBundles.h"
#include "system/ToolProcess.h"

namespace vanto::test {
namespace {

class LearnedService : public ServiceBundles {
 protected:
  LearnedService() { std::ofstream(directory_ / "secret") << "contents"; }

  /// Learns from the service while it is called; gives the profile.
  std::string learn(BundleBuilder& bundle, const std::string& pathToRead = "/etc/passwd") const {
    bundle.build();
    const std::string profile = directory_ / "learned.sb";
    ServiceProcess learning(VANTO_TEST_TOOL, {"profile", "learn", "--bundle", bundle.path(), "--out", profile, "--",
                                              bundle.executablePath("service")});
    EXPECT_EQ(outcomeOfReading(learning, pathToRead), 0);
    learning.terminate();
    EXPECT_EQ(learning.waitForEndAsText(), "exit status 0") << learning.output();
    EXPECT_EQ(learning.output(), "");
    std::ifstream file(profile);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  /// As a service does that is killed.
  void leaveSocket() const {
    const Fd socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s/vanto/user/%s", directory_.path().c_str(), name);
    ASSERT_EQ(bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }

  /// What comes of opening a file in the service: 0 or an errno value.
  [[nodiscard]] static std::int64_t outcomeOfReading(const ServiceProcess& service, const std::string& path) {
    const Held connection(service.connect(name));
    const Held request(vanto_dictionary_create(nullptr, nullptr, 0));
    vanto_dictionary_set_value(request, "read", Held(vanto_string_create(path.c_str())));
    const Held reply(vanto_call(connection, request, generous));
    EXPECT_TRUE(vanto_equal(vanto_dictionary_get_value(reply, "echo"), request)) << service.output();
    return vanto_int64_get_value(vanto_dictionary_get_value(reply, "read"));
  }
};

TEST_F(LearnedService, ServesItsClientsConfinedByWhatWasLearnedFromIt) {
  BundleBuilder bundle = serviceBundle();
  const std::string profile = learn(bundle);
  std::filesystem::remove_all(directory_ / "vanto");
  BundleBuilder confined = serviceBundle();
  confined.serviceEntry("_SandboxProfile", BundleBuilder::string("learned")).resource("learned.sb", profile);
  const auto service = start(confined, {});
  EXPECT_EQ(outcomeOfReading(*service, "/etc/passwd"), 0);
  EXPECT_EQ(outcomeOfReading(*service, directory_ / "secret"), EACCES);
  service->terminate();
  EXPECT_EQ(service->waitForEndAsText(), "exit status 0");
  // It has removed its socket.
  EXPECT_FALSE(std::filesystem::exists(directory_ / ("vanto/user/" + std::string(name))));
}

TEST_F(LearnedService, NeedsNothingThatThePlatformAllowsAnyway) {
  BundleBuilder bundle = serviceBundle();
  const std::set<std::string> files{bundle.infoPath(), std::filesystem::canonical(VANTO_TEST_LIBRARY).string()};
  std::string expected = "version 1\ninclude base\n";
  for (const std::string& file : files) expected += "allow read " + file + "\n";
  expected += "network none\n";
  // The first run finds no domain directory, the second that of the first, the third what one that was killed has left.
  for (int time = 0; time < 3; ++time) {
    if (time == 2) leaveSocket();
    const std::string profile = learn(bundle);
    EXPECT_EQ(profile.substr(profile.find("version")), expected) << profile;
    EXPECT_EQ(profile.find("# execute"), std::string::npos);
    std::filesystem::remove(directory_ / "learned.sb");
  }
}

TEST_F(LearnedService, NeedsWhatItDoesForItsClients) {
  BundleBuilder bundle = serviceBundle();
  const std::string secret = directory_ / "secret";
  EXPECT_NE(learn(bundle, secret).find("\nallow read " + secret + "\n"), std::string::npos);
}

}  // namespace
}  // namespace vanto::test
