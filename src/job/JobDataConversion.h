// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/Object.h>
#include <VantoService/PlistString.h>

#include "value/platform/jobdata.h"

/// Converts any value to job data. The caller owns the result and frees it with tolven_data_free(). Null, with a line
/// on the standard error, for null, a date, an object that is no value, and a number of subtype 14 to 16; where such a
/// value is an element, a hole is left at its index. Bytes become a node of kind 2 that carries them. A string of more
/// than 4,095 bytes, or with NUL in it, becomes empty text. Depth costs no stack.
[[nodiscard]] tolven_data_t Kor2tolven_data(vanto::Object* value);

/// Converts an entry of a dictionary and puts it into the job-data dictionary `target`, which then owns it.
void myKorDictionaryApplyFunction(PlistString* key, vanto::Object* value, void* target);
