// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

#include "host/ipc/ManagerEnd.h"
#include "host/ipc/Peer.h"
#include "support/HiddenCalls.h"
#include "system/ServiceBundles.h"

namespace vanto::test {
namespace {

class ConfinedService : public ServiceBundles {
 protected:
  ConfinedService() {
    for (const char* made : {"own", "outside"}) mkdir((directory_ / made).c_str(), 0700);
    for (const char* made : {"own/file", "outside/file"}) std::ofstream(directory_ / made) << "contents";
  }

  [[nodiscard]] BundleBuilder confinedBundle(const std::string& profile) const {
    BundleBuilder bundle = serviceBundle();
    bundle.serviceEntry("_SandboxProfile", BundleBuilder::string("tight")).resource("tight.sb", profile);
    return bundle;
  }
  [[nodiscard]] std::string profile() const {
    return "version 1\ninclude base\nallow read ${VantoService_path}\nallow read,write,create " + (directory_ / "own") +
           "\nallow read " + (directory_ / "absent") + "\nnetwork none\nrequire network processes\n";
  }

  /// Builds the bundle and starts its service where `hide` has hidden something of the kernel's.
  [[nodiscard]] static std::unique_ptr<ServiceProcess> startWithout(void (*hide)(), BundleBuilder& bundle) {
    bundle.build();
    return std::make_unique<ServiceProcess>(bundle.executablePath("service"), std::vector<std::string>{"obeying"},
                                            ServiceProcess::Traced::No, hide);
  }

  /// That the service answers, is free, and has logged one line: that its profile was not entered, and why.
  void expectUnconfined(const ServiceProcess& service, const BundleBuilder& bundle, const std::string& why) const {
    EXPECT_EQ(outcomeOf(service, "socket"), 0);
    EXPECT_EQ(outcomeOf(service, "read " + (directory_ / "outside/file")), 0);
    EXPECT_EQ(service.log(),
              Lines{"3 sandbox_init_with_parameters() profile " + bundle.resourcesPath() + "/tight.sb fails: " + why});
  }

  /// What comes of an order to the service: 0 or errno.
  [[nodiscard]] static std::int64_t outcomeOf(const ServiceProcess& service, const std::string& order) {
    const Held connection(service.connect(name));
    const Held request(vanto_string_create(order.c_str()));
    const Held reply(vanto_call(connection, request, generous));
    EXPECT_EQ(vanto_kind(reply), VANTO_KIND_INT64) << order;
    return vanto_kind(reply) == VANTO_KIND_INT64 ? vanto_int64_get_value(reply) : -1;
  }

  void expectConfined(const ServiceProcess& service) const {
    EXPECT_EQ(outcomeOf(service, "read " + (directory_ / "own/file")), 0);
    EXPECT_EQ(outcomeOf(service, "write " + (directory_ / "own/new")), 0);
    EXPECT_EQ(outcomeOf(service, "read " + (directory_ / "outside/file")), EACCES);
    EXPECT_EQ(outcomeOf(service, "write " + (directory_ / "outside/new")), EACCES);
    EXPECT_EQ(outcomeOf(service, "read " + (directory_ / (std::string(name) + ".vanto/Contents/Info.plist"))), 0);
    EXPECT_EQ(outcomeOf(service, "socket"), EPERM);
    EXPECT_EQ(outcomeOf(service, "fork"), EPERM);
  }
};

TEST_F(ConfinedService, MayWhatItsProfileAllowsAndNothingElse) {
  BundleBuilder bundle = confinedBundle(profile());
  const auto service = start(bundle, {"obeying"});
  expectConfined(*service);
  EXPECT_EQ(outcomeOf(*service, "log"), 0);
  EXPECT_EQ(service->log(), Lines{"6 a line of a service"});
  service->terminate();
  EXPECT_EQ(service->waitForEndAsText(), "exit status 0");
  // It has removed its name, which a confined service can too.
  EXPECT_NE(access((directory_ / ("vanto/user/" + std::string(name))).c_str(), F_OK), 0);
}

TEST_F(ConfinedService, ListensAgainWhereOneWasKilled) {
  BundleBuilder bundle = confinedBundle("network none\n");
  for (int time = 0; time < 2; ++time) {
    const auto service = start(bundle, {"obeying"});
    EXPECT_EQ(outcomeOf(*service, "socket"), EPERM);
    EXPECT_EQ(service->log(), Lines{});
  }
}

TEST_F(ConfinedService, FindsItsBundleThroughALink) {
  BundleBuilder bundle = confinedBundle(profile());
  bundle.build();
  const std::string link = directory_ / "link.vanto";
  ASSERT_EQ(symlink(bundle.path().c_str(), link.c_str()), 0);
  const ServiceProcess service(link + bundle.executablePath("service").substr(bundle.path().size()), {"obeying"});
  expectConfined(service);
}

TEST_F(ConfinedService, IsUnconfinedAndSilentWithoutItsProfile) {
  BundleBuilder bundle = serviceBundle();
  bundle.serviceEntry("_SandboxProfile", BundleBuilder::string("missing"));
  const auto service = start(bundle, {"obeying"});
  EXPECT_EQ(outcomeOf(*service, "socket"), 0);
  EXPECT_EQ(service->log(), Lines{});
}

TEST_F(ConfinedService, GoesOnUnconfinedWhereTheProfileIsTooLarge) {
  BundleBuilder bundle = confinedBundle(std::string((std::size_t{1} << 20) + 1, '#'));
  expectUnconfined(*start(bundle, {"obeying"}), bundle, "the file is larger than 1 MiB; make the profile shorter");
}

TEST_F(ConfinedService, GoesOnUnconfinedWhereItHasMadeAThreadBefore) {
  BundleBuilder bundle = confinedBundle("network none\n");
  expectUnconfined(*start(bundle, {"threaded"}), bundle,
                   "the process has 2 threads, of which only one could be confined; enter the sandbox before others "
                   "are made");
}

TEST_F(ConfinedService, GoesOnUnconfinedWhereTheProfileHasAMistake) {
  BundleBuilder bundle = confinedBundle("version 1\nnetwork some\nallow read\n");
  expectUnconfined(
      *start(bundle, {"obeying"}), bundle,
      bundle.resourcesPath() +
          "/tight.sb:2:9: unknown word \"some\"; write network none, or allow network for all of it (and 1 more)");
}

TEST_F(ConfinedService, GoesOnUnconfinedWhereTheKernelCannotDenyWhatMustBeDenied) {
  BundleBuilder bundle = confinedBundle("network none\nrequire read network\n");
  const auto withoutFilters = [] {
    testing::hideCall(SYS_seccomp);
  };
  expectUnconfined(*startWithout(withoutFilters, bundle), bundle,
                   "the profile requires network: system calls cannot be filtered here");
}

TEST_F(ConfinedService, GoesOnUnconfinedWithoutLandlock) {
  BundleBuilder bundle = confinedBundle("network none\n");
  expectUnconfined(*startWithout(&testing::hideLandlock, bundle), bundle,
                   "this kernel has no Landlock, or it is switched off, and without it no profile is entered; start "
                   "Linux 5.13 or newer with landlock among the modules of its parameter lsm");
}

TEST_F(ConfinedService, IsNotGivenUpOverWhatItHasPutInAPlaceOfItsOwn) {
  BundleBuilder bundle = confinedBundle(profile() + "allow read " + (directory_ / "own/network") + "\n");
  ASSERT_EQ(symlink("/proc/self/ns/net", (directory_ / "own/network").c_str()), 0);
  const auto service = start(bundle, {"obeying"});
  expectConfined(*service);
  EXPECT_EQ(service->log(), Lines{});
}

TEST_F(ConfinedService, WithARunLoopOfItsOwnIsConfinedToo) {
  BundleBuilder bundle = confinedBundle("network none\n");
  bundle.serviceEntry("RunLoopType", BundleBuilder::string("QelRunLoop"));
  const auto service = start(bundle, {"run-loop"});
  EXPECT_EQ(service->waitForEndAsText(), "exit status 0");
  EXPECT_EQ(service->log(), (Lines{"7 the run loop runs", "7 _vanto_main returned"}));
}

/// A service that a manager has started.
class ManagedConfinedService : public ConfinedService {
 protected:
  [[nodiscard]] std::unique_ptr<ServiceProcess> startManaged(BundleBuilder& bundle) {
    bundle.build();
    auto service = std::make_unique<ServiceProcess>(
        bundle.executablePath("service"), std::vector<std::string>{"obeying"}, ServiceProcess::Traced::No,
        handOver({listener_.get(), manager_.theirs()}, (std::string(name) + ":.manager").c_str()));
    manager_.letTheirsGo();
    return service;
  }

