/* SPDX-License-Identifier: Apache-2.0 */
#include "host/jobdata/JobDataInC.h"

#include <VantoService/tolven_data.h>
#include <stdlib.h>
#include <string.h>

#define REQUIRE(condition)               \
  do {                                   \
    if (!(condition)) return #condition; \
  } while (0)

const char* useJobDataInC(void) {
  tolven_data_t job = tolven_data_alloc(TOLVEN_DATA_DICTIONARY);
  tolven_data_t label = tolven_data_alloc(TOLVEN_DATA_STRING);
  tolven_data_set_string(label, "com.example.echo");
  tolven_data_dict_insert(job, "Label", label);
  tolven_data_t arguments = tolven_data_alloc(TOLVEN_DATA_ARRAY);
  tolven_data_dict_insert(job, "ProgramArguments", arguments);
  tolven_data_t flag = tolven_data_alloc(TOLVEN_DATA_BOOL);
  tolven_data_set_bool(flag, true);
  tolven_data_array_set_index(arguments, 1, flag);

  size_t length = 0;
  void* packed = tolven_data_pack(job, &length);
  REQUIRE(packed != NULL && length > 0);
  tolven_data_free(job);
  job = tolven_data_unpack(packed, length);
  free(packed);
  REQUIRE(tolven_data_get_kind(job) == TOLVEN_DATA_DICTIONARY);
  REQUIRE(strcmp(tolven_data_get_string(tolven_data_dict_lookup(job, "Label")), "com.example.echo") == 0);
  char* text = tolven_data_copy_description(job);
  REQUIRE(strcmp(text, "{\"Label\": \"com.example.echo\", \"ProgramArguments\": [(null), true]}") == 0);
  free(text);
  tolven_data_free(job);
  return NULL;
}
