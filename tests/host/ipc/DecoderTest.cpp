// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "host/ipc/BalancedTest.h"
#include "host/ipc/CodecSample.h"
#include "host/ipc/SampleObjects.h"
#include "ipc/Codec.h"
#include "support/MemoryLimit.h"
#include "support/SampleFiles.h"
#include "value/limits.h"

using vanto::decodeObject;
using vanto::EncodedObject;
using vanto::Fd;
using vanto::Ref;
using vanto::test::CodecSample;
using vanto::test::own;
using vanto::test::SampleFile;

namespace limits = vanto::limits;

namespace {

using Bytes = std::vector<std::uint8_t>;

/// The samples whose names begin with `verdict`.
std::vector<SampleFile> samples(std::string_view verdict) {
  return vanto::test::sampleFiles(VANTO_CODEC_SAMPLES, verdict);
}

Ref<vanto_object> decode(const Bytes& body) {
  return decodeObject(body, {});
}

Ref<vanto_object> decode(std::span<const std::uint8_t> body, const CodecSample& sample) {
  std::vector<Fd> descriptors = sample.descriptors();
  return decodeObject(body, descriptors);
}

bool encodesTo(const Ref<vanto_object>& object, std::span<const std::uint8_t> body) {
  EncodedObject encoded;
  return encoded.encode(object.get()) == VANTO_ERROR_NONE && std::ranges::equal(encoded.bytes(), body);
}

void add32(Bytes& bytes, std::size_t value) {
  for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

/// An array of `count` times the same eight bytes.
Bytes arrayOf(std::size_t count, const Bytes& element) {
  Bytes bytes;
  add32(bytes, VANTO_KIND_ARRAY);
  add32(bytes, count);
  for (std::size_t index = 0; index < count; ++index) bytes.insert(bytes.end(), element.begin(), element.end());
  return bytes;
}

}  // namespace

class DecoderTest : public vanto::test::BalancedTest {
 protected:
  void SetUp() override {
    // What the samples are made from stays open.
    const Bytes letters{'s', 'u', 'f'};
    ASSERT_EQ(CodecSample(letters).descriptors().size(), 3U);
    BalancedTest::SetUp();
  }
};

TEST_F(DecoderTest, TakesEverySampleToAcceptAndEncodesItToTheSameBytes) {
  const std::vector<SampleFile> accepted = samples("accept-");
  ASSERT_GT(accepted.size(), 25U);
  for (const auto& [name, content] : accepted) {
    const CodecSample sample(content);
    std::vector<Fd> descriptors = sample.descriptors();
    const Ref<vanto_object> object = decodeObject(sample.body(), descriptors);
    ASSERT_TRUE(object) << name;
    EXPECT_TRUE(encodesTo(object, sample.body())) << name;
    EXPECT_TRUE(std::ranges::none_of(descriptors, [](const Fd& left) { return static_cast<bool>(left); })) << name;
  }
}

TEST_F(DecoderTest, RefusesEverySampleToRefuse) {
  const std::vector<SampleFile> refused = samples("refuse-");
  ASSERT_GT(refused.size(), 60U);
  for (const auto& [name, content] : refused) {
    const CodecSample sample(content);
    EXPECT_FALSE(decode(sample.body(), sample)) << name;
  }
}

TEST_F(DecoderTest, RefusesEveryPrefix) {
  for (const auto& [name, content] : samples("accept-")) {
    const CodecSample sample(content);
    for (std::size_t length = 0; length < sample.body().size(); ++length) {
      ASSERT_FALSE(decode(sample.body().first(length), sample)) << name << " cut at " << length;
    }
  }
}

TEST_F(DecoderTest, EveryChangedByteIsRefusedOrIsAnotherObject) {
  for (const auto& [name, content] : samples("accept-")) {
    const CodecSample sample(content);
    if (sample.body().size() > 512) continue;
    Bytes changed(sample.body().begin(), sample.body().end());
    for (std::uint8_t& byte : changed) {
      const std::uint8_t original = byte;
      for (int difference = 1; difference < 256; ++difference) {
        byte = static_cast<std::uint8_t>(original ^ difference);
        const Ref<vanto_object> object = decode(changed, sample);
        ASSERT_TRUE(!object || encodesTo(object, changed)) << name << " at " << &byte - changed.data();
      }
      byte = original;
    }
  }
}

TEST_F(DecoderTest, GivesBackWhatWasEncoded) {
  const Ref<vanto_object> dictionary = own(vanto_dictionary_create(nullptr, nullptr, 0));
  vanto_dictionary_set_value(dictionary.get(), "text", own(vanto_string_create("h\u00e9llo")).get());
  vanto_dictionary_set_value(dictionary.get(), "number", own(vanto_int64_create(-3)).get());
  vanto_dictionary_set_value(dictionary.get(), "ratio", own(vanto_double_create(0.1)).get());
  vanto_dictionary_set_value(dictionary.get(), "flag", own(vanto_bool_create(true)).get());
  vanto_dictionary_set_value(dictionary.get(), "bytes", own(vanto_data_create("\0\1", 2)).get());
  vanto_dictionary_set_value(dictionary.get(), "error", own(vanto_error_create(VANTO_ERROR_FULL, nullptr)).get());
  vanto_object_t values[] = {dictionary.get(), dictionary.get()};
  const Ref<vanto_object> array = own(vanto_array_create(values, 2));
  EncodedObject encoded;
  ASSERT_EQ(encoded.encode(array.get()), VANTO_ERROR_NONE);
  const Ref<vanto_object> decoded = decodeObject(encoded.bytes(), {});
  EXPECT_TRUE(vanto_equal(decoded.get(), array.get()));
}

TEST_F(DecoderTest, ADecodedContainerCanBeChanged) {
  const Ref<vanto_object> original = own(vanto_dictionary_create(nullptr, nullptr, 0));
  vanto_dictionary_set_value(original.get(), "first", own(vanto_int64_create(1)).get());
  vanto_dictionary_set_value(original.get(), "list", own(vanto_array_create(nullptr, 0)).get());
  EncodedObject encoded;
  ASSERT_EQ(encoded.encode(original.get()), VANTO_ERROR_NONE);
  const Ref<vanto_object> decoded = decodeObject(encoded.bytes(), {});
  for (const Ref<vanto_object>& one : {original, decoded}) {
    vanto_dictionary_set_value(one.get(), "first", own(vanto_string_create("other")).get());
    vanto_dictionary_set_value(one.get(), "added", own(vanto_int64_create(2)).get());
    vanto_array_append_value(vanto_dictionary_get_value(one.get(), "list"), own(vanto_bool_create(true)).get());
  }
  EXPECT_EQ(vanto_dictionary_get_count(decoded.get()), 3U);
  EXPECT_TRUE(vanto_equal(original.get(), decoded.get()));
}

TEST_F(DecoderTest, AValueOutlivesTheContainerItCameIn) {
  const Ref<vanto_object> element = own(vanto_string_create("kept"));
  vanto_object_t value = element.get();
  EncodedObject encoded;
  ASSERT_EQ(encoded.encode(own(vanto_array_create(&value, 1)).get()), VANTO_ERROR_NONE);
  Ref<vanto_object> array = decodeObject(encoded.bytes(), {});
  const Ref<vanto_object> kept = own(vanto_retain(vanto_array_get_value(array.get(), 0)));
  array = nullptr;
  EXPECT_STREQ(vanto_string_get_text(kept.get()), "kept");
}

TEST_F(DecoderTest, DoesNotNeedAlignedBytes) {
  const Ref<vanto_object> number = own(vanto_int64_create(0x0102030405060708));
  EncodedObject encoded;
  ASSERT_EQ(encoded.encode(number.get()), VANTO_ERROR_NONE);
  Bytes shifted{0xff};
  shifted.insert(shifted.end(), encoded.bytes().begin(), encoded.bytes().end());
  const Ref<vanto_object> decoded = decodeObject(std::span<const std::uint8_t>(shifted).subspan(1), {});
  EXPECT_TRUE(vanto_equal(decoded.get(), number.get()));
}

TEST_F(DecoderTest, LeavesDescriptorsItDidNotReachToTheCaller) {
  const Bytes letters{'f', 'f', 'f'};
  std::vector<Fd> descriptors = CodecSample(letters).descriptors();
  Bytes body = arrayOf(1, {VANTO_KIND_FD, 0, 0, 0, 0, 0, 0, 0});
  body[4] = 2;
  body.insert(body.end(), {99, 0, 0, 0, 0, 0, 0, 0});
  EXPECT_FALSE(decodeObject(body, descriptors));
  EXPECT_FALSE(descriptors[0]);
  EXPECT_TRUE(descriptors[1]);
  EXPECT_TRUE(descriptors[2]);
}

TEST_F(DecoderTest, DecodedDescriptorsAreTheOnesThatCame) {
  const Bytes letters{'s'};
  std::vector<Fd> descriptors = CodecSample(letters).descriptors();
  const Bytes body{10, 0, 0, 0, 0, 0, 0, 0, 6, 0, 0, 0, 0, 0, 0, 0};
  const Ref<vanto_object> data = decodeObject(body, descriptors);
  ASSERT_EQ(vanto_data_get_length(data.get()), 6U);
  EXPECT_EQ(std::memcmp(vanto_data_get_bytes_ptr(data.get()), "sealed", 6), 0);
}

TEST_F(DecoderTest, DescriptorsEndAtTheirLimit) {
  for (const std::size_t count : {limits::ipcDescriptors, limits::ipcDescriptors + 1}) {
    Bytes body = arrayOf(count, {VANTO_KIND_FD, 0, 0, 0, 0, 0, 0, 0});
    std::vector<Fd> descriptors;
    for (std::size_t index = 0; index < count; ++index) {
      body[8 + 8 * index + 4] = static_cast<std::uint8_t>(index);
      descriptors.push_back(vanto::FdObject::duplicate(0));
    }
    EXPECT_EQ(static_cast<bool>(decodeObject(body, descriptors)), count == limits::ipcDescriptors);
  }
}

TEST_F(DecoderTest, TheSizeEndsAtItsLimit) {
  for (const std::size_t size : {limits::ipcMessageBytes, limits::ipcMessageBytes + 8}) {
    Bytes body;
    body.reserve(size);
    add32(body, VANTO_KIND_DATA);
    add32(body, size - 8);
    body.resize(size);
    EXPECT_EQ(static_cast<bool>(decode(body)), size == limits::ipcMessageBytes);
  }
}

#ifndef VANTO_TEST_SANITIZED
TEST_F(DecoderTest, ClaimsThatBytesDoNotCoverAreRefusedBeforeMemoryIsTaken) {
  // Each array says that it has as many elements as there are words behind it; all of them together would need 128
  // times the memory that one honest array takes.
  Bytes body;
  constexpr std::size_t words = 1'000'000;
  for (std::size_t level = 0; level < limits::ipcNesting; ++level) {
    add32(body, VANTO_KIND_ARRAY);
    add32(body, words);
  }
  body.resize(body.size() + 8 * words);
  const auto decodeInLittleMemory = [&body] {
    vanto::test::limitFurtherMemory(4 * body.size());
    std::_Exit(decode(body) ? 1 : 0);
  };
  EXPECT_EXIT(decodeInLittleMemory(), testing::ExitedWithCode(0), "");
}

TEST_F(DecoderTest, HoldsASmallMultipleOfTheBytes) {
  const auto held = [] {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
  };
  const Bytes bodies[] = {
      arrayOf(1'000'000, {VANTO_KIND_ARRAY, 0, 0, 0, 0, 0, 0, 0}),
      arrayOf(1'000'000, {VANTO_KIND_DICTIONARY, 0, 0, 0, 0, 0, 0, 0}),
      arrayOf(1'000'000, {VANTO_KIND_STRING, 0, 0, 0, 0, 0, 0, 0}),
      arrayOf(1'000'000, {VANTO_KIND_DATA, 0, 0, 0, 0, 0, 0, 0}),
      arrayOf(1'000'000, {VANTO_KIND_INT64, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8}),
      arrayOf(1'000'000, {VANTO_KIND_ERROR, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0}),
      arrayOf(500'000, {VANTO_KIND_ARRAY, 0, 0, 0, 1, 0, 0, 0, VANTO_KIND_ARRAY, 0, 0, 0, 0, 0, 0, 0}),
      arrayOf(500'000, {VANTO_KIND_DICTIONARY, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0, 0}),
  };
  for (const Bytes& body : bodies) {
    const std::size_t before = held();
    const Ref<vanto_object> object = decode(body);
    ASSERT_TRUE(object);
    EXPECT_LE(held() - before, 8 * body.size());
    EXPECT_GE(held() - before, body.size() / 2);
  }
}
#endif
