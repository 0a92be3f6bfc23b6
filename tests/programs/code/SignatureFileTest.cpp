// SPDX-License-Identifier: Apache-2.0
#include "code/SignatureFile.h"

#include <gtest/gtest.h>

#include "code/Fields.h"
#include "code/limits.h"
#include "programs/code/SignedCode.h"

namespace vanto::code {
namespace {

using testing::keyPair;

class SignatureFileTest : public ::testing::Test {
 protected:
  SignatureFileTest() {
    seal_.identifier = "org.example.a";
    seal_.executableName = "a";
    seal_.info = Digest{};
    seal_.entitlements = PlistDictionary::create();
  }

  [[nodiscard]] std::string bytes() const {
    std::string problem;
    const auto bytes = createSignature(seal_, keyPair(1), problem);
    EXPECT_TRUE(bytes) << problem;
    return bytes.value_or("");
  }

  const TemporaryScope scope_;
  Seal seal_;
};

TEST_F(SignatureFileTest, HasTheSealAndTheKey) {
  std::string problem;
  const auto file = SignatureFile::read(bytes(), problem);
  ASSERT_TRUE(file) << problem;
  EXPECT_EQ(file->key, keyPair(1).publicKey);
  EXPECT_EQ(file->seal.identifier, "org.example.a");
  EXPECT_EQ(bytes(), bytes());
}

TEST_F(SignatureFileTest, IsRefusedWhenCutAnywhereOrLonger) {
  const std::string whole = bytes();
  std::string problem;
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_FALSE(SignatureFile::read(whole.substr(0, size), problem)) << size;
    EXPECT_NE(problem, "");
  }
  EXPECT_FALSE(SignatureFile::read(whole + "\n", problem));
  EXPECT_EQ(problem, "was changed: its bytes are not those that signing writes");
}

TEST_F(SignatureFileTest, IsRefusedWhenOneBitIsTurned) {
  const std::string whole = bytes();
  std::string problem;
  for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
    std::string changed = whole;
    changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << (bit % 8)));
    EXPECT_FALSE(SignatureFile::read(changed, problem)) << bit;
  }
}

TEST_F(SignatureFileTest, IsNotBelievedBeforeTheSignatureFits) {
  const Ref<PlistMutableDictionary> dictionary = PlistMutableDictionary::create();
  setField(*dictionary, "Key", createData(keyPair(1).publicKey));
  setField(*dictionary, "Seal", createData({}));
  setField(*dictionary, "Signature", createData(SignatureBytes{}));
  std::string problem;
  EXPECT_FALSE(SignatureFile::read(writeDictionary(*dictionary), problem));
  EXPECT_EQ(problem, "was changed: it is not by the key that it names");
  setField(*dictionary, "Signature", createData(signMessage(keyPair(1).seed, "VantoSeal1\n").value()));
  EXPECT_FALSE(SignatureFile::read(writeDictionary(*dictionary), problem));
  EXPECT_TRUE(problem.starts_with("its seal is none: ")) << problem;
  setField(*dictionary, "More", PlistString::create(""));
  EXPECT_FALSE(SignatureFile::read(writeDictionary(*dictionary), problem));
  EXPECT_EQ(problem, "it has entries that are not known");
}

TEST_F(SignatureFileTest, HasAtMostOneMebibyte) {
  std::string problem;
  // Grows until a signature is refused; each that was made is read.
  std::size_t largest = 0;
  bool isRefused = false;
  for (std::size_t length = 500'000; length < 900'000 && !isRefused; length += 40'000) {
    seal_.identifier = std::string(length, 'x');
    const auto file = createSignature(seal_, keyPair(1), problem);
    isRefused = !file;
    if (!file) break;
    largest = file->size();
    EXPECT_TRUE(SignatureFile::read(*file, problem)) << problem;
  }
  EXPECT_TRUE(isRefused);
  EXPECT_EQ(problem, "the signature would have more than 1 MiB, for 0 resources");
  EXPECT_LE(largest, limits::signatureBytes);
  EXPECT_GT(largest, limits::signatureBytes - 100'000);
  EXPECT_FALSE(SignatureFile::read(std::string(limits::signatureBytes + 1, ' '), problem));
  EXPECT_EQ(problem, "is larger than 1 MiB");
  EXPECT_FALSE(SignatureFile::read(std::string(limits::signatureBytes, ' '), problem));
  EXPECT_NE(problem, "is larger than 1 MiB");
}

}  // namespace
}  // namespace vanto::code
