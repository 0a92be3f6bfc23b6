// SPDX-License-Identifier: Apache-2.0
// The main bundle of real processes, started from bundles on disk.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

#include "support/BundleBuilder.h"

namespace vanto {
namespace {

namespace fs = std::filesystem;
using test::BundleBuilder;
using test::BundleLayout;

/// What a shell command prints.
std::string outputOf(const std::string& command) {
  std::string output;
  std::FILE* pipe = popen((command + " 2>&1").c_str(), "re");
  if (pipe == nullptr) return "popen failed";
  std::array<char, 4096> buffer;
  std::size_t size;
  while ((size = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0) output.append(buffer.data(), size);
  const int status = pclose(pipe);
  if (status != 0) output += "status " + std::to_string(status) + "\n";
  return output;
}

/// What the probe prints when `path` is its main bundle, and then that of its service.
std::string answer(std::string_view path) {
  return "bundle " + std::string(path) + "\nservice " + std::string(path) + "\n";
}

class BundleMain : public ::testing::Test {
 protected:
  /// A bundle whose executable "Probe" says which main bundle it has.
  [[nodiscard]] BundleBuilder builder(std::string_view name, BundleLayout layout = BundleLayout::Contents) const {
    return BundleBuilder(directory_.path(), name, layout).executableCopiedFrom(VANTO_MAIN_BUNDLE_PROBE, "Probe");
  }

  /// Builds the bundle; gives the path of its executable.
  static std::string build(BundleBuilder builder) {
    builder.build();
    return builder.executablePath("Probe");
  }

  /// Puts the probe at `path`, in directories made for it.
  static void copyProbe(const std::string& path) {
    fs::create_directories(fs::path(path).parent_path());
    fs::copy_file(VANTO_MAIN_BUNDLE_PROBE, path);
  }

  const test::TemporaryDirectory directory_;
};

TEST_F(BundleMain, IsTheOneAroundTheExecutableInEachLayout) {
  EXPECT_EQ(outputOf(build(builder("Echo.vanto").service())), answer(directory_ / "Echo.vanto"));
  EXPECT_EQ(outputOf(build(builder("Echo.framework", BundleLayout::Framework))), answer(directory_ / "Echo.framework"));
  EXPECT_EQ(outputOf(build(builder("Flat.vanto", BundleLayout::Flat))), answer(directory_ / "Flat.vanto"));
  EXPECT_EQ(outputOf(build(builder("Flat.framework", BundleLayout::Flat))), answer(directory_ / "Flat.framework"));
}

TEST_F(BundleMain, IsAPlainApplicationForItsExecutable) {
  EXPECT_EQ(outputOf(build(builder("Host.app"))), answer(directory_ / "Host.app"));
}

TEST_F(BundleMain, IsTheSameForEveryExecutableBesideTheNamedOne) {
  build(builder("Echo.vanto"));
  copyProbe(directory_ / "Echo.vanto/Contents/Linux/Other");
  EXPECT_EQ(outputOf(directory_ / "Echo.vanto/Contents/Linux/Other"), answer(directory_ / "Echo.vanto"));
}

TEST_F(BundleMain, IsFoundThroughSymbolicLinks) {
  const std::string executable = build(builder("Echo.vanto"));
  fs::create_symlink(executable, directory_ / "link");
  EXPECT_EQ(outputOf(directory_ / "link"), answer(directory_ / "Echo.vanto"));
  fs::create_directory_symlink(directory_ / "Echo.vanto", directory_ / "Other");
  EXPECT_EQ(outputOf(directory_ / "Other/Contents/Linux/Probe"), answer(directory_ / "Echo.vanto"));
  fs::create_directories(directory_ / "Fake.vanto/Contents/Linux");
  fs::create_symlink(executable, directory_ / "Fake.vanto/Contents/Linux/Probe");
  EXPECT_EQ(outputOf(directory_ / "Fake.vanto/Contents/Linux/Probe"), answer(directory_ / "Echo.vanto"));
}

TEST_F(BundleMain, IsFoundWhenTheExecutableIsStartedByARelativePath) {
  build(builder("Echo.vanto"));
  EXPECT_EQ(outputOf("cd " + (directory_ / "Echo.vanto/Contents/Linux") + " && ./Probe"),
            answer(directory_ / "Echo.vanto"));
}

TEST_F(BundleMain, IsNoneForAnExecutableOutsideAnyBundle) {
  copyProbe(directory_ / "Probe");
  EXPECT_EQ(outputOf(directory_ / "Probe"), answer("none"));
  copyProbe(directory_ / "Contents/Linux/Probe");
  EXPECT_EQ(outputOf(directory_ / "Contents/Linux/Probe"), answer("none"));
}

TEST_F(BundleMain, IsNoneWhenTheDirectoryHasNoExtension) {
  EXPECT_EQ(outputOf(build(builder("Echo"))), answer("none"));
  EXPECT_EQ(outputOf(build(builder("Flat", BundleLayout::Flat))), answer("none"));
}

TEST_F(BundleMain, IsNoneWhenTheDirectoryIsNoBundle) {
  EXPECT_EQ(outputOf(build(builder("Bare.vanto").withoutInfo())), answer("none"));
  EXPECT_EQ(outputOf(build(builder("Damaged.vanto").info("<plist>"))), answer("none"));
}

TEST_F(BundleMain, IsNoneWhenTheExecutableLiesWhereTheLayoutHasNone) {
  build(builder("Echo.vanto"));
  copyProbe(directory_ / "Echo.vanto/Probe");
  EXPECT_EQ(outputOf(directory_ / "Echo.vanto/Probe"), answer("none"));
  copyProbe(directory_ / "Echo.vanto/Contents/Probe");
  EXPECT_EQ(outputOf(directory_ / "Echo.vanto/Contents/Probe"), answer("none"));
  copyProbe(directory_ / "Echo.vanto/Contents/Linux/deeper/Probe");
  EXPECT_EQ(outputOf(directory_ / "Echo.vanto/Contents/Linux/deeper/Probe"), answer("none"));

  build(builder("Flat.vanto", BundleLayout::Flat));
  copyProbe(directory_ / "Flat.vanto/Contents/Linux/Probe");
  EXPECT_EQ(outputOf(directory_ / "Flat.vanto/Contents/Linux/Probe"), answer("none"));
}

TEST_F(BundleMain, IsLookedUpOnceWhenThereIsOne) {
  const BundleBuilder echo = builder("Echo.vanto");
  const std::string executable = build(echo);
  EXPECT_EQ(outputOf(executable + " " + echo.infoPath() + " " + echo.path() + "/gone"), answer(echo.path()));
}

TEST_F(BundleMain, StaysAbsentWhenThereIsNone) {
  const BundleBuilder echo = builder("Echo.vanto");
  const std::string executable = build(echo);
  const std::string elsewhere = echo.path() + "/elsewhere";
  fs::rename(echo.infoPath(), elsewhere);
  EXPECT_EQ(outputOf(executable + " " + elsewhere + " " + echo.infoPath()), answer("none"));
  // The file was in place at the end, and would have been found.
  EXPECT_EQ(outputOf(executable), answer(echo.path()));
}

}  // namespace
}  // namespace vanto
