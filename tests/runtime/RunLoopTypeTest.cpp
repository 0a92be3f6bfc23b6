// SPDX-License-Identifier: Apache-2.0

#include <VantoService/PlistString.h>

#include "runtime/ServiceStart.h"

namespace vanto::testing {
namespace {

/// What _vanto_main() does for each value of "RunLoopType".
class RunLoopType : public ServiceStart {
 protected:
  static const Lines first;
  static const Lines dispatchMain;
  static const Lines runLoop;

  [[nodiscard]] BundleBuilder bundleWith(const std::string& xml) const {
    return serviceBundle().serviceEntry("RunLoopType", xml);
  }
  [[nodiscard]] BundleBuilder bundleNaming(std::string_view type) const {
    return bundleWith(BundleBuilder::string(type));
  }

  [[nodiscard]] static Lines linesOf(const BundleBuilder& bundle) {
    const ChildOutcome outcome = run(bundle, [](ServiceProgram& program) {
      program.library.symbolError = "why";
      program.vantoMain();
    });
    EXPECT_EQ(outcome.end, "exit status 0");
    return outcome.lines;
  }
};

const Lines RunLoopType::first = {"vanto_process_save_arguments()", "vanto_process_executable_path()"};
// The process ends inside dispatch_main().
const Lines RunLoopType::dispatchMain = first + Lines{"dispatch_main()"};
const Lines RunLoopType::runLoop = {"QelRunLoopCurrentRunLoop()", "QelRunLoopRun(current)", "returned"};

TEST_F(RunLoopType, AbsentMeansDispatchMain) {
  EXPECT_EQ(linesOf(serviceBundle()), dispatchMain);
}

TEST_F(RunLoopType, ThatIsNoStringMeansDispatchMain) {
  for (const std::string& value : {BundleBuilder::integer(1), BundleBuilder::boolean(true), BundleBuilder::array({}),
                                   BundleBuilder::dictionary({})}) {
    EXPECT_EQ(linesOf(bundleWith(value)), dispatchMain) << value;
  }
}

TEST_F(RunLoopType, DispatchMainMeansDispatchMain) {
  EXPECT_EQ(linesOf(bundleNaming("dispatch_main")), dispatchMain);
}

TEST_F(RunLoopType, QelRunLoopMeansTheRunLoopOfTheObjectFramework) {
  EXPECT_EQ(linesOf(bundleNaming("QelRunLoop")), first + runLoop);
}

TEST_F(RunLoopType, QelApplicationMainThatIsMissingMeansTheRunLoopOfTheObjectFramework) {
  const Lines lookUp = {
      "dlsym(default, QelApplicationMain)",
      "dlerror()",
      errorLine("use of QelApplicationMain specified but it cannot be found: why"),
  };
  EXPECT_EQ(linesOf(bundleNaming("_QelApplicationMain")), first + lookUp + runLoop);
}

TEST_F(RunLoopType, UnknownMeansDispatchMainWithoutAMessage) {
  for (const std::string_view type :
       {"", "dispatch_mai", "dispatch_main ", "Dispatch_main", "DISPATCH_MAIN", "qelRunLoop", "QelRunloop", "QelRunLoo",
        "QelRunLoops", " QelRunLoop", "QelApplicationMain", "_QelApplicationmain", "_QelApplicationMai",
        "_QelApplicationMain2", "KorRunLoop"}) {
    EXPECT_EQ(linesOf(bundleNaming(type)), dispatchMain) << type;
  }
}

TEST_F(RunLoopType, IsActedOnAfterConfinementAndValidation) {
  BundleBuilder bundle = bundleNaming("QelRunLoop")
                             .serviceEntry("_SandboxProfile", BundleBuilder::string("tight"))
                             .serviceEntry("_AllowedClients", BundleBuilder::array({BundleBuilder::string("valid")}))
                             .resource("tight.sb", "network none\n");
  const Lines middle = {
      "QelHomeDirectory()",
      "PellmoUtilRealPathForPath(" + bundle.path() + ")",
      "PellmoUtilRealPathForPath(/home/fake)",
      "sandbox_init_with_parameters(" + bundle.resourcesPath() +
          "/tight.sb, 3, VantoService_identifier, com.example.echo, VantoService_path, " + bundle.path() +
          ", VantoService_home, /home/fake, null)",
      "vanto_handle_service(null, null, evaluator)",
  };
  EXPECT_EQ(linesOf(bundle), first + middle + runLoop);
}

TEST_F(RunLoopType, NeedsNoIdentifier) {
  EXPECT_EQ(linesOf(plainBundle().serviceEntry("RunLoopType", BundleBuilder::string("QelRunLoop"))), first + runLoop);
}

TEST_F(RunLoopType, IgnoresTheKeyOfTheOtherEntryPoint) {
  EXPECT_EQ(linesOf(serviceBundle().serviceEntry("_UseQelApplicationMain", BundleBuilder::boolean(true))),
            dispatchMain);
}

TEST_F(RunLoopType, IsNotReachedOutsideABundle) {
  const ChildOutcome outcome = run([](ServiceProgram& program) { program.vantoMain(); });
  EXPECT_EQ(outcome.end, "exit status 1");
  EXPECT_EQ(outcome.lines, first + Lines{errorLine("Could not get VantoServiceBundle for main executable.")});
}

TEST_F(RunLoopType, IsNotReachedWithoutAServiceDictionary) {
  for (const BundleBuilder& bundle :
       {plainBundle(), plainBundle().entry("VantoService", BundleBuilder::string("text"))}) {
    const ChildOutcome outcome = run(bundle, [](ServiceProgram& program) { program.vantoMain(); });
    EXPECT_EQ(outcome.end, "exit status 1");
    EXPECT_EQ(outcome.lines, first + Lines{errorLine("Could not find VantoService dictionary.")});
  }
}

/// How many references there are to one temporary of start-up and to one that is made in the run loop, first inside the
/// loop and then, if it returns, after it.
void referencesAround(ServiceProgram& program) {
  const Ref<PlistString> atStart = PlistString::create("at start");
  const Ref<PlistString> inLoop = PlistString::create("in the loop");
  const auto count = [&] {
    return std::to_string(atStart->referenceCount()) + " " + std::to_string(inLoop->referenceCount());
  };
  program.host.onCall([&](const test::FakeCall& call) {
    if (call.function == "vanto_handle_service") static_cast<void>(Ref<PlistString>(atStart).asTemporary());
  });
  program.host.whileRunning([&] {
    static_cast<void>(Ref<PlistString>(inLoop).asTemporary());
    program.report(count());
  });
  program.vantoMain();
  program.report(count());
}

TEST_F(RunLoopType, GetsATemporaryObjectScopeOfItsOwnWhereTheLoopReturns) {
  const BundleBuilder bundle =
      bundleNaming("QelRunLoop")
          .serviceEntry("_AllowedClients", BundleBuilder::array({BundleBuilder::string("valid")}));
  const ChildOutcome outcome = run(bundle, referencesAround);
  EXPECT_EQ(outcome.lines, (Lines{"1 2", "returned", "1 1"}));
}

TEST_F(RunLoopType, ClosesTheTemporaryObjectScopeBeforeDispatchMain) {
  const BundleBuilder bundle =
      serviceBundle().serviceEntry("_AllowedClients", BundleBuilder::array({BundleBuilder::string("valid")}));
  const ChildOutcome outcome = run(bundle, referencesAround);
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, Lines{"1 2"});
}

}  // namespace
}  // namespace vanto::testing
