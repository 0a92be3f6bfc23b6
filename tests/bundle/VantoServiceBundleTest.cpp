// SPDX-License-Identifier: Apache-2.0
#include <VantoService/VantoServiceBundle.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <VantoService/TemporaryScope.h>
#include <VantoServiceTest/FakeHost.h>

#include "bundle/VantoServiceBundleFields.h"
#include "support/BundleBuilder.h"
#include "support/OpenCounter.h"
#include "value/ValueStorage.h"

namespace vanto {
namespace {

using test::BundleBuilder;
using test::BundleLayout;
using test::OpenCounter;
using test::VantoServiceBundleFields;

VantoServiceBundle* serviceAt(std::string_view path) {
  return VantoServiceBundle::VantoServiceBundleAtPath(PlistString::create(path).get());
}

/// A directory for bundles, and a temporary-object scope.
class VantoServiceBundleTest : public ::testing::Test {
 protected:
  [[nodiscard]] BundleBuilder builder(std::string_view name, BundleLayout layout = BundleLayout::Contents) const {
    return BundleBuilder(directory_.path(), name, layout);
  }

  const test::TemporaryDirectory directory_;
  const TemporaryScope scope_;
};

TEST_F(VantoServiceBundleTest, IsMadeForAServiceInEitherLayoutWithThatExtension) {
  for (const BundleLayout layout : {BundleLayout::Contents, BundleLayout::Flat}) {
    const test::TemporaryDirectory directory;
    const std::string path = BundleBuilder(directory.path(), "Foo.vanto", layout).service().build();
    VantoServiceBundle* service = serviceAt(path);
    ASSERT_NE(service, nullptr);
    EXPECT_EQ(service->bundle()->bundlePath()->text(), path);
  }
}

TEST_F(VantoServiceBundleTest, IsNotMadeForABundleWithoutAServiceDictionary) {
  EXPECT_EQ(serviceAt(builder("Foo.vanto").identifier("foo").build()), nullptr);
}

TEST_F(VantoServiceBundleTest, IsNotMadeWhenTheExtensionIsNotExactlyVanto) {
  for (const std::string_view name : {"Foo.Vanto", "Foo.VANTO", "Foo.vantox", "Foo.vant", "Foo.vanto.app", "Foo",
                                      "vanto", "Foo.vanto.", "Foo.vanto ", "Foo.framework"}) {
    EXPECT_EQ(serviceAt(builder(name).service().build()), nullptr) << name;
  }
  // Only the last component counts.
  builder("Outer.vanto").service().build();
  EXPECT_EQ(serviceAt(BundleBuilder(directory_ / "Outer.vanto", "Inner").service().build()), nullptr);
}

TEST_F(VantoServiceBundleTest, TouchesNoFileWhenTheExtensionIsWrong) {
  const std::string wrong = builder("Foo.Vanto").service().build();
  const std::string right = builder("Foo.vanto").service().build();
  OpenCounter wrongFiles(wrong + "/Contents");
  OpenCounter rightFiles(right + "/Contents");
  EXPECT_EQ(serviceAt(wrong), nullptr);
  EXPECT_NE(serviceAt(right), nullptr);
  EXPECT_EQ(wrongFiles.take().opened, 0);
  EXPECT_EQ(rightFiles.take().opened, 1);
}

TEST_F(VantoServiceBundleTest, IsMadeWhateverStandsBeforeTheExtensionAndDespiteSlashesAtTheEnd) {
  EXPECT_NE(serviceAt(builder(".vanto").service().build()), nullptr);
  EXPECT_NE(serviceAt(builder("a.b.vanto").service().build()), nullptr);
  EXPECT_NE(serviceAt(builder("Foo.vanto").service().build() + "//"), nullptr);
}

TEST_F(VantoServiceBundleTest, IsNotMadeWhereNoBundleIs) {
  EXPECT_EQ(serviceAt(directory_ / "Missing.vanto"), nullptr);
  EXPECT_EQ(serviceAt(builder("Bare.vanto").withoutInfo().build()), nullptr);
  EXPECT_EQ(serviceAt(builder("Damaged.vanto").info("<plist>").build()), nullptr);
  EXPECT_EQ(serviceAt(builder("Array.vanto").info(BundleBuilder::document("<array/>")).build()), nullptr);
  EXPECT_EQ(serviceAt(""), nullptr);
  EXPECT_EQ(VantoServiceBundle::VantoServiceBundleAtPath(nullptr), nullptr);
  builder("Plain", BundleLayout::Flat).resource("Delta.vanto", "a file").build();
  EXPECT_EQ(serviceAt(directory_ / "Plain/Delta.vanto"), nullptr);
}

TEST_F(VantoServiceBundleTest, IsMadeForAServiceEntryOfAnyKind) {
  for (const std::string& xml :
       {BundleBuilder::string("text"), BundleBuilder::integer(0), BundleBuilder::boolean(false),
        BundleBuilder::array({}), BundleBuilder::dictionary({})}) {
    const test::TemporaryDirectory directory;
    EXPECT_NE(serviceAt(BundleBuilder(directory.path(), "Foo.vanto").entry("VantoService", xml).build()), nullptr)
        << xml;
  }
}

TEST_F(VantoServiceBundleTest, IsATemporaryWhenMadeFromAPath) {
  const std::string path = builder("Foo.vanto").service().build();
  Ref<VantoServiceBundle> service;
  {
    const TemporaryScope scope;
    service = Ref<VantoServiceBundle>::share(serviceAt(path));
    EXPECT_EQ(service->referenceCount(), 2U);
  }
  EXPECT_EQ(service->referenceCount(), 1U);
  EXPECT_EQ(service->bundle()->referenceCount(), 1U);
}

TEST_F(VantoServiceBundleTest, IsAnObjectDirectlyBelowTheRootClass) {
  const Ref<VantoServiceBundle> service = VantoServiceBundle::initWithBundle(nullptr);
  EXPECT_STREQ(service->runtimeClass().name, "VantoServiceBundle");
  EXPECT_EQ(service->runtimeClass().superclass, &Object::classDescriptor());
  EXPECT_EQ(as<VantoServiceBundle>(service.get()), service.get());
}

TEST_F(VantoServiceBundleTest, StartsWithEveryOtherFieldZero) {
  const Ref<Bundle> bundle = Bundle::create(*PlistString::create(builder("Foo.vanto").service().build()));
  const Ref<VantoServiceBundle> service = VantoServiceBundle::initWithBundle(bundle.get());
  const VantoServiceBundleFields fields{*service};
  EXPECT_EQ(fields.bundle().get(), bundle.get());
  EXPECT_FALSE(fields.identifier());
  EXPECT_FALSE(fields.executablePath());
  EXPECT_EQ(fields.serviceType(), 0);
  EXPECT_FALSE(fields.serviceDictionary());
  EXPECT_FALSE(fields.jobDictionary());
  EXPECT_EQ(fields.jobData(), nullptr);
  EXPECT_EQ(fields.identifierPredicate(), 0);
  EXPECT_EQ(fields.executablePathPredicate(), 0);
  EXPECT_EQ(fields.serviceTypePredicate(), 0);
  EXPECT_EQ(fields.serviceDictionaryPredicate(), 0);
  EXPECT_EQ(fields.jobDictionaryPredicate(), 0);
  EXPECT_EQ(fields.jobDataPredicate(), 0);
}

TEST_F(VantoServiceBundleTest, HoldsOneReferenceToItsBundleWhichItDoesNotExamine) {
  const Ref<Bundle> bundle = Bundle::create(*PlistString::create(builder("Foo.app").build()));
  Ref<VantoServiceBundle> service = VantoServiceBundle::initWithBundle(bundle.get());
  EXPECT_EQ(bundle->referenceCount(), 2U);
  EXPECT_EQ(service->bundle(), bundle.get());
  EXPECT_EQ(service->referenceCount(), 1U);
  service = nullptr;
  EXPECT_EQ(bundle->referenceCount(), 1U);
}

TEST_F(VantoServiceBundleTest, StoresAMissingBundleAsMissing) {
  const Ref<VantoServiceBundle> service = VantoServiceBundle::initWithBundle(nullptr);
  EXPECT_FALSE(VantoServiceBundleFields{*service}.bundle());
  EXPECT_EQ(service->identifier(), nullptr);
  EXPECT_EQ(service->executablePath(), nullptr);
}

using VantoServiceBundleDeathTest = VantoServiceBundleTest;

TEST_F(VantoServiceBundleDeathTest, AbortsWhenAskedForAMissingBundle) {
  const Ref<VantoServiceBundle> service = VantoServiceBundle::initWithBundle(nullptr);
  EXPECT_EXIT(static_cast<void>(service->bundle()), ::testing::KilledBySignal(SIGABRT),
              "log 3: Assertion failed: _bundle != nil, function bundle, file VantoServiceBundle, line 529\\.\n$");
}

/// What was seen when a Witness ended.
struct Seen {
  std::string name;
  /// References to the bundle besides the test's own.
  unsigned bundleReferences;
  /// The fields that were not null, in the order of their release.
  std::string held;

