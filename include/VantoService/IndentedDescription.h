// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <VantoService/PlistArray.h>
#include <VantoService/PlistDictionary.h>

// Descriptions of containers for people to read, in several lines: one for each entry, in ascending order of keys, or
// element. What lies inside is indented by four blanks more for each level; the outermost level is 0. An empty
// container is "<None>" and a line end. A container inside itself is shown by its class and address. The text goes into
// what the caller has on its line so far. Not while another thread changes the container. A temporary.

[[nodiscard]] VANTO_EXPORT PlistString* descriptionWithIndent(const PlistDictionary& dictionary, std::size_t level);
[[nodiscard]] VANTO_EXPORT PlistString* descriptionWithIndent(const PlistArray& array, std::size_t level);
