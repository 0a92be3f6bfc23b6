// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

/// The sandbox facility.

/// The profile argument is the path of a profile file.
inline constexpr std::uint64_t SandboxProfileIsFile = 3;

extern "C" {

/// Confines the process for the rest of its life by the profile at `profile`, in which the `parameters` (pairs of name
/// and value, closed by null) can be referred to. 0 on success; else the result is -1 and `errorText` is a text that
/// the caller frees with sandbox_free_error(). Nothing is enforced then, unless the text says so: that can be when the
/// filter of system calls was refused after the rules for files had come into force. Only that the process gains no
/// privileges by execution (no_new_privs) may hold in any case. Only while the process has a single thread.
int sandbox_init_with_parameters(const char* profile, std::uint64_t flags, const char* const parameters[],
                                 char** errorText);

/// Says that this process, whose service names a profile, did not come as far as to be confined by it, and why: what is
/// wrong and what to do, in one line. That is what whoever asks is told of its confinement; nothing else happens, and
/// nothing is logged. Only while the process has a single thread.
void vanto_sandbox_record_failure(const char* reason);

/// Frees an error text; null is ignored.
void sandbox_free_error(char* errorText);
}
