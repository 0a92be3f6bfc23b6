// SPDX-License-Identifier: Apache-2.0
#include <VantoService/VantoServiceRuntime.h>

#include <barrier>
#include <thread>
#include <utility>

#include <VantoService/KorFunctions.h>
#include <VantoService/TemporaryScope.h>

#include "runtime/ServiceStart.h"
#include "support/LogCapture.h"
#include "support/PropertyLists.h"
#include "support/Values.h"
#include "support/fakehost/HostState.h"
#include "value/LiveObjects.h"

namespace vanto::testing {
namespace {

constexpr const char* entitlementsCall = "_vanto_runtime_get_entitlements_data()";

/// A document whose root is the value that `element` writes.
std::string document(std::string_view element) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + std::string(element) + "</plist>\n";
}

const std::string sample = document(
    "<dict><key>org.vanto.camera</key><true/><key>org.vanto.files</key><array><string>one</string></array>"
    "<key>org.vanto.level</key><integer>3</integer><key>org.vanto.more</key><dict><key>a</key><false/></dict></dict>");

class VantoServiceRuntimeTest : public ::testing::Test {
 protected:
  /// A new object of a process with these bytes for entitlements.
  [[nodiscard]] Ref<VantoServiceRuntime> runtimeWith(std::optional<std::string> bytes) {
    host_.answers().entitlements = std::move(bytes);
    return VantoServiceRuntime::init();
  }