  bool operator==(const Seen&) const = default;
};

/// A string that notes the state of a service bundle when it ends.
class Witness : public PlistString {
 public:
  static Ref<PlistString> create(std::string_view name, VantoServiceBundle& service, Bundle& bundle,
                                 std::vector<Seen>& seen) {
    return Ref<PlistString>::adopt(new (allocate(sizeof(Witness))) Witness(name, service, bundle, seen));
  }

 private:
  Witness(std::string_view name, VantoServiceBundle& service, Bundle& bundle, std::vector<Seen>& seen)
      : PlistString(descriptor, Storage::Counted, 1, "", 0),
        name_(name),
        fields_{service},
        bundle_(bundle),
        seen_(seen) {}

  static void destroy(Object& self) noexcept {
    auto& witness = static_cast<Witness&>(self);
    witness.seen_.push_back({witness.name_, witness.bundle_.referenceCount() - 1, witness.held()});
    witness.~Witness();
    deallocate(&witness);
  }

  [[nodiscard]] std::string held() const {
    std::string held;
    if (fields_.bundle()) held += 'b';
    if (fields_.executablePath()) held += 'e';
    if (fields_.identifier()) held += 'i';
    if (fields_.jobDictionary()) held += 'j';
    if (fields_.serviceDictionary()) held += 's';
    return held;
  }

