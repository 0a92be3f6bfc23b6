/* SPDX-License-Identifier: Apache-2.0 */
#include "host/ipc/ObjectsInC.h"

#include <VantoService/vanto.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#define REQUIRE(condition)               \
  do {                                   \
    if (!(condition)) return #condition; \
  } while (0)

static bool countEntry(const char* key, vanto_object_t value, void* context) {
  int* count = context;
  (void)value;
  ++*count;
  return strcmp(key, "stop") != 0;
}

static const char* useLeaves(void) {
  vanto_object_t string = vanto_string_create("text");
  REQUIRE(vanto_kind(string) == VANTO_KIND_STRING);
  REQUIRE(strcmp(vanto_string_get_text(string), "text") == 0 && vanto_string_get_length(string) == 4);
  vanto_object_t same = vanto_string_create_with_length("textual", 4);
  REQUIRE(vanto_equal(string, same));
  vanto_release(same);
  vanto_release(string);

  vanto_object_t number = vanto_int64_create(-5);
  REQUIRE(vanto_int64_get_value(number) == -5);
  REQUIRE(vanto_retain(number) == number);
  vanto_release(number);
  vanto_release(number);

  vanto_object_t error = vanto_error_create(VANTO_ERROR_TIMED_OUT, NULL);
  REQUIRE(vanto_error_get_code(error) == VANTO_ERROR_TIMED_OUT);
  REQUIRE(strcmp(vanto_error_get_text(error), vanto_error_text(VANTO_ERROR_TIMED_OUT)) == 0);
  vanto_release(error);

  vanto_object_t carrier = vanto_fd_create(0);
  int fd = vanto_fd_copy(carrier);
  REQUIRE(fd > 2 && close(fd) == 0);
  vanto_release(carrier);
  return NULL;
}

static const char* useContainers(void) {
  const char* keys[] = {"data", "flag", "ratio"};
  vanto_object_t values[] = {vanto_data_create("\1\2", 2), vanto_bool_create(true), vanto_double_create(0.5)};
  vanto_object_t dictionary = vanto_dictionary_create(keys, values, 3);
  vanto_object_t array = vanto_array_create(values, 3);
  for (int index = 0; index < 3; ++index) vanto_release(values[index]);

  vanto_dictionary_set_value(dictionary, "list", array);
  vanto_release(array);
  REQUIRE(vanto_dictionary_get_count(dictionary) == 4);
  REQUIRE(vanto_array_get_count(vanto_dictionary_get_value(dictionary, "list")) == 3);
  REQUIRE(vanto_data_get_length(vanto_dictionary_get_value(dictionary, "data")) == 2);
  REQUIRE(memcmp(vanto_data_get_bytes_ptr(vanto_array_get_value(array, 0)), "\1\2", 2) == 0);
  REQUIRE(vanto_bool_get_value(vanto_dictionary_get_value(dictionary, "flag")));
  REQUIRE(vanto_double_get_value(vanto_dictionary_get_value(dictionary, "ratio")) == 0.5);

  int count = 0;
  REQUIRE(vanto_dictionary_apply(dictionary, countEntry, &count) && count == 4);
  char* text = vanto_copy_description(dictionary);
  REQUIRE(strcmp(text,
                 "{\"data\": 2 bytes 0102, \"flag\": true, \"list\": [2 bytes 0102, true, 0.5], \"ratio\": 0.5}") == 0);
  free(text);
  vanto_release(dictionary);
  return NULL;
}

const char* useObjectsInC(void) {
  const char* failed = useLeaves();
  return failed != NULL ? failed : useContainers();
}
