// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/Object.h>
#include <VantoService/PlistString.h>

#include "value/platform/ipc.h"

/// Converts any value to an IPC object, of which the caller owns a reference. Null, with a line in the log, for null, a
/// date, an object that is no value, and a number of subtype 14 to 16; a container leaves such elements and entries
/// out, and the holes of its source too. A string of more than 4,095 bytes, or with NUL in it, becomes empty text.
/// Depth costs no stack.
[[nodiscard]] vanto_object_t Kor2Vanto_data(vanto::Object* value);

/// Converts an entry of a dictionary and puts it into the IPC dictionary `target`.
void KorDictionaryToVanto(PlistString* key, vanto::Object* value, void* target);
