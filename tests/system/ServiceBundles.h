// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/BundleBuilder.h"
#include "support/TemporaryDirectory.h"
#include "system/ServiceProcess.h"

namespace vanto::test {

/// A test with service bundles in a directory and a domain directory of its own.
class ServiceBundles : public ::testing::Test {
 protected:
  static constexpr const char* name = "org.vanto.test.system";

  ServiceBundles() {
    setenv("XDG_RUNTIME_DIR", directory_.path().c_str(), 1);
    setenv("VANTO_TEST_LOG", (directory_ / "log-of-the-test").c_str(), 1);
  }

  /// A service bundle around the program of these tests, with identifier and service dictionary.
  [[nodiscard]] BundleBuilder serviceBundle(const char* program = VANTO_TEST_SERVICE) const {
    BundleBuilder bundle = bundleOf(program);
    bundle.identifier(name).service();
    return bundle;
  }
  /// The same without either.
  [[nodiscard]] BundleBuilder bundleOf(const char* program) const {
    BundleBuilder bundle(directory_.path(), std::string(name) + ".vanto");
    bundle.executableCopiedFrom(program, "service");
    return bundle;
  }

  /// Builds the bundle and starts its program.
  [[nodiscard]] static std::unique_ptr<ServiceProcess> start(
      BundleBuilder& bundle, const std::vector<std::string>& arguments,
      ServiceProcess::Traced traced = ServiceProcess::Traced::No) {
    bundle.build();
    return std::make_unique<ServiceProcess>(bundle.executablePath("service"), arguments, traced);
  }

  /// Calls the service once. Empty when it answers as it should, else what is wrong.
  [[nodiscard]] static std::string callOnce(const ServiceProcess& service) {
    const vanto_object_t connection = service.connect(name);
    const vanto_object_t request = vanto_string_create("a request");
    const vanto_object_t reply = vanto_call(connection, request, 30'000'000'000);
    const std::string result = vanto_equal(reply, request)                            ? ""
                               : vanto_error_get_code(connection) != VANTO_ERROR_NONE ? vanto_error_get_text(connection)
                                                                                      : vanto_error_get_text(reply);
    vanto_release(reply);
    vanto_release(request);
    vanto_release(connection);
    return result;
  }

  const TemporaryDirectory directory_;
};

using Lines = std::vector<std::string>;

}  // namespace vanto::test
