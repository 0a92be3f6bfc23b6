// SPDX-License-Identifier: Apache-2.0
#include "ipc/FdObject.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>

#include "host/ipc/BalancedTest.h"

using vanto::Fd;
using vanto::FdObject;
using vanto::Ref;

using FdObjectTest = vanto::test::BalancedTest;

TEST_F(FdObjectTest, ClosesItsDescriptorAtItsEnd) {
  Fd null(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const int number = null.get();
  Ref<FdObject> object = FdObject::create(std::move(null));
  EXPECT_EQ(object->descriptor(), number);
  EXPECT_NE(fcntl(number, F_GETFD), -1);
  object = nullptr;
  EXPECT_EQ(fcntl(number, F_GETFD), -1);
}

TEST_F(FdObjectTest, IsNotMadeOfNoDescriptor) {
  EXPECT_FALSE(FdObject::create(Fd()));
}

TEST_F(FdObjectTest, DuplicatesAreTheSameFileAndCloseOnExec) {
  const Fd null(open("/dev/null", O_RDONLY));
  const Fd duplicate = FdObject::duplicate(null.get());
  ASSERT_TRUE(duplicate);
  EXPECT_EQ(fcntl(duplicate.get(), F_GETFD), FD_CLOEXEC);
  struct stat one {};
  struct stat other {};
  ASSERT_EQ(fstat(null.get(), &one), 0);
  ASSERT_EQ(fstat(duplicate.get(), &other), 0);
  EXPECT_EQ(one.st_rdev, other.st_rdev);
}

TEST_F(FdObjectTest, DuplicatesAreNeverStandardStreams) {
  const Fd keeper = FdObject::duplicate(STDIN_FILENO);
  ASSERT_EQ(close(STDIN_FILENO), 0);
  const Fd duplicate = FdObject::duplicate(STDERR_FILENO);
  ASSERT_EQ(dup2(keeper.get(), STDIN_FILENO), STDIN_FILENO);
  EXPECT_GE(duplicate.get(), 3);
}

TEST_F(FdObjectTest, SaysWhyThereIsNoDuplicate) {
  errno = 0;
  EXPECT_FALSE(FdObject::duplicate(-1));
  EXPECT_EQ(errno, EBADF);
}
