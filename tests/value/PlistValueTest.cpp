// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PlistValue.h>

#include <vector>

#include <gtest/gtest.h>

#include <VantoService/KorFunctions.h>

#include "support/Values.h"

namespace {

using vanto::Class;
using vanto::Object;
using namespace vanto::testing;

struct Sample {
  const char* name;
  Object* value;
  const Class* itsClass;
  /// The kind that it is of in kind-of tests.
  const Class* kind;
  KorTypeID typeID;
};

std::vector<Sample> samples() {
  return {
      {"dictionary", dictionary({{string("a"), number(1)}}), &PlistDictionary::classDescriptor(),
       &PlistDictionary::classDescriptor(), KorDictionaryGetTypeID()},
      {"mutable dictionary", mutableDictionary({}), &PlistMutableDictionary::classDescriptor(),
       &PlistDictionary::classDescriptor(), KorDictionaryGetTypeID()},
      {"array", array({number(1)}), &PlistArray::classDescriptor(), &PlistArray::classDescriptor(),
       KorArrayGetTypeID()},
      {"mutable array", mutableArray({}), &PlistMutableArray::classDescriptor(), &PlistArray::classDescriptor(),
       KorArrayGetTypeID()},
      {"string", string("a"), &PlistString::classDescriptor(), &PlistString::classDescriptor(), KorStringGetTypeID()},
      {"mutable string", mutableString("a"), &PlistMutableString::classDescriptor(), &PlistString::classDescriptor(),
       KorStringGetTypeID()},
      {"number", number(1), &PlistNumber::classDescriptor(), &PlistNumber::classDescriptor(), KorNumberGetTypeID()},
      {"boolean", PlistBoolean::of(true), &PlistBoolean::classDescriptor(), &PlistNumber::classDescriptor(),
       KorBooleanGetTypeID()},
      {"data", PlistData::create({}).asTemporary(), &PlistData::classDescriptor(), &PlistData::classDescriptor(),
       KorDataGetTypeID()},
      {"date", PlistDate::create(0).asTemporary(), &PlistDate::classDescriptor(), &PlistDate::classDescriptor(),
       KorDateGetTypeID()},
  };
}

const std::vector<const Class*>& plainKinds() {
  static const std::vector<const Class*> kinds{&PlistDictionary::classDescriptor(), &PlistArray::classDescriptor(),
                                               &PlistString::classDescriptor(),     &PlistNumber::classDescriptor(),
                                               &PlistData::classDescriptor(),       &PlistDate::classDescriptor()};
  return kinds;
}

TEST(PlistValue, PassesTheKindOfTestOfItsKindAlone) {
  for (const Sample& sample : samples()) {
    EXPECT_TRUE(sample.value->isKindOf(PlistValue::classDescriptor())) << sample.name;
    for (const Class* kind : plainKinds()) {
      EXPECT_EQ(sample.value->isKindOf(*kind), kind == sample.kind) << sample.name << " as " << kind->name;
    }
  }
}

TEST(PlistValue, HasTheIdentityOfItsOwnClassAlone) {
  const std::vector<Sample> all = samples();
  for (const Sample& sample : all) {
    for (const Sample& other : all) {
      EXPECT_EQ(&sample.value->runtimeClass() == other.itsClass, &sample == &other) << sample.name << other.name;
    }
  }
}

TEST(PlistValue, HasTheTypeIdentifierOfItsKind) {
  for (const Sample& sample : samples()) EXPECT_EQ(KorGetTypeID(sample.value), sample.typeID) << sample.name;
}

TEST(PlistValue, NamesItsClasses) {
  EXPECT_STREQ(PlistValue::classDescriptor().name, "PlistValue");
  EXPECT_STREQ(mutableString("")->runtimeClass().name, "PlistMutableString");
  EXPECT_STREQ(PlistBoolean::of(false)->runtimeClass().name, "PlistBoolean");
  EXPECT_EQ(PlistBoolean::classDescriptor().superclass, &PlistNumber::classDescriptor());
}

TEST(PlistValue, NeverEqualsOneOfAnotherKind) {
  const std::vector<Sample> all = samples();
  for (const Sample& sample : all) {
    for (const Sample& other : all) {
      if (sample.typeID == other.typeID) continue;
      EXPECT_FALSE(sample.value->isEqual(other.value)) << sample.name << other.name;
    }
  }
}

}  // namespace
