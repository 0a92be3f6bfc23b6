// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstring>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include "host/sandbox/EscapeScene.h"

namespace vanto::testing {
namespace {

int tryOpen(const std::string& path, int flags, int directory = AT_FDCWD) {
  const Fd file(openat(directory, path.c_str(), flags | O_CLOEXEC, 0600));
  return file ? 0 : errno;
}

int tryRead(int descriptor) {
  char byte;
  return outcomeOf(pread(descriptor, &byte, 1, 0));
}

std::string descriptorPath(int descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor);
}

int tryOpenat2(EscapeScene& scene) {
  open_how how{};
  how.flags = O_RDONLY | O_CLOEXEC;
  return outcomeOf(syscall(SYS_openat2, AT_FDCWD, scene.outside("secret").c_str(), &how, sizeof how));
}

int tryOpenFrom(const std::string& directory, const char* path) {
  return chdir(directory.c_str()) == 0 ? tryOpen(path, O_RDONLY) : errno;
}

int tryReopen(EscapeScene& scene) {
  const Fd path(open(scene.outside("secret").c_str(), O_PATH | O_CLOEXEC));
  return path ? tryOpen(descriptorPath(path.get()), O_RDONLY) : errno;
}

int tryReceivedDescriptor(EscapeScene& scene) {
  char byte;
  iovec part{&byte, 1};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  if (recvmsg(scene.messages, &message, MSG_CMSG_CLOEXEC) != 1 || CMSG_FIRSTHDR(&message) == nullptr) return errno;
  int received;
  std::memcpy(&received, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof received);
  return tryRead(received);
}

int tryMakeSocket(EscapeScene& scene) {
  const Fd made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = scene.outside("new-socket");
  std::memcpy(address.sun_path, path.data(), path.size());
  return outcomeOf(bind(made.get(), reinterpret_cast<sockaddr*>(&address), sizeof address));
}

int tryDeviceControl(EscapeScene&) {
  constexpr unsigned long entropyCount = 0x80045200;
  const Fd device(open("/dev/urandom", O_RDONLY | O_CLOEXEC));
  int count;
  return device ? outcomeOf(ioctl(device.get(), entropyCount, &count)) : errno;
}

int tryMapExecutable(EscapeScene& scene) {
  const Fd file(open(scene.readable("program").c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return errno;
  return mmap(nullptr, 4096, PROT_READ | PROT_EXEC, MAP_PRIVATE, file.get(), 0) == MAP_FAILED ? errno : 0;
}

int tryMakeDevice(EscapeScene& scene, mode_t type) {
  return outcomeOf(mknod(scene.own("new").c_str(), type | 0600, makedev(1, 3)));
}

int tryWatch(EscapeScene& scene) {
  const Fd events(inotify_init1(IN_CLOEXEC));
  return outcomeOf(inotify_add_watch(events.get(), scene.outside("secret").c_str(), IN_ACCESS));
}

int tryChangeTimes(EscapeScene& scene) {
  return outcomeOf(utimensat(AT_FDCWD, scene.outside("secret").c_str(), nullptr, 0));
}

int tryFindOut(EscapeScene& scene) {
  struct stat facts;
  return outcomeOf(stat(scene.outside("secret").c_str(), &facts));
}

int renameTo(const std::string& from, const std::string& to, unsigned flags = 0) {
  return outcomeOf(renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), flags));
}

constexpr auto readingTable = std::to_array<NamedProbe>({
    {"read",
     [](EscapeScene& s) {
       return tryOpen(s.outside("secret"), O_RDONLY);
     }},
    {"read-openat2", &tryOpenat2},
    {"read-relative",
     [](EscapeScene& s) {
       return tryOpenFrom(s.outside(""), "secret");
     }},
    {"read-dots",
     [](EscapeScene& s) {
       return tryOpen(s.own("../outside/secret"), O_RDONLY);
     }},
    {"read-symbolic-link",
     [](EscapeScene& s) {
       return tryOpen(s.own("link"), O_RDONLY);
     }},
    {"read-proc-root",
     [](EscapeScene& s) {
       return tryOpen("/proc/self/root" + s.outside("secret"), O_RDONLY);
     }},
    {"read-proc-cwd",
     [](EscapeScene& s) {
       return tryOpenFrom(s.outside(""), "/proc/self/cwd/secret");
     }},
    {"read-reopened", &tryReopen},
    {"read-reopened-old-descriptor",
     [](EscapeScene& s) {
       return tryOpen(descriptorPath(s.readDescriptor), O_RDONLY);
     }},
    {"read-beneath-old-directory",
     [](EscapeScene& s) {
       return tryOpen("secret", O_RDONLY, s.outsideDirectory);
     }},
    {"read-beneath-old-path",
     [](EscapeScene& s) {
       return tryOpen("secret", O_RDONLY, s.outsidePath);
     }},
    {"read-fchdir",
     [](EscapeScene& s) {
       return fchdir(s.outsideDirectory) == 0 ? tryOpen("secret", O_RDONLY) : errno;
     }},
    {"read-fifo",
     [](EscapeScene& s) {
       return tryOpen(s.outside("fifo"), O_RDWR | O_NONBLOCK);
     }},
    {"read-old-descriptor",
     [](EscapeScene& s) {
       return tryRead(s.readDescriptor);
     }},
    {"read-received-descriptor", &tryReceivedDescriptor},
    {"read-old-hard-link",
     [](EscapeScene& s) {
       return tryOpen(s.own("hard-link"), O_RDONLY);
     }},
    {"list",
     [](EscapeScene& s) {
       return tryOpen(s.outside("directory"), O_RDONLY | O_DIRECTORY);
     }},
    {"list-root",
     [](EscapeScene&) {
       return tryOpen("/", O_RDONLY | O_DIRECTORY);
     }},
    {"find-out", &tryFindOut},
    {"change-directory",
     [](EscapeScene& s) {
       return outcomeOf(chdir(s.outside("").c_str()));
     }},
    {"read-link",
     [](EscapeScene&) {
       char text[64];
       return outcomeOf(readlink("/proc/self/exe", text, sizeof text));
     }},
    {"watch", &tryWatch},
    {"map-to-run", &tryMapExecutable},
});

constexpr auto changingTable = std::to_array<NamedProbe>({
    {"write",
     [](EscapeScene& s) {
       return tryOpen(s.outside("victim"), O_WRONLY);
     }},
    {"write-append",
     [](EscapeScene& s) {
       return tryOpen(s.outside("victim"), O_WRONLY | O_APPEND);
     }},
    {"write-readable",
     [](EscapeScene& s) {
       return tryOpen(s.readable("file"), O_RDWR);
     }},
    {"write-reopened",
     [](EscapeScene& s) {
       return tryOpen(descriptorPath(s.readDescriptor), O_WRONLY);
     }},
    {"write-old-descriptor",
     [](EscapeScene& s) {
       return outcomeOf(pwrite(s.writeDescriptor, "x", 1, 0));
     }},
    {"create",
     [](EscapeScene& s) {
       return tryOpen(s.outside("new"), O_WRONLY | O_CREAT | O_EXCL);
     }},
    {"create-mknod",
     [](EscapeScene& s) {
       return outcomeOf(mknod(s.outside("new").c_str(), S_IFREG | 0600, 0));
     }},
    {"create-nameless",
     [](EscapeScene& s) {
       return tryOpen(s.outside("directory"), O_WRONLY | O_TMPFILE);
     }},
    {"create-directory",
     [](EscapeScene& s) {
       return outcomeOf(mkdir(s.outside("new-directory").c_str(), 0700));
     }},
    {"create-symbolic-link",
     [](EscapeScene& s) {
       return outcomeOf(symlink("/", s.outside("new-link").c_str()));
     }},
    {"create-fifo",
     [](EscapeScene& s) {
       return outcomeOf(mkfifo(s.outside("new-fifo").c_str(), 0600));
     }},
    {"create-socket", &tryMakeSocket},
    {"create-character-device",
     [](EscapeScene& s) {
       return tryMakeDevice(s, S_IFCHR);
     }},
    {"create-block-device",
     [](EscapeScene& s) {
       return tryMakeDevice(s, S_IFBLK);
     }},
    {"link-in",
     [](EscapeScene& s) {
       return outcomeOf(link(s.outside("secret").c_str(), s.own("new").c_str()));
     }},
    {"link-out",
     [](EscapeScene& s) {
       return outcomeOf(link(s.own("mine").c_str(), s.outside("new").c_str()));
     }},
    {"rename-in",
     [](EscapeScene& s) {
       return renameTo(s.outside("to-remove"), s.own("renamed"));
     }},
    {"rename-out",
     [](EscapeScene& s) {
       return renameTo(s.own("mine"), s.outside("renamed"));
     }},
    {"rename-exchange",
     [](EscapeScene& s) {
       return renameTo(s.own("mine"), s.outside("victim"), RENAME_EXCHANGE);
     }},
    {"rename-outside",
     [](EscapeScene& s) {
       return renameTo(s.outside("to-remove"), s.outside("renamed"));
     }},
    {"remove",
     [](EscapeScene& s) {
       return outcomeOf(unlink(s.outside("to-remove").c_str()));
     }},
    {"remove-directory",
     [](EscapeScene& s) {
       return outcomeOf(rmdir(s.outside("to-remove-directory").c_str()));
     }},
    {"truncate",
     [](EscapeScene& s) {
       return outcomeOf(truncate(s.outside("to-truncate").c_str(), 0));
     }},
    {"truncate-by-opening",
     [](EscapeScene& s) {
       return tryOpen(s.readable("to-truncate"), O_RDONLY | O_TRUNC);
     }},
    {"truncate-old-descriptor",
     [](EscapeScene& s) {
       return outcomeOf(ftruncate(s.writeDescriptor, 0));
     }},
    {"device-control", &tryDeviceControl},
    {"change-mode",
     [](EscapeScene& s) {
       return outcomeOf(chmod(s.outside("secret").c_str(), 0644));
     }},
    {"change-owner",
     [](EscapeScene& s) {
       return outcomeOf(chown(s.outside("secret").c_str(), geteuid(), getegid()));
     }},
    {"change-times", &tryChangeTimes},
});

}  // namespace

EscapeProbes fileProbes() {
  EscapeProbes probes(readingTable.begin(), readingTable.end());
  probes.insert(changingTable.begin(), changingTable.end());
  return probes;
}

}  // namespace vanto::testing
