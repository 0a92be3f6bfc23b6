// SPDX-License-Identifier: Apache-2.0
#include <VantoService/IndentedDescription.h>

#include <gtest/gtest.h>

#include <pthread.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <functional>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <VantoService/PlistData.h>
#include <VantoService/PlistDate.h>
#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>

#include "archive/ServiceArchive.h"
#include "bundle/VantoServiceBundleFields.h"
#include "support/BundleBuilder.h"
#include "support/LeftObjects.h"
#include "support/Nesting.h"
#include "support/Values.h"
#include "value/ValueStorage.h"
#include "value/limits.h"

namespace vanto {
namespace {

using namespace vanto::testing;
using test::BundleBuilder;
using test::VantoServiceBundleFields;

/// The first line of a block, its line end included.
std::string header(std::string_view className, const Object* object) {
  char address[24];
  std::snprintf(address, sizeof address, "0x%lx", reinterpret_cast<unsigned long>(object));
  return "{[" + std::string(className) + " " + address + "]\n";
}

std::string header(const Object* object) {
  return header(object->runtimeClass().name, object);
}

std::string textOf(const PlistString* text) {
  return std::string(text->text());
}

/// The text of a dictionary or an array.
std::string block(const Object* container, std::size_t level = 0) {
  const auto* dictionary = as<PlistDictionary>(const_cast<Object*>(container));
  return textOf(dictionary != nullptr ? descriptionWithIndent(*dictionary, level)
                                      : descriptionWithIndent(static_cast<const PlistArray&>(*container), level));
}

TEST(IndentedDescription, OfADictionaryWithOneStringIsThreeLines) {
  const PlistDictionary* value = dictionary({{string("Label"), string("org.example.foo")}});
  EXPECT_EQ(block(value), header("PlistDictionary", value) + "  Label = org.example.foo\n}\n");
}

TEST(IndentedDescription, OfAnArrayNumbersItsElementsFromZero) {
  const PlistArray* value = array({string("a"), number(2)});
  EXPECT_EQ(block(value), header("PlistArray", value) + "  [0] a\n  [1] 2\n}\n");
}

TEST(IndentedDescription, NamesTheClassOfAVariant) {
  const PlistDictionary* changeable = mutableDictionary({{string("k"), string("v")}});
  EXPECT_EQ(block(changeable), header("PlistMutableDictionary", changeable) + "  k = v\n}\n");
  const PlistArray* growing = mutableArray({string("v")});
  EXPECT_EQ(block(growing), header("PlistMutableArray", growing) + "  [0] v\n}\n");
}

TEST(IndentedDescription, BeginsLinesWithFourBlanksForEachLevelAndTheFirstWithNone) {
  const PlistDictionary* entries = dictionary({{string("k"), string("v")}});
  const PlistArray* elements = array({string("v")});
  for (const std::size_t level : {std::size_t{1}, std::size_t{2}, std::size_t{16}, std::size_t{17}, std::size_t{40}}) {
    const std::string prefix(4 * level, ' ');
    EXPECT_EQ(block(entries, level), header(entries) + prefix + "  k = v\n" + prefix + "}\n");
    EXPECT_EQ(block(elements, level), header(elements) + prefix + "  [0] v\n" + prefix + "}\n");
  }
}

TEST(IndentedDescription, OfAnEmptyContainerIsNoneAtAnyLevel) {
  for (const Object* empty :
       {static_cast<const Object*>(dictionary({})), static_cast<const Object*>(array({})),
        static_cast<const Object*>(mutableDictionary({})), static_cast<const Object*>(mutableArray({}))}) {
    for (const std::size_t level : {std::size_t{0}, std::size_t{3}, SIZE_MAX}) {
      EXPECT_EQ(block(empty, level), "<None>\n");
    }
  }
  EXPECT_EQ(descriptionWithIndent(*dictionary({}), 0), descriptionWithIndent(*array({}), 7));
}

TEST(IndentedDescription, SortsKeysByCaseAndCodePoint) {
  const std::vector<PlistDictionary::Entry> entries = {{string("b"), number(1)}, {string("é"), number(2)},
                                                       {string("B"), number(3)}, {string("a"), number(4)},
                                                       {string(""), number(5)},  {string("ab"), number(6)}};
  for (const PlistDictionary* value :
       {dictionary(entries), static_cast<PlistDictionary*>(mutableDictionary(entries))}) {
    EXPECT_EQ(block(value), header(value) + "   = 5\n  B = 3\n  a = 4\n  ab = 6\n  b = 1\n  é = 2\n}\n");
  }
}

TEST(IndentedDescription, ContinuesTheLineWithANestedBlock) {
  PlistDictionary* inner = dictionary({{string("k"), string("v")}});
  PlistDictionary* outer = dictionary({{string("in"), inner}, {string("z"), string("end")}});
  EXPECT_EQ(block(outer), header(outer) + "  in = " + header(inner) + "      k = v\n    }\n  z = end\n}\n");
  const PlistArray* elements = array({outer, string("x")});
  EXPECT_EQ(block(elements), header(elements) + "  [0] " + header(outer) + "      in = " + header(inner) +
                                 "          k = v\n        }\n      z = end\n    }\n  [1] x\n}\n");
}

TEST(IndentedDescription, ShowsNestedEmptyContainersAsNone) {
  const PlistDictionary* value = dictionary({{string("a"), array({})}, {string("d"), dictionary({})}});
  EXPECT_EQ(block(value), header(value) + "  a = <None>\n  d = <None>\n}\n");
  const PlistArray* elements = array({mutableArray({})});
  EXPECT_EQ(block(elements), header(elements) + "  [0] <None>\n}\n");
}

TEST(IndentedDescription, EndsEveryEntryWithExactlyOneLineEndOfItsOwn) {
  const PlistDictionary* value = dictionary({{string("a"), string("one\n")},
                                             {string("b"), string("two")},
                                             {string("c"), string("")},
                                             {string("d"), string("three\n\n")},
                                             {string("e"), string("in\nside")}});
  EXPECT_EQ(block(value), header(value) + "  a = one\n  b = two\n  c = \n  d = three\n\n  e = in\nside\n}\n");
  const PlistArray* elements = array({string("one\n"), string("two")});
  EXPECT_EQ(block(elements), header(elements) + "  [0] one\n  [1] two\n}\n");
}

TEST(IndentedDescription, ShowsOtherValuesByTheirPlainDescription) {
  const std::uint8_t bytes[] = {0, 1, 2, 3};
  Object* url = KorURL::create(*string("/tmp"), true).asTemporary();
  const PlistArray* value =
      array({PlistBoolean::of(true), PlistBoolean::of(false), number(-5), real(0.5), mutableString("text"),
             PlistData::create(bytes).asTemporary(), PlistDate::create(1795248000).asTemporary(), url, nullptr});
  EXPECT_EQ(block(value), header(value) +
                              "  [0] 1\n  [1] 0\n  [2] -5\n  [3] 0.5\n  [4] text\n  [5] 4 bytes 00010203\n"
                              "  [6] 2026-11-21T08:00:00Z\n  [7] " +
                              description(*url) + "\n  [8] (null)\n}\n");
}

/// A class of somebody else that describes itself in its own way.
class Own : public Object {
 public:
  static Ref<Own> create(std::function<std::string(std::size_t level)> describe) {
    Ref<Own> own = Ref<Own>::adopt(new (allocate(sizeof(Own))) Own());
    own->describe_ = std::move(describe);
    return own;
  }

