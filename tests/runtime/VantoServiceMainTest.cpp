// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <stdexcept>

#include <unistd.h>

#include <VantoService/PlistString.h>

#include "runtime/CrashAnnotations.h"
#include "runtime/ServiceStart.h"

namespace vanto::testing {
namespace {

const std::string notFound = "use of QelApplicationMain specified but it cannot be found: ";

class VantoServiceMain : public ServiceStart {
 protected:
  /// The calls up to the point where the service dictionary is known.
  static const Lines first;
  /// The calls from the queue to the run loop and the end.
  static const Lines last;

  [[nodiscard]] BundleBuilder applicationBundle(const std::string& value) const {
    return serviceBundle().serviceEntry("_UseQelApplicationMain", value);
  }
};

const Lines VantoServiceMain::first = {"vanto_process_save_arguments()", "vanto_process_executable_path()"};
const Lines VantoServiceMain::last = {
    "vanto_track_activity()",
    "dispatch_queue_create(com.example.echo, null)",
    "vanto_connection_create_listener(com.example.echo, queue com.example.echo)",
    "vanto_connection_set_event_function(listener com.example.echo, function, context, null)",
    "vanto_connection_resume(listener com.example.echo)",
    "KorRunLoopRun()",
    "returned 0",
};

void ignoreEvents(vanto_object_t, vanto_object_t) {}

TEST_F(VantoServiceMain, StartsInItsFixedOrder) {
  BundleBuilder bundle = applicationBundle(BundleBuilder::boolean(true))
                             .serviceEntry("_SandboxProfile", BundleBuilder::string("tight"))
                             .serviceEntry("_AllowedClients", BundleBuilder::array({BundleBuilder::string("valid")}))
                             .resource("tight.sb", "network none\n");
  const ChildOutcome outcome = run(bundle, [](ServiceProgram& program) {
    program.library.symbolError = "no such symbol";
    program.serviceMain(ignoreEvents);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  const Lines middle = {
      "QelHomeDirectory()",
      "PellmoUtilRealPathForPath(" + bundle.path() + ")",
      "PellmoUtilRealPathForPath(/home/fake)",
      "sandbox_init_with_parameters(" + bundle.resourcesPath() +
          "/tight.sb, 3, VantoService_identifier, com.example.echo, VantoService_path, " + bundle.path() +
          ", VantoService_home, /home/fake, null)",
      "vanto_handle_service(null, null, evaluator)",
      "dlsym(default, QelApplicationMain)",
      "dlerror()",
      errorLine(notFound + "no such symbol"),
  };
  EXPECT_EQ(outcome.lines, first + middle + last);
}

TEST_F(VantoServiceMain, NeitherConfinesNorValidatesNorLooksUpWhatIsNotAskedFor) {
  const ChildOutcome outcome = run(serviceBundle(), [](ServiceProgram& program) { program.serviceMain(ignoreEvents); });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, first + last);
}

TEST_F(VantoServiceMain, RunsTheRunLoopWithoutALookUpUnlessTheKeyIsTrue) {
  for (const std::string& value :
       {BundleBuilder::boolean(false), BundleBuilder::integer(0), BundleBuilder::string("YES"),
        BundleBuilder::string("1"), BundleBuilder::array({BundleBuilder::boolean(true)}), std::string("<real>0</real>"),
        std::string("<data>AQ==</data>")}) {
    const ChildOutcome outcome =
        run(applicationBundle(value), [](ServiceProgram& program) { program.serviceMain(ignoreEvents); });
    EXPECT_EQ(outcome.end, "exit status 0") << value;
    EXPECT_EQ(outcome.lines, first + last) << value;
  }
}

TEST_F(VantoServiceMain, LooksTheSymbolUpOnceForAnyNumberThatIsNotZero) {
  for (const std::string& value : {BundleBuilder::boolean(true), BundleBuilder::integer(1), BundleBuilder::integer(-7),
                                   std::string("<real>0.5</real>")}) {
    const ChildOutcome outcome = run(applicationBundle(value), [](ServiceProgram& program) {
      program.library.symbolError = "why";
      program.serviceMain(ignoreEvents);
    });
    EXPECT_EQ(outcome.end, "exit status 0") << value;
    const Lines lookUp = {"dlsym(default, QelApplicationMain)", "dlerror()", errorLine(notFound + "why")};
    EXPECT_EQ(outcome.lines, first + lookUp + last) << value;
  }
}

TEST_F(VantoServiceMain, LogsTheTextOfTheDynamicLinker) {
  const ChildOutcome outcome = run(applicationBundle(BundleBuilder::boolean(true)), [](ServiceProgram& program) {
    program.reportLogOnly();
    program.serviceMain(ignoreEvents);
  });
  ASSERT_EQ(outcome.lines.size(), 2U);
  EXPECT_TRUE(outcome.lines[0].starts_with("syslog(3, " + notFound)) << outcome.lines[0];
  EXPECT_NE(outcome.lines[0].find("undefined symbol: QelApplicationMain"), std::string::npos) << outcome.lines[0];
  EXPECT_EQ(outcome.lines[1], "returned 0");
}

TEST_F(VantoServiceMain, LogsAnUnknownErrorWhenTheDynamicLinkerHasNoText) {
  const ChildOutcome outcome = run(applicationBundle(BundleBuilder::boolean(true)), [](ServiceProgram& program) {
    program.reportLogOnly();
    program.library.symbolError = "";
    program.serviceMain(ignoreEvents);
  });
  EXPECT_EQ(outcome.lines, (Lines{errorLine(notFound + "unknown error"), "returned 0"}));
}

TEST_F(VantoServiceMain, ExitsWithStatus1WhenTheExecutableIsInNoBundle) {
  for (const bool isKnown : {false, true}) {
    const ChildOutcome outcome = run([&](ServiceProgram& program) {
      if (isKnown) program.host.answers().executablePath = directory_ / "bin/echo";
      program.serviceMain(ignoreEvents);
    });
    EXPECT_EQ(outcome.end, "exit status 1");
    EXPECT_EQ(outcome.lines, first + Lines{errorLine("Could not get VantoServiceBundle for main executable.")});
  }
}

TEST_F(VantoServiceMain, ExitsWithStatus1WithoutAServiceDictionary) {
  const std::string line = errorLine("Could not find VantoService dictionary.");
  const ChildOutcome outcome =
      run(plainBundle().identifier(identifier), [](ServiceProgram& program) { program.serviceMain(ignoreEvents); });
  EXPECT_EQ(outcome.end, "exit status 1");
  EXPECT_EQ(outcome.lines, first + Lines{line});
}

TEST_F(VantoServiceMain, ExitsWithStatus1WhenTheServiceDictionaryIsOfAnotherKind) {
  for (const std::string& value :
       {BundleBuilder::string("text"), BundleBuilder::boolean(true), BundleBuilder::array({})}) {
    const ChildOutcome outcome = run(plainBundle().identifier(identifier).entry("VantoService", value),
                                     [](ServiceProgram& program) { program.serviceMain(ignoreEvents); });
    EXPECT_EQ(outcome.end, "exit status 1") << value;
    EXPECT_EQ(outcome.lines, first + Lines{errorLine("Could not find VantoService dictionary.")}) << value;
  }
}

TEST_F(VantoServiceMain, StartsWithAnEmptyServiceDictionary) {
  const ChildOutcome outcome = run(serviceBundle(), [](ServiceProgram& program) {
    program.reportLogOnly();
    program.serviceMain(ignoreEvents);
  });
  EXPECT_EQ(outcome.lines, Lines{"returned 0"});
}

TEST_F(VantoServiceMain, ExitsWithStatus1WithoutAnIdentifierWhereTheQueueNeedsIt) {
  BundleBuilder bundle = plainBundle()
                             .serviceEntry("_SandboxProfile", BundleBuilder::string("tight"))
                             .resource("tight.sb", "network none\n");
  const ChildOutcome outcome = run(bundle, [](ServiceProgram& program) { program.serviceMain(ignoreEvents); });
  EXPECT_EQ(outcome.end, "exit status 1");
  const Lines rest = {
      "QelHomeDirectory()",
      "PellmoUtilRealPathForPath(" + bundle.path() + ")",
      "PellmoUtilRealPathForPath(/home/fake)",
      "sandbox_init_with_parameters(" + bundle.resourcesPath() +
          "/tight.sb, 3, VantoService_identifier, , VantoService_path, " + bundle.path() +
          ", VantoService_home, /home/fake, null)",
      "vanto_track_activity()",
      errorLine("Could not get identifier of service bundle."),
  };
  EXPECT_EQ(outcome.lines, first + rest);
}

TEST_F(VantoServiceMain, AbortsWhenTheListenerQueueCannotBeCreated) {
  const ChildOutcome outcome = run(serviceBundle(), [](ServiceProgram& program) {
    program.host.fail("dispatch_queue_create");
    program.serviceMain(ignoreEvents);
  });
  EXPECT_EQ(outcome.end, "signal 6");
  const Lines rest = {
      "vanto_track_activity()",
      "dispatch_queue_create(com.example.echo, null)",
      errorLine("Assertion failed: listenerQueue != NULL, function vanto_service_main, file VantoServiceMain, line "
                "216."),
  };
  EXPECT_EQ(outcome.lines, first + rest);
}

TEST_F(VantoServiceMain, DoesNotCheckTheListener) {
  const ChildOutcome outcome = run(serviceBundle(), [](ServiceProgram& program) {
    program.host.fail("vanto_connection_create_listener");
    program.serviceMain(ignoreEvents);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  ASSERT_EQ(outcome.lines.size(), first.size() + last.size());
  EXPECT_EQ(outcome.lines[5], "vanto_connection_set_event_function(null, function, context, null)");
  EXPECT_EQ(outcome.lines[6], "vanto_connection_resume(null)");
}

const ChildReport* handlerReport = nullptr;

void reportEvent(vanto_object_t listener, vanto_object_t event) {
  const bool isConnection = vanto_kind(event) == VANTO_KIND_CONNECTION;
  (*handlerReport)("event of kind " + std::to_string(vanto_kind(listener)) + ": " +
                   (isConnection ? "connection" : vanto_error_get_text(event)));
}

TEST_F(VantoServiceMain, CallsTheHandlerForEachEventWithListenerAndEvent) {
  const ChildOutcome outcome = run(serviceBundle(), [](ServiceProgram& program) {
    program.reportLogOnly();
    handlerReport = &program.report;
    program.host.whileRunning([&program] {
      static_cast<void>(program.host.connect(identifier));
      static_cast<void>(program.host.connect(identifier));
      program.host.reportListenerError(identifier, VANTO_ERROR_IN_USE);
    });
    program.serviceMain(reportEvent);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines,
            (Lines{"event of kind 65: connection", "event of kind 65: connection",
                   std::string("event of kind 65: ") + vanto_error_text(VANTO_ERROR_IN_USE), "returned 0"}));
}

/// Calls the host while it handles its first event, so that a second one comes meanwhile.
FakeHost* handlerHost = nullptr;

void connectAgain(vanto_object_t, vanto_object_t) {
  static int events = 0;
  const std::string number = std::to_string(++events);
  (*handlerReport)("begin " + number);
  if (events == 1) static_cast<void>(handlerHost->connect("com.example.echo"));
  (*handlerReport)("end " + number);
}

TEST_F(VantoServiceMain, HandlesOneEventAtATime) {
  const ChildOutcome outcome = run(serviceBundle(), [](ServiceProgram& program) {
    program.reportLogOnly();
    handlerReport = &program.report;
    handlerHost = &program.host;
    program.host.whileRunning([&program] { static_cast<void>(program.host.connect(identifier)); });
    program.serviceMain(connectAgain);
  });
  EXPECT_EQ(outcome.lines, (Lines{"begin 1", "end 1", "begin 2", "end 2", "returned 0"}));
}

void throwAtEvent(vanto_object_t, vanto_object_t) {
  throw std::runtime_error("a handler that throws");
}

TEST_F(VantoServiceMain, AbortsWhenTheHandlerThrows) {
  const ChildOutcome outcome = run(serviceBundle(), [](ServiceProgram& program) {
    program.reportLogOnly();
    program.host.whileRunning([&program] { static_cast<void>(program.host.connect(identifier)); });
    program.serviceMain(throwAtEvent);
  });
  EXPECT_EQ(outcome.end, "signal 6");
  EXPECT_EQ(outcome.lines, Lines{});
}

/// Reports, as the process dies, what it left for those who look at it.
void reportDeath(int) {
  (*handlerReport)(gCRAnnotations.message == nullptr ? "no message" : gCRAnnotations.message);
}

TEST_F(VantoServiceMain, WithoutAHandlerStartsAndDiesOfTheFirstEventWithItsMessage) {
  const ChildOutcome outcome = run(serviceBundle(), [](ServiceProgram& program) {
    handlerReport = &program.report;
    std::signal(SIGABRT, reportDeath);
    program.host.whileRunning([&program] {
      program.report(gCRAnnotations.message == nullptr ? "lives" : "message too early");
      static_cast<void>(program.host.connect(identifier));
    });
    program.serviceMain(nullptr);
  });
  EXPECT_EQ(outcome.end, "signal 6");
  const Lines rest = {
      "vanto_track_activity()",
      "dispatch_queue_create(com.example.echo, null)",
      "vanto_connection_create_listener(com.example.echo, queue com.example.echo)",
      "vanto_connection_set_event_function(listener com.example.echo, function, null, null)",
      "vanto_connection_resume(listener com.example.echo)",
      "KorRunLoopRun()",
      "lives",
      "No event handler specified for Vanto Service",
  };
  EXPECT_EQ(outcome.lines, first + rest);
}

TEST_F(VantoServiceMain, WithoutAHandlerAndWithoutEventsReturnsLikeAnyOther) {
  const ChildOutcome outcome = run(serviceBundle(), [](ServiceProgram& program) {
    program.reportLogOnly();
    program.serviceMain(nullptr);
    EXPECT_EQ(gCRAnnotations.message, nullptr);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, Lines{"returned 0"});
}

TEST_F(VantoServiceMain, KeepsItsTemporariesUntilTheRunLoopReturns) {
  const ChildOutcome outcome = run(serviceBundle(), [](ServiceProgram& program) {
    const Ref<PlistString> watched = PlistString::create("watched");
    program.host.onCall([&watched](const test::FakeCall& call) {
      if (call.function == "vanto_track_activity") static_cast<void>(Ref<PlistString>(watched).asTemporary());
    });
    program.host.whileRunning([&] { program.report(std::to_string(watched->referenceCount())); });
    program.serviceMain(ignoreEvents);
    program.report(std::to_string(watched->referenceCount()));
  });
  EXPECT_EQ(outcome.lines, (Lines{"2", "returned 0", "1"}));
}

TEST_F(VantoServiceMain, StartsOnWhateverTheSandboxSays) {
  BundleBuilder bundle = serviceBundle()
                             .serviceEntry("_SandboxProfile", BundleBuilder::string("tight"))
                             .resource("tight.sb", "nonsense\n");
  const ChildOutcome outcome = run(bundle, [](ServiceProgram& program) {
    program.reportLogOnly();
    program.host.answers().sandboxError = "line 1: what is that?";
    program.serviceMain(ignoreEvents);
    EXPECT_EQ(program.host.count("vanto_connection_resume"), 1U);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, (Lines{errorLine("sandbox_init_with_parameters() profile " + bundle.resourcesPath() +
                                            "/tight.sb fails: line 1: what is that?"),
                                  "returned 0"}));
}

}  // namespace
}  // namespace vanto::testing
