// SPDX-License-Identifier: Apache-2.0
#include "programs/vanto/LintRun.h"

namespace vanto::tool {
namespace {

using test::BundleBuilder;
using vanto::testing::Lines;

class LintServiceKeys : public vanto::testing::LintRun {};

TEST_F(LintServiceKeys, AreFineWhereTheyAreWhatTheyShouldBe) {
  BundleBuilder bundle = goodBundle();
  bundle.serviceEntry("ServiceType", BundleBuilder::string("Session"))
      .serviceEntry("RunLoopType", BundleBuilder::string("QelRunLoop"))
      .serviceEntry("_UseQelApplicationMain", BundleBuilder::integer(1))
      .serviceEntry("_MultipleInstances", BundleBuilder::boolean(false));
  EXPECT_EQ(found(bundle), Lines{});
}

TEST_F(LintServiceKeys, FindsUnknownOnesAndWhatWasMeant) {
  EXPECT_EQ(foundWithEntry("Servicetype", "<true/>"),
            Lines{"VantoService.Servicetype: warning: is no key of a service dictionary, so nothing uses it; write "
                  "ServiceType"});
  EXPECT_EQ(foundWithEntry("Colour", "<true/>"),
            Lines{"VantoService.Colour: warning: is no key of a service dictionary, so nothing uses it; remove it"});
}

TEST_F(LintServiceKeys, FindsTypesThatAreNone) {
  EXPECT_EQ(
      foundWithEntry("ServiceType", BundleBuilder::string("system")),
      Lines{"VantoService.ServiceType: warning: \"system\" is unknown, so the job names no domain; write System"});
  EXPECT_EQ(
      foundWithEntry("ServiceType", BundleBuilder::string("\n")),
      Lines{"VantoService.ServiceType: warning: \"\\n\" is unknown, so the job names no domain; write User, Session "
            "or System"});
  EXPECT_EQ(
      foundWithEntry("ServiceType", "<integer>3</integer>"),
      Lines{"VantoService.ServiceType: warning: is an integer, so the job names no domain; write the string User, "
            "Session or System"});
}

TEST_F(LintServiceKeys, FindsRunLoopsThatAreNone) {
  EXPECT_EQ(
      foundWithEntry("RunLoopType", BundleBuilder::string("RunLoop")),
      Lines{"VantoService.RunLoopType: warning: \"RunLoop\" is unknown, so dispatch_main runs; write dispatch_main, "
            "QelRunLoop or _QelApplicationMain"});
  EXPECT_EQ(foundWithEntry("RunLoopType", "<array/>").size(), 1U);
}

TEST_F(LintServiceKeys, FindsBooleansThatAreNone) {
  EXPECT_EQ(
      foundWithEntry("_UseQelApplicationMain", BundleBuilder::string("YES")),
      Lines{"VantoService._UseQelApplicationMain: warning: is a string, so it counts as false; write true or false "
            "as a boolean"});
  EXPECT_EQ(
      foundWithEntry("_MultipleInstances", "<dict/>"),
      Lines{"VantoService._MultipleInstances: warning: is a dictionary, so a service manager refuses the job; write "
            "true or false as a boolean"});
}

TEST_F(LintServiceKeys, NotesThoseForOtherPrograms) {
  for (const char* key : {"JoinExistingSession", "EnvironmentVariables", "_RoleAccount"}) {
    EXPECT_EQ(foundWithEntry(key, "<true/>"), Lines{std::string("VantoService.") + key +
                                                    ": note: is for other programs; nothing here uses it, neither the "
                                                    "job nor the start-up"});
  }
}

TEST_F(LintServiceKeys, FindsThatThereIsNoServiceDictionary) {
  BundleBuilder bundle(directory_.path(), "A.vanto");
  bundle.identifier("a").executable("a").entry("VantoService", "<string/>");
  EXPECT_EQ(found(bundle),
            Lines{"VantoService: error: is a string; write a dictionary, which may be empty: the service "
                  "cannot start without"});
}

TEST_F(LintServiceKeys, FindsSlipsInTheInfoDictionaryAndNothingElseThere) {
  BundleBuilder bundle(directory_.path(), "A.vanto");
  bundle.identifier("a").service().executable("a").entry("Version", "<string/>").entry("vantoservice", "<dict/>");
  EXPECT_EQ(found(bundle), Lines{});
  BundleBuilder slip(directory_.path(), "B.vanto");
  slip.identifier("b").service().entry("KorBundelExecutable", "<string>b</string>");
  EXPECT_EQ(found(slip).back(), "KorBundelExecutable: warning: is read by nothing; write KorBundleExecutable");
}

}  // namespace
}  // namespace vanto::tool
