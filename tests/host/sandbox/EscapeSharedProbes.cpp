// SPDX-License-Identifier: Apache-2.0
#include <array>

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "host/sandbox/EscapeScene.h"

// None of these is made, and none of another process is touched: what is looked at is whether a call gets as far as to
// find that there is no such thing.
namespace vanto::testing {
namespace {

constexpr int absentKey = 0x76616e74;
constexpr int absentId = -1;

template <typename... Arguments>
int call(long number, Arguments... arguments) {
  return outcomeOf(syscall(number, arguments...));
}

constexpr auto table = std::to_array<NamedProbe>({
    {"share-memory",
     [](EscapeScene&) {
       return call(SYS_shmget, absentKey, 4096, 0);
     }},
    {"attach-memory",
     [](EscapeScene&) {
       return call(SYS_shmat, absentId, nullptr, 0);
     }},
    {"remove-memory",
     [](EscapeScene&) {
       return call(SYS_shmctl, absentId, IPC_RMID, nullptr);
     }},
    {"make-semaphores",
     [](EscapeScene&) {
       return call(SYS_semget, absentKey, 1, 0);
     }},
    {"operate-semaphores",
     [](EscapeScene&) {
       return call(SYS_semop, absentId, nullptr, 0);
     }},
    {"operate-semaphores-timed",
     [](EscapeScene&) {
       return call(SYS_semtimedop, absentId, nullptr, 0, nullptr);
     }},
    {"control-semaphores",
     [](EscapeScene&) {
       return call(SYS_semctl, absentId, 0, IPC_RMID, 0);
     }},
    {"make-queue",
     [](EscapeScene&) {
       return call(SYS_msgget, absentKey, 0);
     }},
    {"send-to-queue",
     [](EscapeScene&) {
       return call(SYS_msgsnd, absentId, nullptr, 0, 0);
     }},
    {"receive-from-queue",
     [](EscapeScene&) {
       return call(SYS_msgrcv, absentId, nullptr, 0, 0, 0);
     }},
    {"control-queue",
     [](EscapeScene&) {
       return call(SYS_msgctl, absentId, IPC_RMID, nullptr);
     }},
    {"open-posix-queue",
     [](EscapeScene&) {
       return call(SYS_mq_open, "vanto-no-such-queue", O_RDWR, 0, nullptr);
     }},
    {"remove-posix-queue",
     [](EscapeScene&) {
       return call(SYS_mq_unlink, "vanto-no-such-queue");
     }},
});

}  // namespace

EscapeProbes sharedProbes() {
  return {table.begin(), table.end()};
}

}  // namespace vanto::testing
