// SPDX-License-Identifier: Apache-2.0
#include "ipc/SocketName.h"

#include <map>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace vanto::test {
namespace {

TEST(SocketName, MapsNames) {
  const std::pair<std::string, std::string> names[] = {
      {"org.example.echo", "org.example.echo"},
      {"Echo_2-b", "Echo_2-b"},
      {".", "%2E"},
      {"..", "%2E."},
      {".hidden", "%2Ehidden"},
      {"a/b", "a%2Fb"},
      {"../../etc/passwd", "%2E.%2F..%2Fetc%2Fpasswd"},
      {"/", "%2F"},
      {"%2F", "%252F"},
      {"a b", "a%20b"},
      {"a:b", "a%3Ab"},
      {"\xC3\xA9", "%C3%A9"},
      {"a\nb", "a%0Ab"},
  };
  for (const auto& [name, file] : names) EXPECT_EQ(socketFileName(name), file) << name;
}

TEST(SocketName, HasNoneForWhatCannotBeAName) {
  EXPECT_EQ(socketFileName(""), "");
  EXPECT_EQ(socketFileName(std::string_view("a\0b", 3)), "");
  EXPECT_EQ(socketFileName("\xFF"), "");
  EXPECT_EQ(socketFileName("\xC3"), "");
}

TEST(SocketName, FitsIntoAFileName) {
  EXPECT_EQ(socketFileName(std::string(255, 'a')), std::string(255, 'a'));
  EXPECT_EQ(socketFileName(std::string(256, 'a')), "");
  EXPECT_EQ(socketFileName(std::string(85, '/')).size(), 255U);
  EXPECT_EQ(socketFileName(std::string(86, '/')), "");
}

TEST(SocketName, NeverMapsTwoNamesToOne) {
  std::mt19937 random(1);
  const std::string alphabet = "aB./%2F5E_- \xC3\xA9";
  std::map<std::string, std::string> names;
  for (int i = 0; i < 200'000; i++) {
    std::string name;
    for (std::size_t length = 1 + random() % 6; length > 0; length--) name += alphabet[random() % alphabet.size()];
    const std::string file = socketFileName(name);
    if (file.empty()) continue;
    EXPECT_EQ(file.find('/'), std::string::npos);
    EXPECT_NE(file[0], '.');
    const auto [place, isNew] = names.emplace(file, name);
    EXPECT_EQ(place->second, name);
  }
  EXPECT_GT(names.size(), 10'000U);
}

}  // namespace
}  // namespace vanto::test
