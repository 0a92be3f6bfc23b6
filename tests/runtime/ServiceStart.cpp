// SPDX-License-Identifier: Apache-2.0
#include "runtime/ServiceStart.h"

#include "support/LogCapture.h"

namespace vanto::testing {

void ServiceProgram::serviceMain(vanto_service_handler_t handler) const {
  char name[] = "echo";
  char* arguments[] = {name, nullptr};
  const int status = vanto_service_main(1, arguments, handler);
  report("returned " + std::to_string(status));
}

void ServiceProgram::vantoMain() const {
  _vanto_main();
  report("returned");
}

void ServiceProgram::reportCalls() const {
  host.onCall([this](const test::FakeCall& call) { report(call.text()); });
}

void ServiceProgram::reportLogOnly() const {
  host.onCall([this](const test::FakeCall& call) {
    if (call.function == "syslog") report(call.text());
  });
}

BundleBuilder ServiceStart::serviceBundle() const {
  return plainBundle().identifier(identifier).service();
}

BundleBuilder ServiceStart::plainBundle() const {
  return BundleBuilder(directory_.path(), "Echo.vanto").executable("echo");
}

ChildOutcome ServiceStart::run(BundleBuilder bundle, const std::function<void(ServiceProgram&)>& work) {
  bundle.build();
  return run([&](ServiceProgram& program) {
    program.host.answers().executablePath = bundle.executablePath("echo");
    work(program);
  });
}

ChildOutcome ServiceStart::run(const std::function<void(ServiceProgram&)>& work) {
  return runInChild([&](const ChildReport& report) {
    FakeHost host;
    CLibrary library(
        [&host](std::string_view function, std::string_view arguments) { host.note(function, arguments); });
    const LogCapture log(
        [&host](const LogLine& line) { host.note("syslog", std::to_string(line.priority) + ", " + line.text); });
    ServiceProgram program{host, library, report};
    program.reportCalls();
    work(program);
  });
}

std::string errorLine(std::string_view text) {
  return "syslog(3, " + std::string(text) + ")";
}

Lines operator+(Lines first, const Lines& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

}  // namespace vanto::testing
