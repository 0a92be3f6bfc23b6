// SPDX-License-Identifier: Apache-2.0
#include <VantoService/vanto.h>
#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "host/ipc/BalancedTest.h"
#include "host/ipc/ObjectsInC.h"
#include "host/ipc/SampleObjects.h"

using vanto::Fd;
using vanto::Ref;
using vanto::test::memoryFile;
using vanto::test::own;

using ObjectInterfaceTest = vanto::test::BalancedTest;

namespace {

/// One object of each kind.
std::vector<Ref<vanto_object>> oneOfEach() {
  std::vector<Ref<vanto_object>> objects;
  objects.push_back(own(vanto_string_create("text")));
  objects.push_back(own(vanto_bool_create(true)));
  objects.push_back(own(vanto_int64_create(7)));
  objects.push_back(own(vanto_double_create(7.5)));
  objects.push_back(own(vanto_data_create("data", 4)));
  vanto_object_t element = objects.front().get();
  objects.push_back(own(vanto_array_create(&element, 1)));
  const char* key = "key";
  objects.push_back(own(vanto_dictionary_create(&key, &element, 1)));
  objects.push_back(own(vanto_fd_create(0)));
  objects.push_back(own(vanto_error_create(VANTO_ERROR_CLOSED, "error")));
  return objects;
}

bool goOn(const char*, vanto_object_t, void*) {
  return true;
}

bool addKey(const char* key, vanto_object_t value, void* context) {
  auto& text = *static_cast<std::string*>(context);
  text += std::string(key) + "=" + std::to_string(vanto_int64_get_value(value)) + " ";
  return std::strcmp(key, "c") != 0;
}

/// Whether any reader takes `object` for the kind `kind`.
void expectReadersAnswer(vanto_object_t object, vanto_kind_t kind) {
  EXPECT_EQ(vanto_string_get_text(object) != nullptr, kind == VANTO_KIND_STRING);
  EXPECT_EQ(vanto_string_get_length(object) != 0, kind == VANTO_KIND_STRING);
  EXPECT_EQ(vanto_bool_get_value(object), kind == VANTO_KIND_BOOL);
  EXPECT_EQ(vanto_int64_get_value(object) != 0, kind == VANTO_KIND_INT64);
  EXPECT_EQ(vanto_double_get_value(object) != 0, kind == VANTO_KIND_DOUBLE);
  EXPECT_EQ(vanto_data_get_length(object) != 0, kind == VANTO_KIND_DATA);
  EXPECT_EQ(vanto_data_get_bytes_ptr(object) != nullptr, kind == VANTO_KIND_DATA);
  EXPECT_EQ(vanto_array_get_count(object) != 0, kind == VANTO_KIND_ARRAY);
  EXPECT_EQ(vanto_array_get_value(object, 0) != nullptr, kind == VANTO_KIND_ARRAY);
  EXPECT_EQ(vanto_dictionary_get_count(object) != 0, kind == VANTO_KIND_DICTIONARY);
  EXPECT_EQ(vanto_dictionary_get_value(object, "key") != nullptr, kind == VANTO_KIND_DICTIONARY);
  EXPECT_EQ(vanto_dictionary_apply(object, goOn, nullptr), kind == VANTO_KIND_DICTIONARY);
  EXPECT_EQ(vanto_error_get_code(object) != VANTO_ERROR_NONE, kind == VANTO_KIND_ERROR);
  EXPECT_EQ(vanto_error_get_text(object) != nullptr, kind == VANTO_KIND_ERROR);
  errno = 0;
  const Fd copy(vanto_fd_copy(object));
  EXPECT_EQ(static_cast<bool>(copy), kind == VANTO_KIND_FD);
  EXPECT_EQ(errno, kind == VANTO_KIND_FD ? 0 : EINVAL);
}

}  // namespace

TEST_F(ObjectInterfaceTest, ReadersAnswerForTheirKindOnly) {
  int kind = VANTO_KIND_STRING;
  for (const Ref<vanto_object>& object : oneOfEach()) {
    EXPECT_EQ(vanto_kind(object.get()), kind);
    expectReadersAnswer(object.get(), static_cast<vanto_kind_t>(kind++));
  }
  EXPECT_EQ(kind, VANTO_KIND_ERROR + 1);
  EXPECT_EQ(vanto_kind(nullptr), VANTO_KIND_NONE);
  expectReadersAnswer(nullptr, VANTO_KIND_NONE);
}