  FakeHost host_;
};

/// The data objects that the host has handed out and kept so far.
std::vector<Ref<vanto_object>> takeHandedOut() {
  test::HostState& state = test::HostState::shared();
  const std::lock_guard lock(state.mutex);
  return std::exchange(state.entitlements, {});
}

/// What a runtime says of a key, as text.
std::string answer(const VantoServiceRuntime& runtime, std::string_view key) {
  PlistValue* value = runtime.entitlementForKey(string(key));
  return value == nullptr ? "none" : description(*value);
}

/// Does `work` in a process of its own, in which the shared object is not there yet.
ChildOutcome inFreshProcess(const std::function<void(FakeHost& host, const ChildReport& report)>& work) {
  return runInChild([&work](const ChildReport& report) {
    const LogCapture log([&report](const LogLine& line) { report("logged " + line.text); });
    FakeHost host;
    host.onCall([&report](const test::FakeCall& call) { report(call.text()); });
    work(host, report);
  });
}

TEST_F(VantoServiceRuntimeTest, AnswersWhatTheEntitlementsHold) {
  const Ref<VantoServiceRuntime> runtime = runtimeWith(sample);
  ASSERT_TRUE(runtime);
  EXPECT_EQ(runtime->entitlementForKey(string("org.vanto.camera")), PlistBoolean::of(true));
  EXPECT_TRUE(runtime->entitlementForKey(string("org.vanto.level"))->isEqual(number(3)));
  EXPECT_TRUE(runtime->entitlementForKey(string("org.vanto.files"))->isEqual(array({string("one")})));
  EXPECT_EQ(runtime->entitlementForKey(string("org.vanto.microphone")), nullptr);
  EXPECT_EQ(runtime->entitlementForKey(string("")), nullptr);
  EXPECT_EQ(runtime->entitlementForKey(nullptr), nullptr);
  EXPECT_EQ(host_.lines(), Lines{entitlementsCall});
}

TEST_F(VantoServiceRuntimeTest, AnswersWithTheSameObjectEachTime) {
  const Ref<VantoServiceRuntime> runtime = runtimeWith(sample);
  EXPECT_EQ(runtime->entitlementForKey(string("org.vanto.files")),
            runtime->entitlementForKey(string("org.vanto.files")));
}

TEST_F(VantoServiceRuntimeTest, TakesTheBinaryFormToo) {
  const PlistDictionary::Entry entry{string("org.vanto.camera"), string("front")};
  EXPECT_EQ(answer(*runtimeWith(writtenBinary(*dictionary({entry}))), "org.vanto.camera"), "front");
}

TEST_F(VantoServiceRuntimeTest, HasNoneInAProcessWithoutEntitlements) {
  const LogCapture log;
  const Ref<VantoServiceRuntime> runtime = runtimeWith({});
  ASSERT_TRUE(runtime);
  for (const char* key : {"", "org.vanto.camera"}) EXPECT_EQ(answer(*runtime, key), "none");
}

TEST_F(VantoServiceRuntimeTest, HasNoneWhenTheRuntimeFails) {
  const LogCapture log;
  host_.fail("_vanto_runtime_get_entitlements_data");
  const Ref<VantoServiceRuntime> runtime = runtimeWith(sample);
  ASSERT_TRUE(runtime);
  EXPECT_EQ(answer(*runtime, "org.vanto.camera"), "none");
}

TEST_F(VantoServiceRuntimeTest, HasNoneWhenTheDataIsNoPropertyListSilently) {
  const LogCapture log;
  for (const std::string& bytes : {std::string(), std::string("no list"), std::string("\0", 1), sample + "x",
                                   document("<date>never</date>"), document("")}) {
    const Ref<VantoServiceRuntime> runtime = runtimeWith(bytes);
    ASSERT_TRUE(runtime) << bytes;
    EXPECT_EQ(answer(*runtime, "org.vanto.camera"), "none") << bytes;
  }
}

TEST_F(VantoServiceRuntimeTest, HasNoneWhereTheDataIsCutAnywhere) {
  const LogCapture log;
  // Behind the end of the root element nothing but a line feed is missing.
  for (std::size_t length = 0; length + 1 < sample.size(); ++length) {
    ASSERT_EQ(answer(*runtimeWith(sample.substr(0, length)), "org.vanto.camera"), "none") << length;
  }
  EXPECT_EQ(answer(*runtimeWith(sample.substr(0, sample.size() - 1)), "org.vanto.camera"), "1");
}

TEST_F(VantoServiceRuntimeTest, AnswersNoneWhenTheRootIsNoDictionary) {
  const LogCapture log;
  for (const char* root :
       {"<array><string>org.vanto.camera</string></array>", "<string>org.vanto.camera</string>", "<integer>1</integer>",
        "<true/>", "<data>AAAA</data>", "<real>1.5</real>", "<date>2026-11-21T08:00:00Z</date>"}) {
    const Ref<VantoServiceRuntime> runtime = runtimeWith(document(root));
    ASSERT_TRUE(runtime) << root;
    EXPECT_EQ(answer(*runtime, "org.vanto.camera"), "none") << root;
    EXPECT_EQ(runtime->entitlementForKey(nullptr), nullptr) << root;
  }
}

TEST_F(VantoServiceRuntimeTest, HandsOutNothingThatCanBeChanged) {
  const Ref<VantoServiceRuntime> runtime = runtimeWith(sample);
  EXPECT_NE(as<PlistArray>(runtime->entitlementForKey(string("org.vanto.files"))), nullptr);
  EXPECT_EQ(as<PlistMutableArray>(runtime->entitlementForKey(string("org.vanto.files"))), nullptr);
  EXPECT_NE(as<PlistDictionary>(runtime->entitlementForKey(string("org.vanto.more"))), nullptr);
  EXPECT_EQ(as<PlistMutableDictionary>(runtime->entitlementForKey(string("org.vanto.more"))), nullptr);
  auto* files = as<PlistArray>(runtime->entitlementForKey(string("org.vanto.files")));
  ASSERT_NE(files, nullptr);
  EXPECT_EQ(as<PlistMutableString>(KorArrayGetValueAtIndex(files, 0)), nullptr);
}

TEST_F(VantoServiceRuntimeTest, ReadsTheEntitlementsAnewForEachObject) {
  const Ref<VantoServiceRuntime> first = runtimeWith(document("<dict><key>a</key><string>1</string></dict>"));
  const Ref<VantoServiceRuntime> second = runtimeWith(document("<dict><key>a</key><string>2</string></dict>"));
  const Ref<VantoServiceRuntime> third = runtimeWith({});
  EXPECT_EQ(answer(*first, "a"), "1");
  EXPECT_EQ(answer(*second, "a"), "2");
  EXPECT_EQ(answer(*third, "a"), "none");
  EXPECT_EQ(host_.count("_vanto_runtime_get_entitlements_data"), 3U);
}

TEST_F(VantoServiceRuntimeTest, ObjectsFromTheSameBytesShareNothing) {
  const Ref<VantoServiceRuntime> first = runtimeWith(sample);
  const Ref<VantoServiceRuntime> second = runtimeWith(sample);
  EXPECT_NE(first->entitlementForKey(string("org.vanto.files")), second->entitlementForKey(string("org.vanto.files")));
}

TEST_F(VantoServiceRuntimeTest, HoldsTheListAndNotTheBytes) {
  Ref<VantoServiceRuntime> runtime;
  {
    const TemporaryScope scope;
    runtime = runtimeWith(sample);
    const std::vector<Ref<vanto_object>> data = takeHandedOut();
    ASSERT_EQ(data.size(), 1U);
    EXPECT_EQ(data.front()->referenceCount(), 1U);
  }
  EXPECT_EQ(answer(*runtime, "org.vanto.files"), description(*array({string("one")})));
}

TEST_F(VantoServiceRuntimeTest, GivesTheListBackWhenItEnds) {
  const std::int64_t living = liveObjectCount();
  {
    const TemporaryScope scope;
    Ref<VantoServiceRuntime> runtime = runtimeWith(sample);
    Ref<PlistValue> kept = Ref<PlistValue>::share(runtime->entitlementForKey(string("org.vanto.files")));
    runtime = nullptr;
    EXPECT_TRUE(kept->isEqual(array({string("one")})));
    EXPECT_EQ(takeHandedOut().size(), 1U);
  }
  EXPECT_EQ(liveObjectCount(), living);
}

TEST(VantoServiceRuntimeShared, IsTheSameObjectAtEachCallAndAsksOnce) {
  const ChildOutcome outcome = inFreshProcess([](FakeHost& host, const ChildReport& report) {
    host.answers().entitlements = sample;
    VantoServiceRuntime* first = VantoServiceRuntime::defaultRuntime();
    ASSERT_NE(first, nullptr);
    host.answers().entitlements = document("<dict/>");
    EXPECT_EQ(VantoServiceRuntime::defaultRuntime(), first);
    report(answer(*first, "org.vanto.camera"));
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, (Lines{entitlementsCall, "1"}));
}

TEST(VantoServiceRuntimeShared, IsThereWithoutEntitlementsAndNeverAsksAgain) {
  const ChildOutcome outcome = inFreshProcess([](FakeHost& host, const ChildReport& report) {
    host.fail("_vanto_runtime_get_entitlements_data");
    VantoServiceRuntime* runtime = VantoServiceRuntime::defaultRuntime();
    ASSERT_NE(runtime, nullptr);
    report(answer(*runtime, "org.vanto.camera"));
    host.succeed("_vanto_runtime_get_entitlements_data");
    host.answers().entitlements = sample;
    EXPECT_EQ(VantoServiceRuntime::defaultRuntime(), runtime);
    report(answer(*runtime, "org.vanto.camera"));
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, (Lines{entitlementsCall, "none", "none"}));
}

TEST(VantoServiceRuntimeShared, OutlivesTheScopeInWhichItWasMade) {
  const ChildOutcome outcome = inFreshProcess([](FakeHost& host, const ChildReport& report) {
    host.answers().entitlements = sample;
    {
      const TemporaryScope scope;
      ASSERT_NE(VantoServiceRuntime::defaultRuntime(), nullptr);
    }
    EXPECT_EQ(VantoServiceRuntime::defaultRuntime()->referenceCount(), 1U);
    report(answer(*VantoServiceRuntime::defaultRuntime(), "org.vanto.level"));
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, (Lines{entitlementsCall, "3"}));
}

TEST(VantoServiceRuntimeShared, IsMadeOnceForThreadsThatAskAtTheSameMoment) {
  const ChildOutcome outcome = inFreshProcess([](FakeHost& host, const ChildReport&) {
    host.answers().entitlements = sample;
    constexpr std::size_t count = 8;
    std::vector<VantoServiceRuntime*> found(count);
    std::barrier start(count);
    std::vector<std::thread> threads;
    for (VantoServiceRuntime*& place : found) {
      threads.emplace_back([&start, &place] {
        const TemporaryScope scope;
        start.arrive_and_wait();
        place = VantoServiceRuntime::defaultRuntime();
        EXPECT_EQ(answer(*place, "org.vanto.camera"), "1");
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::vector<VantoServiceRuntime*>(count, found.front()), found);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, Lines{entitlementsCall});
}

TEST(VantoServiceRuntimeShared, IsNotWhatInitGives) {
  const ChildOutcome outcome = inFreshProcess([](FakeHost&, const ChildReport&) {
    const Ref<VantoServiceRuntime> own = VantoServiceRuntime::init();
    EXPECT_NE(own.get(), VantoServiceRuntime::defaultRuntime());
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, (Lines{entitlementsCall, entitlementsCall}));
}

}  // namespace
}  // namespace vanto::testing
