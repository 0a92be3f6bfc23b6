// SPDX-License-Identifier: Apache-2.0
// Each place that a file can fill, with a value of each kind: what comes of it is defined everywhere.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <VantoService/PlistData.h>
#include <VantoService/PlistDate.h>
#include <VantoService/VantoServiceBundle.h>

#include "archive/EveryConsumer.h"
#include "archive/ServiceArchive.h"
#include "bundle/VantoServiceBundleFields.h"
#include "support/Values.h"

namespace vanto {
namespace {

using namespace vanto::testing;
using test::VantoServiceBundleFields;

struct Sample {
  std::string name;
  /// Null where there is no entry.
  Object* value;
};

/// A number of each subtype.
void addNumbers(std::vector<Sample>& samples) {
  for (std::int32_t code = KorNumberSInt8Type; code <= KorNumberGraphicsFloatType; ++code) {
    const auto subtype = static_cast<KorNumberType>(code);
    const double eight = 3;
    const float four = 3;
    const std::int64_t integer = 3;
    const void* place = &integer;
    if (subtype == KorNumberFloat32Type || subtype == KorNumberFloatType) place = &four;
    if (subtype == KorNumberFloat64Type || subtype == KorNumberDoubleType || subtype == KorNumberGraphicsFloatType) {
      place = &eight;
    }
    PlistNumber* value = PlistNumber::create(subtype, place).asTemporary();
    ASSERT_EQ(value->int64Value(), 3);
    samples.push_back({"number of subtype " + std::to_string(code), value});
  }
}

/// A value of each kind.
std::vector<Sample> everyKind() {
  const std::uint8_t bytes[] = {1, 2, 3};
  std::vector<Sample> samples = {
      {"absent", nullptr},
      {"string", string("text")},
      {"empty string", string("")},
      {"string with a NUL", string(std::string_view("a\0b", 3))},
      {"mutable string", mutableString("text")},
      {"true", PlistBoolean::of(true)},
      {"false", PlistBoolean::of(false)},
      {"largest integer", number(std::numeric_limits<std::int64_t>::max())},
      {"infinity", real(std::numeric_limits<double>::infinity())},
      {"not a number", real(std::numeric_limits<double>::quiet_NaN())},
      {"data", PlistData::create(bytes).asTemporary()},
      {"empty data", PlistData::create({}).asTemporary()},
      {"date", PlistDate::create(0).asTemporary()},
      {"date that is not a number", PlistDate::create(std::numeric_limits<double>::quiet_NaN()).asTemporary()},
      {"array", array({string("a"), number(1)})},
      {"array with a hole", array({nullptr})},
      {"empty array", array({})},
      {"mutable array", mutableArray({array({})})},
      {"dictionary", dictionary({{string("ServiceType"), string("System")}})},
      {"empty dictionary", dictionary({})},
      {"mutable dictionary", mutableDictionary({{string("ServiceType"), number(1)}})},
      {"service bundle", restoredService("inner")},
      {"array of service bundles", array({restoredService("inner")})},
  };
  addNumbers(samples);
  return samples;
}

/// A service restored from an archive in which one key has the sample.
VantoServiceBundle* restoredWith(const char* key, const Sample& sample) {
  PlistMutableDictionary* archive = mutableDictionary({});
  if (sample.value != nullptr) archive->setValueForKey(sample.value, string(key));
  return VantoServiceBundle::initWithArchive(archive).asTemporary();
}

/// The value under `key` is what `getter` gives when it is a string, and else that gives null.
void expectOnlyStrings(const char* key, PlistString* (VantoServiceBundle::*getter)()) {
  for (const Sample& sample : everyKind()) {
    SCOPED_TRACE(sample.name);
    VantoServiceBundle* service = restoredWith(key, sample);
    EXPECT_EQ((service->*getter)(), as<PlistString>(sample.value));
    EXPECT_EQ(service->archiveForCache()->valueForKey(key), (service->*getter)());
    consume(*service);
    convertJob(*service);
  }
}

TEST(RestoredKinds, OfTheIdentifierAreShownWhenTheyAreStrings) {
  expectOnlyStrings("_serviceIdentifier", &VantoServiceBundle::identifier);
}

TEST(RestoredKinds, OfTheExecutablePathAreShownWhenTheyAreStrings) {
  expectOnlyStrings("_executablePath", &VantoServiceBundle::executablePath);
}

TEST(RestoredKinds, OfTheServiceDictionaryAreShownAsTheyAreAndReadWhenTheyAreDictionaries) {
  for (const Sample& sample : everyKind()) {
    SCOPED_TRACE(sample.name);
    VantoServiceBundle* service = restoredWith("_serviceDictionary", sample);
    const auto* entries = as<PlistDictionary>(sample.value);
    EXPECT_EQ(service->serviceDictionary(), sample.value);
    EXPECT_EQ(service->objectForServiceDictionaryKey(VantoServiceDictionaryServiceTypeKey),
              entries == nullptr ? nullptr : entries->valueForKey("ServiceType"));
    EXPECT_EQ(service->serviceType(), VantoServiceTypeNone);
    EXPECT_EQ(service->archiveForCache()->valueForKey("_serviceDictionary"), sample.value);
    consume(*service);
    convertJob(*service);
  }
}

TEST(RestoredKinds, OfTheJobDictionaryAreShownAsTheyAreAndWrittenWhenTheyAreDictionaries) {
  for (const Sample& sample : everyKind()) {
    SCOPED_TRACE(sample.name);
    VantoServiceBundle* service = restoredWith("_tolvendJobDictionary", sample);
    EXPECT_EQ(service->tolvendJobDictionary(), sample.value);
    EXPECT_EQ(service->tolvendJobPropertyListData() != nullptr, as<PlistDictionary>(sample.value) != nullptr);
    EXPECT_EQ(service->tolvendJobPropertyListString() != nullptr, as<PlistDictionary>(sample.value) != nullptr);
    EXPECT_EQ(service->archiveForCache()->valueForKey("_tolvendJobDictionary"), sample.value);
    consume(*service);
    convertJob(*service);
  }
}

TEST(RestoredKinds, OfTheServiceTypeCountWhenTheyAreNumbers) {
  for (const Sample& sample : everyKind()) {
    SCOPED_TRACE(sample.name);
    VantoServiceBundle* service = restoredWith("_serviceType", sample);
    const auto* type = as<PlistNumber>(sample.value);
    EXPECT_EQ(service->serviceType(), type == nullptr ? 0 : type->int64Value());
    EXPECT_EQ(service->isSystemService(), sample.name.starts_with("number of subtype"));
    consume(*service);
    convertJob(*service);
  }
}

TEST(RestoredKinds, OfAllFiveValuesAtOnceDoNotDisturbOneAnother) {
  for (const Sample& sample : everyKind()) {
    SCOPED_TRACE(sample.name);
    PlistMutableDictionary* archive = mutableDictionary({});
    for (const char* key :
         {"_serviceIdentifier", "_executablePath", "_serviceDictionary", "_tolvendJobDictionary", "_serviceType"}) {
      if (sample.value != nullptr) archive->setValueForKey(sample.value, string(key));
    }
    const Ref<VantoServiceBundle> service = VantoServiceBundle::initWithArchive(archive);
    EXPECT_EQ(service->identifier(), as<PlistString>(sample.value));
    EXPECT_EQ(service->serviceDictionary(), sample.value);
    EXPECT_EQ(service->tolvendJobDictionary(), sample.value);
    consume(*service);
    convertJob(*service);
  }
}

/// A service whose service dictionary was just computed, and nothing else.
Ref<VantoServiceBundle> serviceWith(PlistString* key, const Sample& sample) {
  PlistMutableDictionary* entries = mutableDictionary({});
  if (sample.value != nullptr) entries->setValueForKey(sample.value, key);
  Ref<VantoServiceBundle> service =
      VantoServiceBundle::initWithArchive(dictionary({{string("_serviceIdentifier"), string("org.example.foo")},
                                                      {string("_executablePath"), string("/foo")},
                                                      {string("_serviceDictionary"), entries}}));
  const VantoServiceBundleFields fields{*service};
  fields.serviceTypePredicate() = fields.jobDictionaryPredicate() = 0;
  return service;
}

TEST(RestoredKinds, OfEachServiceKeyAreReadByTheAccessorsOfTheirKind) {
  for (PlistString* key : everyServiceKey) {
    for (const Sample& sample : everyKind()) {
      SCOPED_TRACE(std::string(key->text()) + ": " + sample.name);
      const Ref<VantoServiceBundle> service = serviceWith(key, sample);
      const auto* truth = as<PlistNumber>(sample.value);
      EXPECT_EQ(service->objectForServiceDictionaryKey(key), sample.value);
      EXPECT_EQ(service->boolForServiceDictionaryKey(key), truth != nullptr && truth->truthValue());
      EXPECT_EQ(service->stringForServiceDictionaryKey(key), as<PlistString>(sample.value));
      EXPECT_EQ(service->dictionaryForServiceDictionaryKey(key), as<PlistDictionary>(sample.value));
      EXPECT_EQ(service->arrayForServiceDictionaryKey(key), as<PlistArray>(sample.value));
      EXPECT_EQ(service->serviceType(), VantoServiceTypeNone);
      consume(*service);
      convertJob(*service);
    }
  }
}

TEST(RestoredKinds, OfEachServiceKeyButMultipleInstancesLeaveTheJobAlone) {
  for (PlistString* key : everyServiceKey) {
    for (const Sample& sample : everyKind()) {
      SCOPED_TRACE(std::string(key->text()) + ": " + sample.name);
      const Ref<VantoServiceBundle> service = serviceWith(key, sample);
      const auto* job = as<PlistDictionary>(service->tolvendJobDictionary());
      ASSERT_NE(job, nullptr);
      Object* instances = key == VantoServiceDictionaryMultipleInstancesKey ? sample.value : nullptr;
      EXPECT_EQ(job->valueForKey("MultipleInstances"), instances);
      EXPECT_EQ(job->count(), instances == nullptr ? 4U : 5U);
    }
  }
}

}  // namespace
}  // namespace vanto