  const RuntimeDirectory runtime_;
  const Fd listener_ = createListener(runtime_, name);
  ManagerEnd manager_;
};

TEST_F(ManagedConfinedService, GivesItsManagerAReceipt) {
  BundleBuilder bundle = confinedBundle(profile());
  const auto service = startManaged(bundle);
  const std::string receipt = manager_.next();
  EXPECT_TRUE(receipt.starts_with("level reduced\n") || receipt.starts_with("level full\n")) << receipt;
  EXPECT_NE(receipt.find("\nwitness denied: list /, make a UDP socket, call unshare\n"), std::string::npos) << receipt;
  EXPECT_NE(receipt.find("\nabsent " + (directory_ / "absent") + ": No such file or directory\n"), std::string::npos)
      << receipt;
  EXPECT_EQ(manager_.next(), "listening");
  expectConfined(*service);
  // The socket is its manager's, so nothing in the domain is its own.
  EXPECT_EQ(outcomeOf(*service, "read " + (runtime_.directory() / "vanto/user")), EACCES);
  service->terminate();
  EXPECT_EQ(service->waitForEndAsText(), "exit status 0");
}

TEST_F(ManagedConfinedService, TellsItsManagerWhyItIsNotConfined) {
  BundleBuilder bundle = confinedBundle("allow nothing\n");
  const auto service = startManaged(bundle);
  const std::string start = "level none\nerror " + bundle.resourcesPath() + "/tight.sb:1:7: ";
  EXPECT_EQ(manager_.next().substr(0, start.size()), start);
  EXPECT_EQ(manager_.next(), "listening");
  EXPECT_EQ(outcomeOf(*service, "socket"), 0);
}

TEST_F(ManagedConfinedService, TellsItsManagerOfAProfileThatIsNotThere) {
  BundleBuilder bundle = serviceBundle();
  bundle.serviceEntry("_SandboxProfile", BundleBuilder::string("../tight")).resource("tight.sb", "network none\n");
  const auto service = startManaged(bundle);
  EXPECT_EQ(manager_.next(),
            "level none\nerror the bundle has no resource \"../tight.sb\"; add the profile, or correct its name under "
            "_SandboxProfile\nasked \nenforced \nwitness untested\n");
  EXPECT_EQ(manager_.next(), "listening");
  EXPECT_EQ(service->log(), Lines{});
}

TEST_F(ManagedConfinedService, TellsItsManagerNothingWithoutAProfile) {
  BundleBuilder bundle = serviceBundle();
  const auto service = startManaged(bundle);
  EXPECT_EQ(manager_.next(), "listening");
}

}  // namespace
}  // namespace vanto::test
