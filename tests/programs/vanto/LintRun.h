// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <VantoService/TemporaryScope.h>

#include "support/BundleBuilder.h"
#include "vanto/LintedBundle.h"

namespace vanto::testing {

/// Tests of the rules: bundles in a directory of their own, and what is found in them.
class LintRun : public ::testing::Test {
 protected:
  /// A bundle in which nothing is wrong.
  [[nodiscard]] test::BundleBuilder goodBundle(const char* name = "Good.vanto") const {
    test::BundleBuilder bundle(directory_.path(), name);
    bundle.identifier(std::string("org.example.") + name).executable("good").service();
    return bundle;
  }

  /// Builds the bundle and examines it: `key: severity: problem; remedy` of each finding. Of paths, what lies in the
  /// directory.
  std::vector<std::string> found(test::BundleBuilder& bundle) {
    std::vector<std::string> lines;
    for (const tool::Finding& finding : tool::lintBundle(bundle.build(), known_)) {
      EXPECT_TRUE(finding.file.starts_with(bundle.path()));
      const std::string line =
          finding.key + ": " + nameOf(finding.severity) + ": " + finding.problem + "; " + finding.remedy;
      lines.push_back(withoutDirectory(line));
    }
    return lines;
  }

  /// Of a good bundle with one more entry in its service dictionary.
  std::vector<std::string> foundWithEntry(const char* key, const std::string& xml) {
    test::BundleBuilder bundle = goodBundle();
    bundle.serviceEntry(key, xml);
    known_.clear();
    return found(bundle);
  }

  [[nodiscard]] std::string withoutDirectory(std::string line) const {
    for (std::size_t place; (place = line.find(directory_.path() + "/")) != line.npos;) {
      line.erase(place, directory_.path().size() + 1);
    }
    return line;
  }

  const test::TemporaryDirectory directory_;
  tool::KnownIdentifiers known_;

 private:
  const TemporaryScope scope_;
};

using Lines = std::vector<std::string>;

}  // namespace vanto::testing
