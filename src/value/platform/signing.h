// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistString.h>

/// The code-signing facility: looks at the code of running processes. Each function answers a status, 0 for success.
/// What they hand out need not be released: the host takes it back when the peer evaluation that asked for it has
/// ended, and outside one hands nothing out.

using VexStatus = std::int32_t;
/// The facility cannot be used.
inline constexpr VexStatus VexStatusUnavailable = -1;
/// The text is no requirement.
inline constexpr VexStatus VexStatusMalformed = -8;
/// The code is not what the requirement asks for.
inline constexpr VexStatus VexStatusUnsatisfied = -9;

/// The code of a running process.
struct VexCode;
/// A compiled requirement text.
struct VexRequirement;
/// What went wrong, in words.
struct VexErrors;

/// Key of the attributes for VexCodeCopyGuestWithAttributes(): the process id, a number.
extern "C" PlistString* const kVexGuestAttributePid;

extern "C" {

/// The code of the process that `attributes` name, in `code`. `host` is null and `flags` 0.
VexStatus VexCodeCopyGuestWithAttributes(VexCode* host, PlistDictionary* attributes, std::uint32_t flags,
                                         VexCode** code);

/// Compiles a requirement text. On failure `errors` may hold the reason; each output is untouched where it has nothing.
VexStatus VexRequirementCreateWithStringAndErrors(PlistString* text, std::uint32_t flags, VexErrors** errors,
                                                  VexRequirement** requirement);

/// Whether `code` is valid and satisfies `requirement`.
VexStatus VexCodeCheckValidityWithErrors(VexCode* code, std::uint32_t flags, VexRequirement* requirement,
                                         VexErrors** errors);

/// A description for people; never null, also for null. A temporary.
PlistString* VexErrorsLocalizedDescription(VexErrors* errors);
}