 private:
  Own() : Object(descriptor) {}

  static Ref<PlistString> createIndented(const Object& self, std::size_t level) {
    return PlistString::create(static_cast<const Own&>(self).describe_(level));
  }
  static void destroy(Object& self) noexcept {
    static_cast<Own&>(self).~Own();
    deallocate(&self);
  }

  static constexpr Class aboveDescriptor{"Above", &objectClass, NoKind,  &destroy,       nullptr,
                                         nullptr, nullptr,      nullptr, &createIndented};
  static constexpr Class descriptor{"Own", &aboveDescriptor, NoKind, nullptr, nullptr, nullptr};

  std::function<std::string(std::size_t level)> describe_;
};

TEST(IndentedDescription, AsksAnyClassWithTheOperationForTheNextLevel) {
  const Ref<Own> own = Own::create([](std::size_t level) { return "level " + std::to_string(level); });
  PlistArray* inner = array({own.get()});
  const PlistArray* outer = array({own.get(), inner});
  EXPECT_EQ(block(outer), header(outer) + "  [0] level 1\n  [1] " + header(inner) + "      [0] level 2\n    }\n}\n");
}

TEST(IndentedDescription, CountsAnArrayAnewBeforeEveryElement) {
  PlistMutableArray* elements = mutableArray({});
  const Ref<Own> own = Own::create([elements](std::size_t) {
    if (elements->count() < 3) elements->append(string("later"));
    return "own\n";
  });
  elements->append(own.get());
  elements->append(own.get());
  EXPECT_EQ(block(elements), header(elements) + "  [0] own\n  [1] own\n  [2] later\n}\n");
}

TEST(IndentedDescription, LeavesThePlainDescriptionOfContainersAsItIs) {
  EXPECT_EQ(description(*dictionary({{string("k"), array({string("v")})}})), "{k = [v]}");
}

TEST(IndentedDescription, ShowsTheSameContainerTwiceWhereItLiesTwice) {
  PlistArray* inner = array({string("v")});
  const PlistArray* outer = array({inner, inner});
  const std::string nested = header(inner) + "      [0] v\n    }\n";
  EXPECT_EQ(block(outer), header(outer) + "  [0] " + nested + "  [1] " + nested + "}\n");
}

TEST(IndentedDescription, OfAContainerInsideItselfEnds) {
  // It keeps itself for good.
  static PlistMutableArray* const elements = mutableArray({});
  elements->append(elements);
  EXPECT_EQ(block(elements),
            header(elements) + "  [0] " + header(elements).substr(2, header(elements).size() - 4) + "\n}\n");
  leaveObjects(1);
}

TEST(IndentedDescription, IsATemporary) {
  Ref<PlistString> text;
  {
    const TemporaryScope scope;
    text = Ref<PlistString>::share(descriptionWithIndent(*array({array({string("v")})}), 0));
  }
  EXPECT_EQ(text->referenceCount(), 1U);
}

/// Runs `work` on a thread with a stack of 256 KiB.
void runWithSmallStack(const std::function<void()>& work) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{256} << 10), 0);
  pthread_t thread{};
  const auto run = [](void* context) -> void* {
    const TemporaryScope scope;
    (*static_cast<const std::function<void()>*>(context))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&work)), 0);
  EXPECT_EQ(pthread_join(thread, nullptr), 0);
  pthread_attr_destroy(&attributes);
}

