// SPDX-License-Identifier: Apache-2.0
#include <VantoService/VantoServiceArchiver.h>

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <new>
#include <utility>
#include <vector>

#include <VantoService/PlistData.h>
#include <VantoService/PlistDate.h>
#include <VantoService/TemporaryScope.h>

#include "archive/ServiceArchive.h"
#include "support/Values.h"
#include "value/ValueStorage.h"

namespace vanto {
namespace {

using namespace vanto::testing;

/// A class of somebody else with both operations. It counts its archives, and what it does meanwhile can be chosen.
class Archivable : public Object {
 public:
  static const Class& classDescriptor() noexcept { return descriptor; }

  static Ref<Archivable> create() { return Ref<Archivable>::adopt(new (allocate(sizeof(Archivable))) Archivable()); }

  /// What stands for an instance, and what is made from it; null for nothing.
  std::function<Object*()> archive = [] {
    return nullptr;
  };

 protected:
  explicit Archivable(const Class& runtimeClass = descriptor) : Object(runtimeClass) {}

  static Ref<Object> createArchive(Object& self) {
    return Ref<Object>::share(static_cast<Archivable&>(self).archive());
  }
  static Ref<Object> createFromArchive(Object* value) {
    return as<PlistNumber>(value) == nullptr ? Ref<Object>() : Ref<Object>(create());
  }
  static void destroy(Object& self) noexcept {
    static_cast<Archivable&>(self).~Archivable();
    deallocate(&self);
  }

  static constexpr Class descriptor{"Archivable", &objectClass, NoKind,         &destroy,
                                    nullptr,      nullptr,      &createArchive, &createFromArchive};
};

/// A class below it that adds nothing.
class MoreArchivable : public Archivable {
 public:
  static const Class& classDescriptor() noexcept { return descriptor; }
  static Ref<Archivable> create() {
    return Ref<Archivable>::adopt(new (allocate(sizeof(MoreArchivable))) MoreArchivable());
  }

 private:
  MoreArchivable() : Archivable(descriptor) {}

