// SPDX-License-Identifier: Apache-2.0
#include "process/Contents.h"

#include <cerrno>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "value/Fd.h"

namespace {

vanto::Fd fileWith(const std::string& text) {
  vanto::Fd file(memfd_create("contents", MFD_CLOEXEC));
  EXPECT_EQ(write(file.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  EXPECT_EQ(lseek(file.get(), 0, SEEK_SET), 0);
  return file;
}

TEST(Contents, AreReadToTheirEnd) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{65'535}, std::size_t{65'536},
                                 std::size_t{65'537}, std::size_t{300'000}}) {
    const std::string text(size, 'x');
    vanto::GrowingBytes contents;
    EXPECT_EQ(vanto::readContents(fileWith(text).get(), 300'000, contents), 0) << size;
    EXPECT_EQ(contents.text(), text);
  }
}

TEST(Contents, AreReadUpToALimit) {
  for (const std::size_t limit : {std::size_t{0}, std::size_t{1}, std::size_t{65'536}, std::size_t{100'000}}) {
    vanto::GrowingBytes fitting;
    EXPECT_EQ(vanto::readContents(fileWith(std::string(limit, 'x')).get(), limit, fitting), 0) << limit;
    EXPECT_EQ(fitting.size(), limit);
    vanto::GrowingBytes tooLarge;
    EXPECT_EQ(vanto::readContents(fileWith(std::string(limit + 1, 'x')).get(), limit, tooLarge), EFBIG) << limit;
  }
}

TEST(Contents, AreReadInPieces) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const vanto::Fd reader(ends[0]);
  vanto::Fd writer(ends[1]);
  EXPECT_EQ(write(writer.get(), "one ", 4), 4);
  EXPECT_EQ(write(writer.get(), "two", 3), 3);
  writer.reset();
  vanto::GrowingBytes contents;
  EXPECT_EQ(vanto::readContents(reader.get(), 100, contents), 0);
  EXPECT_EQ(contents.text(), "one two");
}

TEST(Contents, CannotBeReadFromADirectoryOrWithoutADescriptor) {
  vanto::GrowingBytes contents;
  const vanto::Fd directory(open("/", O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(vanto::readContents(directory.get(), 100, contents), EISDIR);
  EXPECT_EQ(vanto::readContents(-1, 100, contents), EBADF);
}

}  // namespace
