// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <sys/types.h>

#include <VantoServiceTest/FakeHost.h>

#include "value/platform/signing.h"

// What the code-signing facility of the fake host hands out.

struct VexCode {
  pid_t pid;
};

struct VexRequirement {
  vanto::test::FakeRequirement answer;
  std::string text;
};

struct VexErrors {
  std::string reason;
};
