// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>

#include "programs/vanto/CapturedConsole.h"
#include "support/BundleBuilder.h"
#include "support/TemporaryDirectory.h"

namespace vanto::testing {

/// Tests with a service bundle, A.vanto, in a directory of their own.
class ServiceFixture : public ::testing::Test {
 protected:
  ServiceFixture() : bundle_(directory_.path(), "A.vanto") {
    bundle_.identifier("org.example.a")
        .executable("a")
        .serviceEntry("ServiceType", test::BundleBuilder::string("User"));
    bundle_.build();
  }

  [[nodiscard]] VantoServiceBundle& service() const {
    return *VantoServiceBundle::VantoServiceBundleAtPath(PlistString::create(bundle_.path()).asTemporary());
  }

  /// `text` with DIR for the directory.
  [[nodiscard]] std::string shortened(std::string text) const {
    for (std::size_t place; (place = text.find(directory_.path())) != text.npos;) {
      text.replace(place, directory_.path().size(), "DIR");
    }
    return text;
  }

  const test::TemporaryDirectory directory_;
  test::BundleBuilder bundle_;

 private:
  const TemporaryScope scope_;
};

/// True when a terminal shows `text` and does nothing else.
inline bool isHarmless(const std::string& text) {
  for (const char c : text) {
    if (c != '\n' && (c < ' ' || c > '~')) return false;
  }
  return true;
}

}  // namespace vanto::testing
