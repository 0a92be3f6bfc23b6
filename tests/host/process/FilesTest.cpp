// SPDX-License-Identifier: Apache-2.0
#include "value/platform/files.h"

#include <cerrno>
#include <fstream>
#include <string>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <VantoService/KorFunctions.h>

#include "support/OpenDescriptors.h"
#include "support/TemporaryDirectory.h"
#include "value/Fd.h"

namespace {

using vanto::Ref;

class Files : public testing::Test {
 protected:
  /// The text that `path` holds; "error N" when it cannot be read.
  static std::string contents(const std::string& path, KorFileTrust trust = KorFileTrustAnyone,
                              std::size_t maximumSize = 1'000'000) {
    const std::set<std::string> before = vanto::test::openDescriptors();
    const Ref<PlistString> string = PlistString::create(path);
    const auto url = Ref<KorURL>::adopt(KorURLCreateWithFileSystemPath(string.get(), KorURLPOSIXPathStyle, false));
    PlistData* data = nullptr;
    int error = -1;
    const bool isRead = KorURLCreateDataAndPropertiesFromResource(url.get(), &data, trust, maximumSize, &error);
    EXPECT_EQ(vanto::test::openDescriptors(), before);
    EXPECT_EQ(isRead, data != nullptr);
    if (!isRead) return "error " + std::to_string(error);
    EXPECT_EQ(error, -1);
    const auto owned = Ref<PlistData>::adopt(data);
    return {owned->bytes().begin(), owned->bytes().end()};
  }

  static std::string errorText(int error) { return "error " + std::to_string(error); }

  [[nodiscard]] std::string makeFile(const std::string& text, mode_t mode = 0644) const {
    const std::string path = directory_ / "file";
    std::ofstream(path) << text;
    EXPECT_EQ(chmod(path.c_str(), mode), 0);
    return path;
  }

  const vanto::test::TemporaryDirectory directory_;
};

TEST_F(Files, AreReadWhole) {
  EXPECT_EQ(contents(makeFile("some text")), "some text");
  EXPECT_EQ(contents(makeFile("")), "");
  const std::string large(500'000, 'x');
  EXPECT_EQ(contents(makeFile(large)), large);
}

TEST_F(Files, AreReadThroughSymbolicLinks) {
  ASSERT_EQ(symlink(makeFile("text").c_str(), (directory_ / "link").c_str()), 0);
  EXPECT_EQ(contents(directory_ / "link"), "text");
}

TEST_F(Files, AreReadUpToALimit) {
  EXPECT_EQ(contents(makeFile(std::string(1'000, 'x')), KorFileTrustAnyone, 1'000).size(), 1'000U);
  EXPECT_EQ(contents(makeFile(std::string(1'001, 'x')), KorFileTrustAnyone, 1'000), errorText(EFBIG));
}

TEST_F(Files, AreNotReadWhenTheyOnlySeemLarge) {
  const std::string path = makeFile("");
  ASSERT_EQ(truncate(path.c_str(), off_t{1} << 40), 0);
  EXPECT_EQ(contents(path), errorText(EFBIG));
}

TEST_F(Files, AreBoundedByWhatIsReadNotByWhatTheyClaim) {
  // Claims to hold nothing.
  struct stat status;
  ASSERT_EQ(stat("/proc/self/status", &status), 0);
  ASSERT_EQ(status.st_size, 0);
  EXPECT_NE(contents("/proc/self/status").find("Pid:"), std::string::npos);
  EXPECT_EQ(contents("/proc/self/status", KorFileTrustAnyone, 10), errorText(EFBIG));
}

TEST_F(Files, AreNoDirectoriesFifosDevicesOrSockets) {
  EXPECT_EQ(contents(directory_.path()), errorText(EISDIR));
  ASSERT_EQ(mkfifo((directory_ / "fifo").c_str(), 0600), 0);
  EXPECT_EQ(contents(directory_ / "fifo"), errorText(EINVAL));
  EXPECT_EQ(contents("/dev/null"), errorText(EINVAL));
  EXPECT_EQ(contents("/dev/zero"), errorText(EINVAL));
  const vanto::Fd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = directory_ / "socket";
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(contents(path), errorText(ENXIO));
}

TEST_F(Files, AreNotReadWhenTheyAreMissingOrTheNameIsNone) {
  EXPECT_EQ(contents(directory_ / "missing"), errorText(ENOENT));
  EXPECT_EQ(contents(makeFile("text") + "/below"), errorText(ENOTDIR));
  PlistData* data = nullptr;
  EXPECT_FALSE(KorURLCreateDataAndPropertiesFromResource(nullptr, &data, KorFileTrustAnyone, 10, nullptr));
  EXPECT_EQ(data, nullptr);
}

TEST_F(Files, OfAnAdministratorAreWrittenByNobodyElse) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  EXPECT_EQ(contents(makeFile("text", 0644), KorFileTrustAdministrator), "text");
  EXPECT_EQ(contents(makeFile("text", 0400), KorFileTrustAdministrator), "text");
  EXPECT_EQ(contents(makeFile("text", 0664), KorFileTrustAdministrator), errorText(EPERM));
  EXPECT_EQ(contents(makeFile("text", 0646), KorFileTrustAdministrator), errorText(EPERM));
  EXPECT_EQ(contents(makeFile("text", 0666), KorFileTrustAnyone), "text");
}

TEST_F(Files, OfAnAdministratorBelongToRoot) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  const std::string path = makeFile("text");
  ASSERT_EQ(chown(path.c_str(), 4711, 0), 0);
  EXPECT_EQ(contents(path, KorFileTrustAdministrator), errorText(EPERM));
  EXPECT_EQ(contents(path, KorFileTrustAnyone), "text");
  ASSERT_EQ(chown(path.c_str(), 0, 4711), 0);
  EXPECT_EQ(contents(path, KorFileTrustAdministrator), "text");
}

TEST(FileNames, AreTextInUtf8) {
  const auto valid = Ref<PlistString>::adopt(KorStringCreateWithFileSystemRepresentation("/a\xc3\xa4"));
  ASSERT_TRUE(valid);
  EXPECT_EQ(valid->text(), "/a\xc3\xa4");
  EXPECT_EQ(KorStringCreateWithFileSystemRepresentation("/\xff"), nullptr);
  EXPECT_EQ(KorStringCreateWithFileSystemRepresentation(nullptr), nullptr);
}

TEST(FileURLs, AreMadeOfPathsInTheOneStyle) {
  const Ref<PlistString> path = PlistString::create("/a");
  const auto url = Ref<KorURL>::adopt(KorURLCreateWithFileSystemPath(path.get(), KorURLPOSIXPathStyle, true));
  ASSERT_TRUE(url);
  EXPECT_EQ(url->path()->text(), "/a");
  EXPECT_TRUE(url->isDirectory());
  EXPECT_EQ(KorURLCreateWithFileSystemPath(path.get(), 1, false), nullptr);
  EXPECT_EQ(KorURLCreateWithFileSystemPath(nullptr, KorURLPOSIXPathStyle, false), nullptr);
  const Ref<PlistString> empty = PlistString::create("");
  EXPECT_EQ(KorURLCreateWithFileSystemPath(empty.get(), KorURLPOSIXPathStyle, false), nullptr);
}

}  // namespace