  static constexpr Class descriptor{"Witness", &plistStringClass, NoKind, &destroy, nullptr, nullptr};

  std::string name_;
  VantoServiceBundleFields fields_;
  Bundle& bundle_;
  std::vector<Seen>& seen_;
};

TEST_F(VantoServiceBundleTest, ReleasesItsFieldsInOrderAndForgetsEach) {
  const Ref<Bundle> bundle = Bundle::create(*PlistString::create(builder("Foo.vanto").service().build()));
  std::vector<Seen> seen;
  Ref<VantoServiceBundle> service = VantoServiceBundle::initWithBundle(bundle.get());
  const VantoServiceBundleFields fields{*service};
  fields.serviceDictionary() = Witness::create("serviceDictionary", *service, *bundle, seen);
  fields.jobDictionary() = Witness::create("jobDictionary", *service, *bundle, seen);
  fields.identifier() = Witness::create("identifier", *service, *bundle, seen);
  fields.executablePath() = Witness::create("executablePath", *service, *bundle, seen);
  ASSERT_EQ(bundle->referenceCount(), 2U);
  service = nullptr;
  const std::vector<Seen> expected = {
      {"executablePath", 0, "ijs"}, {"identifier", 0, "js"}, {"jobDictionary", 0, "s"}, {"serviceDictionary", 0, ""}};
  EXPECT_EQ(seen, expected);
}

/// Runs `check` in a process of its own, since each has only one main bundle. It exits with 0 when `check` is true.
template <typename Check>
[[noreturn]] void exitWith(Check check) {
  test::FakeHost host;
  _exit(check(host) ? 0 : 1);
}

TEST_F(VantoServiceBundleDeathTest, IsMadeForTheMainBundleWithoutAnyCheck) {
  const BundleBuilder application = builder("Host.app").executable("Host");
  const std::string path = BundleBuilder(application).build();
  EXPECT_EXIT(exitWith([&](test::FakeHost& host) {
                host.answers().executablePath = application.executablePath("Host");
                VantoServiceBundle* first = VantoServiceBundle::VantoServiceBundleForMainExecutable();
                VantoServiceBundle* second = VantoServiceBundle::VantoServiceBundleForMainExecutable();
                return first != nullptr && second != nullptr && first != second &&
                       first->bundle() == Bundle::mainBundle() && second->bundle() == first->bundle() &&
                       first->bundle()->bundlePath()->text() == path &&
                       host.count("vanto_process_executable_path") == 1;
              }),
              ::testing::ExitedWithCode(0), "");
}

TEST_F(VantoServiceBundleDeathTest, IsATemporaryWhenMadeForTheMainBundle) {
  const BundleBuilder service = builder("Foo.vanto").executable("Foo").service();
  BundleBuilder(service).build();
  EXPECT_EXIT(exitWith([&](test::FakeHost& host) {
                host.answers().executablePath = service.executablePath("Foo");
                Ref<VantoServiceBundle> held;
                {
                  const TemporaryScope scope;
                  held = Ref<VantoServiceBundle>::share(VantoServiceBundle::VantoServiceBundleForMainExecutable());
                }
                return held->referenceCount() == 1 && held->bundle()->referenceCount() == 2 &&
                       as<PlistDictionary>(held->serviceDictionary()) != nullptr;
              }),
              ::testing::ExitedWithCode(0), "");
}

TEST_F(VantoServiceBundleDeathTest, IsNotMadeForAProcessWithoutAMainBundleWhichIsLookedForOnce) {
  const BundleBuilder application = builder("Host.app").executable("Host");
  BundleBuilder(application).build();
  EXPECT_EXIT(exitWith([&](test::FakeHost& host) {
                const bool isMade = VantoServiceBundle::VantoServiceBundleForMainExecutable() != nullptr;
                host.answers().executablePath = application.executablePath("Host");
                return !isMade && VantoServiceBundle::VantoServiceBundleForMainExecutable() == nullptr &&
                       host.count("vanto_process_executable_path") == 1;
              }),
              ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace vanto
