// SPDX-License-Identifier: Apache-2.0
#include "vanto/JobDataTree.h"

#include <gtest/gtest.h>

namespace vanto::tool {
namespace {

TEST(JobDataTree, ShowsEveryKind) {
  const tolven_data_t root = tolven_data_alloc(TOLVEN_DATA_DICTIONARY);
  const tolven_data_t array = tolven_data_alloc(TOLVEN_DATA_ARRAY);
  const tolven_data_t integer = tolven_data_alloc(TOLVEN_DATA_INTEGER);
  tolven_data_set_integer(integer, -7);
  const tolven_data_t real = tolven_data_alloc(TOLVEN_DATA_REAL);
  tolven_data_set_real(real, 2);
  const tolven_data_t string = tolven_data_alloc(TOLVEN_DATA_STRING);
  tolven_data_set_string(string, "a\x1b");
  const tolven_data_t opaque = tolven_data_alloc(TOLVEN_DATA_OPAQUE);
  tolven_data_set_opaque(opaque, "x", 1);
  const tolven_data_t bytes = tolven_data_alloc(TOLVEN_DATA_ARRAY);
  tolven_data_set_opaque(bytes, "xy", 2);
  tolven_data_array_set_index(array, 0, integer);
  tolven_data_array_set_index(array, 2, real);
  tolven_data_dict_insert(root, "array", array);
  tolven_data_dict_insert(root, "bool\n", tolven_data_alloc(TOLVEN_DATA_BOOL));
  tolven_data_dict_insert(root, "bytes", bytes);
  tolven_data_dict_insert(root, "opaque", opaque);
  tolven_data_dict_insert(root, "string", string);
  EXPECT_EQ(jobDataTree(root),
            "dictionary\n"
            "  array: array\n"
            "    [0]: integer -7\n"
            "    [1]: (hole)\n"
            "    [2]: real 2.0\n"
            "  bool\\n: bool false\n"
            "  bytes: array of opaque 2 bytes\n"
            "  opaque: opaque 1 byte\n"
            "  string: string \"a\\x1b\"\n");
  tolven_data_free(root);
}

TEST(JobDataTree, ShowsNullAsAHole) {
  EXPECT_EQ(jobDataTree(nullptr), "(hole)\n");
}

}  // namespace
}  // namespace vanto::tool
