// SPDX-License-Identifier: Apache-2.0
#include "ipc/Frame.h"

#include <cstring>
#include <functional>
#include <vector>

#include <gtest/gtest.h>

#include "value/limits.h"

namespace vanto::test {
namespace {

constexpr std::uint64_t inlineBytes = limits::ipcInlineBytes;

bool decodes(const FrameHeader& header, std::size_t payload, std::size_t descriptors = 0) {
  std::uint8_t bytes[frameHeaderBytes];
  encodeHeader(header, bytes);
  FrameHeader decoded;
  return decodeHeader(bytes, frameHeaderBytes + payload, descriptors, decoded);
}

struct Sample {
  const char* name;
  FrameHeader header;
  std::size_t payload;
};

/// One frame of each kind, as it may be.
const Sample samples[] = {
    {"greeting", {.kind = FrameKind::Greeting}, greetingBytes},
    {"greeting with a nonce", {.kind = FrameKind::Greeting, .flags = frameHasNonce}, greetingBytes},
    {"answer", {.kind = FrameKind::Answer}, greetingBytes},
    {"refusal with the longest text", {.kind = FrameKind::Refusal}, codeBytes + limits::ipcRefusalTextBytes},
    {"message", {.kind = FrameKind::Message, .id = 1, .length = 8}, 8},
    {"request", {.kind = FrameKind::Request, .id = 1, .deadline = 5, .length = 8}, 8},
    {"reply", {.kind = FrameKind::Reply, .id = 1, .length = inlineBytes}, inlineBytes},
    {"start of chunks", {.kind = FrameKind::Message, .id = 1, .length = inlineBytes + 1}, inlineBytes},
    {"chunk", {.kind = FrameKind::Chunk, .id = 1}, 1},
    {"chunk of a reply", {.kind = FrameKind::Chunk, .flags = frameIsOfReply, .id = 1}, inlineBytes},
    {"cancel", {.kind = FrameKind::Cancel, .id = 1}, 0},
    {"credit", {.kind = FrameKind::Credit, .creditMessages = 1}, 0},
    {"goodbye", {.kind = FrameKind::Goodbye}, codeBytes},
    {"early request",
     {.kind = FrameKind::EarlyRequest, .id = 1, .creditMessages = 1, .creditBytes = 1, .length = 8},
     8},
};

TEST(Frame, HeaderHasItsBytesInTheirPlaces) {
  const FrameHeader header{.kind = FrameKind::Request,
                           .flags = 0x0201,
                           .descriptors = 0x0403,
                           .id = 0x0807060504030201,
                           .deadline = 0x1817161514131211,
                           .creditMessages = 0x24232221,
                           .creditBytes = 0x34333231,
                           .length = 0x4847464544434241};
  std::uint8_t bytes[frameHeaderBytes];
  encodeHeader(header, bytes);
  const std::uint8_t expected[frameHeaderBytes] = {0x56, 0x53, 1,    5,    0x01, 0x02, 0x03, 0x04, 0x01, 0x02,
                                                   0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x11, 0x12, 0x13, 0x14,
                                                   0x15, 0x16, 0x17, 0x18, 0x21, 0x22, 0x23, 0x24, 0x31, 0x32,
                                                   0x33, 0x34, 0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48};
  EXPECT_EQ(std::memcmp(bytes, expected, sizeof expected), 0);
}

TEST(Frame, HeaderTellsItsDescriptorsBeforeItIsChecked) {
  std::uint8_t bytes[frameHeaderBytes];
  encodeHeader({.kind = FrameKind{0}, .descriptors = 0x0403}, bytes);
  EXPECT_EQ(declaredDescriptors(bytes), 0x0403U);
}

TEST(Frame, HeaderIsReadBack) {
  const FrameHeader header{.kind = FrameKind::Request,
                           .descriptors = 2,
                           .id = 77,
                           .deadline = 99,
                           .creditMessages = 3,
                           .creditBytes = 4,
                           .length = 16};
  std::uint8_t bytes[frameHeaderBytes];
  encodeHeader(header, bytes);
  FrameHeader read;
  ASSERT_TRUE(decodeHeader(bytes, frameHeaderBytes + 16, 2, read));
  EXPECT_EQ(read.kind, FrameKind::Request);
  EXPECT_EQ(read.flags, 0);
  EXPECT_EQ(read.descriptors, 2);
  EXPECT_EQ(read.id, 77U);
  EXPECT_EQ(read.deadline, 99U);
  EXPECT_EQ(read.creditMessages, 3U);
  EXPECT_EQ(read.creditBytes, 4U);
  EXPECT_EQ(read.length, 16U);
}

TEST(Frame, EachKindIsTakenAsItMayBe) {
  for (const Sample& sample : samples) EXPECT_TRUE(decodes(sample.header, sample.payload)) << sample.name;
}

TEST(Frame, UnknownKindsAreRefused) {
  for (int kind = 0; kind < 256; kind++) {
    const bool isKnown = kind >= 1 && kind <= 11;
    bool isTaken = false;
    for (const std::size_t payload : {std::size_t{0}, codeBytes, std::size_t{8}, greetingBytes}) {
      for (const std::uint64_t id : {0, 1}) {
        for (const std::uint32_t credit : {0U, 1U}) {
          for (const std::uint64_t length : {0, 8}) {
            const FrameHeader header{.kind = static_cast<FrameKind>(kind),
                                     .id = id,
                                     .creditMessages = credit,
                                     .creditBytes = credit,
                                     .length = length};
            isTaken = isTaken || decodes(header, payload);
          }
        }
      }
    }
    EXPECT_EQ(isTaken, isKnown) << kind;
  }
}

TEST(Frame, WrongMagicOrVersionIsRefused) {
  std::uint8_t good[frameHeaderBytes];
  encodeHeader({.kind = FrameKind::Cancel, .id = 1}, good);
  FrameHeader header;
  ASSERT_TRUE(decodeHeader(good, sizeof good, 0, header));
  for (const std::size_t place : {0, 1, 2}) {
    std::uint8_t bad[frameHeaderBytes];
    std::memcpy(bad, good, sizeof bad);
    bad[place] ^= 1;
    EXPECT_FALSE(decodeHeader(bad, sizeof bad, 0, header)) << place;
  }
}

TEST(Frame, ShorterThanAHeaderIsRefused) {
  std::uint8_t bytes[frameHeaderBytes];
  encodeHeader({.kind = FrameKind::Cancel, .id = 1}, bytes);
  FrameHeader header;
  for (std::size_t size = 0; size < frameHeaderBytes; size++)
    EXPECT_FALSE(decodeHeader(bytes, size, 0, header)) << size;
}

TEST(Frame, EachFieldThatAKindHasNotMustBeZero) {
  const std::pair<const char*, std::function<void(FrameHeader&)>> changes[] = {
      {"flags",
       [](FrameHeader& header) {
         header.flags |= 0x8000;
       }},
      {"descriptors",
       [](FrameHeader& header) {
         header.descriptors = 17;
       }},
      {"length",
       [](FrameHeader& header) {
         header.length += std::uint64_t{1} << 32;
       }},
  };
  for (const Sample& sample : samples) {
    for (const auto& [name, change] : changes) {
      FrameHeader header = sample.header;
      change(header);
      EXPECT_FALSE(decodes(header, sample.payload, header.descriptors)) << sample.name << ": " << name;
    }
    FrameHeader header = sample.header;
    header.id = header.id == 0 ? 1 : 0;
    EXPECT_FALSE(decodes(header, sample.payload)) << sample.name << ": id";
    if (sample.header.kind != FrameKind::Request && sample.header.kind != FrameKind::EarlyRequest) {
      header = sample.header;
      header.deadline = 1;
      EXPECT_FALSE(decodes(header, sample.payload)) << sample.name << ": deadline";
    }
  }
}

TEST(Frame, OnlyBodiesOfTheRightSizeAreTaken) {
  for (const Sample& sample : samples) {
    const FrameKind kind = sample.header.kind;
    EXPECT_FALSE(kind != FrameKind::Chunk && decodes(sample.header, sample.payload + 1)) << sample.name;
    EXPECT_FALSE(sample.payload > 1 && kind != FrameKind::Chunk && kind != FrameKind::Refusal &&
                 decodes(sample.header, sample.payload - 1))
        << sample.name;
  }
  EXPECT_FALSE(decodes({.kind = FrameKind::Chunk, .id = 1}, 0));
  EXPECT_FALSE(decodes({.kind = FrameKind::Chunk, .id = 1}, inlineBytes + 1));
}

TEST(Frame, RefusalsMayHaveAText) {
  for (const std::size_t text : {std::size_t{0}, std::size_t{1}, limits::ipcRefusalTextBytes}) {
    EXPECT_TRUE(decodes({.kind = FrameKind::Refusal}, codeBytes + text));
  }
  EXPECT_FALSE(decodes({.kind = FrameKind::Refusal}, codeBytes - 1));
  EXPECT_FALSE(decodes({.kind = FrameKind::Goodbye}, codeBytes + 1));
}

TEST(Frame, MessagesHaveTheirLargestSize) {
  EXPECT_TRUE(decodes({.kind = FrameKind::Message, .id = 1, .length = limits::ipcMessageBytes}, inlineBytes));
  EXPECT_FALSE(decodes({.kind = FrameKind::Message, .id = 1, .length = limits::ipcMessageBytes + 1}, inlineBytes));
  EXPECT_FALSE(decodes({.kind = FrameKind::Message, .id = 1, .length = 0}, 0));
  EXPECT_FALSE(decodes({.kind = FrameKind::Message, .id = 1, .length = UINT64_MAX}, inlineBytes));
}

TEST(Frame, EarlyRequestsAreAllThereAndGiveWindows) {
  const FrameHeader good{
      .kind = FrameKind::EarlyRequest, .id = 1, .creditMessages = 1, .creditBytes = 1, .length = inlineBytes};
  EXPECT_TRUE(decodes(good, inlineBytes));
  FrameHeader bad = good;
  bad.length++;
  EXPECT_FALSE(decodes(bad, inlineBytes));
  EXPECT_FALSE(decodes(bad, inlineBytes + 1));
  bad = good;
  bad.descriptors = 1;
  EXPECT_FALSE(decodes(bad, inlineBytes, 1));
  bad = good;
  bad.creditMessages = 0;
  EXPECT_FALSE(decodes(bad, inlineBytes));
  bad = good;
  bad.creditBytes = 0;
  EXPECT_FALSE(decodes(bad, inlineBytes));
  bad = good;
  bad.length = 0;
  EXPECT_FALSE(decodes(bad, 0));
}

TEST(Frame, DescriptorsAreCounted) {
  const FrameHeader header{.kind = FrameKind::Message, .descriptors = 16, .id = 1, .length = 8};
  EXPECT_TRUE(decodes(header, 8, 16));
  EXPECT_FALSE(decodes(header, 8, 15));
  EXPECT_FALSE(decodes(header, 8, 17));
  FrameHeader tooMany = header;
  tooMany.descriptors = 17;
  EXPECT_FALSE(decodes(tooMany, 8, 17));
}

TEST(Frame, CreditRidesOnWhatFollowsTheGreetings) {
  for (const Sample& sample : samples) {
    FrameHeader header = sample.header;
    header.creditBytes = 5;
    const bool isOfGreetings = header.kind == FrameKind::Greeting || header.kind == FrameKind::Answer ||
                               header.kind == FrameKind::Refusal || header.kind == FrameKind::Goodbye;
    EXPECT_EQ(decodes(header, sample.payload), !isOfGreetings) << sample.name;
  }
  EXPECT_FALSE(decodes({.kind = FrameKind::Credit}, 0));
}

TEST(Frame, GreetingIsReadBack) {
  Greeting greeting{.lowestVersion = 1, .highestVersion = 3, .windowMessages = 7, .windowBytes = 0x01020304};
  for (std::size_t i = 0; i < nonceBytes; i++) greeting.nonce[i] = static_cast<std::uint8_t>(i + 1);
  std::uint8_t bytes[greetingBytes];
  encodeGreeting(greeting, bytes);
  const std::uint8_t expected[greetingBytes] = {1, 3, 0, 0, 7, 0, 0, 0,  4,  3,  2,  1,  1,  2,
                                                3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  EXPECT_EQ(std::memcmp(bytes, expected, sizeof expected), 0);
  Greeting read;
  ASSERT_TRUE(decodeGreeting(bytes, read));
  EXPECT_EQ(read.highestVersion, 3);
  EXPECT_EQ(read.windowMessages, 7U);
  EXPECT_EQ(read.windowBytes, 0x01020304U);
  EXPECT_EQ(std::memcmp(read.nonce, greeting.nonce, nonceBytes), 0);
}

TEST(Frame, GreetingsThatMakeNoSenseAreRefused) {
  const Greeting good{.windowMessages = 1, .windowBytes = 1};
  const std::pair<const char*, std::function<void(std::uint8_t*)>> changes[] = {
      {"no version",
       [](std::uint8_t* bytes) {
         bytes[0] = 0;
       }},
      {"versions the wrong way round",
       [](std::uint8_t* bytes) {
         bytes[0] = 2;
       }},
      {"first reserved byte",
       [](std::uint8_t* bytes) {
         bytes[2] = 1;
       }},
      {"second reserved byte",
       [](std::uint8_t* bytes) {
         bytes[3] = 1;
       }},
      {"no messages",
       [](std::uint8_t* bytes) {
         bytes[4] = 0;
       }},
      {"no bytes",
       [](std::uint8_t* bytes) {
         bytes[8] = 0;
       }},
  };
  for (const auto& [name, change] : changes) {
    std::uint8_t bytes[greetingBytes];
    encodeGreeting(good, bytes);
    Greeting read;
    ASSERT_TRUE(decodeGreeting(bytes, read));
    change(bytes);
    EXPECT_FALSE(decodeGreeting(bytes, read)) << name;
  }
}

}  // namespace
}  // namespace vanto::test
