// SPDX-License-Identifier: Apache-2.0
// How a bundle reads its Info file: once, and nothing but a sound dictionary in a regular file.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <string_view>

#include <VantoService/Bundle.h>
#include <VantoService/TemporaryScope.h>

#include "support/BundleBuilder.h"
#include "support/OpenCounter.h"
#include "support/OpenDescriptors.h"
#include "value/Fd.h"
#include "value/limits.h"

namespace vanto {
namespace {

namespace fs = std::filesystem;
using test::BundleBuilder;
using test::OpenCounter;
using test::openDescriptors;

Ref<Bundle> bundleAt(std::string_view path) {
  return Bundle::create(*PlistString::create(path));
}

/// A bundle directory without an Info file; the tests put something in its place.
class BundleInfoFile : public ::testing::Test {
 protected:
  BundleInfoFile() { builder_.withoutInfo().build(); }

  /// Expects that there is no bundle, and that finding out leaves no descriptor.
  void expectNoBundle() const {
    const std::set<std::string> before = openDescriptors();
    EXPECT_FALSE(bundleAt(builder_.path()));
    EXPECT_EQ(openDescriptors(), before);
  }

  void write(std::string_view bytes) const {
    std::ofstream(info(), std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }

  [[nodiscard]] std::string info() const { return builder_.infoPath(); }

  const test::TemporaryDirectory directory_;
  BundleBuilder builder_{directory_.path(), "Foo.vanto"};
  const TemporaryScope scope_;
};

TEST_F(BundleInfoFile, IsOpenedOnceAndClosed) {
  write(BundleBuilder::document(BundleBuilder::dictionary({{"KorBundleIdentifier", BundleBuilder::string("foo")}})));
  const std::set<std::string> before = openDescriptors();
  OpenCounter counter(builder_.path() + "/Contents");
  const Ref<Bundle> bundle = bundleAt(builder_.path());
  ASSERT_TRUE(bundle);
  const OpenCounter::Counts making = counter.take();
  EXPECT_EQ(making.opened, 1);
  EXPECT_EQ(making.closed, 1);
  EXPECT_EQ(bundle->bundleIdentifier()->text(), "foo");
  EXPECT_EQ(bundle->executablePath(), nullptr);
  EXPECT_EQ(bundle->urlForResource("a", "b"), nullptr);
  EXPECT_EQ(counter.take().opened, 0);
}

TEST_F(BundleInfoFile, LeavesNoDescriptorWhenTheBundleIsMade) {
  write(BundleBuilder::document(BundleBuilder::dictionary({})));
  const std::set<std::string> before = openDescriptors();
  const Ref<Bundle> bundle = bundleAt(builder_.path());
  ASSERT_TRUE(bundle);
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(BundleInfoFile, IsNotReadAgain) {
  write(BundleBuilder::document(BundleBuilder::dictionary({{"KorBundleIdentifier", BundleBuilder::string("old")}})));
  const Ref<Bundle> bundle = bundleAt(builder_.path());
  ASSERT_TRUE(bundle);
  write(BundleBuilder::document(BundleBuilder::dictionary({{"KorBundleIdentifier", BundleBuilder::string("new")}})));
  EXPECT_EQ(bundle->bundleIdentifier()->text(), "old");
  fs::remove(info());
  EXPECT_EQ(bundle->bundleIdentifier()->text(), "old");
}

TEST_F(BundleInfoFile, MustExist) {
  expectNoBundle();
}

TEST_F(BundleInfoFile, MustHoldAPropertyList) {
  for (const std::string_view bytes : {"", "\n", "not a property list", "<plist version=\"1.0\"><dict>",
                                       "<plist version=\"1.0\"><dict><key>a</key></dict></plist>"}) {
    write(bytes);
    expectNoBundle();
  }
}

TEST_F(BundleInfoFile, MustHoldADictionary) {
  for (const std::string& xml : {BundleBuilder::array({}), BundleBuilder::string("a"), BundleBuilder::integer(1),
                                 BundleBuilder::boolean(true)}) {
    write(BundleBuilder::document(xml));
    expectNoBundle();
  }
  write(BundleBuilder::document(BundleBuilder::dictionary({})));
  EXPECT_TRUE(bundleAt(builder_.path()));
}

TEST_F(BundleInfoFile, MustNotBeADirectory) {
  fs::create_directory(info());
  expectNoBundle();
}

TEST_F(BundleInfoFile, MustNotBeAFifoWhichIsNotWaitedFor) {
  ASSERT_EQ(mkfifo(info().c_str(), 0600), 0);
  expectNoBundle();
}

TEST_F(BundleInfoFile, MustNotBeAFifoEvenWithSomeoneWritingToIt) {
  ASSERT_EQ(mkfifo(info().c_str(), 0600), 0);
  const Fd writer(open(info().c_str(), O_RDWR | O_CLOEXEC));
  const std::string bytes = BundleBuilder::document(BundleBuilder::dictionary({}));
  ASSERT_EQ(::write(writer.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  expectNoBundle();
}

TEST_F(BundleInfoFile, MustNotBeADevice) {
  fs::create_symlink("/dev/zero", info());
  expectNoBundle();
  fs::remove(info());
  fs::create_symlink("/dev/null", info());
  expectNoBundle();
}

TEST_F(BundleInfoFile, MustNotBeASocket) {
  const Fd socketFd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  ASSERT_LT(info().size(), sizeof address.sun_path);
  std::memcpy(address.sun_path, info().data(), info().size());
  ASSERT_EQ(bind(socketFd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  expectNoBundle();
}

TEST_F(BundleInfoFile, MustNotBeALoopOfLinks) {
  fs::create_symlink("Info.plist", info());
  expectNoBundle();
}

TEST_F(BundleInfoFile, MustNotBeLargerThanTheLimit) {
  write(BundleBuilder::document(BundleBuilder::dictionary({})));
  fs::resize_file(info(), limits::propertyListFileBytes + 1);
  expectNoBundle();
  fs::resize_file(info(), std::uintmax_t{1} << 30);
  expectNoBundle();
}

TEST_F(BundleInfoFile, MustBeReadable) {
  write(BundleBuilder::document(BundleBuilder::dictionary({})));
  fs::permissions(info(), fs::perms::none);
  fs::permissions(directory_.path(), static_cast<fs::perms>(0755));
  EXPECT_EXIT(
      {
        // Root reads whatever it likes, so become somebody else.
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(2);
        if (access(builder_.path().c_str(), X_OK) != 0) _exit(3);
        _exit(bundleAt(builder_.path()) ? 1 : 0);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(BundleInfoFile, IsNotReadWithoutADescriptorToSpare) {
  write(BundleBuilder::document(BundleBuilder::dictionary({})));
  EXPECT_EXIT(
      {
        while (dup(STDERR_FILENO) >= 0) {
        }
        _exit(bundleAt(builder_.path()) ? 1 : 0);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace vanto
