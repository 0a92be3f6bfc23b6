// SPDX-License-Identifier: Apache-2.0
#include "host/sandbox/EscapeScene.h"

#include <cstring>
#include <filesystem>
#include <fstream>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include "sandbox/KernelProbe.h"

namespace vanto::testing {
namespace {

constexpr const char* contents = "0123456789";

void write(const std::string& path) {
  std::ofstream(path) << contents;
}

void copyProgram(const std::string& path, const char* program = "/bin/true") {
  std::filesystem::copy_file(std::filesystem::canonical(program), path);
}

Fd listenAt(const std::string& name, bool isAbstract, int type) {
  Fd listener(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path + (isAbstract ? 1 : 0), name.data(), name.size());
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size() + 1);
  EXPECT_EQ(bind(listener.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
  EXPECT_EQ(type == SOCK_DGRAM ? 0 : listen(listener.get(), 64), 0);
  return listener;
}

Fd listenAtPort(std::uint16_t& port) {
  Fd listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  EXPECT_EQ(bind(listener.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
  EXPECT_EQ(listen(listener.get(), 64), 0);
  EXPECT_EQ(getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
  port = ntohs(address.sin_port);
  return listener;
}

int openTerminal() {
  const int control = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  EXPECT_EQ(grantpt(control), 0);
  EXPECT_EQ(unlockpt(control), 0);
  return open(ptsname(control), O_RDWR | O_NOCTTY | O_CLOEXEC);
}

/// The end at which `descriptor` waits.
int sendDescriptor(int descriptor) {
  int ends[2];
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
  char byte = 0;
  iovec part{&byte, 1};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof descriptor)] = {};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  cmsghdr* header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof descriptor);
  std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
  EXPECT_EQ(sendmsg(ends[0], &message, 0), 1);
  return ends[1];
}

}  // namespace

EscapeScene::EscapeScene() {
  for (const char* name : {"outside", "own", "readable", "outside/directory"}) {
    EXPECT_EQ(mkdir((directory_ / name).c_str(), 0700), 0);
  }
  write(outside("secret"));
  write(readable("file"));
  EXPECT_EQ(link(outside("secret").c_str(), own("hard-link").c_str()), 0);
  EXPECT_EQ(symlink(outside("secret").c_str(), own("link").c_str()), 0);
  EXPECT_EQ(mkfifo(outside("fifo").c_str(), 0600), 0);
  copyProgram(outside("program"));
  copyProgram(readable("program"));
  copyProgram(setUserIdProgram(), "/usr/bin/test");
  EXPECT_EQ(chmod(setUserIdProgram().c_str(), 04755), 0);
  std::ofstream(outside("script")) << "#!/usr/bin/true\n";
  EXPECT_EQ(chmod(outside("script").c_str(), 0700), 0);
  listeners_.push_back(listenAt(outside("stream"), false, SOCK_STREAM));
  listeners_.push_back(listenAt(outside("datagram"), false, SOCK_DGRAM));
  listeners_.push_back(listenAt(abstractName(), true, SOCK_STREAM));
  listeners_.push_back(listenAt(abstractName() + "-d", true, SOCK_DGRAM));
  listeners_.push_back(listenAtPort(allowedPort_));
  listeners_.push_back(listenAtPort(otherPort_));
}

std::string EscapeScene::profile(const std::string& name) const {
  std::string text = "version 1\ninclude base\nallow read,write,create,remove,rename " + (directory_ / "own") +
                     "\nallow read " + (directory_ / "readable") + "\n";
  if (name == "closed") return text + "network none\n";
  text += "allow processes\nallow read,execute /usr/bin/true " + setUserIdProgram() +
          "\nallow execute /lib /lib64 /usr/lib\n";
  return text + "allow connect tcp " + std::to_string(allowedPort_) + "\nallow bind tcp 0\n";
}

void EscapeScene::prepare() {
  for (const char* name : {"victim", "to-truncate", "to-remove"}) write(outside(name));
  write(readable("to-truncate"));
  write(own("mine"));
  mkdir(outside("to-remove-directory").c_str(), 0700);
  for (const char* name : {"new", "new-directory", "new-link", "new-fifo", "new-socket", "renamed"}) {
    std::filesystem::remove_all(outside(name));
    std::filesystem::remove_all(own(name));
  }
  readDescriptor = open(outside("secret").c_str(), O_RDONLY | O_CLOEXEC);
  writeDescriptor = open(outside("victim").c_str(), O_RDWR | O_CLOEXEC);
  outsideDirectory = open(outside("").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  outsidePath = open(outside("").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  terminal = openTerminal();
  tcpSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  udpSocket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  messages = sendDescriptor(readDescriptor);
}

bool isDenial(int error) noexcept {
  // The last is how links and renames across directories are refused.
  return error == EPERM || error == EACCES || error == EXDEV;
}

int generationOfThisKernel() {
  const std::optional<KernelRights> kernel = probeKernelRights();
  EXPECT_TRUE(kernel.has_value());
  if (!kernel) return 0;
  int generation = 0;
  for (int next = 1; next <= landlockGenerations; ++next) {
    if (commonRightsOf(*kernel, kernelRightsOf(next)) == kernelRightsOf(next)) generation = next;
  }
  return generation;
}

}  // namespace vanto::testing
