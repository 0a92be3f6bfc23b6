// SPDX-License-Identifier: Apache-2.0
#include "learning/SocketCalls.h"

#include "programs/learning/Traced.h"

namespace vanto::learning {
namespace {

using testing::observed;
using Ports = std::set<std::uint16_t>;
using Paths = std::set<std::string>;

/// Port 8080, in the tracer's words and not through traced().
RunFacts observedRaw(std::initializer_list<std::string_view> lines) {
  RunObserver observer("/w");
  for (const std::string_view line : lines) EXPECT_EQ(observer.take(line), RunObserver::Outcome::Taken) << line;
  return observer.finish();
}

constexpr const char* connectTcp =
    R"(5 connect(3<TCP:[1]>, {sa_family=0x2, sin_port="\x1f\x90", sin_addr="\x7f\x00\x00\x01"}, 16) = )";

TEST(SocketCalls, AllowTheWholeNetworkForAllButUnixAndTcp) {
  EXPECT_TRUE(observed({"5 socket(0x1, 0x2|0x80000, 0) = 3<UNIX:[1]>"}).others.isEmpty());
  EXPECT_TRUE(observed({"5 socketpair(0x1, 0x1, 0, [3, 4]) = 0"}).others.isEmpty());
  const RunFacts tcp = observed({"5 socket(0xa, 0x1|0x80000, 0x6) = 3<TCPv6:[1]>"});
  EXPECT_TRUE(tcp.hasTcp && tcp.others.isEmpty());
  for (const char* call : {"5 socket(0x2, 0x2, 0) = 3<UDP:[1]>", "5 socket(0x10, 0x3, 0) = 3<NETLINK:[1]>",
                           "5 socket(0x2, 0x1, 0x106) = 3<MPTCP:[1]>", "5 socketpair(0x2, 0x1, 0, [3, 4]) = 0"}) {
    EXPECT_EQ(observed({call}).others, Right::Network) << call;
  }
}

TEST(SocketCalls, NotePortsOfTcpOnly) {
  EXPECT_EQ(observedRaw({std::string(connectTcp) + "0"}).connectedPorts, Ports{8080});
  EXPECT_EQ(observedRaw({R"(5 bind(3<TCPv6:[1]>, {sa_family=0xa, sin6_port="\x00\x50", sin6_scope_id=0}, 28) = 0)"})
                .boundPorts,
            Ports{80});
  const RunFacts udp = observedRaw({R"(5 connect(3<UDP:[1]>, {sa_family=0x2, sin_port="\x00\x35"}, 16) = 0)",
                                    R"(5 bind(3<UDP:[1]>, {sa_family=0x2, sin_port="\x00\x35"}, 16) = 0)"});
  EXPECT_TRUE(udp.connectedPorts.empty() && udp.boundPorts.empty());
}

TEST(SocketCalls, CountAConnectionThatTheNetworkRefused) {
  const std::string begin = connectTcp;
  EXPECT_EQ(observedRaw({begin + "-1 EINPROGRESS (Operation now in progress)"}).connectedPorts, Ports{8080});
  EXPECT_EQ(observedRaw({begin + "-1 ECONNREFUSED (Connection refused)"}).connectedPorts, Ports{8080});
  EXPECT_TRUE(observedRaw({begin + "-1 EISCONN (Transport endpoint is already connected)"}).connectedPorts.empty());
  EXPECT_TRUE(observedRaw({begin + "-1 EACCES (Permission denied)"}).connectedPorts.empty());
}

TEST(SocketCalls, AllowAbstractSocketsOnlyForThoseOfOthers) {
  constexpr const char* made = "5 bind(3<UNIX:[1]>, {sa_family=0x1, sun_path=@\"a\"}, 4) = 0";
  constexpr const char* used = "5 connect(4<UNIX:[2]>, {sa_family=0x1, sun_path=@\"a\"}, 4) = 0";
  EXPECT_TRUE(observed({made, used}).others.isEmpty());
  EXPECT_EQ(observed({used}).others, Right::Abstract);
}

TEST(SocketCalls, NoteUnixSocketsByTheirPaths) {
  const RunFacts facts =
      observed({"5 bind(3<UNIX:[1]>, {sa_family=0x1, sun_path=\"a\"}, 4) = 0",
                "5 connect(4<UNIX:[2]>, {sa_family=0x1, sun_path=\"/b\"}, 4) = 0",
                "5 sendto(4<UNIX:[2]>, \"\"..., 3, 0, {sa_family=0x1, sun_path=\"/c\"}, 4) = 3",
                "5 sendmsg(4<UNIX:[2]>, {msg_name={sa_family=0x1, sun_path=\"/d\"}, msg_iov=[...]}, 0) = 3",
                "5 sendmmsg(4<UNIX:[2]>, [{msg_hdr={msg_name={sa_family=0x1, sun_path=\"/e\"}}, msg_len=1}], 1, 0) = 1",
                "5 sendto(4<UNIX:[2]>, \"\"..., 3, 0, NULL, 0) = 3"});
  EXPECT_EQ(facts.made, Paths{"/w/a"});
  EXPECT_EQ(facts.used.size(), 4U);
  for (const char* path : {"/b", "/c", "/d", "/e"}) EXPECT_EQ(facts.used.at(path), Right::Socket) << path;
}

TEST(SocketCalls, NoteUnixSocketsByWhatADescriptorLeadsTo) {
  const RunFacts facts = observed({"5 openat(-100</w>, \"d\", 0x10000) = 7</w/d>",
                                   "5 bind(3<UNIX:[1]>, {sa_family=0x1, sun_path=\"/proc/self/fd/7/a\"}, 110) = 0",
                                   "5 openat(7</w/d>, \"b\", 0x200000) = 8</w/d/b>",
                                   "5 connect(4<UNIX:[2]>, {sa_family=0x1, sun_path=\"/proc/self/fd/8\"}, 110) = 0"});
  EXPECT_EQ(facts.made, Paths{"/w/d/a"});
  EXPECT_EQ(facts.sockets, Paths{"/w/d/a"});
  EXPECT_EQ(facts.used.at("/w/d/b"), Right::Socket);
  EXPECT_TRUE(facts.remarks.empty());
}

TEST(SocketCalls, SayWhenItIsNotKnownWhatADescriptorLeadsTo) {
  const RunFacts facts = observed({"5 bind(3<UNIX:[1]>, {sa_family=0x1, sun_path=\"/proc/self/fd/7/a\"}, 110) = 0"});
  EXPECT_TRUE(facts.made.empty());
  EXPECT_EQ(facts.remarks, Paths{"what bind was called with could not be read, so nothing is allowed for it"});
}

TEST(SocketCalls, SayThatNoPortAllowsToConnectBySending) {
  const RunFacts facts = observed({"5 sendto(4<TCP:[2]>, \"\"..., 3, 0x20000000, {sa_family=0x2}, 16) = 3"});
  EXPECT_EQ(facts.others, Right::Network);
  EXPECT_EQ(facts.remarks.size(), 1U);
}

}  // namespace
}  // namespace vanto::learning
