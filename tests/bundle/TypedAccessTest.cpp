// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include <VantoService/PlistNumber.h>
#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>
#include <VantoService/VantoServiceConstants.h>

#include "bundle/VantoServiceBundleFields.h"
#include "support/BundleBuilder.h"

namespace vanto {
namespace {

using test::BundleBuilder;
using test::VantoServiceBundleFields;

Ref<PlistString> text(std::string_view text) {
  return PlistString::create(text);
}

/// A service with one entry of each kind.
class TypedAccess : public ::testing::Test {
 protected:
  TypedAccess() {
    builder_.serviceEntry("string", BundleBuilder::string("YES"))
        .serviceEntry("empty", BundleBuilder::string(""))
        .serviceEntry("true", BundleBuilder::boolean(true))
        .serviceEntry("false", BundleBuilder::boolean(false))
        .serviceEntry("zero", BundleBuilder::integer(0))
        .serviceEntry("two", BundleBuilder::integer(2))
        .serviceEntry("negative", BundleBuilder::integer(-1))
        .serviceEntry("half", "<real>0.5</real>")
        .serviceEntry("zero real", "<real>0.0</real>")
        .serviceEntry("array", BundleBuilder::array({BundleBuilder::integer(1)}))
        .serviceEntry("dictionary", BundleBuilder::dictionary({{"a", BundleBuilder::integer(1)}}))
        .serviceEntry("data", "<data>AAEC</data>")
        .serviceEntry("date", "<date>2026-11-21T08:00:00Z</date>");
    bundle_ = Bundle::create(*text(builder_.build()));
    service_ = VantoServiceBundle::initWithBundle(bundle_.get());
  }

  /// A service whose service dictionary is `value`.
  [[nodiscard]] static Ref<VantoServiceBundle> serviceWithDictionary(Ref<Object> value) {
    Ref<VantoServiceBundle> service = VantoServiceBundle::initWithBundle(nullptr);
    const VantoServiceBundleFields fields{*service};
    fields.serviceDictionary() = std::move(value);
    fields.serviceDictionaryPredicate() = -1;
    return service;
  }

  static void expectNothing(VantoServiceBundle& service, PlistString* key) {
    EXPECT_EQ(service.objectForServiceDictionaryKey(key), nullptr);
    EXPECT_FALSE(service.boolForServiceDictionaryKey(key));
    EXPECT_EQ(service.stringForServiceDictionaryKey(key), nullptr);
    EXPECT_EQ(service.dictionaryForServiceDictionaryKey(key), nullptr);
    EXPECT_EQ(service.arrayForServiceDictionaryKey(key), nullptr);
  }

  const test::TemporaryDirectory directory_;
  BundleBuilder builder_{directory_.path(), "Foo.vanto"};
  const TemporaryScope scope_;
  Ref<Bundle> bundle_;
  Ref<VantoServiceBundle> service_;
};

TEST_F(TypedAccess, GivesTheServiceDictionarysOwnValues) {
  const auto* dictionary = as<PlistDictionary>(service_->serviceDictionary());
  ASSERT_NE(dictionary, nullptr);
  for (const std::string_view key : {"string", "true", "two", "array", "dictionary", "data", "date"}) {
    EXPECT_NE(dictionary->valueForKey(key), nullptr) << key;
    EXPECT_EQ(service_->objectForServiceDictionaryKey(text(key).get()), dictionary->valueForKey(key)) << key;
  }
  EXPECT_EQ(service_->stringForServiceDictionaryKey(text("string").get()), dictionary->valueForKey("string"));
  EXPECT_EQ(service_->arrayForServiceDictionaryKey(text("array").get()), dictionary->valueForKey("array"));
  EXPECT_EQ(service_->dictionaryForServiceDictionaryKey(text("dictionary").get()),
            dictionary->valueForKey("dictionary"));
}

TEST_F(TypedAccess, GivesNothingForAnAbsentOrMissingKey) {
  expectNothing(*service_, text("absent").get());
  expectNothing(*service_, text("STRING").get());
  expectNothing(*service_, nullptr);
}

TEST_F(TypedAccess, TakesNumbersAndBooleansThatAreNotZeroAsTrue) {
  for (const std::string_view key : {"true", "two", "negative", "half"}) {
    EXPECT_TRUE(service_->boolForServiceDictionaryKey(text(key).get())) << key;
  }
}

TEST_F(TypedAccess, TakesZeroAndEveryOtherKindAsFalse) {
  for (const std::string_view key :
       {"false", "zero", "zero real", "string", "empty", "array", "dictionary", "data", "date"}) {
    EXPECT_FALSE(service_->boolForServiceDictionaryKey(text(key).get())) << key;
  }
}

TEST_F(TypedAccess, GivesStringsOnlyAsStrings) {
  EXPECT_EQ(service_->stringForServiceDictionaryKey(text("empty").get())->text(), "");
  for (const std::string_view key : {"true", "two", "array", "dictionary", "data", "date"}) {
    EXPECT_EQ(service_->stringForServiceDictionaryKey(text(key).get()), nullptr) << key;
  }
}

TEST_F(TypedAccess, GivesDictionariesOnlyAsDictionaries) {
  for (const std::string_view key : {"true", "two", "array", "string", "data", "date"}) {
    EXPECT_EQ(service_->dictionaryForServiceDictionaryKey(text(key).get()), nullptr) << key;
  }
}

TEST_F(TypedAccess, GivesArraysOnlyAsArrays) {
  for (const std::string_view key : {"true", "two", "dictionary", "string", "data", "date"}) {
    EXPECT_EQ(service_->arrayForServiceDictionaryKey(text(key).get()), nullptr) << key;
  }
}

TEST_F(TypedAccess, TakesMutableVariantsForTheirKind) {
  const Ref<PlistMutableString> string = PlistMutableString::create("text");
  const Ref<PlistMutableArray> array = PlistMutableArray::create();
  const Ref<PlistMutableDictionary> inner = PlistMutableDictionary::create();
  const Ref<PlistMutableDictionary> outer = PlistMutableDictionary::create();
  outer->setValueForKey(string.get(), text("string").get());
  outer->setValueForKey(array.get(), text("array").get());
  outer->setValueForKey(inner.get(), text("dictionary").get());
  const Ref<VantoServiceBundle> service = serviceWithDictionary(outer);
  EXPECT_EQ(service->stringForServiceDictionaryKey(text("string").get()), string.get());
  EXPECT_EQ(service->arrayForServiceDictionaryKey(text("array").get()), array.get());
  EXPECT_EQ(service->dictionaryForServiceDictionaryKey(text("dictionary").get()), inner.get());
}

TEST_F(TypedAccess, GivesNothingWhenTheServiceDictionaryIsOfAnotherKind) {
  for (const Ref<Object>& value : {Ref<Object>(text("string")), Ref<Object>(PlistArray::create()),
                                   Ref<Object>(PlistNumber::create(std::int64_t{1}))}) {
    expectNothing(*serviceWithDictionary(value), text("string").get());
    expectNothing(*serviceWithDictionary(value), VantoServiceDictionaryServiceTypeKey);
  }
}

TEST_F(TypedAccess, GivesNothingFromARestoredObjectWithoutAServiceDictionary) {
  expectNothing(*serviceWithDictionary(nullptr), text("string").get());
}

}  // namespace
}  // namespace vanto