  static constexpr Class descriptor{"MoreArchivable", &Archivable::descriptor, NoKind, nullptr, nullptr, nullptr};
};

const Class& dictionaryClass = PlistDictionary::classDescriptor();
const Class& arrayClass = PlistArray::classDescriptor();
const Class& mutableDictionaryClass = PlistMutableDictionary::classDescriptor();
const Class& mutableArrayClass = PlistMutableArray::classDescriptor();
const Class& serviceClass = VantoServiceBundle::classDescriptor();

const Class& stringClass = PlistString::classDescriptor();
const Class* const plainClasses[] = {&stringClass, &PlistData::classDescriptor(), &PlistNumber::classDescriptor(),
                                     &PlistDate::classDescriptor()};

/// One value of each kind that an archive takes as it is.
std::vector<Object*> plainValues() {
  return {string("text"),
          mutableString("text"),
          number(1),
          real(0.5),
          PlistBoolean::of(false),
          PlistData::create({}).asTemporary(),
          PlistDate::create(0).asTemporary()};
}

std::string identifierIn(const Object* archive) {
  const auto* dictionary = as<PlistDictionary>(const_cast<Object*>(archive));
  const auto* identifier =
      dictionary == nullptr ? nullptr : as<PlistString>(dictionary->valueForKey("_serviceIdentifier"));
  return identifier == nullptr ? "none" : std::string(identifier->text());
}

std::string identifierOf(Object* service) {
  auto* restored = as<VantoServiceBundle>(service);
  if (restored == nullptr) return "no service";
  return restored->identifier() == nullptr ? "none" : std::string(restored->identifier()->text());
}

TEST(ContainerArchive, TakesPlainValuesOfADictionaryThemselvesAndDropsContainers) {
  PlistMutableDictionary* values = mutableDictionary({{string("dictionary"), dictionary({})},
                                                      {string("array"), array({})},
                                                      {string("changeable"), mutableDictionary({})},
                                                      {string("growing"), mutableArray({})}});
  int index = 0;
  for (Object* value : plainValues()) values->setValueForKey(value, string("plain" + std::to_string(index++)));
  const PlistMutableDictionary* archive = archivedDictionary(*values);
  EXPECT_EQ(archive->count(), plainValues().size());
  PlistDictionary::Cursor cursor(*archive);
  for (PlistDictionary::Entry entry{}; cursor.next(entry);) {
    EXPECT_EQ(entry.value, values->valueForKey(entry.key)) << entry.key->text();
  }
}

TEST(ContainerArchive, TakesPlainElementsOfAnArrayThemselvesAndDropsContainersWithoutAGap) {
  std::vector<Object*> elements = plainValues();
  const std::vector<Object*> kept = elements;
  elements.insert(elements.begin(), array({number(1)}));
  elements.insert(elements.begin() + 3, mutableDictionary({}));
  elements.push_back(mutableArray({}));
  elements.push_back(dictionary({{string("k"), string("v")}}));
  const PlistMutableArray* archive = archivedArray(*array(elements));
  EXPECT_EQ(std::vector(archive->elements().begin(), archive->elements().end()), kept);
}

TEST(ContainerArchive, OfAnArrayWithServicesHasTheirArchivesInOrder) {
  const PlistMutableArray* archive =
      archivedArray(*array({restoredService("first"), array({}), restoredService("second")}));
  ASSERT_EQ(archive->count(), 2U);
  EXPECT_EQ(identifierIn(archive->at(0)), "first");
  EXPECT_EQ(identifierIn(archive->at(1)), "second");
}

TEST(ContainerArchive, OfADictionaryWithServicesHasTheirArchivesUnderTheirKeys) {
  const PlistMutableDictionary* archive = archivedDictionary(
      *dictionary({{string("a"), restoredService("first")}, {string("b"), restoredService("second")}}));
  ASSERT_EQ(archive->count(), 2U);
  EXPECT_EQ(identifierIn(archive->valueForKey("a")), "first");
  EXPECT_EQ(identifierIn(archive->valueForKey("b")), "second");
}

TEST(ContainerArchive, OfAnArchiveOfServicesIsEmpty) {
  const PlistDictionary* services = dictionary({{string("a"), restoredService("a")}});
  EXPECT_EQ(archivedDictionary(*archivedDictionary(*services))->count(), 0U);
  EXPECT_EQ(archivedArray(*archivedArray(*array({restoredService("a")})))->count(), 0U);
}

TEST(ContainerArchive, OfAnEmptyContainerIsNewAndEmpty) {
  PlistMutableDictionary* entries = archivedDictionary(*dictionary({}));
  EXPECT_EQ(entries->count(), 0U);
  EXPECT_NE(archivedDictionary(*dictionary({})), entries);
  PlistMutableArray* elements = archivedArray(*array({}));
  EXPECT_EQ(elements->count(), 0U);
  EXPECT_NE(archivedArray(*array({})), elements);
}

TEST(ContainerArchive, IsATemporary) {
  const Ref<PlistDictionary> source = Ref<PlistDictionary>::share(dictionary({{string("k"), string("v")}}));
  Ref<Object> made[4];
  {
    const TemporaryScope scope;
    made[0] = Ref<Object>::share(archivedDictionary(*source));
    made[1] = Ref<Object>::share(archivedArray(*array({string("v")})));
    made[2] = Ref<Object>::share(dictionaryWithArchiveOfClass(mutableDictionaryClass, source.get(), stringClass));
    made[3] = Ref<Object>::share(arrayWithArchiveOfClass(mutableArrayClass, array({string("v")}), stringClass));
  }
  for (const Ref<Object>& object : made) EXPECT_EQ(object->referenceCount(), 1U);
}

TEST(ContainerArchive, AsksAnyClassWithTheOperation) {
  const Ref<Archivable> mine = Archivable::create();
  const Ref<Archivable> below = MoreArchivable::create();
  mine->archive = [] {
    return number(5);
  };
  below->archive = [] {
    return array({});
  };
  const PlistMutableArray* archive = archivedArray(*array({mine.get(), below.get()}));
  ASSERT_EQ(archive->count(), 2U);
  EXPECT_EQ(as<PlistNumber>(archive->at(0))->int64Value(), 5);
  // What an archive is made of is not looked at again.
  EXPECT_NE(as<PlistArray>(archive->at(1)), nullptr);
  const PlistArray* again = arrayWithArchiveOfClass(arrayClass, array({number(5)}), Archivable::classDescriptor());
  EXPECT_NE(as<Archivable>(again->at(0)), nullptr);
}

TEST(ContainerArchive, PassesEveryValueThroughForAPlainClass) {
  std::vector<Object*> values = plainValues();
  values.insert(values.end(), {array({string("a")}), dictionary({{string("k"), string("v")}}), restoredService("a")});
  PlistMutableDictionary* entries = mutableDictionary({});
  for (std::size_t i = 0; i < values.size(); ++i) entries->setValueForKey(values[i], string(std::to_string(i)));
  for (const Class* plain : plainClasses) {
    const PlistArray* elements = arrayWithArchiveOfClass(arrayClass, array(values), *plain);
    EXPECT_EQ(std::vector(elements->elements().begin(), elements->elements().end()), values) << plain->name;
    const PlistDictionary* restoredEntries = dictionaryWithArchiveOfClass(dictionaryClass, entries, *plain);
    ASSERT_EQ(restoredEntries->count(), values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
      EXPECT_EQ(restoredEntries->valueForKey(std::to_string(i)), values[i]) << plain->name;
    }
  }
}

TEST(ContainerArchive, MakesAServiceOfEveryValueForTheServiceClass) {
  Object* archive = dictionary({{string("_serviceIdentifier"), string("foo")}});
  const PlistArray* services =
      arrayWithArchiveOfClass(arrayClass, array({archive, string("text"), number(1), array({})}), serviceClass);
  ASSERT_EQ(services->count(), 4U);
  EXPECT_EQ(identifierOf(services->at(0)), "foo");
  for (std::size_t i = 1; i < 4; ++i) EXPECT_EQ(identifierOf(services->at(i)), "none");
  const PlistDictionary* entries = dictionaryWithArchiveOfClass(
      dictionaryClass, dictionary({{string("a"), archive}, {string("b"), string("text")}}), serviceClass);
  ASSERT_EQ(entries->count(), 2U);
  EXPECT_EQ(identifierOf(entries->valueForKey("a")), "foo");
  EXPECT_EQ(identifierOf(entries->valueForKey("b")), "none");
  // The container holds the only reference.
  EXPECT_EQ(services->at(0)->referenceCount(), 1U);
}

TEST(ContainerArchive, RestoresAContainerOfServicesWithItsKeysAndItsOrder) {
  const PlistDictionary* entries =
      dictionary({{string("a"), restoredService("first")}, {string("b"), restoredService("second")}});
  const PlistDictionary* entriesAgain =
      dictionaryWithArchiveOfClass(dictionaryClass, archivedDictionary(*entries), serviceClass);
  ASSERT_EQ(entriesAgain->count(), 2U);
  EXPECT_EQ(identifierOf(entriesAgain->valueForKey("a")), "first");
  EXPECT_EQ(identifierOf(entriesAgain->valueForKey("b")), "second");

  const PlistArray* elements = array({restoredService("2"), restoredService("1"), restoredService("2")});
  const PlistArray* elementsAgain = arrayWithArchiveOfClass(arrayClass, archivedArray(*elements), serviceClass);
  ASSERT_EQ(elementsAgain->count(), 3U);
  EXPECT_EQ(identifierOf(elementsAgain->at(0)), "2");
  EXPECT_EQ(identifierOf(elementsAgain->at(1)), "1");
  EXPECT_EQ(identifierOf(elementsAgain->at(2)), "2");
}

TEST(ContainerArchive, GivesContainersOfTheClassThatIsAskedFor) {
  const PlistDictionary* full = dictionary({{string("k"), string("v")}});
  for (const PlistDictionary* source :
       {full, static_cast<const PlistDictionary*>(dictionary({})),
        static_cast<const PlistDictionary*>(mutableDictionary({})), static_cast<const PlistDictionary*>(nullptr)}) {
    for (const Class* wanted : {&dictionaryClass, &mutableDictionaryClass}) {
      const PlistDictionary* result = dictionaryWithArchiveOfClass(*wanted, source, stringClass);
      EXPECT_EQ(&result->runtimeClass(), wanted);
      EXPECT_EQ(result->count(), source == full ? 1U : 0U);
    }
  }
  const PlistArray* elements = array({string("v")});
  for (const PlistArray* source :
       {elements, static_cast<const PlistArray*>(array({})), static_cast<const PlistArray*>(mutableArray({})),
        static_cast<const PlistArray*>(nullptr)}) {
    for (const Class* wanted : {&arrayClass, &mutableArrayClass}) {
      const PlistArray* result = arrayWithArchiveOfClass(*wanted, source, stringClass);
      EXPECT_EQ(&result->runtimeClass(), wanted);
      EXPECT_EQ(result->count(), source == elements ? 1U : 0U);
    }
  }
}

TEST(ContainerArchive, NeedsNoOperationOfAClassForAnEmptyArchive) {
  EXPECT_EQ(arrayWithArchiveOfClass(arrayClass, array({}), objectClass)->count(), 0U);
  EXPECT_EQ(dictionaryWithArchiveOfClass(dictionaryClass, nullptr, arrayClass)->count(), 0U);
}

const auto aborts = ::testing::KilledBySignal(SIGABRT);

TEST(ContainerArchiveDeathTest, EndsTheProcessForAValueThatCannotBeArchived) {
  Object* url = KorURL::create(*string("/tmp"), true).asTemporary();
  constexpr char message[] = "Assertion failed: unknown operation, function KorURL archiveForCache, file ";
  EXPECT_EXIT(static_cast<void>(archivedArray(*array({url}))), aborts, message);
  EXPECT_EXIT(static_cast<void>(archivedDictionary(*dictionary({{string("k"), url}}))), aborts, message);
}

TEST(ContainerArchiveDeathTest, EndsTheProcessForAClassThatIsNotMadeFromArchives) {
  // Variants and containers are not among the classes whose values pass through, and nothing is inherited.
  const std::pair<const Class*, const char*> classes[] = {
      {&PlistMutableString::classDescriptor(), "function PlistMutableString initWithArchive, "},
      {&PlistBoolean::classDescriptor(), "function PlistBoolean initWithArchive, "},
      {&arrayClass, "function PlistArray initWithArchive, "},
      {&dictionaryClass, "function PlistDictionary initWithArchive, "},
      {&MoreArchivable::classDescriptor(), "function MoreArchivable initWithArchive, "},
      {&objectClass, "function Object initWithArchive, "}};
  for (const auto& [unable, message] : classes) {
    EXPECT_EXIT(static_cast<void>(arrayWithArchiveOfClass(arrayClass, array({number(1)}), *unable)), aborts, message);
    EXPECT_EXIT(static_cast<void>(dictionaryWithArchiveOfClass(
                    dictionaryClass, dictionary({{string("k"), mutableString("v")}}), *unable)),
                aborts, message);
  }
}

TEST(ContainerArchiveDeathTest, EndsTheProcessForAMissingResult) {
  const Ref<Archivable> nothing = Archivable::create();
  const Class& madeOfNumbers = Archivable::classDescriptor();
  EXPECT_EXIT(static_cast<void>(archivedArray(*array({nothing.get()}))), aborts, "PlistMutableArray append");
  EXPECT_EXIT(static_cast<void>(archivedDictionary(*dictionary({{string("k"), nothing.get()}}))), aborts,
              "PlistMutableDictionary setValueForKey");
  EXPECT_EXIT(static_cast<void>(arrayWithArchiveOfClass(arrayClass, array({string("v")}), madeOfNumbers)), aborts,
              "PlistMutableArray append");
  EXPECT_EXIT(static_cast<void>(dictionaryWithArchiveOfClass(dictionaryClass, dictionary({{string("k"), string("v")}}),
                                                             madeOfNumbers)),
              aborts, "PlistMutableDictionary setValueForKey");
}

TEST(ContainerArchiveDeathTest, EndsTheProcessForAHole) {
  EXPECT_EXIT(static_cast<void>(archivedArray(*array({nullptr}))), aborts, "PlistMutableArray append");
  EXPECT_EXIT(static_cast<void>(arrayWithArchiveOfClass(arrayClass, array({nullptr}), stringClass)), aborts,
              "PlistMutableArray append");
}

TEST(ContainerArchiveDeathTest, EndsTheProcessWhenTheContainerChangesMeanwhile) {
  const Ref<Archivable> meddler = Archivable::create();
  PlistMutableArray* elements = mutableArray({meddler.get()});
  PlistMutableDictionary* entries = mutableDictionary({{string("k"), meddler.get()}});
  meddler->archive = [&] {
    elements->append(number(1));
    entries->setValueForKey(number(1), string("l"));
    return number(1);
  };
  EXPECT_EXIT(static_cast<void>(archivedArray(*elements)), aborts, "PlistMutableArray enumeration");
  EXPECT_EXIT(static_cast<void>(archivedDictionary(*entries)), aborts, "PlistMutableDictionary enumeration");
}

TEST(ContainerArchiveDeathTest, EndsTheProcessForAReceiverThatIsNoContainerClass) {
  EXPECT_EXIT(static_cast<void>(arrayWithArchiveOfClass(dictionaryClass, array({}), stringClass)), aborts,
              "PlistArray createOfClass");
  EXPECT_EXIT(static_cast<void>(dictionaryWithArchiveOfClass(arrayClass, dictionary({}), stringClass)), aborts,
              "PlistDictionary createOfClass");
}

}  // namespace
}  // namespace vanto
