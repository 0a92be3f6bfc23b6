// SPDX-License-Identifier: Apache-2.0
#include <VantoService/VantoServiceDiscovery.h>

#include <gtest/gtest.h>

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>
#include <VantoServiceTest/FakeHost.h>

#include "support/BundleBuilder.h"
#include "support/OpenCounter.h"
#include "support/OpenDescriptors.h"
#include "support/Values.h"

namespace {

/// Called with the name of each directory entry that is read, before the reader gets it.
std::function<void(std::string_view name)>& onEntry() {
  static std::function<void(std::string_view)> function;
  return function;
}

}  // namespace

// Stands in for the C library's, so that a test can change a directory at a chosen point of its reading.
extern "C" dirent* readdir(DIR* directory) {
  using Function = dirent* (*)(DIR*);
  static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "readdir"));
  dirent* entry = real(directory);
  if (entry != nullptr && onEntry()) onEntry()(entry->d_name);
  return entry;
}

namespace vanto {
namespace {

namespace fs = std::filesystem;
using namespace vanto::testing;
using test::BundleBuilder;
using test::BundleLayout;
using test::openDescriptors;
using Names = std::vector<std::string>;

Ref<Bundle> bundleAt(std::string_view path) {
  return Bundle::create(*PlistString::create(path));
}

/// The paths of the services that the bundle at `path` carries, in the order in which they are listed.
Names servicesOf(std::string_view path) {
  const Ref<Bundle> host = bundleAt(path);
  const PlistArray* services = VantoServiceBundles(*host);
  if (services == nullptr) return {"null"};
  Names paths;
  for (Object* service : services->elements()) {
    paths.emplace_back(as<VantoServiceBundle>(service)->bundle()->bundlePath()->text());
  }
  return paths;
}

Names sorted(Names names) {
  std::sort(names.begin(), names.end());
  return names;
}

/// A host bundle in a directory of its own.
class ServiceBundles : public ::testing::Test {
 protected:
  ServiceBundles() { host_.build(); }
  ~ServiceBundles() override { onEntry() = nullptr; }

  /// Builds a service in the directory of the host's services; gives its path.
  std::string service(std::string_view name, BundleLayout layout = BundleLayout::Contents) const {
    return BundleBuilder(host_.servicesPath(), name, layout).service().build();
  }
  [[nodiscard]] std::string entry(std::string_view name) const {
    return host_.servicesPath() + "/" + std::string(name);
  }
  /// The services that are listed while `change` runs as soon as the entry `name` is read; for an empty name, the first
  /// entry.
  [[nodiscard]] Names servicesWhenReading(std::string_view name, std::function<void()> change) const {
    bool isDone = false;
    onEntry() = [&, name](std::string_view read) {
      if ((!name.empty() && read != name) || std::exchange(isDone, true)) return;
      change();
    };
    Names names = sorted(servicesOf(host_.path()));
    onEntry() = nullptr;
    EXPECT_TRUE(isDone);
    return names;
  }

