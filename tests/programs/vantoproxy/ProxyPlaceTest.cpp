// SPDX-License-Identifier: Apache-2.0
#include "vantoproxy/ProxyPlace.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "support/TemporaryDirectory.h"

namespace vanto {
namespace {

class ProxyPlace : public ::testing::Test {
 protected:
  /// Makes a file with all directories above it; its path.
  [[nodiscard]] std::string file(const char* place) const {
    const std::filesystem::path path = directory_ / place;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << "";
    return path;
  }

  const test::TemporaryDirectory directory_;
  const std::string usual_ = directory_ / "usr/libexec/vantoproxy";
  const std::string program_ = directory_ / "prefix/bin/tolvend";
};

TEST_F(ProxyPlace, IsTheUsualOneWhereThatIsThere) {
  static_cast<void>(file("prefix/bin/tolvend"));
  static_cast<void>(file("prefix/libexec/vantoproxy"));
  EXPECT_EQ(proxyOf(program_, file("usr/libexec/vantoproxy")), usual_);
}

TEST_F(ProxyPlace, IsBesideTheProgramWhereNothingIsAtTheUsualOne) {
  static_cast<void>(file("prefix/bin/tolvend"));
  EXPECT_EQ(proxyOf(program_, usual_), usual_);
  const std::string beside = file("prefix/libexec/vantoproxy");
  EXPECT_EQ(proxyOf(program_, usual_), beside);
}

TEST_F(ProxyPlace, IsTheUsualOneForAProgramThatWasNotInstalled) {
  ASSERT_FALSE(std::filesystem::exists(std::filesystem::read_symlink("/proc/self/exe").parent_path() / "../libexec"));
  EXPECT_EQ(installedProxy(), proxyPath);
}

}  // namespace
}  // namespace vanto