TEST_F(ObjectInterfaceTest, NullIsRetainedAndReleasedWithoutEffect) {
  EXPECT_EQ(vanto_retain(nullptr), nullptr);
  vanto_release(nullptr);
  EXPECT_TRUE(vanto_equal(nullptr, nullptr));
  char* text = vanto_copy_description(nullptr);
  EXPECT_STREQ(text, "(null)");
  std::free(text);
}

TEST_F(ObjectInterfaceTest, StringsAreMadeOfValidTextOnly) {
  EXPECT_EQ(vanto_string_create(nullptr), nullptr);
  EXPECT_EQ(vanto_string_create("\xff"), nullptr);
  EXPECT_EQ(vanto_string_create_with_length(nullptr, 3), nullptr);
  EXPECT_EQ(vanto_string_create_with_length("a\0b", 3), nullptr);
  EXPECT_EQ(vanto_string_create_with_length("\xc3\xa4", 1), nullptr);
  const Ref<vanto_object> empty = own(vanto_string_create_with_length("text", 0));
  EXPECT_STREQ(vanto_string_get_text(empty.get()), "");
}

TEST_F(ObjectInterfaceTest, DataIsMadeOfBytes) {
  EXPECT_EQ(vanto_data_create(nullptr, 1), nullptr);
  const Ref<vanto_object> empty = own(vanto_data_create(nullptr, 0));
  EXPECT_EQ(vanto_kind(empty.get()), VANTO_KIND_DATA);
  EXPECT_EQ(vanto_data_get_length(empty.get()), 0U);
  EXPECT_EQ(vanto_data_get_bytes_ptr(empty.get()), nullptr);
}

TEST_F(ObjectInterfaceTest, SealedDataKeepsADescriptorOfItsOwn) {
  Ref<vanto_object> data;
  {
    const Fd memory = memoryFile("sealed");
    data = own(vanto_data_create_with_sealed_fd(memory.get(), 6));
  }
  EXPECT_EQ(std::memcmp(vanto_data_get_bytes_ptr(data.get()), "sealed", 6), 0);
  EXPECT_EQ(vanto_data_create_with_sealed_fd(-1, 0), nullptr);
  EXPECT_EQ(vanto_data_create_with_sealed_fd(0, 0), nullptr);
}

TEST_F(ObjectInterfaceTest, ArraysLeaveNullOut) {
  const Ref<vanto_object> one = own(vanto_int64_create(1));
  const Ref<vanto_object> two = own(vanto_int64_create(2));
  vanto_object_t elements[] = {one.get(), nullptr, two.get(), nullptr};
  const Ref<vanto_object> array = own(vanto_array_create(elements, 4));
  ASSERT_EQ(vanto_array_get_count(array.get()), 2U);
  EXPECT_EQ(vanto_array_get_value(array.get(), 1), two.get());
  EXPECT_EQ(vanto_array_get_value(array.get(), 2), nullptr);
  EXPECT_EQ(vanto_array_get_value(array.get(), SIZE_MAX), nullptr);
  vanto_array_append_value(array.get(), nullptr);
  vanto_array_append_value(array.get(), array.get());
  vanto_array_append_value(one.get(), two.get());
  vanto_array_append_value(nullptr, two.get());
  EXPECT_EQ(vanto_array_get_count(array.get()), 2U);
  EXPECT_EQ(vanto_array_get_count(own(vanto_array_create(nullptr, 4)).get()), 0U);
}

