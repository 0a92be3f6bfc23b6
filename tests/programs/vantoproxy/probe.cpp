// SPDX-License-Identifier: Apache-2.0

// Tells on standard output, line by line, in which state it was executed.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include <dirent.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/ResourceLimits.h"

namespace {

void tellDescriptors() {
  DIR* directory = opendir("/proc/self/fd");
  while (const dirent* entry = readdir(directory)) {
    const int descriptor = std::atoi(entry->d_name);
    if (entry->d_name[0] == '.' || descriptor == dirfd(directory)) continue;
    char target[4096] = {};
    static_cast<void>(!readlinkat(dirfd(directory), entry->d_name, target, sizeof target - 1));
    std::printf("descriptor %d %s\n", descriptor, target);
  }
  closedir(directory);
}

void tellSignals() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    for (const char* name : {"SigBlk:", "ShdPnd:", "SigIgn:"}) {
      if (line.starts_with(name)) std::printf("%s %s\n", name, line.c_str() + std::strlen(name) + 1);
    }
  }
}

void tellLimits() {
  for (const std::string& line : vanto::test::limitLines()) std::printf("limit %s\n", line.c_str());
}

}  // namespace

int main(int count, char** arguments) {
  for (int i = 0; i < count; i++) std::printf("argument %s\n", arguments[i]);
  for (char** variable = environ; *variable != nullptr; variable++) std::printf("variable %s\n", *variable);
  tellDescriptors();
  tellSignals();
  tellLimits();
  const mode_t mask = umask(0);
  char directory[4096];
  std::printf("directory %s\n", getcwd(directory, sizeof directory));
  std::printf("mask %03o\n", mask);
  std::printf("process %d group %d session %d\n", getpid(), getpgrp(), getsid(0));
  std::printf("children %s\n", waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD ? "none" : "some");
  return 0;
}
