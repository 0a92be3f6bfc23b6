// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <VantoService/VantoServiceMain.h>
#include <VantoServiceTest/FakeHost.h>

#include "runtime/CLibrary.h"
#include "support/BundleBuilder.h"
#include "support/Child.h"
#include "support/TemporaryDirectory.h"

namespace vanto::testing {

using test::BundleBuilder;
using test::FakeClient;
using test::FakeHost;
using test::FakePeer;
using Lines = std::vector<std::string>;

/// What a test does in its child process. The journal of the host, the lines of the system log (`syslog(3, text)`) and
/// the calls of the C library that can be stood in for are reported to the test in the order in which they happen, and
/// so is what the test itself reports.
struct ServiceProgram {
  FakeHost& host;
  CLibrary& library;
  const ChildReport& report;

  /// Calls vanto_service_main() and reports that it returned.
  void serviceMain(vanto_service_handler_t handler = nullptr) const;
  /// The same for _vanto_main().
  void vantoMain() const;

  /// Has everything reported from now on but calls of the functions that start-up does not make.
  void reportCalls() const;
  /// Nothing but the system log and what the test reports itself.
  void reportLogOnly() const;
};

/// Tests of what a service program does only once, each in a child process of its own.
class ServiceStart : public ::testing::Test {
 protected:
  static constexpr const char* identifier = "com.example.echo";

  /// A service bundle with identifier and service dictionary.
  [[nodiscard]] BundleBuilder serviceBundle() const;
  /// A bundle with the executable and nothing else.
  [[nodiscard]] BundleBuilder plainBundle() const;

  /// Builds the bundle and does `work` in a process whose executable lies in it.
  [[nodiscard]] static ChildOutcome run(BundleBuilder bundle, const std::function<void(ServiceProgram&)>& work);
  /// The same in a process that cannot tell its executable, or has another one.
  [[nodiscard]] static ChildOutcome run(const std::function<void(ServiceProgram&)>& work);

  const test::TemporaryDirectory directory_;
};

/// "syslog(3, text)"
[[nodiscard]] std::string errorLine(std::string_view text);

[[nodiscard]] Lines operator+(Lines first, const Lines& second);

}  // namespace vanto::testing
