// SPDX-License-Identifier: Apache-2.0
#include "learning/DescriptorCalls.h"

#include "programs/learning/Traced.h"

namespace vanto::learning {
namespace {

using testing::observed;
using Paths = std::set<std::string>;

/// Where descriptor 9 leads to after a call.
Paths leadsTo(std::string_view call) {
  return observed({"5 openat(-100</w>, \"a\", 0x200000) = 9</w/a>", call, "5 mkdir(\"/proc/self/fd/9/x\", 0777) = 0"})
      .made;
}

TEST(DescriptorCalls, TellWhatACopyLeadsTo) {
  for (const char* call : {"5 dup(3</d>) = 9</d>", "5 dup2(3</d>, 9</w/a>) = 9</d>",
                           "5 dup3(3</d>, 9, 0x80000) = 9</d>", "5 fcntl(3</d>, 0x406, 9) = 9</d>"}) {
    EXPECT_EQ(leadsTo(call), Paths{"/d/x"}) << call;
  }
}

TEST(DescriptorCalls, TellNothingOfCopiesThatFailed) {
  EXPECT_EQ(leadsTo("5 dup2(3</d>, 9</w/a>) = -1 EBUSY (Device or resource busy)"), Paths{"/w/a/x"});
  EXPECT_EQ(leadsTo("5 fcntl(3</d>, 0x1) = 0x1 (flags 0x1)"), Paths{"/w/a/x"});
}

TEST(DescriptorCalls, TellWhatIsReceived) {
  EXPECT_EQ(leadsTo("5 recvmsg(3<UNIX:[1]>, {msg_name=NULL, msg_namelen=0, msg_iov=[{iov_base=\"\"..., iov_len=1}], "
                    "msg_iovlen=1, msg_control=[{cmsg_len=28, cmsg_level=0x1, cmsg_type=0x2, cmsg_data={pid=1, uid=0, "
                    "gid=0}}, {cmsg_len=24, cmsg_level=0x1, cmsg_type=0x1, cmsg_data=[8</e>, 9</d>]}], "
                    "msg_controllen=56, msg_flags=0x40000000}, 0) = 1"),
            Paths{"/d/x"});
  EXPECT_EQ(leadsTo("5 recvmsg(3<UNIX:[1]>, {msg_name=NULL, msg_namelen=0, msg_iov=[{iov_base=\"\"..., iov_len=1}], "
                    "msg_iovlen=1, msg_controllen=0, msg_flags=0}, 0) = 1"),
            Paths{"/w/a/x"});
  EXPECT_EQ(leadsTo("5 recvmsg(3<UNIX:[1]>, 0x7ffe, 0) = -1 EAGAIN (Resource temporarily unavailable)"),
            Paths{"/w/a/x"});
}

}  // namespace
}  // namespace vanto::learning
