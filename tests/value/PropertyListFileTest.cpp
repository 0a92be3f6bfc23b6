// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListFile.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <string_view>
#include <thread>

#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistString.h>

#include "support/OpenCounter.h"
#include "support/OpenDescriptors.h"
#include "support/PropertyLists.h"
#include "support/TemporaryDirectory.h"
#include "support/Values.h"
#include "value/Fd.h"
#include "value/limits.h"

namespace vanto {
namespace {

using Kind = PropertyListFileError::Kind;

constexpr std::string_view document = "<plist version=\"1.0\"><dict><key>k</key><string>v</string></dict></plist>";

class PropertyListFile : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(test::openDescriptors(), descriptors_); }

  [[nodiscard]] std::string path(std::string_view name = "Info.plist") const { return directory_ / name; }

  void write(std::string_view contents) const {
    std::ofstream(path(), std::ios::binary).write(contents.data(), static_cast<std::streamsize>(contents.size()));
  }

  /// What is said about the file at `path`, which must give nothing.
  static PropertyListFileError errorFor(const std::string& path) {
    PropertyListFileError error;
    EXPECT_FALSE(createPropertyListFromFile(AT_FDCWD, path.c_str(), &error));
    return error;
  }

  const test::TemporaryDirectory directory_;
  const std::set<std::string> descriptors_ = test::openDescriptors();
};

TEST_F(PropertyListFile, IsRead) {
  write(document);
  const Ref<PlistValue> value = createPropertyListFromFile(AT_FDCWD, path().c_str());
  const PlistDictionary* dictionary = as<PlistDictionary>(value.get());
  ASSERT_NE(dictionary, nullptr);
  EXPECT_EQ(as<PlistString>(dictionary->valueForKey("k"))->text(), "v");
}

TEST_F(PropertyListFile, IsFoundRelativeToADirectory) {
  write(document);
  const Fd directory(open(directory_.path().c_str(), O_PATH | O_CLOEXEC));
  EXPECT_TRUE(createPropertyListFromFile(directory.get(), "Info.plist"));
  EXPECT_FALSE(createPropertyListFromFile(directory.get(), "Other.plist"));
}

TEST_F(PropertyListFile, IsOpenedAndClosedOnce) {
  write(document);
  test::OpenCounter counter(directory_.path());
  EXPECT_TRUE(createPropertyListFromFile(AT_FDCWD, path().c_str()));
  const test::OpenCounter::Counts counts = counter.take();
  EXPECT_EQ(counts.opened, 1);
  EXPECT_EQ(counts.closed, 1);
}

TEST_F(PropertyListFile, IsReadThroughALink) {
  write(document);
  ASSERT_EQ(symlink("Info.plist", path("Link.plist").c_str()), 0);
  EXPECT_TRUE(createPropertyListFromFile(AT_FDCWD, path("Link.plist").c_str()));
}

TEST_F(PropertyListFile, OfEverySizeIsReadWhole) {
  for (const std::size_t size : {std::size_t{100}, std::size_t{4096}, std::size_t{65'536}, std::size_t{65'537},
                                 std::size_t{1'000'000}, std::size_t{5'000'001}}) {
    write(std::string(document) + std::string(size - document.size(), '\n'));
    EXPECT_TRUE(createPropertyListFromFile(AT_FDCWD, path().c_str())) << size;
  }
}

TEST_F(PropertyListFile, ThatTellsNoSizeIsReadToItsEnd) {
  // A regular file whose size is said to be 0.
  const PropertyListFileError error = errorFor("/proc/self/status");
  EXPECT_EQ(error.kind, Kind::Malformed);
  EXPECT_EQ(describe(error), "line 1, column 1: expected the root element <plist>");
}

TEST_F(PropertyListFile, ThatIsMalformedTellsWhere) {
  write("<plist>\n<x/></plist>");
  const PropertyListFileError error = errorFor(path());
  EXPECT_EQ(error.kind, Kind::Malformed);
  EXPECT_EQ(error.contents.line, 2U);
  EXPECT_EQ(error.contents.column, 1U);
  EXPECT_EQ(describe(error), "line 2, column 1: expected a value");
}

TEST_F(PropertyListFile, InTheBinaryFormIsRead) {
  const PlistString* text = testing::string("text");
  write(testing::writtenBinary(*text));
  const Ref<PlistValue> value = createPropertyListFromFile(AT_FDCWD, path().c_str());
  ASSERT_TRUE(value);
  EXPECT_TRUE(value->isEqual(text));
  write("\xF5values\x02");
  EXPECT_EQ(describe(errorFor(path())), "byte 9: expected more bytes");
}

