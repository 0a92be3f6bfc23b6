// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <VantoService/vanto.h>

#include <VantoServiceTest/FakeClient.h>

namespace vanto::test {

/// What the code-signing facility of the fake host says of a requirement text.
struct FakeRequirement {
  /// Whether the code of a client satisfies it.
  bool isSatisfied = false;
  /// Status of compiling the text; other than 0 means that it is malformed.
  int compileStatus = 0;
  /// Why it is malformed; without a reason no errors object is made.
  std::optional<std::string> reason;
};

/// What the fake host answers.
struct FakeAnswers {
  /// The program that seems to run; none for a process that cannot tell. Its bundle becomes the main bundle, which a
  /// process looks up only once.
  std::optional<std::string> executablePath;
  std::optional<std::string> homeDirectory = "/home/fake";
  /// The argument vector that vanto_process_save_arguments() finds.
  std::vector<std::string> arguments = {"fake"};
  /// Real paths. A path that is in neither map is its own.
  std::map<std::string, std::string> realPaths;
  /// Paths that cannot be resolved, with a number of errno.
  std::map<std::string, int> realPathErrors;
  /// Files of machine-wide settings and their bytes, whoever is to be trusted. Others do not exist.
  std::map<std::string, std::string> files;
  /// Why the process cannot be confined; none when it can.
  std::optional<std::string> sandboxError;
  /// Statuses of looking up the code of a process. Of all others it is found.
  std::map<pid_t, int> codeStatuses;
  /// Requirement texts. Others can be compiled and are not satisfied.
  std::map<std::string, FakeRequirement> requirements;
  /// The bytes in which the entitlements of this process come, a property list unless a test has something else; none
  /// for a process that has no entitlements.
  std::optional<std::string> entitlements;
};

/// One call of a function of the host.
struct FakeCall {
  std::string function;
  std::string arguments;

  /// `function(arguments)`
  [[nodiscard]] std::string text() const { return function + "(" + arguments + ")"; }
};

/// A host in memory: it implements every function that the core of the library calls, has no threads, and does only
/// what a test tells it to. Link the core with it in place of the real host:
///
///     FakeHost host;
///     host.answers().executablePath = bundle + "/Contents/Linux/Echo";
///     host.whileRunning([&] {
///       FakeClient client = host.connect("com.example.echo");
///       FakeRequest request = client.call(body);
///       // look at request.reply()
///     });
///     vanto_service_main(argc, argv, handler);
///
/// One object at a time is the host of the process; it starts with the answers above and an empty journal. Before the
/// first one and after the last the host answers the same. Work on queues waits until performWork(), a run loop, or an
/// injected event runs it, on the thread that does so. A service runs as it would for real, but a process has only one
/// main bundle and one role-account policy, so tests of several services need processes of their own.
class FakeHost {
 public:
  FakeHost();
  ~FakeHost();
  FakeHost(const FakeHost&) = delete;
  FakeHost& operator=(const FakeHost&) = delete;

  /// To be changed while no function of the host runs.
  [[nodiscard]] FakeAnswers& answers() noexcept;

  /// Has `function`, by its name, do nothing from now on but report failure, in the way that its contract says. A name
  /// that is none, or a function that cannot fail, ends the test program.
  void fail(std::string_view function);
  /// Undoes fail().
  void succeed(std::string_view function);

  /// Called each time a run loop is run or dispatch_main() is called, before it performs the work there is. A run loop
  /// then returns at once; dispatch_main(), which cannot, ends the process with status 0.
  void whileRunning(std::function<void()> function);

  /// Performs the work that waits on queues until there is none.
  void performWork();

  /// All calls so far, in their order. Functions of IPC values (strings, dictionaries, …) and of job data are the real
  /// ones and leave no trace.
  [[nodiscard]] std::vector<FakeCall> calls() const;
  /// The same as texts.
  [[nodiscard]] std::vector<std::string> lines() const;
  /// How often `function` was called. A name that is none ends the test program.
  [[nodiscard]] std::size_t count(std::string_view function) const;
  /// Called with each call as it is made, from whatever thread makes it.
  void onCall(std::function<void(const FakeCall&)> function);
  /// Adds an entry to the journal for a function that is not the host's, such as one of the C library that the test
  /// stands in for.
  void note(std::string_view function, std::string_view arguments);

  /// What vanto_handle_service() was given; null when it was not called.
  [[nodiscard]] vanto_peer_evaluator_t evaluator() const;

  /// A client that connects to the listener of that name. The evaluator, if there is one, is asked first; then the
  /// listener gets its event. The service meets `peer` at the other end.
  [[nodiscard]] FakeClient connect(std::string_view name, const FakePeer& peer = {});

  /// Has the listener of that name get an error as its event.
  void reportListenerError(std::string_view name, vanto_error_code_t code);

  /// Lets vanto_connect() find a service of that name. Its answer to a message is what `responder` gives, whose
  /// reference it takes over; null is no answer.
  void provideService(std::string_view name, FakeResponder responder);
};

}  // namespace vanto::test
