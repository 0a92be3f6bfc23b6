// SPDX-License-Identifier: Apache-2.0
#include "runtime/CrashAnnotations.h"

// Those who read it find it by its section, so neither compiler nor linker may drop it.
extern "C" {
__attribute__((used, retain, section("vanto_crash_info"))) constinit vanto::CrashAnnotations gCRAnnotations{
    4, nullptr, {}};
}
