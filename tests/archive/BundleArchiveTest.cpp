// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include <VantoService/PlistDate.h>
#include <VantoService/PropertyList.h>
#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>

#include "archive/EveryConsumer.h"
#include "archive/ServiceArchive.h"
#include "bundle/VantoServiceBundleFields.h"
#include "support/BundleBuilder.h"
#include "support/PropertyLists.h"
#include "support/Values.h"

namespace vanto {
namespace {

using namespace vanto::testing;
using test::BundleBuilder;
using test::VantoServiceBundleFields;

constexpr dispatch_once_t done = -1;
constexpr const char* everyKey[] = {"_serviceIdentifier", "_executablePath", "_serviceDictionary",
                                    "_tolvendJobDictionary", "_serviceType"};

/// Each property that an archive holds is computed, and the job as an IPC object is not.
void expectComputed(VantoServiceBundle& service) {
  const VantoServiceBundleFields fields{service};
  EXPECT_EQ(fields.identifierPredicate(), done);
  EXPECT_EQ(fields.executablePathPredicate(), done);
  EXPECT_EQ(fields.serviceTypePredicate(), done);
  EXPECT_EQ(fields.serviceDictionaryPredicate(), done);
  EXPECT_EQ(fields.jobDictionaryPredicate(), done);
  EXPECT_EQ(fields.jobDataPredicate(), 0);
}

/// A directory for bundles, and a temporary-object scope.
class BundleArchive : public ::testing::Test {
 protected:
  [[nodiscard]] BundleBuilder builder() const { return BundleBuilder(directory_.path(), "Foo.vanto"); }

  [[nodiscard]] static VantoServiceBundle* serviceOf(BundleBuilder builder) {
    return VantoServiceBundle::VantoServiceBundleAtPath(string(builder.build()));
  }

  /// A service with all that a service can have.
  [[nodiscard]] VantoServiceBundle* fullService() const {
    return serviceOf(
        builder()
            .identifier("org.example.foo")
            .executable("Foo")
            .serviceEntry("ServiceType", BundleBuilder::string("System"))
            .serviceEntry("_UseQelApplicationMain", BundleBuilder::boolean(true))
            .serviceEntry("_AllowedClients", BundleBuilder::array({BundleBuilder::string("valid")}))
            .serviceEntry("EnvironmentVariables", BundleBuilder::dictionary({{"HOME", BundleBuilder::string("/")}})));
  }

