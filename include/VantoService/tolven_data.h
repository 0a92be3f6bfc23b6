/* SPDX-License-Identifier: Apache-2.0 */
#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include <VantoService/Export.h>

/*
 * Job data: the tree form in which the service manager takes jobs. This header is C as well as C++.
 *
 * Ownership: a node has one owner, the program or the one container it was put into, and a tree is freed as a whole
 * through its root. Putting a node into a second container, into itself, or freeing one that a container owns is a
 * broken invariant; putting a root into its own tree is a mistake that goes unseen. Whatever a reader gives is borrowed
 * and lives until the node that holds it is changed or freed.
 *
 * Threads: different trees may be used by different threads at once; a tree that nobody changes may be read by many.
 *
 * Null and nodes of another kind: a reader answers 0, false or null, a setter does nothing.
 */

#ifdef __cplusplus
extern "C" {
#endif

/** A node of job data. */
typedef struct tolven_data* tolven_data_t;

/** What a node is. */
typedef enum tolven_data_kind {
  /** The kind of null. */
  TOLVEN_DATA_NONE = 0,
  TOLVEN_DATA_DICTIONARY = 1,
  /** An array; or bytes, once tolven_data_set_opaque() has set them. */
  TOLVEN_DATA_ARRAY = 2,
  /** Not made by this implementation. */
  TOLVEN_DATA_FILE_DESCRIPTOR = 3,
  TOLVEN_DATA_INTEGER = 4,
  TOLVEN_DATA_REAL = 5,
  TOLVEN_DATA_BOOL = 6,
  TOLVEN_DATA_STRING = 7,
  TOLVEN_DATA_OPAQUE = 8,
  /** Not made by this implementation. */
  TOLVEN_DATA_ERROR_NUMBER = 9,
  /** Not made by this implementation. */
  TOLVEN_DATA_PORT = 10
} tolven_data_kind_t;

/**
 * A new node, owned by the caller: 0, 0.0, false, empty text, an empty container, or no bytes. Null for a number that
 * is no kind, and for the kinds that are not made.
 */
VANTO_EXPORT tolven_data_t tolven_data_alloc(tolven_data_kind_t kind);
/** Frees a tree, however deep, through its root. */
VANTO_EXPORT void tolven_data_free(tolven_data_t data);

VANTO_EXPORT tolven_data_kind_t tolven_data_get_kind(tolven_data_t data);

/** Sets a copy of NUL-terminated UTF-8; null and other bytes change nothing. */
VANTO_EXPORT void tolven_data_set_string(tolven_data_t data, const char* text);
/** The text of a string with a NUL behind it; null for every other node. */
VANTO_EXPORT const char* tolven_data_get_string(tolven_data_t data);

VANTO_EXPORT void tolven_data_set_bool(tolven_data_t data, bool value);
VANTO_EXPORT bool tolven_data_get_bool(tolven_data_t data);

VANTO_EXPORT void tolven_data_set_integer(tolven_data_t data, int64_t value);
VANTO_EXPORT int64_t tolven_data_get_integer(tolven_data_t data);

VANTO_EXPORT void tolven_data_set_real(tolven_data_t data, double value);
VANTO_EXPORT double tolven_data_get_real(tolven_data_t data);

/**
 * Sets a copy of the bytes on a node of kind 8, or on an array. An array frees its elements, keeps its kind and has no
 * elements from then on. Null with a length other than 0 changes nothing.
 */
VANTO_EXPORT void tolven_data_set_opaque(tolven_data_t data, const void* bytes, size_t length);
/** The bytes, not null even when they are none; null for a node on which no bytes were set. */
VANTO_EXPORT const void* tolven_data_get_opaque(tolven_data_t data);
VANTO_EXPORT size_t tolven_data_get_opaque_length(tolven_data_t data);

/**
 * Puts `value` at `index` of an array, which takes it over and frees what was there. Null leaves a hole. The array gets
 * as long as it must be, with holes between. For a node that cannot take it `value` is freed.
 */
VANTO_EXPORT void tolven_data_array_set_index(tolven_data_t array, size_t index, tolven_data_t value);
/** The number of elements, holes counted. */
VANTO_EXPORT size_t tolven_data_array_get_count(tolven_data_t array);
/** The element at `index`; null for a hole and beyond the end. */
VANTO_EXPORT tolven_data_t tolven_data_array_get_index(tolven_data_t array, size_t index);

/**
 * Puts `value` under a copy of `key` into a dictionary, which takes it over and frees what was there. A null value
 * changes nothing. When the key is null or no valid UTF-8, and for a node that is no dictionary, `value` is freed.
 */
VANTO_EXPORT void tolven_data_dict_insert(tolven_data_t dictionary, const char* key, tolven_data_t value);
VANTO_EXPORT size_t tolven_data_dict_get_count(tolven_data_t dictionary);
/** The value under `key`, or null. */
VANTO_EXPORT tolven_data_t tolven_data_dict_lookup(tolven_data_t dictionary, const char* key);
/** Called for each entry; answers whether to go on. */
typedef bool (*tolven_data_dict_applier_t)(const char* key, tolven_data_t value, void* context);
/**
 * Calls `function` for each entry in ascending byte order of keys; it must not change the dictionary. True when every
 * call answered true.
 */
VANTO_EXPORT bool tolven_data_dict_apply(tolven_data_t dictionary, tolven_data_dict_applier_t function, void* context);

/**
 * A text for people, on one line, with control characters escaped, at most about 8 KiB and a few levels deep; freed by
 * the caller with free(). "(null)" for null and for a hole.
 */
VANTO_EXPORT char* tolven_data_copy_description(tolven_data_t data);

/**
 * The tree as bytes, of which there is exactly one sequence for each tree; freed by the caller with free(), and their
 * number in `length`. Null, with `length` untouched, for null, for a tree of more than 1 MiB as bytes, and for one with
 * more than 128 containers inside each other.
 */
VANTO_EXPORT void* tolven_data_pack(tolven_data_t data, size_t* length);
/** The tree that the bytes are, owned by the caller; null for bytes that tolven_data_pack() would never give. */
VANTO_EXPORT tolven_data_t tolven_data_unpack(const void* bytes, size_t length);

#ifdef __cplusplus
} /* extern "C" */
#endif