  const test::TemporaryDirectory directory_;
  BundleBuilder host_{directory_.path(), "Host.app"};
  const TemporaryScope scope_;
};

TEST_F(ServiceBundles, AreNoneInAHostWithoutADirectoryForThem) {
  fs::remove(host_.servicesPath());
  EXPECT_EQ(servicesOf(host_.path()), Names());
}

TEST_F(ServiceBundles, AreNoneInAnEmptyDirectory) {
  EXPECT_EQ(servicesOf(host_.path()), Names());
}

TEST_F(ServiceBundles, AreNoneWhereAFileStandsInPlaceOfTheirDirectory) {
  fs::remove(host_.servicesPath());
  std::ofstream(host_.servicesPath()) << "a file";
  EXPECT_EQ(servicesOf(host_.path()), Names());
  fs::remove(host_.servicesPath());
  ASSERT_EQ(mkfifo(host_.servicesPath().c_str(), 0600), 0);
  EXPECT_EQ(servicesOf(host_.path()), Names());
}

TEST_F(ServiceBundles, AreNoneInADirectoryThatMayNotBeRead) {
  service("Alpha.vanto");
  fs::permissions(host_.servicesPath(), fs::perms::none);
  fs::permissions(directory_.path(), static_cast<fs::perms>(0755));
  EXPECT_EXIT(
      {
        // Root reads whatever it likes, so become somebody else.
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(2);
        if (access(host_.infoPath().c_str(), R_OK) != 0) _exit(3);
        _exit(servicesOf(host_.path()).empty() ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(ServiceBundles, AreNoneWithoutADescriptorToSpare) {
  service("Alpha.vanto");
  EXPECT_EXIT(
      {
        const Ref<Bundle> host = bundleAt(host_.path());
        while (dup(STDERR_FILENO) >= 0) {
        }
        _exit(VantoServiceBundles(*host)->count() == 0 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(ServiceBundles, AreTheEntriesThatAreServicesAndNoOthers) {
  const std::string alpha = service("Alpha.vanto");
  BundleBuilder(host_.servicesPath(), "Beta.vanto").identifier("beta").build();
  service("Gamma.bundle");
  service("Epsilon.VANTO");
  std::ofstream(entry("Delta.vanto")) << "a file";
  EXPECT_EQ(servicesOf(host_.path()), Names{alpha});
}

TEST_F(ServiceBundles, AreListedWhateverKindTheirServiceEntryIs) {
  const std::string path =
      BundleBuilder(host_.servicesPath(), "Text.vanto").entry("VantoService", BundleBuilder::string("text")).build();
  EXPECT_EQ(servicesOf(host_.path()), Names{path});
}

TEST_F(ServiceBundles, AreListedInEachLayoutOfTheirOwn) {
  const std::string contents = service("Contents.vanto");
  const std::string flat = service("Flat.vanto", BundleLayout::Flat);
  EXPECT_EQ(sorted(servicesOf(host_.path())), (Names{contents, flat}));
}

TEST_F(ServiceBundles, LieBesideTheResourcesOfAHostInEachLayout) {
  const std::pair<BundleLayout, std::string> layouts[] = {{BundleLayout::Contents, "/A.app/Contents/VantoServices"},
                                                          {BundleLayout::Framework, "/B.framework/VantoServices"},
                                                          {BundleLayout::Flat, "/VantoServices"}};
  const std::string names[] = {"A.app", "B.framework", "C.app"};
  for (const auto& [layout, place] : layouts) {
    const test::TemporaryDirectory directory;
    BundleBuilder host(directory.path(), names[static_cast<int>(layout)], layout);
    host.build();
    const std::string path = BundleBuilder(directory.path() + place, "Foo.vanto").service().build();
    EXPECT_EQ(servicesOf(host.path()), Names{path});
  }
}

TEST_F(ServiceBundles, StandInTheOrderOfTheDirectoryWithoutItsOwnEntries) {
  for (int index = 0; index < 200; ++index) service("Service" + std::to_string(index) + ".vanto");
  Names expected;
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(host_.servicesPath().c_str()), &closedir);
  while (const dirent* read = readdir(directory.get())) {
    const std::string name = read->d_name;
    if (name != "." && name != "..") expected.push_back(entry(name));
  }
  ASSERT_EQ(expected.size(), 200U);
  EXPECT_EQ(servicesOf(host_.path()), expected);
}

TEST_F(ServiceBundles, AreNotTheDirectoryAndItsParentEvenWhereThoseAreServices) {
  // "." has an empty extension, whatever the directory is called.
  const test::TemporaryDirectory directory;
  BundleBuilder outer(directory.path(), "Outer.vanto");
  outer.service().build();
  EXPECT_EQ(servicesOf(outer.path()), Names());
}

TEST_F(ServiceBundles, WithNamesThatAreNotUTF8ArePassedOver) {
  const std::string alpha = service("Alpha.vanto");
  service("Bad\xFF.vanto");
  service("\xC3.vanto");
  const std::string umlaut = service("Z\xC3\xBC.vanto");
  EXPECT_EQ(sorted(servicesOf(host_.path())), (Names{alpha, umlaut}));
}

TEST_F(ServiceBundles, ThatAreDamagedDoNotHideTheOthers) {
  const std::string alpha = service("Alpha.vanto");
  const std::string omega = service("Omega.vanto");
  BundleBuilder(host_.servicesPath(), "Broken.vanto").info("<plist>").build();
  BundleBuilder(host_.servicesPath(), "Empty.vanto").info("").build();
  BundleBuilder(host_.servicesPath(), "Array.vanto").info(BundleBuilder::document("<array/>")).build();
  BundleBuilder(host_.servicesPath(), "Bare.vanto").withoutInfo().build();
  BundleBuilder fifo(host_.servicesPath(), "Fifo.vanto");
  fifo.withoutInfo().build();
  ASSERT_EQ(mkfifo(fifo.infoPath().c_str(), 0600), 0);
  fs::create_directory(entry("Nothing.vanto"));
  EXPECT_EQ(sorted(servicesOf(host_.path())), (Names{alpha, omega}));
}

TEST_F(ServiceBundles, AreFoundThroughSymbolicLinksAndNotThroughLoopsOfThem) {
  const std::string elsewhere = BundleBuilder(directory_.path(), "Elsewhere.vanto").service().build();
  fs::create_directory_symlink(elsewhere, entry("Linked.vanto"));
  fs::create_directory_symlink("Loop.vanto", entry("Loop.vanto"));
  fs::create_directory_symlink("There.vanto", entry("Back.vanto"));
  fs::create_directory_symlink("Back.vanto", entry("There.vanto"));
  fs::create_directory_symlink(".", entry("Here.vanto"));
  fs::create_directory_symlink("..", entry("Up.vanto"));
  fs::create_directory_symlink("missing", entry("Dangling.vanto"));
  EXPECT_EQ(servicesOf(host_.path()), Names{entry("Linked.vanto")});
}

TEST_F(ServiceBundles, ThatVanishWhileTheyAreListedArePassedOver) {
  const std::string alpha = service("Alpha.vanto");
  const std::string beta = service("Beta.vanto");
  EXPECT_EQ(servicesWhenReading("Beta.vanto", [&] { fs::remove_all(beta); }), Names{alpha});
}

TEST_F(ServiceBundles, ThatAreSwappedWhileTheyAreListedAreWhatTheyAreThen) {
  const std::string alpha = service("Alpha.vanto");
  const std::string beta = service("Beta.vanto");
  const auto swapForLoop = [&] {
    fs::remove_all(beta);
    fs::create_directory_symlink("Beta.vanto", beta);
  };
  EXPECT_EQ(servicesWhenReading("Beta.vanto", swapForLoop), Names{alpha});
  const auto swapForFile = [&] {
    fs::remove(beta);
    std::ofstream(beta) << "a file";
  };
  EXPECT_EQ(servicesWhenReading("Beta.vanto", swapForFile), Names{alpha});
  const auto swapForService = [&] {
    fs::remove(beta);
    service("Beta.vanto");
  };
  EXPECT_EQ(servicesWhenReading("Beta.vanto", swapForService), (Names{alpha, beta}));
}

TEST_F(ServiceBundles, AreNoneWhenTheirDirectoryVanishesAtOnce) {
  service("Alpha.vanto");
  service("Beta.vanto");
  EXPECT_EQ(servicesWhenReading("", [&] { fs::remove_all(host_.servicesPath()); }), Names());
}

TEST_F(ServiceBundles, CostOneOpenAndOneCloseEach) {
  const std::string paths[] = {service("Alpha.vanto"), service("Beta.vanto")};
  const Ref<Bundle> host = bundleAt(host_.path());
  test::OpenCounter alpha(paths[0] + "/Contents");
  test::OpenCounter beta(paths[1] + "/Contents");
  const std::set<std::string> before = openDescriptors();
  EXPECT_EQ(VantoServiceBundles(*host)->count(), 2U);
  EXPECT_EQ(openDescriptors(), before);
  for (test::OpenCounter* counter : {&alpha, &beta}) {
    const test::OpenCounter::Counts counts = counter->take();
    EXPECT_EQ(counts.opened, 1);
    EXPECT_EQ(counts.closed, 1);
  }
}

TEST_F(ServiceBundles, AreHeldByTheListWhichIsATemporary) {
  service("Alpha.vanto");
  const Ref<Bundle> host = bundleAt(host_.path());
  Ref<PlistArray> services;
  {
    const TemporaryScope scope;
    services = Ref<PlistArray>::share(VantoServiceBundles(*host));
    EXPECT_EQ(services->referenceCount(), 2U);
    ASSERT_EQ(services->count(), 1U);
    EXPECT_EQ(services->at(0)->referenceCount(), 1U);
  }
  EXPECT_EQ(services->referenceCount(), 1U);
  EXPECT_EQ(as<VantoServiceBundle>(services->at(0))->bundle()->referenceCount(), 1U);
}

/// Executables in bundles, and a host that keeps the order of calls.
class BinaryImagePath : public ::testing::Test {
 protected:
  /// The path of the bundle of the executable at `path`; empty when there is none.
  static std::string bundleOf(std::string_view path) { return pathOf(bundleForBinaryImagePath(string(path))); }
  static std::string frameworkOf(std::string_view path) {
    return pathOf(frameworkBundleForBinaryImagePath(string(path)));
  }
  static std::string serviceOf(std::string_view path) {
    auto* service = VantoServiceBundle::VantoServiceBundleFromExecutableAtPath(string(path));
    return service == nullptr ? "" : pathOf(service->bundle());
  }
  static std::string pathOf(const Bundle* bundle) {
    return bundle == nullptr ? "" : std::string(bundle->bundlePath()->text());
  }

  [[nodiscard]] BundleBuilder builder(std::string_view name, BundleLayout layout = BundleLayout::Contents) const {
    return BundleBuilder(directory_.path(), name, layout);
  }

  const test::TemporaryDirectory directory_;
  test::FakeHost host_;
};

TEST_F(BinaryImagePath, LeadsToTheApplicationOfItsMainExecutable) {
  const BundleBuilder application = builder("Host.app").executable("Host");
  const std::string path = BundleBuilder(application).build();
  EXPECT_EQ(bundleOf(application.executablePath("Host")), path);
}

TEST_F(BinaryImagePath, LeadsToTheBundleInEachLayout) {
  const std::pair<BundleLayout, std::string_view> kinds[] = {
      {BundleLayout::Contents, "A.app"}, {BundleLayout::Framework, "B.framework"}, {BundleLayout::Flat, "C.app"}};
  for (const auto& [layout, name] : kinds) {
    const BundleBuilder bundle = builder(name, layout).executable("Program");
    const std::string path = BundleBuilder(bundle).build();
    EXPECT_EQ(bundleOf(bundle.executablePath("Program")), path);
  }
}

TEST_F(BinaryImagePath, LeadsNowhereOutsideOfBundles) {
  EXPECT_EQ(bundleOf(directory_ / "tool"), "");
  EXPECT_EQ(frameworkOf(directory_ / "tool"), "");
  EXPECT_EQ(serviceOf(directory_ / "tool"), "");
  EXPECT_EQ(bundleOf(""), "");
  EXPECT_EQ(bundleForBinaryImagePath(nullptr), nullptr);
  EXPECT_EQ(frameworkBundleForBinaryImagePath(nullptr), nullptr);
  EXPECT_EQ(VantoServiceBundle::VantoServiceBundleFromExecutableAtPath(nullptr), nullptr);
}

TEST_F(BinaryImagePath, LeadsNowhereInADamagedBundleEvenInsideAnother) {
  BundleBuilder outer = builder("Outer.app");
  outer.build();
  const BundleBuilder inner = BundleBuilder(outer.resourcesPath(), "Inner.app").executable("Inner").info("damaged");
  BundleBuilder(inner).build();
  EXPECT_EQ(bundleOf(inner.executablePath("Inner")), "");
}

TEST_F(BinaryImagePath, LeadsToTheFrameworkThatEnclosesIt) {
  const BundleBuilder framework = builder("Kit.framework", BundleLayout::Framework).executable("Kit");
  const std::string path = BundleBuilder(framework).build();
  EXPECT_EQ(frameworkOf(framework.executablePath("Kit")), path);
  // Also where another bundle is nearer.
  const BundleBuilder helper = BundleBuilder(framework.resourcesPath(), "Helper.app").executable("Helper");
  BundleBuilder(helper).build();
  EXPECT_EQ(frameworkOf(helper.executablePath("Helper")), path);
  EXPECT_EQ(bundleOf(helper.executablePath("Helper")), helper.path());
}

TEST_F(BinaryImagePath, LeadsToNoFrameworkInAnApplication) {
  const BundleBuilder application = builder("Host.app").executable("Host");
  BundleBuilder(application).build();
  EXPECT_EQ(frameworkOf(application.executablePath("Host")), "");
}

TEST_F(BinaryImagePath, LeadsToNoFrameworkThatIsNoBundle) {
  const BundleBuilder application = BundleBuilder(directory_ / "Kit.framework", "Host.app").executable("Host");
  BundleBuilder(application).build();
  EXPECT_EQ(frameworkOf(application.executablePath("Host")), "");
  // Nor is one looked for where the executable is in no bundle at all.
  EXPECT_EQ(frameworkOf(directory_ / "Other.framework/Other"), "");
}

TEST_F(BinaryImagePath, OfAServiceLeadsToThatService) {
  BundleBuilder host = builder("Host.app");
  host.build();
  const BundleBuilder service = BundleBuilder(host.servicesPath(), "Foo.vanto").executable("Foo").service();
  const std::string path = BundleBuilder(service).build();
  EXPECT_EQ(serviceOf(service.executablePath("Foo")), path);
}

TEST_F(BinaryImagePath, OfAnApplicationLeadsToNoServiceEvenWithAServiceDictionary) {
  const BundleBuilder application = builder("Host.app").executable("Host").service();
  BundleBuilder(application).build();
  EXPECT_NE(bundleOf(application.executablePath("Host")), "");
  EXPECT_EQ(serviceOf(application.executablePath("Host")), "");
}

TEST_F(BinaryImagePath, OfABundleWithoutServiceDictionaryLeadsToNoService) {
  const BundleBuilder bundle = builder("Foo.vanto").executable("Foo");
  BundleBuilder(bundle).build();
  EXPECT_EQ(serviceOf(bundle.executablePath("Foo")), "");
}

TEST_F(BinaryImagePath, BecomesTheURLOfAFileFirst) {
  const BundleBuilder service = builder("Foo.vanto").executable("Foo").service();
  BundleBuilder(service).build();
  const std::string executable = service.executablePath("Foo");
  const std::string located = "KorURLCreateWithFileSystemPath(" + executable + ", POSIX, no directory)";
  static_cast<void>(bundleOf(executable));
  static_cast<void>(frameworkOf(executable));
  static_cast<void>(serviceOf(executable));
  EXPECT_EQ(host_.lines(), Names(3, located));
}

TEST_F(BinaryImagePath, LeadsNowhereWhenItCannotBecomeAURL) {
  const BundleBuilder service = builder("Foo.vanto").executable("Foo").service();
  BundleBuilder(service).build();
  const std::string executable = service.executablePath("Foo");
  host_.fail("KorURLCreateWithFileSystemPath");
  EXPECT_EQ(bundleOf(executable), "");
  EXPECT_EQ(frameworkOf(executable), "");
  EXPECT_EQ(serviceOf(executable), "");
  host_.succeed("KorURLCreateWithFileSystemPath");
  EXPECT_EQ(serviceOf(executable), service.path());
}

TEST_F(BinaryImagePath, LeadsToTemporaries) {
  const BundleBuilder service = builder("Foo.vanto").executable("Foo").service();
  BundleBuilder(service).build();
  Ref<Bundle> bundle;
  Ref<VantoServiceBundle> made;
  {
    const TemporaryScope scope;
    PlistString* executable = string(service.executablePath("Foo"));
    bundle = Ref<Bundle>::share(bundleForBinaryImagePath(executable));
    made = Ref<VantoServiceBundle>::share(VantoServiceBundle::VantoServiceBundleFromExecutableAtPath(executable));
  }
  EXPECT_EQ(bundle->referenceCount(), 1U);
  EXPECT_EQ(made->referenceCount(), 1U);
  EXPECT_EQ(made->bundle()->referenceCount(), 1U);
}

}  // namespace
}  // namespace vanto
