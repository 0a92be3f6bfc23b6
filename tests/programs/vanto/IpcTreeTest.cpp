// SPDX-License-Identifier: Apache-2.0
#include "vanto/IpcTree.h"

#include <gtest/gtest.h>

namespace vanto::tool {
namespace {

/// Puts a value into a dictionary and drops our reference.
void set(vanto_object_t dictionary, const char* key, vanto_object_t value) {
  vanto_dictionary_set_value(dictionary, key, value);
  vanto_release(value);
}

TEST(IpcTree, ShowsEveryKindInAscendingOrderOfKeys) {
  const vanto_object_t root = vanto_dictionary_create(nullptr, nullptr, 0);
  const vanto_object_t array = vanto_array_create(nullptr, 0);
  const vanto_object_t element = vanto_int64_create(-7);
  vanto_array_append_value(array, element);
  vanto_release(element);
  set(root, "string", vanto_string_create("a\x1b"));
  set(root, "array", array);
  set(root, "double", vanto_double_create(2));
  set(root, "bool\n", vanto_bool_create(false));
  set(root, "data", vanto_data_create("x", 1));
  set(root, "error", vanto_error_create(VANTO_ERROR_CLOSED, "gone"));
  const std::string tree = ipcTree(root);
  EXPECT_TRUE(
      tree.starts_with("dictionary\n"
                       "  array: array\n"
                       "    [0]: int64 -7\n"
                       "  bool\\n: bool false\n"
                       "  data: data 1 byte\n"
                       "  double: double 2.0\n"))
      << tree;
  EXPECT_TRUE(tree.ends_with("  string: string \"a\\x1b\"\n")) << tree;
  vanto_release(root);
}

TEST(IpcTree, ShowsNull) {
  EXPECT_EQ(ipcTree(nullptr).substr(0, 1), "(");
}

}  // namespace
}  // namespace vanto::tool