TEST_F(ObjectInterfaceTest, DictionariesKeepTheLastOfEqualKeysAndLeaveOutWhatIsNone) {
  const Ref<vanto_object> one = own(vanto_int64_create(1));
  const Ref<vanto_object> two = own(vanto_int64_create(2));
  const char* keys[] = {"b", "a", nullptr, "b", "none", "\xff"};
  vanto_object_t values[] = {one.get(), one.get(), one.get(), two.get(), nullptr, one.get()};
  const Ref<vanto_object> dictionary = own(vanto_dictionary_create(keys, values, 6));
  EXPECT_EQ(vanto_dictionary_get_count(dictionary.get()), 2U);
  EXPECT_EQ(vanto_dictionary_get_value(dictionary.get(), "a"), one.get());
  EXPECT_EQ(vanto_dictionary_get_value(dictionary.get(), "b"), two.get());
  EXPECT_EQ(vanto_dictionary_get_value(dictionary.get(), "none"), nullptr);
  EXPECT_EQ(vanto_dictionary_get_value(dictionary.get(), nullptr), nullptr);
  EXPECT_EQ(vanto_dictionary_get_count(own(vanto_dictionary_create(keys, nullptr, 6)).get()), 0U);
  EXPECT_EQ(vanto_dictionary_get_count(own(vanto_dictionary_create(nullptr, values, 6)).get()), 0U);
}

TEST_F(ObjectInterfaceTest, SettingNothingChangesNothing) {
  const Ref<vanto_object> one = own(vanto_int64_create(1));
  const Ref<vanto_object> dictionary = own(vanto_dictionary_create(nullptr, nullptr, 0));
  vanto_dictionary_set_value(dictionary.get(), "key", one.get());
  vanto_dictionary_set_value(dictionary.get(), "key", nullptr);
  vanto_dictionary_set_value(dictionary.get(), "key", dictionary.get());
  vanto_dictionary_set_value(dictionary.get(), nullptr, one.get());
  vanto_dictionary_set_value(dictionary.get(), "\xff", one.get());
  vanto_dictionary_set_value(one.get(), "key", one.get());
  vanto_dictionary_set_value(nullptr, "key", one.get());
  EXPECT_EQ(vanto_dictionary_get_count(dictionary.get()), 1U);
  EXPECT_EQ(vanto_dictionary_get_value(dictionary.get(), "key"), one.get());
}

TEST_F(ObjectInterfaceTest, AppliesInAscendingOrderUntilTheFunctionAnswersFalse) {
  const Ref<vanto_object> dictionary = own(vanto_dictionary_create(nullptr, nullptr, 0));
  for (const auto& [key, number] : {std::pair("d", 4), std::pair("b", 2), std::pair("c", 3), std::pair("a", 1)}) {
    vanto_dictionary_set_value(dictionary.get(), key, own(vanto_int64_create(number)).get());
  }
  std::string seen;
  EXPECT_FALSE(vanto_dictionary_apply(dictionary.get(), addKey, &seen));
  EXPECT_EQ(seen, "a=1 b=2 c=3 ");
  EXPECT_TRUE(vanto_dictionary_apply(dictionary.get(), goOn, nullptr));
  EXPECT_FALSE(vanto_dictionary_apply(dictionary.get(), nullptr, nullptr));
}

TEST_F(ObjectInterfaceTest, DescriptorsAreDuplicatedCloseOnExec) {
  const Fd null(open("/dev/null", O_RDONLY));
  const Ref<vanto_object> carrier = own(vanto_fd_create(null.get()));
  const Fd copy(vanto_fd_copy(carrier.get()));
  ASSERT_TRUE(copy);
  EXPECT_NE(copy.get(), null.get());
  EXPECT_EQ(fcntl(copy.get(), F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(vanto_fd_create(-1), nullptr);
}

TEST_F(ObjectInterfaceTest, ErrorsHaveTheTextOfTheirCodeUnlessGivenOne) {
  const Ref<vanto_object> plain = own(vanto_error_create(VANTO_ERROR_FULL, nullptr));
  EXPECT_STREQ(vanto_error_get_text(plain.get()), vanto_error_text(VANTO_ERROR_FULL));
  const Ref<vanto_object> empty = own(vanto_error_create(VANTO_ERROR_FULL, ""));
  EXPECT_STREQ(vanto_error_get_text(empty.get()), "");
  EXPECT_EQ(vanto_error_create(VANTO_ERROR_NONE, "text"), nullptr);
  EXPECT_EQ(vanto_error_create(VANTO_ERROR_FULL, "\xff"), nullptr);
}

TEST_F(ObjectInterfaceTest, WorksFromC) {
  const char* failed = useObjectsInC();
  EXPECT_EQ(failed, nullptr) << failed;
}