TEST_F(PropertyListFile, ThatIsEmptyIsMalformed) {
  write("");
  EXPECT_EQ(errorFor(path()).kind, Kind::Malformed);
}

TEST_F(PropertyListFile, ThatIsMissingIsSaidToBe) {
  const PropertyListFileError error = errorFor(path());
  EXPECT_EQ(error.kind, Kind::Missing);
  EXPECT_EQ(error.number, ENOENT);
  EXPECT_EQ(describe(error), "no such file");
  write(document);
  EXPECT_EQ(errorFor(path() + "/Info.plist").number, ENOTDIR);
  EXPECT_EQ(errorFor("").kind, Kind::Missing);
}

TEST_F(PropertyListFile, ThatCannotBeReadTellsTheSystemsError) {
  ASSERT_EQ(symlink("Info.plist", path().c_str()), 0);
  const PropertyListFileError error = errorFor(path());
  EXPECT_EQ(error.kind, Kind::Unreadable);
  EXPECT_EQ(error.number, ELOOP);
  EXPECT_EQ(describe(error), std::strerror(ELOOP));
}

TEST_F(PropertyListFile, WithoutPermissionCannotBeRead) {
  if (geteuid() == 0) {
    // Root may read everything; what it may not is read memory where there is none.
    EXPECT_EQ(errorFor("/proc/self/mem").number, EIO);
    return;
  }
  write(document);
  ASSERT_EQ(chmod(path().c_str(), 0), 0);
  EXPECT_EQ(errorFor(path()).number, EACCES);
}

TEST_F(PropertyListFile, MustBeRegular) {
  ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
  const Fd listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path("socket").size(), sizeof address.sun_path);
  std::strcpy(address.sun_path, path("socket").c_str());
  ASSERT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  for (const std::string& special :
       {directory_.path(), path("fifo"), path("socket"), std::string("/dev/zero"), std::string("/dev/null")}) {
    const PropertyListFileError error = errorFor(special);
    EXPECT_EQ(error.kind, Kind::NotRegular) << special;
    EXPECT_EQ(describe(error), "not a regular file");
  }
}

TEST_F(PropertyListFile, HasALimitOfSize) {
  write(document);
  std::filesystem::resize_file(path(), limits::propertyListFileBytes);
  // It is read, and then the zeros behind the document are found.
  EXPECT_EQ(errorFor(path()).kind, Kind::Malformed);
  std::filesystem::resize_file(path(), limits::propertyListFileBytes + 1);
  EXPECT_EQ(errorFor(path()).kind, Kind::TooLarge);
  EXPECT_EQ(describe(errorFor(path())), "larger than 64 MiB");
  std::filesystem::resize_file(path(), std::size_t{1} << 30);
  EXPECT_EQ(errorFor(path()).kind, Kind::TooLarge);
}

TEST_F(PropertyListFile, OfTheLargestSizeIsAccepted) {
  const std::string padding(limits::propertyListFileBytes - document.size(), ' ');
  write(std::string(document) + padding);
  EXPECT_TRUE(createPropertyListFromFile(AT_FDCWD, path().c_str()));
}

TEST_F(PropertyListFile, MayGrowAndShrinkWhileItIsRead) {
  std::atomic<bool> stop = false;
  std::thread changer([&] {
    for (std::size_t size = 0; !stop; size = (size + 4099) % 300'000) {
      static_cast<void>(truncate(path().c_str(), static_cast<off_t>(size)));
    }
  });
  write(document);
  for (int round = 0; round < 500; ++round) {
    PropertyListFileError error;
    const Ref<PlistValue> value = createPropertyListFromFile(AT_FDCWD, path().c_str(), &error);
    EXPECT_TRUE(value || error.kind == Kind::Malformed);
  }
  stop = true;
  changer.join();
}

TEST_F(PropertyListFile, LeavesTheErrorAloneWhenThereIsNone) {
  write(document);
  PropertyListFileError error{Kind::TooLarge, 5, {1, 2, "before"}};
  EXPECT_TRUE(createPropertyListFromFile(AT_FDCWD, path().c_str(), &error));
  EXPECT_EQ(error.kind, Kind::TooLarge);
  EXPECT_EQ(error.contents.message, "before");
}

}  // namespace
}  // namespace vanto