std::size_t countLines(std::string_view text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST(IndentedDescription, NeedsLittleStackForDeepNesting) {
  constexpr std::size_t depth = 4 * limits::propertyListNesting;
  const Ref<Object> nested = nestedContainers(depth, *string("x"));
  std::string text;
  runWithSmallStack([&] { text = block(nested.get()); });
  EXPECT_EQ(countLines(text), 2 * depth + 1);
  const std::string innermost = "\n" + std::string(4 * (depth - 1), ' ') + "  [0] x\n" +
                                std::string(4 * (depth - 1), ' ') + "}\n" + std::string(4 * (depth - 2), ' ') + "}\n";
  EXPECT_NE(text.find(innermost), std::string::npos);
}

TEST(IndentedDescription, NeedsLittleStackForServicesInsideServices) {
  constexpr std::size_t depth = 4 * limits::propertyListNesting;
  Ref<Object> nested;
  for (std::size_t level = 0; level < depth; ++level) {
    const TemporaryScope scope;
    PlistMutableDictionary* archive = mutableDictionary({});
    if (nested)
      archive->setValueForKey(nested.get(), string(level % 2 == 0 ? "_serviceDictionary" : "_tolvendJobDictionary"));
    nested = VantoServiceBundle::initWithArchive(archive);
  }
  std::string text;
  runWithSmallStack([&] { text = description(*nested); });
  EXPECT_TRUE(text.starts_with(header(nested.get())));
  EXPECT_TRUE(text.ends_with(" _bundle = <None>\n}\n"));
}

/// A directory for bundles, and a temporary-object scope.
class BundleDescription : public ::testing::Test {
 protected:
  [[nodiscard]] VantoServiceBundle* serviceOf(BundleBuilder builder) const {
    return VantoServiceBundle::VantoServiceBundleAtPath(string(builder.build()));
  }
  [[nodiscard]] BundleBuilder builder() const { return BundleBuilder(directory_.path(), "Foo.vanto"); }

  const test::TemporaryDirectory directory_;
  const TemporaryScope scope_;
};

TEST_F(BundleDescription, HasItsLinesInOrder) {
  const BundleBuilder full = builder()
                                 .identifier("org.example.foo")
                                 .executable("Foo")
                                 .serviceEntry("ServiceType", BundleBuilder::string("System"));
  VantoServiceBundle* service = serviceOf(full);
  for (const std::size_t level : {std::size_t{0}, std::size_t{2}}) {
    const std::string prefix(4 * level, ' ');
    const std::string expected =
        header("VantoServiceBundle", service) + prefix + " service identifier =  org.example.foo\n" + prefix +
        " exec path = " + full.executablePath("Foo") + "\n" + prefix + " service type = System\n" + prefix +
        " service dictionary = " + block(service->serviceDictionary(), level + 1) + prefix +
        " job dictionary = " + block(service->tolvendJobDictionary(), level + 1) + prefix + " _bundle = Bundle " +
        full.path() + "\n" + prefix + "}\n";
    EXPECT_EQ(textOf(service->descriptionWithIndent(level)), expected);
  }
}

TEST_F(BundleDescription, IsThatOfLevelZero) {
  VantoServiceBundle* service = serviceOf(builder().identifier("foo").service());
  EXPECT_EQ(description(*service), textOf(service->descriptionWithIndent(0)));
  PlistMutableString* text = mutableString("");
  text->appendFormat("%@", {service});
  EXPECT_EQ(text->text(), description(*service));
}

TEST_F(BundleDescription, ComputesWhatItPrints) {
  VantoServiceBundle* service = serviceOf(builder().identifier("foo").service());
  static_cast<void>(service->description());
  const VantoServiceBundleFields fields{*service};
  EXPECT_EQ(fields.identifierPredicate(), -1);
  EXPECT_EQ(fields.executablePathPredicate(), -1);
  EXPECT_EQ(fields.serviceDictionaryPredicate(), -1);
  EXPECT_EQ(fields.jobDictionaryPredicate(), -1);
  EXPECT_EQ(fields.jobDataPredicate(), 0);
}

TEST_F(BundleDescription, ShowsTheTypeAsTheServiceDictionaryHasIt) {
  VantoServiceBundle* other = serviceOf(builder().serviceEntry("ServiceType", BundleBuilder::string("no such type")));
  EXPECT_NE(description(*other).find("\n service type = no such type\n"), std::string::npos);
  VantoServiceBundle* numbered = serviceOf(builder().serviceEntry("ServiceType", BundleBuilder::integer(3)));
  EXPECT_NE(description(*numbered).find("\n service type = (null)\n"), std::string::npos);
  VantoServiceBundle* typed = restored({{string("_serviceType"), number(3)}});
  EXPECT_NE(description(*typed).find("\n service type = (null)\n"), std::string::npos);
}

TEST_F(BundleDescription, PutsTheNextLineBehindAMissingDictionary) {
  VantoServiceBundle* service = restored({});
  EXPECT_EQ(description(*service), header(service) +
                                       " service identifier =  (null)\n exec path = (null)\n service type = (null)\n"
                                       " service dictionary = (null) job dictionary = (null) _bundle = <None>\n}\n");
  const std::string prefix(4, ' ');
  EXPECT_EQ(textOf(service->descriptionWithIndent(1)),
            header(service) + prefix + " service identifier =  (null)\n" + prefix + " exec path = (null)\n" + prefix +
                " service type = (null)\n" + prefix + " service dictionary = (null)" + prefix +
                " job dictionary = (null)" + prefix + " _bundle = <None>\n" + prefix + "}\n");
}

TEST_F(BundleDescription, ShowsEmptyDictionariesAsNone) {
  VantoServiceBundle* service = serviceOf(builder().service());
  EXPECT_NE(description(*service).find("\n service dictionary = <None>\n job dictionary = (null) _bundle = Bundle "),
            std::string::npos);
}

TEST_F(BundleDescription, ShowsWhatAnArchiveGaveInPlaceOfADictionaryByItsPlainDescription) {
  VantoServiceBundle* service = restored({{string("_serviceIdentifier"), number(1)},
                                          {string("_executablePath"), array({})},
                                          {string("_serviceDictionary"), string("text")},
                                          {string("_tolvendJobDictionary"), number(2)}});
  EXPECT_EQ(description(*service), header(service) +
                                       " service identifier =  (null)\n exec path = (null)\n service type = (null)\n"
                                       " service dictionary = text job dictionary = 2 _bundle = <None>\n}\n");
}

TEST_F(BundleDescription, IsABlockInAContainer) {
  VantoServiceBundle* service = restoredService("foo");
  const PlistArray* elements = array({service});
  EXPECT_EQ(block(elements), header(elements) + "  [0] " + textOf(service->descriptionWithIndent(1)) + "}\n");
  const PlistDictionary* entries = dictionary({{string("k"), service}});
  EXPECT_EQ(block(entries), header(entries) + "  k = " + textOf(service->descriptionWithIndent(1)) + "}\n");
}

TEST_F(BundleDescription, OfAServiceInsideItselfEnds) {
  // It keeps itself for good.
  static PlistMutableDictionary* const entries = mutableDictionary({});
  static VantoServiceBundle* const service = restored({{string("_serviceDictionary"), entries}});
  entries->setValueForKey(service, string("k"));
  const std::string self = header(service).substr(2, header(service).size() - 4);
  EXPECT_NE(description(*service).find(" service dictionary = " + header(entries) + "      k = " + self + "\n    }\n"),
            std::string::npos);
  leaveObjects(3);
}

using BundleDescriptionDeathTest = BundleDescription;

TEST_F(BundleDescriptionDeathTest, NeedsAServiceDictionary) {
  const Ref<VantoServiceBundle> service = VantoServiceBundle::initWithBundle(nullptr);
  EXPECT_EXIT(static_cast<void>(service->description()), ::testing::KilledBySignal(SIGABRT),
              "_serviceDictionary != nil");
}

}  // namespace
}  // namespace vanto
