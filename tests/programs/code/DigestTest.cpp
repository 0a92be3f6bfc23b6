// SPDX-License-Identifier: Apache-2.0
#include "code/Digest.h"

#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "programs/code/SignedCode.h"
#include "value/Fd.h"

namespace vanto::code {
namespace {

constexpr const char* ofNothing = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
constexpr const char* ofAbc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

TEST(Digest, IsThatOfTheStandard) {
  EXPECT_EQ(hexText(digestOf("").value()), ofNothing);
  EXPECT_EQ(hexText(digestOf("abc").value()), ofAbc);
}

TEST(Digest, OfAFileIsThatOfItsBytesWhateverItsSize) {
  const test::TemporaryDirectory directory;
  for (const std::size_t size : {0U, 1U, 131071U, 131072U, 131073U, 1000000U}) {
    std::string bytes(size, 'x');
    if (size > 1) bytes.back() = 'y';
    testing::writeContents(directory / "file", bytes);
    const Fd file(open((directory / "file").c_str(), O_RDONLY | O_CLOEXEC));
    lseek(file.get(), 1, SEEK_SET);
    std::string problem;
    EXPECT_EQ(digestOfFile(file.get(), problem), digestOf(bytes)) << size;
    EXPECT_EQ(lseek(file.get(), 0, SEEK_CUR), 1);
    EXPECT_EQ(problem, "");
  }
}

TEST(Digest, OfWhatCannotBeReadIsNoneWithTheReason) {
  const Fd directory(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  std::string problem;
  EXPECT_FALSE(digestOfFile(directory.get(), problem));
  EXPECT_EQ(problem, "cannot be read: Is a directory");
}

TEST(Digester, FinishesOnce) {
  Digester digester;
  digester.add({reinterpret_cast<const std::uint8_t*>("ab"), 2});
  digester.add({reinterpret_cast<const std::uint8_t*>("c"), 1});
  EXPECT_EQ(hexText(digester.finish().value()), ofAbc);
  EXPECT_FALSE(digester.finish());
}

}  // namespace
}  // namespace vanto::code
