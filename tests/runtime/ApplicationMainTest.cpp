// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <VantoService/PlistString.h>

#include "runtime/ServiceStart.h"

// A test program that has an application main loop.

namespace {

const vanto::testing::ChildReport* loopReport = nullptr;
const PlistString* watched = nullptr;

std::string textOf(int argc, char** argv) {
  std::string text = std::to_string(argc);
  for (int index = 0; index < argc; ++index) text += std::string(" ") + argv[index];
  return text + (argv[argc] == nullptr ? "" : ", not closed");
}

}  // namespace

extern "C" VANTO_EXPORT int QelApplicationMain(int argc, char** argv) {
  (*loopReport)("QelApplicationMain " + textOf(argc, argv));
  if (watched != nullptr) (*loopReport)("references: " + std::to_string(watched->referenceCount()));
  return 7;
}

namespace vanto::testing {
namespace {

class ApplicationMain : public ServiceStart {
 protected:
  static void serviceMain(ServiceProgram& program) {
    loopReport = &program.report;
    program.host.answers().arguments = {"saved", "others"};
    char name[] = "given";
    char argument[] = "to main";
    char* arguments[] = {name, argument, nullptr};
    program.report("returned " + std::to_string(vanto_service_main(2, arguments, nullptr)));
  }

  static void vantoMain(ServiceProgram& program) {
    loopReport = &program.report;
    program.host.answers().arguments = {"saved", "one", "two"};
    program.vantoMain();
  }
};

TEST_F(ApplicationMain, IsTheLoopOfAServiceThatAsksForIt) {
  const ChildOutcome outcome =
      run(serviceBundle().serviceEntry("_UseQelApplicationMain", BundleBuilder::boolean(true)), serviceMain);
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(
      outcome.lines,
      (Lines{"vanto_process_save_arguments()", "vanto_process_executable_path()", "dlsym(default, QelApplicationMain)",
             "vanto_track_activity()", "dispatch_queue_create(com.example.echo, null)",
             "vanto_connection_create_listener(com.example.echo, queue com.example.echo)",
             "vanto_connection_set_event_function(listener com.example.echo, function, null, null)",
             "vanto_connection_resume(listener com.example.echo)", "QelApplicationMain 2 given to main",
             "returned 0"}));
}

TEST_F(ApplicationMain, IsNotLookedUpForAServiceThatDoesNotAskForIt) {
  for (const BundleBuilder& bundle :
       {serviceBundle(), serviceBundle().serviceEntry("_UseQelApplicationMain", BundleBuilder::boolean(false))}) {
    const ChildOutcome outcome = run(bundle, [](ServiceProgram& program) {
      serviceMain(program);
      EXPECT_EQ(program.host.count("KorRunLoopRun"), 1U);
    });
    EXPECT_EQ(outcome.end, "exit status 0");
    for (const std::string& line : outcome.lines) EXPECT_EQ(line.find("QelApplicationMain"), line.npos) << line;
  }
}

TEST_F(ApplicationMain, NamedAsRunLoopTypeGetsTheSavedArguments) {
  const ChildOutcome outcome =
      run(serviceBundle().serviceEntry("RunLoopType", BundleBuilder::string("_QelApplicationMain")), vantoMain);
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, (Lines{"vanto_process_save_arguments()", "vanto_process_executable_path()",
                                  "dlsym(default, QelApplicationMain)", "_QelGetArgc()", "_QelGetArgv()",
                                  "QelApplicationMain 3 saved one two", "returned"}));
}

TEST_F(ApplicationMain, NamedAsRunLoopTypeGetsAnEmptyVectorWhereNoneCouldBeSaved) {
  const ChildOutcome outcome =
      run(serviceBundle().serviceEntry("RunLoopType", BundleBuilder::string("_QelApplicationMain")),
          [](ServiceProgram& program) {
            program.host.fail("vanto_process_save_arguments");
            vantoMain(program);
          });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines[outcome.lines.size() - 2], "QelApplicationMain 0");
}

TEST_F(ApplicationMain, RunsAfterTheTemporariesOfStartUpAreGone) {
  const ChildOutcome outcome =
      run(serviceBundle()
              .serviceEntry("RunLoopType", BundleBuilder::string("_QelApplicationMain"))
              .serviceEntry("_AllowedClients", BundleBuilder::array({BundleBuilder::string("valid")})),
          [](ServiceProgram& program) {
            const Ref<PlistString> temporary = PlistString::create("watched");
            watched = temporary.get();
            program.host.onCall([&](const test::FakeCall& call) {
              if (call.function == "vanto_handle_service") static_cast<void>(Ref<PlistString>(temporary).asTemporary());
              if (call.function == "_QelGetArgv") program.report(std::to_string(temporary->referenceCount()));
            });
            vantoMain(program);
          });
  EXPECT_EQ(outcome.lines, (Lines{"1", "QelApplicationMain 3 saved one two", "references: 1", "returned"}));
}

}  // namespace
}  // namespace vanto::testing