  const test::TemporaryDirectory directory_;
  const TemporaryScope scope_;
};

TEST_F(BundleArchive, HoldsTheObjectsOwnValuesUnderFiveKeys) {
  VantoServiceBundle* service = fullService();
  const PlistMutableDictionary* archive = service->archiveForCache();
  EXPECT_EQ(archive->count(), 5U);
  EXPECT_EQ(archive->valueForKey("_serviceIdentifier"), service->identifier());
  EXPECT_EQ(archive->valueForKey("_executablePath"), service->executablePath());
  EXPECT_EQ(archive->valueForKey("_serviceDictionary"), service->serviceDictionary());
  EXPECT_EQ(archive->valueForKey("_tolvendJobDictionary"), service->tolvendJobDictionary());
  const auto* type = as<PlistNumber>(archive->valueForKey("_serviceType"));
  ASSERT_NE(type, nullptr);
  EXPECT_EQ(type->int64Value(), VantoServiceTypeSystem);
  EXPECT_EQ(type->subtype(), KorNumberSInt64Type);
}

TEST_F(BundleArchive, ComputesEveryArchivedPropertyAndNoOther) {
  VantoServiceBundle* service = fullService();
  static_cast<void>(service->archiveForCache());
  expectComputed(*service);
}

TEST_F(BundleArchive, IsNewAndMutableOnEveryCall) {
  VantoServiceBundle* service = fullService();
  PlistMutableDictionary* archive = service->archiveForCache();
  archive->setValueForKey(string("changed"), string("_executablePath"));
  EXPECT_NE(service->archiveForCache(), archive);
  EXPECT_EQ(service->archiveForCache()->valueForKey("_executablePath"), service->executablePath());
}

TEST_F(BundleArchive, IsATemporary) {
  VantoServiceBundle* service = fullService();
  Ref<PlistMutableDictionary> archive;
  {
    const TemporaryScope scope;
    archive = Ref<PlistMutableDictionary>::share(service->archiveForCache());
  }
  EXPECT_EQ(archive->referenceCount(), 1U);
}

TEST_F(BundleArchive, LeavesOutWhatIsMissingAndWritesTheServiceTypeAlsoWhenItIsNone) {
  const PlistDictionary* archive = serviceOf(builder().service())->archiveForCache();
  EXPECT_EQ(archive->count(), 2U);
  EXPECT_NE(as<PlistDictionary>(archive->valueForKey("_serviceDictionary")), nullptr);
  const auto* type = as<PlistNumber>(archive->valueForKey("_serviceType"));
  ASSERT_NE(type, nullptr);
  EXPECT_EQ(type->int64Value(), 0);
}

TEST_F(BundleArchive, OfAServiceWithNothingHoldsOnlyTheServiceType) {
  const PlistDictionary* archive = restored({})->archiveForCache();
  EXPECT_EQ(archive->count(), 1U);
  EXPECT_EQ(as<PlistNumber>(archive->valueForKey("_serviceType"))->int64Value(), 0);
}

TEST_F(BundleArchive, StoresTheNestedContainersWhole) {
  const auto* stored = as<PlistDictionary>(fullService()->archiveForCache()->valueForKey("_serviceDictionary"));
  ASSERT_NE(stored, nullptr);
  EXPECT_NE(as<PlistArray>(stored->valueForKey("_AllowedClients")), nullptr);
  EXPECT_NE(as<PlistDictionary>(stored->valueForKey("EnvironmentVariables")), nullptr);
}

TEST_F(BundleArchive, RestoresAServiceThatAnswersTheSameWithoutItsFiles) {
  VantoServiceBundle* service = fullService();
  const Ref<PlistData> file = createPropertyListXML(*service->archiveForCache());
  ASSERT_TRUE(file);
  std::filesystem::remove_all(builder().path());
  const Ref<VantoServiceBundle> again = VantoServiceBundle::initWithArchive(createPropertyList(file->bytes()).get());
  EXPECT_EQ(again->referenceCount(), 1U);
  EXPECT_TRUE(again->identifier()->isEqual(service->identifier()));
  EXPECT_TRUE(again->executablePath()->isEqual(service->executablePath()));
  EXPECT_TRUE(again->serviceDictionary()->isEqual(service->serviceDictionary()));
  EXPECT_TRUE(again->tolvendJobDictionary()->isEqual(service->tolvendJobDictionary()));
  EXPECT_EQ(again->serviceType(), VantoServiceTypeSystem);
  EXPECT_TRUE(again->isSystemService());
  EXPECT_EQ(again->stringForServiceDictionaryKey(string("ServiceType"))->text(), "System");
  EXPECT_TRUE(again->boolForServiceDictionaryKey(string("_UseQelApplicationMain")));
  EXPECT_EQ(again->arrayForServiceDictionaryKey(string("_AllowedClients"))->count(), 1U);
  EXPECT_EQ(again->dictionaryForServiceDictionaryKey(string("EnvironmentVariables"))->count(), 1U);
  EXPECT_TRUE(again->tolvendJobPropertyListString()->isEqual(service->tolvendJobPropertyListString()));
  EXPECT_TRUE(again->archiveForCache()->isEqual(service->archiveForCache()));
}

TEST_F(BundleArchive, SharesWhatItRestores) {
  Ref<PlistString> identifier = PlistString::create("org.example.foo");
  Ref<VantoServiceBundle> service;
  {
    const TemporaryScope scope;
    service = Ref<VantoServiceBundle>::share(restored({{string("_serviceIdentifier"), identifier.get()}}));
  }
  EXPECT_EQ(service->identifier(), identifier.get());
  EXPECT_EQ(identifier->referenceCount(), 2U);
  service = nullptr;
  EXPECT_EQ(identifier->referenceCount(), 1U);
}

void expectEmpty(VantoServiceBundle& service) {
  const VantoServiceBundleFields fields{service};
  EXPECT_FALSE(fields.bundle());
  EXPECT_EQ(fields.jobData(), nullptr);
  expectComputed(service);
  EXPECT_EQ(service.identifier(), nullptr);
  EXPECT_EQ(service.executablePath(), nullptr);
  EXPECT_EQ(service.serviceDictionary(), nullptr);
  EXPECT_EQ(service.tolvendJobDictionary(), nullptr);
  EXPECT_EQ(service.serviceType(), VantoServiceTypeNone);
  EXPECT_EQ(service.objectForServiceDictionaryKey(string("ServiceType")), nullptr);
}

TEST_F(BundleArchive, WithoutEntriesRestoresAServiceInWhichEverythingStaysMissing) {
  VantoServiceBundle* service = restored({});
  expectEmpty(*service);
  // If anything were computed now, it would be found.
  const std::string path = builder().identifier("foo").executable("Foo").service().build();
  VantoServiceBundleFields{*service}.bundle() = Bundle::create(*PlistString::create(path));
  EXPECT_EQ(service->identifier(), nullptr);
  EXPECT_EQ(service->executablePath(), nullptr);
  EXPECT_EQ(service->serviceDictionary(), nullptr);
  EXPECT_EQ(service->tolvendJobDictionary(), nullptr);
}

TEST_F(BundleArchive, ThatIsNoDictionaryCountsAsOneWithoutEntries) {
  const Ref<PlistDate> date = PlistDate::create(0);
  const Ref<PlistData> data = PlistData::create({});
  for (Object* archive :
       {static_cast<Object*>(nullptr), static_cast<Object*>(string("_serviceIdentifier")),
        static_cast<Object*>(number(3)), static_cast<Object*>(PlistBoolean::of(true)),
        static_cast<Object*>(array({string("_serviceIdentifier"), string("a")})), static_cast<Object*>(date.get()),
        static_cast<Object*>(data.get()), static_cast<Object*>(restoredService("a"))}) {
    const Ref<VantoServiceBundle> service = VantoServiceBundle::initWithArchive(archive);
    ASSERT_TRUE(service);
    expectEmpty(*service);
  }
}

TEST_F(BundleArchive, MayBeAMutableDictionary) {
  PlistMutableDictionary* archive = mutableDictionary({{string("_serviceIdentifier"), mutableString("foo")}});
  EXPECT_EQ(VantoServiceBundle::initWithArchive(archive)->identifier()->text(), "foo");
}

TEST_F(BundleArchive, GivesTheServiceTypeOfAnyNumber) {
  constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const std::pair<Object*, std::int64_t> types[] = {
      {number(3), 3},
      {number(-1), -1},
      {number(largest), largest},
      {number(smallest), smallest},
      {real(2.9), 2},
      {real(-2.9), -2},
      {real(1e30), largest},
      {real(-1e30), smallest},
      {real(infinity), largest},
      {real(-infinity), smallest},
      {real(std::numeric_limits<double>::quiet_NaN()), 0},
      {PlistBoolean::of(true), 1},
      {PlistBoolean::of(false), 0},
      {string("3"), 0},
      {array({number(3)}), 0},
  };
  for (const auto& [value, type] : types) {
    SCOPED_TRACE(description(*value));
    VantoServiceBundle* service = restored({{string("_serviceType"), value}});
    EXPECT_EQ(service->serviceType(), type);
    EXPECT_EQ(service->isSystemService(), type == 3);
    EXPECT_EQ(as<PlistNumber>(service->archiveForCache()->valueForKey("_serviceType"))->int64Value(), type);
  }
}

TEST_F(BundleArchive, RestoresTheServiceTypeAndNotTheTextInTheServiceDictionary) {
  VantoServiceBundle* service =
      restored({{string("_serviceType"), number(1)},
                {string("_serviceDictionary"), dictionary({{string("ServiceType"), string("System")}})}});
  EXPECT_EQ(service->serviceType(), VantoServiceTypeUser);
  EXPECT_EQ(service->stringForServiceDictionaryKey(string("ServiceType"))->text(), "System");
}

TEST_F(BundleArchive, KeepsValuesOfOtherKindsAndShowsThemWhereTheirGettersCan) {
  const Ref<PlistNumber> value = PlistNumber::create(7);
  Ref<VantoServiceBundle> service;
  {
    const TemporaryScope scope;
    PlistMutableDictionary* archive = mutableDictionary({});
    for (const char* key : everyKey) archive->setValueForKey(value.get(), string(key));
    service = VantoServiceBundle::initWithArchive(archive);
  }
  EXPECT_EQ(service->identifier(), nullptr);
  EXPECT_EQ(service->executablePath(), nullptr);
  EXPECT_EQ(service->serviceDictionary(), value.get());
  EXPECT_EQ(service->tolvendJobDictionary(), value.get());
  EXPECT_EQ(service->serviceType(), 7);
  EXPECT_EQ(value->referenceCount(), 5U);
  service = nullptr;
  EXPECT_EQ(value->referenceCount(), 1U);
}

TEST_F(BundleArchive, SamplesRestoreAServiceOrCountAsEmpty) {
  std::size_t count = 0;
  for (const auto& file : std::filesystem::directory_iterator(VANTO_ARCHIVE_SAMPLES)) {
    const std::string name = file.path().filename().string();
    SCOPED_TRACE(name);
    std::ifstream stream(file.path(), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    const Ref<PlistValue> value = createPropertyList(bytesOf(bytes));
    const Ref<VantoServiceBundle> service = VantoServiceBundle::initWithArchive(value.get());
    if (name.starts_with("refuse-")) {
      expectEmpty(*service);
    } else {
      const auto* entries = as<PlistDictionary>(value.get());
      ASSERT_NE(entries, nullptr);
      EXPECT_TRUE(std::any_of(std::begin(everyKey), std::end(everyKey),
                              [entries](const char* key) { return entries->valueForKey(key) != nullptr; }));
      EXPECT_EQ(service->serviceDictionary(), entries->valueForKey("_serviceDictionary"));
    }
    consume(*service);
    ++count;
  }
  EXPECT_GT(count, 30U);
}

TEST_F(BundleArchive, WithServicesInsideServicesEndsWithoutDeepStack) {
  Ref<VantoServiceBundle> service = VantoServiceBundle::initWithArchive(nullptr);
  for (int level = 0; level < 100'000; ++level) {
    const Ref<VantoServiceBundle> inner = service;
    service = VantoServiceBundle::initWithArchive(nullptr);
    VantoServiceBundleFields{*service}.serviceDictionary() = inner;
  }
  EXPECT_NE(service->serviceDictionary(), nullptr);
}

using BundleArchiveDeathTest = BundleArchive;

TEST_F(BundleArchiveDeathTest, RestoresNoBundle) {
  VantoServiceBundle* service = restored({});
  EXPECT_EXIT(static_cast<void>(service->bundle()), ::testing::KilledBySignal(SIGABRT),
              "log 3: Assertion failed: _bundle != nil, function bundle, file VantoServiceBundle, line 529\\.\n$");
}

TEST_F(BundleArchiveDeathTest, IsNotMadeOfABundleWithoutAServiceDictionary) {
  const Ref<VantoServiceBundle> service = VantoServiceBundle::initWithBundle(nullptr);
  EXPECT_EXIT(static_cast<void>(service->archiveForCache()), ::testing::KilledBySignal(SIGABRT),
              "_serviceDictionary != nil");
}

}  // namespace
}  // namespace vanto
