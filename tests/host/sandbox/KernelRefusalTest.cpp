// SPDX-License-Identifier: Apache-2.0
#include "sandbox/KernelRefusal.h"

#include <cerrno>

#include <gtest/gtest.h>

namespace {

using vanto::kernelRefusal;

TEST(KernelRefusal, SaysWhatToDo) {
  EXPECT_EQ(kernelRefusal("cannot do it", EMFILE),
            "cannot do it: Too many open files; raise the limit of open files, or open fewer before");
  EXPECT_EQ(kernelRefusal("cannot do it", ENOMEM),
            "cannot do it: Cannot allocate memory; start the service again when the machine has room");
  EXPECT_EQ(kernelRefusal("cannot do it", EPERM),
            "cannot do it: Operation not permitted; something around the service filters system calls, such as a "
            "container; allow this one there");
  EXPECT_EQ(kernelRefusal("cannot do it", ENOENT),
            "cannot do it: No such file or directory; start the service where /proc is mounted");
  EXPECT_EQ(kernelRefusal("cannot do it", EINVAL),
            "cannot do it: Invalid argument; report this with the version of the kernel");
}

TEST(KernelRefusal, KnowsHowOftenAProcessCanBeConfined) {
  EXPECT_EQ(kernelRefusal("the ruleset is refused", E2BIG),
            "the ruleset is refused: Argument list too long; processes and their parents are confined 16 times at "
            "most; start the service from one that is confined less often");
}

}  // namespace
